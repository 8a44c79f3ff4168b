// Kills at every moment of a thread's life.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "support/asleep.h"
#include "support/failure.h"
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

// The killer is done with the object when it lets the waiter see the end.
TEST(Kill, ByAnotherIsOverWhenWaitReturns) {
  for (int round = 0; round < 500; ++round) {
    auto probe = std::make_unique<CProbe>(CProbe::ForEver);
    probe->Create(false, 0);
    probe->Resume();
    std::thread killer([raw = probe.get()] { raw->Kill(1); });
    while (probe->GetState() < stopping)
      std::this_thread::yield();
    EXPECT_TRUE(probe->Wait(Qorv::waitForever));
    EXPECT_EQ(probe->GetState(), killed);
    probe.reset();
    killer.join();
  }
}

// Holds its thread in OnFinished, and there kills itself if told to.
class CFinishing : public CProbe {
 public:
  CFinishing() : CProbe([](CProbe&) { return 3U; }) {}
  ~CFinishing() noexcept(false) override { Kill(0); }
  Qorv::CSem isFinishing{0, 1};
  Qorv::CSem mayFinish{0, 1};
  bool killsItself = false;

 protected:
  void OnFinished() override {
    isFinishing.V(1);
    mayFinish.P();
    if (killsItself) Kill(4);
  }
};

struct FinishingRow {
  const char* name;
  bool killsItself;
  std::uint32_t state;
  std::uint32_t exitCode;
};

class Finishing : public testing::TestWithParam<FinishingRow> {};

TEST_P(Finishing, KilledOneEndsByItself) {
  for (int round = 0; round < 100; ++round) {
    CFinishing thread;
    thread.killsItself = GetParam().killsItself;
    thread.Create(false, 0);
    thread.Resume();
    thread.isFinishing.P();
    std::thread killer([&] { thread.Kill(1); });
    while (thread.GetState() != stopping)
      std::this_thread::yield();
    thread.mayFinish.V(1);
    killer.join();
    EXPECT_EQ(thread.GetState(), GetParam().state);
    EXPECT_EQ(thread.GetExitCode(), GetParam().exitCode);
  }
}

INSTANTIATE_TEST_SUITE_P(Kill, Finishing,
                         testing::Values(FinishingRow{"ByNoOther", false, ended, 3},
                                         FinishingRow{"ByItself", true, killed, 104}),
                         rowName);

TEST(Kill, OfAnAutoDestroyedOneFreesIt) {
  for (int round = 0; round < 200; ++round) {
    auto* const probe = new CProbe(CProbe::ForEver);
    probe->Create(true, 0);
    if (round % 2 == 0) probe->Resume();
    probe->Kill(0);
  }
}

struct GoneRow {
  const char* name;
  std::uint32_t (*end)(CProbe&);
};

class Gone : public testing::TestWithParam<GoneRow> {};

// The object waits for those that wait for its thread.
TEST_P(Gone, AutoDestroyedOneReleasesTheWaiterFirst) {
  for (int round = 0; round < 100; ++round) {
    Qorv::CSem mayEnd(0, 1);
    auto* const probe = new CProbe([&](CProbe& self) {
      mayEnd.P();
      return GetParam().end(self);
    });
    probe->Create(true, 0);
    probe->Resume();
    std::atomic<std::uint64_t> waiterId{0};
    std::thread waiter([&] {
      waiterId = TThread::CurrentThreadId();
      EXPECT_TRUE(probe->Wait(Qorv::waitForever));
    });
    while (waiterId == 0)
      std::this_thread::yield();
    TestSupport::AwaitAsleep(waiterId);
    mayEnd.V(1);
    waiter.join();
  }
}

INSTANTIATE_TEST_SUITE_P(Kill, Gone,
                         testing::Values(GoneRow{"AtTheEndOfRun", [](CProbe&) { return 0U; }},
                                         GoneRow{"ByKillingItself",
                                                 [](CProbe& self) {
                                                   self.Kill(4);
                                                   return 0U;
                                                 }}),
                         rowName);

struct DestroyRow {
  const char* name;
  void (*fail)();
  const char* failure;
};

const DestroyRow destroyRows[] = {
    {"OfTheLibrary", [] { throw Qorv::semExp(Qorv::stringEx("inner\n  a = b"), 3); },
     "8: TThread::Kill - unexpected error on auto destroy\n@ inner\n  a = b"},
    {"Foreign", [] { throw 42; }, "8: TThread::Kill - unexpected error on auto destroy\n@ unknown error"},
};

class CFailsToGo : public CProbe {
 public:
  explicit CFailsToGo(void (*fail)()) : CProbe(ForEver), fail_(fail) {}
  ~CFailsToGo() noexcept(false) override { fail_(); }

 private:
  void (*fail_)();
};

class DestroyFailure : public testing::TestWithParam<DestroyRow> {};

TEST_P(DestroyFailure, IsReportedByKill) {
  auto* const probe = new CFailsToGo(GetParam().fail);
  probe->Create(true, 0);
  EXPECT_EQ(TestSupport::FailureOf<Qorv::threadExp>([&] { probe->Kill(0); }), GetParam().failure);
}

INSTANTIATE_TEST_SUITE_P(Kill, DestroyFailure, testing::ValuesIn(destroyRows), rowName);

TEST(Kill, BySeveralAtOnceEndsItOnce) {
  for (int round = 0; round < 200; ++round) {
    CProbe probe(CProbe::ForEver);
    probe.Create(false, 0);
    probe.Resume();
    std::thread other([&] { probe.Kill(1); });
    probe.Kill(1);
    other.join();
    EXPECT_EQ(probe.GetState(), killed);
    EXPECT_EQ(probe.GetKills(), 1);
  }
}

}  // namespace
