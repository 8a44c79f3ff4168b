// The fast recursive lock, its lazy semaphore and the scope guard.
#include <gtest/gtest.h>

#include <semaphore.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include <qorv/sync.h>
#include <qorv/thread.h>

#include "support/refusal.h"

namespace {
std::atomic<int> semaphoresMade{0};
std::atomic<int> semaphoresGone{0};
}  // namespace

extern "C" {
int __real_sem_init(sem_t* sem, int shared, unsigned value);   // NOLINT
int __wrap_sem_init(sem_t* sem, int shared, unsigned value) {  // NOLINT
  if (TestSupport::IsRefused("sem_init")) {
    errno = TestSupport::refusal.error;
    return -1;
  }
  ++semaphoresMade;
  return __real_sem_init(sem, shared, value);
}
int __real_sem_destroy(sem_t* sem);   // NOLINT
int __wrap_sem_destroy(sem_t* sem) {  // NOLINT
  ++semaphoresGone;
  const int result = __real_sem_destroy(sem);
  if (!TestSupport::IsRefused("sem_destroy")) return result;
  errno = TestSupport::refusal.error;
  return -1;
}
// Some cases misuse a mutex on purpose and look at what is reported.
const char* __tsan_default_options() {
  return "report_mutex_bugs=0 report_destroy_locked=0";
}  // NOLINT
}

namespace {

using Qorv::FASTKSV_PCLOCK;
using Guard = Qorv::CScopeLock<FASTKSV_PCLOCK>;

// Starts `count` threads that all begin together.
template <class Body>
void Together(int count, Body body) {
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&] {
      ++ready;
      while (ready < count)
        std::this_thread::yield();
      body();
    });
  }
  for (std::thread& thread : threads)
    thread.join();
}

TEST(FastLock, UncontendedLockOwnsNoSemaphore) {
  semaphoresMade = 0;
  FASTKSV_PCLOCK lock;
  for (int i = 0; i < 1000; ++i) {
    Guard outer(lock);
    Guard inner(lock);
  }
  EXPECT_EQ(semaphoresMade, 0);
}

// As made it tries without end.
TEST(FastLock, SpinningLockNeverSleepsOnSeveralProcessors) {
  if (!Qorv::IMPL::MultiProcessor) GTEST_SKIP() << "one processor";
  semaphoresMade = 0;
  Qorv::FASTKSV_SPIN_PCLOCK lock;
  Together(3, [&] {
    for (int i = 0; i < 500; ++i)
      Qorv::CScopeLock<Qorv::FASTKSV_SPIN_PCLOCK> guard(lock);
  });
  EXPECT_EQ(semaphoresMade, 0);
}

TEST(FastLock, ExcludesOthersAndKeepsOneSemaphore) {
  for (int round = 0; round < 50; ++round) {
    semaphoresMade = 0;
    semaphoresGone = 0;
    {
      FASTKSV_PCLOCK lock;
      std::int64_t plainCount = 0;
      Together(4, [&] {
        for (int i = 0; i < 500; ++i) {
          Guard guard(lock);
          ++plainCount;
        }
      });
      EXPECT_EQ(plainCount, 2000);
      // Of concurrent makers all but one have destroyed their own.
      EXPECT_LE(semaphoresMade - semaphoresGone, 1);
    }
    EXPECT_EQ(semaphoresMade, semaphoresGone);
  }
}

TEST(FastLock, RecursionHoldsUntilTheLastLeave) {
  FASTKSV_PCLOCK lock;
  std::atomic<bool> isIn{false};
  lock.Enter();
  lock.Enter();
  std::thread other([&] {
    Guard guard(lock);
    isIn = true;
  });
  lock.Leave();
  for (int i = 0; i < 100; ++i)
    std::this_thread::yield();
  EXPECT_FALSE(isIn);
  lock.Leave();
  other.join();
  EXPECT_TRUE(isIn);
}

struct LockThatFailsToLeave {
  void Enter() {}
  void Leave() { throw std::runtime_error("leaving"); }
};

std::string FailureOf(bool throwsInside) {
  LockThatFailsToLeave lock;
  try {
    Qorv::CScopeLock<LockThatFailsToLeave> guard(lock);
    if (throwsInside) throw std::runtime_error("inside");
  } catch (const std::runtime_error& failure) {
    return failure.what();
  }
  return "none";
}

TEST(ScopeLock, FailureOfLeavingGivesWayToAnotherException) {
  EXPECT_EQ(FailureOf(true), "inside");
  EXPECT_EQ(FailureOf(false), "leaving");
}

TEST(ThreadId, ChildOfForkHasItsOwn) {
  const std::uint64_t parent = Qorv::TThread::CurrentThreadId();
  const pid_t child = ::fork();
  if (child == 0) ::_exit(Qorv::TThread::CurrentThreadId() == static_cast<std::uint64_t>(::getpid()) ? 0 : 1);
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Qorv::TThread::CurrentThreadId(), parent);
}

}  // namespace
