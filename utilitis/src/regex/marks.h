// Which instructions have been met.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace Qorv::IMPL {

/// Marks on instructions, wiped all at once without being touched.
class RegexMarks {
 public:
  explicit RegexMarks(std::size_t count) : rounds_(count) {}

  void Wipe() noexcept {
    if (++round_ != 0) return;
    std::ranges::fill(rounds_, 0);
    round_ = 1;
  }
  /// False if the instruction was marked already.
  bool Mark(std::uint32_t instruction) noexcept {
    return std::exchange(rounds_[instruction], round_) != round_;
  }

 private:
  std::vector<std::uint32_t> rounds_;
  std::uint32_t round_ = 1;
};

}  // namespace Qorv::IMPL
