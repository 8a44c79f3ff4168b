// The default log of the process, and how a process ends with it.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <limits>
#include <string>

#include "log/recorder.h"
#include "support/memory.h"

namespace {

using Qorv::CLog;
using Qorv::LogHandle;
using Qorv::MakeHandle;
using Qorv::operator""_sv;
using namespace TestLog;
using TestSupport::Allocations;

TEST(DefaultLog, WithoutOneAllIsQuiet) {
  CLog::SetLevel(0);
  CLog::Mute();
  CLog::Unmute();
  CLog::GFatal("c"_sv, "m"_sv);
  CLog::GFlush();
  const long before = Allocations();
  CLog::GFatal("channel that takes memory", "%s", "and a message");
  EXPECT_EQ(Allocations(), before);
  EXPECT_FALSE(CLog::GetDefault());
  EXPECT_EQ(CLog::GetLevel(), 6);
  for (const std::int32_t level : {0, 5, 6, std::numeric_limits<std::int32_t>::max()})
    EXPECT_FALSE(CLog::IsLevelEnabled(level)) << level;
}

TEST(DefaultLog, GoesWhenItIsReplacedAndIsDrainedBefore) {
  CJournal journal;
  const LogHandle second = MakeHandle<CLog>(3, 100U);
  {
    const LogHandle first = MakeHandle<CLog>(0, 100U);
    first->PushLogger(MakeHandle<CRecorder>(journal));
    first->EnableThread(true, 100);
    CLog::SetDefault(first);
  }
  for (int i = 0; i < 3; ++i)
    CLog::GInfo("c", "%d", i);
  CLog::SetDefault(CLog::GetDefault());
  CLog::SetDefault(second);
  const CAsDefault asDefault(second);
  EXPECT_EQ(journal.Get(), (Lines{"1 c: 0", "1 c: 1", "1 c: 2", "thread end", "flush", "gone"}));
  EXPECT_TRUE(CLog::GetDefault() == second);
  EXPECT_EQ(CLog::GetLevel(), 3);
}

TEST(DefaultLog, MuteAndUnmute) {
  CJournal journal;
  const LogHandle log = MakeHandle<CLog>(2, 100U);
  log->PushLogger(MakeHandle<CRecorder>(journal));
  const CAsDefault asDefault(log);
  CLog::Mute();
  CLog::GFatal("c", "muted");
  EXPECT_EQ(CLog::GetLevel(), 6);
  CLog::Unmute();
  EXPECT_EQ(CLog::GetLevel(), 2);
  CLog::Mute();
  CLog::Mute();
  CLog::Unmute();  // back to what the second call found
  EXPECT_EQ(CLog::GetLevel(), 6);
  CLog::SetLevel(1);
  CLog::GInfo("c", "heard");
  log->Debug("c", "below");
  EXPECT_EQ(journal.Get(), (Lines{"1 c: heard"}));
}

// Ends of processes. What the log said is on standard error.

class CToErrors : public Qorv::ILogger {
 public:
  void Log(Qorv::CTime, std::int32_t level, const Qorv::stringEx& channel,
           const Qorv::stringEx& message) override {
    const std::string line = std::to_string(level) + " " + channel.data() + ": " + message.data() + "|";
    [[maybe_unused]] const auto written = ::write(2, line.data(), line.size());
  }
  void Flush() override { [[maybe_unused]] const auto written = ::write(2, "flush|", 6); }
};

void SetUpDefault(std::int32_t level, bool isThreaded) {
  const LogHandle log = MakeHandle<CLog>(level, 100U);
  log->PushLogger(MakeHandle<CToErrors>());
  log->EnableThread(isThreaded, 100);
  CLog::SetDefault(log);
}

class EndDeathTest : public testing::TestWithParam<bool> {
 protected:
  EndDeathTest() { testing::GTEST_FLAG(death_test_style) = "threadsafe"; }
};

TEST_P(EndDeathTest, ExitDeliversAndFlushes) {
  EXPECT_EXIT(
      {
        SetUpDefault(0, GetParam());
        for (int i = 0; i < 3; ++i)
          CLog::GInfo("c", "%d", i);
        std::exit(3);
      },
      testing::ExitedWithCode(3), testing::Eq(std::string("1 c: 0|1 c: 1|1 c: 2|flush|")));
}

[[noreturn]] void FailCheck() {
  std::atexit([] { [[maybe_unused]] const auto written = ::write(2, "exit handler|", 13); });
  CLog::ReportAssertion("a == b", "some_file.cpp", 4711, "they differ", "Jan  1 2020", "12:34:56",
                        "Wed Jan  1 12:00:00 2020");
}

TEST_P(EndDeathTest, FailedCheckIsReportedWithoutExitHandlers) {
  EXPECT_EXIT(
      {
        SetUpDefault(5, GetParam());
        FailCheck();
      },
      testing::ExitedWithCode(255),
      testing::Eq(std::string("5 debugger: debug checking failure\n"
                              "  expression    = \"a == b\"\n"
                              "  description   = \"they differ\"\n"
                              "  file name     = \"some_file.cpp\"\n"
                              "  line number   = \"4711\"\n"
                              "  last compiled = \"Jan  1 2020 12:34:56\"\n"
                              "  last modified = \"Wed Jan  1 12:00:00 2020\"|flush|flush|")));
}

TEST_P(EndDeathTest, FailedCheckWithLogDisabledOnlyEnds) {
  EXPECT_EXIT(
      {
        SetUpDefault(6, GetParam());
        FailCheck();
      },
      testing::ExitedWithCode(255), testing::Eq(std::string("flush|")));
}

INSTANTIATE_TEST_SUITE_P(DefaultLog, EndDeathTest, testing::Bool(),
                         [](const auto& test) { return test.param ? "Threaded" : "Synchronous"; });

TEST(DefaultLogDeathTest, UnmuteWithoutMuteGivesLevelZero) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(
      {
        SetUpDefault(5, false);
        CLog::Unmute();
        CLog::GDebug("c", "m");
        ::_exit(CLog::GetLevel());
      },
      testing::ExitedWithCode(0), testing::Eq(std::string("0 c: m|")));
}

}  // namespace
