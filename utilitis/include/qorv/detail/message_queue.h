// The bounded queue between threads.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include <qorv/detail/fast_lock.h>
#include <qorv/detail/kill_hold.h>
#include <qorv/detail/semaphore.h>

namespace Qorv {

/// Bounded first-in first-out queue between any number of producers and consumers.
///
/// Push blocks while the queue is full, Pop while it is empty, both without a time limit, and there is no
/// close: a consumer is ended by an item that tells it to. Items are copied in and moved out; for types that
/// share their payload by count this moves no payload. The lock is held only for that one copy, and no other
/// lock is taken inside it.
///
/// `Container` needs push_back, front, pop_front, empty. Failures are those of CSem, std::bad_alloc, and what
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
    IMPL::CKillHold hold;
    AwaitItem();
    hold.Secure();
    CLater finish(*this, &CMessageQueue::CountItem);  // if it stays the first of the queue
    IMPL::CSafeScopeLock<Lock> guard(lock_);
    item = std::move(container_.front());
    container_.pop_front();
    finish.Become(&CMessageQueue::ReleasePlace);
  }

  bool IsEmpty() {
    IMPL::CSafeScopeLock<Lock> guard(lock_);
    return container_.empty();
  }

  std::uint32_t GetCapacity() const noexcept { return capacity_; }

 protected:
  /// For what a lock has to be told when the queue is made.
  Lock& QueueLock() noexcept QORV_RETURN_CAPABILITY(lock_) { return lock_; }

 private:
  // A step to take when the lock has been left, or could not be entered.
  class CLater {
   public:
    using Step = void (CMessageQueue::*)();
    CLater(CMessageQueue& queue, Step step) noexcept : queue_(queue), step_(step) {}
    CLater(const CLater&) = delete;
    CLater& operator=(const CLater&) = delete;
    ~CLater() noexcept(false) {
      IMPL::DropWhileUnwinding([this] { (queue_.*step_)(); });
    }
    void Become(Step step) noexcept { step_ = step; }

   private:
    CMessageQueue& queue_;
    Step step_;
  };

  template <class Source>
  void Emplace(Source&& item) {
    IMPL::CKillHold hold;
    AwaitPlace();
    hold.Secure();
    CLater finish(*this, &CMessageQueue::ReleasePlace);  // if the item does not get in
    IMPL::CSafeScopeLock<Lock> guard(lock_);
    container_.push_back(std::forward<Source>(item));
    finish.Become(&CMessageQueue::CountItem);
  }

  void CountItem() { items_.V(1); }

  // Takes a place, or counts this thread as one that waits for one.
  void AwaitPlace() {
    std::int64_t used = free_.load(std::memory_order_relaxed);
    while (used < 0) {
      if (free_.compare_exchange_weak(used, used + 1, std::memory_order_acq_rel, std::memory_order_relaxed))
        return;
    }
    CSem& sem = freeSem_.Get();  // before this thread is counted: making it may fail
    if (free_.fetch_add(1, std::memory_order_acq_rel) + 1 > 0) IMPL::AwaitTurn(free_, sem);
  }

  // A producer that is busy has the next item ready sooner than a thread can be put to sleep and woken. So the
  // consumer looks a few times before it sleeps, and both save their system calls.
  void AwaitItem() {
    for (std::uint32_t looks = IMPL::MultiProcessor ? 400 : 1; looks > 0; --looks) {
      if (items_.TryP()) return;
      IMPL::RelaxProcessor();
    }
    IMPL::AwaitSem(items_);
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

}  // namespace Qorv
