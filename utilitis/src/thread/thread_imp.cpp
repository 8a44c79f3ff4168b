#include "thread/thread_imp.h"

#include <signal.h>

#include <cerrno>
#include <system_error>

#include <qorv/thread.h>

#include "error/message.h"
#include "misc/posix/platform.h"

namespace Qorv {
namespace {

using IMPL::CMessage;

thread_local CThread_Imp* current = nullptr;

constexpr IMPL::ErrnoText attributeTexts[] = {{EINVAL, "invalid attr obj"}};

constexpr IMPL::ErrnoText initTexts[] = {
    {ENOMEM, "insufficient memory"},
    {EBUSY, "already initialized"},
    {EINVAL, "invalid attr obj"},
};

constexpr IMPL::ErrnoText createTexts[] = {
    {EINVAL, "invalid attr obj"},
    {EAGAIN, "not enough system resource, or process limit has been exceeded"},
    {EPERM, "permission denied"},
};

void Check(int error, std::string_view heading, IMPL::ErrnoTable texts = attributeTexts) {
  if (error == 0) return;
  CMessage(heading)
      .Errno("  error code = ", "  error desc = ", error, texts)
      .Throw<threadExp>(threadCode::create);
}

void CheckPolicy(int error, std::string_view heading, int policy) {
  if (error == 0) return;
  CMessage(heading)
      .Field("  schd policy = ", policy)
      .Errno("  error code  = ", "  error desc  = ", error, attributeTexts)
      .Throw<threadExp>(threadCode::create);
}

// The attributes of a thread in the making. A failure between making and Release destroys them in silence,
// since it has an exception of its own to report.
class CAttributes {
 public:
  CAttributes() {
    Check(::pthread_attr_init(&attributes_), "CThread_Imp::Create - failed create thread attribute obj\n",
          initTexts);
  }
  CAttributes(const CAttributes&) = delete;
  CAttributes& operator=(const CAttributes&) = delete;
  ~CAttributes() {
    if (isHeld_) ::pthread_attr_destroy(&attributes_);
  }

  void Fill(std::uint64_t stackSize) {
    int policy = 0;
    sched_param priority{};
    Check(::pthread_attr_getschedpolicy(&attributes_, &policy),
          "CThread_Imp::Create - failed get the default scheduling policy\n");
    Check(::pthread_attr_getschedparam(&attributes_, &priority),
          "CThread_Imp::Create - failed get the default thread priority\n");
    Check(::pthread_attr_setinheritsched(&attributes_, PTHREAD_EXPLICIT_SCHED),
          "CThread_Imp::Create - failed set scheduler and priority inheritance attribute\n");
    CheckPolicy(::pthread_attr_setschedpolicy(&attributes_, policy),
                "CThread_Imp::Create - failed set the default scheduling policy\n", policy);
    CheckPolicy(::pthread_attr_setschedparam(&attributes_, &priority),
                "CThread_Imp::Create - failed set the default thread priority\n", policy);
    Check(::pthread_attr_setdetachstate(&attributes_, PTHREAD_CREATE_DETACHED),
          "CThread_Imp::Create - failed set detach attribute\n");
    Check(::pthread_attr_setguardsize(&attributes_, 0),
          "CThread_Imp::Create - failed set guard area attribute\n");
    if (stackSize != 0) {
      Check(::pthread_attr_setstacksize(&attributes_, stackSize),
            "CThread_Imp::Create - failed set stack size attribute\n");
    }
  }

  const pthread_attr_t* Get() const noexcept { return &attributes_; }

  void Release() {
    isHeld_ = false;
    Check(::pthread_attr_destroy(&attributes_), "CThread_Imp::Create - failed destory attribute object\n");
  }

 private:
  pthread_attr_t attributes_;
  bool isHeld_ = true;
};

}  // namespace

void CThread_Imp::Release() noexcept {
  if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

void CThread_Imp::Create(TThread& thread, std::uint64_t stackSize) {
  InstallKillSignal();
  CAttributes attributes;
  attributes.Fill(stackSize);
  references_.fetch_add(1, std::memory_order_relaxed);  // the thread's own
  if (const int error = ::pthread_create(&handle_, attributes.Get(), ThreadMain, &thread); error != 0) {
    Release();
    Check(error, "CThread_Imp::Create - failed create thread\n", createTexts);
  }
  try {
    attributes.Release();
  } catch (...) {
    Kill();
    throw;
  }
}

void CThread_Imp::InstallKillSignal() {
  [[maybe_unused]] static const int installed = [] {
    struct sigaction action {};
    action.sa_handler = OnKillSignal;
    ::sigemptyset(&action.sa_mask);
    return ::sigaction(IMPL::platform::KillSignal(), &action, nullptr);
  }();
}

// Only a thread of the library that has been told to break off obeys, and only once: a stray signal finds
// another phase.
void CThread_Imp::OnKillSignal(int) noexcept {
  CThread_Imp* const self = current;
  if (self != nullptr && self->Move(Phase::killing, Phase::broken)) ::siglongjmp(self->escape_, 1);
}

// The object outlives this as long as nobody has raised the event or noted an end in the state: its destructor
// waits for one of them. So nothing of it is touched after a break, nor behind Live.
void* CThread_Imp::ThreadMain(void* argument) noexcept {
  auto* const thread = static_cast<TThread*>(argument);
  CThread_Imp* const imp = thread->imp_;
  current = imp;
  sigset_t killSignal;
  ::sigemptyset(&killSignal);
  ::sigaddset(&killSignal, IMPL::platform::KillSignal());
  ::pthread_sigmask(SIG_UNBLOCK, &killSignal, nullptr);
  if (sigsetjmp(imp->escape_, 1) != 0) {
    imp->EndAsBroken();
  } else if (!imp->WaitForStart() || !thread->Live(*imp)) {
    imp->EndAsBroken();
  }
  current = nullptr;
  imp->Release();
  return nullptr;
}

// False if a kill came first.
bool CThread_Imp::WaitForStart() {
  start_->P();
  if (Move(Phase::starting, Phase::running)) {
    // Nobody else comes here again: the object lets start once, a killer only while the phase is starting.
    start_.reset();
    return true;
  }
  Move(Phase::killing, Phase::broken);
  return false;
}

// The killer may still be using the handle, which is good only as long as this thread exists. The event is
// this thread's to touch until it gives up its reference, whoever has learnt from it by then.
void CThread_Imp::EndAsBroken() {
  killSent_.P();
  ended_.RaiseEvent();
}

bool CThread_Imp::Kill() {
  if (Move(Phase::starting, Phase::killing)) {
    start_->V(1);
    killSent_.V(1);
  } else if (Move(Phase::running, Phase::killing)) {
    SendKill();
    killSent_.V(1);
  } else if (phase_.load() == Phase::ending) {
    return false;
  }
  WaitForEnd(waitForever);
  return true;
}

// The thread cannot be gone: it either obeys, or finds at the end of Run that it is to break off, and both
// wait for killSent_. For the same reason a failed kill can be taken back, unless it has been obeyed already.
void CThread_Imp::SendKill() {
  const int error = ::pthread_kill(handle_, IMPL::platform::KillSignal());
  if (error == 0) return;
  if (error == ESRCH) return ended_.RaiseEvent();
  if (!Move(Phase::killing, Phase::running)) return;
  CMessage("CThread_Imp::Kill - failed send the kill signal\n")
      .Field("  error code = ", error)
      .Field("  error desc = ", std::generic_category().message(error))
      .Throw<threadExp>(threadCode::kill);
}

bool CThread_Imp::WaitForEnd(std::uint32_t milliseconds) {
  // The event's own answer may come from a wake-up for no reason.
  if (milliseconds != waitForever) return ended_.TimedWaitEvent(milliseconds) && ended_.IsRaised();
  while (!ended_.IsRaised())
    ended_.WaitEvent();
  return true;
}

bool CThread_Imp::IsCurrent() const noexcept {
  return current == this;
}

// A killer that takes its failed kill back may come between the two swaps.
bool CThread_Imp::BeginEnding() noexcept {
  for (;;) {
    if (Move(Phase::running, Phase::ending)) return true;
    if (Move(Phase::killing, Phase::broken)) return false;
  }
}

void CThread_Imp::BreakOffCurrent() {
  if (!Move(Phase::running, Phase::broken)) Move(Phase::ending, Phase::broken);
  killSent_.V(1);  // there is no other killer
  ::siglongjmp(escape_, 1);
}

}  // namespace Qorv
