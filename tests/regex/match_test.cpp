// Which of the possible matches is taken, and what its groups get. Narrow and wide from one table.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <qorv/regex.h>

#include "regex/describe.h"
#include "support/row_name.h"

namespace {

using Qorv::CRegex;
using Qorv::CRegexSearch;
using Qorv::RANGE;
namespace flag = Qorv::regexFlag;
constexpr std::uint32_t notAtBeginning = Qorv::searchFlag::notAtBeginning;

template <class T>
std::basic_string<T> Text(std::string_view text) {
  return {text.begin(), text.end()};
}

// What the pattern finds; empty if nothing.
template <class T>
std::string Find(const CRegex<T>& regex, std::string_view text, std::uint64_t start = 0,
                 std::uint32_t searchFlags = 0) {
  std::vector<RANGE> ranges(regex.GetGroupCount() + std::size_t{1});
  const bool found = regex.Exec(Text<T>(text), start, ranges.data(), ranges.size(), searchFlags);
  return found ? Describe(ranges) : "";
}

template <class T>
CRegex<T> Compile(std::string_view pattern, std::uint32_t flags = 0) {
  const CRegex<T> regex = CRegex<T>::Compile(Text<T>(pattern), flag::advanced | flags);
  EXPECT_TRUE(regex) << pattern;
  return regex;
}

struct MatchRow {
  const char* name;
  const char* pattern;
  const char* text;
  const char* ranges;  ///< empty: no match
  std::uint32_t flags = 0;
  std::uint64_t start = 0;
  std::uint32_t searchFlags = 0;
};

class RegexMatch : public testing::TestWithParam<MatchRow> {
 protected:
  template <class T>
  static void Check() {
    const MatchRow& row = GetParam();
    EXPECT_EQ(Find(Compile<T>(row.pattern, row.flags), row.text, row.start, row.searchFlags), row.ranges);
  }
};

TEST_P(RegexMatch, Narrow) {
  Check<char>();
}
TEST_P(RegexMatch, Wide) {
  Check<wchar_t>();
}

// Start, length, and what earlier and outer parts leave to later and inner ones.
const MatchRow lengths[] = {
    {"LeftmostBeforeLongest", "a|bbb", "abbb", "0+1"},
    {"LongestFromThere", "bb*", "abbbc", "1+3"},
    {"WholeBeforeItsParts", "(week|wee)(night|knights)", "weeknights", "0+10 0+3 3+7"},
    {"EarlierBeforeLater", "(.*).*", "abc", "0+3 0+3"},
    {"EarlierWithinTheWhole", "(a|ab)(c|bcd)(d*)", "abcd", "0+4 0+2 2+1 3+1"},
    {"FirstBranchThatFitsThePiece", "(a)|(ab)|(..)", "ab", "0+2 - 0+2 -"},
    {"BranchesPreferLongest", "a*?|b", "aa", "0+2"},
    {"FirstPreferenceShortest", "a+?b*", "aabb", "0+1"},
    {"FirstPreferenceLongest", "a*b+?", "aabb", "0+4"},
    {"ShortestInsideLongest", "(a*)(b+?)(b*)", "aabbb", "0+5 0+2 2+1 3+2"},
    {"GroupHandsOnItsPreference", "(?:(a*?))b*", "aabb", "0+0 0+0"},
    {"ExactBoundHasNoPreference", "ab{2}c*?", "abbcc", "0+3"},
    {"ExactBoundHandsOnItsAtoms", "(?:a+?){2}b*", "aaab", "0+2"},
    {"ExactNonGreedyBoundHandsOnItsAtoms", "(?:wee|week){1}?(.*)", "weeknights", "0+10 4+6"},
    {"BoundOfOneForcesShortest", "(?:wee|week){1,1}?(.*)", "weeknights", "0+3 3+0"},
    {"BoundOfOneForcesLongest", "(?:(x*?)(x*)){1,1}", "xxx", "0+3 0+0 0+3"},
    {"LookAheadHasNoPreference", "(?=a*?)a*", "aaa", "0+3"},
};
INSTANTIATE_TEST_SUITE_P(Lengths, RegexMatch, testing::ValuesIn(lengths), rowName);

const MatchRow iterations[] = {
    {"LastOneIsCaptured", "(a|b)*", "abb", "0+3 2+1"},
    {"EarlierOnesLonger", "(a{1,2}){2,3}", "aaaaa", "0+5 4+1"},
    {"EarlierOnesShorter", "(a{1,2}?){2,3}", "aaaaa", "0+5 3+2"},
    {"InnerGroupsStartUnset", "((a)|(b))*", "ab", "0+2 1+1 - 1+1"},
    {"InnerGroupsOfGroupsStartUnset", "(?:((a)|b)*c)*", "acbc", "0+4 2+1 -"},
    {"EmptyBeatsNoMatch", "(a*)*", "bc", "0+0 0+0"},
    {"EmptyAtLeastOnce", "(a*)+", "bc", "0+0 0+0"},
    {"NoneIfNonGreedy", "(a*)*?", "bc", "0+0 -"},
    {"NoneIfTheAtomCannotBeEmpty", "(a)*", "b", "0+0 -"},
    {"NoEmptyOneBehindAFullOne", "(a*)*", "aab", "0+2 0+2"},
    {"MinimumAsIfWrittenOut", "^((aa){0,1}?){2}$", "aa", "0+2 0+2 0+2"},
    {"EmptyOneThatTheMinimumNeeds", "(a*){2}", "aa", "0+2 2+0"},
    {"RequiredOnesAsIfWrittenOut", "^((aa){0,1}?){2}$", "aa", "0+2 0+2 0+2"},
};
INSTANTIATE_TEST_SUITE_P(Iterations, RegexMatch, testing::ValuesIn(iterations), rowName);

const MatchRow backReferences[] = {
    {"SameText", "(.)\\1", "abccd", "2+2 2+1"},
    {"LongestThatRepeats", "(a*)\\1", "aaaaa", "0+4 0+2"},
    {"LaterPieceDecides", "(a*)(b|abc)\\1", "aabcab", "0+5 0+1 1+3"},
    {"Nested", "((.)\\2)\\1", "aabbaaaa", "4+4 4+2 4+1"},
    {"OfTheLastIteration", "(?:([ab]),)+\\1", "a,b,b", "0+5 2+1"},
    {"InItsOwnIteration", "(?:(a|b)\\1)*", "aabba", "0+4 2+1"},
    {"EmptyGroup", "(a*)b\\1c", "bc", "0+2 0+0"},
    {"UnsetGroup", "(?:(a)|b)\\1", "ba", ""},
    {"UnsetByALaterIteration", "(?:(a)|b)*c\\1", "abca", ""},
    {"OtherCase", "(ab)\\1", "xABaBx", "1+4 1+2", flag::ignoreCase},
};
INSTANTIATE_TEST_SUITE_P(BackReferences, RegexMatch, testing::ValuesIn(backReferences), rowName);

const MatchRow constraints[] = {
    {"LookAhead", "a(?=b)", "acab", "2+1"},
    {"LookAheadNot", "a(?!b)", "abac", "2+1"},
    {"LookAheadCapturesNothing", "(?=(ab))(a)", "ab", "0+1 0+1"},
    {"LookAheadInLookAhead", "a(?!b(?!c))", "abd abc", "4+1"},
    {"WholeWord", "\\mab\\M", "cab abc ab", "8+2"},
    {"WholeWordInBrackets", "[[:<:]]ab[[:>:]]", "cab abc ab", "8+2"},
    {"UnderscoreIsOfAWord", "\\mb", "_b b", "3+1"},
    {"NoWordEdge", "\\Yb", "b ab", "3+1"},
    {"WordContextBeforeTheStart", "\\mb", "ab b", "3+1", 0, 1},
    {"StartIsNoBegin", "^b", "ab", "", 0, 1},
    {"StartIsNoTextBegin", "\\Ab", "ab", "", 0, 1},
    {"StartBehindALineFeed", "^b", "a\nb", "2+1", flag::anchorAtNewline, 2},
    {"StartInTheMiddle", ".*", "abc", "1+2", 0, 1},
    {"NotAtBeginning", "^a|b", "ab", "1+1", 0, 0, notAtBeginning},
    {"NotAtBeginningButBehindALineFeed", "^a", "a\na", "2+1", flag::newline, 0, notAtBeginning},
    {"NotAtBeginningIsStillTheText", "\\Aa", "a", "0+1", 0, 0, notAtBeginning},
};
INSTANTIATE_TEST_SUITE_P(Constraints, RegexMatch, testing::ValuesIn(constraints), rowName);

const MatchRow lines[] = {
    {"CrossedByDefault", "a.*", "ab\ncd", "0+5"},
    {"DotStops", "(?n)a.*", "ab\ncd", "0+2"},
    {"ComplementStops", "(?n)[^x]+", "ab\ncd", "0+2"},
    {"NamedLineFeedDoesNotStop", "(?n)b[\\n]c", "ab\ncd", "1+3"},
    {"AnchorBehind", "(?n)^c", "ab\ncd", "3+1"},
    {"AnchorBefore", "(?n)b$", "ab\ncd", "1+1"},
    {"TextBeginStays", "(?n)\\Ac", "ab\ncd", ""},
    {"TextEndStays", "(?n)b\\Z", "ab\ncd", ""},
    {"PartialStops", "(?p)a.*", "ab\ncd", "0+2"},
    {"PartialDoesNotAnchor", "(?p)^c|b$", "ab\ncd", ""},
    {"WeirdDoesNotStop", "(?w)a.*", "ab\ncd", "0+5"},
    {"WeirdAnchors", "(?w)^c", "ab\ncd", "3+1"},
    {"OptionOverridesFlags", "(?s)a.*", "ab\ncd", "0+5", flag::newline},
};
INSTANTIATE_TEST_SUITE_P(Lines, RegexMatch, testing::ValuesIn(lines), rowName);

template <class T>
class RegexUse : public testing::Test {};
using Widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(RegexUse, Widths);

TYPED_TEST(RegexUse, FillsAsManyRangesAsAskedFor) {
  const CRegex<TypeParam> regex = Compile<TypeParam>("(a)(b)|c");
  const std::basic_string<TypeParam> text = Text<TypeParam>("xab");
  std::vector<RANGE> ranges(5, RANGE{7, 7});
  ASSERT_TRUE(regex.Exec(text, 0, ranges.data(), 4));
  EXPECT_EQ(Describe(ranges), "1+2 1+1 2+1 - 7+7");
  ranges.assign(3, RANGE{7, 7});
  ASSERT_TRUE(regex.Exec(text, 0, ranges.data(), 2));
  EXPECT_EQ(Describe(ranges), "1+2 1+1 7+7");
  EXPECT_TRUE(regex.Exec(text, 0, nullptr, 0));
}

TYPED_TEST(RegexUse, LeavesRangesAloneWithoutMatch) {
  const std::basic_string<TypeParam> text = Text<TypeParam>("ab");
  std::vector<RANGE> ranges(2, RANGE{7, 7});
  EXPECT_FALSE(Compile<TypeParam>("(b)a").Exec(text, 0, ranges.data(), 2));
  EXPECT_FALSE(Compile<TypeParam>("(b)*").Exec(text, 3, ranges.data(), 2));
  EXPECT_FALSE(CRegex<TypeParam>().Exec(text, 0, ranges.data(), 2));
  EXPECT_EQ(Describe(ranges), "7+7 7+7");
}

class RegexSearch : public RegexMatch {
 protected:
  template <class T>
  static void CheckAll() {
    const MatchRow& row = GetParam();
    const CRegex<T> regex = Compile<T>(row.pattern, row.flags);
    const std::basic_string<T> text = Text<T>(row.text);
    std::vector<RANGE> all;
    CRegexSearch<T> search(regex, text, row.start, row.searchFlags);
    for (RANGE range; search.Next(&range, 1) && all.size() < 10;)
      all.push_back(range);
    EXPECT_EQ(Describe(all), row.ranges);
  }
};

TEST_P(RegexSearch, Narrow) {
  CheckAll<char>();
}
TEST_P(RegexSearch, Wide) {
  CheckAll<wchar_t>();
}

const MatchRow searches[] = {
    {"BehindTheLast", "aa", "aaaaa", "0+2 2+2"},
    {"OneOnAfterAnEmptyOne", "a*", "baac", "0+0 1+2 3+0 4+0"},
    {"NoBeginBehindAMatch", "^a", "aaa", "0+1"},
    {"BeginBehindALineFeed", "(?n)^a?", "aa\n\na", "0+1 3+0 4+1"},
    {"WordsSeeWhatIsBehind", "\\m.", "ab cd", "0+1 3+1"},
    {"BackReference", "(.)\\1", "aabbcaa", "0+2 2+2 5+2"},
    {"FromTheMiddle", "^a|b", "abb", "1+1 2+1", 0, 1},
    {"FromBeyondTheEnd", "a*", "a", "", 0, 2},
    {"NotAtBeginning", "^a|b", "ab", "1+1", 0, 0, notAtBeginning},
};
INSTANTIATE_TEST_SUITE_P(All, RegexSearch, testing::ValuesIn(searches), rowName);

}  // namespace
