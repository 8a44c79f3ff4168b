// What both reader-writer locks share: their scope guards and the counted handle on their state.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include <qorv/error.h>
#include <qorv/misc.h>

namespace Qorv::IMPL {

/// What a guard holds. A read hold that is taken inside the thread's own write hold counts as a write hold.
enum class RWHold : std::uint8_t { none, read, write };

enum class RWSide : std::uint8_t { read, write };

/// The operation that a failure text names.
enum class RWCall : std::uint8_t { lock, timedLock };

/// A handle on a `Block` that lives as long as any of its handles. Handles may be copied and go in any thread;
/// assigning to one needs that nobody uses the same handle meanwhile.
template <class Block>
class CRWShared {
 public:
  explicit CRWShared(Block* block) noexcept : block_(block) {}
  CRWShared(const CRWShared& other) noexcept : block_(other.block_) {
    block_->references.fetch_add(1, std::memory_order_relaxed);
  }
  CRWShared& operator=(const CRWShared& other) {
    CRWShared copy(other);
    std::swap(block_, copy.block_);
    return *this;
  }
  ~CRWShared() noexcept(false) {
    if (block_->references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    DropWhileUnwinding([this] { delete block_; });
  }

  Block* Get() const noexcept { return block_; }

 private:
  Block* block_;
};

/// Holds one side of a reader-writer lock for the calling thread. Some copy of the lock has to stay as long as the
/// guard. A guard belongs to the thread that took with it; guards of one thread may be released in any order.
///
/// guard | operation             | next  | result
/// ------|-----------------------|-------|-------------------------------------------------------------------
/// empty | __Lock                | holds | waits without limit
/// empty | __TimedLock, in time  | holds | true
/// empty | __TimedLock, too late | empty | false; nothing of the attempt is left
/// holds | __Lock, __TimedLock   | holds | true at once, and no further hold
/// holds | __Unlock, destruction | empty | the hold is given back
/// empty | __Unlock, destruction | empty | nothing
///
/// A failure of taking leaves the guard empty. One of releasing is dropped in the destructor while another
/// exception unwinds. Which failures there are is told with each lock.
template <class Lock, RWSide side>
class CRWGuard {
  using Block = typename Lock::Block;
  static constexpr bool cannotFail = noexcept(std::declval<Block&>().Release(RWHold::none));

 public:
  /// `locked`: takes the lock at once.
  explicit CRWGuard(Lock& lock, bool locked = true) : block_(lock.block_.Get()) {
    if (locked) __Lock();
  }
  CRWGuard(const CRWGuard&) = delete;
  CRWGuard& operator=(const CRWGuard&) = delete;
  ~CRWGuard() noexcept(cannotFail) {
    if constexpr (cannotFail) {
      __Unlock();
    } else {
      DropWhileUnwinding([this] { __Unlock(); });
    }
  }

  void __Lock() {
    if (hold_ == RWHold::none) Take(waitForever, RWCall::lock);
  }
  /// `milliseconds`: 0 is a try; from 0x7FFFFFFF on there is no limit.
  bool __TimedLock(std::uint32_t milliseconds) {
    if (hold_ == RWHold::none) Take(milliseconds, RWCall::timedLock);
    return hold_ != RWHold::none;
  }
  void __Unlock() noexcept(cannotFail) {
    if (hold_ == RWHold::none) return;
    block_->Release(hold_);
    hold_ = RWHold::none;
  }
  bool IsHeld() const noexcept { return hold_ != RWHold::none; }

 private:
  void Take(std::uint32_t milliseconds, [[maybe_unused]] RWCall call) {
    if constexpr (side == RWSide::read) {
      hold_ = block_->LockRead(milliseconds);
    } else {
      hold_ = block_->LockWrite(milliseconds, call);
    }
  }

  Block* const block_;
  RWHold hold_ = RWHold::none;
};

}  // namespace Qorv::IMPL
