// Semaphores, the fast recursive lock, mutex, event and the bounded queue.
#pragma once

#include <pthread.h>
#include <semaphore.h>

#include <atomic>
#include <cstdint>
#include <utility>

#include <qorv/detail/thread_annotations.h>
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
  /// True if the count could be decremented at once.
  bool TryP();
  /// True if it could be decremented within `milliseconds`; 0 is TryP, waitForever is P.
  bool TimedP(std::uint32_t milliseconds);
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

/// True on a machine with more than one processor, where waiting awake can help. Fixed at static initialisation.
extern const bool MultiProcessor;

/// Tells the processor that this is a loop that waits.
inline void RelaxProcessor() noexcept {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#endif
}

/// System id of the calling thread, asked for once per thread.
std::uint64_t CurrentThreadId() noexcept;

}  // namespace IMPL

/// Recursive lock of one atomic counter. Entering and leaving without contention is one atomic addition each
/// and no system call; a semaphore exists only once two threads have met.
///
/// count  | meaning
/// -------|---------------------------------------------------------------------------------
/// -1     | free
/// n >= 0 | held; n + 1 is the owner's depth plus the number of threads that wait
///
/// state | operation                 | next state              | result
/// ------|---------------------------|-------------------------|------------------------------------------------
/// free  | Enter                     | held, depth 1           | at once
/// held  | Enter by the owner        | held, depth + 1         | at once
/// held  | Enter by another          | held, one waiter more   | blocks until an owner hands the lock over
/// held  | Leave, depth above 1      | held, depth - 1         | at once
/// held  | Leave, depth 1, no waiter | free                    | at once
/// held  | Leave, depth 1, a waiter  | held by one waiter      | at once; nobody can overtake the waiter
///
/// Leave by a thread that does not hold the lock is undefined. Waiters are not ordered among themselves.
/// Failures are those of CSem and std::bad_alloc, both only when the semaphore has to be made or used.
class QORV_CAPABILITY("lock") FASTKSV_PCLOCK {
 public:
  constexpr FASTKSV_PCLOCK() noexcept = default;
  FASTKSV_PCLOCK(const FASTKSV_PCLOCK&) = delete;
  FASTKSV_PCLOCK& operator=(const FASTKSV_PCLOCK&) = delete;

  void Enter() QORV_ACQUIRE() {
    const std::uint64_t self = IMPL::CurrentThreadId();
    if (count_.fetch_add(1, std::memory_order_acquire) + 1 != 0) {
      if (owner_.load(std::memory_order_relaxed) == self) {
        ++depth_;
        return;
      }
      sem_.Get().P();
    }
    owner_.store(self, std::memory_order_relaxed);
    depth_ = 1;
  }

  void Leave() QORV_RELEASE() {
    if (--depth_ > 0) {
      count_.fetch_sub(1, std::memory_order_relaxed);
      return;
    }
    owner_.store(0, std::memory_order_relaxed);
    if (count_.fetch_sub(1, std::memory_order_release) - 1 >= 0) sem_.Get().V(1);
  }

 private:
  std::atomic<std::int64_t> count_{-1};
  std::uint64_t depth_ = 0;  // touched by the owner alone
  // 0 when free. Read without order: only the owner's own id can compare equal to a caller's.
  std::atomic<std::uint64_t> owner_{0};
  IMPL::CLazySem sem_;
};

/// Enters a lock at construction and leaves it at destruction, or earlier by Leave. A failure of leaving is
/// dropped while another exception unwinds and thrown otherwise.
template <class Lock>
class QORV_SCOPED_CAPABILITY CScopeLock {
 public:
  explicit CScopeLock(Lock& lock) QORV_ACQUIRE(lock) : lock_(&lock), held_(true) { lock.Enter(); }
  CScopeLock(const CScopeLock&) = delete;
  CScopeLock& operator=(const CScopeLock&) = delete;
  ~CScopeLock() noexcept(false) QORV_RELEASE() {
    if (held_) IMPL::DropWhileUnwinding([this]() QORV_NO_THREAD_SAFETY_ANALYSIS { lock_->Leave(); });
  }

  void Enter() QORV_ACQUIRE() {
    lock_->Enter();
    held_ = true;
  }
  void Leave() QORV_RELEASE() {
    held_ = false;
    lock_->Leave();
  }

 private:
  Lock* lock_;
  bool held_;
};

/// Bounded first-in first-out queue between any number of producers and consumers.
///
/// Push blocks while the queue is full, Pop while it is empty, both without a time limit, and there is no
/// close: a consumer is ended by an item that tells it to. Items are copied in and moved out; for types that
/// share their payload by count this moves no payload. The lock is held only for that one copy, and no other
/// lock is taken inside it.
///
/// `Container` needs push_back, front, pop_front. Failures are those of CSem, std::bad_alloc, and what
/// copying an item throws; an item that could not be copied in is not in the queue, and one that could not be
/// moved out is still its first.
template <class Item, class Lock, class Container>
class CMessageQueue {
 public:
  /// `capacity` is in items and at least 1.
  explicit CMessageQueue(std::uint32_t capacity)
      : capacity_(capacity), free_(-static_cast<std::int64_t>(capacity)), items_(0, capacity) {}
  CMessageQueue(const CMessageQueue&) = delete;
  CMessageQueue& operator=(const CMessageQueue&) = delete;
  virtual ~CMessageQueue() noexcept(false) = default;

  void Push(const Item& item) { Emplace(item); }
  void Push(Item&& item) { Emplace(std::move(item)); }

  void Pop(Item& item) {
    AwaitItem();
    CLater releasePlace(*this, &CMessageQueue::ReleasePlace);
    CScopeLock<Lock> guard(lock_);
    try {
      item = std::move(container_.front());
    } catch (...) {
      items_.V(1);  // it stays the first of the queue
      throw;
    }
    container_.pop_front();
    releasePlace.Arm();
  }

  std::uint32_t GetCapacity() const noexcept { return capacity_; }

 private:
  // A step to take, once it is armed, when the lock has been left, also by an exception.
  class CLater {
   public:
    using Step = void (CMessageQueue::*)();
    CLater(CMessageQueue& queue, Step step) noexcept : queue_(queue), step_(step) {}
    CLater(const CLater&) = delete;
    CLater& operator=(const CLater&) = delete;
    ~CLater() noexcept(false) {
      if (isArmed_) IMPL::DropWhileUnwinding([this] { (queue_.*step_)(); });
    }
    void Arm(Step step) noexcept {
      step_ = step;
      Arm();
    }
    void Arm() noexcept { isArmed_ = true; }

   private:
    CMessageQueue& queue_;
    Step step_;
    bool isArmed_ = false;
  };

  template <class Source>
  void Emplace(Source&& item) {
    if (free_.fetch_add(1, std::memory_order_acq_rel) + 1 > 0) freeSem_.Get().P();
    CLater finish(*this, &CMessageQueue::CountItem);
    CScopeLock<Lock> guard(lock_);
    try {
      container_.push_back(std::forward<Source>(item));
    } catch (...) {
      finish.Arm(&CMessageQueue::ReleasePlace);
      throw;
    }
    finish.Arm();
  }

  void CountItem() { items_.V(1); }

  // A producer that is busy has the next item ready sooner than a thread can be put to sleep and woken. So the
  // consumer looks a few times before it sleeps, and both save their system calls.
  void AwaitItem() {
    for (std::uint32_t looks = IMPL::MultiProcessor ? 400 : 1; looks > 0; --looks) {
      if (items_.TryP()) return;
      IMPL::RelaxProcessor();
    }
    items_.P();
  }

  void ReleasePlace() {
    if (free_.fetch_sub(1, std::memory_order_acq_rel) - 1 >= 0) freeSem_.Get().V(1);
  }

  Container container_ QORV_GUARDED_BY(lock_);
  const std::uint32_t capacity_;
  // Starts at minus capacity; above 0 after an increment: the producer must wait.
  std::atomic<std::int64_t> free_;
  IMPL::CLazySem freeSem_;
  CSem items_;
  Lock lock_;
};

/// Recursive mutex on the system's own.
///
/// Failures are mutexExp: code 1 creating, 3 destroying, 4 locking, 5 unlocking.
class QORV_CAPABILITY("mutex") CMutex {
 public:
  /// `locked`: the new mutex is entered at once by the calling thread.
  explicit CMutex(bool locked = false);
  CMutex(const CMutex&) = delete;
  CMutex& operator=(const CMutex&) = delete;
  /// The mutex must be free; otherwise throws code 3 unless another exception is unwinding.
  ~CMutex() noexcept(false);

  void Lock() QORV_ACQUIRE();
  void Unlock() QORV_RELEASE();

  /// The names by which CScopeLock calls.
  void Enter() QORV_ACQUIRE() { Lock(); }
  void Leave() QORV_RELEASE() { Unlock(); }

  pthread_mutex_t* GetSysHandle() noexcept { return &mutex_; }

 private:
  pthread_mutex_t mutex_;
};

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

 private:
  pthread_cond_t cond_;
  bool raised_ QORV_GUARDED_BY(mutex_);
  std::uint32_t waiters_ QORV_GUARDED_BY(mutex_) = 0;
  CMutex mutex_;
};

}  // namespace Qorv
