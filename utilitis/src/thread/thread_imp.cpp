#include "thread/thread_imp.h"

#include <signal.h>

#include <cerrno>

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
  AddRef();  // the thread's own
  if (const int error = ::pthread_create(&handle_, attributes.Get(), ThreadMain, &thread); error != 0) {
    Release();
    Check(error, "CThread_Imp::Create - failed create thread\n", createTexts);
  }
  attributes.Release();
}

void CThread_Imp::InstallKillSignal() {
  [[maybe_unused]] static const int installed = [] {
    struct sigaction action {};
    action.sa_handler = OnKillSignal;
    ::sigemptyset(&action.sa_mask);
    return ::sigaction(IMPL::platform::KillSignal(), &action, nullptr);
  }();
}

void CThread_Imp::OnKillSignal(int) noexcept {
  CThread_Imp* const self = current;
  if (self == nullptr || !self->isOpen_.load() || self->phase_.load() != Phase::killing) return;
  self->isOpen_.store(false);
  ::siglongjmp(self->escape_, 1);
}

// The object outlives this as long as it is not told to end: its destructor waits for the event or for the
// state. Behind a kill nothing of it may be touched, so what is needed then is reached without it.
void* CThread_Imp::ThreadMain(void* argument) noexcept {
  auto* const thread = static_cast<TThread*>(argument);
  current = thread->imp_;
  sigset_t killSignal;
  ::sigemptyset(&killSignal);
  ::sigaddset(&killSignal, IMPL::platform::KillSignal());
  ::pthread_sigmask(SIG_UNBLOCK, &killSignal, nullptr);
  if (sigsetjmp(current->escape_, 1) != 0 || !current->WaitForStart() || !thread->Execute(*current)) {
    current->EndAsKilled();
  }
  current->Release();
  current = nullptr;
  return nullptr;
}

// False if a kill came first.
bool CThread_Imp::WaitForStart() {
  start_->P();
  return Move(Phase::starting, Phase::running);
}

// The killer may still be using the handle, which is good only as long as this thread exists.
void CThread_Imp::EndAsKilled() {
  killSent_.P();
  ended_.RaiseEvent();
}

bool CThread_Imp::RequestKill() {
  if (Move(Phase::starting, Phase::killing)) {
    start_->V(1);
  } else if (Move(Phase::running, Phase::killing)) {
    const int error = ::pthread_kill(handle_, IMPL::platform::KillSignal());
    if (error == ESRCH) ended_.RaiseEvent();
    if (error != 0 && error != ESRCH) {
      killSent_.V(1);  // the thread still ends as a killed one, but only when Run is through
      CMessage("CThread_Imp::Kill - failed send the kill signal\n")
          .Errno("  error code = ", "  error desc = ", error, {})
          .Throw<threadExp>(threadCode::kill);
    }
  } else {
    return phase_.load() == Phase::killing;
  }
  killSent_.V(1);
  return true;
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

bool CThread_Imp::OpenToKill() noexcept {
  isOpen_.store(true);
  // A kill from here on breaks the thread off; one that came before has only left its mark.
  if (phase_.load() != Phase::killing) return true;
  isOpen_.store(false);
  return false;
}

void CThread_Imp::KillCurrent() {
  isOpen_.store(false);
  if (phase_.exchange(Phase::killing) != Phase::killing) killSent_.V(1);
  ::siglongjmp(escape_, 1);
}

}  // namespace Qorv
