// The system thread behind a thread object.
#pragma once

#include <pthread.h>
#include <setjmp.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <utility>

#include <qorv/sync.h>

namespace Qorv {

class TThread;

/// What a TThread and its system thread share, by count: each holds one reference, so neither can free it
/// under the other.
///
/// phase    | meaning                                   | left by
/// ---------|-------------------------------------------|---------------------------------------------------
/// starting | has not passed the start semaphore        | the thread: running; a killer: killing
/// running  | is in Run                                 | the thread: ending, broken; a killer: killing
/// killing  | has been told to break off                | the thread: broken; a killer that failed: running
/// broken   | has broken off, and touches no object     | nobody
/// ending   | Run is through; nobody kills it any more  | the thread, killing itself: broken
///
/// The phase changes by compare-and-swap alone, so exactly one of thread and killer decides how the thread
/// ends. A killer holds the state lock of the object from its swap until the event is raised. The thread swaps
/// to ending before it enters that lock to note its end, so the two never wait for each other. On its way to Run
/// the thread enters no lock and allocates nothing, so that a kill cannot break it off inside of either.
class CThread_Imp {
 public:
  CThread_Imp() = default;
  CThread_Imp(const CThread_Imp&) = delete;
  CThread_Imp& operator=(const CThread_Imp&) = delete;

  void Release() noexcept;

  // For the object, under its lock.

  /// Makes the system thread, which starts in ThreadMain and holds a reference of its own. `stackSize` in
  /// bytes; 0 takes the system's default. threadExp, code 1; there is no thread then.
  void Create(TThread& thread, std::uint64_t stackSize);
  /// Lets the thread go on to Run. Once in its life.
  void LetStart() { start_->V(1); }
  /// Breaks the thread off and waits until it has raised the event. False, with nothing done, if it is ending
  /// by itself. threadExp, code 8: it runs on as before.
  bool Kill();

  // For those who hold a reference.

  /// True if the event has been raised, after waiting for that up to `milliseconds`.
  bool WaitForEnd(std::uint32_t milliseconds);
  void RaiseEnd() { ended_.RaiseEvent(); }
  bool IsCurrent() const noexcept;

  // For the thread itself.

  /// From now on nobody kills the thread. False if somebody has: it must touch nothing of its object.
  bool BeginEnding() noexcept;
  /// Ends the calling thread at once as a killed one. Its object may be gone.
  [[noreturn]] void BreakOffCurrent();

 private:
  enum class Phase : std::uint32_t { starting, running, killing, broken, ending };

  ~CThread_Imp() = default;

  bool Move(Phase from, Phase to) noexcept { return phase_.compare_exchange_strong(from, to); }
  void SendKill();
  bool WaitForStart();
  void EndAsBroken();
  static void* ThreadMain(void* thread) noexcept QORV_NO_THREAD_SAFETY_ANALYSIS;  // its maker holds the lock
  static void OnKillSignal(int) noexcept;
  static void InstallKillSignal();

  std::atomic<std::uint32_t> references_{1};
  std::atomic<Phase> phase_{Phase::starting};
  pthread_t handle_{};
  std::optional<CSem> start_{std::in_place, 0U, 1U};
  CSem killSent_{0, 1};  // the killer is done with the handle
  CEvent ended_{false};
  sigjmp_buf escape_;
};

}  // namespace Qorv
