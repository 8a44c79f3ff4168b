// Escapes and their restorers on any text: what is escaped restores to itself, restoring takes one pass and never
// makes a text longer, narrow and wide agree, and nothing beyond the text is read.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <qorv/string.h>

#include "require.h"

namespace {

using Qorv::stringEx;
using Qorv::wstringEx;

bool AreSame(const stringEx& narrow, const wstringEx& wide) {
  return std::equal(narrow.begin(), narrow.end(), wide.begin(), wide.end(),
                    [](char a, wchar_t b) { return static_cast<wchar_t>(a) == b; });
}

template <class String>
struct PAIR {
  String (String::*escape)() const;
  String (String::*restore)() const;
};

template <class String>
constexpr PAIR<String> pairs[] = {{&String::html_escape_copy, &String::html_restore_copy},
                                  {&String::xml_escape_copy, &String::xml_restore_copy},
                                  {&String::json_escape_copy, &String::json_restore_copy}};

void CheckPair(std::size_t i, const stringEx& text, const wstringEx& wide) {
  const PAIR<stringEx>& narrowPair = pairs<stringEx>[i];
  const PAIR<wstringEx>& widePair = pairs<wstringEx>[i];
  const stringEx escaped = (text.*narrowPair.escape)();
  Require(escaped.length() >= text.length() && escaped.length() <= 6 * text.length(),
          "an escape has its size");
  Require((escaped.*narrowPair.restore)() == text, "what is escaped restores to itself");
  Require(AreSame(escaped, (wide.*widePair.escape)()), "narrow and wide escape the same");
  const stringEx restored = (text.*narrowPair.restore)();
  Require(restored.length() <= text.length(), "restoring adds nothing");
  Require(AreSame(restored, (wide.*widePair.restore)()), "narrow and wide restore the same");
}

void CheckSanitised(const stringEx& text, const wstringEx& wide) {
  stringEx sanitised;
  const std::uint64_t joiners = text.html_sanitise_append_to(sanitised);
  Require(sanitised.length() == text.length() + 3 * joiners, "joiners are all that is added");
  Require(sanitised.html_sanitise() == 0, "what is harmless stays so");
  if (text.count("\xe2\x80\x8c") == 0 && text.count("\x80") == 0) {
    sanitised.replace("\xe2\x80\x8c", "");
    Require(sanitised == text, "without the joiners it is the text");
  }
  Require(wide.html_sanitise_copy().length() == wide.length() + joiners, "a wide joiner is one element");
}

}  // namespace

// The text is a view, so that the sanitizer guards its end.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<char> elements(data, data + size);
  const std::vector<wchar_t> wideElements(elements.begin(), elements.end());
  const stringEx text = stringEx::view({elements.data(), elements.size()});
  const wstringEx wide = wstringEx::view({wideElements.data(), wideElements.size()});
  for (std::size_t i = 0; i < std::size(pairs<stringEx>); ++i)
    CheckPair(i, text, wide);
  CheckSanitised(text, wide);
  return 0;
}
