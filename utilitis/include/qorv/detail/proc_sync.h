// Mutex, event and semaphore that processes share by a name.
#pragma once

#include <pthread.h>
#include <semaphore.h>
#include <time.h>

#include <atomic>
#include <cstdint>

#include <qorv/detail/shared_memory.h>
#include <qorv/detail/thread_annotations.h>
#include <qorv/error.h>

namespace Qorv {

/// A recursive mutex in memory that processes share. Its name, and who removes it, are those of the memory: see CShMem.
///
/// States and operations are those of CMutex, with other processes' threads among the others, and one more:
///
/// state              | operation                | next state    | result
/// -------------------|--------------------------|---------------|-----------------------------------------------
/// held by one killed | Lock, TryLock, TimedLock | held, depth 1 | as of a free one, and WasAbandoned tells it: what
///                    |                          |               | the mutex guards may be half-changed
///
/// Failures are mutexExp: code 1 creating, 3 destroying, 4 locking, 5 unlocking; of the memory, shmemExp. Objects of one
/// name, in one process or several, are one mutex. Any thread may call any operation but construction and destruction.
class QORV_CAPABILITY("mutex") CProcMutex : public CShMem {
 public:
  explicit CProcMutex(const stringEx& name);
  explicit CProcMutex(const wstringEx& name);
  /// Of one that this object holds: unlocks it, if this thread may, and throws code 3 unless another exception is unwinding.
  ~CProcMutex() noexcept(false);

  void Lock() QORV_ACQUIRE() QORV_NO_THREAD_SAFETY_ANALYSIS {
    if (const int error = ::pthread_mutex_lock(Mutex()); error != 0) RefuseLock(error);
    Count(1);
  }
  bool TryLock() QORV_TRY_ACQUIRE(true);
  /// `milliseconds`: 0 is TryLock, waitForever is Lock.
  bool TimedLock(std::uint32_t milliseconds) QORV_TRY_ACQUIRE(true);
  /// `deadline` is a time of day (CLOCK_REALTIME).
  bool TimedLock(const timespec& deadline) QORV_TRY_ACQUIRE(true);
  void Unlock() QORV_RELEASE() QORV_NO_THREAD_SAFETY_ANALYSIS {
    Count(-1);
    if (const int error = ::pthread_mutex_unlock(Mutex()); error != 0) RefuseUnlock(error);
  }

  /// The names by which CScopeLock calls.
  void Enter() QORV_ACQUIRE() { Lock(); }
  void Leave() QORV_RELEASE() { Unlock(); }

  /// True if this object has taken the mutex over from one that was killed, since it was last asked.
  bool WasAbandoned() noexcept { return wasAbandoned_.exchange(false); }

 private:
  friend class CProcEvent;
  using CShMem::Release;  // what is used by others goes with the object alone
  using CShMem::SetReady;

  void CreateNamedMutex();
  // Without the cost of a step that others cannot come between: nobody else has the mutex.
  void Count(std::int32_t change) noexcept {
    held_.store(held_.load(std::memory_order_relaxed) + change, std::memory_order_relaxed);
  }
  int Mended(int error) noexcept;
  void RefuseLock(int error);
  [[noreturn]] void RefuseUnlock(int error);
  pthread_mutex_t* Mutex() const noexcept { return static_cast<pthread_mutex_t*>(GetPointer()); }

  // Through this object; guarded by the mutex itself, but for wrong calls.
  std::atomic<std::int32_t> held_{0};
  std::atomic<bool> wasAbandoned_{false};
};

/// An event in memory that processes share, clear when it is new. Its name, and who removes it, are those of the memory: see
/// CShMem; the mutex beside it has the name and ".lock".
///
/// States and operations are those of CEvent. A process that is killed between operations, or inside one that does not wait,
/// does no harm. One that is killed while it waits may leave the system's condition behind in a state in which a later
/// RaiseEvent does not return, and with it all others that use the event: call Remove then, and start anew.
///
/// Failures are eventExp: code 1 creating, 4 waiting, 7 raising; those of the mutex and of the memory pass unchanged.
class CProcEvent : public CShMem {
 public:
  explicit CProcEvent(const stringEx& name);
  explicit CProcEvent(const wstringEx& name);
  CProcEvent(const CProcEvent&) = delete;
  CProcEvent& operator=(const CProcEvent&) = delete;
  ~CProcEvent() noexcept(false);

  /// Removes both names, whoever has the event. False if there were none. As of CShMem.
  static bool Remove(const stringEx& name);

  void RaiseEvent();
  void ResetEvent();
  bool IsRaised();
  bool WaitEvent();
  /// `milliseconds`: 0 is a test, waitForever waits without limit.
  bool TimedWaitEvent(std::uint32_t milliseconds);
  /// `deadline` is a time of day (CLOCK_REALTIME).
  bool TimedWaitEvent(const timespec& deadline);

 private:
  struct BLOCK;
  using CShMem::Release;
  using CShMem::SetReady;

  void CreateNamedEvent();
  bool AwaitRaise(const timespec* deadline);
  BLOCK& Block() const noexcept { return *static_cast<BLOCK*>(GetPointer()); }

  CProcMutex guard_;
};

/// A counting semaphore of the system under a name. A "/" is put in front of a name that has none.
///
/// The first object that goes removes the name: who has the semaphore keeps it, and who gives the name later gets a new one.
/// A process that dies with a count taken does not give it back.
///
/// Failures are semExp: code 1 creating, 2 opening, 3 destroying, 4 waiting and signalling. Any number of threads may call
/// the operations at once.
class CProcSem {
 public:
  /// Opens the semaphore that is there.
  explicit CProcSem(const stringEx& name);
  explicit CProcSem(const wstringEx& name);
  /// Opens it, or makes one of this value.
  CProcSem(const stringEx& name, std::uint32_t value);
  CProcSem(const wstringEx& name, std::uint32_t value);
  CProcSem(const CProcSem&) = delete;
  CProcSem& operator=(const CProcSem&) = delete;
  /// Closes it and removes the name, if it is still there; a failure is thrown unless another exception is unwinding.
  ~CProcSem() noexcept(false);

  bool P();
  bool TryP();
  /// `milliseconds`: 0 is TryP, waitForever is P.
  bool TimedP(std::uint32_t milliseconds);
  /// `deadline` is a time of day (CLOCK_REALTIME).
  bool TimedP(const timespec& deadline);
  void V(std::uint32_t n = 1);

  const stringEx& GetName() const noexcept { return name_; }
  bool IsCreated() const noexcept { return isCreated_; }

 private:
  stringEx name_;
  sem_t* sem_ = nullptr;
  bool isCreated_ = false;
};

}  // namespace Qorv
