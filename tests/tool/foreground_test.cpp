// What the operator sees before anything is dumped: banner, usage screen, summary, prompt.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/dump_fixture.h"

namespace TestSupport {
namespace {

const std::string rule(78, '=');
const std::string banner = "\n" + rule + "\n  Tolk Ver 1.0.8-1003\n" + rule + "\n\n";

struct USAGECASE {
  const char* name;
  std::vector<std::string> arguments;
};

class UsageTest : public DumpTest, public ::testing::WithParamInterface<USAGECASE> {};

TEST_P(UsageTest, ShowsTheWholeScreenAndEnds) {
  std::ifstream file(TEST_DATA "/usage.txt");
  const std::string usage(std::istreambuf_iterator<char>(file), {});
  RunBare(GetParam().arguments);
  ExpectStatus(0);
  EXPECT_EQ(Result().screen, usage);
  EXPECT_TRUE(Calls().empty());
}

const USAGECASE usageCases[] = {
    {"NoArguments", {}},
    {"NoTarget", {"-from:source"}},
    {"NoSource", {"-to:target"}},
    {"DiskNumbersAlone", {"-fromdisk:1", "-todisk:2"}},
    {"OneDiskNumber", {"-from:source", "-todisk:2"}},
    {"OptionsWithoutPrefix", {"from:source", "to:target"}},
    {"PathBehindABlank", {"-from", "source", "/to", "target"}},
    {"QuestionMark", {"-from:source", "-to:target", "-?"}},
    {"LetterH", {"-from:source", "-to:target", "-H"}},
    {"HelpInWords", {"-from:source", "-to:target", "--Help"}},
    {"HelpWithAValue", {"-h:1", "-from:source", "-to:target"}},
};
INSTANTIATE_TEST_SUITE_P(Rows, UsageTest, ::testing::ValuesIn(usageCases), rowName);

// The source has 64 sectors of 512 bytes.
struct SUMMARYCASE {
  const char* name;
  std::vector<std::string>
      arguments;  // in front of "-sector:512 -maxbuf:1m"; the first of two options counts
  std::string sector = "512";
  std::string block = "1048576";
  std::string med = "32768";
  std::string buffer = "1";
  std::string retries = "0";
  std::string rest = "write from beginning\n  fill with    = 0x00";
};

class SummaryTest : public DumpTest, public ::testing::WithParamInterface<SUMMARYCASE> {};

TEST_P(SummaryTest, ShowsThePlan) {
  const SUMMARYCASE& row = GetParam();
  WriteSource(64);
  std::vector<std::string> arguments = row.arguments;
  arguments.insert(arguments.end(), {"-sector:512", "-maxbuf:1m"});
  Run(arguments, {.key = "n", .splitErrors = true});
  ExpectStatus(0);
  EXPECT_EQ(Result().screen,
            banner + "  from         = '" + Source() + "'\n  to           = '" + Target() +
                "'\n  sector size  = " + row.sector + " bytes\n  block size   = " + row.block +
                " bytes\n  med. size    = " + row.med + " bytes\n  max. buffer  = " + row.buffer +
                " blocks\n  max. retries = " + row.retries + "\n  alignment    = " + row.rest +
                "\n\ncontinue? press [y/N]:");
}

std::string Filled(const std::string& byte) {
  return "write from beginning\n  fill with    = " + byte;
}
std::string Ranged(const std::string& range) {
  return Filled("0x00") + "\n  range        = Sec. " + range;
}

const SUMMARYCASE summaryCases[] = {
    {.name = "Defaults", .arguments = {}},
    {.name = "NamesInCapitals",
     .arguments = {"-RETRY:2", "-Aligned"},
     .retries = "2",
     .rest = "align with source\n  fill with    = 0x00"},
    {.name = "EqualsSign", .arguments = {"-retry=3"}, .retries = "3"},
    {.name = "OnlyTheFirstSeparatorDivides", .arguments = {"-fill=0x1:2"}, .rest = Filled("0x01")},
    {.name = "ValueBehindABlankIsNone", .arguments = {"-retry", "3"}},
    {.name = "FirstOfTwoCounts", .arguments = {"-retry:1", "-retry:2"}, .retries = "1"},
    {.name = "UnknownOption", .arguments = {"-retries:9", "-", "", "y"}},

    {.name = "SectorOfZero", .arguments = {"-sector:0"}, .sector = "16", .med = "4096"},
    {.name = "SectorBelowTheLeast", .arguments = {"-sector:15"}, .sector = "16", .med = "4096"},
    {.name = "SectorOfTheLeast", .arguments = {"-sector:16"}, .sector = "16", .med = "4096"},
    {.name = "SectorOfOneMore",
     .arguments = {"-sector:17"},
     .sector = "17",
     .block = "1048560",
     .med = "4080"},
    {.name = "BlockRoundedToSectors",
     .arguments = {"-sector:1000"},
     .sector = "1000",
     .block = "1048000",
     .med = "32000"},
    {.name = "BlockOfOneSector",
     .arguments = {"-block:4k", "-sector:4k", "-maxbuf:4k"},
     .sector = "4096",
     .block = "4096",
     .med = "4096"},
    {.name = "BlockBelowASector",
     .arguments = {"-block:4095", "-sector:4k", "-maxbuf:8k"},
     .sector = "4096",
     .block = "4096",
     .med = "4096",
     .buffer = "2"},
    {.name = "BlockOfTwoSectors", .arguments = {"-block:1k", "-maxbuf:1k"}, .block = "1024", .med = "1024"},
    {.name = "BlockOfFourSectors", .arguments = {"-block:2k", "-maxbuf:2k"}, .block = "2048", .med = "1024"},
    {.name = "BlockOfSevenSectors",
     .arguments = {"-block:3584", "-maxbuf:4k"},
     .block = "3584",
     .med = "1536"},
    {.name = "SuffixesInAnyCase",
     .arguments = {"-sector:1K", "-block:2MB", "-maxbuf:8mB"},
     .sector = "1024",
     .block = "2097152",
     .med = "65536",
     .buffer = "4"},
    {.name = "KilobytesInTwoLetters",
     .arguments = {"-block:64Kb"},
     .block = "65536",
     .med = "8192",
     .buffer = "16"},
    {.name = "NumberStopsAtAPoint", .arguments = {"-block:1.5m"}},
    {.name = "OtherSuffixMeansBytes",
     .arguments = {"-block:8192kib"},
     .block = "8192",
     .med = "2048",
     .buffer = "128"},
    {.name = "SuffixIsTheTextsEnd", .arguments = {"-block:8 of them"}, .block = "8388608", .med = "65536"},
    {.name = "LeadingBlankAndSign", .arguments = {"-block: +2m"}, .block = "2097152", .med = "32768"},

    {.name = "QueueOfNothing", .arguments = {"-maxbuf:"}},
    {.name = "QueueBelowABlock", .arguments = {"-maxbuf:100"}},
    {.name = "QueueRoundedDown", .arguments = {"-maxbuf:3071k"}, .buffer = "2"},
    {.name = "QueueOfAll32Bits", .arguments = {"-maxbuf:4294967295m"}, .buffer = "4294967295"},
    {.name = "QueueBeyond32Bits", .arguments = {"-maxbuf:4294967299m"}, .buffer = "3"},
    {.name = "QueueThatTheLow32BitsLose", .arguments = {"-maxbuf:4294967296m"}},

    {.name = "RetriesOfTheLow32Bits", .arguments = {"-retry:4294967297"}, .retries = "1"},
    {.name = "RetriesBelowZero", .arguments = {"-retry:-1"}, .retries = "4294967295"},

    {.name = "FillHexadecimal", .arguments = {"-fill:0xAb"}, .rest = Filled("0xAB")},
    {.name = "FillLowByte", .arguments = {"-fill:0x1FE"}, .rest = Filled("0xFE")},
    {.name = "FillShortHexadecimal", .arguments = {"-fill:X3c"}, .rest = Filled("0x3C")},
    {.name = "FillBinary", .arguments = {"-fill:0b1010"}, .rest = Filled("0x0A")},
    {.name = "FillShortBinary", .arguments = {"-fill:B10101010"}, .rest = Filled("0xAA")},
    {.name = "FillOctal", .arguments = {"-fill:017"}, .rest = Filled("0x0F")},
    {.name = "FillDecimal", .arguments = {"-fill:165"}, .rest = Filled("0xA5")},
    {.name = "FillBelowZero", .arguments = {"-fill: -1"}, .rest = Filled("0xFF")},
    {.name = "FillNoNumber", .arguments = {"-fill:zz"}},

    {.name = "CoolDown",
     .arguments = {"-cooldown:30/10"},
     .rest = Filled("0x00") + "\n  cool down    = 30/10"},
    {.name = "CoolDownWithoutRest", .arguments = {"-cooldown:30"}},
    {.name = "CoolDownWithRestOfZero", .arguments = {"-cooldown:30/0"}},
    {.name = "CoolDownWithoutWork", .arguments = {"-cooldown:/10"}},

    {.name = "SectorsFromTo", .arguments = {"-secrange:10-20"}, .rest = Ranged("10 - 20 (15.62% - 31.25%)")},
    {.name = "SectorsToTheEnd", .arguments = {"-secrange:16"}, .rest = Ranged("16 - 64 (25.00% - 100.00%)")},
    {.name = "SectorsFromTheStart",
     .arguments = {"-secrange:-16"},
     .rest = Ranged("0 - 16 (0.00% - 25.00%)")},
    {.name = "AllSectorsIsNoRange", .arguments = {"-secrange:0-64"}},
    {.name = "SectorsReversed",
     .arguments = {"-secrange:20-10"},
     .rest = Ranged("20 - 10 (31.25% - 15.62%)")},
    {.name = "SectorsBeyondTheEnd",
     .arguments = {"-secrange:100-200"},
     .rest = Ranged("100 - 200 (156.25% - 100.00%)")},
    {.name = "SectorsBelowZeroAreFields",
     .arguments = {"-secrange:-5-10"},
     .rest = Ranged("0 - 5 (0.00% - 7.81%)")},
    {.name = "PercentFromTo", .arguments = {"-perrange:25-75"}, .rest = Ranged("16 - 48 (25.00% - 75.00%)")},
    {.name = "PercentRoundedDown",
     .arguments = {"-perrange:34.25"},
     .rest = Ranged("21 - 64 (32.81% - 100.00%)")},
    {.name = "PercentBeyondTheEnd",
     .arguments = {"-perrange:50-250"},
     .rest = Ranged("32 - 160 (50.00% - 100.00%)")},
    {.name = "AllPercentIsNoRange", .arguments = {"-perrange:0.00-100.00"}},
    {.name = "SectorsBeforePercent",
     .arguments = {"-perrange:50-60", "-secrange:16-32"},
     .rest = Ranged("16 - 32 (25.00% - 50.00%)")},
};
INSTANTIATE_TEST_SUITE_P(Rows, SummaryTest, ::testing::ValuesIn(summaryCases), rowName);

struct KEYCASE {
  const char* name;
  std::string key;
  bool isYes;
};

class PromptTest : public DumpTest, public ::testing::WithParamInterface<KEYCASE> {};

TEST_P(PromptTest, OnlyAYesTouchesTheTarget) {
  WriteSource(64);
  Run({}, {.key = GetParam().key, .splitErrors = true});
  ExpectStatus(0);
  ExpectErrors("\n");
  EXPECT_EQ(std::filesystem::exists(Target()), GetParam().isYes);
  EXPECT_EQ(Calls("target", "open").size(), GetParam().isYes ? 1 : 0);
  EXPECT_EQ(Calls("source", "read").empty(), !GetParam().isYes);
}

const KEYCASE keyCases[] = {
    {"SmallY", "y", true},   {"CapitalY", "Y", true},  {"SmallN", "n", false},
    {"Return", "\r", false}, {"Escape", "\33", false}, {"FirstKeyCounts", "ny", false},
};
INSTANTIATE_TEST_SUITE_P(Keys, PromptTest, ::testing::ValuesIn(keyCases), rowName);

class QueueTest : public DumpTest {};

TEST_F(QueueTest, DefaultFollowsTheFreeMemory) {
  WriteSource(64);
  Run({"-sector:512", "-block:512"}, {.key = "n"});
  ExpectScreenHas("  max. buffer  = 256 blocks\n");
  Run({"-sector:512", "-block:999999m"}, {.key = "n"});
  ExpectScreenHas("  max. buffer  = 1 blocks\n");
}

}  // namespace
}  // namespace TestSupport
