// What a pattern costs: limits, texts that other engines take for ever on, and one handle on many threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <qorv/regex.h>

#include "regex/describe.h"
#include "support/row_name.h"

namespace {

using Qorv::CRegexSearch;
using Qorv::RANGE;
using Qorv::regexHandle;
using Qorv::wregexHandle;

std::string Repeated(const std::string& text, std::size_t count) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i)
    all += text;
  return all;
}

std::string Find(const regexHandle& regex, const std::string& text) {
  std::vector<RANGE> ranges(regex.GetGroupCount() + std::size_t{1});
  return regex.Exec(text, 0, ranges.data(), ranges.size()) ? Describe(ranges) : "none";
}

struct LimitRow {
  const char* name;
  std::string pattern;
  bool isValid;
};

const LimitRow limitRows[] = {
    {"DeepestGroups", Repeated("(", 250) + "a" + Repeated(")", 250), true},
    {"GroupsTooDeep", Repeated("(", 251) + "a" + Repeated(")", 251), false},
    {"FarTooDeep", Repeated("(", 60000), false},
    {"DeepLookAheads", Repeated("(?=", 251) + "a" + Repeated(")", 251), false},
    {"LongestPattern", "***=" + std::string(65532, 'a'), false},  // more states than allowed
    {"MostStates", "***=" + std::string(20000, 'a'), true},
    {"TooManyStates", "***=" + std::string(20001, 'a'), false},
    {"PatternTooLong", "a" + Repeated("(?#)", 16384), false},
    {"NestedBounds", "(?:a{100}){200}", true},
    {"NestedBoundsTooLarge", "(?:a{100}){201}", false},
    {"NestedBoundsExploding", "((a{255}){255}){255}", false},
    {"NestedBoundsOfNothing", "((((){255}){255}){255}){255}", true},
    {"NestedOpenBounds", "(((a{1,255}){1,255}){1,255}){1,255}", false},
    {"ManyGroupsAroundMuch", Repeated("(", 100) + std::string(1700, 'a') + Repeated(")", 100), true},
    {"MostLookAheads", Repeated("(?=a)", 256) + "a", true},
    {"TooManyLookAheads", Repeated("(?=a)", 257) + "a", false},
    {"NestedLookAheads", "(?=(?=(?:a{255}){255})){255}", false},
};

class RegexLimit : public testing::TestWithParam<LimitRow> {};

TEST_P(RegexLimit, IsKept) {
  const std::string& pattern = GetParam().pattern;
  EXPECT_EQ(static_cast<bool>(regexHandle::Compile(pattern)), GetParam().isValid);
  EXPECT_EQ(static_cast<bool>(wregexHandle::Compile(std::wstring(pattern.begin(), pattern.end()))),
            GetParam().isValid);
}

INSTANTIATE_TEST_SUITE_P(Engine, RegexLimit, testing::ValuesIn(limitRows), rowName);

struct LongRow {
  const char* name;
  std::string pattern;
  std::string text;
  const char* ranges;
};

// All of these are done in a moment, or the runner's time is up. Those that fail end with a set, since without
// the literal that they need the search would not begin.
const LongRow longRows[] = {
    {"StarOfStar", "(a*)*[bc]", std::string(100000, 'a'), "none"},
    {"StarOfStarThatMatches", "(a*)*b", std::string(100000, 'a') + "b", "0+100001 0+100000"},
    {"TwoWaysToTheEnd", "(a|aa)*$", std::string(100000, 'a'), "0+100000 99998+2"},
    {"TwoWaysThatFail", "^(a|aa)*$", std::string(100000, 'a') + "b", "none"},
    {"PlusOfPlusses", "(x+x+)+[yz]", std::string(100000, 'x'), "none"},
    {"PlusOfPlussesThatMatches", "(x+x+)+y", std::string(100000, 'x') + "y", "0+100001 0+100000"},
    {"ManyOptions", "(?:a?){200}a{200}", std::string(200, 'a'), "0+200"},
    {"PiecesThatLookFar", "(a.*b|a)*", std::string(100000, 'a'), "0+100000 99999+1"},
    {"ShortPiecesThatLookFar", "^(?:(a|a.*?b))*?$", std::string(100000, 'a'), "0+100000 99999+1"},
    {"LookAheadAtEachPlace", "(?:a(?=.*a))*(a)", std::string(100000, 'a'), "0+100000 99999+1"},
    {"BoundsInBounds", "((a{0,9}){0,9}){0,9}[bc]", std::string(100000, 'a'), "none"},
    {"NegativeLookAheadThatFails", "(?:a(?!.*b))+c", std::string(100000, 'a') + "b", "none"},
    {"BoundedPieces", "(?:(a|aa){1,200})*", std::string(20000, 'a'), "0+20000 19998+2"},
    {"ManyChoicesInARow", "^(?:(a+?)\\1?)*$", std::string(2000, 'a'), "0+2000 1999+1"},
    {"RepeatedElement", "(.)\\1", Repeated("ab", 50000) + "b", "99999+2 99999+1"},
    {"RepeatedWord", "\\m(\\w+) \\1\\M", Repeated("some of the words ", 3000) + "the the", "54000+7 54000+3"},
    {"NothingManyTimes", "(((){255}){255}){255}\\1", "", "0+0 0+0 0+0 0+0"},
    {"ManyPartsBehindAGroup", "(.*)" + Repeated("a?", 3000), std::string(20000, 'a'), "0+20000 0+20000"},
    {"EarlierStartWithLaterEnd", "[ab]*c|b", std::string(100000, 'a') + "bc", "0+100002"},
};

class RegexLongText : public testing::TestWithParam<LongRow> {};

TEST_P(RegexLongText, TakesLinearTime) {
  const regexHandle regex = regexHandle::Compile(GetParam().pattern);
  ASSERT_TRUE(regex);
  EXPECT_EQ(Find(regex, GetParam().text), GetParam().ranges);
}

INSTANTIATE_TEST_SUITE_P(Engine, RegexLongText, testing::ValuesIn(longRows), rowName);

std::string RandomText(std::size_t length, std::string_view alphabet) {
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): every run shall test the same
  std::string text;
  while (text.size() < length)
    text += alphabet[random() % alphabet.size()];
  return text;
}

std::vector<RANGE> FindAll(const regexHandle& regex, const std::string& text) {
  std::vector<RANGE> found;
  CRegexSearch<char> search(regex, text);
  for (RANGE match; search.Next(&match, 1);)
    found.push_back(match);
  return found;
}

// An "a" that a "c" follows after fourteen others: tens of thousands of states, more than are kept.
TEST(RegexEngine, FindsAllWithMoreStatesThanItKeeps) {
  const std::string text = RandomText(300000, "aaaaaaaabbbbbbbbbbbbbbbbbc");
  std::vector<RANGE> expected;
  for (std::size_t i = 0; i + 15 < text.size(); ++i) {
    const std::size_t other = text.find_first_not_of("ab", i);
    if (text[i] != 'a' || other < i + 15 || text[i + 15] != 'c') continue;
    expected.push_back({i, 16});
    i += 15;
  }
  ASSERT_FALSE(expected.empty());
  EXPECT_EQ(FindAll(regexHandle::Compile("a[ab]{14}c"), text), expected);
  EXPECT_EQ(FindAll(regexHandle::Compile("a[ab]{14}c|[d-z]"), text), expected);
}

// Each match might be longer, so the search looks at all that follows, for each one anew or once for all.
TEST(RegexEngine, FindsManyMatchesThatMightBeLonger) {
  const std::string text = RandomText(3000, "ab ");
  for (const char* const pattern :
       {"a[^y]*y|ab?|b", "(?:a[^y]*y|b+){1,1}?", "a(?=b)[^y]*y|a|bb", "\\ma[^y]*y|b$|a? "}) {
    const regexHandle regex = regexHandle::Compile(pattern);
    std::vector<RANGE> expected;
    std::uint64_t start = 0;
    for (RANGE match; regex.Exec(text, start, &match, 1);
         start = match.offset + std::max<std::uint64_t>(match.length, 1))
      expected.push_back(match);
    EXPECT_EQ(FindAll(regex, text), expected) << pattern;
  }
  EXPECT_EQ(FindAll(regexHandle::Compile("[ab]*c|b"), std::string(1000000, 'b')).size(), 1000000U);
}

// Too many kinds of elements for a table.
TEST(RegexEngine, TellsManyWideElementsApart) {
  std::wstring pattern;
  std::wstring text;
  for (wchar_t element = 0x4000; element < 0x5000; element += 2) {
    pattern += L"(?:";
    pattern += element;
    pattern += L")?";
    text += element;
  }
  const wregexHandle regex = wregexHandle::Compile(pattern + L"!");
  ASSERT_TRUE(regex);
  RANGE match;
  ASSERT_TRUE(regex.Exec(L"?" + text + L"!", 0, &match, 1));
  EXPECT_EQ(match, (RANGE{1, text.size() + 1}));
  EXPECT_FALSE(regex.Exec(text, 0, &match, 1));
}

// Telling the elements of all these sets apart by comparing each with each would take minutes.
TEST(RegexEngine, CompilesManyWideSets) {
  std::wstring pattern;
  for (wchar_t element = 0x4000; pattern.size() < 20000; ++element)
    pattern += std::wstring(L"[^") + element + L"]";
  const wregexHandle regex = wregexHandle::Compile(pattern + L"!");
  ASSERT_TRUE(regex);
  RANGE match;
  const std::wstring text(pattern.size() / 4, L'a');
  ASSERT_TRUE(regex.Exec(L"bb" + text + L"!", 0, &match, 1));
  EXPECT_EQ(match, (RANGE{2, text.size() + 1}));
}

TEST(RegexEngine, ServesManyThreadsWithOneHandle) {
  const std::string text = RandomText(20000, "abc ");
  const regexHandle regex = regexHandle::Compile("(a+)(?:b|c)\\M|c[ab]*c");
  const std::vector<RANGE> expected = FindAll(regex, text);
  const std::string first = Find(regex, text);
  constexpr int threads = 12;  // more than there are spare caches
  int right[threads] = {};
  std::vector<std::thread> workers;
  for (int& count : right) {
    workers.emplace_back([&] {
      const regexHandle copy = regex;
      for (int i = 0; i < 20; ++i)
        count += FindAll(copy, text) == expected && Find(regex, text) == first ? 1 : 0;
    });
  }
  for (std::thread& worker : workers)
    worker.join();
  for (const int count : right)
    EXPECT_EQ(count, 20);
}

}  // namespace
