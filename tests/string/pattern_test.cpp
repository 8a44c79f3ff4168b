// Searches by pattern: what is compiled, where it matches, what takes the place of the matches.
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include <qorv/regex.h>
#include <qorv/string.h>

#include "support/row_name.h"

namespace {

using Qorv::npos;
using Qorv::RANGE;
using Qorv::stringEx;
using Qorv::wstringEx;

// Each as offset+length, or - for a group that took no part.
std::string Text(const std::vector<RANGE>& ranges) {
  std::string text;
  for (const RANGE& range : ranges) {
    if (!text.empty()) text += ' ';
    text += range == RANGE{npos, 0} ? "-" : std::to_string(range.offset) + "+" + std::to_string(range.length);
  }
  return text;
}

// The matches side by side.
template <class String, class Pattern>
String Matches(const String& text, const Pattern& pattern) {
  std::vector<RANGE> ranges;
  text.regex_search(pattern, ranges);
  String matches;
  for (const RANGE& range : ranges)
    matches += text.part(range);
  return matches;
}

// --- compilation ----------------------------------------------------------------------------------------------------

TEST(Compile, ExpandsTheClasses) {
  const std::string sample = "aZ5_ 8F!\n";
  constexpr std::pair<char, std::string_view> classes[] = {{'a', "aZF"}, {'l', "a"},        {'u', "ZF"},
                                                           {'s', " \n"}, {'d', "58"},       {'x', "a58F"},
                                                           {'o', "5"},   {'p', "aZ5_ 8F!"}, {'w', "aZ5_8F"}};
  for (const auto& [letter, inside] : classes) {
    std::string outside = sample;
    std::erase_if(outside, [set = inside](char c) { return set.find(c) != set.npos; });
    for (const bool isNegated : {false, true}) {
      const stringEx pattern =
          stringEx("\\") + stringEx().append(static_cast<char>(letter - (isNegated ? 32 : 0)));
      const stringEx expected(isNegated ? outside : inside);
      const stringEx text(sample.c_str());
      EXPECT_EQ(Matches(text, stringEx::compile_regex(pattern, false, false, 0, true)), expected) << pattern;
      const auto wide = wstringEx::compile_regex(pattern.to_wide(), false, false, 0, true);
      EXPECT_EQ(Matches(text.to_wide(), wide), expected.to_wide()) << pattern;
    }
  }
}

constexpr auto quote = Qorv::regexFlag::quote;

struct CompileRow {
  const char* name;
  std::string pattern;
  std::string text;
  std::string expected;
  bool extendedClasses = false;
  bool newline = false;
  std::uint32_t flags = 0;
  bool ignoreCase = false;
};

const CompileRow compileRows[] = {
    {"ClassRepeated", "\\d+-\\d", "12-345", "12-3", true},
    {"ClassBeforeAWord", "\\<", "a_5 ", "5 ", true},
    {"ClassBehindAWord", "\\>", "a_5 ", " ", true},
    {"ClassBehindBackslash", "\\\\d", "\\d5", "\\d", true},
    {"ClassAtTheEnd", "x\\d", "xd x5", "x5", true},
    {"OtherEscapes", "(.)\\1\\.", "aa.bc.", "aa.", true},
    {"ClassesOff", "\\a", "a\a", "\a"},
    {"DirectorTurnsClassesOff", "***:\\a", "a\a", "\a", true},
    {"DirectorOfText", "***=\\d+", "5\\d+5", "\\d+", true},
    {"QuotedPattern", "\\d.", "55\\d.", "\\d.", true, false, quote},
    {"ExtendedSyntax", "\\d+", "d5dd", "ddd", false, false, Qorv::regexFlag::extended},
    {"FoldedCase", "aB", "AbaB", "AbaB", false, false, 0, true},
    {"LineBegins", "^.", "ab\ncd", "ac", false, true},
    {"TextBegins", "^.", "ab\ncd", "a"},
    {"DotStopsAtLines", "b.c|[^a]", "ab\ncd", "bcd", false, true},
    {"OptionN", "***:(?n)^.", "ab\ncd", "ac"},
    {"OptionW", "***:(?w)^.", "ab\ncd", "ac"},
};

class Compile : public testing::TestWithParam<CompileRow> {};

TEST_P(Compile, MakesThePatternReady) {
  const CompileRow& row = GetParam();
  const auto regex =
      stringEx::compile_regex(row.pattern, row.ignoreCase, row.newline, row.flags, row.extendedClasses);
  ASSERT_TRUE(regex);
  EXPECT_EQ(std::string(Matches(stringEx(row.text.c_str()), regex)), row.expected);
}

INSTANTIATE_TEST_SUITE_P(Compile, Compile, testing::ValuesIn(compileRows), rowName);

TEST(Compile, OfWhatIsNoPatternGivesAnEmptyHandle) {
  for (const char* const pattern : {"", "(a", "[a", "a{2,1}", "***:(?z)a", "***a", "[[:none:]]"}) {
    const auto regex = stringEx::compile_regex(pattern);
    EXPECT_FALSE(regex) << pattern;
    std::vector<RANGE> ranges{{1, 2}};
    stringEx text("(a[a");
    EXPECT_EQ(text.regex_search(regex, ranges), 0U);
    EXPECT_TRUE(ranges.empty());
    ranges = {{1, 2}};
    EXPECT_EQ(text.split_regex(pattern, ranges), 0U);
    EXPECT_TRUE(ranges.empty());
    EXPECT_EQ(text.regex_replace(regex, "x"), 0U);
    EXPECT_EQ(text.regex_replace_copy(pattern, "x"), "(a[a");
  }
}

// --- search ---------------------------------------------------------------------------------------------------------

struct SearchRow {
  const char* name;
  stringEx pattern;
  stringEx text;
  std::string whole, withGroups;
  std::uint64_t max = npos;
  std::uint64_t start = 0;
  std::uint32_t flags = 0;
};

const SearchRow searchRows[] = {
    {"All", "an", "banana", "1+2 3+2", "1+2 3+2"},
    {"None", "x", "banana", "", ""},
    {"Groups", "(a)(n)?", "banana", "1+2 3+2 5+1", "1+2 1+1 2+1 3+2 3+1 4+1 5+1 5+1 -"},
    {"EmptyMatches", "x*", "axb", "0+0 1+1 2+0 3+0", "0+0 1+1 2+0 3+0"},
    {"TwoOnly", "(a)", "banana", "1+1 3+1", "1+1 1+1 3+1 3+1", 2},
    {"NoneWanted", "a", "banana", "", "", 0},
    {"FromAPosition", "a", "banana", "3+1 5+1", "3+1 5+1", npos, 2},
    {"FromTheEnd", "a*", "banana", "6+0", "6+0", npos, 6},
    {"BeyondTheEnd", "a*", "banana", "", "", npos, 7},
    {"BeginsOnce", "^a", "aaa", "0+1", "0+1"},
    {"BeginsNotAtAPosition", "^n", "banana", "", "", npos, 2},
    {"BeginsNotByFlag", "^a", "aaa", "", "", npos, 0, Qorv::searchFlag::notAtBeginning},
    {"BeginsAtLines", "(?n)^a", "a\naa\na", "0+1 2+1 5+1", "0+1 2+1 5+1"},
    {"BeginsAtLinesFromAPosition", "(?n)^a", "a\naa", "2+1", "2+1", npos, 2},
    {"NineGroups", "(a)(b)(c)(d)(e)(f)(g)(h)(i)(j)(k)", "-abcdefghijk", "1+11",
     "1+11 1+1 2+1 3+1 4+1 5+1 6+1 7+1 8+1 9+1"},
};

class Search : public testing::TestWithParam<SearchRow> {};

template <class String>
void CheckSearch(const String& text, const String& pattern, const SearchRow& row) {
  const auto check = [&](const auto& by) {
    std::vector<RANGE> ranges{{7, 7}};
    const std::uint64_t count = text.regex_search(by, ranges, row.max, row.start, row.flags);
    EXPECT_EQ(count, ranges.size());
    EXPECT_EQ(Text(ranges), row.whole);
    EXPECT_EQ(text.split_regex(by, ranges, row.max, row.start, row.flags), count);
    EXPECT_EQ(Text(ranges), row.withGroups);
  };
  check(pattern);
  check(String::compile_regex(pattern));
}

TEST_P(Search, FindsMatchAfterMatch) {
  CheckSearch(GetParam().text, GetParam().pattern, GetParam());
  CheckSearch(GetParam().text.to_wide(), GetParam().pattern.to_wide(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(Pattern, Search, testing::ValuesIn(searchRows), rowName);

// --- replacement ----------------------------------------------------------------------------------------------------

struct ReplaceRow {
  const char* name;
  stringEx pattern;
  stringEx replacement;
  stringEx text;
  stringEx expected;
  std::uint64_t count;
  std::uint64_t max = npos;
  std::uint64_t start = 0;
};

const ReplaceRow replaceRows[] = {
    {"Plain", "an", "-", "banana", "b--a", 2},
    {"None", "x", "-", "banana", "banana", 0},
    {"Groups", "(a)(n)", "<\\2\\1>", "banana", "b<na><na>a", 2},
    {"Whole", "an", "[\\0]", "banana", "b[an][an]a", 2},
    {"GroupThatTookNoPart", "(a)(x)?", "\\2-", "ab", "-b", 1},
    {"GroupThatIsNot", "(a)", "\\2\\9-", "ab", "-b", 1},
    {"ControlsAndQuotes", "a", "\\r\\n\\b\\t\\v\\\"\\'", "a", "\r\n\b\t\v\"'", 1},
    {"Backslashes", "a", "\\\\1\\\\", "a", "\\1\\", 1},
    {"UnknownEscape", "a", "\\q\\f\\0", "a", "\\q\\fa", 1},
    {"BackslashAtTheEnd", "a", "x\\", "a", "x\\", 1},
    {"EmptyMatches", "x*", "-", "axb", "-a--b-", 4},
    {"FirstOnly", "a", "-", "banana", "b-nana", 1, 1},
    {"NoneWanted", "a", "-", "banana", "banana", 0, 0},
    {"FromAPosition", "a", "-", "banana", "ban-n-", 2, npos, 2},
};

class Replace : public testing::TestWithParam<ReplaceRow> {};

template <class String>
void CheckReplace(const String& text, const String& pattern, const String& replacement,
                  const String& expected, const ReplaceRow& row) {
  const auto check = [&](const auto& by) {
    String changed(text);
    EXPECT_EQ(changed.regex_replace(by, replacement, row.max, row.start), row.count);
    EXPECT_EQ(changed, expected);
    EXPECT_EQ(row.count == 0, changed.data() == text.data());
    EXPECT_EQ(text.regex_replace_copy(by, replacement, row.max, row.start), expected);
    changed = text;
    EXPECT_EQ(changed.regex_replace_append_to(changed, by, replacement, row.max, row.start), row.count);
    EXPECT_EQ(changed, text + expected);
  };
  check(pattern);
  check(String::compile_regex(pattern));
}

TEST_P(Replace, PutsTheReplacementInPlaceOfTheMatches) {
  const ReplaceRow& row = GetParam();
  CheckReplace(row.text, row.pattern, row.replacement, row.expected, row);
  CheckReplace(row.text.to_wide(), row.pattern.to_wide(), row.replacement.to_wide(), row.expected.to_wide(),
               row);
}

INSTANTIATE_TEST_SUITE_P(Pattern, Replace, testing::ValuesIn(replaceRows), rowName);

TEST(Replace, BeyondTheEndGivesNothing) {
  stringEx text("abc");
  stringEx dest("+");
  EXPECT_EQ(text.regex_replace_append_to(dest, "a", "-", npos, 4), 0U);
  EXPECT_EQ(dest, "+");
  EXPECT_EQ(text.regex_replace("a", "-", npos, 4), 0U);
  EXPECT_EQ(text, "abc");
  EXPECT_EQ(text.regex_replace_copy("a", "-", npos, 4), "");
}

TEST(Replace, TakesPartsOfItselfAsArguments) {
  const std::string start = "a\\0bcdefghijklmnopqrstuvwxyz01";
  stringEx text(start.c_str());
  ASSERT_EQ(text.capacity(), 31);
  EXPECT_EQ(text.regex_replace_append_to(text, text.part({4, 1}), text), 1U);
  EXPECT_EQ(std::string(text),
            start + "a\\0b" + "acbcdefghijklmnopqrstuvwxyz01" + "defghijklmnopqrstuvwxyz01");
  // Each alone, so that nothing else holds the buffer that moves.
  text = stringEx(start.c_str());
  EXPECT_EQ(text.regex_replace_append_to(text, "[^z]", ""), 29U);
  EXPECT_EQ(std::string(text), start + "z");
  text = stringEx(start.c_str());
  EXPECT_EQ(stringEx("-x-x").regex_replace_append_to(text, "x", text.part({1, 3})), 2U);
  EXPECT_EQ(std::string(text), start + "-xb-xb");
  text = "aXbX";
  EXPECT_EQ(text.regex_replace(text.part({1, 1}), text.part({0, 3})), 2U);
  EXPECT_EQ(text, "aaXbbaXb");
}

// --- the pattern that a thread used last ----------------------------------------------------------------------------

TEST(RecentPattern, IsTheOneThatWasAskedFor) {
  const stringEx text("ab1");
  std::string pattern = "a";
  EXPECT_EQ(Matches(text, pattern), "a");
  pattern[0] = 'b';  // in the same place
  EXPECT_EQ(Matches(text, pattern), "b");
  EXPECT_EQ(Matches(text, "[a"), "");
  EXPECT_EQ(Matches(text, ""), "");
  EXPECT_EQ(Matches(wstringEx(L"ab1"), L"1"), L"1");
  EXPECT_EQ(Matches(text, pattern), "b");
}

TEST(RecentPattern, BelongsToOneThread) {
  std::atomic<int> wrong{0};
  const auto shared = stringEx::compile_regex("(a|b)+c");
  std::latch start(3);
  std::vector<std::thread> threads;
  for (const char own : {'x', 'y', 'z'}) {
    threads.emplace_back([&wrong, &shared, &start, own] {
      const stringEx text("xyz abac");
      start.arrive_and_wait();
      for (int i = 0; i < 1000; ++i) {
        if (Matches(text, std::string(1, own)) != std::string(1, own).c_str()) ++wrong;
        if (Matches(text, shared) != "abac") ++wrong;
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
