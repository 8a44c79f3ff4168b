#include <qorv/thread.h>

#include <time.h>

#include <algorithm>
#include <cerrno>
#include <exception>

#include <qorv/time.h>

#include "error/message.h"
#include "thread/thread_imp.h"

namespace Qorv {
namespace {

using namespace threadState;
using IMPL::EndProcess;
using IMPL::IsAlive;
using IMPL::ThrowInvalidState;
using Guard = IMPL::CSafeScopeLock<FASTKSV_PCLOCK>;

constexpr std::uint32_t stopRequested = 1;
constexpr std::uint32_t suspendRequested = ~std::uint32_t{0};

std::atomic<TThread::UncaughtHandler> uncaughtHandler{nullptr};
std::atomic<std::uint64_t> defaultStackSize{0};

}  // namespace

void IMPL::ThrowInvalidState(std::string_view heading, std::uint32_t state) {
  stringEx text(heading);
  throw threadExp(text.append_uint(state), threadCode::invalidState);
}

// A kill signal that cannot be sent now, because too many are queued, can be later. Until then the object stays:
// its thread must not run without it.
TThread::~TThread() noexcept(false) {
  IMPL::DropWhileUnwinding([this] {
    for (;; SleepTick()) {
      Guard guard(lock_);
      try {
        if (KillAlive(guard)) state_.exchange(killed);
      } catch (const threadExp&) {
        continue;
      }
      if (waiters_ != 0 || IsAlive(GetState())) continue;
      ReleaseImp();
      stopFlag_.exchange(0);
      return;
    }
  });
}

std::uint32_t TThread::Reserved1() {
  return 0;
}
std::uint32_t TThread::Reserved2() {
  return 0;
}
bool TThread::OnUncaught() {
  return false;
}
void TThread::OnFinished() {}
void TThread::OnKill(std::uint32_t /*code*/) {}
std::uint32_t TThread::KillExitCode(std::uint32_t code) {
  return code;
}

void TThread::Create(bool autoDestroy, std::uint64_t stackSize) {
  Guard guard(lock_);
  while (!IsAlive(GetState()) && waiters_ != 0) {
    guard.Leave();
    SleepTick();
    guard.Enter();
  }
  if (IsAlive(GetState())) {
    throw threadExp(stringEx::view("TThread::Create - the thread was already created"),
                    threadCode::alreadyCreated);
  }
  autoDestroy_.exchange(autoDestroy ? 1 : 0);
  exitCode_.exchange(0);
  stopFlag_.exchange(0);  // what the thread before was asked is nothing to this one
  ReleaseImp();
  imp_ = new CThread_Imp;
  try {
    imp_->Create(*this, stackSize != 0 ? stackSize : defaultStackSize.load());
  } catch (...) {
    ReleaseImp();
    state_.exchange(none);
    throw;
  }
  state_.exchange(suspended);
}

void TThread::Resume() {
  Guard guard(lock_);
  if (GetState() == running) return;
  if (GetState() != suspended) ThrowInvalidState("TThread::Resume - invalid state : ", GetState());
  if (stopFlag_.load() == suspendRequested) {
    stopFlag_.exchange(0);
    suspendSem_.Get().V(1);
  } else {
    imp_->LetStart();
  }
  state_.exchange(running);
}

void TThread::Suspend() {
  Guard guard(lock_);
  if (GetState() == suspended) return;
  if (GetState() != running) ThrowInvalidState("TThread::Suspend - invalid state : ", GetState());
  while (suspendSem_.Get().TryP()) {
  }
  stopFlag_.exchange(suspendRequested);
  state_.exchange(suspended);
}

bool TThread::TryStop() {
  Guard guard(lock_);
  if (!IsAlive(GetState())) return true;
  if (GetState() == suspended) Resume();
  state_.exchange(stopping);
  stopFlag_.exchange(stopRequested);
  return false;
}

bool TThread::TestStopSlow(std::uint32_t flag) {
  if (flag != suspendRequested) return true;
  suspendSem_.Get().P();
  return false;
}

// True if this killed the thread, and that is still to be noted in the state. The lock is held all the while, unless
// the thread is ending by itself, for which it needs it. False also if the calling thread has to break off first.
bool TThread::KillAlive(Guard& guard) {
  while (IsAlive(GetState())) {
    state_.exchange(stopping);
    switch (imp_->Kill()) {
      case CThread_Imp::KillResult::killed:
        return true;
      case CThread_Imp::KillResult::endsItself:
        AwaitEnd(guard, waitForever);
        break;
      case CThread_Imp::KillResult::givenUp:
        return false;
    }
  }
  return false;
}

void TThread::Kill(std::uint32_t code) {
  Guard guard(lock_);
  if (!IsAlive(GetState())) return;
  CThread_Imp* const self = imp_->IsCurrent() ? imp_ : nullptr;
  state_.exchange(stopping);
  OnKill(code);
  if (self == nullptr && !KillAlive(guard)) return;
  state_.exchange(killed);
  exitCode_.exchange(KillExitCode(code));
  if (self != nullptr) self->RaiseEnd();  // a destructor waits for those who wait for this
  const bool destroys = autoDestroy_.load() != 0;
  guard.Leave();
  if (destroys) Destroy(self != nullptr);
  if (self != nullptr) self->Exit();  // on the thread's own reference
}

void TThread::Destroy(bool isSelf) {
  try {
    delete this;
  } catch (const qvExp& failure) {
    if (isSelf) EndProcess();
    IMPL::CMessage("TThread::Kill - unexpected error on auto destroy\n")
        .Inner(failure)
        .Throw<threadExp>(threadCode::kill);
  } catch (...) {
    if (isSelf) EndProcess();
    throw threadExp(stringEx::view("TThread::Kill - unexpected error on auto destroy\n@ unknown error"),
                    threadCode::kill);
  }
}

bool TThread::Wait(std::uint32_t milliseconds) {
  Guard guard(lock_);
  return !IsAlive(GetState()) || AwaitEnd(guard, milliseconds);
}

// Gives up the lock while it waits. The object does not go before it is back: it is counted.
bool TThread::AwaitEnd(Guard& guard, std::uint32_t milliseconds) {
  ++waiters_;
  CThread_Imp* const imp = imp_;
  guard.Leave();
  IMPL::CKillUndo undo(
      [](void* self) noexcept {
        auto* const object = static_cast<TThread*>(self);
        Guard undoGuard(object->lock_);
        object->LeaveWait();
      },
      this);
  bool isEnded = false;
  std::exception_ptr failure;
  try {
    isEnded = imp->WaitForEnd(milliseconds);
  } catch (...) {
    failure = std::current_exception();
  }
  guard.Enter();
  LeaveWait();
  if (failure) std::rethrow_exception(failure);
  return isEnded;
}

void TThread::LeaveWait() noexcept {
  if (--waiters_ == 0 && !IsAlive(GetState())) ReleaseImp();
}

void TThread::ReleaseImp() noexcept {
  if (imp_ != nullptr) std::exchange(imp_, nullptr)->Release();
}

// The thread's life behind the start semaphore. False if it has been killed: the object may then be gone.
bool TThread::Live(CThread_Imp& imp) noexcept {
  std::uint32_t code = 0;
  try {
    code = Run();
    if (!imp.BeginEnding()) return false;
  } catch (...) {
    if (!imp.BeginEnding()) return false;
    DealWithUncaught();
  }
  try {
    OnFinished();
  } catch (...) {
    DealWithUncaught();
  }
  Finish(code);
  return true;
}

// With the exception in flight.
void TThread::DealWithUncaught() noexcept {
  try {
    if (OnUncaught()) return;
    if (const UncaughtHandler handler = uncaughtHandler.load()) return handler();
  } catch (...) {
  }
  EndProcess();
}

// Whoever waits holds the object: it goes only when the last of them has left. Leaving the lock is the last step,
// and touches nothing of the object behind the instruction that lets another in, who may destroy it at once.
void TThread::Finish(std::uint32_t code) {
  Guard guard(lock_);
  exitCode_.exchange(code);
  state_.exchange(ended);
  if (waiters_ != 0) {
    imp_->RaiseEnd();
  } else {
    ReleaseImp();
  }
  if (autoDestroy_.load() == 0) return;
  guard.Leave();
  delete this;
}

std::int32_t TThread::ExitCurrent() noexcept {
  constexpr std::int32_t notOurs = -32;
  if (CThread_Imp* const self = CThread_Imp::Current()) self->Exit();
  IMPL::CleanUpThread();
  return notOurs;
}

void TThread::Sleep(std::uint32_t milliseconds) noexcept {
  Sleep(CTimeSpan(std::int64_t{milliseconds} * 1000));
}

void TThread::Sleep(CTimeSpan span) noexcept {
  const std::int64_t microseconds = std::max<std::int64_t>(span.GetValue(), 0);
  timespec rest{static_cast<time_t>(microseconds / 1'000'000),
                static_cast<long>(microseconds % 1'000'000) * 1000};
  while (::nanosleep(&rest, &rest) != 0 && errno == EINTR) {
  }
}

void TThread::SleepTick() noexcept {
  const timespec tick{0, 1'000'000};
  ::nanosleep(&tick, nullptr);
}

TThread::UncaughtHandler TThread::SetUncaughtHandler(UncaughtHandler handler) noexcept {
  return uncaughtHandler.exchange(handler);
}

std::uint64_t TThread::SetDefaultStackSize(std::uint64_t size) noexcept {
  return defaultStackSize.exchange(size);
}

}  // namespace Qorv
