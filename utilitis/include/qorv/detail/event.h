// Events.
#pragma once

#include <pthread.h>
#include <time.h>

#include <cstdint>

#include <qorv/detail/mutex.h>
#include <qorv/misc.h>

namespace Qorv {

/// A flag that stays raised until somebody resets it, with any number of waiters.
///
/// state  | operation                    | next state | result
/// -------|------------------------------|------------|-------------------------------------------------
/// clear  | RaiseEvent                   | raised     | every waiter returns true
/// raised | RaiseEvent                   | raised     | nothing
/// any    | ResetEvent                   | clear      | nothing
/// raised | WaitEvent, TimedWaitEvent    | raised     | true at once
/// clear  | WaitEvent                    | clear      | blocks until woken, then true, whatever the flag
/// clear  | TimedWaitEvent(0)            | clear      | false
/// clear  | TimedWaitEvent(milliseconds) | clear      | true when woken, false when the time is up
///
/// Failures are eventExp: code 1 creating, 3 destroying, 4 waiting, 7 raising.
class CEvent {
 public:
  explicit CEvent(bool raised);
  CEvent(const CEvent&) = delete;
  CEvent& operator=(const CEvent&) = delete;
  /// Throws code 3 if somebody still waits, unless another exception is unwinding.
  ~CEvent() noexcept(false);

  void RaiseEvent();
  void ResetEvent();
  bool IsRaised();
  /// A wake-up counts as a raised event even where the system woke the thread for no reason.
  bool WaitEvent();
  /// `milliseconds`: 0 is a test, waitForever waits without limit.
  bool TimedWaitEvent(std::uint32_t milliseconds);
  /// `deadline` is a time of day (CLOCK_REALTIME).
  bool TimedWaitEvent(const timespec& deadline);

 private:
  template <class Call>
  int AwaitRaise(Call call);
  void Nudge() noexcept;

  pthread_cond_t cond_;
  bool raised_ QORV_GUARDED_BY(mutex_);
  std::uint32_t waiters_ QORV_GUARDED_BY(mutex_) = 0;
  // How often all waiters have been woken: because of a raise, and for one of them to be broken off.
  std::uint32_t raises_ QORV_GUARDED_BY(mutex_) = 0;
  std::uint32_t nudges_ QORV_GUARDED_BY(mutex_) = 0;
  CMutex mutex_;
};

}  // namespace Qorv
