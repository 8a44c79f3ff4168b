// The Gregorian calendar on day numbers: day 0 is 1970-01-01.
#pragma once

#include <concepts>
#include <cstdint>

namespace Qorv::IMPL {

/// A date. The year counts through 0, which is the year before 1, so that sums need no exception.
struct DATE {
  std::int64_t year;
  std::uint32_t month;      // 1 to 12
  std::uint32_t day;        // from 1
  std::uint32_t dayOfYear;  // from 1
};

template <std::integral T>
constexpr bool IsLeap(T year) noexcept {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

std::uint32_t DaysOfMonth(std::int64_t year, std::uint32_t month) noexcept;

DATE DateOf(std::int64_t dayNumber) noexcept;

/// `month` is 1 to 12; a day beyond the month counts on.
std::int64_t DayNumberOf(std::int64_t year, std::uint32_t month, std::int64_t day) noexcept;

/// Of 0 Sunday to 6 Saturday.
std::uint32_t WeekdayOf(std::int64_t dayNumber) noexcept;

}  // namespace Qorv::IMPL
