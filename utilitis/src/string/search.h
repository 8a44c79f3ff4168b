// Search by the system's scan for the first element, and what the string operations know of single elements.
#pragma once

#include <algorithm>
#include <bitset>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <functional>
#include <initializer_list>
#include <new>
#include <string_view>
#include <type_traits>

#include <qorv/string.h>

namespace Qorv::IMPL {

template <class T>
constexpr T Fold(T element) noexcept {
  return element >= T('A') && element <= T('Z') ? static_cast<T>(element + 32) : element;
}

/// The first `element` among `count` elements, or null.
inline const wchar_t* FindElement(const wchar_t* from, std::uint64_t count, wchar_t element) noexcept {
  return std::wmemchr(from, element, count);
}
template <class Byte>
const Byte* FindElement(const Byte* from, std::uint64_t count, Byte element) noexcept {
  static_assert(sizeof(Byte) == 1);
  return static_cast<const Byte*>(std::memchr(from, static_cast<unsigned char>(element), count));
}

template <class T>
bool AreEqual(const T* a, const T* b, std::uint64_t count) noexcept {
  return std::memcmp(a, b, count * sizeof(T)) == 0;
}

/// The first place of `pattern` at or behind `position`. An empty pattern is never found.
template <class T>
std::uint64_t FindText(std::basic_string_view<T> text, std::basic_string_view<T> pattern,
                       std::uint64_t position) noexcept {
  if (pattern.empty() || pattern.size() > text.size()) return npos;
  const std::uint64_t places = text.size() - pattern.size() + 1;
  const T* const first = text.data();
  while (position < places) {
    const T* const hit = FindElement(first + position, places - position, pattern.front());
    if (hit == nullptr) return npos;
    position = static_cast<std::uint64_t>(hit - first);
    if (pattern.size() == 1 || AreEqual(hit + 1, pattern.data() + 1, pattern.size() - 1)) return position;
    ++position;
  }
  return npos;
}

template <class T>
bool StartsEqual(const T* place, const T* pattern, std::uint64_t count) noexcept {
  return *place == *pattern && AreEqual(place + 1, pattern + 1, count - 1);
}

/// The last place of `pattern` at or before `position`, by the comparison `isEqual(place, pattern, length)`.
template <class T, class Comparison>
std::uint64_t RFindText(std::basic_string_view<T> text, std::basic_string_view<T> pattern,
                        std::uint64_t position, Comparison isEqual) noexcept {
  if (pattern.empty() || pattern.size() > text.size()) return npos;
  for (std::uint64_t place = std::min<std::uint64_t>(position, text.size() - pattern.size()) + 1;
       place-- > 0;) {
    if (isEqual(text.data() + place, pattern.data(), pattern.size())) return place;
  }
  return npos;
}

/// The elements of a text that outlives this object, made ready for many questions.
template <class T>
class CElementSet {
 public:
  explicit CElementSet(std::basic_string_view<T> set) noexcept : set_(set) {
    for (const T element : set) {
      if (IsLow(element)) low_[Index(element)] = true;
    }
  }

  bool Has(T element) const noexcept {
    if (IsLow(element)) return low_[Index(element)];
    return set_.find(element) != npos;
  }

  /// Position of the first element of the set in `text` at or behind `position`, or npos.
  std::uint64_t FindIn(std::basic_string_view<T> text, std::uint64_t position) const noexcept {
    while (position < text.size() && !Has(text[position]))
      ++position;
    return position < text.size() ? position : npos;
  }

 private:
  static constexpr std::size_t Index(T element) noexcept {
    return static_cast<std::make_unsigned_t<T>>(element);
  }
  static constexpr bool IsLow(T element) noexcept { return sizeof(T) == 1 || Index(element) < 256; }

  const std::basic_string_view<T> set_;
  std::bitset<256> low_;  // those of the set below 256, which are all if an element is a byte
};

/// Where a text begins, whatever its elements are.
struct TEXTSTART {
  template <class T>  // NOLINTNEXTLINE(google-explicit-constructor)
  TEXTSTART(std::basic_string_view<T> text) noexcept : address(text.data()) {}

  const void* address;
};

template <class T>
bool IsInside(TEXTSTART start, std::basic_string_view<T> text) noexcept {
  const void* const begin = text.data();
  const void* const end = text.data() + text.size();
  return std::less_equal<>()(begin, start.address) && std::less<>()(start.address, end);
}

/// A second holder of the buffer of `dest` if one of the texts lies in it: growing `dest` then leaves them in
/// their place, as long as the holder lives. Otherwise an empty string.
template <class T>
basic_string_ex<T> HolderFor(const basic_string_ex<T>& dest,
                             std::initializer_list<TEXTSTART> texts) noexcept {
  const bool any =
      std::any_of(texts.begin(), texts.end(), [&dest](auto text) { return IsInside<T>(text, dest); });
  return any ? dest : basic_string_ex<T>();
}

/// base + count * size elements; std::bad_alloc where no memory could hold them.
inline std::uint64_t Total(std::uint64_t base, std::uint64_t count, std::uint64_t size) {
  if (size != 0 && count > (npos - base) / size) throw std::bad_alloc();
  return base + count * size;
}

}  // namespace Qorv::IMPL
