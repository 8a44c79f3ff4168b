#include <qorv/detail/rw_lock.h>

#include <exception>
#include <thread>

#include <qorv/detail/try_in_steps.h>

#include "sync/time_limit.h"

namespace Qorv::IMPL {
namespace {

constexpr std::uint32_t noLimit = 0x7FFFFFFF;

[[noreturn]] void RefuseRaise(RWCall call) {
  throw rwlExp(stringEx::view(
                   call == RWCall::lock
                       ? "CWriterLock::__Lock - more than one threads are trying to raise a reader lock to a "
                         "writer simutaneously."
                       : "CWriterLock::__TimedLock - more than one threads are trying to raise a reader "
                         "lock to a writer simutaneously."),
               rwlCode::refusedUpgrade);
}

}  // namespace

bool CRWGate::Try() noexcept {
  std::int64_t count = count_.load(std::memory_order_relaxed);
  return count < 0 && count_.compare_exchange_strong(count, count + 1, std::memory_order_acquire,
                                                     std::memory_order_relaxed);
}

bool CRWGate::Acquire(std::uint32_t milliseconds) {
  if (milliseconds == 0) return Try();
  if (milliseconds < noLimit) {
    return TryInSteps(milliseconds, [this] {
      BreakOffIfKilled();
      return Try();
    });
  }
  if (Try()) return true;
  CSem& sem = sem_.Get();  // before this thread is counted: making it may fail
  if (count_.fetch_add(1, std::memory_order_acquire) + 1 >= 1) AwaitTurn(count_, sem);
  return true;
}

void CRWGate::Release() {
  if (count_.fetch_sub(1, std::memory_order_release) - 1 >= 0) sem_.Get().V(1);
}

// The count itself stands in the slot, in place of a pointer to it.
std::int64_t CRWBlock::GetOwnReads() const noexcept {
  return reinterpret_cast<std::intptr_t>(ownReads_.GetValue());
}

void CRWBlock::SetOwnReads(std::int64_t count) {
  ownReads_.SetValue(reinterpret_cast<void*>(static_cast<std::intptr_t>(count)));
}

// With the gate in hand.
RWHold CRWBlock::StartReading() {
  try {
    return AddReadHold(0);
  } catch (...) {
    gate_.Release();
    throw;
  }
}

// With the gate in hand, taken or held since the first of the own reads.
RWHold CRWBlock::StartWriting(std::int64_t ownReads) {
  remembered_ = ownReads;
  state_ = ~ownReads;
  writer_ = CurrentThreadId();
  return RWHold::write;
}

RWHold CRWBlock::AddReadHold(std::int64_t ownReads) {
  SetOwnReads(ownReads + 1);
  ++state_;
  return RWHold::read;
}

RWHold CRWBlock::AddWriteHold() {
  --state_;
  return RWHold::write;
}

// Lets others in for a moment. False, at once, when the time is up.
bool CRWBlock::StepBack(const CTimeLimit& limit, Guard& guard) {
  if (limit.IsOver()) return false;
  guard.Leave();
  std::this_thread::yield();
  BreakOffIfKilled();
  Return(guard);
  return true;
}

// The guard may need memory for its semaphore. Whoever comes back may have the gate or be counted among those who
// wait, so it comes back in any case.
template <class Lock>
void CRWBlock::Return(Lock& lock) {
  for (;;) {
    try {
      return lock.Enter();
    } catch (...) {
      std::this_thread::yield();
    }
  }
}

// What a thread that is killed while it waits would leave behind.
void CRWBlock::ForgetWaiter(void* block) noexcept {
  auto& self = *static_cast<CRWBlock*>(block);
  Return(self.guard_);
  --self.waiting_;
  self.guard_.Leave();
}

void CRWBlock::ForgetRaiser(void* block) noexcept {
  auto& self = *static_cast<CRWBlock*>(block);
  Return(self.guard_);
  --self.waiting_;
  self.raising_ = false;
  self.guard_.Leave();
}

RWHold CRWBlock::LockRead(std::uint32_t milliseconds) {
  const CTimeLimit limit(milliseconds);
  Guard guard(guard_);
  bool hasWaitedForWriter = false;
  for (;;) {
    if (state_ == 0) {
      if (gate_.Try()) return StartReading();
      // Somebody has been handed the gate and is on the way to the guard.
      if (!StepBack(limit, guard)) return RWHold::none;
      continue;
    }
    if (state_ < 0 && writer_ == CurrentThreadId()) return AddWriteHold();
    if (state_ > 0) {
      const std::int64_t ownReads = GetOwnReads();
      if (waiting_ == 0 || ownReads != 0 || hasWaitedForWriter) return AddReadHold(ownReads);
    }
    if (limit.IsOver()) return RWHold::none;
    hasWaitedForWriter = state_ < 0;
    if (AwaitGate(stepLength, guard)) return StartReading();
  }
}

RWHold CRWBlock::LockWrite(std::uint32_t milliseconds, RWCall call) {
  const CTimeLimit limit(milliseconds);
  Guard guard(guard_);
  while (state_ == 0) {
    if (gate_.Try()) return StartWriting(0);
    if (!StepBack(limit, guard)) return RWHold::none;
  }
  if (state_ < 0 && writer_ == CurrentThreadId()) return AddWriteHold();
  if (state_ > 0 && GetOwnReads() != 0) return Raise(limit, call, guard);
  if (limit.IsOver()) return RWHold::none;
  ++waiting_;
  const CKillUndo undo(ForgetWaiter, this);
  bool gateCame = false;
  try {
    gateCame = AwaitGate(limit.GetRest(), guard);
  } catch (...) {
    --waiting_;
    throw;
  }
  --waiting_;
  return gateCame ? StartWriting(0) : RWHold::none;
}

// Comes back with the guard in any case.
bool CRWBlock::AwaitGate(std::uint32_t milliseconds, Guard& guard) {
  CKillHold hold;
  guard.Leave();
  bool gateCame = false;
  std::exception_ptr failure;
  try {
    gateCame = gate_.Acquire(milliseconds);
    if (gateCame) hold.Secure();
  } catch (...) {
    failure = std::current_exception();
  }
  Return(guard);
  if (failure) std::rethrow_exception(failure);
  return gateCame;
}

// The readers, of which this thread is one, have the gate: so nobody else becomes the writer meanwhile.
RWHold CRWBlock::Raise(const CTimeLimit& limit, RWCall call, Guard& guard) {
  const std::int64_t ownReads = GetOwnReads();
  if (state_ != ownReads) {
    if (raising_) RefuseRaise(call);
    if (limit.IsOver()) return RWHold::none;
    raising_ = true;
    ++waiting_;
    const CKillUndo undo(ForgetRaiser, this);
    while (state_ != ownReads && StepBack(limit, guard)) {
    }
    --waiting_;
    raising_ = false;
    if (state_ != ownReads) return RWHold::none;
  }
  SetOwnReads(0);
  return StartWriting(ownReads);
}

void CRWBlock::Release(RWHold hold) {
  Guard guard(guard_);
  if (state_ > 0) {
    SetOwnReads(GetOwnReads() - 1);
    if (--state_ == 0) gate_.Release();
    return;
  }
  const std::int64_t remembered = hold == RWHold::read ? remembered_ - 1 : remembered_;
  if (state_ + 1 != -remembered) {
    remembered_ = remembered;
    ++state_;
    return;
  }
  // Restored before anything else, since it may fail.
  if (remembered != 0) SetOwnReads(remembered);
  remembered_ = 0;
  state_ = remembered;
  writer_ = 0;
  if (state_ == 0) gate_.Release();
}

}  // namespace Qorv::IMPL
