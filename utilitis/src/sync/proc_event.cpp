#include <cerrno>
#include <tuple>

#include <qorv/misc.h>
#include <qorv/sync.h>

#include "file/dir_common.h"
#include "file/narrow.h"
#include "sync/deadline.h"
#include "sync/lock_texts.h"
#include "sync/shared_name.h"

namespace Qorv {
namespace {

constexpr auto Check = [](int error, std::string_view heading, IMPL::ErrnoTable texts, std::uint32_t code) {
  IMPL::CheckStep<eventExp>(error, heading, texts, code);
};
using Guard = IMPL::CSafeScopeLock<CProcMutex>;

// How long a waiter sleeps at a time: until it asks whether it is to be killed, and looks itself whether it has been woken.
constexpr std::uint32_t slice = 100;  // milliseconds

bool IsEarlier(const timespec& a, const timespec& b) noexcept {
  return std::tie(a.tv_sec, a.tv_nsec) < std::tie(b.tv_sec, b.tv_nsec);
}

[[noreturn]] void RefuseWait(int error, bool isTimed) {
  if (isTimed)
    IMPL::RefuseStep<eventExp>(error, "CProcEvent/TimedWaitEvent - failed wait event\n", IMPL::timedWaitTexts,
                               syncCode::wait);
  IMPL::RefuseStep<eventExp>(error, "CProcEvent/WaitEvent - failed wait event\n", IMPL::waitTexts,
                             syncCode::wait);
}

stringEx GuardName(const stringEx& name) {
  return name + ".lock";
}

}  // namespace

struct CProcEvent::BLOCK {
  pthread_cond_t cond;
  std::uint32_t isRaised;
  std::uint32_t raises;
};

// The event's memory holds back all others until its mutex is there as well.
CProcEvent::CProcEvent(const stringEx& name) : CShMem(ALONE(), name, sizeof(BLOCK)), guard_(GuardName(name)) {
  if (IsCreated()) {
    Guard guard(guard_);
    CreateNamedEvent();
  }
  SetReady();
}

CProcEvent::CProcEvent(const wstringEx& name) : CProcEvent(IMPL::NarrowForSystem(name)) {}

// The names go with the members and the base, behind this.
CProcEvent::~CProcEvent() noexcept(false) {
  BeginRemoval();
}

void CProcEvent::CreateNamedEvent() {
  pthread_condattr_t attributes;
  Check(::pthread_condattr_init(&attributes), "CProcEvent/CreateNamedEvent - failed create event attribute\n",
        IMPL::attributeTexts, syncCode::create);
  try {
    Check(::pthread_condattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED),
          "CProcEvent/CreateNamedEvent - failed create event (set shared)\n", IMPL::sharedTexts,
          syncCode::create);
    Check(::pthread_cond_init(&Block().cond, &attributes),
          "CProcEvent/CEvent::CEvent - failed create named event\n", IMPL::createTexts, syncCode::create);
  } catch (...) {
    ::pthread_condattr_destroy(&attributes);
    throw;
  }
  Check(::pthread_condattr_destroy(&attributes),
        "CProcEvent/CreateNamedEvent - failed release event attribute\n", IMPL::releaseTexts,
        syncCode::create);
}

void CProcEvent::RaiseEvent() {
  Guard guard(guard_);
  Block().isRaised = 1;
  ++Block().raises;
  Check(::pthread_cond_broadcast(&Block().cond), "CProcEvent/RaiseEvent - failed raise event\n",
        IMPL::raiseTexts, syncCode::signal);
}

void CProcEvent::ResetEvent() {
  Guard guard(guard_);
  Block().isRaised = 0;
}

bool CProcEvent::IsRaised() {
  Guard guard(guard_);
  return Block().isRaised != 0;
}

// False when the deadline has come; without one there is none. As with CEvent a wake counts as a raised event, whatever woke
// the thread. A thread must not be broken off inside the wait itself: the condition would be left waiting for it.
bool CProcEvent::AwaitRaise(const timespec* deadline) {
  IMPL::CKillHold hold;
  bool isWoken = false;
  {
    CScopeLock<CProcMutex> guard(guard_);  // a plain one, which leaves the hold open
    const std::uint32_t raises = Block().raises;
    isWoken = Block().isRaised != 0;
    for (bool isOver = false; !isWoken && !isOver && !IMPL::IsKillDue();) {
      timespec limit = IMPL::DeadlineIn(slice);
      const bool isLast = deadline != nullptr && !IsEarlier(limit, *deadline);
      if (isLast) limit = *deadline;
      const int error = ::pthread_cond_timedwait(&Block().cond, guard_.Mutex(), &limit);
      if (guard_.Mended(error) == ETIMEDOUT) {
        isOver = isLast;
      } else if (error != EOWNERDEAD) {
        if (error != 0) RefuseWait(error, deadline != nullptr);
        isWoken = true;
      }
      isWoken = isWoken || Block().raises != raises;
    }
  }
  IMPL::BreakOffIfKilled();
  return isWoken;
}

bool CProcEvent::Remove(const stringEx& name) {
  const IMPL::CDescriptor lock(LockName(IMPL::SharedName(name)));
  const bool hasGuard = CShMem::Remove(GuardName(name));
  return CShMem::Remove(name) || hasGuard;
}

bool CProcEvent::WaitEvent() {
  return AwaitRaise(nullptr);
}

bool CProcEvent::TimedWaitEvent(std::uint32_t milliseconds) {
  if (milliseconds == waitForever) return WaitEvent();
  if (milliseconds == 0) return IsRaised();
  return TimedWaitEvent(IMPL::DeadlineIn(milliseconds));
}

bool CProcEvent::TimedWaitEvent(const timespec& deadline) {
  return AwaitRaise(&deadline);
}

}  // namespace Qorv
