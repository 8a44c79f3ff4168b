// Sources and targets that cannot be had, and values that make no sense: each ends with a word and a status,
// none with a crash or a hang, and a target from before never gets shorter.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "support/dump_fixture.h"

namespace fs = std::filesystem;

namespace TestSupport {
namespace {

const std::string noEntry = "file dose not exists or can't be created";
const std::string denied = "permission denied or confilct flags compination";

std::string Fatal(const std::string& text) {
  return "## [FATAL ERROR]: " + text + "\n";
}

class BadInputTest : public DumpTest {
 protected:
  static constexpr std::int64_t oldSize = 100000;

  BadInputTest() {
    WriteSource(64);
    WriteOldTarget(oldSize, 'o');
  }

  void ExpectFatal(const std::string& errors) const {
    ExpectStatus(255);
    ExpectErrors(errors);
    ExpectTargetBytes(0, oldSize, 'o');
    ExpectTargetSize(oldSize);
  }
};

// Sources. What is wrong shows before the prompt.

TEST_F(BadInputTest, MissingSource) {
  Run({"-from:" + Source() + "%s%n"}, {.splitErrors = true});
  ExpectFatal(Fatal(OpenFailure(Source() + "%s%n", ENOENT, noEntry)));
}

TEST_F(BadInputTest, SourceIsAPipeThatNobodyFeeds) {
  const std::string pipe = Folder() / "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0666), 0);
  Run({"-from:" + pipe}, {.splitErrors = true});
  ExpectFatal(Fatal("CSysFile::GetSize - failed retrive file size\n  file path = " + pipe +
                    "\n@ CSysFile/PosixSeekFile - error seek file pointer\n  sys error  = 29\n"
                    "  error desc = the fildes argument is associated with a pipe, fifo, or socket"));
}

TEST_F(BadInputTest, SourceWithoutAName) {
  Run({"-from:"}, {.splitErrors = true});
  ExpectFatal(
      Fatal("CSysFile::Open - failed determine the file path to open\n  file name  = \n"
            "@ CDir::ConvToFullPath - nothing to convert"));
}

TEST_F(BadInputTest, SourceBelowAFile) {
  Run({"-from:" + Source() + "/x"}, {.splitErrors = true});
  ExpectFatal(Fatal(OpenFailure(Source() + "/x", ENOTDIR, "path is not a directory")));
}

TEST_F(BadInputTest, SourceInALoopOfLinks) {
  fs::create_symlink("loop", Folder() / "loop");
  Run({"-from:" + (Folder() / "loop").string()}, {.splitErrors = true});
  ExpectFatal(Fatal(
      OpenFailure(Folder() / "loop", ELOOP, "a loop exists in symbolic links, or too many level of links")));
}

TEST_F(BadInputTest, SourceIsAFolder) {
  Run({"-from:" + Folder().string()}, {.splitErrors = true});
  ExpectFatal(Fatal(ReadFailure(Folder(), EISDIR, "the file refers to a directory")));
}

TEST_F(BadInputTest, SourceCannotSeek) {
  Run({"-from:/dev/tty"}, {.splitErrors = true});
  ExpectFatal(
      Fatal("CSysFile::GetSize - failed retrive file size\n  file path = /dev/tty\n"
            "@ CSysFile/PosixSeekFile - error seek file pointer\n  sys error  = 29\n"
            "  error desc = the fildes argument is associated with a pipe, fifo, or socket"));
}

TEST_F(BadInputTest, SourceMayNotBeRead) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to become another user";
  fs::permissions(Source(), fs::perms::none);
  Run({}, {.splitErrors = true, .unprivileged = true});
  ExpectFatal(Fatal(OpenFailure(Source(), EACCES, denied)));
}

TEST_F(BadInputTest, SourceGoesAwayAtThePrompt) {
  // the second open, with and without direct access
  SourceFault("fail open 2 2 ENXIO");
  Run({}, {.splitErrors = true});
  ExpectFatal("\n" +
              Fatal(OpenFailure(Source(), ENXIO,
                                "the device associated with this special file does not exist, or fifo opened "
                                "without reading peer")));
}

// Sources that are strange, but no failure. An empty one counts as one sector long.

TEST_F(BadInputTest, EmptySource) {
  WriteSource(0);
  Run({"-sector:512"});
  ExpectStatus(0);
  ExpectReports("Done, Total recovery rate: 0.00%, Took time: HH:MM:SS.\n\n");
  ExpectTargetBytes(0, oldSize, 'o');
}

TEST_F(BadInputTest, SourceOfOneByte) {
  WriteSourceBytes(1);
  Run({"-sector:512"});
  ExpectReports("Done, Total recovery rate: 100.00%, Took time: HH:MM:SS.\n\n");
  ExpectCopied(0, 0, 1);
  ExpectTargetBytes(1, oldSize - 1, 'o');
}

TEST_F(BadInputTest, SourceIsAnEmptyDevice) {
  Run({"-from:/dev/null"});
  ExpectStatus(0);
  ExpectScreenHas("  sector size  = 512 bytes\n");
  ExpectReports("Done, Total recovery rate: 0.00%, Took time: HH:MM:SS.\n\n");
}

// A device without an end has no size either: it counts as one sector, and the one block is read in full.
TEST_F(BadInputTest, SourceIsADeviceWithoutEnd) {
  Run({"-from:/dev/zero", "-block:64k"});
  ExpectStatus(0);
  ExpectReports("Done, Total recovery rate: 12800.00%, Took time: HH:MM:SS.\n\n");
  ExpectTargetBytes(0, 65536, 0);
  ExpectTargetBytes(65536, oldSize - 65536, 'o');
}

// Targets. They are opened behind the prompt.

TEST_F(BadInputTest, TargetFolderIsMissing) {
  const std::string path = Folder() / "none" / "target";
  Run({"-to:" + path}, {.splitErrors = true});
  ExpectFatal("\n" + Fatal(OpenFailure(path, ENOENT, noEntry)));
}

TEST_F(BadInputTest, TargetIsAFolder) {
  Run({"-to:" + Folder().string()}, {.splitErrors = true});
  ExpectFatal("\n" + Fatal(OpenFailure(Folder(), EISDIR,
                                       "the file is a directory and write permission is specified")));
}

TEST_F(BadInputTest, TargetMayNotBeWritten) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to become another user";
  fs::permissions(Target(), fs::perms(0444));
  Run({}, {.splitErrors = true, .unprivileged = true});
  ExpectFatal("\n" + Fatal(OpenFailure(Target(), EACCES, denied)));
}

TEST_F(BadInputTest, TargetIsLockedByAnother) {
  const int lock = open(Target().c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  Run({}, {.splitErrors = true});
  ExpectFatal(
      "\n" + Fatal("CSysFile/SetShareMode - failed set file sharing mode\n  file path    = " + Target() +
                   "\n  sharing mode = shared\n  error code   = 11\n  error desc   = sharing mode conflict"));
  ASSERT_EQ(flock(lock, LOCK_SH), 0);
  Run({});
  ExpectStatus(0);
  ExpectCopied(0, 0, SourceSize());
  close(lock);
}

TEST_F(BadInputTest, TargetIsFull) {
  Run({"-to:/dev/full"});
  ExpectStatus(255);
  ExpectReports("## [FATAL ERROR] (writing thread): " +
                WriteFailure("/dev/full", ENOSPC,
                             "there was no free space remaining on the device containing the file") +
                "\n");
}

TEST_F(BadInputTest, TargetFillsUp) {
  TargetFault("full 8192");
  Run({"-sector:512", "-block:4k"});
  ExpectStatus(255);
  ExpectReports(
      "## [FATAL ERROR] (writing thread): " +
      WriteFailure(Target(), ENOSPC, "there was no free space remaining on the device containing the file") +
      "\n");
  ExpectCopied(0, 0, 8192);
  ExpectTargetSize(oldSize);
}

TEST_F(BadInputTest, TargetRefusesToSeek) {
  TargetFault("fail seek 1 EINVAL");
  Run({"-sector:512", "-block:4k", "-secrange:8", "-aligned"});
  ExpectStatus(255);
  ExpectReports(
      "## [FATAL ERROR] (writing thread): CSysFile::SeekBegin - failed seeking in file\n  file path = " +
      Target() +
      "\n@ CSysFile/PosixSeekFile - error seek file pointer\n  sys error  = 22\n  error desc = invalide "
      "argument, or the resulting file offset would be negative for the file\n");
  ExpectTargetBytes(0, oldSize, 'o');
}

// Values. Whatever they are, the run ends by itself and what it did not mean to write stays.

struct VALUECASE {
  const char* name;
  std::vector<std::string> arguments;
  std::string ending;  // of the screen
  int status = 0;
};

class BadValueTest : public BadInputTest, public ::testing::WithParamInterface<VALUECASE> {};

TEST_P(BadValueTest, EndsInOrder) {
  const VALUECASE& row = GetParam();
  Run(row.arguments);
  ExpectStatus(row.status);
  EXPECT_TRUE(Screen().ends_with(row.ending)) << Screen();
  ExpectTargetSize(oldSize);
  if (row.status != 0) ExpectTargetBytes(0, oldSize, 'o');
}

const std::string complete = "\nDone, Total recovery rate: 100.00%, Took time: HH:MM:SS.\n\n";
const std::string nothing = "\nDone, Total recovery rate: 0.00%, Took time: HH:MM:SS.\n\n";
const std::string noMemory = "\n## [FATAL ERROR] (reading thread): std::bad_alloc\n";

const VALUECASE valueCases[] = {
    {"SectorOfNoNumber", {"-sector:abc"}, complete},
    {"SectorAboveTheDefaultBlock", {"-sector:2m"}, complete},
    {"SectorAboveTheDefaultBlockAndQueue", {"-sector:2m", "-maxbuf:1m"}, complete},
    {"SectorBelowZero", {"-sector:-1"}, noMemory, 255},
    {"SectorBelowZeroWithRanges", {"-sector:-1", "-perrange:0-50"}, noMemory, 255},
    {"BlockBeyondAllMemory", {"-sector:512", "-block:99999999999m"}, noMemory, 255},
    {"BlockBelowZero", {"-sector:512", "-block:-1"}, noMemory, 255},
    {"SectorAndBlockBeyondAllMemory", {"-sector:99999999999m", "-block:99999999999m"}, noMemory, 255},
    {"QueueBelowZero", {"-sector:512", "-maxbuf:-1"}, complete},
    {"QueueOfNothing", {"-sector:512", "-maxbuf:"}, complete},
    {"RangeReversed", {"-sector:512", "-secrange:20-10"}, nothing},
    {"RangeBeyondTheEnd", {"-sector:512", "-secrange:100-200"}, nothing},
    {"RangeFromTheEnd", {"-sector:512", "-secrange:64-128"}, nothing},
    {"RangeBelowZero", {"-sector:512", "-secrange:--5"}, complete},
    {"RangeToBeyondAllNumbers", {"-sector:512", "-secrange:-9223372036854775807"}, complete},
    {"RangeOfManyDigits", {"-sector:512", "-secrange:0-99999999999999999999999999"}, complete},
    {"PercentReversed", {"-sector:512", "-perrange:75-25"}, nothing},
    {"PercentBeyondTheEnd", {"-sector:512", "-perrange:100-300"}, nothing},
    {"PercentOfNoNumber", {"-sector:512", "-perrange:abc-xyz"}, complete},
    {"DirectivesInSector", {"-sector:%s%n%d%s%s%s"}, complete},
    {"DirectivesInBlock", {"-sector:512", "-block:%n%s%99999999d%*d"}, complete},
    {"DirectivesInQueue", {"-sector:512", "-maxbuf:%s%s%s%s%n%-"}, complete},
    {"DirectivesInTheRest",
     {"-sector:512", "-retry:%n", "-fill:%s", "-secrange:%n-%s", "-cooldown:%s/%n"},
     complete},
};
INSTANTIATE_TEST_SUITE_P(Rows, BadValueTest, ::testing::ValuesIn(valueCases), rowName);

// Whether a position of that size can be sought is up to the file system.
TEST_F(BadInputTest, RangeFromBeyondAllNumbers) {
  for (const char* range : {"-secrange:9223372036854775807", "-perrange:1e300"}) {
    Run({"-sector:512", range});
    const std::string refused = "negative for the file\n";
    EXPECT_TRUE(Screen().ends_with(Result().status == 0 ? nothing : refused)) << Screen();
    ExpectTargetBytes(0, oldSize, 'o');
  }
}

TEST_F(BadInputTest, DirectivesInPathsAreText) {
  const std::string path = Folder() / "%n%s %d";
  Run({"-to:" + path, "-sector:512"});
  ExpectStatus(0);
  ExpectScreenHas("  to           = '" + path + "'\n");
  EXPECT_EQ(fs::file_size(path), SourceSize());
}

}  // namespace
}  // namespace TestSupport
