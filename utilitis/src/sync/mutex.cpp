#include <qorv/misc.h>
#include <qorv/sync.h>

#include "sync/deadline.h"
#include "sync/lock_texts.h"

namespace Qorv {
namespace {

constexpr auto Check = [](int error, std::string_view heading, IMPL::ErrnoTable texts, std::uint32_t code) {
  IMPL::CheckStep<mutexExp>(error, heading, texts, code);
};

// The attributes of a recursive mutex, for the time of its making.
class CAttributes {
 public:
  CAttributes() {
    Check(::pthread_mutexattr_init(&attributes_), "CMutex::CMutex - failed create mutex attribute\n",
          IMPL::attributeTexts, syncCode::create);
  }
  CAttributes(const CAttributes&) = delete;
  CAttributes& operator=(const CAttributes&) = delete;
  ~CAttributes() noexcept(false) {
    const int error = ::pthread_mutexattr_destroy(&attributes_);
    IMPL::DropWhileUnwinding([=] {
      Check(error, "CMutex::CMutex - failed release mutex attribute\n", IMPL::releaseTexts, syncCode::create);
    });
  }

  const pthread_mutexattr_t* MakeRecursive() {
    Check(::pthread_mutexattr_settype(&attributes_, PTHREAD_MUTEX_RECURSIVE),
          "CMutex::CMutex - failed create mutex (set type)\n", IMPL::typeTexts, syncCode::create);
    return &attributes_;
  }

 private:
  pthread_mutexattr_t attributes_;
};

}  // namespace

CMutex::CMutex(bool locked) QORV_NO_THREAD_SAFETY_ANALYSIS {
  bool isMade = false;
  try {
    {
      CAttributes attributes;
      Check(::pthread_mutex_init(&mutex_, attributes.MakeRecursive()),
            "CMutex::CMutex - failed create mutex\n", IMPL::createTexts, syncCode::create);
      isMade = true;
    }
    if (locked) Lock();
  } catch (...) {
    if (isMade) ::pthread_mutex_destroy(&mutex_);
    throw;
  }
}

CMutex::~CMutex() noexcept(false) {
  const int error = ::pthread_mutex_destroy(&mutex_);
  IMPL::DropWhileUnwinding(
      [=] { Check(error, "CMutex::~CMutex - failed close mutex\n", IMPL::destroyTexts, syncCode::destroy); });
}

void CMutex::Lock() QORV_NO_THREAD_SAFETY_ANALYSIS {
  Check(::pthread_mutex_lock(&mutex_), "CMutex::Lock - failed lock mutex\n", IMPL::lockTexts, syncCode::wait);
}

bool CMutex::TryLock() QORV_NO_THREAD_SAFETY_ANALYSIS {
  const int error = ::pthread_mutex_trylock(&mutex_);
  if (error == EBUSY) return false;
  Check(error, "CMutex::TryLock - failed lock mutex\n", IMPL::lockTexts, syncCode::wait);
  return true;
}

bool CMutex::TimedLock(std::uint32_t milliseconds) QORV_NO_THREAD_SAFETY_ANALYSIS {
  if (milliseconds == 0) return TryLock();
  if (milliseconds != waitForever) return TimedLock(IMPL::DeadlineIn(milliseconds));
  Lock();
  return true;
}

bool CMutex::TimedLock(const timespec& deadline) QORV_NO_THREAD_SAFETY_ANALYSIS {
  const int error = ::pthread_mutex_timedlock(&mutex_, &deadline);
  if (error == ETIMEDOUT) return false;
  Check(error, "CMutex/TimedLock - failed lock mutex\n", IMPL::lockTexts, syncCode::wait);
  return true;
}

void CMutex::Unlock() QORV_NO_THREAD_SAFETY_ANALYSIS {
  Check(::pthread_mutex_unlock(&mutex_), "CMutex::Unlock - failed unlock mutex\n", IMPL::unlockTexts,
        syncCode::unlock);
}

}  // namespace Qorv
