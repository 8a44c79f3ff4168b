// A text as the engine sees it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <vector>

#include <qorv/regex.h>

#include "regex/program.h"

namespace Qorv::IMPL {

/// Places between `base` and `base + count`, each in or out.
class PlaceSet {
 public:
  PlaceSet() = default;
  PlaceSet(std::uint64_t base, std::uint64_t last) : base_(base), bits_((last - base) / 64 + 1) {}

  static PlaceSet All(std::uint64_t base, std::uint64_t last) {
    PlaceSet places(base, last);
    std::ranges::fill(places.bits_, ~std::uint64_t{0});
    return places;
  }

  bool Has(std::uint64_t place) const noexcept {
    return ((bits_[(place - base_) / 64] >> ((place - base_) % 64)) & 1) != 0;
  }
  void Add(std::uint64_t place) noexcept {
    bits_[(place - base_) / 64] |= std::uint64_t{1} << ((place - base_) % 64);
  }

 private:
  std::uint64_t base_ = 0;
  std::vector<std::uint64_t> bits_;
};

constexpr Neighbour NeighbourOf(std::uint32_t element) noexcept {
  if (element == '\n') return Neighbour::newline;
  return IsWordElement(element) ? Neighbour::word : Neighbour::other;
}

/// Elements of the text and what stands around its places. Owns nothing but the answers of look-aheads.
template <class T>
class RegexText {
 public:
  RegexText(std::basic_string_view<T> text, std::uint32_t searchFlags) noexcept
      : text_(text),
        edge_((searchFlags & searchFlag::notAtBeginning) != 0 ? Neighbour::edgeOfNoLine : Neighbour::edge) {}

  std::uint64_t Length() const noexcept { return text_.size(); }
  const T* Data() const noexcept { return text_.data(); }
  std::basic_string_view<T> View() const noexcept { return text_; }
  std::uint32_t At(std::uint64_t place) const noexcept {
    return static_cast<std::make_unsigned_t<T>>(text_[place]);
  }
  Neighbour Before(std::uint64_t place) const noexcept {
    return place == 0 ? edge_ : NeighbourOf(At(place - 1));
  }
  Neighbour Behind(std::uint64_t place) const noexcept {
    return place == text_.size() ? Neighbour::edge : NeighbourOf(At(place));
  }

  /// Where each look-ahead of the pattern matches, by its number, from the place on where the first search
  /// began.
  std::vector<PlaceSet> lookAheads;

 private:
  std::basic_string_view<T> text_;
  Neighbour edge_;
};

}  // namespace Qorv::IMPL
