// What the fast reader-writer lock alone promises: places for 8192 in a process, and no call of the system.
#include <gtest/gtest.h>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>
#include <vector>

#include <qorv/sync.h>

#include "support/actor.h"
#include "support/failure.h"

namespace {

using TestSupport::CActor;
using TestSupport::FailureOf;

TEST(CFastRWSpinLock, TimeEndsAWaitOfAnySpinCount) {
  Qorv::CFastRWSpinLock lock;
  lock.SetSpinCount(~0U);
  Qorv::CFastWriterSpinLock writer(lock);
  CActor().Do([&] {
    EXPECT_FALSE(Qorv::CFastReaderSpinLock(lock, false).__TimedLock(1));
    EXPECT_FALSE(Qorv::CFastWriterSpinLock(lock, false).__TimedLock(1));
  });
}

TEST(CFastRWSpinLock, ProcessHas8192) {
  std::vector<Qorv::CFastRWSpinLock> locks(8192);
  const auto makeAnother = [] { Qorv::CFastRWSpinLock another; };
  for (int i = 0; i < 2; ++i) {  // a refusal costs no place
    EXPECT_EQ(FailureOf<Qorv::rwlExp>(makeAnother),
              "1: AllocIndex - max count exceeded for the custom size spin rw-lock");
  }
  locks.push_back(locks.front());  // a copy takes none
  locks.erase(locks.begin() + 5000);
  EXPECT_EQ(FailureOf<Qorv::rwlExp>(makeAnother), "no failure");

  // No two share a place: what a thread holds of one does not count for another.
  std::vector<std::unique_ptr<Qorv::CFastReaderSpinLock>> holds;
  for (Qorv::CFastRWSpinLock& lock : locks)
    holds.push_back(std::make_unique<Qorv::CFastReaderSpinLock>(lock));
  CActor().Do([&] {
    for (std::size_t i = 1; i + 1 < locks.size(); ++i) {
      Qorv::CFastReaderSpinLock reader(locks[i]);
      ASSERT_FALSE(Qorv::CFastWriterSpinLock(locks[i], false).__TimedLock(0)) << i;
    }
  });
  holds.clear();
}

// In a full process the new lock has the place of the one that has gone.
TEST(CFastRWSpinLock, PlaceComesBackWithoutCounts) {
  std::vector<Qorv::CFastRWSpinLock> locks(8191);
  {
    Qorv::CFastRWSpinLock old;
    Qorv::CFastReaderSpinLock first(old);
    Qorv::CFastReaderSpinLock second(old);
    Qorv::CFastWriterSpinLock writer(old);
    first.__Unlock();
  }
  Qorv::CFastRWSpinLock lock;
  CActor other;
  std::optional<Qorv::CFastReaderSpinLock> otherReader;
  other.Do([&] { otherReader.emplace(lock); });
  EXPECT_FALSE(Qorv::CFastWriterSpinLock(lock, false).__TimedLock(0));
  other.Do([&] { otherReader.reset(); });
}

#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)  // which make calls of their own

// From now on the process dies of any call of the system by this thread but its own end. False if it cannot be had.
bool ForbidSystemCalls() {
  sock_filter steps[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
  };
  const sock_fprog filter{std::size(steps), steps};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

TEST(CFastRWSpinLock, MakesNoSystemCall) {
  Qorv::CFastRWSpinLock lock;
  const pid_t child = ::fork();
  if (child == 0) {
    if (!ForbidSystemCalls()) ::_exit(1);
    {
      Qorv::CFastReaderSpinLock reader(lock);
      Qorv::CFastReaderSpinLock again(lock);
      Qorv::CFastWriterSpinLock writer(lock);
    }
    { Qorv::CFastWriterSpinLock writer(lock); }
    ::_exit(0);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 1) GTEST_SKIP() << "no system call can be forbidden here";
  EXPECT_EQ(status, 0);
}

#endif

}  // namespace
