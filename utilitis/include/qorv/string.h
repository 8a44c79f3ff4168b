// Text and byte strings on one copy-on-write buffer.
#pragma once

#include <atomic>
#include <compare>
#include <concepts>
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

namespace IMPL {
template <class T>
inline constexpr T whiteSpaceElements[] = {T('\0'), T('\t'), T('\n'), T('\v'), T('\r'), T(' ')};
template <class T>
inline constexpr std::basic_string_view<T> whiteSpace{whiteSpaceElements<T>,
                                                      std::size(whiteSpaceElements<T>)};
}  // namespace IMPL

/// Bits of the `flags` of to_int64.
namespace numberFlag {
inline constexpr std::uint32_t isUnsigned = 1;  ///< overflow gives all ones
}  // namespace numberFlag

template <class T>
class basic_string_ex;

using stringEx = basic_string_ex<char>;
using wstringEx = basic_string_ex<wchar_t>;
using byteEx = basic_string_ex<unsigned char>;

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
/// Of an operation in several forms, the plain name changes the string in place, the one ending in _copy
/// returns the changed string, and the one ending in _append_to appends it to `dest`, which may be the
/// string itself. A `dest` that shares its buffer with others leaves theirs as it was.
///
/// Arguments of type text_view take strings of the same kind, literals and parts of strings. A part of the
/// string itself is a valid argument of every operation, assignment of a view of it included.
///
/// Only allocation (std::bad_alloc) and at (utilExp, code 1) throw. Any other bad argument gives an empty
/// result, npos or 0 and leaves the string unchanged. Different copies may be used on different threads; one
/// object must not be changed while another thread uses it.
template <class T>
class basic_string_ex {
 public:
  using value_type = T;
  using text_view = std::basic_string_view<T>;
  /// What writes the content down: text of the same width.
  using text_string = std::conditional_t<std::is_same_v<T, unsigned char>, stringEx, basic_string_ex>;

  constexpr basic_string_ex() noexcept = default;
  basic_string_ex(const basic_string_ex&) noexcept = default;
  basic_string_ex(basic_string_ex&&) noexcept = default;
  basic_string_ex& operator=(const basic_string_ex& other) {
    if (!other.is_view() || !KeepPart(other)) buffer_ = other.buffer_;
    return *this;
  }
  basic_string_ex& operator=(basic_string_ex&& other) {
    if (!other.is_view() || !KeepPart(other)) buffer_ = std::move(other.buffer_);
    return *this;
  }
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
  /// The same over up to `length` elements from `position` on, from where `consumed` is counted.
  std::int64_t to_int64(std::uint64_t position, std::uint64_t length, int base, std::uint32_t flags = 0,
                        std::uint64_t* consumed = nullptr) const noexcept;
  /// Reads a decimal floating-point number from up to `length` elements from `position` on: white space, one
  /// sign, digits, point, exponent. `consumed` is counted from `position`. No hexadecimal, no "inf", no
  /// "nan". Overflow gives infinity, underflow 0, both with errno at ERANGE.
  double to_double(std::uint64_t position = 0, std::uint64_t length = npos,
                   std::uint64_t* consumed = nullptr) const noexcept;

  /// Position of `text` at or behind `position`. An empty text is never found.
  std::uint64_t find(text_view text, std::uint64_t position = 0) const noexcept;
  std::uint64_t rfind(T element) const noexcept;
  /// The same with A to Z folded on both sides. The reverse forms give the last place at or before
  /// `position`; a position beyond the end means the end.
  std::uint64_t find_nocase(T element, std::uint64_t position = 0) const noexcept;
  std::uint64_t find_nocase(text_view text, std::uint64_t position = 0) const noexcept;
  std::uint64_t rfind_nocase(T element, std::uint64_t position = npos) const noexcept;
  std::uint64_t rfind_nocase(text_view text, std::uint64_t position = npos) const noexcept;
  /// Position of the first element at or behind `position` that occurs in `set`.
  std::uint64_t find_any(text_view set, std::uint64_t position = 0) const noexcept;
  bool starts_with(text_view text) const noexcept { return text_view(*this).starts_with(text); }
  bool starts_with_any(text_view set) const noexcept;
  bool ends_with_any(text_view set) const noexcept;
  /// Occurrences of `needle` that do not overlap, counted from the left.
  std::uint64_t count(text_view needle) const noexcept;

  /// Three-way, with A to Z folded; a string that is the start of another is less.
  int compare_nocase(text_view other) const noexcept;
  /// The same for the up to `length` elements from `position` on; none of them beyond the end.
  int compare_nocase(std::uint64_t position, std::uint64_t length, text_view other) const noexcept;
  void to_lower();

  /// Removes from one end the elements that occur in `set`, or the run of `element`.
  void trim_left(text_view set = whiteSpace);
  void trim_right(text_view set = whiteSpace);
  void trim_right(T element) { trim_right(text_view(&element, 1)); }
  basic_string_ex trim_left_copy(text_view set = whiteSpace) const;
  basic_string_ex trim_right_copy(text_view set = whiteSpace) const;
  basic_string_ex trim_right_copy(T element) const { return trim_right_copy(text_view(&element, 1)); }
  void trim_left_append_to(basic_string_ex& dest, text_view set = whiteSpace) const;
  void trim_right_append_to(basic_string_ex& dest, text_view set = whiteSpace) const;
  void trim_right_append_to(basic_string_ex& dest, T element) const {
    trim_right_append_to(dest, text_view(&element, 1));
  }

  /// Replaces `from` by `to`: every occurrence, not overlapping, or only the first that is met. Searches from
  /// the left for occurrences at or behind `position`; rreplace searches from the right for those at or
  /// before it, where npos means the end. The number of replacements; 0 if `from` is empty. A position
  /// beyond the end changes nothing, returns an empty string, appends nothing.
  std::uint64_t replace(text_view from, text_view to, std::uint64_t position = 0, bool all = true);
  std::uint64_t rreplace(text_view from, text_view to, std::uint64_t position = npos, bool all = true);
  basic_string_ex replace_copy(text_view from, text_view to, std::uint64_t position = 0,
                               bool all = true) const;
  basic_string_ex rreplace_copy(text_view from, text_view to, std::uint64_t position = npos,
                                bool all = true) const;
  std::uint64_t replace_append_to(basic_string_ex& dest, text_view from, text_view to,
                                  std::uint64_t position = 0, bool all = true) const;
  std::uint64_t rreplace_append_to(basic_string_ex& dest, text_view from, text_view to,
                                   std::uint64_t position = npos, bool all = true) const;
  /// Replaces each element at or behind `position` that occurs in `set` by `to`; otherwise as replace.
  std::uint64_t replace_any(text_view set, text_view to, std::uint64_t position = 0);
  basic_string_ex replace_any_copy(text_view set, text_view to, std::uint64_t position = 0) const;
  std::uint64_t replace_any_append_to(basic_string_ex& dest, text_view set, text_view to,
                                      std::uint64_t position = 0) const;

  /// Fills `ranges` with the parts between the occurrences of `delimiter`; empty parts count, and there is
  /// always one. Copies no text. True when more than one part came out. An empty delimiter never occurs.
  bool split(text_view delimiter, std::vector<RANGE>& ranges) const;
  /// Fills `ranges` with what lies between each `open` and the `close` that follows it, up to the first
  /// `open` without one. Copies no text. True when there is any such part. An empty marker pairs with none.
  bool split_between(text_view open, text_view close, std::vector<RANGE>& ranges) const;
  /// A view of the part, valid as long as this string stays unchanged.
  basic_string_ex part(RANGE range) const noexcept;

  /// What lies before or behind the `n`-th `delimiter`, counted from 1 and from the left, or, with an r in
  /// front, from the right; occurrences do not overlap. All but the _append_to forms give views, valid as
  /// long as this string stays unchanged; to keep only the part, assign it to the string itself.
  ///
  /// case                  | left_of | right_of | rleft_of | rright_of
  /// ----------------------|---------|----------|----------|----------
  /// n is 0                | empty   | whole    | empty    | whole
  /// n is negative         | whole   | empty    | whole    | empty
  /// delimiter is empty    | empty   | empty    | empty    | empty
  /// fewer than n of them  | whole   | empty    | empty    | whole
  ///
  /// The first row that fits counts. The whole that a right form gives is a copy which shares the buffer.
  basic_string_ex left_of(text_view delimiter, std::int64_t n = 1) const noexcept;
  basic_string_ex right_of(text_view delimiter, std::int64_t n = 1) const noexcept;
  basic_string_ex rleft_of(text_view delimiter, std::int64_t n = 1) const noexcept;
  basic_string_ex rright_of(text_view delimiter, std::int64_t n = 1) const noexcept;
  /// What lies between the `n`-th pair of markers, paired as by split_between; empty if there is none.
  basic_string_ex between(text_view open, text_view close, std::int64_t n = 1) const noexcept;
  void left_of_append_to(basic_string_ex& dest, text_view delimiter, std::int64_t n = 1) const {
    dest.append(left_of(delimiter, n));
  }
  void right_of_append_to(basic_string_ex& dest, text_view delimiter, std::int64_t n = 1) const {
    dest.append(right_of(delimiter, n));
  }
  void rleft_of_append_to(basic_string_ex& dest, text_view delimiter, std::int64_t n = 1) const {
    dest.append(rleft_of(delimiter, n));
  }
  void rright_of_append_to(basic_string_ex& dest, text_view delimiter, std::int64_t n = 1) const {
    dest.append(rright_of(delimiter, n));
  }
  void between_append_to(basic_string_ex& dest, text_view open, text_view close, std::int64_t n = 1) const {
    dest.append(between(open, close, n));
  }

  /// The elements in hexadecimal, high digit first, two digits for each, eight in a wide string, with
  /// `separator` between them.
  text_string hex(typename text_string::text_view separator = {}, bool upper = true) const;
  void hex_append_to(text_string& dest, typename text_string::text_view separator = {},
                     bool upper = true) const;
  /// The bytes as C source: the definition of an array. Empty if `name` is.
  stringEx c_array(std::string_view name, bool is_const) const requires std::same_as<T, unsigned char>;
  void c_array_append_to(stringEx& dest, std::string_view name,
                         bool is_const) const requires std::same_as<T, unsigned char>;

  /// The text as a wide or a narrow string; one that is so already gives a copy which shares the buffer.
  /// Each byte becomes one wide element, and of each wide element the low byte is kept.
  wstringEx to_wide() const;
  stringEx to_narrow() const;
  void to_wide_append_to(wstringEx& dest) const;
  void to_narrow_append_to(stringEx& dest) const;

  /// printf into the string, cut at 256 elements, or at `limit`, for which room is made while printing. A
  /// result of zero or an error leaves it empty, or unchanged for the appending forms. Pattern and arguments
  /// may lie in the string itself.
  basic_string_ex& format(const T* pattern, ...);
  basic_string_ex& format(std::uint64_t limit, const T* pattern, ...);
  basic_string_ex& format_append(const T* pattern, ...);
  basic_string_ex& format_append(std::uint64_t limit, const T* pattern, ...);
  basic_string_ex& vformat(const T* pattern, std::va_list arguments);
  basic_string_ex& vformat(std::uint64_t limit, const T* pattern, std::va_list arguments);
  basic_string_ex& vformat_append(const T* pattern, std::va_list arguments);
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
  static constexpr text_view whiteSpace = IMPL::whiteSpace<T>;
  template <class>
  friend class basic_string_ex;

  bool KeepPart(text_view part);
  template <class NextHit>
  static std::uint64_t AppendReplaced(basic_string_ex& dest, text_view text, text_view to,
                                      std::uint64_t hitLength, NextHit nextHit);
  T* Writable(std::uint64_t length);
  void SetLength(std::uint64_t length) noexcept;
  basic_string_ex& AppendNumber(std::uint64_t magnitude, bool negative, int base);

  basic_buffer<T> buffer_;
};

/// Writes the length given, zero elements included.
std::ostream& operator<<(std::ostream& out, const stringEx& text);
std::wostream& operator<<(std::wostream& out, const wstringEx& text);

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
