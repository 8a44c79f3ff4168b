// Every way into a lock in each of its states, and what ends a wait: limits of time, deadlines, signals.
#include <gtest/gtest.h>

#include <pthread.h>
#include <signal.h>
#include <time.h>

#include <atomic>
#include <limits>
#include <thread>

#include <qorv/sync.h>
#include <qorv/thread.h>

#include "support/actor.h"
#include "support/asleep.h"
#include "support/failure.h"

namespace {

using Qorv::CEvent;
using Qorv::CMutex;
using Qorv::CSem;
using TestSupport::CActor;
using TestSupport::FailureOf;

constexpr std::uint32_t longest = Qorv::waitForever - 1;

struct Mutex {
  void Enter() { lock.Lock(); }
  bool TimedEnter(std::uint32_t limit) { return limit == 0 ? lock.TryLock() : lock.TimedLock(limit); }
  void Leave() { lock.Unlock(); }
  CMutex lock;
};

template <class Lock>
struct Fast {
  Fast() {
    if constexpr (requires { lock.SetSpinCount(20); }) lock.SetSpinCount(20);
  }
  void Enter() { lock.Enter(); }
  bool TimedEnter(std::uint32_t limit) { return lock.TimedEnter(limit); }
  void Leave() { lock.Leave(); }
  Lock lock;
};

template <class Form>
class LockState : public testing::Test {
 public:
  ~LockState() noexcept override = default;

 protected:
  bool Tries(CActor& actor, std::uint32_t limit) {
    bool isIn = false;
    actor.Do([&] { isIn = lock.TimedEnter(limit); });
    return isIn;
  }
  Form lock;
  CActor another;
};

using Forms = testing::Types<Mutex, Fast<Qorv::FASTKSV_PCLOCK>, Fast<Qorv::FASTKSV_SPIN_PCLOCK>,
                             Fast<Qorv::IMPL::CFastLock<Qorv::IMPL::CFixedSpin<800>>>>;
TYPED_TEST_SUITE(LockState, Forms);

TYPED_TEST(LockState, FreeOneIsEnteredInEveryWay) {
  for (const std::uint32_t limit : {0U, 1U, 11U, longest, Qorv::waitForever}) {
    EXPECT_TRUE(this->lock.TimedEnter(limit));
    EXPECT_FALSE(this->Tries(this->another, 0));
    this->lock.Leave();
    EXPECT_TRUE(this->Tries(this->another, 0));
    this->another.Do([this] { this->lock.Leave(); });
  }
}

TYPED_TEST(LockState, OwnOneIsEnteredDeeper) {
  this->lock.Enter();
  for (const std::uint32_t limit : {0U, 1U, longest, Qorv::waitForever})
    EXPECT_TRUE(this->lock.TimedEnter(limit));
  for (int depth = 5; depth > 0; --depth) {
    EXPECT_FALSE(this->Tries(this->another, 0));
    this->lock.Leave();
  }
  EXPECT_TRUE(this->Tries(this->another, 0));
  this->another.Do([this] { this->lock.Leave(); });
}

TYPED_TEST(LockState, OneOfAnotherIsNotEnteredInTime) {
  this->another.Do([this] { this->lock.Enter(); });
  for (const std::uint32_t limit : {0U, 1U, 25U})
    EXPECT_FALSE(this->lock.TimedEnter(limit));
  this->another.Do([this] { this->lock.Leave(); });
  EXPECT_TRUE(this->lock.TimedEnter(0));  // nothing of the attempts is left
  this->lock.Leave();
}

TYPED_TEST(LockState, OneOfAnotherIsWaitedFor) {
  for (const std::uint32_t limit : {longest, Qorv::waitForever}) {
    this->lock.Enter();
    std::atomic<bool> isIn{false};
    this->another.StartAndBlock([&] { isIn = this->lock.TimedEnter(limit); });
    EXPECT_FALSE(isIn);
    this->lock.Leave();
    this->another.Finish();
    EXPECT_TRUE(isIn);
    EXPECT_FALSE(this->lock.TimedEnter(0));
    this->another.Do([this] { this->lock.Leave(); });
  }
}

// The lock is handed over: who leaves it cannot come back before the one who waited.
TEST(FastLock, WaiterIsNotOvertaken) {
  Qorv::FASTKSV_PCLOCK lock;
  CActor waiter;
  lock.Enter();
  waiter.StartAndBlock([&] { lock.Enter(); });
  lock.Leave();
  EXPECT_FALSE(lock.TimedEnter(0));
  waiter.Finish();
  waiter.Do([&] { lock.Leave(); });
  EXPECT_TRUE(lock.TimedEnter(0));
  lock.Leave();
}

TEST(FastLock, LimitBelowZeroIsNone) {
  Qorv::FASTKSV_PCLOCK lock;
  CActor another;
  lock.Enter();
  another.StartAndBlock([&] { EXPECT_TRUE(lock.TimedEnter(-1)); });
  lock.Leave();
  another.Finish();
  another.Do([&] { lock.Leave(); });
}

TEST(Mutex, LockedFromTheStartNeedsTwoUnlocks) {
  CMutex mutex(true);
  mutex.Lock();
  mutex.Unlock();
  CActor stranger;
  stranger.Do([&] {
    EXPECT_FALSE(mutex.TryLock());
    EXPECT_EQ(FailureOf<Qorv::mutexExp>([&] { mutex.Unlock(); }),
              "5: CMutex::Unlock - failed unlock mutex\n  error code = 1\n"
              "  error desc = the current thread does not own the mutex");
  });
  mutex.Unlock();
  stranger.Do([&] {
    EXPECT_TRUE(mutex.TryLock());
    mutex.Unlock();
  });
}

TEST(Mutex, DestroyingAHeldOneIsReported) {
  EXPECT_EQ(FailureOf<Qorv::mutexExp>([] { CMutex mutex(true); }),
            "3: CMutex::~CMutex - failed close mutex\n  error code = 16\n"
            "  error desc = attempt to destroy a locked mutex");
}

timespec Now(long ahead) {
  timespec now;
  ::clock_gettime(CLOCK_REALTIME, &now);
  now.tv_sec += ahead;
  return now;
}

TEST(Deadline, InThePastOnlyTakesWhatIsThere) {
  CSem sem(1, 1);
  EXPECT_TRUE(sem.TimedP(Now(-1)));
  EXPECT_FALSE(sem.TimedP(Now(-1)));
  CEvent event(false);
  EXPECT_FALSE(event.TimedWaitEvent(Now(-1)));
  event.RaiseEvent();
  EXPECT_TRUE(event.TimedWaitEvent(Now(-1)));
  CMutex mutex;
  CActor another;
  another.Do([&] { EXPECT_TRUE(mutex.TimedLock(Now(-1))); });
  EXPECT_FALSE(mutex.TimedLock(Now(-1)));
  another.Do([&] { mutex.Unlock(); });
}

TEST(Deadline, ThatIsNoTimeIsRefused) {
  timespec broken = Now(60);
  broken.tv_nsec = 1'000'000'000;
  EXPECT_EQ(FailureOf<Qorv::semExp>([&] { CSem(0, 1).TimedP(broken); }),
            "4: CSem/TimedWait - failed P a semaphore\n  error code = 22\n"
            "  error desc = invalid semaphore obj or invalid timeout argument");
  EXPECT_EQ(FailureOf<Qorv::eventExp>([&] { CEvent(false).TimedWaitEvent(broken); }),
            "4: CEvent/TimedWaitEvent - failed wait event\n  error code = 22\n"
            "  error desc = the value specified by cond, mutex or timeout is invalid");
}

using Wait = bool (*)(CSem& sem);

// Waits that a signal interrupts go on, also those with the longest limit.
TEST(Signal, DoesNotEndAWait) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  ASSERT_EQ(::sigaction(SIGUSR1, &action, nullptr), 0);
  for (const Wait wait :
       {Wait([](CSem& sem) { return sem.P(); }), Wait([](CSem& sem) { return sem.TimedP(longest); }),
        Wait([](CSem& sem) { return sem.TimedP(Now(3600)); })}) {
    CSem sem(0, 1);
    CActor waiter;
    pthread_t handle{};
    std::uint64_t id = 0;
    waiter.Do([&] {
      handle = ::pthread_self();
      id = Qorv::TThread::CurrentThreadId();
    });
    std::atomic<bool> isThrough{false};
    waiter.StartAndBlock([&] { isThrough = wait(sem); });
    for (int i = 0; i < 3; ++i) {
      ASSERT_EQ(::pthread_kill(handle, SIGUSR1), 0);
      TestSupport::AwaitAsleep(id);
    }
    EXPECT_FALSE(isThrough);
    sem.V();
    waiter.Finish();
    EXPECT_TRUE(isThrough);
  }
}

TEST(Event, IsWaitedForWithTheLongestLimit) {
  CEvent event(false);
  CActor waiter;
  waiter.StartAndBlock([&] { EXPECT_TRUE(event.TimedWaitEvent(longest)); });
  event.RaiseEvent();
  waiter.Finish();
}

}  // namespace
