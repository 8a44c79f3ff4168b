// What the operator typed: options taken apart and put together again, and as a text with directives in it.
#include <gtest/gtest.h>

#include <vector>

#include "../../tolk/cmd_line.h"
#include "../../tolk/operator_text.h"
#include "support/row_name.h"

namespace {

struct TEXTCASE {
  const char* name;
  const char* text;
  const char* expected;
};

const TEXTCASE textCases[] = {
    {"NoDirective", "512", "512"},
    {"Decimal", "%d bytes", "4096 bytes"},
    {"HexWithWidth", "<%08X>", "<00001000>"},
    {"LengthMakesNoDifference", "%hhu", "4096"},
    {"LeftAligned", "<%-6d>", "<4096  >"},
    {"SecondStays", "%d %d", "4096 %d"},
    {"StringStays", "%s%d", "%s4096"},
    {"CountStays", "%n", "%n"},
    {"RealStays", "%.2f", "%.2f"},
    {"StarStays", "%*d", "%*d"},
    {"PositionStays", "%2$d", "%2$d"},
    {"DoubledIsOne", "100%%", "100%"},
    {"LonePercentAtTheEnd", "100%", "100%"},
    {"CutOffDirective", "%08l", "%08l"},
    {"HugeWidthStays", "%999999999d", "%999999999d"},
    {"HugePrecisionStays", "%.4097d", "%.4097d"},
};

class OperatorTextTest : public testing::TestWithParam<TEXTCASE> {};

TEST_P(OperatorTextTest, DoesWhatOneIntegerCanServe) {
  EXPECT_STREQ(ExpandOperatorText(GetParam().text, 4096).data(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, OperatorTextTest, testing::ValuesIn(textCases), rowName);

TEST(OperatorText, CharacterIsServed) {
  EXPECT_EQ(ExpandOperatorText("<%3c>", 'A'), "<  A>");
}

CCmdLineArgs Parsed(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "tolk");
  CCmdLineArgs args("-", ":=");
  args.Parse(static_cast<int>(arguments.size()), arguments.data());
  return args;
}

TEST(CmdLineTest, FindsByNameAndNumber) {
  const CCmdLineArgs args =
      Parsed({"-from:a:b=c", "-FROM=x", "from", "-", "", "--help", "-fromdisk:1", "-=v"});
  EXPECT_EQ(args.GetOptionCount(), 5U);
  EXPECT_EQ(args.Find("From"), 1);
  EXPECT_EQ(args.Find("from", 1), 2);
  EXPECT_EQ(args.Find("from", 2), -1);
  EXPECT_EQ(args.FindExact("FROM"), 2);
  EXPECT_EQ(args.FindExact("From"), -1);
  EXPECT_EQ(args.Find("-help"), 6);
  EXPECT_EQ(args.Find(""), -1);
  EXPECT_EQ(args.GetValue("from"), "a:b=c");
  EXPECT_EQ(args.GetValue("from", 1), "x");
  EXPECT_EQ(args.GetValue("none"), "");
}

TEST(CmdLineTest, RebuildsWithQuotesWhereNeeded) {
  const CCmdLineArgs args =
      Parsed({"-from=a b", "lone", "-to:say \"hi\"", "-dir:C:\\my files\\", "-aligned", "-plain:\\"});
  Qorv::stringEx line("tolk ");
  args.Rebuild(line);
  EXPECT_STREQ(line.data(),
               "tolk -from:\"a b\" -to:\"say \\\"hi\\\"\" -dir:\"C:\\my files\\\\\" -aligned -plain:\\");
}

}  // namespace
