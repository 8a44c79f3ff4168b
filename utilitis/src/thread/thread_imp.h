// The system thread behind a thread object.
#pragma once

#include <pthread.h>
#include <setjmp.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <utility>

#include <qorv/detail/kill_hold.h>
#include <qorv/sync.h>
#include <qorv/thread.h>

namespace Qorv {

/// What a TThread and its system thread share, by count: each holds one reference, so neither can free it
/// under the other.
///
/// phase    | meaning                                   | left by
/// ---------|-------------------------------------------|---------------------------------------------------
/// starting | has not passed the start semaphore        | the thread: running; a killer: killing
/// running  | is in Run                                 | the thread: ending, broken; a killer: killing
/// killing  | has been told to break off                | the thread: broken; a killer that failed: running
/// broken   | has broken off, and touches no object     | nobody
/// ending   | Run is through; nobody kills it any more  | the thread, killing itself or by ExitCurrent: broken
///
/// The phase changes by compare-and-swap alone, so exactly one of thread and killer decides how the thread
/// ends. A killer holds the state lock of the object from its swap until the event is raised. The thread swaps
/// to ending before it enters that lock to note its end, so the two never wait for each other. On its way to Run
/// the thread enters no lock and allocates nothing, so that a kill cannot break it off inside of either.
///
/// The kill signal breaks the thread off at once, unless it is inside a CKillHold. Then it only learns that a kill is
/// due, and obeys when the hold lets it. The signal may come just before a wait that it was to interrupt, so the
/// killer sends it again and again.
class CThread_Imp {
 public:
  enum class KillResult : std::uint8_t { killed, endsItself, givenUp };

  CThread_Imp() = default;
  CThread_Imp(const CThread_Imp&) = delete;
  CThread_Imp& operator=(const CThread_Imp&) = delete;

  void Release() noexcept;
  /// That of the calling thread; null for one that no TThread has made.
  static CThread_Imp* Current() noexcept;

  // For the object, under its lock.

  /// Makes the system thread, which starts in ThreadMain and holds a reference of its own. `stackSize` in
  /// bytes; 0 takes the system's default. threadExp, code 1; there is no thread then.
  void Create(TThread& thread, std::uint64_t stackSize);
  /// Lets the thread go on to Run. Once in its life.
  void LetStart() { start_->V(1); }
  /// Breaks the thread off and waits until it has raised the event. endsItself: nothing has been done, it is ending.
  /// givenUp: the calling thread is itself to break off first; this one breaks off sooner or later, and the next
  /// killer waits for that. threadExp, code 8: it runs on as before.
  KillResult Kill();

  // For those who hold a reference.

  /// True if the event has been raised, after waiting for that up to `milliseconds`.
  bool WaitForEnd(std::uint32_t milliseconds);
  void RaiseEnd() { ended_.RaiseEvent(); }
  bool IsCurrent() const noexcept { return this == Current(); }
  /// The system's id of the thread. Waits until the thread has told it, which is the first that it does.
  std::uint64_t GetId() const noexcept;
  pthread_t GetHandle() const noexcept { return handle_; }

  /// As the operations on handles below; a thread that is gone counts as ESRCH.
  void GetScheduling(std::int32_t* policy, std::uint32_t* level);
  void SetScheduling(std::int32_t policy, std::uint32_t level);

  // For the thread itself.

  /// From now on nobody kills the thread. False if somebody has: it must touch nothing of its object.
  bool BeginEnding() noexcept;
  /// True if a killer still wants the calling thread to break off. It has to Escape then.
  bool AcceptKill() noexcept { return Move(Phase::killing, Phase::broken); }
  /// Frees the thread's data and ends it at once. Its object may be gone.
  [[noreturn]] void Exit() noexcept;
  /// Leaves everything below ThreadMain as it is. The thread is broken.
  [[noreturn]] void Escape() noexcept;
  /// What wakes the thread for a killer; null for none.
  void SetNudge(const IMPL::CKillNudge* nudge);

  // On handles of threads that exist. Either pointer may be null where something is retrieved.

  /// Sets the policy, and the priority that stands for the level there. threadExp, code 13.
  static void _SetThreadShcdParam(pthread_t handle, const std::int32_t* policy, const std::uint32_t* level);
  /// threadExp, code 12.
  static void _GetThreadShcdParam(pthread_t handle, std::int32_t* policy, std::uint32_t* level);
  /// Threads stay where the system puts them: this only finds out, if `restricts`, whether the affinity of the process
  /// can be read. threadExp, code 18.
  static void _SetCpuAffinity(pthread_t handle, const CPUMASK& mask, bool restricts);

 private:
  enum class Phase : std::uint32_t { starting, running, killing, broken, ending };

  ~CThread_Imp() = default;

  bool Move(Phase from, Phase to) noexcept { return phase_.compare_exchange_strong(from, to); }
  int Signal();
  void SendKill();
  bool WaitForStart();
  void TellId() noexcept;
  static void* ThreadMain(void* thread) noexcept QORV_NO_THREAD_SAFETY_ANALYSIS;  // its maker holds the lock
  static void OnKillSignal(int) noexcept;
  static void InstallKillSignal();
  static void UnblockKillSignal() noexcept;

  std::atomic<std::uint32_t> references_{1};
  std::atomic<Phase> phase_{Phase::starting};
  std::atomic<std::uint64_t> id_{0};  // 0 until the thread has told it
  pthread_t handle_{};
  std::optional<CSem> start_{std::in_place, 0U, 1U};
  CEvent ended_{false};
  sigjmp_buf escape_;

  CMutex systemLock_;  // makes no semaphore, so also a thread that broke off inside the allocator may take it
  bool isGone_ QORV_GUARDED_BY(systemLock_) = false;  // the handle is good no more
  const IMPL::CKillNudge* nudge_ QORV_GUARDED_BY(systemLock_) = nullptr;
};

namespace IMPL {

inline bool IsAlive(std::uint32_t state) noexcept {
  return state == threadState::suspended || state == threadState::running || state == threadState::stopping;
}

/// threadExp, code 3, of the heading with the state behind it.
[[noreturn]] void ThrowInvalidState(std::string_view heading, std::uint32_t state);

/// Frees the library's data of the calling thread; a failure is logged.
void CleanUpThread() noexcept;
/// For what nobody has dealt with: writes the log and ends the process with status 255.
[[noreturn]] void EndProcess() noexcept;

}  // namespace IMPL
}  // namespace Qorv
