// What a process tells of itself and of its machine.
#include <gtest/gtest.h>

#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include <qorv/process.h>

#include "support/failure.h"
#include "support/refusal.h"
#include "support/row_name.h"

REFUSABLE_BY_ERRNO(sched_setscheduler, (pid_t pid, int policy, const sched_param* p), (pid, policy, p))

namespace {

using Qorv::CPlatform;
using Qorv::CProcess;
using Qorv::stringEx;

struct NiceRow {
  const char* name;
  std::uint32_t number;
  int nice;
};

const NiceRow niceRows[] = {{"Idle", 0, 19},        {"Low", 1, 10},   {"BelowNormal", 2, 5}, {"Normal", 3, 0},
                            {"AboveNormal", 4, -5}, {"High", 5, -10}, {"Realtime", 6, -20}};

class Priority : public testing::TestWithParam<NiceRow> {};

// The status of `step` in a child, whose priority nobody needs any more.
template <class Step>
int InChild(Step step) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(step() ? 0 : 1);
  int status = 0;
  ::waitpid(child, &status, 0);
  return status;
}

TEST_P(Priority, SetsTheNiceValue) {
  const int nice = GetParam().nice;
  if (InChild([=] { return ::setpriority(PRIO_PROCESS, 0, nice) == 0; }) != 0)
    GTEST_SKIP() << "not allowed here";
  EXPECT_EQ(InChild([=] {
              return CProcess().SetPriority(GetParam().number) == 0 && ::getpriority(PRIO_PROCESS, 0) == nice;
            }),
            0);
}

INSTANTIATE_TEST_SUITE_P(Process, Priority, testing::ValuesIn(niceRows), rowName);

TEST(Process, PriorityThatIsNoneChangesNothing) {
  EXPECT_EQ(CProcess().SetPriority(7), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST(Process, RefusedSchedulingIsTold) {
  TestSupport::Refuse("sched_setscheduler", EPERM);
  EXPECT_EQ(TestSupport::FailureOf<Qorv::procExp>([] { CProcess().SetPriority(3); }),
            "0: CProcess/SetSchedParam - failed set process' sched param\n  process id = " +
                std::to_string(::getpid()) + "\n  sched type = " + std::to_string(::sched_getscheduler(0)) +
                "\n  error code = 1\n  error desc = unexpect system error: Operation not permitted");
}

struct LineRow {
  const char* name;
  std::vector<std::string> arguments;
  std::string line;
};

const LineRow lineRows[] = {
    {"Alone", {"one word"}, "one word"},
    {"Plain", {"tool", "-a:1", "b"}, "tool -a:1 b"},
    {"WithSpace", {"tool", "a b", "c\td", "e\nf", "g"}, "tool \"a b\" \"c\td\" \"e\nf\" g"},
    {"EmptyInTheMiddle", {"tool", "", "x"}, "tool  x"},
    {"EmptyAtTheEnd", {"tool", "x", "", ""}, "tool x"},
    {"Long", {"tool", std::string(3000, 'x')}, "tool " + std::string(3000, 'x')},
};

class CommandLine : public testing::TestWithParam<LineRow> {};

TEST_P(CommandLine, IsJoined) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(ends[1], STDOUT_FILENO);
    std::vector<char*> texts;
    for (const std::string& argument : GetParam().arguments)
      texts.push_back(const_cast<char*>(argument.c_str()));
    texts.push_back(nullptr);
    ::execv(QORV_LINE_CHILD, texts.data());
    ::_exit(99);
  }
  ::close(ends[1]);
  std::string line;
  char chunk[512];
  for (ssize_t count = 0; (count = ::read(ends[0], chunk, sizeof(chunk))) > 0;)
    line.append(chunk, static_cast<std::size_t>(count));
  ::close(ends[0]);
  ::waitpid(child, nullptr, 0);
  EXPECT_EQ(line, GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(Process, CommandLine, testing::ValuesIn(lineRows), rowName);

TEST(Platform, ReportHasAllItsLines) {
  const stringEx text = CPlatform::Report();
  const char* const shape =
      "\\APlatform information:\n"
      "  -{40}\n"
      "  Type of OS = UNIX like \\(POSIX\\)\n"
      "  OS product = (Linux|FreeBSD)\n"
      "  OS version = \\d+\\.\\d+\n"
      "  SP version = \\d+\\.\\d+\n"
      "  Page size  = [1-9]\\d+ bytes\n"
      "  Uptime     = \\d+ Days \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\n"
      "  -{40}\n"
      "  Processor type    = [a-z0-9]+\n"
      "  System width      = (32|64) bits\n"
      "  Target width      = (32|64) bits\n"
      "  Actual byte-order = (LE|BE)\n"
      "  Multi-processor   = (true|false)\n"
      "  -{40}\n"
      "  Compiler info = (GCC|CLANG)\\[[^\\]]+; (GCC|LLVM)STL; \\]; \n"
      "  Build options = (REL; )?MBCS; REGEX; LPKIDX; BYTESZ=8; WCHAR; WCHARSZ=\\d; TRD; PROC; AIO; (LE; "
      ")?TIT; "
      "TPS; TEI; VRD; NLL; ATM(-ASM|32-GCC|64-GCC); \n"
      "  -{40}\\Z";
  std::vector<Qorv::RANGE> found;
  EXPECT_EQ(text.regex_search(shape, found), 1U) << text.data();
}

TEST(Platform, CodesThatAreNoneAreUnknown) {
  EXPECT_STREQ(CPlatform::FamilyName(3), "<Unknown>");
  EXPECT_STREQ(CPlatform::ProductName(0x10000003), "<Unknown>");
  EXPECT_STREQ(CPlatform::EditionName(0), "<Unknown>");
  EXPECT_STREQ(CPlatform::ProcessorName(9), "<Unknown>");
  EXPECT_STREQ(CPlatform::ProductName(0x20000080), "SCO UNIX (SCO OpenServer / UnixWare)");
}

}  // namespace
