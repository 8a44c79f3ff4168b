// The reader-writer lock whose waiters stay awake.
#pragma once

#include <atomic>
#include <cstdint>

#include <qorv/detail/kill_hold.h>
#include <qorv/detail/rw_guard.h>

namespace Qorv {
namespace IMPL {

class CTimeLimit;

/// Fast reader-writer locks that a process can have at a time.
inline constexpr std::uint32_t maxFastRWLocks = 8192;

/// Read holds of the calling thread, one place for each lock. Zero-filled thread-local memory: it needs no making,
/// and is good until the very end of the thread.
extern constinit thread_local std::uint32_t ownFastReads[maxFastRWLocks];

/// A number for the calling thread that no other thread of the process has had or will have; never 0. No system call.
inline std::uint64_t OwnNumber() noexcept {
  static constinit std::atomic<std::uint64_t> last{0};
  thread_local constinit std::uint64_t number = 0;
  if (number == 0) number = last.fetch_add(1, std::memory_order_relaxed) + 1;
  return number;
}

/// What all copies of a CFastRWSpinLock share. All that two threads can meet at is one word, and each step is one
/// operation on that word, so that nobody can be caught in the middle of a step and no guard is needed:
///
/// bits     | meaning
/// ---------|-----------------------------------------------------------------------------------------------
/// 0 to 30  | the number of read holds, with those that the writer had before, and for an instant those of threads
///          | that find they may not come in
/// 31       | write-held
/// 32 to 62 | the number of writers that wait, a raising reader among them
/// 63       | a reader waits to become the writer
///
/// The lock is free for the taking exactly while the lower half is 0: it needs no gate beside it.
class alignas(64) CFastRWBlock {
 public:
  explicit CFastRWBlock(std::uint32_t spinCount);
  CFastRWBlock(const CFastRWBlock&) = delete;
  CFastRWBlock& operator=(const CFastRWBlock&) = delete;
  ~CFastRWBlock() noexcept(false);

  RWHold LockRead(std::uint32_t milliseconds) {
    const CKillHold hold;  // a count that its thread does not know of would stay
    std::uint32_t& own = ownFastReads[index_];
    if (!IsOpenToReader(word_.fetch_add(1, std::memory_order_acquire), own != 0))
      return WaitForRead(milliseconds);
    ++own;
    return RWHold::read;
  }

  RWHold LockWrite(std::uint32_t milliseconds, RWCall call) {
    std::uint64_t word = 0;
    if (!word_.compare_exchange_strong(word, written, std::memory_order_acquire, std::memory_order_relaxed)) {
      return WaitForWrite(milliseconds, call);
    }
    return StartWriting();
  }

  // The operation on the word is the last touch of this object: who takes the lock next may destroy it.
  void Release(RWHold hold) noexcept {
    if (hold == RWHold::read) {
      --ownFastReads[index_];
      word_.fetch_sub(1, std::memory_order_release);
    } else if (--writeHolds_ == 0) {
      writer_.store(0, std::memory_order_relaxed);
      word_.fetch_sub(written, std::memory_order_release);
    }
  }

  void SetSpinCount(std::uint32_t count) noexcept { spinCount_.store(count, std::memory_order_relaxed); }

 private:
  static constexpr std::uint64_t written = std::uint64_t{1} << 31;
  static constexpr std::uint64_t oneWaiting = std::uint64_t{1} << 32;
  static constexpr std::uint64_t raising = std::uint64_t{1} << 63;

  static constexpr std::uint32_t GetHolds(std::uint64_t word) noexcept {
    return static_cast<std::uint32_t>(word);
  }
  static constexpr bool IsOpenToReader(std::uint64_t word, bool mayPassWaiting) noexcept {
    return word < written || (mayPassWaiting && (word & written) == 0);
  }
  bool IsWriter() const noexcept { return writer_.load(std::memory_order_relaxed) == OwnNumber(); }

  RWHold StartWriting() noexcept {
    writer_.store(OwnNumber(), std::memory_order_relaxed);
    writeHolds_ = 1;
    return RWHold::write;
  }
  RWHold AddWriteHold() noexcept {
    ++writeHolds_;
    return RWHold::write;
  }
  RWHold WaitForRead(std::uint32_t milliseconds);
  RWHold WaitForWrite(std::uint32_t milliseconds, RWCall call);
  template <class Opens>
  void Await(const CTimeLimit& limit, Opens opens) const;

  std::atomic<std::uint64_t> word_{0};
  // 0 unless write-held. Read without order: only the writer's own number can compare equal to a caller's.
  std::atomic<std::uint64_t> writer_{0};
  std::uint32_t writeHolds_ = 0;  // touched by the writer alone
  // What readers only look at stands apart from what they change, so that it stays in each processor's cache.
  alignas(64) const std::uint32_t index_;
  std::atomic<std::uint32_t> spinCount_;

 public:
  std::atomic<std::uint32_t> references{1};
};

}  // namespace IMPL

/// As CRWLock, of the same states and operations, but for what stands here. Threads wait awake: a waiter looks at the
/// lock for its spin count and then lets others have the processor. So it is for locks that are held for a short time.
/// Used through CFastReaderSpinLock and CFastWriterSpinLock alone.
///
/// Taking the lock when it is free, or to read when it is read-held, makes no system call. Nobody queues: who waits
/// takes the lock when it finds it open. A new reader finds it open only when no writer waits. A reader that cannot
/// come in may for an instant keep a writer out of a lock that has just become free; so a try to write may fail.
///
/// A process has room for 8192 of these locks, copies not counted: making another throws rwlExp, code 1. All holds
/// of one lock together may be 2^31 - 1. What a thread holds is counted in 32 KB of thread-local memory, which every
/// thread of a program with such a lock has, as part of its stack where the system takes it from there.
///
/// Taking for writing throws rwlExp, code 10, for a second raising reader. Nothing else of taking and releasing
/// fails. What is undefined for CRWLock is so here.
class CFastRWSpinLock {
 public:
  /// `spinCount`: looks of a waiter before it gives the processor away; 0 means 800.
  explicit CFastRWSpinLock(std::uint32_t spinCount = defaultSpinCount_.load(std::memory_order_relaxed))
      : block_(new Block(spinCount)) {}
  /// For this lock and all its copies, from the next wait on.
  void SetSpinCount(std::uint32_t count) noexcept { block_.Get()->SetSpinCount(count); }
  /// Sets what locks get that are made from now on. Returns what it was before; 0 at first.
  static std::uint32_t SetDefaultSpinCount(std::uint32_t count) noexcept {
    return defaultSpinCount_.exchange(count, std::memory_order_relaxed);
  }

 private:
  template <class Lock, IMPL::RWSide side>
  friend class IMPL::CRWGuard;
  using Block = IMPL::CFastRWBlock;

  static inline std::atomic<std::uint32_t> defaultSpinCount_{0};

  IMPL::CRWShared<Block> block_;
};

using CFastReaderSpinLock = IMPL::CRWGuard<CFastRWSpinLock, IMPL::RWSide::read>;
using CFastWriterSpinLock = IMPL::CRWGuard<CFastRWSpinLock, IMPL::RWSide::write>;

}  // namespace Qorv
