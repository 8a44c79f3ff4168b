// What patterns are valid, and what each piece of the syntax stands for. Narrow and wide from one table.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include <qorv/regex.h>

#include "support/row_name.h"

namespace {

using namespace std::string_view_literals;
using Qorv::CRegex;
using Qorv::RANGE;
using Qorv::regexHandle;
using Qorv::wregexHandle;
namespace flag = Qorv::regexFlag;

constexpr std::uint32_t basic = 0;
constexpr std::uint32_t extended = flag::extended;
constexpr std::uint32_t advanced = flag::advanced;
constexpr std::uint32_t expanded = flag::advanced | flag::expanded;
constexpr std::uint32_t folded = flag::advanced | flag::ignoreCase;
constexpr std::uint32_t lines = flag::advanced | flag::newline;

std::wstring Widen(std::string_view text) {
  std::wstring wide;
  for (const char element : text)
    wide += static_cast<wchar_t>(static_cast<unsigned char>(element));
  return wide;
}

std::string Repeat(std::string_view text, std::size_t count) {
  std::string all;
  while (count-- != 0)
    all += text;
  return all;
}

struct ValidityRow {
  const char* name;
  std::uint32_t flags;
  std::string valid;
  std::string invalid;  // one edit away
};

const ValidityRow validities[] = {
    {"QuantifierAtStart", advanced, "a*", "*"},
    {"QuantifierBehindQuantifier", advanced, "a*b*", "a**"},
    {"QuantifierBehindNonGreedy", advanced, "a*?", "a*??"},
    {"QuantifierBehindBound", advanced, "a{2}?", "a{2}*"},
    {"QuantifierBehindBar", advanced, "a|b+", "a|+"},
    {"QuantifierBehindCaret", advanced, "^a*", "^*"},
    {"QuantifierBehindDollar", advanced, "$a?", "$?"},
    {"QuantifierBehindOpening", advanced, "(a*)", "(*)"},
    {"QuantifierBehindNonCapturing", advanced, "(?:a*)", "(?:*)"},
    {"QuantifierBehindLookAhead", advanced, "(?=a)b*", "(?=a)*"},
    {"QuantifierBehindEscapedConstraint", advanced, "\\ma+", "\\m+"},
    {"QuantifierBehindBracketConstraint", advanced, "[[:<:]]a+", "[[:<:]]+"},
    {"QuantifiedGroupOfConstraint", advanced, "(?:^)*", "(?:^*)"},
    {"BoundAtStart", advanced, "a{1}", "{1}"},
    {"BoundClosed", advanced, "a{1}", "a{1"},
    {"BoundWithLetter", advanced, "a{1}", "a{1x}"},
    {"BoundMost", advanced, "a{255}", "a{256}"},
    {"BoundMaxMost", advanced, "a{1,255}", "a{1,256}"},
    {"BoundFarTooLarge", advanced, "a{0000000000255}", "a{4294967297}"},
    {"BoundOrder", advanced, "a{2,2}", "a{2,1}"},
    {"BoundThreeNumbers", advanced, "a{1,2}", "a{1,2,3}"},
    {"NonGreedySplit", expanded, "a *?", "a * ?"},
    {"GroupClosed", advanced, "(a)", "(a"},
    {"GroupOpened", advanced, "(a)", "a)"},
    {"GroupKind", advanced, "(?:a)", "(?<a)"},
    {"GroupKindMissing", advanced, "(?:)", "(?)"},
    {"LookAheadClosed", advanced, "(?!a)", "(?!a"},
    {"CommentClosed", advanced, "a(?#b)", "a(?#b"},
    {"CommentIsNoAtom", advanced, "a(?#b)*", "(?#b)*"},
    {"BackReferenceToMissing", advanced, "(a)\\1", "(a)\\2"},
    {"BackReferenceToOpen", advanced, "(a)\\1", "(a\\1)"},
    {"BackReferenceToNonCapturing", advanced, "(a)\\1", "(?:a)\\1"},
    {"BackReferenceToOpenOfTwoDigits", advanced, "(a(a(a(a(a(a(a(a(a(a))))))))))\\10",
     "(a(a(a(a(a(a(a(a(a(a\\10))))))))))"},
    {"BackReferenceInLookAhead", advanced, "(a)(?=a)", "(a)(?=\\1)"},
    {"BackReferenceToLookAhead", advanced, "(?=a)(a)\\1", "(?=(a))a\\1"},
    {"LoneBackslash", advanced, "a\\\\", "a\\"},
    {"UnknownEscape", advanced, "\\e", "\\g"},
    {"ControlEscapeEnds", advanced, "\\cA", "\\c"},
    {"HexEscapeEnds", advanced, "\\x4", "\\x"},
    {"ShortUnicodeEscape", advanced, "\\u0041", "\\u041"},
    {"LongUnicodeEscape", advanced, "\\U00000041", "\\U0000041"},
    {"HexBeyond32Bits", advanced, "\\x00000000041", "\\x10000000041"},
    {"OctalDigit", advanced, "\\78", "\\88"},
    {"BracketClosed", advanced, "[a]", "[a"},
    {"BracketOfClosing", advanced, "[]]", "[]"},
    {"NegatedBracketOfClosing", advanced, "[^]]", "[^]"},
    {"RangeOrder", advanced, "[a-a]", "[b-a]"},
    {"RangeOrderOfEscapes", advanced, "[\\x41-\\x42]", "[\\x41-\\x40]"},
    {"RangeOfRange", advanced, "[a-cd-e]", "[a-c-e]"},
    {"RangeEnds", advanced, "[a-c]", "[a-"},
    {"RangeFromClass", advanced, "[[:digit:]-]", "[[:digit:]-z]"},
    {"RangeToClass", advanced, "[0[:digit:]]", "[0-[:digit:]]"},
    {"RangeToShorthand", advanced, "[0\\d]", "[0-\\d]"},
    {"RangeToEquivalence", advanced, "[0-[.a.]]", "[0-[=a=]]"},
    {"RangeFromShorthand", advanced, "[\\d-]", "[\\d-a]"},
    {"RangeFromEquivalence", advanced, "[[.a.]-z]", "[[=a=]-z]"},
    {"ClassName", advanced, "[[:alpha:]]", "[[:alpho:]]"},
    {"ClassNameCase", advanced, "[[:alpha:]]", "[[:Alpha:]]"},
    {"ClassClosed", advanced, "[[:alpha:]]", "[[:alpha]]"},
    {"ElementName", advanced, "[[.hyphen.]]", "[[.hyphon.]]"},
    {"ElementNameMissing", advanced, "[[.x.]]", "[[..]]"},
    {"EquivalenceName", advanced, "[[=period=]]", "[[=periods=]]"},
    {"WordConstraintAlone", advanced, "[[:<:]]", "[a[:<:]]"},
    {"ComplementInBracket", advanced, "[\\w]", "[\\W]"},
    {"ConstraintInBracket", advanced, "[\\a]", "[\\A]"},
    {"BackReferenceInBracket", advanced, "(a)[1]", "(a)[\\1]"},
    {"DirectorAdvanced", advanced, "***:a", "***;a"},
    {"DirectorLiteral", basic, "***=a", "***a"},
    {"DirectorOnlyAtStart", advanced, "***:a", "a***:"},
    {"OptionLetter", advanced, "(?i)a", "(?z)a"},
    {"OptionsClosed", advanced, "(?i)a", "(?i"},
    {"OptionsOnlyAtStart", advanced, "(?i)a", "a(?i)"},
    {"OptionsOnlyOnce", advanced, "(?ic)a", "(?i)(?c)a"},
    {"OptionsBehindDirector", advanced, "***:(?i)a", "***:(?z)a"},
    {"ExtendedHasNoNonGreedy", extended, "a*b?", "a*?"},
    {"ExtendedHasNoGroupKinds", extended, "(:a)", "(?:a)"},
    {"ExtendedHasNoComments", extended, "a(#b)", "a(?#b)"},
    {"ExtendedHasNoOptions", extended, "(i)a", "(?i)a"},
    {"ExtendedBackslash", extended, "\\a", "\\"},
    {"ExtendedBackslashInBracket", extended, "[\\]", "[\\"},
    {"BasicGroupClosed", basic, "\\(a\\)", "\\(a"},
    {"BasicGroupOpened", basic, "a)", "a\\)"},
    {"BasicBoundClosed", basic, "a\\{1\\}", "a\\{1}"},
    {"BasicBoundAtStart", basic, "a\\{1\\}", "\\{1\\}"},
    {"BasicBoundNumber", basic, "a\\{1\\}", "a\\{,1\\}"},
    {"BasicStarBehindStar", basic, "^*a*", "^*a**"},
    {"BasicStarBehindWordBegin", basic, "\\<a*", "\\<*"},
    {"BasicBackReference", basic, "\\(a\\)\\1", "\\(a\\1\\)"},
    {"BasicLoneBackslash", basic, "a\\\\", "a\\"},
    {"MostDepth", advanced, Repeat("(", 250) + Repeat(")", 250), Repeat("(", 251) + Repeat(")", 251)},
    {"MostDepthOfAnyKind", advanced, Repeat("(?:(?=", 125) + Repeat(")", 250),
     Repeat("(?:(?=", 125) + "()" + Repeat(")", 250)},
    {"MostLength", advanced, "(?#" + std::string(65532, 'x') + ")", "(?#" + std::string(65533, 'x') + ")"},
    {"SomePattern", advanced, "a", ""},
};

class Validity : public testing::TestWithParam<ValidityRow> {};

TEST_P(Validity, HangsOnOneEdit) {
  const ValidityRow& row = GetParam();
  EXPECT_TRUE(regexHandle::Compile(row.valid, row.flags));
  EXPECT_TRUE(wregexHandle::Compile(Widen(row.valid), row.flags));
  EXPECT_FALSE(regexHandle::Compile(row.invalid, row.flags));
  EXPECT_FALSE(wregexHandle::Compile(Widen(row.invalid), row.flags));
}

INSTANTIATE_TEST_SUITE_P(Syntax, Validity, testing::ValuesIn(validities), rowName);

using Place = std::pair<std::uint64_t, std::uint64_t>;  // offset and length, as failures print them

constexpr Place none{Qorv::npos, 0};

// The first match; `none` without one.
template <class T>
Place Find(const CRegex<T>& regex, std::basic_string_view<T> text) {
  RANGE range;
  return regex.Exec(text, 0, &range, 1) ? Place(range.offset, range.length) : none;
}

struct MeaningRow {
  const char* name;
  std::uint32_t flags;
  std::string_view pattern;
  std::string_view text;
  Place expected;
};

const MeaningRow meanings[] = {
    // Escapes.
    {"ElementEscapes", advanced, "\\a\\b\\B\\e\\f\\n\\r\\t\\v", "\a\b\\\x1b\f\n\r\t\v", {0, 9}},
    {"ControlEscapes", advanced, "\\cA\\ca\\c[", "\x01\x01\x1b", {0, 3}},
    {"HexOfAnyLength",
     advanced,
     "\\x4\\x000042g",
     "\x04"
     "Bg",
     {0, 3}},
    {"UnicodeTakesItsDigitsOnly", advanced, "\\u00411\\U0000004222", "A1B22", {0, 5}},
    {"HighElement", advanced, "\\xe9+", "a\xe9\xe9", {1, 2}},
    {"LiteralHighElement", advanced, "\xe9", "a\xe9", {1, 1}},
    {"ZeroEscape", advanced, "a\\0b", "a\0b"sv, {0, 3}},
    {"ZeroElement", advanced, "a\0b"sv, "a\0b"sv, {0, 3}},
    {"OctalOfThreeDigits", advanced, "\\1014\\07", "A4\x07", {0, 3}},
    {"OctalOfTwoDigits", advanced, "\\418", "!8", {0, 2}},
    {"TwoDigitsWithoutGroupsAreOctal", advanced, "(a)\\10", "a\b", {0, 2}},
    {"TwoDigitsWithGroupsAreBackReference",
     advanced,
     "(a)(b)(c)(d)(e)(f)(g)(h)(i)(j)\\10",
     "abcdefghijj",
     {0, 11}},
    {"OneDigitIsBackReference", advanced, "(a)\\1\\x30", "aa0", {0, 3}},
    {"EscapedPunctuation", advanced, "\\*\\.\\_\\-\\\\", "*._-\\", {0, 5}},
    {"TextConstraintsKeepToTheText", lines, "\\Ab|a\\Z", "a\nb\na", {4, 1}},
    {"WordBegin", advanced, "\\ma", "ba a", {3, 1}},
    {"WordEnd", advanced, "a\\M", "ab a", {3, 1}},
    {"WordEdge", advanced, "a\\yb|a\\y", "aba", {2, 1}},
    {"NoWordEdge", advanced, "a\\Y", "a ab", {2, 1}},
    {"WordConstraintsInBrackets", advanced, "[[:<:]]a[[:>:]]", "ab ba a", {6, 1}},
    // Bounds and braces.
    {"BoundExact", advanced, "a{2}b", "aaab", {1, 3}},
    {"BoundLeast", advanced, "a{2,}b", "ab aaab", {3, 4}},
    {"BoundMost", advanced, "ba{0,2}", "baaa", {0, 3}},
    {"BoundNonGreedy", advanced, "a{1,2}?", "aa", {0, 1}},
    {"BoundExactKeepsLongest", advanced, "(?:a+){2}", "aaa", {0, 3}},
    {"BoundExactKeepsShortest", advanced, "(?:a+?){2}", "aaa", {0, 2}},
    {"BranchesPreferLongest", advanced, "(?:a|b)c*?", "acc", {0, 3}},
    {"BraceWithoutDigit", advanced, "a{x{,3}}{", "a{x{,3}}{", {0, 9}},
    {"EmptyBranch", advanced, "^(a||b)$", "", {0, 0}},
    {"CommentBeforeQuantifier", advanced, "^ba(?#x)(?#)*$", "baaa", {0, 4}},
    // Brackets.
    {"ClosingFirst", advanced, "[]a]+", "x]a]", {1, 3}},
    {"ClosingFirstNegated", advanced, "[^]a]+", "]ax^]", {2, 2}},
    {"ClosingFirstInRange", advanced, "[]-a]+", "x]^_`ab", {1, 5}},
    {"CaretNotFirst", advanced, "[a^]+", "b^a", {1, 2}},
    {"HyphenFirst", advanced, "[-a]+", "ba-", {1, 2}},
    {"HyphenLast", advanced, "[a-]+", "ba-", {1, 2}},
    {"HyphenBehindRange", advanced, "[a-b-]+", "ca-b", {1, 3}},
    {"HyphenBehindClass", advanced, "[[:digit:]-]+", "a1-", {1, 2}},
    {"HyphenEndsRange", advanced, "[+--]+", "*+,-.", {1, 3}},
    {"HyphenBeginsRange", advanced, "[--/]+", ",-./0", {1, 3}},
    {"OpeningIsLiteral", advanced, "[[a]+", "b[a", {1, 2}},
    {"RangeHoldsElement", advanced, "[a-db]+", "xabcd", {1, 4}},
    {"NamedElementInRange", advanced, "[[.hyphen.]-0]+", "+-./01", {1, 4}},
    {"NamedElements",
     advanced,
     "[[.NUL.]][[.tab.]][[.newline.]][[.left-square-bracket.]][[.tilde.]]",
     "\0\t\n[~"sv,
     {0, 5}},
    {"ElementThatLooksLikeItsClosing", advanced, "[[...]][[.].]][[===]]", ".]=", {0, 3}},
    {"Equivalence", advanced, "[[=a=][=comma=]]+", "ba,", {1, 2}},
    {"EscapesInBracket", advanced, "[\\]\\x61-\\x63\\b]+", "x]abc\b\\", {1, 5}},
    {"EscapedHyphenIsNoRange", advanced, "[a\\-c]+", "ba-c", {1, 3}},
    {"ShorthandsInBracket", advanced, "[^\\d\\s_]+", "1 _ab", {3, 2}},
    {"EmptySetMatchesNothing", advanced, "[^\\x00-\\xff]|b", "ab", {1, 1}},
    // Case.
    {"FoldedElement", folded, "aB\\x63", "xAbC", {1, 3}},
    {"FoldedRange", folded, "[b-cX]+", "aBCxbd", {1, 4}},
    {"FoldedRangeAcrossLetters", folded, "[Y-b]+", "9yzZ^abAB{", {1, 8}},
    {"FoldedRangeBeyondLetters", folded, "[y-~]+", "x~YZ[", {1, 3}},
    {"FoldedRangeBeforeLetters", folded, "[9-B]+", "Z9aBc", {1, 3}},
    {"FoldedNegation", folded, "[^a]", "aAb", {2, 1}},
    {"FoldedUpper", folded, "[[:upper:]]+", "1aA", {1, 2}},
    {"NotFoldedUpper", advanced, "[[:upper:]]+", "aAb", {1, 1}},
    {"FoldedLiteral", folded, "***=a*", "aaA*", {2, 2}},
    {"FoldingIsOfLettersAlone", folded, "[[]", "{[", {1, 1}},
    // Newlines.
    {"AnyElementTakesNewline", advanced, "a.b", "a\nb", {0, 3}},
    {"AnyElementStops", lines, ".+", "ab\nc", {0, 2}},
    {"NegatedBracketStops", lines, "[^x]+", "ab\nc", {0, 2}},
    {"ComplementEscapesStop", lines, "\\D+\\W", "ab\nc \n", {3, 2}},
    {"NewlineInBracketStays", lines, "[\\nb]+", "ab\nc", {1, 2}},
    {"NewlineComesIntoNoSet", lines, "[b]+", "\nb", {1, 1}},
    {"CaretInText", lines, "^b", "ab\nb", {3, 1}},
    {"DollarInText", lines, "a$", "ab\na\n", {3, 1}},
    {"CaretAtStartAlone", advanced, "^b", "a\nb", none},
    {"DollarAtEndAlone", advanced, "a$", "a\n", none},
    // Directors and options.
    {"LiteralDirector", advanced, "***=a|(\\", "xa|(\\", {1, 4}},
    {"LiteralDirectorOfNothing", advanced, "***=", "a", {0, 0}},
    {"LiteralFlag", flag::quote, "***:.", "a***:.", {1, 5}},
    {"AdvancedDirector", basic, "***:\\d+", "a12", {1, 2}},
    {"OptionsBehindDirector", basic, "***:(?i)a", "bA", {1, 1}},
    {"OptionBasic", advanced, "(?b)a\\(b\\)", "ab", {0, 2}},
    {"OptionCase", folded, "(?c)a", "Aa", {1, 1}},
    {"OptionExtended", advanced, "(?e)\\d", "1d", {1, 1}},
    {"OptionIgnoreCase", advanced, "(?i)a", "bA", {1, 1}},
    {"OptionM", advanced, "(?m)^.+$", "\nab\n", {1, 2}},
    {"OptionNewline", advanced, "(?n)^.+$", "\nab\n", {1, 2}},
    {"OptionPartialStops", advanced, "(?p).+", "ab\nc", {0, 2}},
    {"OptionPartialAnchorsNot", lines, "(?p)^b", "a\nb", none},
    {"OptionQuote", advanced, "(?q)a+(?c)", "a+(?c)", {0, 6}},
    {"OptionSilent", lines, "(?s).+", "ab\nc", {0, 4}},
    {"OptionTight", expanded, "(?t)a b", "a b", {0, 3}},
    {"OptionWeirdAnchors", advanced, "(?w)^b", "a\nb", {2, 1}},
    {"OptionWeirdStopsNot", lines, "(?w).+", "ab\nc", {0, 4}},
    {"OptionExpanded", advanced, "(?x)a b", "ab", {0, 2}},
    {"LaterOptionWins", advanced, "(?icbnesq)A", "aA", {1, 1}},
    {"OptionsAlone", advanced, "(?i)", "a", {0, 0}},
    // Expanded syntax.
    {"BlanksSkipped", expanded, " \t\n\v\f\ra * \n b ", "aab", {0, 3}},
    {"CommentToLineEnd", expanded, "a#b)\nc#d", "ac", {0, 2}},
    {"EscapedBlanksStay", expanded, "a\\ \\#", "a #", {0, 3}},
    {"BracketBlanksStay", expanded, "[ #]+", "a #", {1, 2}},
    {"LiteralBlanksStay", expanded, "***=a b#", "a b#", {0, 4}},
    // The older syntaxes.
    {"ExtendedEscapesNothing", extended, "\\w\\1\\.", "aw1.", {1, 3}},
    {"ExtendedBracketBackslash", extended, "[\\d]+", "1\\d", {1, 2}},
    {"ExtendedClosingAlone", extended, "(a)b)", "ab)", {0, 3}},
    {"ExtendedBraceWithoutDigit", extended, "a{b", "a{b", {0, 3}},
    {"BasicPlainElements", basic, "a|b+c?(d){2}", "a|b+c?(d){2}", {0, 12}},
    {"BasicEscapedElements", basic, "\\0\\}\\|\\a", "0}|a", {0, 4}},
    {"BasicGroupAndBound", basic, "\\(ab\\)\\{2,3\\}\\1", "xababab", {1, 6}},
    {"BasicStarFirst", basic, "*a*", "a*aa", {1, 3}},
    {"BasicStarFirstInGroup", basic, "\\(*a\\)\\{2\\}", "b*a*a", {1, 4}},
    {"BasicStarBehindCaret", basic, "^**", "***", {0, 3}},
    {"BasicCaretInside", basic, "a^b", "a^b", {0, 3}},
    {"BasicCaretInGroup", basic, "\\(^a\\)", "ba", none},
    {"BasicDollarInside", basic, "a$b", "a$b", {0, 3}},
    {"BasicDollarInGroup", basic, "\\(a$\\)", "aba", {2, 1}},
    {"BasicWordConstraints", basic, "\\<a\\>", "ab a", {3, 1}},
    {"BasicBracketBackslash", basic, "[\\]*", "\\\\]", {0, 2}},
    {"BasicDollarBeforeBlanks", flag::expanded, "a$ ", "aa", {1, 1}},
};

class Meaning : public testing::TestWithParam<MeaningRow> {};

TEST_P(Meaning, IsTheSameInBothWidths) {
  const MeaningRow& row = GetParam();
  const regexHandle regex = regexHandle::Compile(row.pattern, row.flags);
  ASSERT_TRUE(regex);
  EXPECT_EQ(Find(regex, row.text), row.expected);
  const wregexHandle wide = wregexHandle::Compile(Widen(row.pattern), row.flags);
  ASSERT_TRUE(wide);
  EXPECT_EQ(Find<wchar_t>(wide, Widen(row.text)), row.expected);
}

INSTANTIATE_TEST_SUITE_P(Syntax, Meaning, testing::ValuesIn(meanings), rowName);

// The C library's classes in its own locale are the judge; no element beyond ASCII belongs to any.
struct ClassRow {
  const char* name;
  std::string_view pattern;
  int (*holds)(int);
  bool complement = false;
};

int IsWord(int element) {
  return element == '_' ? 1 : std::isalnum(element);
}

const ClassRow classRows[] = {
    {"Alnum", "[[:alnum:]]", std::isalnum},           {"Alpha", "[[:alpha:]]", std::isalpha},
    {"Blank", "[[:blank:]]", std::isblank},           {"Cntrl", "[[:cntrl:]]", std::iscntrl},
    {"Digit", "[[:digit:]]", std::isdigit},           {"Graph", "[[:graph:]]", std::isgraph},
    {"Lower", "[[:lower:]]", std::islower},           {"Print", "[[:print:]]", std::isprint},
    {"Punct", "[[:punct:]]", std::ispunct},           {"Space", "[[:space:]]", std::isspace},
    {"Upper", "[[:upper:]]", std::isupper},           {"Xdigit", "[[:xdigit:]]", std::isxdigit},
    {"NotPunct", "[^[:punct:]]", std::ispunct, true}, {"DigitEscape", "\\d", std::isdigit},
    {"NotDigitEscape", "\\D", std::isdigit, true},    {"SpaceEscape", "\\s", std::isspace},
    {"NotSpaceEscape", "\\S", std::isspace, true},    {"WordEscape", "\\w", IsWord},
    {"NotWordEscape", "\\W", IsWord, true},
};

class Class : public testing::TestWithParam<ClassRow> {};

TEST_P(Class, HoldsTheElementsOfAscii) {
  const ClassRow& row = GetParam();
  const regexHandle regex = regexHandle::Compile(row.pattern);
  const wregexHandle wide = wregexHandle::Compile(Widen(row.pattern));
  for (int element = 0; element != 1024; ++element) {
    const bool expected = (element < 128 && row.holds(element) != 0) != row.complement;
    const auto narrowElement = static_cast<char>(element);
    const auto wideElement = static_cast<wchar_t>(element);
    if (element < 256) {
      EXPECT_EQ(regex.Exec({&narrowElement, 1}, 0, nullptr, 0), expected) << element;
    }
    EXPECT_EQ(wide.Exec({&wideElement, 1}, 0, nullptr, 0), expected) << element;
  }
}

INSTANTIATE_TEST_SUITE_P(Syntax, Class, testing::ValuesIn(classRows), rowName);

struct WidthRow {
  const char* name;
  std::string_view pattern;
  std::wstring_view text;
};

// Valid in a wide pattern only.
const WidthRow widths[] = {
    {"Hex", "\\x100", L"\x100"},
    {"Unicode", "\\u4e2d", L"\x4e2d"},
    {"LongUnicode", "\\U0001f600", L"\x1f600"},
    {"Octal", "\\400", L"\x100"},
    {"InBracket", "[a-\\u0100]", L"\xff"},
    {"HighestInNegation", "a[^\\0-\\Uffffffff]?", L"ab"},
};

class Width : public testing::TestWithParam<WidthRow> {};

TEST_P(Width, LimitsTheElements) {
  const WidthRow& row = GetParam();
  EXPECT_FALSE(regexHandle::Compile(row.pattern));
  EXPECT_EQ(Find(wregexHandle::Compile(Widen(row.pattern)), row.text), Place(0, 1));
}

INSTANTIATE_TEST_SUITE_P(Syntax, Width, testing::ValuesIn(widths), rowName);

TEST(Regex, TellsTheFlagsItRunsWith) {
  EXPECT_EQ(regexHandle::Compile("***:(?xin)a", basic).GetFlags(),
            flag::advanced | flag::expanded | flag::ignoreCase | flag::newline);
  EXPECT_EQ(regexHandle::Compile("(?b)a", folded).GetFlags(), flag::ignoreCase);
  EXPECT_EQ(regexHandle::Compile("***=a", folded).GetFlags(), flag::quote | flag::ignoreCase);
}

}  // namespace
