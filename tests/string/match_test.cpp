// Marker expansion with every answer of a command, expansion over a table, wildcards.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include <qorv/string.h>

#include "support/row_name.h"

namespace {

using Qorv::byteEx;
using Qorv::npos;
using Qorv::stringEx;
using Qorv::wstringEx;

template <class String>
String Make(const std::string& text) {
  const std::vector<typename String::value_type> elements(text.begin(), text.end());
  return String(elements.data(), elements.size());
}

template <class String>
std::string Text(const String& text) {
  return {text.begin(), text.end()};
}

// Answers by the token's first element, and notes what it was asked.
template <class String>
class CScript final : public Qorv::IStrMatchCmd<String> {
 public:
  std::int32_t Match(const String& text, String& result) override {
    EXPECT_TRUE(text.is_view());
    EXPECT_TRUE(result.empty());
    asked += "[" + Text(text) + "]";
    length_ = 1;
    result.append(Make<String>("<R>"));
    switch (text.empty() ? 'e' : text[0]) {
      case 'i':
        return Qorv::matchCode::insert;
      case 's':
        return Qorv::matchCode::stop;
      case 'm':
        return -1;
      case 'u':
        return Qorv::matchCode::none;
      case 't':
        throw std::runtime_error("script");
      case '0':
        length_ = 0;
        break;
      case '2':
        length_ = 2;
        break;
      case '9':
        length_ = npos;
        break;
      case 'v': {  // a view instead of the text in the result
        auto view = String::view(text);
        result.swap(view);
        break;
      }
      default:
        break;
    }
    return Qorv::matchCode::replace;
  }
  std::uint64_t TokenLength() const override { return length_; }

  std::string asked;

 private:
  std::uint64_t length_ = 0;
};

struct RULES {
  bool keepUnknown = true;
  bool dropTrailing = false;
  bool keepDoubled = false;
};

struct ExpandRow {
  const char* name;
  std::string open, close;  // without a closing marker the command says how long the tokens are
  std::string text, expected;
  std::uint64_t changes;
  std::string asked;
  RULES rules{};
};

const ExpandRow expandRows[] = {
    {"NoMarker", "%", "", "abc", "abc", 0, ""},
    {"Replace", "%", "", "far from it%rb%r", "far from it<R>b<R>", 2, "[rb%r][r]"},
    {"ReplaceNoLength", "%", "", "a%0b", "a<R>0b", 1, "[0b]"},
    {"ReplaceLonger", "%", "", "%2bc", "<R>c", 1, "[2bc]"},
    {"ReplaceBeyondTheEnd", "%", "", "%9bc", "<R>", 1, "[9bc]"},
    {"ReplaceByView", "%", "", "%r%vx%r", "<R>vx%rx<R>", 3, "[r%vx%r][vx%r][r]"},
    {"Insert", "%", "", "a%ib", "a%<R>b", 1, "[ib]"},
    {"Unknown", "%", "", "a%ub%r", "a%ub<R>", 1, "[ub%r][r]"},
    {"UnknownDropped", "%", "", "a%ub%r", "aub<R>", 2, "[ub%r][r]", {.keepUnknown = false}},
    {"Stop", "%", "", "a%sb%r%%", "a%sb%r%%", 0, "[sb%r%%]"},
    {"StopByNegative", "%", "", "%r%mb%r", "<R>%mb%r", 1, "[r%mb%r][mb%r]"},
    {"Doubled", "%", "", "a%%r%%%r%%", "a%r%<R>%", 4, "[r%%]"},
    {"DoubledKept", "%", "", "%%r%%%r", "%%r%%<R>", 1, "[r]", {.keepDoubled = true}},
    {"Trailing", "%", "", "a%", "a%", 0, ""},
    {"TrailingDropped", "%", "", "%%%", "%", 2, "", {.dropTrailing = true}},
    {"TrailingBehindUnknown", "%", "", "%u%", "%u%", 0, "[u%]"},
    {"ReplacePaired", "${", "}", "}a${2bc}${}b${9}", "}a<R><R>b<R>", 3, "[2bc][][9]"},
    {"ReplacePairedByView", "${", "}", "${vx}${r}", "vx<R>", 2, "[vx][r]"},
    {"InsertPaired", "${", "}", "a${ix}b", "a${<R>b", 1, "[ix]"},
    {"UnknownPaired", "${", "}", "${u${r}}", "${u<R>}", 1, "[u${r][r]"},
    {"UnknownPairedDropped", "${", "}", "a${ux}b", "ab", 1, "[ux]", {.keepUnknown = false}},
    {"StopPaired", "${", "}", "${r}${s}${r}", "<R>${s}${r}", 1, "[r][s]"},
    {"Unclosed", "${", "}", "${r}a${r $${", "<R>a${r $${", 1, "[r]"},
    {"HalfMarker", "${", "}", "$a{$}$ {$", "$a{$}$ {$", 0, "", {.dropTrailing = true}},
    {"DoubledPaired", "${", "}", "$${r}$$${r}", "${r}$<R>", 3, "[r]"},
    {"DoubledPairedKept", "${", "}", "$${r}${r}", "$${r}<R>", 1, "[r]", {.keepDoubled = true}},
    {"TrailingPaired", "${", "}", "a${", "a${", 0, ""},
    {"TrailingPairedDropped", "${", "}", "a${", "a", 1, "", {.dropTrailing = true}},
    {"SingleElements", "&", ";", "&r; && &u;", "<R> & &u;", 2, "[r][u]"},
    {"NotDoubledButTheMarker", "{{", "}}", "{{r}} {{r} }", "<R> {{r} }", 1, "[r]"},
    {"SameMarkers", "|", "|", "|r|r|r|", "<R>r<R>", 2, "[r][r]"},
    {"NoOpeningMarker", "", "}", "${r}", "${r}", 0, ""},
};

template <class String>
void CheckExpansion(const ExpandRow& row) {
  CScript<String> script;
  String dest = Make<String>("+");
  const String text = Make<String>(row.text);
  const String open = Make<String>(row.open);
  const auto& [keepUnknown, dropTrailing, keepDoubled] = row.rules;
  EXPECT_EQ(row.close.empty()
                ? text.expand_append_to(dest, open[0], script, keepUnknown, dropTrailing, keepDoubled)
                : text.expand_append_to(dest, open, Make<String>(row.close), script, keepUnknown,
                                        dropTrailing, keepDoubled),
            row.changes);
  EXPECT_EQ(Text(dest), "+" + row.expected);
  EXPECT_EQ(script.asked, row.asked);
}

class Expansion : public testing::TestWithParam<ExpandRow> {};

TEST_P(Expansion, GivesWhatTheCommandSays) {
  CheckExpansion<stringEx>(GetParam());
  CheckExpansion<wstringEx>(GetParam());
  CheckExpansion<byteEx>(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Expand, Expansion, testing::ValuesIn(expandRows), rowName);

TEST(Expand, TakesTheEndForNoElement) {
  CScript<stringEx> script;
  const stringEx text("${r}\0", 5);
  stringEx dest;
  EXPECT_EQ(text.expand_append_to(dest, '\0', script), 0U);
  EXPECT_EQ(text.expand_append_to(dest, "${", "", script), 0U);  // without a closing marker nothing is marked
  EXPECT_EQ(dest, text + text);
}

TEST(Expand, OntoItselfAndBeyondTheRoomThatWasMade) {
  const std::string start = "%r%r%r%r%r%r%r%r%r%r%r%r%r%r%r";
  std::string expected = start;
  for (std::size_t i = 0; i < start.size() / 2; ++i)
    expected += "<R>";
  for (stringEx text : {stringEx(start), stringEx::view(start)}) {
    CScript<stringEx> script;
    text.expand_append_to(text, '%', script);
    EXPECT_EQ(std::string(text), expected);
    EXPECT_EQ(std::string(text.data()), expected);  // zero-ended
  }
  stringEx dest("${r} and as much as fits in 31");
  ASSERT_EQ(dest.capacity(), 31);
  CScript<stringEx> script;
  stringEx("${r}${r}").expand_append_to(dest, dest.part({0, 2}), dest.part({3, 1}), script);
  EXPECT_EQ(dest, "${r} and as much as fits in 31<R><R>");
}

TEST(Expand, LeavesAWholeTextBehindWhenTheCommandThrows) {
  CScript<stringEx> script;
  stringEx dest("a long text that has been there before");
  EXPECT_THROW(stringEx("b%r%t%r").expand_append_to(dest, '%', script), std::runtime_error);
  EXPECT_EQ(std::string(dest.data()), "a long text that has been there beforeb<R>");
  EXPECT_EQ(dest.length(), std::string(dest.data()).size());
}

TEST(Expand, KeepsTheRoomOfTheResult) {
  struct CRoom final : Qorv::IStrMatchCmd<stringEx> {
    std::int32_t Match(const stringEx&, stringEx& result) override {
      EXPECT_TRUE(room == nullptr || room == result.data());
      result.append(100, 'x');
      room = result.data();
      return Qorv::matchCode::replace;
    }
    const char* room = nullptr;
  };
  CRoom command;
  stringEx dest;
  stringEx("%a%b%c").expand_append_to(dest, '%', command);
  EXPECT_EQ(dest.length(), 303U);
}

// --- over a table ---------------------------------------------------------------------------------------------------

struct TableRow {
  const char* name;
  std::string text;
  std::string expected;
  std::uint64_t changes;
  bool keepDoubled = false;
  bool strict = false;
};

const TableRow tableRows[] = {
    {"Known", "x\\n\\ab", "x1222b", 2}, {"FirstThatFits", "\\nn", "1n", 1},
    {"Unknown", "\\q\\n", "\\q1", 1},   {"UnknownStrict", "\\q\\n", "q1", 2, false, true},
    {"Doubled", "\\\\n", "\\n", 1},     {"DoubledKept", "\\\\n\\n", "\\\\n1", 1, true},
    {"Trailing", "\\n\\", "1\\", 1},    {"TrailingStrict", "\\n\\", "1", 2, false, true},
    {"CutName", "\\a", "\\a", 0},       {"EmptyValue", "a\\0b", "ab", 1},
};

class Table : public testing::TestWithParam<TableRow> {};

TEST_P(Table, GivesTheValues) {
  const stringEx::text_pair pairs[] = {{"", "never"}, {"n", "1"}, {"ab", "222b"}, {"nn", "late"}, {"0", ""}};
  stringEx text(GetParam().text.c_str());
  EXPECT_EQ(text.expand('\\', pairs, GetParam().keepDoubled, GetParam().strict), GetParam().changes);
  EXPECT_EQ(std::string(text), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Expand, Table, testing::ValuesIn(tableRows), rowName);

TEST(Table, MayLieInTheTextAndLeavesItAloneWithoutAHit) {
  stringEx text("$ab");
  const stringEx::text_pair pairs[] = {{text.part({1, 1}), text}};
  EXPECT_EQ(text.expand('$', pairs), 1U);
  EXPECT_EQ(text, "$abb");
  const char* const before = text.data();
  EXPECT_EQ(text.expand('#', pairs), 0U);
  EXPECT_EQ(text.data(), before);
}

// --- wildcards ------------------------------------------------------------------------------------------------------

// What a wildcard pattern means, word for word.
bool Fits(const std::string& text, const std::string& pattern, char skip, bool ignoreCase) {
  if (pattern.empty()) return text.empty();
  const bool isSkipped = pattern[0] == skip && pattern.size() > 1;
  const std::string rest = pattern.substr(isSkipped ? 2 : 1);
  const char element = pattern[isSkipped ? 1 : 0];
  if (!isSkipped && element == '*') {
    return Fits(text, rest, skip, ignoreCase) ||
           (!text.empty() && Fits(text.substr(1), pattern, skip, ignoreCase));
  }
  if (text.empty()) return false;
  const bool isSame =
      text[0] == element || (ignoreCase && (text[0] ^ element) == 32 && std::isalpha(element));
  return (isSame || (!isSkipped && element == '?')) && Fits(text.substr(1), rest, skip, ignoreCase);
}

std::vector<std::string> AllTexts(const std::string& alphabet, std::size_t longest) {
  std::vector<std::string> texts{""};
  for (std::size_t i = 0; i < texts.size() && texts[i].size() < longest; ++i) {
    for (const char element : alphabet)
      texts.push_back(texts[i] + element);
  }
  return texts;
}

TEST(Wildcard, AgreesWithItsMeaningOverAllSmallTexts) {
  for (const std::string& pattern : AllTexts("aB?*\\", 4)) {
    const wstringEx wide = Make<wstringEx>(pattern);
    for (const std::string& text : AllTexts("ab*\\", 4)) {
      const stringEx own = stringEx::view(text);
      const wstringEx wideOwn = Make<wstringEx>(text);
      for (const bool ignoreCase : {false, true}) {
        SCOPED_TRACE("'" + text + "' '" + pattern + "'");
        const bool plain = Fits(text, pattern, '\0', ignoreCase);
        ASSERT_EQ(own.match_wildcard(pattern, 0, '?', '*', ignoreCase), plain);
        ASSERT_EQ(wideOwn.match_wildcard(wide, 0, L'?', L'*', ignoreCase), plain);
        ASSERT_EQ(own.match_wildcard(pattern, 0, '?', '*', '\\', ignoreCase),
                  Fits(text, pattern, '\\', ignoreCase));
      }
    }
  }
}

TEST(Wildcard, StartsAtThePositionAndFoldsLettersOnly) {
  const stringEx text("report.[\xc4");
  EXPECT_TRUE(text.match_wildcard("_.%", 5, '_', '%'));
  EXPECT_FALSE(text.match_wildcard("r*", 1, '?', '*'));
  EXPECT_TRUE(text.match_wildcard("*", 9, '?', '*'));
  EXPECT_FALSE(text.match_wildcard("*", 10, '?', '*'));
  EXPECT_FALSE(text.match_wildcard("*", npos, '?', '*', '\\'));
  EXPECT_FALSE(text.match_wildcard("{?", 7, '?', '*', true));
  EXPECT_FALSE(text.match_wildcard("\xe4", 8, '?', '*', true));
}

}  // namespace
