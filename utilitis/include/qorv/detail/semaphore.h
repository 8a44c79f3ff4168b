// Counting semaphores, and one that is only made when somebody has to wait.
#pragma once

#include <semaphore.h>
#include <time.h>

#include <atomic>
#include <cstdint>

#include <qorv/error.h>
#include <qorv/misc.h>

namespace Qorv {

/// Counting semaphore of one process, on one system semaphore (sem_t).
///
/// Any number of threads may call P and V at once. Failures are semExp: code 1 creating, 3 destroying, 4
/// waiting and signalling.
class CSem {
 public:
  CSem(std::uint32_t value, std::uint32_t maximum) { __Init(value, maximum); }
  CSem(const CSem&) = delete;
  CSem& operator=(const CSem&) = delete;
  /// Nobody may be waiting. A failure is thrown (code 3) unless another exception is unwinding.
  ~CSem() noexcept(false);

  /// Blocks until the count can be decremented, however long that takes, signals or not. Returns true.
  bool P();
  /// P that a signal ends: false, with nothing decremented, if one came first.
  bool InterruptibleP();
  /// True if the count could be decremented at once.
  bool TryP();
  /// True if it could be decremented within `milliseconds`; 0 is TryP, waitForever is P.
  bool TimedP(std::uint32_t milliseconds);
  /// True if it could be decremented before `deadline`, a time of day (CLOCK_REALTIME).
  bool TimedP(const timespec& deadline);
  /// Increments the count `n` times. Touches nothing of the object after the last increment, so a thread that
  /// this wakes may destroy it at once.
  void V(std::uint32_t n = 1);

 private:
  /// `maximum` states the intent of the caller; the system has no such bound and is not told.
  void __Init(std::uint32_t value, std::uint32_t maximum);

  sem_t sem_;
};

namespace IMPL {

/// A semaphore of value 0 that does not exist before somebody needs it.
class CLazySem {
 public:
  constexpr CLazySem() noexcept = default;
  CLazySem(const CLazySem&) = delete;
  CLazySem& operator=(const CLazySem&) = delete;
  ~CLazySem() noexcept(false);

  /// The semaphore, made on the first call. Of two concurrent makers one wins; the other destroys its own.
  CSem& Get();

 private:
  std::atomic<CSem*> sem_{nullptr};
};

}  // namespace IMPL

}  // namespace Qorv
