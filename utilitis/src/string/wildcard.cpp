// Wildcards.
#include <qorv/string.h>

#include "string/search.h"

namespace Qorv {
namespace {

template <class T>
struct WILDCARDS {
  T anyOne;
  T anyRun;
  const T* skip;  // null: none
  bool ignoreCase;
};

// What stands at one place of a pattern.
template <class T>
class CPatternItem {
 public:
  CPatternItem(std::basic_string_view<T> pattern, std::uint64_t at, const WILDCARDS<T>& special) noexcept
      : ignoreCase_(special.ignoreCase) {
    if (at == pattern.size()) return;
    const bool isSkipped = special.skip != nullptr && pattern[at] == *special.skip && at + 1 < pattern.size();
    width = isSkipped ? 2 : 1;
    element_ = pattern[at + width - 1];
    isRun = !isSkipped && element_ == special.anyRun;
    isAny_ = !isSkipped && element_ == special.anyOne;
  }

  bool Fits(T element) const noexcept {
    if (width == 0) return false;
    return isAny_ || element == element_ || (ignoreCase_ && IMPL::Fold(element) == IMPL::Fold(element_));
  }

  std::uint64_t width = 0;  // in elements of the pattern; 0 behind its end
  bool isRun = false;

 private:
  T element_{};
  bool isAny_ = false;
  bool ignoreCase_;
};

// On a mismatch the last run alone takes one element more: what runs before it took can stay, since the last
// one could take any element in their place.
template <class T>
bool FitsWhole(std::basic_string_view<T> text, std::basic_string_view<T> pattern,
               const WILDCARDS<T>& special) noexcept {
  std::uint64_t at = 0;
  std::uint64_t inText = 0;
  std::uint64_t behindRun = npos;  // the place in the pattern behind the last run, npos before the first
  std::uint64_t runEnd = 0;
  while (true) {
    const CPatternItem<T> item(pattern, at, special);
    if (item.isRun) {
      behindRun = at += item.width;
      runEnd = inText;
    } else if (inText == text.size()) {
      return at == pattern.size();
    } else if (item.Fits(text[inText])) {
      at += item.width;
      ++inText;
    } else if (behindRun == npos) {
      return false;
    } else {
      at = behindRun;
      inText = ++runEnd;
    }
  }
}

}  // namespace

template <class T>
bool basic_string_ex<T>::match_wildcard(text_view pattern, std::uint64_t position, T any_one, T any_run,
                                        bool ignore_case) const noexcept {
  if (position > length()) return false;
  return FitsWhole<T>(text_view(*this).substr(position), pattern, {any_one, any_run, nullptr, ignore_case});
}

template <class T>
bool basic_string_ex<T>::match_wildcard(text_view pattern, std::uint64_t position, T any_one, T any_run,
                                        T skip_char, bool ignore_case) const noexcept {
  if (position > length()) return false;
  return FitsWhole<T>(text_view(*this).substr(position), pattern,
                      {any_one, any_run, &skip_char, ignore_case});
}

template class basic_string_ex<char>;
template class basic_string_ex<wchar_t>;
template class basic_string_ex<unsigned char>;

}  // namespace Qorv
