// Formatted text.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cwchar>
#include <utility>

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

// What the system sets errno to, if anything, for a wide text that does not fit.
int CutError() noexcept {
  wchar_t room[1];
  errno = 0;
  std::swprintf(room, 1, L"x");
  return errno;
}

// The wide call answers a cut text as it answers a failure. A cut text is told by its error, and by the full
// room, for there are systems where another failure has that error too.
std::uint64_t Print(wchar_t* room, std::uint64_t size, const wchar_t* pattern,
                    std::va_list arguments) noexcept {
  constexpr auto noCharacter = static_cast<wchar_t>(WEOF);
  wchar_t& last = room[size > 1 ? size - 2 : 0];
  last = noCharacter;
  const int saved = std::exchange(errno, 0);
  const int result = std::vswprintf(room, size, pattern, arguments);
  const int error = errno;
  const bool isCut = result < 0 && last != noCharacter && CutError() == error;
  errno = saved;
  if (isCut) return size;
  return result > 0 ? static_cast<std::uint64_t>(result) : 0;
}

std::uint64_t Print(unsigned char* room, std::uint64_t size, const unsigned char* pattern,
                    std::va_list arguments) noexcept {
  return Print(reinterpret_cast<char*>(room), size, reinterpret_cast<const char*>(pattern), arguments);
}

// Ends the use of a variadic form's arguments, also when memory runs out.
class CArgumentsEnd {
 public:
  explicit CArgumentsEnd(std::va_list& arguments) noexcept : arguments_(arguments) {}
  CArgumentsEnd(const CArgumentsEnd&) = delete;
  CArgumentsEnd& operator=(const CArgumentsEnd&) = delete;
  ~CArgumentsEnd() { va_end(arguments_); }

 private:
  std::va_list& arguments_;
};

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
  const CArgumentsEnd end(arguments);
  return vformat(pattern, arguments);
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::format(std::uint64_t limit, const T* pattern, ...) {
  std::va_list arguments;
  va_start(arguments, pattern);
  const CArgumentsEnd end(arguments);
  return vformat(limit, pattern, arguments);
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::format_append(const T* pattern, ...) {
  std::va_list arguments;
  va_start(arguments, pattern);
  const CArgumentsEnd end(arguments);
  return vformat_append(pattern, arguments);
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::format_append(std::uint64_t limit, const T* pattern, ...) {
  std::va_list arguments;
  va_start(arguments, pattern);
  const CArgumentsEnd end(arguments);
  return vformat_append(limit, pattern, arguments);
}

template class basic_string_ex<char>;
template class basic_string_ex<wchar_t>;
template class basic_string_ex<unsigned char>;

}  // namespace Qorv
