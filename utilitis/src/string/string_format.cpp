// Formatted text.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cwchar>

#include <qorv/string.h>

#include "string/search.h"

namespace Qorv {
namespace {

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

// The wide call answers a cut text as it answers a failure, and only the failures of conversion are told
// apart: a text that was cut stands in the room.
std::uint64_t Print(wchar_t* room, std::uint64_t size, const wchar_t* pattern,
                    std::va_list arguments) noexcept {
  const int saved = errno;
  errno = 0;
  room[0] = L'\0';
  const int result = std::vswprintf(room, size, pattern, arguments);
  const bool isFailure = result < 0 && errno == EILSEQ;
  errno = saved;
  if (result >= 0) return static_cast<std::uint64_t>(result);
  room[size - 1] = L'\0';
  return isFailure ? 0 : std::char_traits<wchar_t>::length(room);
}

std::uint64_t Print(unsigned char* room, std::uint64_t size, const unsigned char* pattern,
                    std::va_list arguments) noexcept {
  return Print(reinterpret_cast<char*>(room), size, reinterpret_cast<const char*>(pattern), arguments);
}

}  // namespace

// Pattern and arguments may lie in the string, where nothing can tell, so the text is printed elsewhere
// first.
template <class T>
basic_string_ex<T>& basic_string_ex<T>::vformat_append(std::uint64_t limit, const T* pattern,
                                                       std::va_list arguments) {
  T small[formatLimit + 1];
  basic_buffer<T> large;
  if (limit > formatLimit) large.reserve_exact(IMPL::Total(limit, 1, 1));
  T* const room = limit > formatLimit ? large.writable() : small;
  const std::uint64_t written = Print(room, limit + 1, pattern, arguments);
  return append(text_view(room, std::min(written, limit)));
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::vformat_append(const T* pattern, std::va_list arguments) {
  return vformat_append(formatLimit, pattern, arguments);
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::vformat(std::uint64_t limit, const T* pattern,
                                                std::va_list arguments) {
  basic_string_ex text;
  text.vformat_append(limit, pattern, arguments);
  return assign(text);
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::vformat(const T* pattern, std::va_list arguments) {
  return vformat(formatLimit, pattern, arguments);
}

// A variadic form has to be one function; all that they share is in the forms above.
template <class T>
basic_string_ex<T>& basic_string_ex<T>::format(const T* pattern, ...) {
  std::va_list arguments;
  va_start(arguments, pattern);
  vformat(pattern, arguments);
  va_end(arguments);
  return *this;
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::format(std::uint64_t limit, const T* pattern, ...) {
  std::va_list arguments;
  va_start(arguments, pattern);
  vformat(limit, pattern, arguments);
  va_end(arguments);
  return *this;
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::format_append(const T* pattern, ...) {
  std::va_list arguments;
  va_start(arguments, pattern);
  vformat_append(pattern, arguments);
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

template class basic_string_ex<char>;
template class basic_string_ex<wchar_t>;
template class basic_string_ex<unsigned char>;

}  // namespace Qorv
