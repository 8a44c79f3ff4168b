#include "time/calendar.h"

#include "time/arithmetic.h"

namespace Qorv::IMPL {
namespace {

constexpr std::uint32_t daysPerCycle = 146097;  // after 400 years the calendar repeats
constexpr std::uint32_t yearsPerCycle = 400;
constexpr std::int64_t epochDay = 719162;  // 1970-01-01, counted from 0001-01-01

// Days of the year before each month, common and leap.
constexpr std::uint32_t daysBefore[2][13] = {
    {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365},
    {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335, 366},
};

// From 0001-01-01 to the start of the year.
constexpr std::int64_t DaysBeforeYear(std::int64_t year) noexcept {
  const std::int64_t past = year - 1;
  return past * 365 + FloorDiv(past, 4) - FloorDiv(past, 100) + FloorDiv(past, 400);
}

}  // namespace

std::uint32_t DaysOfMonth(std::int64_t year, std::uint32_t month) noexcept {
  const auto& before = daysBefore[IsLeap(year) ? 1 : 0];
  return before[month] - before[month - 1];
}

DATE DateOf(std::int64_t dayNumber) noexcept {
  const std::int64_t days = dayNumber + epochDay;
  const auto inCycle = static_cast<std::uint32_t>(FloorMod(days, daysPerCycle));
  // Whole years before, by the mean length of a year: exact, or one too low in the first days of a year.
  std::uint32_t past = inCycle * yearsPerCycle / daysPerCycle;
  std::uint32_t day = inCycle - (past * 365 + past / 4 - past / 100);
  bool isLeap = IsLeap(past + 1);
  if (const std::uint32_t length = isLeap ? 366 : 365; day >= length) {
    day -= length;
    ++past;
    isLeap = IsLeap(past + 1);
  }
  // No month is longer than 31 days, and by the year's end they lack less than a month together: exact, or
  // one too low.
  const auto& before = daysBefore[isLeap ? 1 : 0];
  std::uint32_t month = day / 31;
  if (day >= before[month + 1]) ++month;
  return {past + 1 + FloorDiv(days, daysPerCycle) * yearsPerCycle, month + 1, day - before[month] + 1,
          day + 1};
}

std::int64_t DayNumberOf(std::int64_t year, std::uint32_t month, std::int64_t day) noexcept {
  return DaysBeforeYear(year) + daysBefore[IsLeap(year) ? 1 : 0][month - 1] + day - 1 - epochDay;
}

std::uint32_t WeekdayOf(std::int64_t dayNumber) noexcept {
  return static_cast<std::uint32_t>(FloorMod(dayNumber + epochDay + 1, 7));
}

}  // namespace Qorv::IMPL
