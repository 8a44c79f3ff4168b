#include <qorv/detail/kill_hold.h>
#include <qorv/sync.h>

#include "sync/deadline.h"
#include "sync/lock_texts.h"

namespace Qorv {
namespace {

constexpr auto Check = [](int error, std::string_view heading, IMPL::ErrnoTable texts, std::uint32_t code) {
  IMPL::CheckStep<eventExp>(error, heading, texts, code);
};
using Guard = IMPL::CSafeScopeLock<CMutex>;

constexpr IMPL::ErrnoText destroyTexts[] = {
    {EBUSY, "attempt to destroy a waiting event"},
    {EINVAL, "the value specified by event is invalid"},
};

}  // namespace

CEvent::CEvent(bool raised) : raised_(raised) {
  Check(::pthread_cond_init(&cond_, nullptr), "CEvent::CEvent - failed create event\n", IMPL::createTexts,
        syncCode::create);
}

// The system may block, rather than answer, when somebody waits; so the waiters are counted here.
CEvent::~CEvent() noexcept(false) {
  IMPL::DropWhileUnwinding([this] {
    {
      Guard guard(mutex_);
      Check(waiters_ != 0 ? EBUSY : 0, "CEvent::~CEvent - failed close event\n", destroyTexts,
            syncCode::destroy);
    }
    Check(::pthread_cond_destroy(&cond_), "CEvent::~CEvent - failed close event\n", destroyTexts,
          syncCode::destroy);
  });
}

void CEvent::RaiseEvent() {
  Guard guard(mutex_);
  raised_ = true;
  ++raises_;
  Check(::pthread_cond_broadcast(&cond_), "CEvent/RaiseEvent - failed raise event\n", IMPL::raiseTexts,
        syncCode::signal);
}

void CEvent::ResetEvent() {
  Guard guard(mutex_);
  raised_ = false;
}

bool CEvent::IsRaised() {
  Guard guard(mutex_);
  return raised_;
}

// What `call`, one wait of the system on the condition, answers; 0 at once if the flag is raised.
//
// One wait, not in a loop: a wake counts as a raised event whatever woke the thread, also when the event has been reset
// again since. That is meant. Only a wake that was to break off another waiter is none. A thread must not be broken off
// inside the wait itself: the system's condition would be left waiting for it.
template <class Call>
int CEvent::AwaitRaise(Call call) {
  IMPL::CKillHold hold;
  int error = 0;
  {
    IMPL::CKillNudge nudge([](void* self) noexcept { static_cast<CEvent*>(self)->Nudge(); }, this);
    CScopeLock<CMutex> guard(mutex_);  // a plain one, which leaves the hold open
    if (raised_) return 0;
    ++waiters_;
    for (std::uint32_t nudges = nudges_, raises = raises_;; nudges = nudges_) {
      error = call();
      if (error != 0 || nudges == nudges_ || raises != raises_ || IMPL::IsKillDue()) break;
    }
    --waiters_;
  }
  IMPL::BreakOffIfKilled();
  return error;
}

// On the thread that kills a waiter.
void CEvent::Nudge() noexcept {
  try {
    Guard guard(mutex_);
    ++nudges_;
    ::pthread_cond_broadcast(&cond_);
  } catch (...) {  // there will be another
  }
}

bool CEvent::WaitEvent() {
  const int error = AwaitRaise([this] { return ::pthread_cond_wait(&cond_, mutex_.GetSysHandle()); });
  Check(error, "CEvent/WaitEvent - failed wait event\n", IMPL::waitTexts, syncCode::wait);
  return true;
}

bool CEvent::TimedWaitEvent(std::uint32_t milliseconds) {
  if (milliseconds == waitForever) return WaitEvent();
  if (milliseconds == 0) return IsRaised();
  return TimedWaitEvent(IMPL::DeadlineIn(milliseconds));
}

bool CEvent::TimedWaitEvent(const timespec& deadline) {
  const int error =
      AwaitRaise([&] { return ::pthread_cond_timedwait(&cond_, mutex_.GetSysHandle(), &deadline); });
  if (error == ETIMEDOUT) return false;
  Check(error, "CEvent/TimedWaitEvent - failed wait event\n", IMPL::timedWaitTexts, syncCode::wait);
  return true;
}

}  // namespace Qorv
