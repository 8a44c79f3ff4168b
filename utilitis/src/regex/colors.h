// Elements that no set of a pattern tells apart, as one.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "regex/tree.h"

namespace Qorv::IMPL {

/// Gives every element the number of its class, its colour: two elements have the same one if each set holds
/// both or neither. Where telling that would take too long, each run of elements between two bounds of sets has
/// a colour of its own.
class RegexColors {
 public:
  explicit RegexColors(const std::vector<CharSet>& sets);

  std::uint32_t Of(std::uint32_t element) const noexcept {
    return element < low_.size() ? low_[element] : Search(element);
  }
  std::uint32_t Count() const noexcept { return static_cast<std::uint32_t>(samples_.size()); }
  /// Whether there are few enough for a table with a column for each.
  bool AreFew() const noexcept { return Count() <= 512; }
  /// One element of that colour.
  std::uint32_t Sample(std::uint32_t color) const noexcept { return samples_[color]; }

 private:
  void Split(const std::vector<CharSet>& sets);
  std::uint32_t Search(std::uint32_t element) const noexcept;

  // Runs of elements of one colour, by their first element.
  std::vector<std::uint32_t> firsts_;
  std::vector<std::uint32_t> colors_;
  std::vector<std::uint32_t> samples_;
  std::array<std::uint32_t, 256> low_{};
};

}  // namespace Qorv::IMPL
