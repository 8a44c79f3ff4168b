// What a log takes, in which words, and to whom it goes: in synchronous mode, and where it makes no difference in both.
#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <string>

#include "log/recorder.h"
#include "support/actor.h"
#include "support/failure.h"
#include "support/memory.h"
#include "support/row_name.h"

namespace {

using Qorv::CLog;
using Qorv::LoggerHandle;
using Qorv::MakeHandle;
using Qorv::stringEx;
using Qorv::operator""_sv;
using namespace TestLog;
using TestSupport::Allocations;
using TestSupport::CMemoryIsOut;
using TestSupport::FailureOf;

struct LevelRow {
  const char* name;
  std::int32_t current;
  std::int32_t record;
  bool passes;
};

class Level : public testing::TestWithParam<LevelRow> {};

TEST_P(Level, DecidesInAllForms) {
  const LevelRow& row = GetParam();
  CJournal journal;
  const Qorv::LogHandle log = MakeHandle<CLog>(row.current, 100U);
  log->PushLogger(MakeHandle<CRecorder>(journal));
  const CAsDefault asDefault(log);
  log->Write(row.record, "c"_sv, "m"_sv);
  log->Write(row.record, "c", "%c", 'm');
  CLog::GWrite(row.record, "c"_sv, "m"_sv);
  CLog::GWrite(row.record, "c", "%c", 'm');
  Lines expected;
  for (int form = 0; row.passes && form < 4; ++form) {
    expected.push_back(std::to_string(row.record) + " c: m");
    if (row.record == Qorv::logLevel::fatal) expected.emplace_back("flush");
  }
  EXPECT_EQ(journal.Get(), expected);
  EXPECT_EQ(CLog::IsLevelEnabled(row.record), row.passes);
}

INSTANTIATE_TEST_SUITE_P(Log, Level,
                         testing::Values(LevelRow{"Below", 1, 0, false}, LevelRow{"Equal", 1, 1, true},
                                         LevelRow{"NoticeAboveError", 3, 4, true},
                                         LevelRow{"ErrorBelowNotice", 4, 3, false},
                                         LevelRow{"NoticeBelowFatal", 5, 4, false},
                                         LevelRow{"Fatal", 5, 5, true}, LevelRow{"Disabled", 6, 5, false},
                                         LevelRow{"NoLevel", 6, 99, true},
                                         LevelRow{"BelowAll", -1, -1, true}),
                         rowName);

TEST(Log, NamedCallsHaveTheirLevels) {
  LOGGROUND ground;
  CJournal journal;
  const Qorv::LogHandle log = MakeHandle<CLog>(0, 100U);
  log->PushLogger(ground.recorder);
  const CAsDefault asDefault(log);
  const stringEx c("c"), m("m");
  log->Debug(c, m), log->Info(c, m), log->Warning(c, m), log->Error(c, m), log->Notice(c, m),
      log->Fatal(c, m);
  log->Debug("c", "%s", "m"), log->Info("c", "%s", "m"), log->Warning("c", "%s", "m");
  log->Error("c", "%s", "m"), log->Notice("c", "%s", "m"), log->Fatal("c", "%s", "m");
  CLog::GDebug(c, m), CLog::GInfo(c, m), CLog::GWarning(c, m);
  CLog::GError(c, m), CLog::GNotice(c, m), CLog::GFatal(c, m);
  CLog::GDebug("c", "%s", "m"), CLog::GInfo("c", "%s", "m"), CLog::GWarning("c", "%s", "m");
  CLog::GError("c", "%s", "m"), CLog::GNotice("c", "%s", "m"), CLog::GFatal("c", "%s", "m");
  Lines expected;
  for (int form = 0; form < 4; ++form)
    for (const char* line : {"0 c: m", "1 c: m", "2 c: m", "3 c: m", "4 c: m", "5 c: m", "flush"})
      expected.emplace_back(line);
  EXPECT_EQ(ground.journal.Get(), expected);
}

struct CutRow {
  const char* name;
  std::uint32_t limit;
  std::size_t length;
  std::size_t kept;
};

class Cut : public testing::TestWithParam<CutRow> {};

TEST_P(Cut, AtTheLimit) {
  const CutRow& row = GetParam();
  LOGGROUND ground(0, row.limit);
  const std::string text(row.length, 'x');
  ground.log.Info("c", "%s", text.c_str());
  ground.log.Info("c"_sv, stringEx(text.c_str()));  // only what is formatted is cut
  EXPECT_EQ(ground.journal.Get(), (Lines{"1 c: " + text.substr(0, row.kept), "1 c: " + text}));
}

INSTANTIATE_TEST_SUITE_P(Log, Cut,
                         testing::Values(CutRow{"Empty", 4096, 0, 0}, CutRow{"Short", 4096, 4095, 4095},
                                         CutRow{"Exact", 4096, 4096, 4096},
                                         CutRow{"OneBeyond", 4096, 4097, 4096},
                                         CutRow{"Far", 4096, 5000, 4096}, CutRow{"SmallLimit", 3, 4, 3},
                                         CutRow{"NoneAtAll", 0, 4, 0}),
                         rowName);

TEST(Log, TextThatCannotBeFormattedIsEmpty) {
  LOGGROUND ground;
  ground.log.Info("c", "%lc", static_cast<std::wint_t>(0x110000));
  EXPECT_EQ(ground.journal.Get(), (Lines{"1 c: "}));
}

TEST(Log, DropComesBeforeFilterFormatAndFlush) {
  CJournal journal;
  CLog log(0, 4096);
  log.SetFilter(MakeHandle<CVeto>(journal));
  const long before = Allocations();
  log.Fatal("channel that takes memory", "%s", "and a message");
  log.Debug("channel that takes memory", "%s", "and a message");
  EXPECT_EQ(Allocations(), before);
  EXPECT_EQ(journal.Get(), Lines{});
}

TEST(Log, WrongUseOfTheStackThrowsAndLeavesTheLockFree) {
  CLog log(0, 100);
  EXPECT_EQ(FailureOf<Qorv::logExp>([&] { log.PushLogger({}); }),
            "5: CLog::PushLogger - invalid logger handle");
  EXPECT_EQ(FailureOf<Qorv::logExp>([&] { log.PopLogger(); }), "1: CLog::PopLogger - nothing to pop");
  TestSupport::CActor other;
  other.Do([&] { EXPECT_FALSE(log.HasLoggers()); });
}

TEST(Log, StackServesOldestFirst) {
  CJournal journal;
  CLog log(0, 100);
  const LoggerHandle a = MakeHandle<CRecorder>(journal, "a "), b = MakeHandle<CRecorder>(journal, "b "),
                     c = MakeHandle<CRecorder>(journal, "c ");
  const auto log1 = [&] { log.Info("x"_sv, "m"_sv); };
  for (const LoggerHandle& logger : {a, b, a, c})
    log.PushLogger(logger);
  log1();
  EXPECT_TRUE(log.RemoveLogger(a));  // the first of the two
  EXPECT_TRUE(log.FindLogger(a));
  EXPECT_TRUE(log.PopLogger() == c);
  EXPECT_FALSE(log.RemoveLogger(c));
  log1();
  std::vector<LoggerHandle> kept;
  log.GetLoggers(kept);
  log.SetLoggers({c});
  log1();
  log.SetLoggers(kept);
  log1();
  EXPECT_EQ(log.LoggerCount(), 2U);
  log.SetLoggers({});
  log1();
  EXPECT_EQ(journal.Get(), (Lines{"a 1 x: m", "b 1 x: m", "a 1 x: m", "c 1 x: m",  //
                                  "b 1 x: m", "a 1 x: m", "c 1 x: m", "b 1 x: m", "a 1 x: m"}));
}

// Whether there is a logging thread.
class Mode : public testing::TestWithParam<bool> {};

TEST(Log, StackTakesNoEmptyHandle) {
  LOGGROUND ground;
  EXPECT_EQ("5: CLog::SetLoggers - invalid logger handle", TestSupport::FailureOf<Qorv::logExp>([&] {
              ground.log.SetLoggers({ground.recorder, {}});
            }));
  EXPECT_EQ(ground.log.LoggerCount(), 1U);
}

TEST_P(Mode, LoggerThatThrowsAlwaysCostsNobodyElse) {
  LOGGROUND ground;
  const auto bad = MakeHandle<CRecorder>(ground.journal, "bad ");
  bad->onLog = bad->onFlush = [] { throw std::runtime_error("on purpose"); };
  ground.log.SetLoggers({bad, ground.recorder});
  ground.log.EnableThread(GetParam(), 10);
  ground.log.Info("c"_sv, "m"_sv);
  ground.log.Fatal("c"_sv, "m"_sv);
  EXPECT_EQ(ground.journal.Get(), (Lines{"1 c: m", "5 c: m", "flush"}));
}

TEST_P(Mode, FilterStopsARecordAndItsFlush) {
  LOGGROUND ground;
  const auto filter = MakeHandle<CVeto>(ground.journal);
  ground.log.SetFilter(filter);
  EXPECT_TRUE(ground.log.GetFilter() == Qorv::LogFilterHandle(filter));
  ground.log.EnableThread(GetParam(), 10);
  ground.log.Info("c"_sv, "go"_sv);
  ground.log.Info("c"_sv, "stop"_sv);
  ground.log.Info("c"_sv, "go"_sv);
  ground.log.EnableThread(false, 10);
  ground.log.SetFilter({});
  ground.log.Info("c"_sv, "stop"_sv);
  Lines expected{"asked: go", "1 c: go", "asked: stop", "asked: go", "1 c: go"};
  if (GetParam()) expected.insert(expected.end(), {"filter: thread end", "thread end"});
  expected.emplace_back("1 c: stop");
  EXPECT_EQ(ground.journal.Get(), expected);
}

TEST_P(Mode, FatalThatTheFilterStopsReturns) {
  LOGGROUND ground;
  ground.log.SetFilter(MakeHandle<CVeto>(ground.journal));
  ground.log.EnableThread(GetParam(), 10);
  ground.log.Fatal("c"_sv, "stop"_sv);
  EXPECT_EQ(ground.journal.Get()[0], "asked: stop");
}

// Neither the records that found no memory nor their places in the queue are missed afterwards.
TEST_P(Mode, NoMemoryCostsTheRecordAlone) {
  LOGGROUND ground;
  CGate gate;
  if (GetParam()) {
    ground.recorder->onLog = [&, first = true]() mutable {
      if (std::exchange(first, false)) gate.Pass();
    };
    ground.log.EnableThread(true, 1000);
    ground.log.Info("c"_sv, "first"_sv);
    gate.AwaitArrival();
  }
  {
    const CMemoryIsOut memoryIsOut;
    ground.log.Info("c", "%s", "lost");
    // The recorder itself needs memory, or the queue from some record on.
    for (int i = 0; i < 1000; ++i)
      ground.log.Info("c"_sv, "early"_sv);
  }
  for (int i = 0; i < 400; ++i)
    ground.log.Info("c", "late %d", i);
  if (GetParam()) gate.Open();
  ground.log.Flush();
  const Lines lines = ground.journal.Get();
  EXPECT_LT(lines.size(), 500U);
  ASSERT_GE(lines.size(), 401U);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "1 c: lost"), 0);
  for (std::size_t i = 0; i < 400; ++i)
    EXPECT_EQ(lines[lines.size() - 401 + i], "1 c: late " + std::to_string(i));
  EXPECT_EQ(lines.back(), "flush");
}

INSTANTIATE_TEST_SUITE_P(Log, Mode, testing::Bool(),
                         [](const auto& test) { return test.param ? "Threaded" : "Synchronous"; });

class CBadFilter : public Qorv::ILogFilter {
  bool Passes(Qorv::CTime, std::int32_t, const stringEx&, const stringEx&) noexcept override {
    return Lines().at(0).empty();
  }
};

TEST(LogDeathTest, FilterThatThrowsEndsTheProcess) {
  LOGGROUND ground;
  EXPECT_DEATH(
      {
        ground.log.SetFilter(MakeHandle<CBadFilter>());
        ground.log.Info("c"_sv, "m"_sv);
        std::exit(0);
      },
      "");
}

}  // namespace
