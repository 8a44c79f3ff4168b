// A limit in milliseconds for a wait of several steps.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

#include <qorv/misc.h>

namespace Qorv::IMPL {

/// Starts when it is made. From 0x7FFFFFFF milliseconds on there is no limit.
class CTimeLimit {
 public:
  explicit CTimeLimit(std::uint32_t milliseconds) : milliseconds_(milliseconds) {
    if (IsReal()) end_ = Clock::now() + std::chrono::milliseconds(milliseconds);
  }

  bool IsOver() const { return milliseconds_ == 0 || (IsReal() && Clock::now() >= end_); }
  /// Milliseconds, begun ones counted in.
  std::uint32_t GetRest() const {
    if (!IsReal()) return waitForever;
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()).count();
    return static_cast<std::uint32_t>(std::max<std::int64_t>(rest, 0));
  }

 private:
  using Clock = std::chrono::steady_clock;

  bool IsReal() const { return milliseconds_ > 0 && milliseconds_ < 0x7FFFFFFF; }

  std::uint32_t milliseconds_;
  Clock::time_point end_{};
};

}  // namespace Qorv::IMPL
