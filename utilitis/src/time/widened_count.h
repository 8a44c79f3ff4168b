// Makes one endless count of a count that wraps.
#pragma once

#include <concepts>
#include <cstdint>

namespace Qorv::IMPL {

/// The widest count that has been seen, plus the steps since, taken modulo the width of `Raw`. Correct as
/// long as the raw count wraps at most once between two calls. No lock.
template <std::unsigned_integral Raw>
class CWidenedCount {
 public:
  constexpr std::uint64_t Advance(Raw now) noexcept {
    wide_ += static_cast<Raw>(now - static_cast<Raw>(wide_));
    return wide_;
  }

 private:
  std::uint64_t wide_ = 0;
};

}  // namespace Qorv::IMPL
