// Searches by pattern: the one place where strings know of the engine above them.
#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include <qorv/regex.h>
#include <qorv/string.h>

#include "string/search.h"
#include "string/thread_data.h"
#include "sync/thread_data.h"

namespace Qorv {
namespace {

constexpr std::uint64_t mostRanges = 10;  // of one match: the whole and its groups

struct ESCAPEROW {
  char key;
  std::string_view text;
};

constexpr ESCAPEROW classRows[] = {
    {'a', "[[:alpha:]]"},  {'A', "[^[:alpha:]]"},  {'l', "[[:lower:]]"},   {'L', "[^[:lower:]]"},
    {'u', "[[:upper:]]"},  {'U', "[^[:upper:]]"},  {'s', "[[:space:]]"},   {'S', "[^[:space:]]"},
    {'d', "[[:digit:]]"},  {'D', "[^[:digit:]]"},  {'x', "[[:xdigit:]]"},  {'X', "[^[:xdigit:]]"},
    {'p', "[[:print:]]"},  {'P', "[^[:print:]]"},  {'o', "[0-7]"},         {'O', "[^0-7]"},
    {'w', "[[:alnum:]_]"}, {'W', "[^[:alnum:]_]"}, {'<', "[^[:alpha:]_]"}, {'>', "[^[:alnum:]_]"},
};

constexpr ESCAPEROW replacementRows[] = {
    {'r', "\r"}, {'n', "\n"}, {'b', "\b"}, {'t', "\t"}, {'v', "\v"}, {'"', "\""}, {'\'', "'"},
};

// Rows of escapes in elements of T, as expand takes them.
template <class T, std::size_t count>
class CEscapePairs {
 public:
  using text_view = std::basic_string_view<T>;

  constexpr explicit CEscapePairs(const ESCAPEROW (&rows)[count]) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
      keys_[i] = static_cast<T>(rows[i].key);
      std::copy(rows[i].text.begin(), rows[i].text.end(), texts_[i].begin());
      pairs_[i] = {text_view(&keys_[i], 1), text_view(texts_[i].data(), rows[i].text.size())};
    }
  }

  constexpr std::span<const std::pair<text_view, text_view>> Get() const noexcept { return pairs_; }

 private:
  std::array<T, count> keys_{};
  std::array<std::array<T, 16>, count> texts_{};
  std::array<std::pair<text_view, text_view>, count> pairs_{};
};

template <class T>
constexpr CEscapePairs<T, std::size(classRows)> classPairs(classRows);
template <class T>
constexpr CEscapePairs<T, std::size(replacementRows)> replacementPairs(replacementRows);

template <class T>
bool StartsWith(std::basic_string_view<T> text, std::string_view start) noexcept {
  return text.size() >= start.size() && std::equal(start.begin(), start.end(), text.begin(),
                                                   [](char a, T b) { return static_cast<T>(a) == b; });
}

// The last pattern that a thread has compiled from its text.
template <class T>
struct RECENTREGEX {
  basic_string_ex<T> pattern;
  CRegex<T> regex;
};

template <class T>
IMPL::CThreadData<RECENTREGEX<T>>& RecentRegexes() {
  static auto* const recent = std::make_unique<IMPL::CThreadData<RECENTREGEX<T>>>().release();
  return *recent;
}

// The pattern compiled with the defaults of compile_regex, if it is not the same as the last time.
template <class T>
CRegex<T> RecentRegex(std::basic_string_view<T> pattern) {
  RECENTREGEX<T>& recent = RecentRegexes<T>().Get();
  if (std::basic_string_view<T>(recent.pattern) != pattern) {
    basic_string_ex<T> text(pattern);
    recent.regex = basic_string_ex<T>::compile_regex(pattern);
    recent.pattern.swap(text);
  }
  return recent.regex;
}

// Number of ranges of each match.
template <class T>
std::uint64_t CountRanges(const CRegex<T>& regex) noexcept {
  return std::min<std::uint64_t>(regex.GetGroupCount() + 1, mostRanges);
}

// Calls `use` with mostRanges ranges for each match, the first `count` of them filled, the others empty.
template <class T, class Use>
std::uint64_t ForEachMatch(CRegexSearch<T>&& search, std::uint64_t count, std::uint64_t max, Use use) {
  RANGE ranges[mostRanges];
  std::uint64_t matches = 0;
  for (; matches < max && search.Next(ranges, count); ++matches)
    use(ranges);
  return matches;
}

// The replacement's escapes, for one match after the other.
template <class T>
class CReplacement final : public IStrMatchCmd<basic_string_ex<T>> {
 public:
  using string = basic_string_ex<T>;

  explicit CReplacement(std::basic_string_view<T> text) noexcept : text_(text) {}

  void SetMatch(const RANGE* ranges) noexcept { ranges_ = ranges; }

  std::int32_t Match(const string& text, string& result) override {
    if (text[0] >= T('0') && text[0] <= T('9')) {
      const RANGE group = ranges_[text[0] - T('0')];
      if (group.offset != npos) result = string::view(text_.substr(group.offset, group.length));
      return matchCode::replace;
    }
    const auto pairs = replacementPairs<T>.Get();
    const auto row = std::find_if(pairs.begin(), pairs.end(),
                                  [&text](const auto& pair) { return pair.first[0] == text[0]; });
    if (row == pairs.end()) return matchCode::none;
    result = string::view(row->second);
    return matchCode::replace;
  }

  std::uint64_t TokenLength() const override { return 1; }

 private:
  const std::basic_string_view<T> text_;
  const RANGE* ranges_ = nullptr;  // mostRanges of them
};

}  // namespace

template <class T>
CRegex<T> basic_string_ex<T>::compile_regex(text_view pattern, bool ignore_case, bool newline,
                                            std::uint32_t flags, bool extended_classes) {
  constexpr std::uint32_t anySyntax = regexFlag::advanced | regexFlag::quote;
  if ((flags & anySyntax) == 0) flags |= regexFlag::advanced;
  if (ignore_case) flags |= regexFlag::ignoreCase;
  if (newline) flags |= regexFlag::newline;  // the engine sees to the options inside a pattern
  const bool isLiteral = (flags & regexFlag::quote) != 0 || StartsWith(pattern, "***");
  if (!extended_classes || isLiteral) return CRegex<T>::Compile(pattern, flags);
  basic_string_ex expanded = view(pattern);
  expanded.expand(T('\\'), classPairs<T>.Get(), true);
  return CRegex<T>::Compile(expanded, flags);
}

template <class T>
std::uint64_t basic_string_ex<T>::regex_search(const CRegex<T>& regex, std::vector<RANGE>& ranges,
                                               std::uint64_t max, std::uint64_t start,
                                               std::uint32_t flags) const {
  ranges.clear();
  return ForEachMatch(CRegexSearch<T>(regex, *this, start, flags), 1, max,
                      [&ranges](const RANGE* match) { ranges.push_back(*match); });
}

template <class T>
std::uint64_t basic_string_ex<T>::split_regex(const CRegex<T>& regex, std::vector<RANGE>& ranges,
                                              std::uint64_t max, std::uint64_t start,
                                              std::uint32_t flags) const {
  ranges.clear();
  const std::uint64_t count = CountRanges(regex);
  return ForEachMatch(CRegexSearch<T>(regex, *this, start, flags), count, max,
                      [&](const RANGE* match) { ranges.insert(ranges.end(), match, match + count); });
}

template <class T>
std::uint64_t basic_string_ex<T>::regex_replace_append_to(basic_string_ex& dest, const CRegex<T>& regex,
                                                          text_view replacement, std::uint64_t max,
                                                          std::uint64_t start, std::uint32_t flags) const {
  if (start > length()) return 0;
  const text_view text = *this;
  const basic_string_ex holder = IMPL::HolderFor(dest, {text, replacement});
  if (!text.empty())
    dest.reserve(IMPL::Total(IMPL::Total(dest.length(), text.size(), 1), text.size() / 8, 1));
  const basic_string_ex pattern = view(replacement);
  CReplacement<T> command(text);
  std::uint64_t done = 0;
  const std::uint64_t count =
      replacement.find(T('\\')) == npos ? 1 : CountRanges(regex);  // groups take their time
  const std::uint64_t hits =
      ForEachMatch(CRegexSearch<T>(regex, text, start, flags), count, max, [&](const RANGE* match) {
        dest.append(text.substr(done, match->offset - done));
        command.SetMatch(match);
        pattern.expand_append_to(dest, T('\\'), command);
        done = match->offset + match->length;
      });
  dest.append(text.substr(done));
  return hits;
}

template <class T>
std::uint64_t basic_string_ex<T>::regex_replace(const CRegex<T>& regex, text_view replacement,
                                                std::uint64_t max, std::uint64_t start, std::uint32_t flags) {
  basic_string_ex result;
  const std::uint64_t hits = regex_replace_append_to(result, regex, replacement, max, start, flags);
  if (hits != 0) swap(result);
  return hits;
}

template <class T>
basic_string_ex<T> basic_string_ex<T>::regex_replace_copy(const CRegex<T>& regex, text_view replacement,
                                                          std::uint64_t max, std::uint64_t start,
                                                          std::uint32_t flags) const {
  if (start > length()) return {};
  basic_string_ex copy(*this);
  copy.regex_replace(regex, replacement, max, start, flags);
  return copy;
}

template <class T>
std::uint64_t basic_string_ex<T>::regex_search(text_view pattern, std::vector<RANGE>& ranges,
                                               std::uint64_t max, std::uint64_t start,
                                               std::uint32_t flags) const {
  return regex_search(RecentRegex(pattern), ranges, max, start, flags);
}

template <class T>
std::uint64_t basic_string_ex<T>::split_regex(text_view pattern, std::vector<RANGE>& ranges,
                                              std::uint64_t max, std::uint64_t start,
                                              std::uint32_t flags) const {
  return split_regex(RecentRegex(pattern), ranges, max, start, flags);
}

template <class T>
std::uint64_t basic_string_ex<T>::regex_replace_append_to(basic_string_ex& dest, text_view pattern,
                                                          text_view replacement, std::uint64_t max,
                                                          std::uint64_t start, std::uint32_t flags) const {
  return regex_replace_append_to(dest, RecentRegex(pattern), replacement, max, start, flags);
}

template <class T>
std::uint64_t basic_string_ex<T>::regex_replace(text_view pattern, text_view replacement, std::uint64_t max,
                                                std::uint64_t start, std::uint32_t flags) {
  return regex_replace(RecentRegex(pattern), replacement, max, start, flags);
}

template <class T>
basic_string_ex<T> basic_string_ex<T>::regex_replace_copy(text_view pattern, text_view replacement,
                                                          std::uint64_t max, std::uint64_t start,
                                                          std::uint32_t flags) const {
  return regex_replace_copy(RecentRegex(pattern), replacement, max, start, flags);
}

template <class T>
void IMPL::ReleaseStringData() {
  RecentRegexes<T>().Release();
}

template void IMPL::ReleaseStringData<char>();
template void IMPL::ReleaseStringData<wchar_t>();
template class basic_string_ex<char>;
template class basic_string_ex<wchar_t>;

}  // namespace Qorv
