// Sets of elements: the named classes, and the builder that works flags into them.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "regex/tree.h"

namespace Qorv::IMPL {

/// The elements of a class by its name ("alpha"), all of ASCII. Empty if there is no such class.
std::span<const CharSet::Span> FindClass(std::u32string_view name) noexcept;

/// Letters, digits and the underscore: what IsWordElement holds for.
std::span<const CharSet::Span> WordClass() noexcept;

/// Gathers the elements of one set.
class CharSetBuilder {
 public:
  void Add(std::uint32_t element) { AddRange(element, element); }
  void AddRange(std::uint32_t first, std::uint32_t last) { spans_.push_back({first, last}); }
  void AddClass(std::span<const CharSet::Span> spans);

  /// The set, or if `negated` all elements up to `highest` that are not in it. Works ignoreCase and
  /// stopAtNewline in. The set may be empty.
  CharSet Build(bool negated, std::uint32_t flags, std::uint32_t highest) &&;

 private:
  void FoldCase();

  std::vector<CharSet::Span> spans_;
};

}  // namespace Qorv::IMPL
