// Time limits in the system's form.
#pragma once

#include <sys/time.h>
#include <time.h>

#include <cstdint>

namespace Qorv::IMPL {

/// The time of day in so many milliseconds.
inline timespec DeadlineIn(std::uint32_t milliseconds) noexcept {
  timeval now;
  ::gettimeofday(&now, nullptr);
  const std::int64_t limit =
      std::int64_t{now.tv_sec} * 1'000'000 + now.tv_usec + std::int64_t{milliseconds} * 1000;
  return {static_cast<time_t>(limit / 1'000'000), static_cast<long>(limit % 1'000'000 * 1000)};
}

}  // namespace Qorv::IMPL
