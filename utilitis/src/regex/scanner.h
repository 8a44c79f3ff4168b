// Reads a pattern element by element, narrow and wide alike.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Qorv::IMPL {

constexpr bool IsDigit(char32_t element) noexcept {
  return element >= U'0' && element <= U'9';
}
constexpr bool IsLetter(char32_t element) noexcept {
  return (element >= U'A' && element <= U'Z') || (element >= U'a' && element <= U'z');
}
constexpr bool IsSpace(char32_t element) noexcept {
  return (element >= U'\t' && element <= U'\r') || element == U' ';
}

/// A place in a pattern. Owns nothing.
class Scanner {
 public:
  /// `highest` is the largest element that a text can hold.
  Scanner(std::u32string_view pattern, std::uint32_t highest) noexcept : rest_(pattern), highest_(highest) {}

  bool AtEnd() const noexcept { return rest_.empty(); }
  std::u32string_view Rest() const noexcept { return rest_; }
  std::uint32_t Highest() const noexcept { return highest_; }

  /// Whether `text` comes next.
  bool Sees(std::u32string_view text) const noexcept { return rest_.starts_with(text); }
  bool Sees(char32_t element) const noexcept { return rest_.starts_with(element); }
  bool SeesDigit() const noexcept { return !AtEnd() && IsDigit(rest_.front()); }

  /// The next element, which there must be.
  char32_t Next() noexcept {
    const char32_t element = rest_.front();
    rest_.remove_prefix(1);
    return element;
  }
  void Skip(std::size_t count) noexcept { rest_.remove_prefix(count); }
  /// Goes behind `text` if it comes next.
  bool Take(std::u32string_view text) noexcept {
    if (!Sees(text)) return false;
    Skip(text.size());
    return true;
  }
  bool Take(char32_t element) noexcept {
    if (!Sees(element)) return false;
    Skip(1);
    return true;
  }

 private:
  std::u32string_view rest_;
  std::uint32_t highest_;
};

}  // namespace Qorv::IMPL
