// The early exit of a thread, and the clean-up at the end of each.
#include <gtest/gtest.h>

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <qorv/log.h>
#include <qorv/string.h>

#include "support/failure.h"
#include "support/row_name.h"
#include "thread/probe.h"

namespace {

std::atomic<bool> refusesClearing{false};
std::string logged;  // read when the thread that logs is gone

}  // namespace

// NOLINTBEGIN
extern "C" int __real_pthread_setspecific(pthread_key_t key, const void* value);
extern "C" int __wrap_pthread_setspecific(pthread_key_t key, const void* value);
extern "C" int __wrap_pthread_setspecific(pthread_key_t key, const void* value) {
  return refusesClearing && value == nullptr ? ENOMEM : __real_pthread_setspecific(key, value);
}
// GError and GFatal of CLog.
extern "C" void __wrap__ZN4Qorv4CLog6GErrorEPKcS2_z(const char* channel, const char* format, ...);
extern "C" void __wrap__ZN4Qorv4CLog6GErrorEPKcS2_z(const char* channel, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Qorv::stringEx text;
  text.vformat(format, arguments);
  va_end(arguments);
  logged += std::string(channel) + ": " + text.data();
}
extern "C" void __wrap__ZN4Qorv4CLog6GFatalEPKcS2_z(const char* channel, const char* format, ...);
extern "C" void __wrap__ZN4Qorv4CLog6GFatalEPKcS2_z(const char* channel, const char* format, ...) {
  std::fprintf(stderr, "%s: %s", channel, format);
}
// NOLINTEND

namespace {

using Qorv::TThread;
using TestThread::CProbe;
using namespace Qorv::threadState;

// Ends the thread two calls deep, with an object on its stack that is never destroyed.
std::uint32_t ExitDeep(CProbe& self, std::atomic<int>& destroyed) {
  struct CLocal {
    ~CLocal() { ++counter; }
    std::atomic<int>& counter;
  };
  self.MarkRunning();
  const CLocal local{destroyed};
  return static_cast<std::uint32_t>(TThread::ExitCurrent());
}

struct AfterRow {
  const char* name;
  std::string (*operation)(CProbe&);
  std::uint32_t next;
  const char* outcome;
};

const AfterRow afterRows[] = {
    {"Wait", [](CProbe& p) { return std::string(p.Wait(Qorv::waitForever) ? "true" : "false"); }, running,
     "true"},
    {"Create",
     [](CProbe& p) {
       p.Create(false, 0);
       return std::string();
     },
     running, "2: TThread::Create - the thread was already created"},
    {"Kill",
     [](CProbe& p) {
       p.Kill(5);
       return std::to_string(p.GetExitCode());
     },
     killed, "105"},
    {"TryStop", [](CProbe& p) { return std::string(p.TryStop() ? "true" : "false"); }, stopping, "false"},
    {"Suspend",
     [](CProbe& p) {
       p.Suspend();
       p.Resume();
       return std::string();
     },
     running, ""},
    {"GetPriority", [](CProbe& p) { return std::to_string(p.GetPriority()); }, running,
     "12: CThread_Imp::_GetThreadShcdParam - failed retrive thread's sched info\n  error code = 3\n"
     "  error desc = the value specified by thread does not refer to an existing thread"},
    {"SetPriority",
     [](CProbe& p) {
       p.SetPriority(3);
       return std::string();
     },
     running,
     "12: CThread_Imp::_GetThreadShcdParam - failed retrive thread's sched info\n  error code = 3\n"
     "  error desc = the value specified by thread does not refer to an existing thread"},
};

class AfterExit : public testing::TestWithParam<AfterRow> {};

TEST_P(AfterExit, ObjectIsAsItWasWithItsEventRaised) {
  std::atomic<int> destroyed{0};
  CProbe probe([&](CProbe& self) { return ExitDeep(self, destroyed); });
  probe.Create(false, 0);
  probe.Resume();
  EXPECT_TRUE(probe.Wait(Qorv::waitForever));
  EXPECT_EQ(probe.GetState(), running);
  EXPECT_EQ(probe.GetExitCode(), 0U);
  EXPECT_EQ(probe.GetFinished(), 0);
  EXPECT_EQ(destroyed, 0);

  std::string outcome;
  const std::string failure =
      TestSupport::FailureOf<Qorv::threadExp>([&] { outcome = GetParam().operation(probe); });
  EXPECT_EQ(failure != "no failure" ? failure : outcome, GetParam().outcome);
  EXPECT_EQ(probe.GetState(), GetParam().next);

  // Once killed it can be used again, as any other.
  probe.Kill(0);
  probe.Create(false, 0);
  EXPECT_FALSE(probe.Wait(0));
}

INSTANTIATE_TEST_SUITE_P(ExitCurrent, AfterExit, testing::ValuesIn(afterRows), rowName);

TEST(ExitCurrent, OnAThreadMadeElsewhereReturns) {
  std::int32_t result = 0;
  std::thread([&] { result = TThread::ExitCurrent(); }).join();
  EXPECT_EQ(result, -32);
}

// Exits in OnFinished, behind Run.
class CLateExit : public CProbe {
 public:
  CLateExit() : CProbe([](CProbe&) { return 3U; }) {}
  ~CLateExit() noexcept(false) override { Kill(0); }

 protected:
  void OnFinished() override { ExitCurrent(); }
};

TEST(ExitCurrent, AtAnyTimeAgainstAKillerLeavesOneOutcome) {
  for (int round = 0; round < 500; ++round) {
    std::atomic<int> destroyed{0};
    CProbe probe([&](CProbe& self) { return ExitDeep(self, destroyed); });
    CLateExit late;
    for (TThread* const thread : {static_cast<TThread*>(&probe), static_cast<TThread*>(&late)}) {
      thread->Create(false, 0);
      thread->Resume();
      thread->Kill(1);
      EXPECT_EQ(thread->GetState(), killed);
      EXPECT_EQ(thread->GetExitCode(), 101U);
    }
  }
}

struct EndRow {
  const char* name;
  std::uint32_t (*end)(CProbe&);
  bool cleansUp;
};

const EndRow endRows[] = {
    {"OfRun", [](CProbe&) { return 0U; }, true},
    {"ByExit", [](CProbe&) { return static_cast<std::uint32_t>(TThread::ExitCurrent()); }, true},
    {"ByKillingItself",
     [](CProbe& self) {
       self.Kill(1);
       return 0U;
     },
     true},
    {"ByAKill", CProbe::ForEver, false},
};

class CleanUp : public testing::TestWithParam<EndRow> {};

// It goes on to the end, so the thread's last object is destroyed in any case.
TEST_P(CleanUp, ThatFailsIsLogged) {
  Qorv::CSem isGone(0, 1);
  CProbe probe([&](CProbe& self) {
    struct CLast {
      ~CLast() { sem->V(1); }
      Qorv::CSem* sem = nullptr;
    };
    thread_local CLast last;
    last.sem = &isGone;
    {  // leaves the thread its last pattern
      std::vector<Qorv::RANGE> ranges;
      Qorv::stringEx("aab").regex_search("a+", ranges);
    }
    return GetParam().end(self);
  });
  logged.clear();
  refusesClearing = true;
  probe.Create(false, 0);
  probe.Resume();
  if (!GetParam().cleansUp) {
    probe.AwaitRunning();
    probe.Kill(0);
  }
  isGone.P();
  refusesClearing = false;
  EXPECT_EQ(logged,
            GetParam().cleansUp
                ? "util.trd.imp: error occured while doing clear\n@ CTlsSlot::SetValue - error set TLS Slot"
                : "");
}

INSTANTIATE_TEST_SUITE_P(End, CleanUp, testing::ValuesIn(endRows), rowName);

}  // namespace
