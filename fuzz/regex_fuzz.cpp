// Any pattern over any text: narrow and wide agree, ranges lie inside the match and the match inside the text,
// a search ends, and a quoted pattern is found where plain search finds it.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <qorv/regex.h>

#include "require.h"

namespace {

using Qorv::CRegex;
using Qorv::RANGE;

struct Outcome {
  bool isValid = false;
  std::vector<RANGE> first;                // of the first match from the start position on, with its groups
  std::vector<std::vector<RANGE>> others;  // of the walk over the whole text
  bool operator==(const Outcome&) const = default;
};

std::uint64_t End(const RANGE& range) {
  return range.offset + range.length;
}

void CheckRanges(const std::vector<RANGE>& ranges, std::uint64_t start, std::uint64_t size) {
  const RANGE whole = ranges.front();
  Require(whole.offset >= start && whole.offset <= size && whole.length <= size - whole.offset,
          "a match lies between its start and the end of the text");
  for (const RANGE& range : ranges) {
    Require(range == RANGE{Qorv::npos, 0} || (range.offset >= whole.offset && range.offset <= End(whole) &&
                                              range.length <= End(whole) - range.offset),
            "a group lies inside the match");
  }
  Require(ranges.back() == RANGE{Qorv::npos, 0}, "a group that is none takes no part");
}

template <class T>
Outcome Run(std::basic_string_view<T> pattern, std::uint32_t flags, std::basic_string_view<T> text,
            std::uint64_t start, std::uint32_t searchFlags) {
  const CRegex<T> regex = CRegex<T>::Compile(pattern, flags);
  if (!regex) return {};
  Outcome outcome{true, {}, {}};
  std::vector<RANGE> ranges(regex.GetGroupCount() + std::size_t{2});
  if (regex.Exec(text, start, ranges.data(), ranges.size(), searchFlags)) {
    CheckRanges(ranges, start, text.size());
    outcome.first = ranges;
  }
  RANGE whole;
  Require(regex.Exec(text, start, &whole, 1, searchFlags) == !outcome.first.empty() &&
              (outcome.first.empty() || whole == outcome.first.front()),
          "the whole match is the same without its groups");
  std::uint64_t end = 0;
  Qorv::CRegexSearch<T> search(regex, text, 0, searchFlags);
  while (search.Next(ranges.data(), ranges.size())) {
    CheckRanges(ranges, end, text.size());
    Require(outcome.others.size() <= text.size(), "a search ends");
    end = End(ranges.front());
    outcome.others.push_back(ranges);
  }
  return outcome;
}

void CheckQuoted(const std::string& pattern, std::string_view text, std::uint64_t start) {
  RANGE range;
  const CRegex<char> quoted = CRegex<char>::Compile("***=" + pattern);
  Require(static_cast<bool>(quoted), "every quoted pattern is valid");
  const bool isFound = quoted.Exec(text, start, &range, 1);
  const std::size_t place = text.find(pattern, start);
  Require(isFound ? range == RANGE{place, pattern.size()} : place == std::string_view::npos,
          "a quoted pattern is found where plain search finds it");
}

}  // namespace

// The first four bytes choose flags, start and the length of the pattern. The text is a heap block of its own,
// so that the sanitizer guards its ends.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return 0;
  const std::uint32_t flags = data[0];
  const std::uint32_t searchFlags = data[1] & Qorv::searchFlag::notAtBeginning;
  const std::size_t length = std::min<std::size_t>(data[3], size - 4);
  const std::string pattern(data + 4, data + 4 + length);
  const std::vector<char> elements(data + 4 + length, data + size);
  const std::string_view text(elements.data(), elements.size());
  const std::uint64_t start = data[2] % (text.size() + 2);

  const std::wstring widePattern(data + 4, data + 4 + length);
  const std::vector<wchar_t> wideElements(data + 4 + length, data + size);
  const std::wstring_view wideText(wideElements.data(), wideElements.size());

  const Outcome narrow = Run<char>(pattern, flags, text, start, searchFlags);
  const Outcome wide = Run<wchar_t>(widePattern, flags, wideText, start, searchFlags);
  Require(!narrow.isValid || narrow == wide, "narrow and wide find the same");
  CheckQuoted(pattern, text, start);
  return 0;
}
