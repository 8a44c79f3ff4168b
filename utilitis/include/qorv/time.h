// Calendar time, tick counts and time spans.
#pragma once

#include <sys/time.h>

#include <compare>
#include <cstdint>
#include <ctime>
#include <limits>
#include <optional>

#include <qorv/misc.h>
#include <qorv/string.h>

namespace Qorv {

/// The zone argument that stands for the system's zone. It is asked for once; a change during the run is not
/// seen, and neither are the rules of summer time: what is asked for is the offset of that moment. Where the
/// system does not tell, it is 0.
inline constexpr std::int16_t systemZone = -32768;

/// A time taken apart for one zone. There is no year 0: the year before 1 is -1.
struct CALTIME {
  std::int32_t year = 0;
  std::uint32_t month = 0;      ///< 1 to 12
  std::uint16_t dayOfYear = 1;  ///< from 1
  std::uint16_t day = 1;        ///< from 1
  std::uint32_t weekday = 7;    ///< 0 Sunday to 6 Saturday, 7 none
  std::uint16_t hour = 0;
  std::uint16_t minute = 0;
  std::uint16_t second = 0;
  std::uint32_t microsecond = 0;   ///< 0 to 999,999
  std::int16_t zone = systemZone;  ///< minutes east of UTC
};

/// A point in time: a signed count of microseconds since 1970-01-01 00:00:00 UTC, in the Gregorian calendar
/// without end in both directions. A value type, without a lock.
///
/// Zones are minutes east of UTC, or systemZone. A year of 0 means the year in which the program runs, in the
/// system's zone, wherever a year is an argument; this costs a call of Now. No operation overflows: what lies
/// beyond the range becomes the nearest end of it, and the lower end is the value that says "unknown".
///
/// The operations that change the date leave the time of day as it is in that zone. Where they throw, the
/// time stays as it was. All but IsKnown take the unknown time for the instant that its value names.
class CTime {
 public:
  /// The ends of the range in microseconds; the lower one says that no time is known.
  static constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();
  static constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();

  constexpr CTime() noexcept = default;
  constexpr explicit CTime(std::int64_t microseconds) noexcept : value_(microseconds) {}

  constexpr std::int64_t GetValue() const noexcept { return value_; }
  /// False for invalidInt64, which says that no time is known.
  constexpr bool IsKnown() const noexcept { return value_ != invalidInt64; }
  friend constexpr auto operator<=>(const CTime&, const CTime&) noexcept = default;

  /// The system's clock; unknown if it cannot be read.
  static CTime Now() noexcept;

  /// Fills `out`, whose zone is the one that was used.
  static void Break(CTime time, CALTIME& out, std::int16_t zone = systemZone) noexcept;

  /// Sets the time that these fields give in the zone. Day, hour, minute, second and microsecond have no
  /// limits and add up: day 32 of January is 1 February, day 0 the last of December. timeExp, code 3, unless
  /// the month is 1 to 12.
  void Set(std::int32_t year, std::uint32_t month, std::int32_t day, std::int32_t hour = 0,
           std::int32_t minute = 0, std::int32_t second = 0, std::int32_t microsecond = 0,
           std::int16_t zone = systemZone);
  /// Goes to that month of the same year. A day that it does not have becomes its last one. timeExp, code 3,
  /// unless the month is 1 to 12.
  void SetMonth(std::uint32_t month, std::int16_t zone = systemZone);
  /// Keeps whole minutes and puts `value` in place of the rest.
  void SetSecond(std::uint32_t value) noexcept;
  /// Keeps whole seconds and puts `value` in place of the rest.
  void SetMicrosecond(std::uint32_t value) noexcept;

  /// Goes on or back by so many months or years, over the year 0, which does not exist. A day that the new
  /// month does not have becomes its last one.
  void AddMonths(std::int32_t count, std::int16_t zone = systemZone) noexcept;
  void AddYears(std::int32_t count, std::int16_t zone = systemZone) noexcept;
  /// Goes to the `count`-th of these weekdays in the time's month, 1 being the first. Other counts go on in
  /// steps of a week, also beyond the month. `weekday` is 0 Sunday to 6 Saturday; 7, which stands for none, is
  /// Sunday again.
  void NthWeekdayOfMonth(std::int32_t count, std::uint32_t weekday, std::int16_t zone = systemZone) noexcept;

  std::int32_t GetYear(std::int16_t zone = systemZone) const noexcept { return Fields(zone).year; }
  std::uint32_t GetMonth(std::int16_t zone = systemZone) const noexcept { return Fields(zone).month; }
  std::uint16_t GetDayOfYear(std::int16_t zone = systemZone) const noexcept { return Fields(zone).dayOfYear; }
  std::uint16_t GetDay(std::int16_t zone = systemZone) const noexcept { return Fields(zone).day; }
  std::uint32_t GetWeekday(std::int16_t zone = systemZone) const noexcept { return Fields(zone).weekday; }
  std::uint16_t GetHour(std::int16_t zone = systemZone) const noexcept;
  std::uint16_t GetMinute(std::int16_t zone = systemZone) const noexcept;
  std::uint16_t GetSecond() const noexcept;
  std::uint32_t GetMicrosecond() const noexcept;
  /// The minutes that `zone` stands for.
  std::int16_t GetZone(std::int16_t zone = systemZone) const noexcept { return Fields(zone).zone; }

  static bool IsSameMonth(CTime a, CTime b, std::int16_t zone = systemZone) noexcept;
  static bool IsLeapYear(std::int32_t year) noexcept;
  /// timeExp, code 3, unless the month is 1 to 12.
  static std::uint32_t GetNumOfDays(std::uint32_t month, std::int32_t year);

  /// Reads a month or a weekday: its English name, whole or the first three letters, or a number in decimal
  /// of 32 bits, which is given back whatever it is. Blanks around it and case do not count. Any other text
  /// gives month 0 or weekday 7, which are none.
  static std::uint32_t ParseMonthName(const stringEx& text);
  static std::uint32_t ParseMonthName(const wstringEx& text);
  static std::uint32_t ParseDayName(const stringEx& text);
  static std::uint32_t ParseDayName(const wstringEx& text);

  /// The parts of a second of a time before 1970 are positive. Nanoseconds are cut to microseconds.
  static CTime FromTimeval(const timeval& time) noexcept;
  static CTime FromTimespec(const timespec& time) noexcept;
  timeval ToTimeval() const noexcept;
  timespec ToTimespec() const noexcept;

  /// File times count units of 100 nanoseconds since 1601-01-01 00:00:00 in the zone. Parts of a microsecond
  /// are dropped.
  static CTime FromFileTime(std::int64_t fileTime, std::int16_t zone) noexcept;
  std::int64_t ToFileTime(std::int16_t zone) const noexcept;

  /// Appends the time to `out` as `format` says, which may be `out` itself:
  ///
  /// escape   | text
  /// ---------|------------------------------------------------------------------------
  /// %Y %y    | year; %y of 1970 to 2038 in two digits
  /// %C       | century, 21 for 2000 to 2099, -1 for the years -1 to -99
  /// %M %A    | month in two digits; "Jan" to "Dec"
  /// %d %D    | day of the month in two digits; day of the year in three
  /// %W %B    | weekday from Monday 1 to Sunday 7; "Sun" to "Sat"
  /// %wm %ws  | week of the year in two digits; weeks begin on Monday or on Sunday. The days
  ///          | before the first such day share week 1 with the week that follows
  /// %H %h    | hour in two digits; hour from 1 to 12
  /// %P %p    | "AM" or "PM"; "am" or "pm"
  /// %T %S    | minute, second in two digits
  /// %ms %us  | milliseconds in three digits; microseconds in six
  /// %Z %z    | zone as sign, hours and minutes, "+0530"; zone in minutes
  ///
  /// "%%" gives one percent sign; a percent sign in front of anything else stays, as does other text.
  void Format(stringEx& out, const stringEx& format, std::int16_t zone = systemZone) const;
  void Format(wstringEx& out, const wstringEx& format, std::int16_t zone = systemZone) const;

 private:
  CALTIME Fields(std::int16_t zone) const noexcept {
    CALTIME fields;
    Break(*this, fields, zone);
    return fields;
  }

  std::int64_t value_ = 0;
};

/// Reads a zone: "Local" gives systemZone, "NOTZ" 0. Otherwise hours in one or two digits, with minutes in
/// two digits behind them or without, "+0530", "-8"; east of UTC unless a minus sign stands in front.
/// Blanks around it do not count. Nothing for any other text.
std::optional<std::int16_t> ParseZone(const stringEx& text);

/// Sets the system's clock, which takes privileges. timeExp, code 1.
void SetSysTime(CTime time);

/// Milliseconds of the system's tick, which no change of the clock disturbs. The raw count wraps with the
/// system's counter. Any thread may call.
std::uint64_t GetTickCount() noexcept;

/// The same, widened so that a wrap of the system's counter does not show, given that it is called at least
/// once in every round of that counter. Throws what FASTKSV_PCLOCK throws.
std::uint64_t GetTickCount64();

/// A length of time: a signed count of microseconds. A value type.
class CTimeSpan {
 public:
  constexpr CTimeSpan() noexcept = default;
  constexpr explicit CTimeSpan(std::int64_t microseconds) noexcept : value_(microseconds) {}

  constexpr std::int64_t GetValue() const noexcept { return value_; }

  /// Appends the span to `out` as `format` says; a negative span shows no sign. "%T" gives the whole span in
  /// one unit, "%P" what is left over of the next larger unit:
  ///
  /// whole span      | rest                      | digits
  /// ----------------|---------------------------|-------------------------------------
  /// %W weeks        |                           | as many as it takes
  /// %TD days        | %PD days of the week      | as many as it takes
  /// %TH, %sTH hours | %PH hours of the day      | %sTH as it takes, others 2 at least
  /// %TM minutes     | %PM minutes of the hour   | whole as it takes, rest 2
  /// %TS seconds     | %PS seconds of the minute | whole as it takes, rest 2
  /// %Tms            | %Pms milliseconds         | whole as it takes, rest 3
  /// %Tus            | %Pus microseconds         | whole as it takes, rest 3
  ///
  /// "%%" gives one percent sign; a percent sign in front of anything else stays, as does other text.
  void Format(stringEx& out, const stringEx& format) const;
  void Format(wstringEx& out, const wstringEx& format) const;

 private:
  std::int64_t value_ = 0;
};

}  // namespace Qorv
