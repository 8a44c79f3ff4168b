// The recursive mutex of the system.
#pragma once

#include <pthread.h>
#include <time.h>

#include <cstdint>

#include <qorv/detail/scope_lock.h>
#include <qorv/detail/thread_annotations.h>
#include <qorv/error.h>

namespace Qorv {

/// Recursive mutex on the system's own.
///
/// state | operation                       | next state      | result
/// ------|---------------------------------|-----------------|------------------------------------------------
/// free  | Lock, TryLock, TimedLock        | held, depth 1   | at once, true
/// held  | the same by the owner           | held, depth + 1 | at once, true
/// held  | Lock by another                 | held by it      | blocks until the mutex is free
/// held  | TryLock, TimedLock(0) by another| held            | false
/// held  | TimedLock by another            | held            | blocks until the mutex is free, or false when
///       |                                 |                 | the time is up
/// held  | Unlock by the owner             | depth - 1, free | at once
/// any   | Unlock by another               | unchanged       | mutexExp, code 5
/// held  | destruction                     | gone            | mutexExp, code 3
///
/// All operations but construction and destruction may be called from any thread at once. Failures are mutexExp:
/// code 1 creating, 3 destroying, 4 locking, 5 unlocking.
class QORV_CAPABILITY("mutex") CMutex {
 public:
  /// `locked`: the new mutex is entered at once by the calling thread.
  explicit CMutex(bool locked = false);
  CMutex(const CMutex&) = delete;
  CMutex& operator=(const CMutex&) = delete;
  /// The mutex must be free; otherwise throws code 3 unless another exception is unwinding.
  ~CMutex() noexcept(false);

  void Lock() QORV_ACQUIRE();
  /// True if the mutex was taken.
  bool TryLock() QORV_TRY_ACQUIRE(true);
  /// True if the mutex was taken within `milliseconds`; 0 is TryLock, waitForever is Lock.
  bool TimedLock(std::uint32_t milliseconds) QORV_TRY_ACQUIRE(true);
  /// True if the mutex was taken before `deadline`, a time of day (CLOCK_REALTIME).
  bool TimedLock(const timespec& deadline) QORV_TRY_ACQUIRE(true);
  void Unlock() QORV_RELEASE();

  /// The names by which CScopeLock calls.
  void Enter() QORV_ACQUIRE() { Lock(); }
  void Leave() QORV_RELEASE() { Unlock(); }

  pthread_mutex_t* GetSysHandle() noexcept { return &mutex_; }

 private:
  pthread_mutex_t mutex_;
};

}  // namespace Qorv
