#include <qorv/regex.h>

#include <utility>

#include "regex/matcher.h"
#include "regex/program.h"
#include "regex/tree.h"

namespace Qorv {

template <class T>
CRegex<T> CRegex<T>::Compile(text_view pattern, std::uint32_t flags) {
  CRegex regex;
  if (pattern.empty()) return regex;
  if (std::optional<IMPL::Tree> tree = IMPL::ParseRegex<T>(pattern, flags)) {
    regex.program_ = IMPL::RegexProgram::Make(std::move(*tree), maxStates);
  }
  return regex;
}

template <class T>
std::uint32_t CRegex<T>::GetFlags() const noexcept {
  return program_ == nullptr ? 0 : program_->GetTree().flags;
}

template <class T>
std::uint32_t CRegex<T>::GetGroupCount() const noexcept {
  return program_ == nullptr ? 0 : program_->GetTree().groups;
}

template <class T>
bool CRegex<T>::Exec(text_view text, std::uint64_t start, RANGE* ranges, std::uint64_t count,
                     std::uint32_t flags) const {
  if (program_ == nullptr || start > text.size()) return false;
  return IMPL::RegexMatcher<T>(program_, text, flags).Find(start, ranges, count);
}

template <class T>
CRegexSearch<T>::CRegexSearch(const CRegex<T>& regex, std::basic_string_view<T> text, std::uint64_t start,
                              std::uint32_t flags)
    : position_(start) {
  if (regex) matcher_ = std::make_unique<IMPL::RegexMatcher<T>>(regex.program_, text, flags);
}

template <class T>
CRegexSearch<T>::~CRegexSearch() = default;

template <class T>
bool CRegexSearch<T>::Next(RANGE* ranges, std::uint64_t count) {
  RANGE match;
  if (matcher_ == nullptr ||
      !matcher_->Find(position_, count != 0 ? ranges : &match, count != 0 ? count : 1)) {
    return false;
  }
  if (count != 0) match = ranges[0];
  position_ = match.offset + match.length + (match.length == 0 ? 1 : 0);
  return true;
}

template class CRegex<char>;
template class CRegex<wchar_t>;
template class CRegexSearch<char>;
template class CRegexSearch<wchar_t>;

}  // namespace Qorv
