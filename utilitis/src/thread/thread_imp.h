// The system thread behind a thread object.
#pragma once

#include <pthread.h>
#include <setjmp.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include <qorv/sync.h>

namespace Qorv {

class TThread;

/// What a TThread and its system thread share, by count: each holds one reference, so neither can free it
/// under the other.
///
/// phase    | meaning                                          | left by
/// ---------|--------------------------------------------------|--------------------------------------------
/// starting | has not passed the start semaphore               | the thread: running; a killer: killing
/// running  | on its way through Run                           | the thread: ending; a killer: killing
/// killing  | is to run no more code of its object             | nobody
/// ending   | Run is through; ends by itself, nobody kills it  | nobody
///
/// The phase changes by compare-and-swap alone, so exactly one of thread and killer decides how the thread
/// ends. A thread that is being killed never touches its TThread again, which may be gone as soon as the
/// event is raised.
class CThread_Imp {
 public:
  CThread_Imp() = default;
  CThread_Imp(const CThread_Imp&) = delete;
  CThread_Imp& operator=(const CThread_Imp&) = delete;

  void AddRef() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void Release() noexcept;

  /// Makes the system thread, which starts in ThreadMain and holds a reference of its own. `stackSize` in
  /// bytes; 0 takes the system's default. threadExp, code 1.
  void Create(TThread& thread, std::uint64_t stackSize);

  // For the object, under its lock.

  /// Lets the thread go on to Run, if it has not.
  void LetStart() {
    if (start_) start_->V(1);
  }
  void DiscardStart() { start_.reset(); }
  /// False if the thread is ending by itself. Otherwise it has been told to end, and will raise the event.
  bool RequestKill();

  // For those who hold a reference.

  /// True if the event has been raised, after waiting for that up to `milliseconds`.
  bool WaitForEnd(std::uint32_t milliseconds);
  void RaiseEnd() { ended_.RaiseEvent(); }
  bool IsCurrent() const noexcept;

  // For the thread itself.

  /// Opens and closes the stretch in which a kill breaks the thread off wherever it is, without destroying
  /// what lies on its stack. Opening fails if a kill came before.
  bool OpenToKill() noexcept;
  void CloseToKill() noexcept { isOpen_.store(false); }
  /// From now on nobody kills the thread. Fails if somebody does already.
  bool BeginEnding() noexcept { return Move(Phase::running, Phase::ending); }
  /// Ends the calling thread at once as a killed one.
  [[noreturn]] void KillCurrent();

 private:
  enum class Phase : std::uint32_t { starting, running, killing, ending };

  ~CThread_Imp() = default;

  bool Move(Phase from, Phase to) noexcept { return phase_.compare_exchange_strong(from, to); }
  bool WaitForStart();
  void EndAsKilled();
  static void* ThreadMain(void* thread) noexcept;
  static void OnKillSignal(int) noexcept;
  static void InstallKillSignal();

  std::atomic<std::uint32_t> references_{1};
  std::atomic<Phase> phase_{Phase::starting};
  std::atomic<bool> isOpen_{false};
  pthread_t handle_{};
  std::unique_ptr<CSem> start_ = std::make_unique<CSem>(0, 1);
  CSem killSent_{0, 1};  // a killer is done with the handle
  CEvent ended_{false};
  sigjmp_buf escape_;
};

}  // namespace Qorv
