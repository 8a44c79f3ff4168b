// What the system refuses: each step of making a thread, and the kill signal.
#include <gtest/gtest.h>

#include <pthread.h>
#include <semaphore.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "support/failure.h"
#include "support/refusal.h"
#include "support/row_name.h"
#include "thread/probe.h"

namespace {

std::atomic<int> attributesHeld{0};

// The next semaphore is only made when a kill has been sent.
std::atomic<bool> makingWaits{false};
std::atomic<bool> isMaking{false};
std::atomic<bool> isKillSent{false};
std::atomic<bool> isMade{false};
// The next thread only sets out when a kill has been sent.
std::atomic<bool> startWaits{false};

}  // namespace

// NOLINTBEGIN
REFUSABLE(pthread_attr_getschedpolicy, (const pthread_attr_t* a, int* policy), (a, policy))
REFUSABLE(pthread_attr_getschedparam, (const pthread_attr_t* a, sched_param* p), (a, p))
REFUSABLE(pthread_attr_setinheritsched, (pthread_attr_t * a, int value), (a, value))
REFUSABLE(pthread_attr_setschedpolicy, (pthread_attr_t * a, int policy), (a, policy))
REFUSABLE(pthread_attr_setschedparam, (pthread_attr_t * a, const sched_param* p), (a, p))
REFUSABLE(pthread_attr_setdetachstate, (pthread_attr_t * a, int value), (a, value))
REFUSABLE(pthread_attr_setguardsize, (pthread_attr_t * a, size_t size), (a, size))
REFUSABLE(pthread_attr_setstacksize, (pthread_attr_t * a, size_t size), (a, size))

extern "C" int __real_pthread_create(pthread_t* t, const pthread_attr_t* a, void* (*main)(void*), void* p);
extern "C" int __wrap_pthread_create(pthread_t* t, const pthread_attr_t* a, void* (*main)(void*), void* p);
extern "C" int __wrap_pthread_create(pthread_t* t, const pthread_attr_t* a, void* (*main)(void*), void* p) {
  if (TestSupport::IsRefused("pthread_create")) return TestSupport::refusal.error;
  return __real_pthread_create(t, a, main,
                               TestSupport::IsRefused("argument of pthread_create") ? nullptr : p);
}

extern "C" int __real_pthread_kill(pthread_t t, int number);
extern "C" int __wrap_pthread_kill(pthread_t t, int number);
extern "C" int __wrap_pthread_kill(pthread_t t, int number) {
  if (TestSupport::IsRefused("pthread_kill")) return TestSupport::refusal.error;
  const int result = __real_pthread_kill(t, number);
  isKillSent = true;
  return result;
}
extern "C" int __real_pthread_sigmask(int how, const sigset_t* set, sigset_t* old);
extern "C" int __wrap_pthread_sigmask(int how, const sigset_t* set, sigset_t* old);
extern "C" int __wrap_pthread_sigmask(int how, const sigset_t* set, sigset_t* old) {
  while (startWaits && !isKillSent)
    std::this_thread::yield();
  return __real_pthread_sigmask(how, set, old);
}
extern "C" int __real_sem_init(sem_t* sem, int shared, unsigned value);
extern "C" int __wrap_sem_init(sem_t* sem, int shared, unsigned value);
extern "C" int __wrap_sem_init(sem_t* sem, int shared, unsigned value) {
  if (!makingWaits.exchange(false)) return __real_sem_init(sem, shared, value);
  isMaking = true;
  while (!isKillSent)
    std::this_thread::yield();
  const int result = __real_sem_init(sem, shared, value);
  isMade = true;
  return result;
}
extern "C" int __real_pthread_attr_init(pthread_attr_t* a);
extern "C" int __wrap_pthread_attr_init(pthread_attr_t* a);
extern "C" int __wrap_pthread_attr_init(pthread_attr_t* a) {
  if (TestSupport::IsRefused("pthread_attr_init")) return TestSupport::refusal.error;
  ++attributesHeld;
  return __real_pthread_attr_init(a);
}
extern "C" int __real_pthread_attr_destroy(pthread_attr_t* a);
extern "C" int __wrap_pthread_attr_destroy(pthread_attr_t* a);
extern "C" int __wrap_pthread_attr_destroy(pthread_attr_t* a) {
  --attributesHeld;
  const int result = __real_pthread_attr_destroy(a);
  return TestSupport::IsRefused("pthread_attr_destroy") ? TestSupport::refusal.error : result;
}
// NOLINTEND

namespace {

using Qorv::threadExp;
using Qorv::TThread;
using TestSupport::FailureOf;
using TestSupport::Refuse;
using TestThread::CProbe;
using namespace Qorv::threadState;

struct StepRow {
  const char* name;
  const char* call;
  int error;
  const char* failure;
};

const StepRow stepRows[] = {
    {"Attributes", "pthread_attr_init", ENOMEM,
     "1: CThread_Imp::Create - failed create thread attribute obj\n  error code = 12\n"
     "  error desc = insufficient memory"},
    {"AttributesHeldAlready", "pthread_attr_init", EBUSY,
     "1: CThread_Imp::Create - failed create thread attribute obj\n  error code = 16\n"
     "  error desc = already initialized"},
    {"DefaultPolicy", "pthread_attr_getschedpolicy", EINVAL,
     "1: CThread_Imp::Create - failed get the default scheduling policy\n  error code = 22\n"
     "  error desc = invalid attr obj"},
    {"DefaultPriority", "pthread_attr_getschedparam", EINVAL,
     "1: CThread_Imp::Create - failed get the default thread priority\n  error code = 22\n"
     "  error desc = invalid attr obj"},
    {"Inheritance", "pthread_attr_setinheritsched", EINVAL,
     "1: CThread_Imp::Create - failed set scheduler and priority inheritance attribute\n  error code = 22\n"
     "  error desc = invalid attr obj"},
    {"Policy", "pthread_attr_setschedpolicy", EINVAL,
     "1: CThread_Imp::Create - failed set the default scheduling policy\n  schd policy = 0\n"
     "  error code  = 22\n  error desc  = invalid attr obj"},
    {"Priority", "pthread_attr_setschedparam", EINVAL,
     "1: CThread_Imp::Create - failed set the default thread priority\n  schd policy = 0\n"
     "  error code  = 22\n  error desc  = invalid attr obj"},
    {"Detaching", "pthread_attr_setdetachstate", EINVAL,
     "1: CThread_Imp::Create - failed set detach attribute\n  error code = 22\n"
     "  error desc = invalid attr obj"},
    {"GuardArea", "pthread_attr_setguardsize", EINVAL,
     "1: CThread_Imp::Create - failed set guard area attribute\n  error code = 22\n"
     "  error desc = invalid attr obj"},
    {"StackSize", "pthread_attr_setstacksize", EINVAL,
     "1: CThread_Imp::Create - failed set stack size attribute\n  error code = 22\n"
     "  error desc = invalid attr obj"},
    {"Thread", "pthread_create", EAGAIN,
     "1: CThread_Imp::Create - failed create thread\n  error code = 11\n"
     "  error desc = not enough system resource, or process limit has been exceeded"},
    {"ThreadForAnUnknownReason", "pthread_create", ENOSPC,
     "1: CThread_Imp::Create - failed create thread\n  error code = 28\n"
     "  error desc = unexpect system error: No space left on device"},
    {"AttributesEnd", "pthread_attr_destroy", EINVAL,
     "1: CThread_Imp::Create - failed destory attribute object\n  error code = 22\n"
     "  error desc = invalid attr obj"},
};

class Step : public testing::TestWithParam<StepRow> {};

// The thread that exists already when the last step fails goes with it.
TEST_P(Step, ThatFailsLeavesNoThreadAndNoAttributes) {
  CProbe probe(CProbe::UntilStopped);
  Refuse(GetParam().call, GetParam().error);
  EXPECT_EQ(FailureOf<threadExp>([&] { probe.Create(false, 1 << 20); }), GetParam().failure);
  EXPECT_EQ(attributesHeld, 0);
  EXPECT_EQ(probe.GetState(), none);
  EXPECT_TRUE(probe.Wait(Qorv::waitForever));
  EXPECT_FALSE(probe.WasRunning());

  probe.Create(false, 1 << 20);
  EXPECT_FALSE(probe.TryStop());
  EXPECT_TRUE(probe.Wait(Qorv::waitForever));
  EXPECT_EQ(probe.GetExitCode(), 7U);
}

INSTANTIATE_TEST_SUITE_P(Create, Step, testing::ValuesIn(stepRows), rowName);

TEST(StartDeathTest, WithoutAThreadObjectEndsTheProcess) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        CProbe probe(CProbe::UntilStopped);
        Refuse("argument of pthread_create", 0);
        probe.Create(false, 0);
        for (;;)
          TThread::SleepTick();
      },
      testing::ExitedWithCode(255), "^util.trd.imp: invalid thread handle, program aborted$");
}

TEST(KillSignal, ThatIsRefusedLeavesTheThreadToTheNextKill) {
  CProbe probe(CProbe::ForEver);
  probe.Create(false, 0);
  probe.Resume();
  probe.AwaitRunning();
  Refuse("pthread_kill", EAGAIN);
  EXPECT_EQ(FailureOf<threadExp>([&] { probe.Kill(1); }),
            "8: CThread_Imp::Kill - failed send the kill signal\n  error code = 11\n"
            "  error desc = Resource temporarily unavailable");
  EXPECT_EQ(probe.GetState(), stopping);
  EXPECT_FALSE(probe.Wait(0));
  probe.Kill(2);
  EXPECT_EQ(probe.GetState(), killed);
  EXPECT_EQ(probe.GetExitCode(), 102U);
}

TEST(KillSignal, ThatIsRefusedLeavesTheThreadToEndByItself) {
  CProbe probe(CProbe::UntilStopped);
  probe.Create(false, 0);
  probe.Resume();
  probe.AwaitRunning();
  Refuse("pthread_kill", EAGAIN);
  EXPECT_THROW(probe.Kill(1), threadExp);
  EXPECT_FALSE(probe.TryStop());
  EXPECT_TRUE(probe.Wait(Qorv::waitForever));
  EXPECT_EQ(probe.GetState(), ended);
  EXPECT_EQ(probe.GetExitCode(), 7U);
}

TEST(KillSignal, ToAThreadThatCannotEscapeYetIsObeyedLater) {
  CProbe probe(CProbe::ForEver);
  isKillSent = false;
  startWaits = true;
  probe.Create(false, 0);
  probe.Kill(1);
  startWaits = false;
  EXPECT_EQ(probe.GetState(), killed);
  EXPECT_FALSE(probe.WasRunning());
}

// Without a Kill in the derived class.
class CTicking : public TThread {
 public:
  explicit CTicking(std::atomic<int>& ticks) : ticks_(ticks) {}

 protected:
  std::uint32_t Run() override {
    for (std::atomic<int>& ticks = ticks_;;) {
      ++ticks;
      SleepTick();
    }
  }

 private:
  std::atomic<int>& ticks_;
};

TEST(KillSignal, ThatIsRefusedToADestructorIsSentAgain) {
  std::atomic<int> ticks{0};
  {
    CTicking thread(ticks);
    thread.Create(false, 0);
    thread.Resume();
    while (ticks == 0)
      TThread::SleepTick();
    Refuse("pthread_kill", EAGAIN, 3);
  }
  EXPECT_EQ(TestSupport::refusal.left, 0);
  const int atTheEnd = ticks;
  TThread::Sleep(5);
  EXPECT_EQ(ticks, atTheEnd);
}

// Meets its killer at the state lock, which then makes its semaphore.
class CMeeting : public CProbe {
 public:
  CMeeting()
      : CProbe([this](CProbe& self) {
          self.MarkRunning();
          mayLock_.P();
          self.LockState();
          return 0U;
        }) {}
  ~CMeeting() noexcept(false) override { Kill(0); }

 protected:
  // Under the lock.
  void OnKill(std::uint32_t) override {
    isKillSent = false;
    makingWaits = true;
    mayLock_.V(1);
    while (!isMaking)
      std::this_thread::yield();
  }

 private:
  Qorv::CSem mayLock_{0, 1};
};

// The allocator must not be left locked.
TEST(KillSignal, IsHeldOffWhileALockMakesItsSemaphore) {
  CMeeting thread;
  thread.Create(false, 0);
  thread.Resume();
  thread.AwaitRunning();
  thread.Kill(1);
  EXPECT_TRUE(isMade);
  EXPECT_EQ(thread.GetState(), killed);
}

// Touches nothing of the object once it is marked as running.
class CLingering : public TThread {
 public:
  struct SHARED {
    std::atomic<bool> isRunning{false};
    Qorv::CSem mayEnd{0, 1};
  };
  explicit CLingering(std::shared_ptr<SHARED> shared) : shared_(std::move(shared)) {}

 protected:
  std::uint32_t Run() override {
    const std::shared_ptr<SHARED> shared = shared_;
    shared->isRunning = true;
    shared->mayEnd.P();
    return 3;
  }

 private:
  std::shared_ptr<SHARED> shared_;
};

TEST(KillSignal, ToAThreadThatIsGoneCountsAsAnEnd) {
  const auto shared = std::make_shared<CLingering::SHARED>();
  {
    CLingering thread(shared);
    thread.Create(false, 0);
    thread.Resume();
    while (!shared->isRunning)
      TThread::SleepTick();
    Refuse("pthread_kill", ESRCH);
    thread.Kill(1);
    EXPECT_EQ(thread.GetState(), killed);
    EXPECT_TRUE(thread.Wait(0));
  }
  shared->mayEnd.V(1);
}

}  // namespace
