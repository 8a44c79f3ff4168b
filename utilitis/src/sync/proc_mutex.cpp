#include <fcntl.h>

#include <cerrno>

#include <qorv/misc.h>
#include <qorv/sync.h>

#include "file/narrow.h"
#include "sync/deadline.h"
#include "sync/lock_texts.h"

namespace Qorv {
namespace {

constexpr auto Check = [](int error, std::string_view heading, IMPL::ErrnoTable texts, std::uint32_t code) {
  IMPL::CheckStep<mutexExp>(error, heading, texts, code);
};

}  // namespace

// The system's mutex has the size that it has on the system, and with it the block.
CProcMutex::CProcMutex(const stringEx& name) : CShMem(name, sizeof(pthread_mutex_t), O_RDWR) {
  if (!IsCreated()) return;
  CreateNamedMutex();
  SetReady();
}

CProcMutex::CProcMutex(const wstringEx& name) : CProcMutex(IMPL::NarrowForSystem(name)) {}

void CProcMutex::CreateNamedMutex() {
  pthread_mutexattr_t attributes;
  Check(::pthread_mutexattr_init(&attributes),
        "CProcMutex/CreateNamedMutex - failed create mutex attribute\n", IMPL::attributeTexts,
        syncCode::create);
  try {
    Check(::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE),
          "CProcMutex/CreateNamedMutex - failed create mutex (set type)\n", IMPL::typeTexts,
          syncCode::create);
    Check(::pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED),
          "CProcMutex/CreateNamedMutex - failed create mutex (set shared)\n", IMPL::sharedTexts,
          syncCode::create);
    // So that the next one gets it from a holder that was killed.
    Check(::pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST),
          "CProcMutex/CreateNamedMutex - failed create mutex (set robust)\n", {}, syncCode::create);
    Check(::pthread_mutex_init(Mutex(), &attributes), "CProcMutex/CreateNamedMutex - failed create mutex\n",
          IMPL::createTexts, syncCode::create);
  } catch (...) {
    ::pthread_mutexattr_destroy(&attributes);
    throw;
  }
  Check(::pthread_mutexattr_destroy(&attributes),
        "CProcMutex/CreateNamedMutex - failed release mutex attribute\n", IMPL::releaseTexts,
        syncCode::create);
}

// The system keeps a list of what a thread holds, which must not lead into memory that is gone.
CProcMutex::~CProcMutex() noexcept(false) {
  if (held_ <= 0 || GetPointer() == nullptr) return;
  for (std::int32_t left = held_; left > 0 && ::pthread_mutex_unlock(Mutex()) == 0; --left) {
  }
  IMPL::DropWhileUnwinding([] {
    Check(EBUSY, "CProcMutex::~CProcMutex - failed close mutex\n", IMPL::destroyTexts, syncCode::destroy);
  });
}

// 0 for a mutex that came from one who was killed.
int CProcMutex::Mended(int error) noexcept {
  if (error != EOWNERDEAD) return error;
  wasAbandoned_ = true;
  return ::pthread_mutex_consistent(Mutex());
}

// But for one that came from somebody who was killed.
void CProcMutex::RefuseLock(int error) {
  Check(Mended(error), "CProcMutex::Lock - failed lock mutex\n", IMPL::lockTexts, syncCode::wait);
}

bool CProcMutex::TryLock() QORV_NO_THREAD_SAFETY_ANALYSIS {
  const int error = Mended(::pthread_mutex_trylock(Mutex()));
  if (error == EBUSY) return false;
  Check(error, "CProcMutex::TryLock - failed lock mutex\n", IMPL::lockTexts, syncCode::wait);
  Count(1);
  return true;
}

bool CProcMutex::TimedLock(std::uint32_t milliseconds) QORV_NO_THREAD_SAFETY_ANALYSIS {
  if (milliseconds == 0) return TryLock();
  if (milliseconds != waitForever) return TimedLock(IMPL::DeadlineIn(milliseconds));
  Lock();
  return true;
}

bool CProcMutex::TimedLock(const timespec& deadline) QORV_NO_THREAD_SAFETY_ANALYSIS {
  const int error = Mended(::pthread_mutex_timedlock(Mutex(), &deadline));
  if (error == ETIMEDOUT) return false;
  Check(error, "CProcMutex/TimedLock - failed lock mutex\n", IMPL::lockTexts, syncCode::wait);
  Count(1);
  return true;
}

void CProcMutex::RefuseUnlock(int error) {
  Count(1);  // as it was
  IMPL::RefuseStep<mutexExp>(error, "CProcMutex::Unlock - failed unlock mutex\n", IMPL::unlockTexts,
                             syncCode::unlock);
}

}  // namespace Qorv
