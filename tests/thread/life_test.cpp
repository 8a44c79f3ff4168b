// The life of a thread object: every operation in every state, exit codes, uncaught exceptions, auto destroy.
#include <gtest/gtest.h>

#include <sys/time.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>

#include "support/failure.h"
#include "support/row_name.h"
#include "thread/probe.h"

namespace {

using Qorv::TThread;
using TestThread::CProbe;
using TestThread::InState;
using namespace Qorv::threadState;

std::string Create(CProbe& probe) {
  probe.Create(false, 0);
  return "";
}
std::string Resume(CProbe& probe) {
  probe.Resume();
  return "";
}
std::string Suspend(CProbe& probe) {
  probe.Suspend();
  return "";
}
std::string Kill(CProbe& probe) {
  probe.Kill(5);
  return "";
}
std::string TryStop(CProbe& probe) {
  return probe.TryStop() ? "true" : "false";
}
std::string WaitNoTime(CProbe& probe) {
  return probe.Wait(0) ? "true" : "false";
}

struct StateRow {
  const char* name;
  std::uint32_t state;
  std::string (*operation)(CProbe&);
  std::uint32_t next;
  const char* outcome = "";  // what is returned, or code and message of the exception
};

constexpr const char* created = "2: TThread::Create - the thread was already created";

const StateRow stateRows[] = {
    {"CreateOnNone", none, Create, suspended},
    {"CreateOnSuspended", suspended, Create, suspended, created},
    {"CreateOnRunning", running, Create, running, created},
    {"CreateOnStopping", stopping, Create, stopping, created},
    {"CreateOnEnded", ended, Create, suspended},
    {"CreateOnKilled", killed, Create, suspended},
    {"ResumeOnNone", none, Resume, none, "3: TThread::Resume - invalid state : 0"},
    {"ResumeOnSuspended", suspended, Resume, running},
    {"ResumeOnRunning", running, Resume, running},
    {"ResumeOnStopping", stopping, Resume, stopping, "3: TThread::Resume - invalid state : 3"},
    {"ResumeOnEnded", ended, Resume, ended, "3: TThread::Resume - invalid state : 4"},
    {"ResumeOnKilled", killed, Resume, killed, "3: TThread::Resume - invalid state : 5"},
    {"SuspendOnNone", none, Suspend, none, "3: TThread::Suspend - invalid state : 0"},
    {"SuspendOnSuspended", suspended, Suspend, suspended},
    {"SuspendOnRunning", running, Suspend, suspended},
    {"SuspendOnStopping", stopping, Suspend, stopping, "3: TThread::Suspend - invalid state : 3"},
    {"SuspendOnEnded", ended, Suspend, ended, "3: TThread::Suspend - invalid state : 4"},
    {"SuspendOnKilled", killed, Suspend, killed, "3: TThread::Suspend - invalid state : 5"},
    {"KillOnNone", none, Kill, none},
    {"KillOnSuspended", suspended, Kill, killed},
    {"KillOnRunning", running, Kill, killed},
    {"KillOnStopping", stopping, Kill, killed},
    {"KillOnEnded", ended, Kill, ended},
    {"KillOnKilled", killed, Kill, killed},
    {"TryStopOnNone", none, TryStop, none, "true"},
    {"TryStopOnSuspended", suspended, TryStop, stopping, "false"},
    {"TryStopOnRunning", running, TryStop, stopping, "false"},
    {"TryStopOnStopping", stopping, TryStop, stopping, "false"},
    {"TryStopOnEnded", ended, TryStop, ended, "true"},
    {"TryStopOnKilled", killed, TryStop, killed, "true"},
    {"WaitOnNone", none, WaitNoTime, none, "true"},
    {"WaitOnSuspended", suspended, WaitNoTime, suspended, "false"},
    {"WaitOnRunning", running, WaitNoTime, running, "false"},
    {"WaitOnStopping", stopping, WaitNoTime, stopping, "false"},
    {"WaitOnEnded", ended, WaitNoTime, ended, "true"},
    {"WaitOnKilled", killed, WaitNoTime, killed, "true"},
};

class State : public testing::TestWithParam<StateRow> {};

TEST_P(State, GoesToTheNextOrThrows) {
  const StateRow& row = GetParam();
  const std::unique_ptr<CProbe> probe = InState(row.state);
  ASSERT_EQ(probe->GetState(), row.state);
  std::string outcome;
  const std::string failure =
      TestSupport::FailureOf<Qorv::threadExp>([&] { outcome = row.operation(*probe); });
  if (failure != "no failure") outcome = failure;
  EXPECT_EQ(outcome, row.outcome);
  EXPECT_EQ(probe->GetState(), row.next);
}

INSTANTIATE_TEST_SUITE_P(Thread, State, testing::ValuesIn(stateRows), rowName);

TEST(Thread, DoesNotEnterRunBeforeResume) {
  CProbe probe(CProbe::UntilStopped);
  probe.Create(false, 0);
  EXPECT_FALSE(probe.Wait(20));
  EXPECT_FALSE(probe.WasRunning());
  probe.Resume();
  probe.AwaitRunning();
  EXPECT_FALSE(probe.TryStop());
  EXPECT_TRUE(probe.Wait(Qorv::waitForever));
  EXPECT_EQ(probe.GetExitCode(), 7U);
  EXPECT_EQ(probe.GetFinished(), 1);
  EXPECT_TRUE(probe.TryStop());
  EXPECT_TRUE(probe.Wait(0));
}

TEST(Thread, StopOfAnUnstartedOneLetsItSeeTheStop) {
  CProbe probe(CProbe::UntilStopped);
  probe.Create(false, 0);
  EXPECT_FALSE(probe.TryStop());
  EXPECT_TRUE(probe.Wait(Qorv::waitForever));
  EXPECT_TRUE(probe.WasRunning());
}

TEST(Thread, CanBeCreatedAgainAndIsNotStoppedThen) {
  CProbe probe(CProbe::UntilStopped);
  for (int round = 0; round < 20; ++round) {
    probe.Create(false, 0);
    probe.Resume();
    EXPECT_FALSE(probe.Wait(1));
    probe.TryStop();
    EXPECT_TRUE(probe.Wait(Qorv::waitForever));
  }
  EXPECT_EQ(probe.GetFinished(), 20);
}

TEST(Thread, SuspendedOneStandsAtItsNextTestUntilOneResume) {
  std::atomic<int> laps{0};
  CProbe probe([&](CProbe& self) {
    while (!self.TestStop())
      ++laps;
    return 0U;
  });
  probe.Create(false, 0);
  probe.Resume();
  for (int round = 0; round < 50; ++round) {
    while (laps == 0)
      TThread::SleepTick();
    probe.Suspend();
    probe.Suspend();
    // It may finish the lap that it is on, and takes no second one.
    const int before = laps;
    TThread::SleepTick();
    EXPECT_LE(laps - before, 1);
    const int standing = laps;
    probe.Resume();
    while (laps <= standing)
      TThread::SleepTick();
  }
  probe.TryStop();
  EXPECT_TRUE(probe.Wait(Qorv::waitForever));
}

TEST(Thread, DestroyingRightAfterWaitIsSafe) {
  for (int round = 0; round < 500; ++round) {
    auto probe = std::make_unique<CProbe>([](CProbe&) { return 0U; });
    probe->Create(false, 0);
    probe->Resume();
    EXPECT_TRUE(probe->Wait(Qorv::waitForever));
    probe.reset();
  }
}

TEST(Thread, ManyWaitersAllLearnOfTheEnd) {
  CProbe probe(CProbe::UntilStopped);
  probe.Create(false, 0);
  probe.Resume();
  std::atomic<int> told{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 4; ++i) {
    waiters.emplace_back([&, i] { told += probe.Wait(i == 0 ? 60'000 : Qorv::waitForever) ? 1 : 0; });
  }
  probe.TryStop();
  for (std::thread& waiter : waiters)
    waiter.join();
  EXPECT_EQ(told, 4);
}

TEST(Thread, AutoDestroyFreesTheObject) {
  struct Flagged : CProbe {
    explicit Flagged(std::atomic<bool>& flag) : CProbe([](CProbe&) { return 0U; }), isGone(flag) {}
    ~Flagged() noexcept(false) override { isGone = true; }
    std::atomic<bool>& isGone;
  };
  std::atomic<bool> isGone{false};
  auto* const probe = new Flagged(isGone);
  probe->Create(true, 0);
  probe->Resume();
  while (!isGone)
    TThread::SleepTick();
}

TEST(Thread, SleepGoesOnAfterASignal) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  struct sigaction before;
  ASSERT_EQ(::sigaction(SIGALRM, &action, &before), 0);
  const itimerval often{{0, 2000}, {0, 2000}};
  const itimerval never{};
  const auto start = std::chrono::steady_clock::now();
  ::setitimer(ITIMER_REAL, &often, nullptr);
  TThread::Sleep(60);
  ::setitimer(ITIMER_REAL, &never, nullptr);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(60));
  ::sigaction(SIGALRM, &before, nullptr);
}

class CThrower : public CProbe {
 public:
  CThrower(std::function<std::uint32_t(CProbe&)> body, bool deals, bool throwsAtTheEnd = false)
      : CProbe(std::move(body)), deals_(deals), throwsAtTheEnd_(throwsAtTheEnd) {}

 protected:
  void OnFinished() override {
    CProbe::OnFinished();
    if (throwsAtTheEnd_) throw std::runtime_error("at the end");
  }
  bool OnUncaught() override {
    try {
      throw;
    } catch (const std::runtime_error&) {
      return deals_;
    }
  }

 private:
  bool deals_;
  bool throwsAtTheEnd_;
};

TEST(Thread, ExceptionThatIsDealtWithEndsTheThreadNormally) {
  CThrower probe([](CProbe&) -> std::uint32_t { throw std::runtime_error("x"); }, true);
  probe.Create(false, 0);
  probe.Resume();
  EXPECT_TRUE(probe.Wait(Qorv::waitForever));
  EXPECT_EQ(probe.GetState(), ended);
  EXPECT_EQ(probe.GetFinished(), 1);
}

struct UncaughtRow {
  const char* name;
  std::function<std::uint32_t(CProbe&)> body;
  TThread::UncaughtHandler handler;
  int status;
  bool throwsAtTheEnd = false;
};

const UncaughtRow uncaughtRows[] = {
    {"NoHandler", [](CProbe&) -> std::uint32_t { throw std::runtime_error("x"); }, nullptr, 255},
    {"OnUncaughtThrows", [](CProbe&) -> std::uint32_t { throw 42; }, nullptr, 255},
    {"HandlerThrows", [](CProbe&) -> std::uint32_t { throw std::runtime_error("x"); }, [] { throw 1; }, 255},
    {"HandlerDealsWithIt", [](CProbe&) -> std::uint32_t { throw std::runtime_error("x"); }, [] {}, 0},
    {"OnFinishedThrows", [](CProbe&) { return 0U; }, nullptr, 255, true},
};

class UncaughtDeathTest : public testing::TestWithParam<UncaughtRow> {};

TEST_P(UncaughtDeathTest, EndsTheProcessUnlessDealtWith) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        TThread::SetUncaughtHandler(GetParam().handler);
        CThrower probe(GetParam().body, false, GetParam().throwsAtTheEnd);
        probe.Create(false, 0);
        probe.Resume();
        probe.Wait(Qorv::waitForever);
        std::_Exit(0);
      },
      testing::ExitedWithCode(GetParam().status), "");
}

INSTANTIATE_TEST_SUITE_P(Thread, UncaughtDeathTest, testing::ValuesIn(uncaughtRows), rowName);

}  // namespace
