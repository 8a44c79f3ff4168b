// Pipes: their ends, the end of their data, readers that are gone, commands, signals on the way.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <qorv/file.h>

#include "file/temp_folder.h"
#include "support/failure.h"
#include "support/row_name.h"
#include "support/timer_signals.h"

namespace {

using namespace Qorv;
using TestSupport::FailureOf;
using TestSupport::Text;

std::string ReadAll(CPipe& pipe) {
  std::string all;
  char piece[4096];
  while (const std::size_t count = pipe.Read(piece, sizeof(piece)))
    all.append(piece, count);
  return all;
}

class Pipe : public testing::Test {
 protected:
  TestSupport::TempFolder folder_;
};

// More than a pipe holds, so that the writer waits for the reader.
TEST_F(Pipe, CarriesAllAndThenEnds) {
  const std::string sent(1'000'000, 'x');
  CPipe pipe;
  pipe.Create();
  std::thread writer([&] {
    pipe.Write(sent.data(), sent.size());
    pipe.CloseWriteEnd();
  });
  EXPECT_EQ(ReadAll(pipe).size(), sent.size());
  writer.join();
  EXPECT_EQ(pipe.Close(), 0);
  EXPECT_EQ(pipe.GetReadHandle(), -1);
}

TEST_F(Pipe, ReaderThatIsGoneIsAFailureAndNoSignal) {
  CPipe pipe;
  pipe.Create();
  pipe.CloseReadEnd();
  const std::string expected =
      "34: CPipe::Write - failed writing pipe\n@ CSysFile::Write - failed writing file\n  file path  = \n"
      "  error code = 32\n  error desc = error writing pipe, pipe has been broken";
  EXPECT_EQ(FailureOf<pipeExp>([&] { pipe.Write("x", 1); }), expected);
  EXPECT_EQ(FailureOf<pipeExp>([&] { pipe.Write("x", 1); }), expected);
  sigset_t pending;
  sigpending(&pending);
  EXPECT_FALSE(sigismember(&pending, SIGPIPE));
}

TEST_F(Pipe, NameIsMadeAndBothSidesMeetThere) {
  const stringEx path = Text(folder_.Path("pipe"));
  std::thread writer([&] {
    CPipe pipe;
    pipe.Open(path, O_WRONLY);
    pipe.Write("by name", 7);
  });
  CPipe pipe;
  pipe.Open(path.to_wide(), O_RDONLY);
  EXPECT_EQ(ReadAll(pipe), "by name");
  writer.join();
  CPipe both;
  both.Open(path, O_RDWR);
  both.Write("x", 1);
  char byte = 0;
  EXPECT_EQ(both.Read(&byte, 1), 1u);
}

struct RefusedNameRow {
  const char* name;
  const char* path;
  int access;
  const char* expected;
};

class RefusedNames : public Pipe, public testing::WithParamInterface<RefusedNameRow> {};

TEST_P(RefusedNames, AreTold) {
  folder_.Make("file", "content");
  mkfifo(folder_.Path("pipe").c_str(), 0666);
  const stringEx path = Text(folder_.Path(GetParam().path));
  EXPECT_EQ(FailureOf<pipeExp>([&] { CPipe().Open(path, GetParam().access); }),
            folder_.Fill(std::string("4: CPipe::Open - failed open named pipe\n") + GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedNames,
    testing::Values(RefusedNameRow{"AFile", "file", O_RDONLY,
                                   "  file path  = {}/file\n  error code = 17\n"
                                   "  error desc = the path is taken, and not by a pipe"},
                    RefusedNameRow{"NoFolder", "none/pipe", O_RDONLY,
                                   "  file path  = {}/none/pipe\n  error code = 2\n"
                                   "  error desc = path prefix not exists"},
                    RefusedNameRow{"NobodyReads", "pipe", O_WRONLY | O_NONBLOCK,
                                   "@ CSysFile/PosixOpenFile - failed open specified file\n"
                                   "  file path  = {}/pipe\n  error code = 6\n"
                                   "  error desc = the device associated with this special file does not "
                                   "exist, or fifo opened without reading peer"}),
    rowName);

TEST_F(Pipe, CommandsAreReadAndFed) {
  CPipe reads;
  reads.Run(Text("printf 'out of %s' it; exit 3"));
  EXPECT_EQ(ReadAll(reads), "out of it");
  const int status = reads.Close();
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 3);

  CPipe feeds;
  feeds.Run(Text("cat > " + folder_.Path("fed")), true);
  feeds.Write("into it", 7);
  feeds.Close();
  EXPECT_EQ(folder_.Content("fed"), "into it");

  CPipe killed;
  killed.Run(Text("kill -9 $$"));
  EXPECT_TRUE(WIFSIGNALED(killed.Close()));
}

TEST_F(Pipe, CommandsIgnoreNoSignals) {
  const auto before = ::signal(SIGPIPE, SIG_IGN);
  CPipe command;
  command.Run(Text("kill -PIPE $$; echo alive"));
  EXPECT_EQ(ReadAll(command), "");
  const int status = command.Close();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGPIPE);
  ::signal(SIGPIPE, before);
}

// A command gets nothing but its end: another pipe's reader would otherwise never meet its end.
TEST_F(Pipe, CommandHoldsNoOtherEnd) {
  CPipe other;
  other.Create();
  CPipe sleeper;
  sleeper.Run(Text("read line"), true);
  other.CloseWriteEnd();
  EXPECT_EQ(ReadAll(other), "");
  sleeper.Close();
}

// Each of these waits until somebody else acts.
TEST_F(Pipe, SignalsBreakNothingOff) {
  const stringEx path = Text(folder_.Path("pipe"));
  const std::string sent(200'000, 'x');  // more than a pipe holds
  const TestSupport::TimerSignals signals;
  {
    CPipe reader;
    CPipe writer;
    const TestSupport::Later later([&] { writer.Open(path, O_WRONLY); });
    reader.Open(path, O_RDONLY);
  }
  {
    CPipe pipe;
    pipe.Create();
    const TestSupport::Later later([&] {
      pipe.Write("late", 4);
      pipe.CloseWriteEnd();
    });
    EXPECT_EQ(ReadAll(pipe), "late");
  }
  {
    CPipe pipe;
    pipe.Create();
    std::string got(sent.size(), ' ');
    const TestSupport::Later later([&] {
      for (std::size_t at = 0; at < got.size();)
        at += pipe.Read(got.data() + at, got.size() - at);
    });
    pipe.Write(sent.data(), sent.size());
  }
  {
    CPipe pipe;
    pipe.Run(Text("sleep 0.1; echo late"));
    EXPECT_EQ(ReadAll(pipe), "late\n");
    EXPECT_EQ(pipe.Close(), 0);
    pipe.Run(Text("sleep 0.1"));
    EXPECT_EQ(pipe.Close(), 0) << "it waits for the command";
  }
  EXPECT_GT(signals.Count(), 50);
}

TEST_F(Pipe, ClosedOneServesNothing) {
  CPipe pipe;
  char byte = 0;
  EXPECT_EQ(FailureOf<pipeExp>([&] { pipe.Read(&byte, 1); }),
            "3: CPipe::Read - failed reading pipe\n@ CSysFile::Read - failed reading file\n"
            "  file path  = \n  error code = 9\n  error desc = invalid file descriptor");
  EXPECT_EQ(pipe.Close(), 0);
}

}  // namespace
