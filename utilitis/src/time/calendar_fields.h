// What follows from the fields of a calendar time.
#pragma once

#include <qorv/time.h>

namespace Qorv::IMPL {

constexpr std::int32_t Century(const CALTIME& time) noexcept {
  return time.year / 100 + (time.year > 0 ? 1 : -1);
}

constexpr std::int32_t DaysSinceMonday(const CALTIME& time) noexcept {
  return static_cast<std::int32_t>((time.weekday + 6) % 7);
}

/// Of the year, from 1. `start` is the number of days since the week began.
constexpr std::int32_t Week(const CALTIME& time, std::int32_t start) noexcept {
  return start < time.dayOfYear ? (time.dayOfYear - start + 6) / 7 : 1;
}

}  // namespace Qorv::IMPL
