#include "thread/thread_imp.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include <qorv/log.h>

#include "error/message.h"
#include "misc/posix/platform.h"
#include "thread/thread_exit.h"

namespace Qorv {
namespace {

using IMPL::CMessage;
using SystemGuard = IMPL::CSafeScopeLock<CMutex>;

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

namespace IMPL {

constexpr const char* channel = "util.trd.imp";

void CleanUpThread() noexcept {
  try {
    ReleaseThreadData();
  } catch (const qvExp& failure) {
    CLog::GError(channel, "error occured while doing clear\n@ %s", failure.GetMessage().data());
  } catch (...) {
    CLog::GError(channel, "error occured while doing clear\n@ unknown system error");
  }
}

void EndProcess() noexcept {
  CLog::GFlushLast();
  ::_exit(-1);
}

}  // namespace IMPL

CThread_Imp* CThread_Imp::Current() noexcept {
  return current;
}

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
  if (self == nullptr || self->phase_.load() != Phase::killing) return;
  if (IMPL::killState.holds.load(std::memory_order_relaxed) != 0) {
    IMPL::killState.isDue.store(true, std::memory_order_relaxed);
  } else if (self->AcceptKill()) {
    self->Escape();
  }
}

// The object outlives this as long as nobody has raised the event or noted an end in the state: its destructor
// waits for one of them. So nothing of it is touched after a break, nor behind Live.
//
// The clean-up is left to threads that end or exit by themselves. One that was broken off may have been in the
// middle of the very data that it would free, or inside the allocator.
void* CThread_Imp::ThreadMain(void* argument) noexcept {
  auto* const thread = static_cast<TThread*>(argument);
  CThread_Imp* const imp = thread != nullptr ? thread->imp_ : nullptr;
  if (imp == nullptr) {
    CLog::GFatal(IMPL::channel, "invalid thread handle, program aborted");
    IMPL::EndProcess();
  }
  imp->TellId();
  UnblockKillSignal();
  volatile bool hasEnded = false;
  if (sigsetjmp(imp->escape_, 1) == 0) {
    // Not sooner: a kill signal that finds nothing to escape to must find no thread of the library either.
    current = imp;
    hasEnded = imp->WaitForStart() && thread->Live(*imp);
  }
  if (hasEnded) IMPL::CleanUpThread();
  {
    SystemGuard guard(imp->systemLock_);
    imp->isGone_ = true;  // as of now for whoever learns of the end
  }
  if (!hasEnded) imp->RaiseEnd();
  current = nullptr;
  imp->Release();
  return nullptr;
}

void CThread_Imp::UnblockKillSignal() noexcept {
  sigset_t killSignal;
  ::sigemptyset(&killSignal);
  ::sigaddset(&killSignal, IMPL::platform::KillSignal());
  ::pthread_sigmask(SIG_UNBLOCK, &killSignal, nullptr);
}

void CThread_Imp::TellId() noexcept {
  id_.store(IMPL::CurrentThreadId());
  id_.notify_all();
}

// False if a kill came first.
bool CThread_Imp::WaitForStart() {
  start_->P();
  if (Move(Phase::starting, Phase::running)) {
    // Nobody else comes here again: the object lets start once, a killer only while the phase is starting.
    start_.reset();
    return true;
  }
  AcceptKill();
  return false;
}

CThread_Imp::KillResult CThread_Imp::Kill() {
  if (Move(Phase::starting, Phase::killing)) {
    start_->V(1);
  } else if (Move(Phase::running, Phase::killing)) {
    SendKill();
  }
  for (;;) {
    if (phase_.load() == Phase::ending) return KillResult::endsItself;
    if (WaitForEnd(1)) return KillResult::killed;
    // Two that kill each other must not both wait.
    if (IMPL::IsKillDue()) return KillResult::givenUp;
    if (phase_.load() == Phase::killing) Signal();
  }
}

// ESRCH if the thread is gone.
int CThread_Imp::Signal() {
  SystemGuard guard(systemLock_);
  if (isGone_) return ESRCH;
  const int error = ::pthread_kill(handle_, IMPL::platform::KillSignal());
  if (error == 0 && nudge_ != nullptr) nudge_->Call();
  return error;
}

// A failed kill can be taken back, unless it has been obeyed already.
void CThread_Imp::SendKill() {
  const int error = Signal();
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

std::uint64_t CThread_Imp::GetId() const noexcept {
  id_.wait(0);
  return id_.load();
}

// A killer that takes its failed kill back may come between the two swaps.
bool CThread_Imp::BeginEnding() noexcept {
  for (;;) {
    if (Move(Phase::running, Phase::ending)) return true;
    if (AcceptKill()) return false;
  }
}

// Nobody breaks the thread off in the middle of the clean-up.
void CThread_Imp::Exit() noexcept {
  phase_.store(Phase::broken);
  IMPL::CleanUpThread();
  Escape();
}

void CThread_Imp::Escape() noexcept {
  IMPL::killState.holds.store(0, std::memory_order_relaxed);
  IMPL::killState.undo = nullptr;
  ::siglongjmp(escape_, 1);
}

void CThread_Imp::SetNudge(const IMPL::CKillNudge* nudge) {
  SystemGuard guard(systemLock_);
  nudge_ = nudge;
}

}  // namespace Qorv
