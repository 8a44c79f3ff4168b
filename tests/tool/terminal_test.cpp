// The tool and its terminal: the progress line, the settings it leaves behind, and no terminal at all.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/dump_fixture.h"

namespace TestSupport {
namespace {

const std::string ctrlC = "\3";

class TerminalTest : public DumpTest {
 protected:
  void RunForSomeProgress(std::uint16_t columns) {
    WriteSource(400);
    SourceFault("slow read 30000");
    Run({"-sector:512", "-block:4k"}, {.columns = columns});
    ExpectStatus(0);
    ExpectGoodBytes();
  }

  // The first progress line as it was written, up to the first back step.
  std::string FirstLine() const {
    const std::string& screen = Result().screen;
    const std::size_t start = screen.find("Recovery Rate: ");
    if (start == std::string::npos) return "";
    return screen.substr(start, screen.find('\b') - start);
  }

  // How often a character was wiped behind the first progress line.
  std::size_t WipedBehindFirstLine() const {
    const std::string& screen = Result().screen;
    std::size_t wiped = 0;
    for (std::size_t at = std::min(screen.find('\b'), screen.size()); screen.compare(at, 3, "\b \b") == 0;
         at += 3)
      ++wiped;
    return wiped;
  }
};

TEST_F(TerminalTest, ProgressLineIsWrittenAndWiped) {
  RunForSomeProgress(100);
  const ::testing::Matcher<std::string> isProgress = ::testing::MatchesRegex(
      "Recovery Rate: [0-9]+\\.[0-9][0-9]% \\[[0-9]\\.[0-9][0-9]MB/s, 0\\.[0-9][0-9]MB to go, "
      "00:00:[0-9][0-9] elapsed\\]");
  EXPECT_TRUE(isProgress.Matches(FirstLine())) << FirstLine();
  EXPECT_EQ(WipedBehindFirstLine(), FirstLine().size());
  ExpectReports("Done, Total recovery rate: 100.00%, Took time: HH:MM:SS.\n\n");
}

struct WINDOWCASE {
  const char* name;
  std::uint16_t columns;
  std::size_t longest;
};

class WindowTest : public TerminalTest, public ::testing::WithParamInterface<WINDOWCASE> {};

TEST_P(WindowTest, LimitsTheProgressLine) {
  const std::string whole = "Recovery Rate: 00.00% [0.00MB/s, 0.00MB to go, 00:00:00 elapsed]";
  RunForSomeProgress(GetParam().columns);
  EXPECT_EQ(FirstLine().size(), std::min(GetParam().longest, whole.size()));
  EXPECT_EQ(WipedBehindFirstLine(), FirstLine().size());
  ExpectReports("Done, Total recovery rate: 100.00%, Took time: HH:MM:SS.\n\n");
}

// The last column stays free. A terminal that tells no width has room for all.
const WINDOWCASE windows[] = {
    {"Unknown", 0, 65535}, {"OfOne", 1, 0}, {"OfTwenty", 20, 19}, {"Wide", 300, 299}};
INSTANTIATE_TEST_SUITE_P(Columns, WindowTest, ::testing::ValuesIn(windows), rowName);

struct SIZECASE {
  const char* name;
  std::int64_t bytes;
  const char* toGo;
};

class SizeTest : public TerminalTest, public ::testing::WithParamInterface<SIZECASE> {};

// The first read takes so long that nothing has been copied when the line comes up.
TEST_P(SizeTest, IsShownInItsUnit) {
  std::ofstream(Source(), std::ios::binary).flush();
  std::error_code refused;
  std::filesystem::resize_file(Source(), static_cast<std::uintmax_t>(GetParam().bytes), refused);
  if (refused) GTEST_SKIP() << "no file here can be so large: " << refused.message();
  SourceFault("slow read 3000000");
  Run({"-sector:512"}, {.answers = {{"to go", ctrlC}}, .signal = SIGINT});
  EXPECT_NE(FirstLine().find(std::string("0.00MB/s, ") + GetParam().toGo + " to go"), std::string::npos)
      << FirstLine();
}

const SIZECASE sizes[] = {
    {"LastInMegabytes", 0x7fffffff, "2048.00MB"},
    {"FirstInGigabytes", 0x80000000, "2.00GB"},
    {"LastInGigabytes", 0x1ffffffffff, "2048.00GB"},
    {"FirstInTerabytes", 0x20000000000, "2.00TB"},
};
INSTANTIATE_TEST_SUITE_P(Rows, SizeTest, ::testing::ValuesIn(sizes), rowName);

// The width is that of the start: a narrower window wraps the line, and the wipe goes on to fit what was written.
TEST_F(TerminalTest, WindowMayChangeItsSize) {
  WriteSource(400);
  SourceFault("slow read 30000");
  Run({"-sector:512", "-block:4k"}, {.answers = {{"Recovery Rate", "", 30}}});
  ExpectStatus(0);
  ExpectReports("Done, Total recovery rate: 100.00%, Took time: HH:MM:SS.\n\n");
}

struct STOPCASE {
  const char* name;
  std::vector<ANSWER> answers;
  std::int64_t copied;  // bytes that are surely in the target by then
};

class StopTest : public TerminalTest, public ::testing::WithParamInterface<STOPCASE> {};

TEST_P(StopTest, KeepsWhatWasCopied) {
  WriteSource(64);
  SourceFault("slow read 20000");
  BadSector(21);
  Run({"-sector:512", "-block:4k"}, {.key = "", .answers = GetParam().answers, .signal = SIGINT});
  EXPECT_NE(Result().after.c_lflag & ISIG, 0U);
  ExpectCopied(0, 0, GetParam().copied);
  ForgetFaults();
  Run({"-sector:512", "-block:4k"});
  ExpectStatus(0);
  ExpectGoodBytes();
}

// The answers begin where the prompt has just come up.
const STOPCASE stops[] = {
    {"AtThePrompt", {{"", ctrlC}}, 0},
    {"InTheBlockPass", {{"", "y"}, {"error reading block", ctrlC}}, 4096},
    {"InTheMedPass", {{"", "y"}, {"error reading med", ctrlC}}, 8192},
    {"InTheSectorPass", {{"", "y"}, {"failed reading sector", ctrlC}}, 8192},
};
INSTANTIATE_TEST_SUITE_P(Rows, StopTest, ::testing::ValuesIn(stops), rowName);

TEST_F(TerminalTest, MessagesWipeTheProgressLineFirst) {
  WriteSource(400);
  SourceFault("slow read 30000");
  BadSector(395);
  Run({"-sector:512", "-block:4k"});
  EXPECT_NE(FirstLine(), "");
  ExpectReports(
      "## [WARNING]: error reading block at byte position: 200704 (Pos.: 98.00%, Rate: 98.00%)\n"
      "## [WARNING]: error reading med at byte position: 200704 (Pos.: 98.00%, Rate: 98.00%)\n"
      "## [ERROR]: failed reading sector at byte position: 202240 (Pos.: 98.75%, Rate: 99.75%) with 1 "
      "attempts.\n"
      "Done, Total recovery rate: 99.75%, Took time: HH:MM:SS.\n\n");
}

TEST_F(TerminalTest, SettingsComeBack) {
  WriteSource(8);
  for (const char* key : {"n", "y"}) {
    Run({}, {.key = key});
    const termios& before = Result().before;
    const termios& after = Result().after;
    EXPECT_EQ(before.c_lflag, after.c_lflag) << key;
    EXPECT_EQ(before.c_iflag, after.c_iflag) << key;
    EXPECT_EQ(before.c_oflag, after.c_oflag) << key;
    EXPECT_EQ(std::memcmp(before.c_cc, after.c_cc, sizeof before.c_cc), 0) << key;
  }
}

TEST_F(TerminalTest, WithoutATerminalItSaysWhyAndEnds) {
  WriteSource(8);
  Run({}, {.hasTerminal = false, .splitErrors = true});
  ExpectStatus(255);
  EXPECT_NE(
      Result().errors.find(OpenFailure("/dev/tty", ENXIO,
                                       "the device associated with this special file does not exist, or fifo "
                                       "opened without reading peer")),
      std::string::npos)
      << Result().errors;
  ExpectNoTarget();
}

}  // namespace
}  // namespace TestSupport
