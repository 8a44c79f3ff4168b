// Text and byte strings on one copy-on-write buffer.
#pragma once

#include <atomic>
#include <compare>
#include <cstdarg>
#include <cstdint>
#include <iosfwd>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <qorv/detail/basic_buffer.h>
#include <qorv/misc.h>

namespace Qorv {

/// A part of a string: where it starts and how long it is, in elements.
struct RANGE {
  std::uint64_t offset = 0;
  std::uint64_t length = 0;

  bool operator==(const RANGE&) const = default;
};

/// Bits of the `flags` of to_int64.
namespace numberFlag {
inline constexpr std::uint32_t isUnsigned = 1;  ///< overflow gives all ones
}  // namespace numberFlag

/// A string of elements on a basic_buffer. Copies share the buffer; a change of one copy leaves the others as
/// they were.
///
/// Use it by its names: stringEx (8-bit elements, bytes of no fixed encoding), wstringEx (32-bit elements)
/// and byteEx (bytes). The first two keep a zero element behind the last one; byteEx keeps none. All three
/// may hold zero elements.
///
/// Positions and counts are element indices; npos means "not found". White space is exactly zero, tab, line
/// feed, vertical tab, carriage return and blank; form feed is not. Case folding is A to Z only.
///
/// Arguments of type text_view take strings of the same kind, literals and parts of strings. A part of the
/// string itself is a valid argument of every operation.
///
/// Only allocation (std::bad_alloc) and at (utilExp, code 1) throw. Any other bad argument gives an empty
/// result, npos or 0 and leaves the string unchanged. Different copies may be used on different threads; one
/// object must not be changed while another thread uses it.
template <class T>
class basic_string_ex {
 public:
  using value_type = T;
  using text_view = std::basic_string_view<T>;

  constexpr basic_string_ex() noexcept = default;
  basic_string_ex(const basic_string_ex&) noexcept = default;
  basic_string_ex(basic_string_ex&&) noexcept = default;
  basic_string_ex& operator=(const basic_string_ex&) noexcept = default;
  basic_string_ex& operator=(basic_string_ex&&) noexcept = default;
  ~basic_string_ex() = default;

  /// Copies zero-ended text.
  basic_string_ex(const T* text) { append(text_view(text)); }  // NOLINT(google-explicit-constructor)
  basic_string_ex(const T* text, std::uint64_t length) { append(text_view(text, length)); }
  explicit basic_string_ex(text_view text) { append(text); }

  /// A read-only string on text that outlives it and all its copies. Nothing is copied or owned; the first
  /// change of a view makes it a string of its own.
  static constexpr basic_string_ex view(text_view text) noexcept {
    return basic_string_ex(basic_buffer<T>::view(text.data(), text.size()));
  }

  /// Never null. Zero-ended, except for byteEx and for views on text that is not.
  const T* data() const noexcept { return buffer_.data(); }
  std::uint64_t length() const noexcept { return buffer_.length(); }
  bool empty() const noexcept { return length() == 0; }
  std::int64_t capacity() const noexcept { return buffer_.capacity(); }
  bool is_view() const noexcept { return buffer_.is_view(); }
  bool is_shared() const noexcept { return buffer_.is_shared(); }
  operator text_view() const noexcept { return {data(), length()}; }  // NOLINT(google-explicit-constructor)

  const T& operator[](std::uint64_t position) const noexcept { return data()[position]; }
  const T& at(std::uint64_t position) const { return buffer_.at(position); }
  const T* begin() const noexcept { return data(); }
  const T* end() const noexcept { return data() + length(); }

  /// Makes room for `capacity` elements in all, so that appending up to there allocates nothing.
  void reserve(std::uint64_t capacity);
  /// Empties the string. Its room stays, unless it is shared.
  void clear() noexcept;
  /// Drops what lies behind the first `length` elements.
  void truncate(std::uint64_t length);
  void swap(basic_string_ex& other) noexcept { buffer_.swap(other.buffer_); }

  basic_string_ex& assign(text_view text);
  basic_string_ex& append(text_view text);
  basic_string_ex& append(const T* text, std::uint64_t length) { return append(text_view(text, length)); }
  basic_string_ex& append(T element) { return append(text_view(&element, 1)); }
  basic_string_ex& append(std::uint64_t count, T element);
  basic_string_ex& operator+=(text_view text) { return append(text); }
  basic_string_ex& operator+=(T element) { return append(element); }
  /// Removes up to `count` elements from `position` on.
  void erase(std::uint64_t position, std::uint64_t count);

  /// Appends a number. `base` is 2 to 36; any other base appends a single "0". Letters are upper case. A
  /// minus sign is written in base 10 only: in any other base a negative value shows its magnitude.
  basic_string_ex& append_int(std::int64_t value, int base = 10);
  basic_string_ex& append_uint(std::uint64_t value, int base = 10);
  basic_string_ex& assign_int(std::int64_t value, int base = 10);
  basic_string_ex& assign_uint(std::uint64_t value, int base = 10);

  /// Reads an integer from the start: white space, one sign, digits. `base` is 2 to 36, or -1 for detection:
  /// "0x" gives 16, "0b" 2, any other leading "0" 8, else 10; a given base does not skip a prefix. Reading
  /// stops at the first element that is no digit; `consumed`, if given, says where. No digit gives 0 and
  /// consumes nothing. Overflow gives the limit (with numberFlag::isUnsigned all ones) and sets errno to
  /// ERANGE.
  std::int64_t to_int64(int base, std::uint32_t flags = 0, std::uint64_t* consumed = nullptr) const noexcept;
  /// Reads a decimal floating-point number from `position` on: white space, one sign, digits, point,
  /// exponent. No hexadecimal, no "inf", no "nan". Overflow gives infinity, underflow 0, both with errno at
  /// ERANGE.
  double to_double(std::uint64_t position = 0, std::uint64_t* consumed = nullptr) const noexcept;

  /// Position of `text` at or behind `position`.
  std::uint64_t find(text_view text, std::uint64_t position = 0) const noexcept;
  std::uint64_t rfind(T element) const noexcept;
  /// Position of the first element at or behind `position` that occurs in `set`.
  std::uint64_t find_any(text_view set, std::uint64_t position = 0) const noexcept;
  bool starts_with(text_view text) const noexcept { return text_view(*this).starts_with(text); }
  bool starts_with_any(text_view set) const noexcept;
  bool ends_with_any(text_view set) const noexcept;

  /// Three-way, with A to Z folded; a string that is the start of another is less.
  int compare_nocase(text_view other) const noexcept;
  void to_lower();

  void trim_left();
  void trim_right();

  /// Fills `ranges` with the parts between the occurrences of `delimiter`; empty parts count, and there is
  /// always one. Copies no text. True when more than one part came out. An empty delimiter never occurs.
  bool split(text_view delimiter, std::vector<RANGE>& ranges) const;
  /// A view of the part, valid as long as this string stays unchanged.
  basic_string_ex part(RANGE range) const noexcept;

  /// printf into the string, cut at 256 elements, or at `limit`. A result of zero or an error leaves it
  /// empty, or unchanged for the appending forms.
  basic_string_ex& format(const T* pattern, ...);
  basic_string_ex& format(std::uint64_t limit, const T* pattern, ...);
  basic_string_ex& format_append(const T* pattern, ...);
  basic_string_ex& format_append(std::uint64_t limit, const T* pattern, ...);
  basic_string_ex& vformat_append(std::uint64_t limit, const T* pattern, std::va_list arguments);

  friend bool operator==(const basic_string_ex& a, const basic_string_ex& b) noexcept {
    return text_view(a) == text_view(b);
  }
  friend bool operator==(const basic_string_ex& a, const T* b) noexcept {
    return text_view(a) == text_view(b);
  }
  friend auto operator<=>(const basic_string_ex& a, const basic_string_ex& b) noexcept {
    return text_view(a) <=> text_view(b);
  }
  friend basic_string_ex operator+(basic_string_ex a, text_view b) { return std::move(a.append(b)); }

 private:
  constexpr explicit basic_string_ex(basic_buffer<T>&& buffer) noexcept : buffer_(std::move(buffer)) {}

  static constexpr bool zeroEnded = !std::is_same_v<T, unsigned char>;

  T* Writable(std::uint64_t length);
  void SetLength(std::uint64_t length) noexcept;
  basic_string_ex& AppendNumber(std::uint64_t magnitude, bool negative, int base);

  basic_buffer<T> buffer_;
};

using stringEx = basic_string_ex<char>;
using wstringEx = basic_string_ex<wchar_t>;
using byteEx = basic_string_ex<unsigned char>;

/// Writes the length given, zero elements included.
std::ostream& operator<<(std::ostream& out, const stringEx& text);

extern template class basic_string_ex<char>;
extern template class basic_string_ex<wchar_t>;
extern template class basic_string_ex<unsigned char>;

inline namespace literals {

/// A string that is a read-only view of the literal.
constexpr stringEx operator""_sv(const char* text, std::size_t length) noexcept {
  return stringEx::view({text, length});
}
constexpr wstringEx operator""_sv(const wchar_t* text, std::size_t length) noexcept {
  return wstringEx::view({text, length});
}

}  // namespace literals
}  // namespace Qorv
