// Marker expansion of any text: a command that gives back what it was asked changes nothing, whatever it answers;
// narrow and wide agree; and nothing beyond the text is read.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <qorv/string.h>

#include "require.h"

namespace {

using Qorv::stringEx;
using Qorv::wstringEx;

// Puts back the markers and as much of the token as it claims to have consumed. The token says what to answer.
template <class String>
class CEcho final : public Qorv::IStrMatchCmd<String> {
 public:
  using text_view = typename String::text_view;

  CEcho(text_view open, text_view close) : open_(open), close_(close) {}

  std::int32_t Match(const String& text, String& result) override {
    const text_view token = text;
    const auto choice = token.empty() ? 1U : static_cast<unsigned>(token.front()) % 16;
    length_ = choice / 4 == 3 ? Qorv::npos : choice / 4;
    const auto code = static_cast<std::int32_t>(choice % 4);
    if (code == Qorv::matchCode::replace) result.append(open_);
    result.append(close_.empty() ? token.substr(0, length_) : token).append(close_);
    return code;
  }
  std::uint64_t TokenLength() const override { return length_; }

 private:
  const text_view open_;
  const text_view close_;
  std::uint64_t length_ = 0;
};

// What comes out with the rules in the three bits.
template <class String>
String Expand(const String& text, const String& open, const String& close, unsigned rules) {
  CEcho<String> echo(open, close);
  const bool keepUnknown = (rules & 1) == 0;
  const bool dropTrailing = (rules & 2) != 0;
  const bool keepDoubled = (rules & 4) == 0;
  String dest;
  const std::uint64_t changes =
      close.empty() ? text.expand_append_to(dest, open[0], echo, keepUnknown, dropTrailing, keepDoubled)
                    : text.expand_append_to(dest, open, close, echo, keepUnknown, dropTrailing, keepDoubled);
  Require(dest.length() <= text.length(), "nothing is added");
  Require(changes != 0 || dest == text, "a change is counted");
  Require(rules != 0 || dest == text, "an echo changes nothing");
  return dest;
}

// With its meaning taken from each element, a text fits itself.
void CheckWildcards(const stringEx& text, const stringEx& pattern) {
  stringEx skipped;
  for (const char element : text)
    skipped.append('\\').append(element);
  Require(text.match_wildcard(skipped, 0, '?', '*', '\\'), "a text fits itself");
  const bool fits = text.match_wildcard(pattern, 0, '?', '*', '\\');
  Require(!fits || text.match_wildcard(pattern, 0, '?', '*', '\\', true), "folding lets no more apart");
  stringEx behind("x");
  behind.append(text);
  Require(behind.match_wildcard(pattern, 1, '?', '*', '\\') == fits,
          "only the text from the position counts");
}

}  // namespace

// The first byte chooses the markers and the rules. The text is a view, so that the sanitizer guards its end.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const std::vector<char> elements(data + 1, data + size);
  const std::vector<wchar_t> wideElements(elements.begin(), elements.end());
  const stringEx text = stringEx::view({elements.data(), elements.size()});
  const wstringEx wide = wstringEx::view({wideElements.data(), wideElements.size()});
  const char* const markers[][2] = {{"%", ""}, {"&", ";"}, {"${", "}"}, {"{{", "}}"}};
  const auto& [open, close] = markers[data[0] / 8 % 4];
  const unsigned rules = data[0] % 8;
  const stringEx narrow = Expand<stringEx>(text, open, close, rules);
  const wstringEx widened = Expand(wide, stringEx(open).to_wide(), stringEx(close).to_wide(), rules);
  Require(std::equal(narrow.begin(), narrow.end(), widened.begin(), widened.end(),
                     [](char a, wchar_t b) { return static_cast<wchar_t>(a) == b; }),
          "narrow and wide give the same text");
  if (elements.size() < 200) CheckWildcards(text, text.part({0, size / 3}));
  return 0;
}
