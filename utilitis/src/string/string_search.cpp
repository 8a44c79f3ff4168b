// Search, count and comparison.
#include <algorithm>

#include <qorv/string.h>

#include "string/search.h"

namespace Qorv {
namespace {

using IMPL::Fold;

// At least one element. By blocks that have no way out, so that many elements are folded at a time.
template <class T>
bool AreEqualNocase(const T* a, const T* b, std::uint64_t count) noexcept {
  constexpr std::uint64_t block = 64;
  if (Fold(*a) != Fold(*b)) return false;
  for (; count >= block; count -= block, a += block, b += block) {
    T differences = 0;
    for (std::uint64_t i = 0; i < block; ++i)
      differences = static_cast<T>(differences | (Fold(a[i]) ^ Fold(b[i])));
    if (differences != 0) return false;
  }
  return std::equal(a, a + count, b, [](T x, T y) { return Fold(x) == Fold(y); });
}

}  // namespace

template <class T>
std::uint64_t basic_string_ex<T>::find(text_view text, std::uint64_t position) const noexcept {
  return IMPL::FindText<T>(*this, text, position);
}

template <class T>
std::uint64_t basic_string_ex<T>::rfind(T element) const noexcept {
  return IMPL::RFindText<T>(*this, {&element, 1}, npos, IMPL::StartsEqual<T>);
}

template <class T>
std::uint64_t basic_string_ex<T>::find_any(text_view set, std::uint64_t position) const noexcept {
  return IMPL::CElementSet<T>(set).FindIn(*this, position);
}

template <class T>
std::uint64_t basic_string_ex<T>::find_nocase(T element, std::uint64_t position) const noexcept {
  return find_nocase(text_view(&element, 1), position);
}

template <class T>
std::uint64_t basic_string_ex<T>::find_nocase(text_view text, std::uint64_t position) const noexcept {
  if (text.empty() || text.size() > length()) return npos;
  for (; position <= length() - text.size(); ++position) {
    if (AreEqualNocase(data() + position, text.data(), text.size())) return position;
  }
  return npos;
}

template <class T>
std::uint64_t basic_string_ex<T>::rfind_nocase(T element, std::uint64_t position) const noexcept {
  return rfind_nocase(text_view(&element, 1), position);
}

template <class T>
std::uint64_t basic_string_ex<T>::rfind_nocase(text_view text, std::uint64_t position) const noexcept {
  return IMPL::RFindText<T>(*this, text, position, AreEqualNocase<T>);
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
std::uint64_t basic_string_ex<T>::count(text_view needle) const noexcept {
  std::uint64_t hits = 0;
  for (std::uint64_t hit = 0; (hit = find(needle, hit)) != npos; hit += needle.size())
    ++hits;
  return hits;
}

template <class T>
int basic_string_ex<T>::compare_nocase(text_view other) const noexcept {
  return compare_nocase(0, length(), other);
}

template <class T>
int basic_string_ex<T>::compare_nocase(std::uint64_t position, std::uint64_t length,
                                       text_view other) const noexcept {
  const text_view own = text_view(*this).substr(std::min(position, this->length()), length);
  if (own.data() == other.data() && own.size() == other.size()) return 0;
  const std::uint64_t common = std::min(own.size(), other.size());
  for (std::uint64_t i = 0; i < common; ++i) {
    const T a = Fold(own[i]);
    const T b = Fold(other[i]);
    if (a != b) return std::char_traits<T>::lt(a, b) ? -1 : 1;
  }
  if (own.size() == other.size()) return 0;
  return own.size() < other.size() ? -1 : 1;
}

template class basic_string_ex<char>;
template class basic_string_ex<wchar_t>;
template class basic_string_ex<unsigned char>;

}  // namespace Qorv
