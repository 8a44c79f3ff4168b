// Fields by delimiter and by pairs of markers, trimming by sets, comparison of parts.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <qorv/string.h>

#include "support/row_name.h"

using namespace Qorv::literals;
using Qorv::byteEx;
using Qorv::npos;
using Qorv::RANGE;
using Qorv::stringEx;
using Qorv::wstringEx;

namespace {

struct FieldRow {
  const char* name;
  stringEx delimiter;
  std::int64_t n;
  std::string left, right, rleft, rright;
};

const char* const list = "a::b::::c";

const FieldRow fieldRows[] = {
    {"First", "::", 1, "a", "b::::c", "a::b::", "c"},
    {"Third", "::", 3, "a::b::", "c", "a", "b::::c"},
    {"OneTooMany", "::", 4, list, "", "", list},
    {"Huge", "::", std::numeric_limits<std::int64_t>::max(), list, "", "", list},
    {"Absent", ";", 1, list, "", "", list},
    {"Zero", "::", 0, "", list, "", list},
    {"Negative", "::", -1, list, "", list, ""},
    {"Least", "::", std::numeric_limits<std::int64_t>::min(), list, "", list, ""},
    {"EmptyDelimiter", "", 1, "", "", "", ""},
    {"ZeroBeforeEmptyDelimiter", "", 0, "", list, "", list},
    {"AtTheStart", "a", 1, "", "::b::::c", "", "::b::::c"},
    {"AtTheEnd", "c", 1, "a::b::::", "", "a::b::::", ""},
    {"Whole", list, 1, "", "", "", ""},
};

class Field : public testing::TestWithParam<FieldRow> {};

TEST_P(Field, IsWhatLiesBesideTheDelimiter) {
  const FieldRow& row = GetParam();
  const stringEx text(list);
  EXPECT_EQ(text.left_of(row.delimiter, row.n), row.left.c_str());
  EXPECT_EQ(text.right_of(row.delimiter, row.n), row.right.c_str());
  EXPECT_EQ(text.rleft_of(row.delimiter, row.n), row.rleft.c_str());
  EXPECT_EQ(text.rright_of(row.delimiter, row.n), row.rright.c_str());
  stringEx all;
  text.left_of_append_to(all, row.delimiter, row.n);
  text.right_of_append_to(all, row.delimiter, row.n);
  text.rleft_of_append_to(all, row.delimiter, row.n);
  text.rright_of_append_to(all, row.delimiter, row.n);
  EXPECT_EQ(std::string(all), row.left + row.right + row.rleft + row.rright);
}

INSTANTIATE_TEST_SUITE_P(String, Field, testing::ValuesIn(fieldRows), rowName);

TEST(Field, CopiesNoText) {
  const stringEx text("key=value");
  EXPECT_EQ(text.right_of("=").data(), text.data() + 4);
  EXPECT_TRUE(text.left_of("=").is_view());
  EXPECT_TRUE(text.left_of("=", -1).is_view());
  EXPECT_FALSE(text.is_shared());
  const stringEx whole = text.right_of("=", 0);
  EXPECT_TRUE(text.is_shared());
  EXPECT_EQ(whole.data(), text.data());
}

TEST(Field, LeftAndRightOfAByteString) {
  const unsigned char bytes[] = {1, 0, 2, 0, 255};
  const unsigned char zero[] = {0};
  const byteEx text(bytes, 5);
  EXPECT_EQ(text.right_of(byteEx(zero, 1)).length(), 3U);
  EXPECT_EQ(text.rright_of(byteEx(zero, 1)).at(0), 255);
}

struct PairRow {
  const char* name;
  const char* text;
  stringEx open, close;
  std::vector<std::string> parts;
};

const PairRow pairRows[] = {
    {"Several", "x<a>y<>z<bc>", "<", ">", {"a", "", "bc"}},
    {"LongMarkers", "{{a}}{{b}}", "{{", "}}", {"a", "b"}},
    {"SameMarker", "'a' 'b' 'c", "'", "'", {"a", "b"}},
    {"OpenInside", "<a<b>", "<", ">", {"a<b"}},
    {"CloseFirst", "> <a>", "<", ">", {"a"}},
    {"UnpairedEndsTheScan", "<a> <b", "<", ">", {"a"}},
    {"OpenAtTheEnd", "<a><", "<", ">", {"a"}},
    {"NoPair", "a > b", "<", ">", {}},
    {"EmptyText", "", "<", ">", {}},
    {"EmptyOpen", "<a>", "", ">", {}},
    {"EmptyClose", "<a>", "<", "", {}},
};

class Pair : public testing::TestWithParam<PairRow> {};

TEST_P(Pair, GivesWhatLiesBetween) {
  const PairRow& row = GetParam();
  const stringEx text(row.text);
  std::vector<RANGE> ranges{{9, 9}};
  EXPECT_EQ(text.split_between(row.open, row.close, ranges), !row.parts.empty());
  ASSERT_EQ(ranges.size(), row.parts.size());
  for (std::size_t i = 0; i < ranges.size(); ++i) {
    EXPECT_EQ(std::string(text.part(ranges[i])), row.parts[i]);
    EXPECT_EQ(std::string(text.between(row.open, row.close, static_cast<std::int64_t>(i) + 1)), row.parts[i]);
  }
  EXPECT_TRUE(text.between(row.open, row.close, static_cast<std::int64_t>(ranges.size()) + 1).empty());
  EXPECT_TRUE(text.between(row.open, row.close, 0).empty());
  EXPECT_TRUE(text.between(row.open, row.close, -1).empty());
}

INSTANTIATE_TEST_SUITE_P(String, Pair, testing::ValuesIn(pairRows), rowName);

TEST(Trim, RemovesFromOneEndWhatIsInTheSet) {
  struct Row {
    const char* text;
    const char* set;
    const char* left;
    const char* right;
  };
  const Row rows[] = {
      {"xyaxby", "xy", "axby", "xyaxb"}, {"xyx", "xy", "", ""},     {"", "xy", "", ""},
      {" xa ", "x", " xa ", " xa "},     {"xax", "", "xax", "xax"}, {"a", "xy", "a", "a"},
  };
  for (const Row& row : rows) {
    const stringEx text(row.text);
    stringEx sum = "+";
    EXPECT_EQ(text.trim_left_copy(row.set), row.left) << row.text;
    EXPECT_EQ(text.trim_right_copy(row.set), row.right) << row.text;
    text.trim_left_append_to(sum, row.set);
    text.trim_right_append_to(sum, row.set);
    EXPECT_EQ(std::string(sum), std::string("+") + row.left + row.right);
  }
  EXPECT_EQ(stringEx("0100").trim_right_copy('0'), "01");
  EXPECT_EQ(stringEx("0100 ").trim_right_copy('0'), "0100 ");
  EXPECT_EQ(wstringEx(L"\u0100\u0101\u0101").trim_right_copy(L'\u0101'), L"\u0100");
}

TEST(Trim, OfNothingKeepsTheBuffer) {
  const stringEx text("abc");
  EXPECT_EQ(text.trim_left_copy().data(), text.data());
  EXPECT_EQ(text.trim_right_copy("x").data(), text.data());
  EXPECT_EQ(text.replace_copy("x", "y").data(), text.data());
}

TEST(Compare, OfAPartWithoutCase) {
  struct Row {
    std::uint64_t position;
    std::uint64_t length;
    stringEx other;
    int expected;
  };
  const stringEx text("From:HERE");
  const Row rows[] = {
      {0, 4, "FROM", 0},     {0, 5, "from", 1}, {5, 4, "here", 0},  {5, npos, "HERE", 0},
      {5, npos, "hers", -1}, {9, 1, "", 0},     {9, 1, "a", -1},    {npos, npos, "", 0},
      {npos, 1, "a", -1},    {0, 0, "", 0},     {4, 1, "\xE4", -1},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(text.compare_nocase(row.position, row.length, row.other), row.expected)
        << row.position << " " << row.length << " " << row.other;
  }
  EXPECT_EQ(wstringEx(L"x\u0141").compare_nocase(1, 1, L"\u0161"), -1);  // the low byte is no letter here
}

TEST(FirstAndLast, AreTestedAgainstASet) {
  const stringEx text("abc");
  EXPECT_TRUE(text.starts_with_any("xa"));
  EXPECT_FALSE(text.starts_with_any("bc"));
  EXPECT_TRUE(text.ends_with_any("xc"));
  EXPECT_FALSE(text.ends_with_any("ab"));
  EXPECT_FALSE(text.starts_with_any(""));
  EXPECT_FALSE(text.ends_with_any(""));
  EXPECT_FALSE(stringEx().starts_with_any("a"));
  EXPECT_FALSE(stringEx().ends_with_any("a"));
}

TEST(Replace, BeyondTheEndDoesNothing) {
  stringEx text("abab");
  for (const std::uint64_t beyond : {std::uint64_t{5}, npos - 1}) {
    stringEx dest("+");
    EXPECT_EQ(text.replace("b", "x", beyond), 0U);
    EXPECT_EQ(text.rreplace("b", "x", beyond), 0U);
    EXPECT_EQ(text.replace_any("ab", "x", beyond), 0U);
    EXPECT_EQ(text, "abab");
    EXPECT_EQ(text.replace_append_to(dest, "b", "x", beyond), 0U);
    EXPECT_EQ(text.rreplace_append_to(dest, "b", "x", beyond), 0U);
    EXPECT_EQ(text.replace_any_append_to(dest, "ab", "x", beyond), 0U);
    EXPECT_EQ(dest, "+");
    EXPECT_TRUE(text.replace_copy("b", "x", beyond).empty());
    EXPECT_TRUE(text.rreplace_copy("b", "x", beyond).empty());
    EXPECT_TRUE(text.replace_any_copy("b", "x", beyond).empty());
  }
  EXPECT_EQ(text.replace("b", "x", npos), 0U);
  EXPECT_EQ(text.rreplace("b", "x", npos, false), 1U);
  EXPECT_EQ(text, "abax");
}

TEST(Replace, OfAnEmptyTextChangesNothing) {
  stringEx text("abc");
  stringEx dest("+");
  EXPECT_EQ(text.replace("", "x"), 0U);
  EXPECT_EQ(text.rreplace("", "x"), 0U);
  EXPECT_EQ(text.replace_append_to(dest, "", "x"), 0U);
  EXPECT_EQ(text.rreplace_append_to(dest, "", "x"), 0U);
  EXPECT_EQ(dest, "+abcabc");
  EXPECT_EQ(text.replace_copy("", "x"), "abc");
  EXPECT_EQ(text.rreplace_copy("", "x"), "abc");
}

TEST(Replace, OfASetTakesEachElement) {
  struct Row {
    const char* set;
    const char* to;
    std::uint64_t position;
    std::uint64_t hits;
    const char* expected;
  };
  const Row rows[] = {
      {"bd", "_", 0, 3, "a_c__"},         {"bd", "", 0, 3, "ac"},      {"bd", "<>", 2, 2, "abc<><>"},
      {"", "_", 0, 0, "abcdd"},           {"xyz", "_", 0, 0, "abcdd"}, {"d", "_", 4, 1, "abcd_"},
      {"abcd", "ab", 0, 5, "ababababab"}, {"d", "_", 5, 0, "abcdd"},
  };
  for (const Row& row : rows) {
    const stringEx text("abcdd");
    stringEx dest("+");
    EXPECT_EQ(text.replace_any_append_to(dest, row.set, row.to, row.position), row.hits);
    EXPECT_EQ(std::string(dest), std::string("+") + row.expected);
    EXPECT_EQ(text.replace_any_copy(row.set, row.to, row.position), row.expected);
  }
}

}  // namespace
