// The logging thread: what it delivers, when, and who waits for it.
#include <gtest/gtest.h>

#include <pthread.h>
#include <semaphore.h>

#include <memory>
#include <string>
#include <thread>

#include "log/recorder.h"
#include "support/actor.h"
#include "support/refusal.h"

REFUSABLE_BY_ERRNO(sem_trywait, (sem_t * sem), (sem))
REFUSABLE(pthread_create, (pthread_t * thread, const pthread_attr_t* a, void* (*main)(void*), void* argument),
          (thread, a, main, argument))

namespace {

using Qorv::CLog;
using Qorv::MakeHandle;
using Qorv::TThread;
using Qorv::operator""_sv;
using namespace TestLog;
using TestSupport::CActor;
using TestSupport::Refuse;

Lines Numbered(int from, int to) {
  Lines lines;
  for (int i = from; i < to; ++i)
    lines.push_back("1 c: " + std::to_string(i));
  return lines;
}

TEST(LoggingThread, FullQueueHoldsTheCallerUpAndLosesNothing) {
  LOGGROUND ground;
  CGate gate;
  ground.recorder->onLog = [&] { gate.Pass(); };
  ground.log.EnableThread(true, 2);
  ground.log.Info("c", "0");
  gate.AwaitArrival();  // the thread has taken the first
  CActor caller;
  caller.Do([&] {
    ground.log.Info("c", "1");
    ground.log.Info("c", "2");
  });
  caller.StartAndBlock([&] { ground.log.Info("c", "3"); });
  EXPECT_EQ(ground.journal.Get(), Lines{});
  gate.Open();
  caller.Finish();
  gate.Open(3);
  ground.log.EnableThread(false, 2);
  Lines expected = Numbered(0, 4);
  expected.emplace_back("thread end");
  EXPECT_EQ(ground.journal.Get(), expected);
}

// Takes the order of records and their times down without a lock: one thread at a time calls.
class CCrowdJudge : public Qorv::ILogger {
 public:
  explicit CCrowdJudge(int callers) : next(static_cast<std::size_t>(callers)) {}
  void Log(Qorv::CTime time, std::int32_t level, const Qorv::stringEx&,
           const Qorv::stringEx& message) override {
    if (next[static_cast<std::size_t>(level)]++ != message.to_int64(10)) ++disorders;
    if (time < last) ++disorders;
    last = time;
  }
  std::vector<std::int64_t> next;
  int disorders = 0;
  Qorv::CTime last{0};
};

TEST(LoggingThread, EightCallersThroughTwoPlaces) {
  constexpr int callers = 8;
  constexpr int records = 2000;
  CLog log(0, 100);
  const auto judge = MakeHandle<CCrowdJudge>(callers);
  log.PushLogger(judge);
  log.EnableThread(true, 2);
  {
    std::vector<std::jthread> crowd;
    for (int caller = 0; caller < callers; ++caller) {
      crowd.emplace_back([&, caller] {
        for (int i = 0; i < records; ++i)
          log.Write(caller, "c", "%d", i);
      });
    }
  }
  log.EnableThread(false, 2);
  EXPECT_EQ(judge->disorders, 0);
  EXPECT_EQ(judge->next, std::vector<std::int64_t>(callers, records));
}

TEST(LoggingThread, ChangesOfTheStackWaitForADelivery) {
  LOGGROUND ground;
  CGate gate;
  ground.recorder->onLog = [&] { gate.Pass(); };
  ground.log.EnableThread(true, 10);
  ground.log.Info("c", "0");
  gate.AwaitArrival();
  CActor changer;
  changer.StartAndBlock([&] { ground.log.SetLoggers({}); });
  gate.Open();
  changer.Finish();
  EXPECT_EQ(ground.journal.Get(), Numbered(0, 1));
}

TEST(LoggingThread, StopDeliversAllAndServesOnTheCallerFromThen) {
  LOGGROUND ground;
  CGate gate;
  std::vector<std::uint64_t> threads;
  ground.recorder->onLog = [&] {
    threads.push_back(TThread::CurrentThreadId());
    if (threads.size() == 1) gate.Pass();
  };
  EXPECT_TRUE(ground.log.EnableThread(true, 100));
  EXPECT_TRUE(ground.log.EnableThread(true, 100));
  for (int i = 0; i < 50; ++i)
    ground.log.Info("c", "%d", i);
  gate.AwaitArrival();
  gate.Open();
  EXPECT_TRUE(ground.log.EnableThread(false, 0));
  EXPECT_TRUE(ground.log.EnableThread(false, 0));
  ground.log.Info("c", "50");
  Lines expected = Numbered(0, 50);
  expected.emplace_back("thread end");
  expected.emplace_back("1 c: 50");
  EXPECT_EQ(ground.journal.Get(), expected);
  EXPECT_NE(threads[49], TThread::CurrentThreadId());
  EXPECT_EQ(threads[50], TThread::CurrentThreadId());
}

TEST(LoggingThread, FlushReturnsWhenAllIsDelivered) {
  LOGGROUND ground;
  CGate gate;
  ground.recorder->onLog = [&] { gate.Pass(); };
  ground.log.EnableThread(true, 10);
  for (int i = 0; i < 3; ++i)
    ground.log.Info("c", "%d", i);
  CActor flusher;
  flusher.StartAndBlock([&] { ground.log.Flush(); });
  EXPECT_EQ(ground.journal.Get(), Lines{});
  gate.Open(3);
  flusher.Finish();
  Lines expected = Numbered(0, 3);
  expected.emplace_back("flush");
  EXPECT_EQ(ground.journal.Get(), expected);
}

// The queue runs empty between any two of them, now before and now behind the caller's look at it.
TEST(LoggingThread, FatalIsDeliveredWhenItReturns) {
  std::atomic<int> delivered{0};
  CJournal journal;
  CLog log(0, 100);
  const auto recorder = MakeHandle<CRecorder>(journal);
  recorder->onLog = [&] {
    ++delivered;
    throw std::runtime_error("so that no line is kept");
  };
  log.PushLogger(recorder);
  log.EnableThread(true, 10);
  for (int i = 1; i <= 20000; ++i) {
    log.Fatal("c"_sv, "m"_sv);
    ASSERT_EQ(delivered, i);
  }
}

struct NextRow {
  const char* name;
  void (*before)(CLog& log);
};

class FlushForTheNext : public testing::TestWithParam<NextRow> {};

// It waits for what has yet to be posted, and others can post it.
TEST_P(FlushForTheNext, WaitsForADelivery) {
  LOGGROUND ground;
  ground.log.SetFilter(MakeHandle<CVeto>(ground.journal));
  ground.log.EnableThread(true, 10);
  GetParam().before(ground.log);
  CActor first, second;
  for (CActor* flusher : {&first, &second})
    flusher->StartAndBlock([&] { ground.log.Flush(); });
  ground.log.Info("c"_sv, "stop"_sv);
  ground.log.Info("c"_sv, "go"_sv);
  first.Finish();
  second.Finish();
  const Lines lines = ground.journal.Get();
  EXPECT_EQ(Lines(lines.end() - 3, lines.end()), (Lines{"1 c: go", "flush", "flush"}));
}

TEST_P(FlushForTheNext, EndsWithTheThread) {
  LOGGROUND ground;
  ground.log.SetFilter(MakeHandle<CVeto>(ground.journal));
  ground.log.EnableThread(true, 10);
  GetParam().before(ground.log);
  CActor flusher;
  flusher.StartAndBlock([&] { ground.log.Flush(); });
  EXPECT_TRUE(ground.log.EnableThread(false, 10));
  flusher.Finish();
  EXPECT_EQ(ground.journal.Get().back(), "flush");
}

INSTANTIATE_TEST_SUITE_P(LoggingThread, FlushForTheNext,
                         testing::Values(NextRow{"NothingPosted", [](CLog&) {}},
                                         NextRow{"LastOneStopped",
                                                 [](CLog& log) {
                                                   log.Info("c"_sv, "go"_sv);
                                                   log.Info("c"_sv, "stop"_sv);
                                                 }}),
                         [](const auto& test) { return test.param.name; });

TEST(LoggingThread, EndOfTheLogDeliversThenFlushesThenLetsGo) {
  CJournal journal;
  {
    CLog log(0, 100);
    CGate gate;
    const auto recorder = MakeHandle<CRecorder>(journal);
    recorder->onLog = [&gate, isFirst = true]() mutable {
      if (std::exchange(isFirst, false)) gate.Pass();
    };
    log.PushLogger(recorder);
    log.EnableThread(true, 100);
    for (int i = 0; i < 50; ++i)
      log.Info("c", "%d", i);
    gate.AwaitArrival();
    gate.Open();
  }
  Lines expected = Numbered(0, 50);
  expected.insert(expected.end(), {"thread end", "flush", "gone"});
  EXPECT_EQ(journal.Get(), expected);
}

TEST(LoggingThread, ThatCannotBeMadeLeavesTheLogSynchronous) {
  LOGGROUND ground;
  Refuse("pthread_create", EAGAIN);
  EXPECT_FALSE(ground.log.EnableThread(true, 10));
  EXPECT_FALSE(ground.log.IsThreaded());
  ground.log.Info("c", "0");
  EXPECT_EQ(ground.journal.Get(), Numbered(0, 1));
}

TEST(LoggingThread, ThatDiesHoldsNobodyUp) {
  LOGGROUND ground;
  CGate gate;
  ground.recorder->onLog = [&, isFirst = true]() mutable {
    if (std::exchange(isFirst, false)) gate.Pass();
  };
  ground.log.EnableThread(true, 2);
  ground.log.Info("c", "0");
  gate.AwaitArrival();
  ground.log.Info("c", "1");
  ground.log.Info("c", "2");
  CActor caller;
  caller.StartAndBlock([&] { ground.log.Info("c", "3"); });
  Refuse("sem_trywait", EINVAL);  // the thread's next look at the queue, behind the record
  gate.Open();
  caller.Finish();
  for (int i = 4; i < 10; ++i)
    ground.log.Info("c", "%d", i);
  ground.log.Flush();
  EXPECT_TRUE(ground.log.EnableThread(false, 2));
  Lines expected = Numbered(0, 10);
  expected.emplace_back("flush");
  Lines lines = ground.journal.Get();
  EXPECT_EQ(std::erase(lines, "thread end"), 1U);  // somewhere among them
  EXPECT_EQ(lines, expected);
}

// A fault in a logger is reported from inside it, with the queue full and somebody waiting for the thread.
TEST(LoggingThread, LoggerThatReportsAFaultIsHeardAtOnce) {
  CJournal journal;
  CGate gate;
  const Qorv::LogHandle log = MakeHandle<CLog>(0, 100U);
  const auto recorder = MakeHandle<CRecorder>(journal);
  recorder->onLog = [&, calls = 0]() mutable {
    if (++calls > 1) return;
    gate.Pass();
    CLog::GFatal("c", "fault");
  };
  log->PushLogger(recorder);
  log->EnableThread(true, 1);
  const CAsDefault asDefault(log);
  CLog::GInfo("c", "0");
  gate.AwaitArrival();
  CLog::GInfo("c", "1");
  CActor caller;
  caller.StartAndBlock([] { CLog::GInfo("c", "2"); });
  gate.Open();
  caller.Finish();
  log->EnableThread(false, 1);
  EXPECT_EQ(journal.Get(), (Lines{"5 c: fault", "flush", "1 c: 0", "1 c: 1", "1 c: 2", "thread end"}));
}

TEST(LoggingThread, LoggerThatAlwaysLogsIsHeardOncePerRecord) {
  LOGGROUND ground;
  ground.recorder->onLog = [&] { ground.log.Info("c", "inside"); };
  ground.log.EnableThread(true, 1);
  ground.log.Info("c", "0");
  ground.log.EnableThread(false, 1);
  ground.recorder->onLog = nullptr;
  EXPECT_EQ(ground.journal.Get(), (Lines{"1 c: inside", "1 c: 0", "thread end"}));
}

// The exit of a process must deliver what is queued, whoever else keeps the log.
TEST(LoggingThread, ExitDeliversAlthoughOthersKeepTheLog) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        static auto* const kept = new Qorv::LogHandle(MakeHandle<CLog>(Qorv::logLevel::info, 4096U));
        class CSlow : public Qorv::ILogger {
          void Log(Qorv::CTime, std::int32_t, const Qorv::stringEx&, const Qorv::stringEx& message) override {
            TThread::SleepTick();
            if (++count_ == 20) std::fprintf(stderr, "%s is there", message.data());
          }
          int count_ = 0;
        };
        (*kept)->PushLogger(MakeHandle<CSlow>());
        (*kept)->EnableThread(true, 100);
        CLog::SetDefault(*kept);
        for (int i = 0; i < 20; ++i)
          CLog::GInfo("c"_sv, "all"_sv);
        std::exit(0);
      },
      testing::ExitedWithCode(0), "all is there");
}

}  // namespace
