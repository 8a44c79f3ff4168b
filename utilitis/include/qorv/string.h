// Text and byte strings on one copy-on-write buffer.
#pragma once

#include <atomic>
#include <compare>
#include <concepts>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <qorv/detail/basic_buffer.h>
#include <qorv/detail/match_cmd.h>
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
template <class T>
class CAppender;
}  // namespace IMPL

/// Bits of the `flags` of to_int64.
namespace numberFlag {
inline constexpr std::uint32_t isUnsigned = 1;  ///< overflow gives all ones
}  // namespace numberFlag

template <class T>
class basic_string_ex;
template <class T>
class CRegex;

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
/// string itself. A `dest` that shares its buffer with others leaves theirs as it was. A changed copy of a view
/// in which there was nothing to change is a view as well.
///
/// Arguments of type text_view take strings of the same kind, literals and parts of strings. A part of the
/// string itself is a valid argument of every operation, assignment of a view of it included, as long as it
/// ends within the length: the zero behind the last element is no part. A string that is a view of a part of
/// `dest` may be appended to it in every form.
///
/// Only allocation (std::bad_alloc) and at (utilExp, code 1) throw. Any other bad argument gives an empty
/// result, npos or 0 and leaves the string unchanged. An empty text to look for is no bad argument: it is
/// never found, and so nothing is replaced. Different copies may be used on different threads; one object
/// must not be changed while another thread uses it.
template <class T>
class basic_string_ex {
 public:
  using value_type = T;
  using text_view = std::basic_string_view<T>;
  /// A name and what it stands for.
  using text_pair = std::pair<text_view, text_view>;
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

  basic_string_ex(std::nullptr_t) = delete;
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
  void clear() noexcept {
    if (buffer_.capacity() <= 0 || buffer_.is_shared()) {
      buffer_ = basic_buffer<T>();
    } else {
      SetLength(0);
    }
  }
  /// Drops what lies behind the first `length` elements.
  void truncate(std::uint64_t length);
  void swap(basic_string_ex& other) noexcept { buffer_.swap(other.buffer_); }

  /// These leave the string as it was if memory runs out.
  basic_string_ex& assign(text_view text);
  basic_string_ex& append(text_view text);
  basic_string_ex& append(const T* text, std::uint64_t length) { return append(text_view(text, length)); }
  basic_string_ex& append(T element) { return append(text_view(&element, 1)); }
  basic_string_ex& append(std::uint64_t count, T element);
  basic_string_ex& operator+=(text_view text) { return append(text); }
  basic_string_ex& operator+=(T element) { return append(element); }
  /// Puts `text` over what lies at `position`, and behind it what goes beyond the end. Zero elements fill the gap between
  /// the end and a position beyond it. Leaves the string as it was if memory runs out.
  basic_string_ex& overwrite(std::uint64_t position, text_view text);
  /// Appends what `fill` writes: it gets the address of room for `count` elements and returns how many it has used. If it
  /// throws, the string is as it was.
  template <class Fill>
  basic_string_ex& append_by(std::uint64_t count, Fill&& fill);
  /// Removes up to `count` elements from `position` on.
  void erase(std::uint64_t position, std::uint64_t count);

  /// Appends a number. `base` is 2 to 36; any other base appends a single "0". Letters are upper case. A
  /// minus sign is written in base 10 only: in any other base a negative value shows its magnitude.
  basic_string_ex& append_int(std::int64_t value, int base = 10);
  basic_string_ex& append_uint(std::uint64_t value, int base = 10);
  basic_string_ex& assign_int(std::int64_t value, int base = 10);
  basic_string_ex& assign_uint(std::uint64_t value, int base = 10);

  /// Reads an integer from the start: white space, one sign, digits. `base` is 2 to 36, or -1 for detection:
  /// "0x" gives 16, "0b" 2, any other leading "0" 8, else 10; a given base does not skip a prefix. A prefix
  /// without a digit of its base behind it is the number 0, and only the "0" is consumed. Reading stops at
  /// the first element that is no digit; `consumed`, if given, says where. No digit gives 0 and consumes
  /// nothing. Overflow gives the limit (with numberFlag::isUnsigned all ones) and sets errno to ERANGE.
  std::int64_t to_int64(int base, std::uint32_t flags = 0, std::uint64_t* consumed = nullptr) const noexcept;
  /// The same over up to `length` elements from `position` on, from where `consumed` is counted.
  std::int64_t to_int64(std::uint64_t position, std::uint64_t length, int base, std::uint32_t flags = 0,
                        std::uint64_t* consumed = nullptr) const noexcept;
  /// Reads a decimal floating-point number from up to `length` elements from `position` on: white space, one
  /// sign, digits, point, exponent. `consumed` is counted from `position`; a point without a digit behind it
  /// is no part of the number. No hexadecimal, no "inf", no "nan". Overflow gives infinity, underflow 0, both
  /// with errno at ERANGE.
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
  /// before it, where npos means the end. The number of replacements. An empty `from` is never found: the
  /// string stays as it is, and the whole text is returned or appended. A position beyond the end changes
  /// nothing, returns an empty string, appends nothing. If memory runs out, string and `dest` are as they
  /// were.
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
  /// front, from the right; occurrences do not overlap. To keep only the part, assign it to the string
  /// itself.
  ///
  /// case                  | left_of | right_of | rleft_of | rright_of
  /// ----------------------|---------|----------|----------|----------
  /// n is 0                | empty   | whole    | empty    | whole
  /// n is negative         | whole   | empty    | whole    | empty
  /// delimiter is empty    | empty   | empty    | empty    | empty
  /// fewer than n of them  | whole   | empty    | empty    | whole
  ///
  /// The first row that fits counts. A part is a view, valid as long as this string stays unchanged, and so
  /// is the whole that a left form gives; the whole that a right form gives is a copy which shares the
  /// buffer. What is empty by this table is no view.
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
  /// Between stringEx and wstringEx the calling thread's conversion object does it (qorv/textconv.h). Should that fail, and
  /// for byteEx always, each byte becomes one wide element, and of each wide element the low byte is kept.
  wstringEx to_wide() const;
  stringEx to_narrow() const;
  void to_wide_append_to(wstringEx& dest) const;
  void to_narrow_append_to(stringEx& dest) const;

  /// printf into the string, cut at 256 elements, or at `limit`, for which room is made while printing. A
  /// result of zero or an error leaves it empty, or unchanged for the appending forms. Pattern and arguments
  /// may lie in the string itself. The limit bounds the memory, not the time: the system prints all of a huge
  /// width or precision before the cut, so neither may come from somebody who is not trusted.
  basic_string_ex& format(const T* pattern, ...);
  basic_string_ex& format(std::uint64_t limit, const T* pattern, ...);
  basic_string_ex& format_append(const T* pattern, ...);
  basic_string_ex& format_append(std::uint64_t limit, const T* pattern, ...);
  basic_string_ex& vformat(const T* pattern, std::va_list arguments);
  basic_string_ex& vformat(std::uint64_t limit, const T* pattern, std::va_list arguments);
  basic_string_ex& vformat_append(const T* pattern, std::va_list arguments);
  basic_string_ex& vformat_append(std::uint64_t limit, const T* pattern, std::va_list arguments);

  /// Appends the text to `dest`; each `marker` in it and the token behind it become what `command` says. A
  /// doubled marker gives one, or stays for `keep_doubled`, and the command is not asked. A marker whose token
  /// the command does not know stays, or vanishes without `keep_unknown`; one at the very end stays, or
  /// vanishes for `drop_trailing`. Returns the number of markers that did not simply stay. Neither the command
  /// nor its result may use `dest`.
  std::uint64_t expand_append_to(basic_string_ex& dest, T marker, IStrMatchCmd<basic_string_ex>& command,
                                 bool keep_unknown = true, bool drop_trailing = false,
                                 bool keep_doubled = false) const;
  /// The same with the token between an `open` and the next `close`; an `open` without one ends the scan, and
  /// what is left stays as it is. Replacement takes the place of both markers, insertion stands behind `open`
  /// in the place of token and `close`; a token that is not known vanishes without `keep_unknown` together
  /// with its markers. What gives one when doubled is the first element of `open`. An empty marker marks
  /// nothing.
  std::uint64_t expand_append_to(basic_string_ex& dest, text_view open, text_view close,
                                 IStrMatchCmd<basic_string_ex>& command, bool keep_unknown = true,
                                 bool drop_trailing = false, bool keep_doubled = false) const;
  /// Replaces each `marker` and the name behind it by the value of that name. Of several names that fit the
  /// first counts; an empty one never fits. A marker without a name behind it stays, or vanishes for
  /// `strict`; one that is doubled gives one, or stays for `keep_doubled`. The number of markers that did not
  /// simply stay.
  std::uint64_t expand(T marker, std::span<const text_pair> names, bool keep_doubled = false,
                       bool strict = false);

  /// True if the whole text from `position` on fits the pattern, in which `any_one` stands for one element
  /// and `any_run` for any number of them, none included. A position beyond the end fits nothing.
  /// `ignore_case` folds A to Z on both sides. Takes time in proportion to both lengths multiplied at most.
  bool match_wildcard(text_view pattern, std::uint64_t position, T any_one, T any_run,
                      bool ignore_case = false) const noexcept;
  /// The same with a third special element: `skip_char` takes its meaning from the element of the pattern
  /// behind it, which may be another `skip_char`. At the pattern's end it stands for itself.
  bool match_wildcard(text_view pattern, std::uint64_t position, T any_one, T any_run, T skip_char,
                      bool ignore_case = false) const noexcept;

  /// Writes entities for `<`, `>`, `&` and `"`, in xml for the apostrophe too; in json a backslash and a
  /// letter or the element itself for carriage return, line feed, tab, backspace, form feed, `"` and
  /// backslash. The number of elements written so.
  std::uint64_t html_escape() { return ChangeBy(&basic_string_ex::html_escape_append_to); }
  std::uint64_t xml_escape() { return ChangeBy(&basic_string_ex::xml_escape_append_to); }
  std::uint64_t json_escape() { return ChangeBy(&basic_string_ex::json_escape_append_to); }
  basic_string_ex html_escape_copy() const { return ChangedBy(&basic_string_ex::html_escape_append_to); }
  basic_string_ex xml_escape_copy() const { return ChangedBy(&basic_string_ex::xml_escape_append_to); }
  basic_string_ex json_escape_copy() const { return ChangedBy(&basic_string_ex::json_escape_append_to); }
  std::uint64_t html_escape_append_to(basic_string_ex& dest) const;
  std::uint64_t xml_escape_append_to(basic_string_ex& dest) const;
  std::uint64_t json_escape_append_to(basic_string_ex& dest) const;

  /// The way back, in one pass: what came out of an escape is not looked at again. What no escape writes
  /// stays as it is, but for a doubled `&`, which gives one. The number of places changed.
  std::uint64_t html_restore() { return ChangeBy(&basic_string_ex::html_restore_append_to); }
  std::uint64_t xml_restore() { return ChangeBy(&basic_string_ex::xml_restore_append_to); }
  std::uint64_t json_restore() { return ChangeBy(&basic_string_ex::json_restore_append_to); }
  basic_string_ex html_restore_copy() const { return ChangedBy(&basic_string_ex::html_restore_append_to); }
  basic_string_ex xml_restore_copy() const { return ChangedBy(&basic_string_ex::xml_restore_append_to); }
  basic_string_ex json_restore_copy() const { return ChangedBy(&basic_string_ex::json_restore_append_to); }
  std::uint64_t html_restore_append_to(basic_string_ex& dest) const;
  std::uint64_t xml_restore_append_to(basic_string_ex& dest) const;
  std::uint64_t json_restore_append_to(basic_string_ex& dest) const;

  /// Makes text safe to be shown as markup without a change of how it reads: a zero-width non-joiner, in
  /// UTF-8 or as one wide element, goes behind each `<` that would open a tag, and between "javascript" or
  /// "data", in any case, and a colon. The number of joiners.
  std::uint64_t html_sanitise() { return ChangeBy(&basic_string_ex::html_sanitise_append_to); }
  basic_string_ex html_sanitise_copy() const { return ChangedBy(&basic_string_ex::html_sanitise_append_to); }
  std::uint64_t html_sanitise_append_to(basic_string_ex& dest) const;

  /// The pattern made ready for the searches below; these are for text alone, and take <qorv/regex.h> as
  /// well. An empty handle if the pattern is empty or invalid. `newline` makes `^` and `$` match at line feeds
  /// too, and keeps `.` and negated brackets from matching one. `flags` are bits of regexFlag: advanced
  /// syntax, unless they ask for another; basic syntax is had by the option `b` inside a pattern alone.
  ///
  /// With `extended_classes` these escapes become bracket expressions before the engine sees the pattern,
  /// wherever they stand, so inside a bracket they give a bracket within a bracket, which is no class there;
  /// in upper case they become the negated ones:
  ///
  /// escape  | elements                       | escape  | elements
  /// --------|--------------------------------|---------|---------------------------
  /// \a \A   | letters                        | \d \D   | digits
  /// \l \L   | letters in lower case          | \o \O   | octal digits
  /// \u \U   | letters in upper case          | \x \X   | hexadecimal digits
  /// \s \S   | space                          | \p \P   | printing elements
  /// \<      | neither letter nor underscore  | \w \W   | letters, digits, underscore
  /// \>      | no letter, digit or underscore |         |
  ///
  /// A pattern that begins with "***" goes to the engine as it stands. Options inside a pattern go before
  /// these arguments.
  static CRegex<T> compile_regex(text_view pattern, bool ignore_case = false, bool newline = false,
                                 std::uint32_t flags = 0, bool extended_classes = false);

  /// Finds up to `max` matches from `start` on, and returns how many there are. Each search begins where the
  /// match before ended, or one element further on if that was empty; `^` matches there only behind a line
  /// feed, and only for a pattern that is sensitive to them. `flags` are bits of searchFlag.
  ///
  /// regex_search fills `ranges` with the whole matches. split_regex adds behind each match its groups, at
  /// most nine and as many as the pattern has; one that took no part is {npos, 0}. A `start` beyond the end
  /// or an empty handle gives no match.
  ///
  /// In place of a handle all may take the pattern itself, compiled with the defaults of compile_regex. The
  /// last one stays compiled until its thread asks for another. See CRegexSearch for the time that many
  /// matches take.
  std::uint64_t regex_search(const CRegex<T>& regex, std::vector<RANGE>& ranges, std::uint64_t max = npos,
                             std::uint64_t start = 0, std::uint32_t flags = 0) const;
  std::uint64_t regex_search(text_view pattern, std::vector<RANGE>& ranges, std::uint64_t max = npos,
                             std::uint64_t start = 0, std::uint32_t flags = 0) const;
  std::uint64_t split_regex(const CRegex<T>& regex, std::vector<RANGE>& ranges, std::uint64_t max = npos,
                            std::uint64_t start = 0, std::uint32_t flags = 0) const;
  std::uint64_t split_regex(text_view pattern, std::vector<RANGE>& ranges, std::uint64_t max = npos,
                            std::uint64_t start = 0, std::uint32_t flags = 0) const;
  /// Replaces the same matches, and returns how many. In `replacement` a backslash and a digit stand for that
  /// group, 0 for the whole match, empty where there is none; \r \n \b \t \v for the control characters,
  /// \" and \' for the quotes, two backslashes for one. Any other backslash stays. A `start` beyond the end
  /// changes nothing, returns an empty string, appends nothing.
  std::uint64_t regex_replace(const CRegex<T>& regex, text_view replacement, std::uint64_t max = npos,
                              std::uint64_t start = 0, std::uint32_t flags = 0);
  std::uint64_t regex_replace(text_view pattern, text_view replacement, std::uint64_t max = npos,
                              std::uint64_t start = 0, std::uint32_t flags = 0);
  basic_string_ex regex_replace_copy(const CRegex<T>& regex, text_view replacement, std::uint64_t max = npos,
                                     std::uint64_t start = 0, std::uint32_t flags = 0) const;
  basic_string_ex regex_replace_copy(text_view pattern, text_view replacement, std::uint64_t max = npos,
                                     std::uint64_t start = 0, std::uint32_t flags = 0) const;
  std::uint64_t regex_replace_append_to(basic_string_ex& dest, const CRegex<T>& regex, text_view replacement,
                                        std::uint64_t max = npos, std::uint64_t start = 0,
                                        std::uint32_t flags = 0) const;
  std::uint64_t regex_replace_append_to(basic_string_ex& dest, text_view pattern, text_view replacement,
                                        std::uint64_t max = npos, std::uint64_t start = 0,
                                        std::uint32_t flags = 0) const;

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
  friend class IMPL::CAppender<T>;

  using APPENDFORM = std::uint64_t (basic_string_ex::*)(basic_string_ex& dest) const;
  std::uint64_t ChangeBy(APPENDFORM form);
  basic_string_ex ChangedBy(APPENDFORM form) const;
  bool KeepPart(text_view part);
  template <class NextHit>
  static std::uint64_t AppendReplaced(basic_string_ex& dest, text_view text, text_view to,
                                      std::uint64_t hitLength, NextHit nextHit);
  T* Writable(std::uint64_t length);
  T* RoomBehind(std::uint64_t count);
  void SetLength(std::uint64_t length) noexcept {
    buffer_.set_length(length);
    if constexpr (zeroEnded) buffer_.writable()[length] = T();
  }
  basic_string_ex& AppendNumber(std::uint64_t magnitude, bool negative, int base);

  basic_buffer<T> buffer_;
};

template <class T>
template <class Fill>
basic_string_ex<T>& basic_string_ex<T>::append_by(std::uint64_t count, Fill&& fill) {
  const std::uint64_t before = length();
  T* const room = RoomBehind(count);
  try {
    SetLength(before + fill(room));
  } catch (...) {
    SetLength(before);
    throw;
  }
  return *this;
}

/// Writes the length given, zero elements included.
std::ostream& operator<<(std::ostream& out, const stringEx& text);
std::wostream& operator<<(std::wostream& out, const wstringEx& text);

extern template class basic_string_ex<char>;
extern template class basic_string_ex<wchar_t>;
extern template class basic_string_ex<unsigned char>;

inline namespace literals {

/// A string that is a read-only view of the whole literal: zero elements inside it count.
constexpr stringEx operator""_sv(const char* text, std::size_t length) noexcept {
  return stringEx::view({text, length});
}
constexpr wstringEx operator""_sv(const wchar_t* text, std::size_t length) noexcept {
  return wstringEx::view({text, length});
}

}  // namespace literals
}  // namespace Qorv
