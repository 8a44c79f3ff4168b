// The fast recursive locks.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>

#include <qorv/detail/kill_hold.h>
#include <qorv/detail/one_thread.h>
#include <qorv/detail/scope_lock.h>
#include <qorv/detail/semaphore.h>
#include <qorv/detail/thread_annotations.h>
#include <qorv/detail/try_in_steps.h>

namespace Qorv {
namespace IMPL {

/// True on a machine with more than one processor, where waiting awake can help. Fixed at static initialisation.
extern const bool MultiProcessor;

/// Tells the processor that this is a loop that waits.
inline void RelaxProcessor() noexcept {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#endif
}

/// AwaitTurn that looks a few times before it sleeps: locks are mostly held for less time than it takes to put a thread
/// to sleep and to wake it.
void AwaitHandOver(std::atomic<std::int64_t>& count, CSem& sem);

extern constinit thread_local std::uint64_t cachedThreadId;  // 0: not asked for yet
std::uint64_t AskThreadId() noexcept;

/// System id of the calling thread, asked for once per thread.
inline std::uint64_t CurrentThreadId() noexcept {
  return cachedThreadId != 0 ? cachedThreadId : AskThreadId();
}

/// Tries of an entry before it counts as waiting: a number that is fixed with the lock's type. 0: none behind the first.
template <std::uint32_t tries>
class CFixedSpin {
 protected:
  static constexpr bool spins = tries != 0;
  static constexpr std::uint64_t GetTries() noexcept { return tries; }
};

/// Tries of an entry before it counts as waiting: a field of the lock, read at each entry.
class CAdjustableSpin {
 public:
  /// `tries` of 0: without limit. May be called while the lock is in use, and holds for later entries.
  void SetSpinCount(std::uint32_t tries) noexcept { tries_.store(tries, std::memory_order_relaxed); }

 protected:
  static constexpr bool spins = true;
  std::uint64_t GetTries() const noexcept {
    const std::uint32_t tries = tries_.load(std::memory_order_relaxed);
    return tries != 0 ? tries : ~std::uint64_t{0};
  }

 private:
  std::atomic<std::uint32_t> tries_{0};
};

/// The tries of all locks that follow the process's one setting; read at each entry.
inline constinit std::atomic<std::uint32_t> SharedSpinCount{1400};

/// Tries of an entry before it counts as waiting: the process's one setting.
class CSharedSpin {
 protected:
  static constexpr bool spins = true;
  static std::uint64_t GetTries() noexcept {
    return std::max<std::uint32_t>(SharedSpinCount.load(std::memory_order_relaxed), 1);
  }
};

/// Recursive lock of one atomic counter. Entering and leaving without contention is one atomic operation each, none as long
/// as the process has one thread, and no system call; a semaphore exists only once two threads have met and one had to wait.
///
/// count  | meaning
/// -------|---------------------------------------------------------------------------------
/// -1     | free
/// n >= 0 | held; n + 1 is the owner's depth plus the number of threads that wait
///
/// state | operation                 | next state              | result
/// ------|---------------------------|-------------------------|------------------------------------------------
/// free  | Enter, TimedEnter         | held, depth 1           | at once
/// held  | the same by the owner     | held, depth + 1         | at once, without using up tries
/// held  | Enter by another          | held, one waiter more   | blocks until an owner hands the lock over
/// held  | TimedEnter by another     | held                    | false when the time is up, if it never was free
/// held  | Leave, depth above 1      | held, depth - 1         | at once
/// held  | Leave, depth 1, no waiter | free                    | at once
/// held  | Leave, depth 1, a waiter  | held by one waiter      | at once; nobody can overtake the waiter
///
/// Enter by another first tries as often as `Spin` tells, on a machine with more than one processor, and is not
/// counted as a waiter while it does. Leave by a thread that does not hold the lock is undefined. Waiters are not
/// ordered among themselves. Failures are those of CSem and std::bad_alloc, both only when the semaphore has
/// to be made or used.
template <class Spin>
class QORV_CAPABILITY("lock") CFastLock : public Spin {
 public:
  constexpr CFastLock() noexcept = default;
  CFastLock(const CFastLock&) = delete;
  CFastLock& operator=(const CFastLock&) = delete;

  void Enter() QORV_ACQUIRE() {
    const std::uint64_t self = CurrentThreadId();
    if (!TryOnce(self)) EnterSlowly(self);
  }

  /// True if the lock could be entered within `milliseconds`, of which at least 10 are used; 0 is a single try,
  /// without change if it fails. Below 0, and from 0x7FFFFFFF on, it is Enter. Other limits wait without being counted:
  /// they can be overtaken as long as others queue.
  bool TimedEnter(std::int64_t milliseconds) QORV_TRY_ACQUIRE(true) {
    if (milliseconds < 0 || milliseconds >= 0x7FFFFFFF) {
      Enter();
      return true;
    }
    const std::uint64_t self = CurrentThreadId();
    if (milliseconds == 0) return TryOnce(self);
    return TryInSteps(static_cast<std::uint32_t>(milliseconds), [&] { return TryOnce(self); });
  }

  void Leave() QORV_RELEASE() {
    if (--depth_ > 0) {
      AddTo(count_, std::int64_t{-1}, std::memory_order_relaxed);
      return;
    }
    owner_.store(0, std::memory_order_relaxed);
    if (!Replace(count_, std::int64_t{0}, std::int64_t{-1}, std::memory_order_release)) HandOver();
  }

 private:
  void Own(std::uint64_t self) noexcept {
    owner_.store(self, std::memory_order_relaxed);
    depth_ = 1;
  }

  bool TryOnce(std::uint64_t self) noexcept {
    if (Replace(count_, std::int64_t{-1}, std::int64_t{0}, std::memory_order_acquire)) {
      Own(self);
      return true;
    }
    if (owner_.load(std::memory_order_relaxed) != self) return false;
    AddTo(count_, std::int64_t{1}, std::memory_order_relaxed);
    ++depth_;
    return true;
  }

  // Apart from what stands in the caller's own code: the entry that a first try has not brought.
  [[gnu::noinline]] void EnterSlowly(std::uint64_t self) {
    // No pause between the tries: these locks are held for a few instructions.
    for (std::uint64_t left = Spin::spins && MultiProcessor ? Spin::GetTries() - 1 : 0; left > 0; --left)
      if (TryOnce(self)) return;
    CSem& sem = sem_.Get();  // before this thread is counted: making it may fail
    CKillHold hold;
    if (count_.fetch_add(1, std::memory_order_acq_rel) + 1 != 0) AwaitHandOver(count_, sem);
    Own(self);
  }

  [[gnu::noinline]] void HandOver() {
    CKillHold hold;  // whoever is counted must hear of it
    if (count_.fetch_sub(1, std::memory_order_acq_rel) - 1 >= 0) sem_.Get().V(1);
  }

  std::atomic<std::int64_t> count_{-1};
  std::uint64_t depth_ = 0;  // touched by the owner alone
  // 0 when free. Read without order: only the owner's own id can compare equal to a caller's.
  std::atomic<std::uint64_t> owner_{0};
  CLazySem sem_;
};

}  // namespace IMPL

/// The fast lock that makes no tries: who finds it taken counts as waiting at once, and, where there is more than one
/// processor, looks a few microseconds for its turn before it sleeps. For locks that are held across more than a few
/// instructions.
class FASTKSV_PCLOCK : public IMPL::CFastLock<IMPL::CFixedSpin<0>> {};

/// The fast lock that waits awake first, for as many tries as SetSpinCount tells. As made it never sleeps on a machine
/// with more than one processor.
class FASTKSV_SPIN_PCLOCK : public IMPL::CFastLock<IMPL::CAdjustableSpin> {};

}  // namespace Qorv
