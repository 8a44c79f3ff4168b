// Kills at every moment of a thread's life.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "support/row_name.h"
#include "thread/probe.h"

namespace {

using Qorv::TThread;
using TestThread::CProbe;
using namespace Qorv::threadState;

TEST(Kill, BeforeResumeNeverEntersRun) {
  for (int round = 0; round < 1000; ++round) {
    CProbe probe(CProbe::ForEver);
    probe.Create(false, 0);
    probe.Kill(1);
    EXPECT_EQ(probe.GetState(), killed);
    EXPECT_EQ(probe.GetExitCode(), 101U);
    EXPECT_FALSE(probe.WasRunning());
    EXPECT_EQ(probe.GetFinished(), 0);
    EXPECT_TRUE(probe.Wait(0));
  }
}

TEST(Kill, RightAfterResumeEndsItWhereverItIs) {
  for (int round = 0; round < 1000; ++round) {
    CProbe probe(CProbe::ForEver);
    probe.Create(false, 0);
    probe.Resume();
    probe.Kill(2);
    EXPECT_EQ(probe.GetState(), killed);
  }
}

TEST(Kill, OfOneThatIsJustEndingHasOneOutcome) {
  for (int round = 0; round < 1000; ++round) {
    CProbe probe([](CProbe& self) {
      self.MarkRunning();
      return 3U;
    });
    probe.Create(false, 0);
    probe.Resume();
    while (round % 2 == 0 && !probe.WasRunning())
      std::this_thread::yield();
    probe.Kill(2);
    const std::uint32_t state = probe.GetState();
    EXPECT_TRUE(state == killed || state == ended) << state;
    EXPECT_EQ(probe.GetExitCode(), state == killed ? 102U : 3U);
    EXPECT_EQ(probe.GetFinished(), state == killed ? 0 : 1);
  }
}

// An object of the base class alone: nothing stops its thread before the destructor of TThread does.
class CAbandoned : public TThread {
 protected:
  std::uint32_t Run() override {
    for (;;)
      SleepTick();
  }
};

TEST(Kill, AbandonedThreadGoesWithItsObject) {
  for (int round = 0; round < 1000; ++round) {
    CAbandoned thread;
    thread.Create(false, 0);
    EXPECT_EQ(thread.GetState(), suspended);
  }
}

struct BlockedRow {
  const char* name;
  void (*block)(CProbe&);
};

const BlockedRow blockedRows[] = {
    {"InASemaphore",
     [](CProbe&) {
       static Qorv::CSem sem(0, 1);
       sem.P();
     }},
    {"InSuspend",
     [](CProbe& self) {
       self.Suspend();
       self.TestStop();
     }},
    {"InSleep", [](CProbe&) { TThread::Sleep(1'000'000); }},
};

class Blocked : public testing::TestWithParam<BlockedRow> {};

TEST_P(Blocked, ThreadIsBrokenOff) {
  for (int round = 0; round < 100; ++round) {
    CProbe probe([](CProbe& self) {
      self.MarkRunning();
      GetParam().block(self);
      return 0U;
    });
    probe.Create(false, 0);
    probe.Resume();
    probe.AwaitRunning();
    probe.Kill(0);
    EXPECT_EQ(probe.GetState(), killed);
  }
}

INSTANTIATE_TEST_SUITE_P(Kill, Blocked, testing::ValuesIn(blockedRows), rowName);

TEST(Kill, ByItselfDoesNotReturn) {
  std::atomic<bool> hasReturned{false};
  CProbe probe([&](CProbe& self) {
    self.MarkRunning();
    self.Kill(4);
    hasReturned = true;
    return 0U;
  });
  probe.Create(false, 0);
  probe.Resume();
  probe.AwaitRunning();
  EXPECT_TRUE(probe.Wait(Qorv::waitForever));
  while (probe.GetState() != killed)
    TThread::SleepTick();
  EXPECT_EQ(probe.GetExitCode(), 104U);
  EXPECT_FALSE(hasReturned);
}

TEST(Kill, ReleasesWhoeverWaits) {
  for (int round = 0; round < 200; ++round) {
    CProbe probe(CProbe::ForEver);
    probe.Create(false, 0);
    if (round % 2 == 0) probe.Resume();
    std::thread waiter([&] { EXPECT_TRUE(probe.Wait(Qorv::waitForever)); });
    probe.Kill(0);
    waiter.join();
  }
}

TEST(Kill, OfAnAutoDestroyedOneFreesIt) {
  for (int round = 0; round < 200; ++round) {
    auto* const probe = new CProbe(CProbe::ForEver);
    probe->Create(true, 0);
    if (round % 2 == 0) probe->Resume();
    probe->Kill(0);
  }
}

TEST(Kill, BySeveralAtOnceEndsItOnce) {
  for (int round = 0; round < 200; ++round) {
    CProbe probe(CProbe::ForEver);
    probe.Create(false, 0);
    probe.Resume();
    std::thread other([&] { probe.Kill(1); });
    probe.Kill(1);
    other.join();
    EXPECT_EQ(probe.GetState(), killed);
  }
}

}  // namespace
