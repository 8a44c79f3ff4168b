// The reader-writer lock whose waiters sleep.
#pragma once

#include <atomic>
#include <cstdint>

#include <qorv/detail/fast_lock.h>
#include <qorv/detail/kill_hold.h>
#include <qorv/detail/rw_guard.h>
#include <qorv/detail/semaphore.h>
#include <qorv/detail/tls_slot.h>

namespace Qorv {
namespace IMPL {

class CTimeLimit;

/// Held as long as a lock is not free. Has no owner: whoever makes the lock free gives it back.
///
/// count  | meaning
/// -------|----------------------------------------------------------------------------
/// -1     | free
/// n >= 0 | held, and n threads wait on the semaphore; they are handed the gate in turn
class CRWGate {
 public:
  bool Try() noexcept;
  /// `milliseconds`: 0 is Try; from 0x7FFFFFFF on it queues; anything between looks again and again, at least
  /// for 10 milliseconds, and can be overtaken by those who queue. Only who queues makes the semaphore: failures
  /// are then those of CSem and std::bad_alloc, before anything has changed. Should the semaphore's wait itself fail, the
  /// gate is of no use from then on. All within a CKillHold; a kill breaks
  /// off a wait that has not got the gate.
  bool Acquire(std::uint32_t milliseconds);
  void Release();

 private:
  std::atomic<std::int64_t> count_{-1};
  CLazySem sem_;
};

/// What all copies of a CRWLock share.
class CRWBlock {
 public:
  RWHold LockRead(std::uint32_t milliseconds);
  RWHold LockWrite(std::uint32_t milliseconds, RWCall call);
  void Release(RWHold hold);

  std::atomic<std::uint32_t> references{1};

 private:
  using Inner = CFastLock<CFixedSpin<800>>;
  using Guard = CSafeScopeLock<Inner>;

  std::int64_t GetOwnReads() const noexcept;
  void SetOwnReads(std::int64_t count);
  RWHold StartReading() QORV_REQUIRES(guard_);
  RWHold StartWriting(std::int64_t ownReads) QORV_REQUIRES(guard_);
  RWHold AddReadHold(std::int64_t ownReads) QORV_REQUIRES(guard_);
  RWHold AddWriteHold() QORV_REQUIRES(guard_);
  // These give up the guard while they wait.
  RWHold Raise(const CTimeLimit& limit, RWCall call, Guard& guard) QORV_REQUIRES(guard_);
  bool AwaitGate(std::uint32_t milliseconds, Guard& guard)
      QORV_REQUIRES(guard_) QORV_NO_THREAD_SAFETY_ANALYSIS;
  bool StepBack(const CTimeLimit& limit, Guard& guard) QORV_REQUIRES(guard_) QORV_NO_THREAD_SAFETY_ANALYSIS;
  template <class Lock>
  static void Return(Lock& lock) QORV_NO_THREAD_SAFETY_ANALYSIS;
  static void ForgetWaiter(void* block) noexcept QORV_NO_THREAD_SAFETY_ANALYSIS;
  static void ForgetRaiser(void* block) noexcept QORV_NO_THREAD_SAFETY_ANALYSIS;

  Inner guard_;
  // 0 free, above 0 the number of read holds, below 0 minus the number of the writer's holds and of the read holds
  // that it had before.
  std::int64_t state_ QORV_GUARDED_BY(guard_) = 0;
  std::uint64_t writer_ QORV_GUARDED_BY(guard_) = 0;
  CRWGate gate_;
  std::uint32_t waiting_ QORV_GUARDED_BY(guard_) = 0;
  bool raising_ QORV_GUARDED_BY(guard_) = false;
  std::int64_t remembered_ QORV_GUARDED_BY(guard_) = 0;  // read holds that the writer had before
  CTlsSlot ownReads_;
};

}  // namespace IMPL

/// Many readers or one writer; recursive; a reader can raise its hold to a write hold. Threads wait asleep. Used
/// through CReaderLock and CWriterLock alone. Copies of a lock are the same lock: they share its state, which goes
/// with the last of them.
///
/// state                | operation               | next state           | result
/// ---------------------|-------------------------|----------------------|----------------------------------------
/// free                 | read                    | read-held            | at once
/// free                 | write                   | write-held           | at once
/// read-held            | read, holding already   | one hold more        | at once, writers waiting or not
/// read-held            | read, no writer waits   | one hold more        | at once
/// read-held            | read, a writer waits    | read-held            | waits behind the writer
/// read-held            | write, all holds own    | write-held, the read | at once
///                      |                         | holds remembered     |
/// read-held            | write, some holds own   | read-held            | waits until all holds are its own
/// read-held            | the same, while another | read-held            | rwlExp, code 10; the read holds stay
///                      | thread does so          |                      |
/// read-held            | write, no hold own      | read-held            | waits
/// write-held by caller | read or write           | one hold more        | at once; a write hold in either case
/// write-held by other  | read or write           | write-held           | waits
/// read-held            | release                 | one hold less, or    | at once
///                      |                         | free                 |
/// write-held           | release of a read hold  | one remembered less  | at once
///                      | from before             |                      |
/// write-held           | release of another      | one hold less        | at once
/// write-held           | release of the last     | read-held again, or  | at once
///                      | write hold              | free                 |
///
/// What waits, with a limit of time or without, takes the lock when it is free. Writers that wait without limit are
/// handed the lock when it becomes free, and nobody overtakes them; those with a limit, and readers, look for it
/// every 10 milliseconds, so a limit below that is taken as 10. A reader that came while the lock was write-held
/// joins the readers it finds in afterwards, writers waiting or not.
///
/// Each lock takes one of the system's thread-specific keys, of which a process has some thousand: making a lock
/// throws tlsExp, code 1, when there is none left. Taking and releasing throw tlsExp, code 3, when a thread's count
/// cannot be stored, and leave the lock as it was. Further failures are those of CSem and std::bad_alloc.
///
/// All operations may be called from any thread at once. Undefined: the end of the last copy while somebody holds
/// the lock or waits for it, and a release by a thread that does not hold it. A thread that ends with a hold leaves it
/// held, and the lock is of no use from then on.
class CRWLock {
 public:
  CRWLock() : block_(new Block) {}

 private:
  template <class Lock, IMPL::RWSide side>
  friend class IMPL::CRWGuard;
  using Block = IMPL::CRWBlock;

  IMPL::CRWShared<Block> block_;
};

using CReaderLock = IMPL::CRWGuard<CRWLock, IMPL::RWSide::read>;
using CWriterLock = IMPL::CRWGuard<CRWLock, IMPL::RWSide::write>;

}  // namespace Qorv
