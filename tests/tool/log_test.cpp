// The log of a run: its file, its levels, and what stands in it when the run goes wrong.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "support/dump_fixture.h"

namespace TestSupport {
namespace {

const std::string ioError = "physical io error, or background process attempt to read from console terminal";

class LogTest : public DumpTest {
 protected:
  // 24 sectors in blocks of 8: one dead sector, one that heals at its fifth read, one refused seek.
  void PrepareEverything() {
    WriteSource(24);
    BadSector(1);
    HealsAfter(20, 3);
    SourceFault("fail seek 4");
  }
  std::string ReadError() const { return "\n@ " + ReadFailure(Source(), EIO, ioError); }
  std::string Summary(const std::string& retries) const {
    return "  from         = '" + Source() + "'\n  to           = '" + Target() +
           "'\n  sector size  = 512 bytes\n  block size   = 4096 bytes\n  med. size    = 2048 bytes\n"
           "  max. buffer  = 256 blocks\n  max. retries = " +
           retries + "\n  alignment    = write from beginning\n  fill with    = 0x00";
  }
  // The start record has a test of its own.
  std::string MainRecords() const {
    std::string records;
    for (const RECORD& record : Log())
      if (record.channel == "main" && !record.text.starts_with("app start"))
        records += record.level + ": " + Neutral(record.text) + '\n';
    return records;
  }
  void ExpectCompleteRun() const {
    ExpectStatus(0);
    ExpectGoodBytes();
    ExpectScreenHas("Done, Total recovery rate: 100.00%, Took time: HH:MM:SS.\n\n");
  }
};

struct LEVELCASE {
  const char* name;
  const char* option;
  int level;  // of the lowest records that are written; 6 for none
};

class LevelTest : public LogTest, public ::testing::WithParamInterface<LEVELCASE> {};

struct LEVELRECORD {
  int level;
  std::string text;
  std::string detail = {};  // at the lowest level alone
};

std::string At(int level, const std::vector<LEVELRECORD>& records) {
  static constexpr const char* names[] = {"Debug: ", "Info: ", "Warning: ", "Error: ", "Notice: "};
  std::string text;
  for (const LEVELRECORD& record : records)
    if (record.level >= level)
      text += names[record.level] + record.text + (level == 0 ? record.detail : "") + '\n';
  return text;
}

TEST_P(LevelTest, WritesItsRecordsAndThoseAbove) {
  PrepareEverything();
  std::vector<std::string> arguments = {"-sector:512", "-block:4k", "-retry:2"};
  if (*GetParam().option != 0) arguments.push_back(GetParam().option);
  Run(arguments);
  ExpectStatus(0);
  ExpectScreenHas("Done, Total recovery rate: 95.83%");
  const int level = GetParam().level;
  EXPECT_EQ(std::filesystem::exists(LogFile()), level < 6);
  ExpectLog(
      "trd.reader",
      At(level,
         {{0, "begin of reading worker thread, tid=N"},
          {2, "error reading block at byte position: 0 (Pos.: 0.00%, Rate: 0.00%)", ReadError()},
          {3, "error seeking to block at byte position: 4096 (Pos.: 33.33%, Rate: 0.00%)",
           "\n@ CSysFile::SeekBegin - failed seeking in file\n  file path = " + Source() +
               "\n@ CSysFile/PosixSeekFile - error seek file pointer\n  sys error  = 5\n"
               "  error desc = unexpect system error: Input/output error"},
          {2, "error reading block at byte position: 8192 (Pos.: 66.67%, Rate: 0.00%)", ReadError()},
          {2, "error reading med at byte position: 0 (Pos.: 0.00%, Rate: 0.00%)", ReadError()},
          {2, "error reading med at byte position: 10240 (Pos.: 83.33%, Rate: 66.67%)", ReadError()},
          {0, "retrying read sector at byte position: 512 (Pos.: 4.17%, Rate: 70.83%)"},
          {0, "retrying read sector at byte position: 512 (Pos.: 4.17%, Rate: 70.83%)"},
          {3, "failed reading sector at byte position: 512 (Pos.: 4.17%, Rate: 70.83%) with 3 attempts.",
           ReadError()},
          {0, "retrying read sector at byte position: 10240 (Pos.: 83.33%, Rate: 79.17%)"},
          {1, "sector at byte position: 10240 successfully recovered with 2 retries."}}));
  ExpectLog("trd.writer", At(level, {{0, "begin of writing worker thread, tid=N"},
                                     {0, "stop command received, exit thread..."}}));
  EXPECT_EQ(MainRecords(), At(level, {{1, "recovery start\n" + Summary("2")},
                                      {4, "Done, Total recovery rate: 95.83%, Took time: HH:MM:SS."}}));
}

const LEVELCASE levels[] = {
    {"Default", "", 1},
    {"DebugOnlyInCapitals", "-loglevel:DEBUGONLY", 0},
    {"Info", "-loglevel:info", 1},
    {"Warning", "-loglevel:warning", 2},
    {"Error", "-loglevel:Error", 3},
    {"Notice", "-loglevel=notice", 4},
    {"FatalError", "-loglevel:fatalerror", 5},
    {"Disabled", "-loglevel:disabled", 6},
    {"Nonsense", "-loglevel:verbose", 1},
    {"BlankInFront", "-loglevel: error", 1},
    {"Nothing", "-loglevel:", 1},
};
INSTANTIATE_TEST_SUITE_P(Rows, LevelTest, ::testing::ValuesIn(levels), rowName);

TEST_F(LogTest, BeginsWithTheProgramAndItsMachine) {
  WriteSource(8);
  Run({"-sector:512", "-fill:it's \"so\""});
  ASSERT_FALSE(Log().empty());
  const RECORD first = Log().front();
  EXPECT_EQ(first.level + first.channel, "Noticemain");
  const std::string command = std::string(" -from:") + Source() + " -to:" + Target() +
                              " -logfile:" + LogFile() + " -sector:512 \"-fill:it's ";
  EXPECT_THAT(first.text, ::testing::StartsWith("app start, version = 1.0.8-1003, pid = "));
  EXPECT_THAT(first.text, ::testing::ContainsRegex(", main tid = 0x[0-9a-f]+\n  cmd line = '"));
  EXPECT_THAT(first.text, ::testing::HasSubstr(command));
  EXPECT_THAT(first.text, ::testing::HasSubstr("'\n@ "));
}

TEST_F(LogTest, StandsInTheWorkingDirectoryWhereNobodySaysElse) {
  WriteSource(8);
  RunBare({"-from:" + Source(), "-to:" + Target(), "-sector:512"});
  ExpectCompleteRun();
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(Folder()))
    if (entry.path().extension() == ".log" && entry.path() != Folder() / "faults.log")
      names.push_back(entry.path().filename());
  ASSERT_EQ(names.size(), 1U);
  EXPECT_THAT(names[0],
              ::testing::MatchesRegex("tolk_20[0-9][0-9][0-9][0-9][0-9][0-9]-[0-9][0-9][0-9][0-9].log"));
}

TEST_F(LogTest, StartsAnew) {
  WriteSource(8);
  std::ofstream(LogFile()) << std::string(100000, 'x');
  Run({"-sector:512"});
  ASSERT_FALSE(Log().empty());
  EXPECT_THAT(Log().front().text, ::testing::StartsWith("app start"));
}

TEST_F(LogTest, IsNotNeeded) {
  WriteSource(8);
  for (const std::string& name : {Folder().string() + "/none/x.log", Folder().string(), std::string()}) {
    Run({"-sector:512", "-logfile:" + name}, {.splitErrors = true});
    ExpectCompleteRun();
    ExpectErrors("## [ERROR]: error open log file: " + name + "\n\n");
  }
}

TEST_F(LogTest, MayRunFullWhileTheDumpGoesOn) {
  WriteSource(64);
  BadSector(60);
  LogFault("full 1");
  Run({"-sector:512", "-block:4k"});
  ExpectStatus(0);
  ExpectGoodBytes({{30720, 31232}});
  EXPECT_EQ(std::filesystem::file_size(LogFile()), 1U);
}

TEST_F(LogTest, TellsThatTheOperatorSaidNo) {
  WriteSource(8);
  Run({"-sector:512", "-block:4k"}, {.key = "n"});
  EXPECT_EQ(MainRecords(), "Notice: user abort:\n" + Summary("0") + '\n');
  Run({"-sector:512", "-loglevel:fatalerror"}, {.key = "n"});
  EXPECT_TRUE(Log().empty());
}

// What is wrong with the sizes stands on channels that are the texts themselves, and the option's text is the format.
TEST_F(LogTest, TellsWhichSizesWereMended) {
  const auto warnings = [&] {
    std::string text;
    for (const RECORD& record : Log())
      if (record.level == "Warning") text += record.channel + "|" + record.text + "\n";
    return text;
  };
  const std::string sizes = "\n  size specified = %s\n  size used      = %u bytes|";
  WriteSource(8);
  Run({"-sector:5", "-block:%d bytes", "-maxbuf:1"}, {.key = "n"});
  EXPECT_EQ(warnings(),
            "mainthe minimum sector size is 16 bytes." + sizes + "5\n" +
                "mainio block could not smaller then current sector size." + sizes + "16 bytes\n" +
                "mainmax. buffer queue size could not smaller then the io block size." + sizes + "1\n");
  Run({"-sector:512", "-block:999999m"}, {.key = "n"});
  EXPECT_THAT(warnings(),
              ::testing::MatchesRegex(
                  "mainlow memory for current io block size\\.\n  system available physical memory = %s "
                  "bytes\n  io block size                    = %u bytes\\|[0-9]+\n"));
  Run({"-sector:1000"}, {.key = "n"});
  EXPECT_EQ(warnings(), "");
  EXPECT_THAT(MainRecords(), ::testing::StartsWith("Info: adjust io block size to 1048000 bytes.\n"));
}

struct ENDCASE {
  const char* name;
  const char* sourceFault;
  const char* targetFault;
  std::string channel;
  std::string record;
  std::string screen;  // the last line, if any
};

class EndTest : public LogTest, public ::testing::WithParamInterface<ENDCASE> {
 protected:
  std::string Filled(std::string text) const {
    const std::string_view mark = "{target}";
    for (std::size_t at; (at = text.find(mark)) != std::string::npos;)
      text.replace(at, mark.size(), Target());
    return text;
  }
};

TEST_P(EndTest, IsToldInFullAndKeepsWhatWasCopied) {
  const ENDCASE& row = GetParam();
  WriteSource(64);
  if (*row.sourceFault != 0) SourceFault(row.sourceFault);
  if (*row.targetFault != 0) TargetFault(row.targetFault);
  Run({"-sector:512", "-block:4k", "-loglevel:fatalerror"});
  ExpectStatus(255);
  ExpectLog(row.channel, Filled(row.record));
  ExpectReports(Filled(row.screen));
  // The target had the first block before its second write was refused.
  if (*row.targetFault != 0) ExpectCopied(0, 0, 4096);
}

std::string Fault(const std::string& what, const std::string& signal, const std::string& reason) {
  return "Fatal: unrecoverable underlaying error ocurred: " + what + "\n  signal number   = " + signal +
         "\n  reason code     = " + reason +
         "\n  pid             = N\n  tid             = N\n  error number    = Success (0)\n"
         "  roughly address = N\n  thread context  = N\n";
}
const std::string division = Fault("arithmetic exception", "8 (SIGFPE)", "Integer divide by zero (1)");
const std::string access =
    Fault("invalid memory reference", "11 (SIGSEGV)", "Address not mapped to object (1)");
const std::string aborted = Fault("program aborted", "6 (SIGABRT)", "none (-6)");
const std::string uncaught = "Fatal: uncaught underlayer exception\n@ ";
const std::string inReader = "## [FATAL ERROR] (reading thread): ";
const std::string inWriter = "## [FATAL ERROR] (writing thread): ";
const std::string noRoom =
    "CSysFile::Write - failed writing file\n  file path  = {target}\n  error code = 28\n  error desc = "
    "there was no free space remaining on the device containing the file\n";

const ENDCASE ends[] = {
    {"ReaderDivides", "die read 2 divide", "", "util.errhnd", division, ""},
    {"ReaderMissesMemory", "die read 2 access", "", "util.errhnd", access, ""},
    {"ReaderAborts", "die read 2 abort", "", "util.errhnd", aborted, ""},
    {"ReaderThrows", "die read 2 standard", "", "trd.reader", uncaught + "on purpose\n",
     inReader + "on purpose\n"},
    {"ReaderThrowsANumber", "die read 2 nobody", "", "trd.reader", uncaught + "unknown system error\n",
     inReader + "unknown system error\n"},
    {"WriterDivides", "", "die write 2 divide", "util.errhnd", division, ""},
    {"WriterMissesMemory", "", "die write 2 access", "util.errhnd", access, ""},
    {"WriterAborts", "", "die write 2 abort", "util.errhnd", aborted, ""},
    {"WriterThrows", "", "die write 2 standard", "trd.writer", uncaught + "on purpose\n",
     inWriter + "on purpose\n"},
    {"WriterThrowsANumber", "", "die write 2 nobody", "trd.writer", uncaught + "unknown system error\n",
     inWriter + "unknown system error\n"},
    {"TargetFillsUp", "", "full 4096", "trd.writer", uncaught + noRoom, inWriter + noRoom},
};
INSTANTIATE_TEST_SUITE_P(Rows, EndTest, ::testing::ValuesIn(ends), rowName);

// A run whose log cannot be opened dies in the same way, and says on the screen what has no log to go to.
TEST_P(EndTest, NeedsNoLog) {
  const ENDCASE& row = GetParam();
  WriteSource(64);
  if (*row.sourceFault != 0) SourceFault(row.sourceFault);
  if (*row.targetFault != 0) TargetFault(row.targetFault);
  for (const char* option : {"-logfile:none/x.log", "-loglevel:disabled"}) {
    Run({"-sector:512", "-block:4k", option});
    ExpectStatus(255);
    const bool isFault = row.channel == "util.errhnd";
    ExpectReports(isFault ? row.record.substr(std::string_view("Fatal: ").size()) : Filled(row.screen));
  }
}

TEST_F(LogTest, TellsWhyARunCannotStart) {
  const std::string target = (Folder() / "none/target").string();
  WriteSource(8);
  Run({"-to:" + target, "-loglevel:fatalerror"});
  ExpectStatus(255);
  ExpectLog("main", "Fatal: underlayer error:\n@ " +
                        OpenFailure(target, ENOENT, "file dose not exists or can't be created") + '\n');
}

// Each read takes longer than the minute after which the source gets its rest, and the last one has its rest too.
TEST_F(LogTest, CoolingLeavesTheSourceAlone) {
  WriteSource(24);
  SourceFault("slow read 40000");
  LogFault("slow write 0");
  Run({"-sector:512", "-block:4k", "-cooldown:1/1"}, {.clockRate = 60000});
  ExpectStatus(0);
  ExpectGoodBytes();
  const std::string rest =
      "## [INFO]: cooling down - DATE HH:MM:SS\n## [INFO]: return to work - DATE HH:MM:SS\n";
  ExpectReports(rest + rest + rest + "Done, Total recovery rate: 100.00%, Took time: HH:MM:SS.\n\n");
  const std::string records = "Info: cooling down\nInfo: return to work\n";
  ExpectLog("trd.reader", records + records + records);
  std::string order;
  for (const CALL& call : Calls()) {
    if (call.label == "source" && call.op == "read") order += 'r';
    if (call.label == "log" && call.op == "write") order += 'l';
  }
  // Two lines in front, and one behind.
  EXPECT_EQ(order, "llrllrllrlll");
}

struct PRIORITYCASE {
  const char* name;
  const char* option;
  std::optional<int> nice;  // none: that of whoever starts it
};

class PriorityTest : public LogTest, public ::testing::WithParamInterface<PRIORITYCASE> {};

// Of all threads that the tool has at the prompt.
std::set<int> NicesOfChild() {
  int child = 0;
  std::ifstream("/proc/self/task/" + std::to_string(gettid()) + "/children") >> child;
  std::set<int> nices;
  for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(child) + "/task"))
    nices.insert(getpriority(PRIO_PROCESS, static_cast<id_t>(std::stoi(task.path().filename()))));
  return nices;
}

TEST_P(PriorityTest, IsThatOfTheProcess) {
  const auto nice = GetParam().nice;
  if (nice && *nice < getpriority(PRIO_PROCESS, 0) && geteuid() != 0) GTEST_SKIP() << "not allowed here";
  WriteSource(8);
  std::set<int> nices;
  const auto look = [&](std::string_view screen) {
    if (screen.find("continue?") != std::string_view::npos) nices = NicesOfChild();
  };
  Run({GetParam().option, "-sector:512"}, {.onScreen = look});
  ExpectCompleteRun();
  EXPECT_EQ(nices, std::set<int>{nice.value_or(getpriority(PRIO_PROCESS, 0))});
}

const PRIORITYCASE priorities[] = {
    {"None", "-aligned", {}},
    {"Idle", "-priority:idle", 19},
    {"BelowNormal", "-priority: BelowNormal ", 5},
    {"Normal", "-priority:normal", 0},
    {"Nonsense", "-priority:fast", {}},
};
INSTANTIATE_TEST_SUITE_P(Rows, PriorityTest, ::testing::ValuesIn(priorities), rowName);

}  // namespace
}  // namespace TestSupport
