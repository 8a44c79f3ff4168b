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

// The queue may have been found empty and this record served before the event is looked at: then it is raised for this
// record already, and stays so.
void CLoggingThread::Post(LOG_RECORD&& record) {
  if (isDead_) {
    ServeRest();
    Serve(record);
    return;
  }
  const std::uint64_t size = Push(std::move(record));
  ++posted_;
  if (size == 1) {
    Guard guard(settledLock_);
    if (settledAt_ != posted_) settled_.ResetEvent();
  }
  if (isDead_) ServeRest();  // it died meanwhile
}

// Waits again after a wake-up that nobody meant.
std::shared_ptr<CEvent> CLoggingThread::AwaitSettled() {
  do
    settled_.WaitEvent();
  while (!settled_.IsRaised());
  Guard guard(settledLock_);
  if (isDelivered_ || isDead_) return nullptr;
  isNextAwaited_ = true;
  next_->ResetEvent();
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
    const std::uint64_t left = Pop(record);
    if (record.quit) return 0;
    ++taken_;
    const bool isDelivered = Serve(record);
    if (left == 0) Settle(isDelivered);
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
  serving->Serve(record);
  serving->isInside_ = false;
  return true;
}

void CLoggingThread::Settle(bool isDelivered) {
  Guard guard(settledLock_);
  if (!IsEmpty()) return;
  settledAt_ = taken_;
  isDelivered_ = isDelivered;
  settled_.RaiseEvent();
  if (isDelivered && std::exchange(isNextAwaited_, false)) next_->RaiseEvent();
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
      ++taken_;
      Serve(record);
    }
    Settle(true);
  } catch (...) {
  }
}

void CLoggingThread::OnFinished() {
  Guard guard(dispatchLock_);
  owner_.TellThreadEnd();
}

}  // namespace Qorv::IMPL
