// Parts of a string: ranges, and views of what lies before, behind and between delimiters.
#include <qorv/string.h>

#include "string/search.h"

namespace Qorv {
namespace {

// Place of the `n`-th `delimiter` from the left, n above 0; npos if there are fewer.
template <class T>
std::uint64_t NthPlace(std::basic_string_view<T> text, std::basic_string_view<T> delimiter,
                       std::int64_t n) noexcept {
  std::uint64_t hit = IMPL::FindText(text, delimiter, 0);
  while (--n > 0 && hit != npos)
    hit = IMPL::FindText(text, delimiter, hit + delimiter.size());
  return hit;
}

// The same from the right: each hit cuts off what the next one may not reach into.
template <class T>
std::uint64_t RNthPlace(std::basic_string_view<T> text, std::basic_string_view<T> delimiter,
                        std::int64_t n) noexcept {
  std::uint64_t hit = text.size();
  for (; n > 0 && hit != npos; --n)
    hit = IMPL::RFindText(text.substr(0, hit), delimiter, npos, IMPL::StartsEqual<T>);
  return hit;
}

// The next text between two markers at or behind `from`, which moves behind the pair; false if there is none.
template <class T>
bool TakeBetween(std::basic_string_view<T> text, std::basic_string_view<T> open,
                 std::basic_string_view<T> close, std::uint64_t& from, RANGE& range) noexcept {
  const std::uint64_t opening = IMPL::FindText(text, open, from);
  if (opening == npos) return false;
  const std::uint64_t begin = opening + open.size();
  const std::uint64_t closing = IMPL::FindText(text, close, begin);
  if (closing == npos) return false;
  range = {begin, closing - begin};
  from = closing + close.size();
  return true;
}

}  // namespace

template <class T>
bool basic_string_ex<T>::split(text_view delimiter, std::vector<RANGE>& ranges) const {
  ranges.clear();
  std::uint64_t from = 0;
  for (std::uint64_t hit; (hit = find(delimiter, from)) != npos; from = hit + delimiter.size())
    ranges.push_back({from, hit - from});
  ranges.push_back({from, length() - from});
  return ranges.size() > 1;
}

template <class T>
bool basic_string_ex<T>::split_between(text_view open, text_view close, std::vector<RANGE>& ranges) const {
  ranges.clear();
  std::uint64_t from = 0;
  for (RANGE range; TakeBetween<T>(*this, open, close, from, range);)
    ranges.push_back(range);
  return !ranges.empty();
}

template <class T>
basic_string_ex<T> basic_string_ex<T>::part(RANGE range) const noexcept {
  if (range.offset >= length()) return {};
  return view(text_view(*this).substr(range.offset, range.length));
}

template <class T>
basic_string_ex<T> basic_string_ex<T>::left_of(text_view delimiter, std::int64_t n) const noexcept {
  if (n < 0) return view(*this);
  if (n == 0 || delimiter.empty()) return {};
  return part({0, NthPlace<T>(*this, delimiter, n)});
}

template <class T>
basic_string_ex<T> basic_string_ex<T>::right_of(text_view delimiter, std::int64_t n) const noexcept {
  if (n == 0) return *this;
  if (n < 0 || delimiter.empty()) return {};
  const std::uint64_t hit = NthPlace<T>(*this, delimiter, n);
  return hit == npos ? basic_string_ex() : part({hit + delimiter.size(), npos});
}

template <class T>
basic_string_ex<T> basic_string_ex<T>::rleft_of(text_view delimiter, std::int64_t n) const noexcept {
  if (n < 0) return view(*this);
  if (n == 0 || delimiter.empty()) return {};
  const std::uint64_t hit = RNthPlace<T>(*this, delimiter, n);
  return hit == npos ? basic_string_ex() : part({0, hit});
}

template <class T>
basic_string_ex<T> basic_string_ex<T>::rright_of(text_view delimiter, std::int64_t n) const noexcept {
  if (n == 0) return *this;
  if (n < 0 || delimiter.empty()) return {};
  const std::uint64_t hit = RNthPlace<T>(*this, delimiter, n);
  return hit == npos ? *this : part({hit + delimiter.size(), npos});
}

template <class T>
basic_string_ex<T> basic_string_ex<T>::between(text_view open, text_view close,
                                               std::int64_t n) const noexcept {
  std::uint64_t from = 0;
  RANGE range;
  while (n > 0 && TakeBetween<T>(*this, open, close, from, range)) {
    if (--n == 0) return part(range);
  }
  return {};
}

template class basic_string_ex<char>;
template class basic_string_ex<wchar_t>;
template class basic_string_ex<unsigned char>;

}  // namespace Qorv
