// From one width of text to the other. This file is the one place that decides how.
#include <algorithm>

#include <qorv/string.h>

#include "string/conversion.h"
#include "string/search.h"

namespace Qorv {
namespace {

template <class T>
void AppendWide(wstringEx& dest, std::basic_string_view<T> text) {
  dest.reserve(IMPL::Total(dest.length(), text.size(), 1));
  for (const T element : text)
    dest += static_cast<wchar_t>(static_cast<unsigned char>(element));
}

template <class T>
void AppendNarrow(stringEx& dest, std::basic_string_view<T> text) {
  dest.reserve(IMPL::Total(dest.length(), text.size(), 1));
  for (const T element : text)
    dest += static_cast<char>(element);
}

}  // namespace

template <class T>
void basic_string_ex<T>::to_wide_append_to(wstringEx& dest) const {
  if constexpr (std::same_as<T, wchar_t>) {
    dest.append(*this);
  } else {
    const wstringEx holder = IMPL::HolderFor(dest, {text_view(*this)});
    if constexpr (std::same_as<T, char>) {
      if (IMPL::AppendWideByEncoding(dest, *this)) return;
    }
    AppendWide<T>(dest, *this);
  }
}

template <class T>
void basic_string_ex<T>::to_narrow_append_to(stringEx& dest) const {
  if constexpr (std::same_as<T, char>) {
    dest.append(*this);
  } else {
    const stringEx holder = IMPL::HolderFor(dest, {text_view(*this)});
    if constexpr (std::same_as<T, wchar_t>) {
      if (IMPL::AppendNarrowByEncoding(dest, *this)) return;
    }
    AppendNarrow<T>(dest, *this);
  }
}

template <class T>
wstringEx basic_string_ex<T>::to_wide() const {
  if constexpr (std::same_as<T, wchar_t>) return *this;
  wstringEx result;
  to_wide_append_to(result);
  return result;
}

template <class T>
stringEx basic_string_ex<T>::to_narrow() const {
  if constexpr (std::same_as<T, char>) return *this;
  stringEx result;
  to_narrow_append_to(result);
  return result;
}

template class basic_string_ex<char>;
template class basic_string_ex<wchar_t>;
template class basic_string_ex<unsigned char>;

}  // namespace Qorv
