// What the system refuses a semaphore, a mutex and an event, and how it is told.
#include <gtest/gtest.h>

#include <pthread.h>
#include <semaphore.h>

#include <memory>
#include <string>

#include <qorv/sync.h>

#include "support/failure.h"
#include "support/refusal.h"
#include "support/row_name.h"

REFUSABLE_BY_ERRNO(sem_wait, (sem_t * sem), (sem))
REFUSABLE_BY_ERRNO(sem_trywait, (sem_t * sem), (sem))
REFUSABLE_BY_ERRNO(sem_timedwait, (sem_t * sem, const timespec* limit), (sem, limit))
REFUSABLE_BY_ERRNO(sem_post, (sem_t * sem), (sem))
REFUSABLE(pthread_mutexattr_init, (pthread_mutexattr_t * a), (a))
REFUSABLE(pthread_mutexattr_settype, (pthread_mutexattr_t * a, int type), (a, type))
REFUSABLE(pthread_mutexattr_destroy, (pthread_mutexattr_t * a), (a))
REFUSABLE(pthread_mutex_init, (pthread_mutex_t * m, const pthread_mutexattr_t* a), (m, a))
REFUSABLE(pthread_mutex_lock, (pthread_mutex_t * m), (m))
REFUSABLE(pthread_mutex_trylock, (pthread_mutex_t * m), (m))
REFUSABLE(pthread_mutex_timedlock, (pthread_mutex_t * m, const timespec* limit), (m, limit))
REFUSABLE(pthread_mutex_unlock, (pthread_mutex_t * m), (m))
REFUSABLE(pthread_mutex_destroy, (pthread_mutex_t * m), (m))
REFUSABLE(pthread_cond_init, (pthread_cond_t * c, const pthread_condattr_t* a), (c, a))
REFUSABLE(pthread_cond_wait, (pthread_cond_t * c, pthread_mutex_t* m), (c, m))
REFUSABLE(pthread_cond_timedwait, (pthread_cond_t * c, pthread_mutex_t* m, const timespec* limit),
          (c, m, limit))
REFUSABLE(pthread_cond_broadcast, (pthread_cond_t * c), (c))
REFUSABLE(pthread_cond_destroy, (pthread_cond_t * c), (c))

namespace {

using Qorv::CEvent;
using Qorv::CMutex;
using Qorv::CSem;
using TestSupport::FailureOf;
using TestSupport::Refuse;

void MakeSem() {
  CSem sem(1, 1);
}
void WaitForSem() {
  CSem(1, 1).P();
}
void TrySem() {
  CSem(1, 1).TryP();
}
void WaitForSemInTime() {
  CSem(0, 1).TimedP(60'000);
}
void RaiseSem() {
  CSem(0, 1).V();
}
void MakeMutex() {
  CMutex mutex;
}
void LockMutex() {
  CMutex mutex(true);
}
void TryMutex() {
  CMutex().TryLock();
}
void LockMutexInTime() {
  CMutex().TimedLock(60'000);
}
void UnlockMutex() {
  CMutex mutex;
  mutex.Lock();
  try {
    mutex.Unlock();
  } catch (...) {
    mutex.Unlock();
    throw;
  }
}
void MakeEvent() {
  CEvent event(false);
}
void WaitForEvent() {
  CEvent(false).WaitEvent();
}
void WaitForEventInTime() {
  CEvent(false).TimedWaitEvent(60'000);
}
void RaiseEvent() {
  CEvent(false).RaiseEvent();
}

using Step = void (*)();

struct RefusalRow {
  const char* name;
  std::string (*told)(Step&&);
  Step step;
  const char* call;
  int error;
  const char* failure;  // the fields of an error come behind it
  const char* words;
};

constexpr auto sem = FailureOf<Qorv::semExp, Step>;
constexpr auto mutex = FailureOf<Qorv::mutexExp, Step>;
constexpr auto event = FailureOf<Qorv::eventExp, Step>;

const char* const unknown = "unexpect system error: Input/output error";

const RefusalRow refusalRows[] = {
    {"SemMadeInvalid", sem, MakeSem, "sem_init", EINVAL, "1: CSem::__Init - failed create semaphore",
     "the init value exceeds max limited"},
    {"SemMadeNoSpace", sem, MakeSem, "sem_init", ENOSPC, "1: CSem::__Init - failed create semaphore",
     "the max semaphores limit has been reached"},
    {"SemMadeNotPermitted", sem, MakeSem, "sem_init", EPERM, "1: CSem::__Init - failed create semaphore",
     "permission denied"},
    {"SemMadeUnknown", sem, MakeSem, "sem_init", EIO, "1: CSem::__Init - failed create semaphore", unknown},
    {"SemWaitInvalid", sem, WaitForSem, "sem_wait", EINVAL, "4: CSem::P - failed P a semaphore",
     "current object is not a valid semaphore"},
    {"SemWaitDeadlock", sem, WaitForSem, "sem_wait", EDEADLK, "4: CSem::P - failed P a semaphore",
     "deadlock detected"},
    {"SemWaitUnknown", sem, WaitForSem, "sem_wait", EIO, "4: CSem::P - failed P a semaphore", unknown},
    {"SemTryInvalid", sem, TrySem, "sem_trywait", EINVAL, "4: CSem::P - failed P a semaphore",
     "current object is not a valid semaphore"},
    {"SemTimedInvalid", sem, WaitForSemInTime, "sem_timedwait", EINVAL,
     "4: CSem/TimedWait - failed P a semaphore", "invalid semaphore obj or invalid timeout argument"},
    {"SemTimedDeadlock", sem, WaitForSemInTime, "sem_timedwait", EDEADLK,
     "4: CSem/TimedWait - failed P a semaphore", "deadlock detected"},
    {"SemTimedUnknown", sem, WaitForSemInTime, "sem_timedwait", EIO,
     "4: CSem/TimedWait - failed P a semaphore", unknown},
    {"SemRaised", sem, RaiseSem, "sem_post", EIO, "4: CSem::P - failed P a semaphore",
     "current object is not a valid semaphore"},
    {"SemGoneBusy", sem, MakeSem, "sem_destroy", EBUSY, "3: CSem::~CSem - failed destroy semaphore",
     "there are currently processes blocked on the semaphore"},
    {"SemGoneInvalid", sem, MakeSem, "sem_destroy", EINVAL, "3: CSem::~CSem - failed destroy semaphore",
     "current object is not a valid semaphore"},

    {"MutexAttributes", mutex, MakeMutex, "pthread_mutexattr_init", ENOMEM,
     "1: CMutex::CMutex - failed create mutex attribute",
     "insufficient memory exists to initialize the attrs"},
    {"MutexType", mutex, MakeMutex, "pthread_mutexattr_settype", EINVAL,
     "1: CMutex::CMutex - failed create mutex (set type)", "attr's type value is invalid"},
    {"MutexAttributesEnd", mutex, MakeMutex, "pthread_mutexattr_destroy", EINVAL,
     "1: CMutex::CMutex - failed release mutex attribute", "the value specified by attr is invalid"},
    {"MutexMadeAgain", mutex, MakeMutex, "pthread_mutex_init", EAGAIN,
     "1: CMutex::CMutex - failed create mutex", "the system lacked the necessary resources"},
    {"MutexMadeNoMemory", mutex, MakeMutex, "pthread_mutex_init", ENOMEM,
     "1: CMutex::CMutex - failed create mutex", "insufficient memory"},
    {"MutexMadeBusy", mutex, MakeMutex, "pthread_mutex_init", EBUSY,
     "1: CMutex::CMutex - failed create mutex", "attempt to reinitialize the mutex"},
    {"MutexMadeInvalid", mutex, MakeMutex, "pthread_mutex_init", EINVAL,
     "1: CMutex::CMutex - failed create mutex", "invalid attr object"},
    {"MutexMadeUnknown", mutex, MakeMutex, "pthread_mutex_init", EIO,
     "1: CMutex::CMutex - failed create mutex", unknown},
    {"MutexLockInvalid", mutex, LockMutex, "pthread_mutex_lock", EINVAL,
     "4: CMutex::Lock - failed lock mutex", "mutex object does not correctly initialized"},
    {"MutexLockTooOften", mutex, LockMutex, "pthread_mutex_lock", EAGAIN,
     "4: CMutex::Lock - failed lock mutex", "maximum number of recursive locks has been exceeded"},
    {"MutexLockDeadlock", mutex, LockMutex, "pthread_mutex_lock", EDEADLK,
     "4: CMutex::Lock - failed lock mutex", "deadlock detected"},
    {"MutexTryTooOften", mutex, TryMutex, "pthread_mutex_trylock", EAGAIN,
     "4: CMutex::TryLock - failed lock mutex", "maximum number of recursive locks has been exceeded"},
    {"MutexTimedDeadlock", mutex, LockMutexInTime, "pthread_mutex_timedlock", EDEADLK,
     "4: CMutex/TimedLock - failed lock mutex", "deadlock detected"},
    {"MutexUnlockInvalid", mutex, UnlockMutex, "pthread_mutex_unlock", EINVAL,
     "5: CMutex::Unlock - failed unlock mutex", "mutex object does not correctly initialized"},
    {"MutexUnlockTooOften", mutex, UnlockMutex, "pthread_mutex_unlock", EAGAIN,
     "5: CMutex::Unlock - failed unlock mutex", "maximum number of recursive locks has been exceeded"},
    {"MutexUnlockUnknown", mutex, UnlockMutex, "pthread_mutex_unlock", EIO,
     "5: CMutex::Unlock - failed unlock mutex", unknown},
    {"MutexGoneInvalid", mutex, MakeMutex, "pthread_mutex_destroy", EINVAL,
     "3: CMutex::~CMutex - failed close mutex", "the value specified by mutex is invalid"},

    {"EventMadeAgain", event, MakeEvent, "pthread_cond_init", EAGAIN,
     "1: CEvent::CEvent - failed create event", "the system lacked the necessary resources"},
    {"EventMadeNoMemory", event, MakeEvent, "pthread_cond_init", ENOMEM,
     "1: CEvent::CEvent - failed create event", "insufficient memory"},
    {"EventMadeBusy", event, MakeEvent, "pthread_cond_init", EBUSY, "1: CEvent::CEvent - failed create event",
     "attempt to reinitialize the mutex"},
    {"EventMadeInvalid", event, MakeEvent, "pthread_cond_init", EINVAL,
     "1: CEvent::CEvent - failed create event", "invalid attr object"},
    {"EventWaitInvalid", event, WaitForEvent, "pthread_cond_wait", EINVAL,
     "4: CEvent/WaitEvent - failed wait event", "the value specified by cond or mutex is invalid"},
    {"EventWaitNotOwner", event, WaitForEvent, "pthread_cond_wait", EPERM,
     "4: CEvent/WaitEvent - failed wait event",
     "the mutex was not owned by the current thread at the time of the call"},
    {"EventTimedInvalid", event, WaitForEventInTime, "pthread_cond_timedwait", EINVAL,
     "4: CEvent/TimedWaitEvent - failed wait event",
     "the value specified by cond, mutex or timeout is invalid"},
    {"EventTimedNotOwner", event, WaitForEventInTime, "pthread_cond_timedwait", EPERM,
     "4: CEvent/TimedWaitEvent - failed wait event",
     "the mutex was not owned by the current thread at the time of the call"},
    {"EventTimedUnknown", event, WaitForEventInTime, "pthread_cond_timedwait", EIO,
     "4: CEvent/TimedWaitEvent - failed wait event", unknown},
    {"EventRaised", event, RaiseEvent, "pthread_cond_broadcast", EINVAL,
     "7: CEvent/RaiseEvent - failed raise event", "the value specified by cond is invalid"},
    {"EventGoneBusy", event, MakeEvent, "pthread_cond_destroy", EBUSY,
     "3: CEvent::~CEvent - failed close event", "attempt to destroy a waiting event"},
    {"EventGoneInvalid", event, MakeEvent, "pthread_cond_destroy", EINVAL,
     "3: CEvent::~CEvent - failed close event", "the value specified by event is invalid"},
};

class Refused : public testing::TestWithParam<RefusalRow> {};

TEST_P(Refused, IsTold) {
  const RefusalRow& row = GetParam();
  Refuse(row.call, row.error);
  EXPECT_EQ(row.told(Step(row.step)), std::string(row.failure) + "\n  error code = " +
                                          std::to_string(row.error) + "\n  error desc = " + row.words);
}

INSTANTIATE_TEST_SUITE_P(Sync, Refused, testing::ValuesIn(refusalRows), rowName);

struct EndRow {
  const char* name;
  const char* call;
  Step make;
};

const EndRow endRows[] = {
    {"Sem", "sem_destroy", MakeSem},
    {"Mutex", "pthread_mutex_destroy", MakeMutex},
    {"Event", "pthread_cond_destroy", MakeEvent},
};

class End : public testing::TestWithParam<EndRow> {};

// Runs `make` while another exception is under way.
struct CUnwinder {
  explicit CUnwinder(Step step) : make(step) {}
  ~CUnwinder() noexcept(false) { make(); }
  Step make;
};

TEST_P(End, ThatFailsGivesWayToAnotherException) {
  Refuse(GetParam().call, EINVAL);
  EXPECT_THROW(
      {
        CUnwinder unwinder(GetParam().make);
        throw 1;
      },
      int);
  EXPECT_EQ(TestSupport::refusal.left, 0);
}

INSTANTIATE_TEST_SUITE_P(Sync, End, testing::ValuesIn(endRows), rowName);

}  // namespace
