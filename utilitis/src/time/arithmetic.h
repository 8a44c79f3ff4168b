// Floored division, units of time, and sums that stay in range.
#pragma once

#include <cstdint>
#include <limits>

namespace Qorv::IMPL {

inline constexpr std::int64_t microsecondsPerSecond = 1000000;
inline constexpr std::int64_t microsecondsPerMinute = 60 * microsecondsPerSecond;
inline constexpr std::int64_t microsecondsPerHour = 60 * microsecondsPerMinute;
inline constexpr std::int64_t microsecondsPerDay = 24 * microsecondsPerHour;

/// Quotient and remainder for a positive divisor; the remainder is never negative.
constexpr std::int64_t FloorDiv(std::int64_t value, std::int64_t divisor) noexcept {
  return value / divisor - (value % divisor < 0 ? 1 : 0);
}
constexpr std::int64_t FloorMod(std::int64_t value, std::int64_t divisor) noexcept {
  const std::int64_t rest = value % divisor;
  return rest < 0 ? rest + divisor : rest;
}

constexpr std::int64_t NearestEnd(bool isNegative) noexcept {
  return isNegative ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
}

/// `count` units and `rest`, or the nearest end of the range.
constexpr std::int64_t Join(std::int64_t count, std::int64_t unit, std::int64_t rest) noexcept {
  if (__builtin_add_overflow(count, FloorDiv(rest, unit), &count)) return NearestEnd(rest < 0);
  rest = FloorMod(rest, unit);
  // Towards 0, since the first unit of the range is not a whole one: its start lies outside.
  if (count < 0) {
    ++count;
    rest -= unit;
  }
  std::int64_t value = 0;
  if (__builtin_mul_overflow(count, unit, &value) || __builtin_add_overflow(value, rest, &value))
    return NearestEnd(count < 0);
  return value;
}

}  // namespace Qorv::IMPL
