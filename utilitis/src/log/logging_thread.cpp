#include "log/logging_thread.h"

#include <algorithm>
#include <utility>

namespace Qorv::IMPL {
namespace {

constexpr std::uint32_t spinCount = 1000;

}  // namespace

constinit thread_local CLoggingThread* CLoggingThread::serving = nullptr;

CLoggingThread::CLoggingThread(CLog& owner, std::uint32_t bound)
    : CMessageQueue(std::max(bound, 1U)), owner_(owner) {
  QueueLock().SetSpinCount(spinCount);
}

// A thread that could not be stopped in order must not outlive what it uses.
CLoggingThread::~CLoggingThread() noexcept(false) {
  for (;; SleepTick()) {
    try {
      Kill(0);
      break;
    } catch (const qvExp&) {
    }
  }
  next_->RaiseEvent();
}

void CLoggingThread::Post(LOG_RECORD&& record) {
  if (isDead_) {
    ServeRest();
    Serve(record);
    return;
  }
  Push(std::move(record));
  posted_.store(posted_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  if (isDead_) ServeRest();  // it died meanwhile
}

// Nothing is posted meanwhile: the caller holds the log's lock.
std::shared_ptr<CEvent> CLoggingThread::AwaitSettled() {
  isAwaited_ = true;
  for (settled_.ResetEvent(); !IsSettled() && !isDead_; settled_.ResetEvent())
    settled_.WaitEvent();
  isAwaited_ = false;
  if (isDead_) ServeRest();
  if (isDelivered_ || isDead_) return nullptr;
  next_->ResetEvent();
  isNextAwaited_ = true;
  return next_;
}

bool CLoggingThread::TryStop() {
  TThread::TryStop();
  LOG_RECORD marker;
  marker.quit = true;
  Post(std::move(marker));
  return false;
}

std::uint32_t CLoggingThread::Run() {
  serving = this;
  for (;;) {
    LOG_RECORD record;  // let go of outside the queue's lock
    Pop(record);
    if (record.quit) return 0;
    NoteDealt(Serve(record));
  }
}

// False if the filter has stopped the record.
bool CLoggingThread::Serve(const LOG_RECORD& record) {
  if (record.quit) return true;
  Guard guard(dispatchLock_);
  return owner_.Deliver(record.time, record.level, record.channel, record.message);
}

bool CLoggingThread::ServeInside(LOG_RECORD&& record) {
  if (std::exchange(serving->isInside_, true)) return false;
  try {
    serving->Serve(record);
  } catch (...) {
    serving->isInside_ = false;
    throw;
  }
  serving->isInside_ = false;
  return true;
}

// Counts first and then looks who waits. Those who wait say so first, and then look at the count.
void CLoggingThread::NoteDealt(bool isDelivered) {
  isDelivered_.store(isDelivered, std::memory_order_relaxed);
  dealt_.fetch_add(1);
  if (isAwaited_ && IsSettled()) settled_.RaiseEvent();
  if (isDelivered && isNextAwaited_ && isNextAwaited_.exchange(false)) next_->RaiseEvent();
}

// Nobody may wait for a thread that is gone.
bool CLoggingThread::OnUncaught() {
  isDead_ = true;
  ServeRest();
  settled_.RaiseEvent();
  next_->RaiseEvent();
  return true;
}

// What a dead thread has left behind. This also makes room for somebody who waits at the full queue.
void CLoggingThread::ServeRest() noexcept {
  try {
    Guard guard(dispatchLock_);
    while (!IsEmpty()) {
      LOG_RECORD record;
      Pop(record);
      NoteDealt(Serve(record));
    }
  } catch (...) {
  }
}

void CLoggingThread::OnFinished() {
  Guard guard(dispatchLock_);
  owner_.TellThreadEnd();
}

}  // namespace Qorv::IMPL
