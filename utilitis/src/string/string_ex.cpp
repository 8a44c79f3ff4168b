#include <qorv/string.h>

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <functional>
#include <ostream>

namespace Qorv {
namespace {

template <class T>
constexpr T Fold(T element) noexcept {
  return element >= T('A') && element <= T('Z') ? static_cast<T>(element + 32) : element;
}

template <class T>
constexpr bool IsSpace(T element) noexcept {
  switch (element) {
    case T('\0'):
    case T('\t'):
    case T('\n'):
    case T('\v'):
    case T('\r'):
    case T(' '):
      return true;
    default:
      return false;
  }
}

template <class T>
bool IsInside(const T* element, const basic_string_ex<T>& text) noexcept {
  return std::less_equal<>()(text.begin(), element) && std::less<>()(element, text.end());
}

constexpr std::uint64_t formatLimit = 256;  // of the forms that are given none

// Each prints into `size` elements of room and gives the length of the whole text, or 0 after an error; what
// does not fit is cut. The patterns are the callers' own.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::uint64_t Print(char* room, std::uint64_t size, const char* pattern, std::va_list arguments) noexcept {
  const int result = std::vsnprintf(room, size, pattern, arguments);
  return result > 0 ? static_cast<std::uint64_t>(result) : 0;
}
#pragma GCC diagnostic pop

// The wide call tells a cut text from a failure by nothing but what it left in the room.
std::uint64_t Print(wchar_t* room, std::uint64_t size, const wchar_t* pattern,
                    std::va_list arguments) noexcept {
  room[0] = L'\0';
  const int result = std::vswprintf(room, size, pattern, arguments);
  if (result >= 0) return static_cast<std::uint64_t>(result);
  room[size - 1] = L'\0';
  return std::char_traits<wchar_t>::length(room);
}

std::uint64_t Print(unsigned char* room, std::uint64_t size, const unsigned char* pattern,
                    std::va_list arguments) noexcept {
  return Print(reinterpret_cast<char*>(room), size, reinterpret_cast<const char*>(pattern), arguments);
}

}  // namespace

// Room of the string's own for `length` elements and the zero behind them. A view becomes a copy first.
template <class T>
T* basic_string_ex<T>::Writable(std::uint64_t length) {
  const std::uint64_t room = length + (zeroEnded ? 1 : 0);
  if (buffer_.is_view()) {
    basic_buffer<T> own;
    own.reserve(std::max(room, buffer_.length()));
    std::copy_n(buffer_.data(), buffer_.length(), own.writable());
    own.set_length(buffer_.length());
    buffer_.swap(own);
  }
  buffer_.reserve(room);
  return buffer_.writable();
}

template <class T>
void basic_string_ex<T>::SetLength(std::uint64_t length) noexcept {
  buffer_.set_length(length);
  if constexpr (zeroEnded) buffer_.writable()[length] = T();
}

template <class T>
void basic_string_ex<T>::reserve(std::uint64_t capacity) {
  Writable(std::max(capacity, length()));
  SetLength(length());
}

template <class T>
void basic_string_ex<T>::clear() noexcept {
  if (buffer_.capacity() <= 0 || buffer_.is_shared()) {
    buffer_ = basic_buffer<T>();
  } else {
    SetLength(0);
  }
}

template <class T>
void basic_string_ex<T>::truncate(std::uint64_t length) {
  if (length >= this->length()) return;
  Writable(length);
  SetLength(length);
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::assign(text_view text) {
  basic_string_ex keep;
  if (IsInside(text.data(), *this)) keep = *this;  // the part must outlive the buffer it lies in
  clear();
  return append(text);
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::append(text_view text) {
  if (text.empty()) return *this;
  const std::uint64_t before = length();
  const T* const old = data();
  const bool inside = IsInside(text.data(), *this);
  const auto offset = inside ? text.data() - old : 0;
  T* const room = Writable(before + text.size());
  std::copy_n(inside ? room + offset : text.data(), text.size(), room + before);
  SetLength(before + text.size());
  return *this;
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::append(std::uint64_t count, T element) {
  if (count == 0) return *this;
  const std::uint64_t before = length();
  std::fill_n(Writable(before + count) + before, count, element);
  SetLength(before + count);
  return *this;
}

template <class T>
void basic_string_ex<T>::erase(std::uint64_t position, std::uint64_t count) {
  const std::uint64_t before = length();
  if (position >= before || count == 0) return;
  const std::uint64_t end = position + std::min(count, before - position);
  T* const room = Writable(before);
  std::copy(room + end, room + before, room + position);
  SetLength(before - (end - position));
}

template <class T>
std::uint64_t basic_string_ex<T>::find(text_view text, std::uint64_t position) const noexcept {
  return text_view(*this).find(text, position);
}

template <class T>
std::uint64_t basic_string_ex<T>::rfind(T element) const noexcept {
  return text_view(*this).rfind(element);
}

template <class T>
std::uint64_t basic_string_ex<T>::find_any(text_view set, std::uint64_t position) const noexcept {
  return text_view(*this).find_first_of(set, position);
}

template <class T>
bool basic_string_ex<T>::starts_with_any(text_view set) const noexcept {
  return !empty() && set.find(data()[0]) != text_view::npos;
}

template <class T>
bool basic_string_ex<T>::ends_with_any(text_view set) const noexcept {
  return !empty() && set.find(data()[length() - 1]) != text_view::npos;
}

template <class T>
int basic_string_ex<T>::compare_nocase(text_view other) const noexcept {
  if (data() == other.data() && length() == other.size()) return 0;
  const std::uint64_t common = std::min<std::uint64_t>(length(), other.size());
  for (std::uint64_t i = 0; i < common; ++i) {
    const T a = Fold(data()[i]);
    const T b = Fold(other[i]);
    if (a != b) return a < b ? -1 : 1;
  }
  if (length() == other.size()) return 0;
  return length() < other.size() ? -1 : 1;
}

template <class T>
void basic_string_ex<T>::to_lower() {
  if (empty()) return;
  T* const room = Writable(length());
  std::transform(room, room + length(), room, Fold<T>);
  SetLength(length());
}

template <class T>
void basic_string_ex<T>::trim_left() {
  const T* const first = std::find_if_not(begin(), end(), IsSpace<T>);
  erase(0, static_cast<std::uint64_t>(first - begin()));
}

template <class T>
void basic_string_ex<T>::trim_right() {
  std::uint64_t end = length();
  while (end > 0 && IsSpace(data()[end - 1]))
    --end;
  truncate(end);
}

template <class T>
bool basic_string_ex<T>::split(text_view delimiter, std::vector<RANGE>& ranges) const {
  ranges.clear();
  std::uint64_t from = 0;
  if (!delimiter.empty()) {
    for (std::uint64_t hit; (hit = find(delimiter, from)) != npos; from = hit + delimiter.size()) {
      ranges.push_back({from, hit - from});
    }
  }
  ranges.push_back({from, length() - from});
  return ranges.size() > 1;
}

template <class T>
basic_string_ex<T> basic_string_ex<T>::part(RANGE range) const noexcept {
  if (range.offset >= length()) return {};
  return view(text_view(*this).substr(range.offset, range.length));
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::vformat_append(std::uint64_t limit, const T* pattern,
                                                       std::va_list arguments) {
  const std::uint64_t before = length();
  T* const room = Writable(before + limit + 1);  // the system ends its text with a zero, in a byteEx too
  const std::uint64_t written = Print(room + before, limit + 1, pattern, arguments);
  SetLength(before + std::min(written, limit));
  return *this;
}

// A variadic form has to be one function; all that they share is in vformat_append.
template <class T>
basic_string_ex<T>& basic_string_ex<T>::format(const T* pattern, ...) {
  clear();
  std::va_list arguments;
  va_start(arguments, pattern);
  vformat_append(formatLimit, pattern, arguments);
  va_end(arguments);
  return *this;
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::format(std::uint64_t limit, const T* pattern, ...) {
  clear();
  std::va_list arguments;
  va_start(arguments, pattern);
  vformat_append(limit, pattern, arguments);
  va_end(arguments);
  return *this;
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::format_append(const T* pattern, ...) {
  std::va_list arguments;
  va_start(arguments, pattern);
  vformat_append(formatLimit, pattern, arguments);
  va_end(arguments);
  return *this;
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::format_append(std::uint64_t limit, const T* pattern, ...) {
  std::va_list arguments;
  va_start(arguments, pattern);
  vformat_append(limit, pattern, arguments);
  va_end(arguments);
  return *this;
}

std::ostream& operator<<(std::ostream& out, const stringEx& text) {
  return out << std::string_view(text);
}

template class basic_string_ex<char>;
template class basic_string_ex<wchar_t>;
template class basic_string_ex<unsigned char>;

}  // namespace Qorv
