// Where a thread must not be broken off by TThread::Kill, and what it takes back when it is.
#pragma once

#include <atomic>
#include <cstdint>

#include <qorv/detail/thread_annotations.h>
#include <qorv/error.h>

namespace Qorv {

class CSem;

namespace IMPL {

class CKillUndo;

/// What a thread knows of its own holds. Only the thread itself, and the handler of the kill signal on it, touch it.
struct KILLSTATE {
  std::atomic<std::uint32_t> holds{0};  // those that are secured count `securedHold` more
  std::atomic<bool> isDue{false};       // a kill has come and is held off
  const CKillUndo* undo = nullptr;      // the innermost
};

extern constinit thread_local KILLSTATE killState;
inline constexpr std::uint32_t securedHold = 1U << 16;

/// Obeys a kill that is due. Returns only if that has been taken back.
void ObeyKill() noexcept;

/// Holds off a kill of the calling thread while it lives; the end of the outermost one obeys it. For what would be
/// left half done for all others: inside the allocator, with a lock of the library held, while counted as a
/// waiter. Costs two changes of a thread-local word, and no system call.
///
/// hold    | a kill that comes
/// --------|----------------------------------------------------------------------------------------------
/// open    | breaks the thread off at the next wait inside, by BreakOffIfKilled, or at the end of the hold
/// secured | waits for the end of the hold, or until it is loosened
///
/// Holds nest, and the strictest counts. On threads that are no TThread they have no effect.
class CKillHold {
 public:
  CKillHold() noexcept { Add(1); }
  CKillHold(const CKillHold&) = delete;
  CKillHold& operator=(const CKillHold&) = delete;
  ~CKillHold() {
    Add(isSecured_ ? -securedHold - 1 : ~std::uint32_t{0});
    if (killState.isDue.load(std::memory_order_relaxed) &&
        killState.holds.load(std::memory_order_relaxed) == 0)
      ObeyKill();
  }

  void Secure() noexcept {
    Add(securedHold);
    isSecured_ = true;
  }
  void Loosen() noexcept {
    Add(-securedHold);
    isSecured_ = false;
  }

 private:
  // The handler comes between two instructions, and never changes the number. So a load and a store will do.
  static void Add(std::uint32_t units) noexcept {
    std::atomic_signal_fence(std::memory_order_seq_cst);
    killState.holds.store(killState.holds.load(std::memory_order_relaxed) + units, std::memory_order_relaxed);
    std::atomic_signal_fence(std::memory_order_seq_cst);
  }

  bool isSecured_ = false;
};

/// True while a kill of the calling thread is held off.
inline bool IsKillDue() noexcept {
  return killState.isDue.load(std::memory_order_relaxed);
}

/// For waits inside an open hold, when they have been interrupted: breaks the calling thread off if a kill is due and
/// no hold is secured. The caller must be counted nowhere and hold nothing by then, but for what a CKillUndo takes back.
void BreakOffIfKilled() noexcept;

/// A step that takes back what an operation has counted, if the thread is broken off in a wait below. Lives inside a
/// hold. The innermost step is taken first, on the thread itself, which nothing breaks off any more.
class CKillUndo {
 public:
  using Step = void (*)(void* subject) noexcept;

  CKillUndo(Step step, void* subject) noexcept : step_(step), subject_(subject), outer_(killState.undo) {
    killState.undo = this;
  }
  CKillUndo(const CKillUndo&) = delete;
  CKillUndo& operator=(const CKillUndo&) = delete;
  ~CKillUndo() { killState.undo = outer_; }

  const CKillUndo* Take() const noexcept {
    step_(subject_);
    return outer_;
  }

 private:
  Step step_;
  void* subject_;
  const CKillUndo* outer_;
};

/// How a killer wakes the calling thread from a wait that no signal ends. While it lives a kill calls `nudge` on the
/// killer's thread, again and again until the thread is broken off. The nudge may take the lock of what the thread
/// waits for: this must be made before the thread takes that lock, and go after it has left it.
class CKillNudge {
 public:
  using Nudge = void (*)(void* subject) noexcept;

  CKillNudge(Nudge nudge, void* subject);
  CKillNudge(const CKillNudge&) = delete;
  CKillNudge& operator=(const CKillNudge&) = delete;
  ~CKillNudge();

  void Call() const noexcept { nudge_(subject_); }

 private:
  Nudge nudge_;
  void* subject_;
};

/// The wait of one of those that `count` counts, inside an open hold that began before the thread was counted. Whoever
/// gives way takes one from `count` and, if that leaves 0 or more, raises `sem` for one of them, under a hold from
/// before the first to behind the second.
///
/// A kill takes this thread out of the count, or passes on what has been given to it already, and does not return.
void AwaitTurn(std::atomic<std::int64_t>& count, CSem& sem);

/// P that a kill breaks off, with nothing taken, inside an open hold. What it has taken is safe as long as the hold.
void AwaitSem(CSem& sem);

/// The scope guard of the locks that the library itself takes: no kill leaves them held, or hands them to a thread that
/// is gone. Otherwise as CScopeLock.
template <class Lock>
class QORV_SCOPED_CAPABILITY CSafeScopeLock {
 public:
  explicit CSafeScopeLock(Lock& lock) QORV_ACQUIRE(lock) QORV_NO_THREAD_SAFETY_ANALYSIS : lock_(&lock) {
    Enter();
  }
  CSafeScopeLock(const CSafeScopeLock&) = delete;
  CSafeScopeLock& operator=(const CSafeScopeLock&) = delete;
  ~CSafeScopeLock() noexcept(false) QORV_RELEASE() QORV_NO_THREAD_SAFETY_ANALYSIS {
    if (isHeld_) DropWhileUnwinding([this]() QORV_NO_THREAD_SAFETY_ANALYSIS { Leave(); });
  }

  void Enter() QORV_ACQUIRE() QORV_NO_THREAD_SAFETY_ANALYSIS {
    lock_->Enter();
    hold_.Secure();
    isHeld_ = true;
  }
  void Leave() QORV_RELEASE() QORV_NO_THREAD_SAFETY_ANALYSIS {
    isHeld_ = false;
    lock_->Leave();
    hold_.Loosen();
  }

 private:
  CKillHold hold_;  // made before the lock is entered
  Lock* lock_;
  bool isHeld_ = false;
};

}  // namespace IMPL
}  // namespace Qorv
