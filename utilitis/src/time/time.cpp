#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

#include <qorv/error.h>
#include <qorv/time.h>

#include "error/message.h"
#include "misc/posix/platform.h"
#include "time/arithmetic.h"
#include "time/calendar.h"

namespace Qorv {
namespace {

using IMPL::FloorDiv;
using IMPL::FloorMod;
using IMPL::Join;
using IMPL::microsecondsPerDay;
using IMPL::microsecondsPerHour;
using IMPL::microsecondsPerMinute;
using IMPL::microsecondsPerSecond;

constexpr std::int64_t fileTimeStart = 11644473600000000;  // microseconds from 1601-01-01 to 1970-01-01
constexpr std::int64_t fileTimesPerMicrosecond = 10;

constexpr std::int32_t zoneUnknown = 0x7fffffff;
// Whoever comes first writes; those who come at the same moment write the same.
constinit std::atomic<std::int32_t> zoneOfSystem = zoneUnknown;

std::int16_t SystemZone() noexcept {
  std::int32_t zone = zoneOfSystem.load(std::memory_order_relaxed);
  if (zone == zoneUnknown) {
    ::tzset();
    const std::time_t now = ::time(nullptr);
    tm local{};
    zone = ::localtime_r(&now, &local) != nullptr ? static_cast<std::int32_t>(local.tm_gmtoff / 60) : 0;
    zoneOfSystem.store(zone, std::memory_order_relaxed);
  }
  return static_cast<std::int16_t>(zone);
}

std::int16_t MinutesOf(std::int16_t zone) noexcept {
  return zone == systemZone ? SystemZone() : zone;
}

// A time in a zone: the day, and the microseconds since its start.
struct DAYTIME {
  std::int64_t day;
  std::int64_t rest;
};

// The zone goes to the part that has room for it.
DAYTIME Split(CTime time, std::int16_t minutes) noexcept {
  const std::int64_t value = time.GetValue();
  const std::int64_t rest = FloorMod(value, microsecondsPerDay) + minutes * microsecondsPerMinute;
  return {FloorDiv(value, microsecondsPerDay) + FloorDiv(rest, microsecondsPerDay),
          FloorMod(rest, microsecondsPerDay)};
}

CTime Compose(std::int64_t day, std::int64_t rest, std::int16_t minutes) noexcept {
  return CTime(Join(day, microsecondsPerDay, rest - minutes * microsecondsPerMinute));
}

// A date with the day cut down to the length of its month.
CTime ComposeCut(std::int64_t year, std::uint32_t month, std::uint32_t day, std::int64_t rest,
                 std::int16_t minutes) noexcept {
  day = std::min(day, IMPL::DaysOfMonth(year, month));
  return Compose(IMPL::DayNumberOf(year, month, day), rest, minutes);
}

constexpr std::int32_t ShownYear(std::int64_t counted) noexcept {
  return static_cast<std::int32_t>(counted > 0 ? counted : counted - 1);
}

std::int64_t CountedYear(std::int32_t shown) noexcept {
  if (shown == 0) shown = CTime::Now().GetYear();
  return shown > 0 ? shown : std::int64_t{shown} + 1;
}

constexpr bool IsMonth(std::uint32_t month) noexcept {
  return month >= 1 && month <= 12;
}

}  // namespace

CTime CTime::Now() noexcept {
  timeval now;
  return ::gettimeofday(&now, nullptr) == 0 ? FromTimeval(now) : CTime(invalidInt64);
}

void CTime::Break(CTime time, CALTIME& out, std::int16_t zone) noexcept {
  const std::int16_t minutes = MinutesOf(zone);
  const auto [day, rest] = Split(time, minutes);
  const IMPL::DATE date = IMPL::DateOf(day);
  out.year = ShownYear(date.year);
  out.month = date.month;
  out.dayOfYear = static_cast<std::uint16_t>(date.dayOfYear);
  out.day = static_cast<std::uint16_t>(date.day);
  out.weekday = IMPL::WeekdayOf(day);
  const auto seconds = static_cast<std::uint32_t>(rest / microsecondsPerSecond);
  out.hour = static_cast<std::uint16_t>(seconds / 3600);
  out.minute = static_cast<std::uint16_t>(seconds / 60 % 60);
  out.second = static_cast<std::uint16_t>(seconds % 60);
  out.microsecond = static_cast<std::uint32_t>(rest % microsecondsPerSecond);
  out.zone = minutes;
}

// The sum of the parts of a day stays below the range of 64 bits, however large each 32-bit part is.
void CTime::Set(std::int32_t year, std::uint32_t month, std::int32_t day, std::int32_t hour,
                std::int32_t minute, std::int32_t second, std::int32_t microsecond, std::int16_t zone) {
  if (!IsMonth(month))
    IMPL::CMessage("CTime::Set - invalid month value").Throw<timeExp>(timeCode::invalidMonth);
  const std::int64_t rest = hour * microsecondsPerHour + minute * microsecondsPerMinute +
                            second * microsecondsPerSecond + microsecond;
  *this = Compose(IMPL::DayNumberOf(CountedYear(year), month, day), rest, MinutesOf(zone));
}

void CTime::SetMonth(std::uint32_t month, std::int16_t zone) {
  if (!IsMonth(month))
    IMPL::CMessage("CTime::SetMonth - invalid month value").Throw<timeExp>(timeCode::invalidMonth);
  const std::int16_t minutes = MinutesOf(zone);
  const auto [day, rest] = Split(*this, minutes);
  const IMPL::DATE date = IMPL::DateOf(day);
  *this = ComposeCut(date.year, month, date.day, rest, minutes);
}

void CTime::SetSecond(std::uint32_t value) noexcept {
  value_ =
      Join(FloorDiv(value_, microsecondsPerMinute), microsecondsPerMinute, value * microsecondsPerSecond);
}

void CTime::SetMicrosecond(std::uint32_t value) noexcept {
  value_ = Join(FloorDiv(value_, microsecondsPerSecond), microsecondsPerSecond, value);
}

void CTime::AddMonths(std::int32_t count, std::int16_t zone) noexcept {
  if (count == 0) return;
  const std::int16_t minutes = MinutesOf(zone);
  const auto [day, rest] = Split(*this, minutes);
  const IMPL::DATE date = IMPL::DateOf(day);
  const std::int64_t months = std::int64_t{date.month} - 1 + count;
  *this = ComposeCut(date.year + FloorDiv(months, 12), static_cast<std::uint32_t>(FloorMod(months, 12)) + 1,
                     date.day, rest, minutes);
}

void CTime::AddYears(std::int32_t count, std::int16_t zone) noexcept {
  if (count == 0) return;
  const std::int16_t minutes = MinutesOf(zone);
  const auto [day, rest] = Split(*this, minutes);
  const IMPL::DATE date = IMPL::DateOf(day);
  *this = ComposeCut(date.year + count, date.month, date.day, rest, minutes);
}

void CTime::NthWeekdayOfMonth(std::int32_t count, std::uint32_t weekday, std::int16_t zone) noexcept {
  const std::int16_t minutes = MinutesOf(zone);
  const auto [day, rest] = Split(*this, minutes);
  const std::int64_t first = day - (IMPL::DateOf(day).day - 1);
  const std::uint32_t ahead = (weekday % 7 + 7 - IMPL::WeekdayOf(first)) % 7;
  *this = Compose(first + ahead + 7 * (std::int64_t{count} - 1), rest, minutes);
}

std::uint16_t CTime::GetHour(std::int16_t zone) const noexcept {
  return static_cast<std::uint16_t>(Split(*this, MinutesOf(zone)).rest / microsecondsPerHour);
}

std::uint16_t CTime::GetMinute(std::int16_t zone) const noexcept {
  return static_cast<std::uint16_t>(Split(*this, MinutesOf(zone)).rest / microsecondsPerMinute % 60);
}

std::uint16_t CTime::GetSecond() const noexcept {
  return static_cast<std::uint16_t>(FloorMod(value_, microsecondsPerMinute) / microsecondsPerSecond);
}

std::uint32_t CTime::GetMicrosecond() const noexcept {
  return static_cast<std::uint32_t>(FloorMod(value_, microsecondsPerSecond));
}

bool CTime::IsSameMonth(CTime a, CTime b, std::int16_t zone) noexcept {
  const CALTIME left = a.Fields(zone);
  const CALTIME right = b.Fields(zone);
  return left.year == right.year && left.month == right.month;
}

bool CTime::IsLeapYear(std::int32_t year) noexcept {
  return IMPL::IsLeap(CountedYear(year));
}

std::uint32_t CTime::GetNumOfDays(std::uint32_t month, std::int32_t year) {
  if (!IsMonth(month))
    IMPL::CMessage("CTime::GetNumOfDays - invalid month value").Throw<timeExp>(timeCode::invalidMonth);
  return IMPL::DaysOfMonth(CountedYear(year), month);
}

CTime CTime::FromTimeval(const timeval& time) noexcept {
  return CTime(Join(time.tv_sec, microsecondsPerSecond, time.tv_usec));
}

CTime CTime::FromTimespec(const timespec& time) noexcept {
  return CTime(Join(time.tv_sec, microsecondsPerSecond, FloorDiv(time.tv_nsec, 1000)));
}

timeval CTime::ToTimeval() const noexcept {
  timeval time{};
  time.tv_sec = FloorDiv(value_, microsecondsPerSecond);
  time.tv_usec = FloorMod(value_, microsecondsPerSecond);
  return time;
}

timespec CTime::ToTimespec() const noexcept {
  timespec time{};
  time.tv_sec = FloorDiv(value_, microsecondsPerSecond);
  time.tv_nsec = FloorMod(value_, microsecondsPerSecond) * 1000;
  return time;
}

CTime CTime::FromFileTime(std::int64_t fileTime, std::int16_t zone) noexcept {
  return CTime(fileTime / fileTimesPerMicrosecond - fileTimeStart - MinutesOf(zone) * microsecondsPerMinute);
}

std::int64_t CTime::ToFileTime(std::int16_t zone) const noexcept {
  const std::int64_t shift = fileTimeStart + MinutesOf(zone) * microsecondsPerMinute;
  std::int64_t result = 0;
  if (__builtin_add_overflow(value_, shift, &result) ||
      __builtin_mul_overflow(result, fileTimesPerMicrosecond, &result))
    return IMPL::NearestEnd(value_ < 0);
  return result;
}

void SetSysTime(CTime time) {
  const timeval value = time.ToTimeval();
  if (IMPL::RetryOnEintr([&] { return ::settimeofday(&value, nullptr); }) == 0) return;
  const int number = errno;
  IMPL::CMessage(
      "SetSysTime - system error, failed set system time\n"
      "             may be out of range\n")
      .Field("  microseconds since unix epoch = ", time.GetValue())
      .Errno("  system error                  = ", "  system error description      = ", number, {})
      .Throw<timeExp>(timeCode::setSystemTime);
}

}  // namespace Qorv
