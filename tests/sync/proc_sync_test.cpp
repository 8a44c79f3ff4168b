// Objects that processes share by name, with real processes on them, some of which are killed.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <deque>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <qorv/misc.h>
#include <qorv/sync.h>

#include "support/failure.h"
#include "support/refusal.h"
#include "support/row_name.h"
#include "support/timer_signals.h"

// NOLINTBEGIN
REFUSABLE(pthread_mutexattr_init, (pthread_mutexattr_t * a), (a))
REFUSABLE(pthread_mutexattr_settype, (pthread_mutexattr_t * a, int type), (a, type))
REFUSABLE(pthread_mutexattr_setpshared, (pthread_mutexattr_t * a, int shared), (a, shared))
REFUSABLE(pthread_mutexattr_destroy, (pthread_mutexattr_t * a), (a))
REFUSABLE(pthread_mutex_init, (pthread_mutex_t * m, const pthread_mutexattr_t* a), (m, a))
REFUSABLE(pthread_condattr_init, (pthread_condattr_t * a), (a))
REFUSABLE(pthread_condattr_setpshared, (pthread_condattr_t * a, int shared), (a, shared))
REFUSABLE(pthread_condattr_destroy, (pthread_condattr_t * a), (a))
REFUSABLE(pthread_cond_init, (pthread_cond_t * c, const pthread_condattr_t* a), (c, a))
REFUSABLE_BY_ERRNO(sem_close, (sem_t * sem), (sem))
REFUSABLE_BY_ERRNO(sem_unlink, (const char* name), (name))
// NOLINTEND

namespace {

using namespace Qorv;
using TestSupport::FailureOf;

// A process of its own that runs `step` and ends with what that gives.
class Child {
 public:
  explicit Child(const std::function<int()>& step) : pid_(::fork()) {
    if (pid_ == 0) ::_exit(step());
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() { Await(); }
  // Its status, or 128 and the signal.
  int Await() {
    if (pid_ == 0) return status_;
    int status = 0;
    ::waitpid(std::exchange(pid_, 0), &status, 0);
    return status_ = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  }

 private:
  pid_t pid_;
  int status_ = 0;
};

int Die() {
  ::raise(SIGKILL);
  return 0;
}

class ProcSync : public testing::Test {
 protected:
  static stringEx Name(const char* rest = "") {
    stringEx name;
    return name.format("/qorv-test-%d%s", static_cast<int>(::getpid()), rest);
  }
  // Children go on with the name of this process.
  const stringEx name_ = Name();

  ~ProcSync() override {
    CShMem::Remove(name_);
    CShMem::Remove(name_ + ".lock");
  }
};

TEST_F(ProcSync, MemoryIsTheSameUnderOneName) {
  std::optional<CShMem> first(std::in_place, name_, 100, O_RDWR);
  EXPECT_TRUE(first->IsCreated());
  EXPECT_EQ(std::string(static_cast<const char*>(first->GetPointer()), 100), std::string(100, '\0'));
  std::strcpy(static_cast<char*>(first->GetPointer()), "content");
  first->SetReady();

  Child other([this] {
    const CShMem second(stringEx(name_.data() + 1), 50, O_RDWR);  // without the slash
    const CShMem reader(name_.to_wide(), 100, O_RDONLY);
    return second.IsCreated() || reader.IsCreated() ||
           std::strcmp(static_cast<const char*>(reader.GetPointer()), "content") != 0;
  });
  EXPECT_EQ(other.Await(), 0);

  const CShMem kept(name_, 100, O_RDWR);
  first.reset();
  EXPECT_STREQ(static_cast<const char*>(kept.GetPointer()), "content") << "who has it keeps it";
  EXPECT_FALSE(CShMem::Remove(name_)) << "the first has removed the name";
}

TEST_F(ProcSync, NobodySeesMemoryHalfMade) {
  Child maker([this] {
    CShMem memory(name_, 8, O_RDWR);
    std::strcpy(static_cast<char*>(memory.GetPointer()), "half");
    ::usleep(200'000);
    std::strcpy(static_cast<char*>(memory.GetPointer()), "whole");
    memory.SetReady();
    ::usleep(200'000);
    return 0;
  });
  ::usleep(50'000);
  const CShMem memory(name_, 8, O_RDWR);
  EXPECT_FALSE(memory.IsCreated());
  EXPECT_STREQ(static_cast<const char*>(memory.GetPointer()), "whole");
}

TEST_F(ProcSync, MemoryWhoseMakerWasKilledIsMadeByTheNext) {
  Child maker([this] {
    const CShMem memory(name_, 8, O_RDWR);
    std::strcpy(static_cast<char*>(memory.GetPointer()), "half");
    return Die();
  });
  EXPECT_EQ(maker.Await(), 128 + SIGKILL);
  const CShMem memory(name_, 8, O_RDWR);
  EXPECT_TRUE(memory.IsCreated());
  EXPECT_STREQ(static_cast<const char*>(memory.GetPointer()), "");
}

// By one who has died and whom nobody has taken notice of yet.
TEST_F(ProcSync, MemoryOfAMakerThatIsStillToBeReapedIsMadeByTheNext) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const pid_t maker = ::fork();
  if (maker == 0) {
    const CShMem memory(name_, 8, O_RDWR);
    Die();
  }
  ::close(ends[1]);
  char byte;
  EXPECT_EQ(::read(ends[0], &byte, 1), 0) << "its end goes with it";
  ::close(ends[0]);
  EXPECT_TRUE(CShMem(name_, 20, O_RDWR).IsCreated()) << "and larger, if that is wanted";
  ::waitpid(maker, nullptr, 0);
}

TEST_F(ProcSync, MakerThatGivesUpLetsTheNextBegin) {
  std::optional<CShMem> maker(std::in_place, name_, 8, O_RDWR);
  Child waits([this] {
    const CShMem memory(name_, 8, O_RDWR);
    return memory.IsCreated() && CShMem::Remove(name_) ? 0 : 1;  // under its name
  });
  ::usleep(50'000);
  maker.reset();
  EXPECT_EQ(waits.Await(), 0);
}

TEST_F(ProcSync, ForkedChildDoesNotRemoveTheName) {
  std::optional<CShMem> made(std::in_place, name_, 8, O_RDWR);
  made->SetReady();
  Child child([&] {
    made.reset();
    return 0;
  });
  EXPECT_EQ(child.Await(), 0);
  EXPECT_FALSE(CShMem(name_, 8, O_RDWR).IsCreated());
  // Nor does the maker remove one that others have made meanwhile.
  EXPECT_TRUE(CShMem::Remove(name_));
  CShMem other(name_, 8, O_RDWR);
  other.SetReady();
  made.reset();
  EXPECT_FALSE(CShMem(name_, 8, O_RDWR).IsCreated());
}

TEST_F(ProcSync, MemoryOfOthersIsRefused) {
  const int descriptor = ::shm_open(name_.data(), O_RDWR | O_CREAT, 0600);
  ASSERT_EQ(::write(descriptor, "theirs, and no block", 20), 20);
  EXPECT_THROW(CShMem(name_, 8, O_RDWR), shmemExp);
  char content[20];
  EXPECT_EQ(::pread(descriptor, content, sizeof(content), 0), 20);
  EXPECT_EQ(std::string(content, 6), "theirs");
  ::close(descriptor);
}

TEST_F(ProcSync, MemoryThatCannotBeHadIsTold) {
  CShMem first(name_, 10, O_RDWR);
  first.SetReady();
  const std::string heading = "4: CShMem::CShMem - failed open shared memory\n  memory name = ";
  EXPECT_EQ(FailureOf<shmemExp>([this] { CShMem(name_, 11, O_RDWR); }),
            heading + name_.data() +
                "\n  memory size = 11\n  error code  = 17\n"
                "  error desc  = the shared memory is smaller than that");
  EXPECT_EQ(FailureOf<shmemExp>([] { CShMem(Name("none"), 1, O_RDONLY); }),
            heading + Name("none").data() +
                "\n  memory size = 1\n  error code  = 2\n  error desc  = the shared memory does not exist");
  const std::string longName(300, 'x');
  EXPECT_EQ(FailureOf<shmemExp>([&] { CShMem(stringEx(longName.c_str()), 1, O_RDWR); }),
            heading + "/" + longName +
                "\n  memory size = 1\n  error code  = 36\n  error desc  = shared memory name is too long");
  EXPECT_EQ(
      FailureOf<shmemExp>([] { CShMem(Name("huge"), ~std::uint64_t{0}, O_RDWR); }),
      "23: CShMem::CShMem - failed open shared memory\n  memory name = " + std::string(Name("huge").data()) +
          "\n  memory size = 18446744073709551615\n  error code  = 27\n  error desc  = size too big");
}

TEST_F(ProcSync, MutexLetsOneProcessInAtATime) {
  constexpr int rounds = 20'000;
  CShMem memory(name_ + ".count", sizeof(long), O_RDWR);
  memory.SetReady();
  auto* const count = static_cast<volatile long*>(memory.GetPointer());
  const CProcMutex first(name_);  // so that the name stays until both are through
  const auto add = [&] {
    CProcMutex mutex(name_);
    for (int i = 0; i < rounds; ++i) {
      mutex.Lock();
      mutex.Lock();
      *count = *count + 1;
      mutex.Unlock();
      mutex.Unlock();
    }
    return 0;
  };
  Child one(add);
  Child two(add);
  EXPECT_EQ(one.Await() + two.Await(), 0);
  EXPECT_EQ(*count, 2 * rounds);
}

TEST_F(ProcSync, HeldMutexIsRefusedToOthersAndCannotBeUnlockedByThem) {
  CProcMutex mutex(name_);
  mutex.Lock();
  Child other([this] {
    CProcMutex same(name_.to_wide());
    if (same.TryLock() || same.TimedLock(0) || same.TimedLock(20)) return 1;
#if defined(__SANITIZE_THREAD__)  // which ends the process that does it
    return 0;
#else
    return FailureOf<mutexExp>([&] { same.Unlock(); }) ==
                   "5: CProcMutex::Unlock - failed unlock mutex\n  error code = 1\n"
                   "  error desc = the current thread does not own the mutex"
               ? 0
               : 2;
#endif
  });
  EXPECT_EQ(other.Await(), 0);
  mutex.Unlock();
}

TEST_F(ProcSync, MutexOfAKilledHolderGoesToTheNext) {
  CProcMutex mutex(name_);
  Child holder([this] {
    CProcMutex same(name_);
    same.Lock();
    same.Lock();
    return Die();
  });
  EXPECT_EQ(holder.Await(), 128 + SIGKILL);
  EXPECT_TRUE(mutex.TryLock());
  EXPECT_TRUE(mutex.WasAbandoned());
  EXPECT_FALSE(mutex.WasAbandoned());
  mutex.Unlock();
  mutex.Lock();
  EXPECT_FALSE(mutex.WasAbandoned());
  mutex.Unlock();
}

TEST_F(ProcSync, EventWakesWaitersInOtherProcesses) {
  CProcEvent event(name_);
  const auto wait = [this] {
    CProcEvent same(name_);
    return same.IsCreated() || !same.WaitEvent() ? 1 : 0;
  };
  Child one(wait);
  Child two(wait);
  ::usleep(50'000);
  event.RaiseEvent();
  EXPECT_EQ(one.Await() + two.Await(), 0);
  EXPECT_TRUE(CProcEvent(name_).IsRaised()) << "it is not made anew";
  EXPECT_TRUE(event.TimedWaitEvent(0));
  event.ResetEvent();
  EXPECT_FALSE(event.TimedWaitEvent(0));
  EXPECT_FALSE(event.TimedWaitEvent(130));
  timespec past{1, 0};
  EXPECT_FALSE(event.TimedWaitEvent(past));
}

TEST_F(ProcSync, EventSurvivesAProcessThatIsKilledInsideAnOperation) {
  CProcEvent event(name_);
  Child holder([this] {
    CProcMutex guard(name_ + ".lock");
    guard.Lock();
    return Die();
  });
  EXPECT_EQ(holder.Await(), 128 + SIGKILL);
  event.RaiseEvent();
  EXPECT_TRUE(event.WaitEvent());
}

TEST_F(ProcSync, SemaphoreCountsOverProcesses) {
  CProcSem sem(name_, 1);
  EXPECT_TRUE(sem.IsCreated());
  EXPECT_TRUE(sem.TryP());
  Child other([this] {
    // Not destroyed: its destructor would remove the name.
    auto* const same = new CProcSem(stringEx(name_.data() + 1), 7);
    if (same->IsCreated() || same->TryP()) return 1;
    if (!same->TimedP(10'000)) return 2;
    same->V(2);
    return 0;
  });
  ::usleep(20'000);
  sem.V();
  EXPECT_EQ(other.Await(), 0);
  EXPECT_TRUE(sem.P());
  EXPECT_TRUE(sem.P());
  EXPECT_FALSE(sem.TimedP(1));
}

TEST_F(ProcSync, SemaphoresNameGoesWithTheFirst) {
  std::optional<CProcSem> first(std::in_place, name_, 0);
  std::optional<CProcSem> second(std::in_place, name_.to_wide());
  first.reset();
  EXPECT_EQ(
      FailureOf<semExp>([this] { CProcSem{name_}; }),
      std::string("2: CProcSem/OpenNamedSemaphore - failed create named semaphore\n  semaphore name = ") +
          name_.data() + "\n  error code     = 2\n  error desc     = the named semaphore does not exist");
  second->V();
  EXPECT_TRUE(second->P());
  EXPECT_NO_THROW(second.reset());
}

struct RefusedSemRow {
  const char* name;
  std::string given;
  std::uint32_t value;
  const char* expected;
};

class RefusedSems : public testing::TestWithParam<RefusedSemRow> {};

TEST_P(RefusedSems, AreTold) {
  const std::string given = GetParam().given;
  EXPECT_EQ(FailureOf<semExp>([&] { CProcSem(stringEx(given.c_str()), GetParam().value); }),
            "1: CProcSem/CreateNamedSemaphore - failed create named semaphore\n  semaphore name = /" + given +
                GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedSems,
    testing::Values(RefusedSemRow{"TooLong", std::string(300, 'x'), 0,
                                  "\n  error code     = 36\n  error desc     = semaphore name is too long"},
                    RefusedSemRow{"TooMuch", "qorv-test-much", 0x80000000,
                                  "\n  error code     = 22\n"
                                  "  error desc     = unsupport name or value is too big"},
                    RefusedSemRow{"NoName", "", 0,
                                  "\n  error code     = 22\n"
                                  "  error desc     = unsupport name or value is too big"}),
    rowName);

TEST_F(ProcSync, HeldMutexIsNotDestroyedWithoutAWord) {
  const CProcMutex other(name_);
  EXPECT_EQ(FailureOf<mutexExp>([this] {
              CProcMutex mutex(name_);
              mutex.Lock();
              mutex.Lock();
            }),
            "3: CProcMutex::~CProcMutex - failed close mutex\n  error code = 16\n"
            "  error desc = attempt to destroy a locked mutex");
  Child takes([this] {
    CProcMutex mutex(name_);
    if (!mutex.TryLock()) return 1;
    mutex.Unlock();
    return 0;
  });
  EXPECT_EQ(takes.Await(), 0) << "it has been unlocked";
}

TEST_F(ProcSync, EventIsRemovedWithItsLock) {
  CProcEvent event(name_);
  EXPECT_TRUE(CProcEvent::Remove(name_));
  EXPECT_FALSE(CShMem::Remove(name_ + ".lock"));
  EXPECT_FALSE(CProcEvent::Remove(name_));
  const timespec invalid{0, 2'000'000'000};
  EXPECT_EQ(FailureOf<eventExp>([&] { event.TimedWaitEvent(invalid); }),
            "4: CProcEvent/TimedWaitEvent - failed wait event\n  error code = 22\n"
            "  error desc = the value specified by cond, mutex or timeout is invalid");
}

TEST_F(ProcSync, SignalsBreakNothingOff) {
  using TestSupport::Later;
  using Clock = std::chrono::steady_clock;
  const TestSupport::TimerSignals signals;
  CProcSem sem(name_, 0);
  CProcMutex mutex(name_);
  CProcEvent event(name_ + "-event");
  const auto raise = [&] {
    event.RaiseEvent();
    event.ResetEvent();
  };
  {
    const Later later([&] { sem.V(2); });
    EXPECT_TRUE(sem.P());
    EXPECT_TRUE(sem.TimedP(10'000));
  }
  {
    const Later later(raise);
    EXPECT_TRUE(event.WaitEvent());
  }
  {
    const Later later(raise);
    EXPECT_TRUE(event.TimedWaitEvent(10'000));
  }
  for (const bool isTimed : {false, true}) {
    const Child holder([&] {
      mutex.Lock();
      ::usleep(100'000);
      mutex.Unlock();
      return 0;
    });
    while (mutex.TryLock()) {
      mutex.Unlock();
      ::usleep(1000);
    }
    if (isTimed) {
      EXPECT_TRUE(mutex.TimedLock(10'000));
    } else {
      mutex.Lock();
    }
    mutex.Unlock();
  }
  const Clock::time_point start = Clock::now();
  EXPECT_FALSE(sem.TimedP(50));
  EXPECT_FALSE(event.TimedWaitEvent(50));
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(100)) << "to the end of their time";
  EXPECT_GT(signals.Count(), 50);
}

// The numbers of the files behind an event and its mutex, as the memory map tells them.
std::pair<long, long> FilesOf(const stringEx& name) {
  std::pair<long, long> files{-1, -1};
  std::ifstream map("/proc/self/maps");
  const std::string path = "/dev/shm" + std::string(name);
  for (std::string line; std::getline(map, line);) {
    std::istringstream fields(line);
    std::string range, rights, offset, device, mapped;
    long node = 0;
    fields >> range >> rights >> offset >> device >> node >> mapped;
    if (mapped == path) files.first = node;
    if (mapped == path + ".lock") files.second = node;
  }
  return files;
}

// All who share an event share its mutex, also with openers that come while its creator goes.
TEST_F(ProcSync, EventKeepsItsLock) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  {
    std::deque<Child> children;
    for (unsigned child = 0; child < 4; ++child)
      children.emplace_back([this, child, &ends] {
        std::minstd_rand random(child + 1);
        for (int i = 0; i < 300; ++i) {
          const CProcEvent event(name_);
          const auto files = FilesOf(name_);
          if (::write(ends[1], &files, sizeof(files)) != sizeof(files)) return 1;
          ::usleep(static_cast<useconds_t>(random() % 200));
        }
        return 0;
      });
    ::close(ends[1]);
    std::map<long, long> locks;
    int mixed = 0;
    for (std::pair<long, long> files; ::read(ends[0], &files, sizeof(files)) == sizeof(files);)
      mixed += locks.emplace(files).first->second != files.second || files.second < 0 ? 1 : 0;
    EXPECT_EQ(mixed, 0);
    EXPECT_GT(locks.size(), 1U);
    for (Child& child : children)
      EXPECT_EQ(child.Await(), 0);
  }
  ::close(ends[0]);
}

struct RefusedStepRow {
  const char* name;
  const char* call;
  bool isEvent;
  int passed;
  int error;
  const char* expected;
};

class RefusedSteps : public ProcSync, public testing::WithParamInterface<RefusedStepRow> {};

TEST_P(RefusedSteps, AreToldAndLeaveNothing) {
  const RefusedStepRow& row = GetParam();
  TestSupport::Refuse(row.call, row.error, 1, row.passed);
  const std::string told = row.isEvent ? FailureOf<eventExp>([this] { CProcEvent{name_}; })
                                       : FailureOf<mutexExp>([this] { CProcMutex{name_}; });
  EXPECT_EQ(told, row.expected);
  EXPECT_FALSE(CShMem::Remove(name_));
  EXPECT_FALSE(CShMem::Remove(name_ + ".lock"));
}

#define MUTEX "1: CProcMutex/CreateNamedMutex - failed "
#define EVENT "1: CProcEvent/CreateNamedEvent - failed "
INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedSteps,
    testing::Values(RefusedStepRow{"MutexAttributes", "pthread_mutexattr_init", false, 0, ENOMEM,
                                   MUTEX "create mutex attribute\n  error code = 12\n"
                                         "  error desc = insufficient memory exists to initialize the attrs"},
                    RefusedStepRow{"MutexType", "pthread_mutexattr_settype", false, 0, EINVAL,
                                   MUTEX "create mutex (set type)\n  error code = 22\n"
                                         "  error desc = attr's type value is invalid"},
                    RefusedStepRow{"MutexShared", "pthread_mutexattr_setpshared", false, 0, EINVAL,
                                   MUTEX "create mutex (set shared)\n  error code = 22\n"
                                         "  error desc = the process-shared attribute is invalid"},
                    RefusedStepRow{"MutexMade", "pthread_mutex_init", false, 0, EAGAIN,
                                   MUTEX "create mutex\n  error code = 11\n"
                                         "  error desc = the system lacked the necessary resources"},
                    RefusedStepRow{"MutexAttributesEnd", "pthread_mutexattr_destroy", false, 0, EINVAL,
                                   MUTEX "release mutex attribute\n  error code = 22\n"
                                         "  error desc = the value specified by attr is invalid"},
                    RefusedStepRow{"EventAttributes", "pthread_condattr_init", true, 0, ENOMEM,
                                   EVENT "create event attribute\n  error code = 12\n"
                                         "  error desc = insufficient memory exists to initialize the attrs"},
                    RefusedStepRow{"EventShared", "pthread_condattr_setpshared", true, 0, EINVAL,
                                   EVENT "create event (set shared)\n  error code = 22\n"
                                         "  error desc = the process-shared attribute is invalid"},
                    RefusedStepRow{
                        "EventMade", "pthread_cond_init", true, 0, ENOMEM,
                        "1: CProcEvent/CEvent::CEvent - failed create named event\n  error code = 12\n"
                        "  error desc = insufficient memory"},
                    RefusedStepRow{"EventAttributesEnd", "pthread_condattr_destroy", true, 0, EINVAL,
                                   EVENT "release event attribute\n  error code = 22\n"
                                         "  error desc = the value specified by attr is invalid"}),
    rowName);

TEST_F(ProcSync, SemaphoreThatCannotBeLetGoIsTold) {
  for (const auto& [call, words] : {std::pair("sem_close", "failed close named semaphore"),
                                    std::pair("sem_unlink", "failed unlink the named semaphore")}) {
    EXPECT_EQ(FailureOf<semExp>([this, call = call] {
                const CProcSem sem(name_, 0);
                TestSupport::Refuse(call, EINVAL);
              }),
              std::string("3: CProcSem::~CProcSem - ") + words + "\n  semaphore name = " + name_.data() +
                  "\n  error code     = 22\n  error desc     = unsupport name or value is too big");
    ::sem_unlink(name_.data());
  }
}

}  // namespace
