// Escapes of html, xml and json, the way back, and markup made harmless.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <qorv/string.h>

#include "support/row_name.h"

namespace {

using Qorv::stringEx;
using Qorv::wstringEx;

template <class String>
struct FORMS {
  std::uint64_t (String::*inPlace)();
  String (String::*copy)() const;
  std::uint64_t (String::*appendTo)(String&) const;
};

template <class S>
constexpr FORMS<S> forms[] = {
    {&S::html_escape, &S::html_escape_copy, &S::html_escape_append_to},
    {&S::xml_escape, &S::xml_escape_copy, &S::xml_escape_append_to},
    {&S::json_escape, &S::json_escape_copy, &S::json_escape_append_to},
    {&S::html_restore, &S::html_restore_copy, &S::html_restore_append_to},
    {&S::xml_restore, &S::xml_restore_copy, &S::xml_restore_append_to},
    {&S::json_restore, &S::json_restore_copy, &S::json_restore_append_to},
    {&S::html_sanitise, &S::html_sanitise_copy, &S::html_sanitise_append_to},
};
enum OPERATION { htmlEscape, xmlEscape, jsonEscape, htmlRestore, xmlRestore, jsonRestore, sanitise };

// All forms, also onto the text itself. What does not change shares the buffer.
template <class String>
void CheckForms(const FORMS<String>& form, const String& text, const String& expected) {
  String changed(text);
  const std::uint64_t changes = (changed.*form.inPlace)();
  EXPECT_EQ(changed, expected);
  EXPECT_EQ(changes == 0, text == expected);
  EXPECT_EQ(changes == 0, changed.data() == text.data());
  const String copy = (text.*form.copy)();
  EXPECT_EQ(copy, expected);
  EXPECT_EQ(changes == 0, copy.data() == text.data());
  String dest = String::view(text);
  EXPECT_EQ((dest.*form.appendTo)(dest), changes);
  EXPECT_EQ(dest, text + expected);
  if (text.empty()) return;
  while (dest.length() * 2 <= static_cast<std::uint64_t>(dest.capacity()))  // until it must move to grow
    dest += text;
  const String both = dest + (dest.*form.copy)();
  (dest.*form.appendTo)(dest);
  EXPECT_EQ(dest, both);
}

struct EscapeRow {
  const char* name;
  stringEx text;
  stringEx html, xml, json;
};

const EscapeRow escapeRows[] = {
    {"Empty", "", "", "", ""},
    {"Nothing", "plain text", "plain text", "plain text", "plain text"},
    {"Each", "<>&\"'", "&lt;&gt;&amp;&quot;'", "&lt;&gt;&amp;&quot;&apos;", "<>&\\\"'"},
    {"Entity", "&amp;", "&amp;amp;", "&amp;amp;", "&amp;"},
    {"Edges", "<a>", "&lt;a&gt;", "&lt;a&gt;", "<a>"},
    {"Controls", "\r\n\t\b\f\v\x01\x1f", "\r\n\t\b\f\v\x01\x1f", "\r\n\t\b\f\v\x01\x1f",
     "\\r\\n\\t\\b\\f\v\x01\x1f"},
    {"Backslashes", "\\n/\\", "\\n/\\", "\\n/\\", "\\\\n/\\\\"},
    {"BeyondAscii", "\xe2\x80\x8c\xff\x80", "\xe2\x80\x8c\xff\x80", "\xe2\x80\x8c\xff\x80",
     "\xe2\x80\x8c\xff\x80"},
    {"Zero", stringEx("<\0>", 3), stringEx("&lt;\0&gt;", 9), stringEx("&lt;\0&gt;", 9), stringEx("<\0>", 3)},
};

class Escape : public testing::TestWithParam<EscapeRow> {};

TEST_P(Escape, IsWrittenAndRestored) {
  const stringEx& text = GetParam().text;
  const stringEx* const escaped[] = {&GetParam().html, &GetParam().xml, &GetParam().json};
  for (std::size_t i = 0; i < std::size(escaped); ++i) {
    SCOPED_TRACE(i);
    CheckForms(forms<stringEx>[htmlEscape + i], text, *escaped[i]);
    CheckForms(forms<stringEx>[htmlRestore + i], *escaped[i], text);
    CheckForms(forms<wstringEx>[htmlEscape + i], text.to_wide(), escaped[i]->to_wide());
    CheckForms(forms<wstringEx>[htmlRestore + i], escaped[i] -> to_wide(), text.to_wide());
  }
}

INSTANTIATE_TEST_SUITE_P(String, Escape, testing::ValuesIn(escapeRows), rowName);

TEST(Escape, DoesNotTakeWideElementsForTheirLowBytes) {
  const wstringEx text(L"\u0126\u013c\u2026\U0001f422");  // low bytes of `&`, `<`, `&` and `"`
  CheckForms(forms<wstringEx>[xmlEscape], text, text);
  CheckForms(forms<wstringEx>[jsonEscape], text, text);
}

struct ChangeRow {
  const char* name;
  OPERATION operation;
  stringEx text;
  stringEx expected;  // each `|` stands for the joiner
};

const ChangeRow changeRows[] = {
    {"OnePass", htmlRestore, "&amp;lt;", "&lt;"},
    {"UnknownEntity", htmlRestore, "&unknown;&lt;&#60;&LT;", "&unknown;<&#60;&LT;"},
    {"HtmlApostrophe", htmlRestore, "&apos;", "&apos;"},
    {"XmlApostrophe", xmlRestore, "&apos;", "'"},
    {"OneMoreOrLess", xmlRestore, "&ltt;&l;&am; &;& lt;&gt;", "&ltt;&l;&am; &;& lt;>"},
    {"Unterminated", xmlRestore, "&lt;&lt", "<&lt"},
    {"InsideAnother", htmlRestore, ";&x &lt;;", ";&x <;"},
    {"DoubledAmpersand", htmlRestore, "a && b&&lt;", "a & b&lt;"},
    {"AmpersandAtTheEnd", htmlRestore, "a&", "a&"},
    {"JsonOnePass", jsonRestore, "\\\\n\\n", "\\n\n"},
    {"JsonUnknown", jsonRestore, "\\q\\/\\u0041\\N", "\\q\\/\\u0041\\N"},
    {"JsonAtTheEnd", jsonRestore, "\\n\\", "\n\\"},
    {"JsonBackslashes", jsonRestore, "\\\\\\\\\\\"", "\\\\\""},
    {"Tag", sanitise, "<b></b><!--", "<|b><|/b><|!--"},
    {"LetterEdges", sanitise, "<a<z<A<Z<`<{<@<[", "<|a<|z<|A<|Z<`<{<@<["},
    {"NoTag", sanitise, "1 < 2<1<?<", "1 < 2<1<?<"},
    {"Script", sanitise, "javascript:alert", "javascript|:alert"},
    {"MixedCase", sanitise, "JavaScript:dATA::", "JavaScript|:dATA|::"},
    {"EndAlone", sanitise, "mydata:<<data:", "mydata|:<<|data|:"},
    {"OtherColons", sanitise, ":data :javascrip:ata:http://", ":data :javascrip:ata:http://"},
};

class Change : public testing::TestWithParam<ChangeRow> {};

TEST_P(Change, IsMadeWhereItShould) {
  const ChangeRow& row = GetParam();
  stringEx expected = row.expected;
  wstringEx wide = expected.to_wide();
  expected.replace("|", "\xe2\x80\x8c");
  wide.replace(L"|", L"\u200c");
  CheckForms(forms<stringEx>[row.operation], row.text, expected);
  CheckForms(forms<wstringEx>[row.operation], row.text.to_wide(), wide);
}

INSTANTIATE_TEST_SUITE_P(String, Change, testing::ValuesIn(changeRows), rowName);

}  // namespace
