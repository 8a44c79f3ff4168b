#include <cerrno>

#include <qorv/sync.h>

#include "error/message.h"
#include "misc/posix/platform.h"
#include "sync/deadline.h"
#include "sync/sem_calls.h"

namespace Qorv {
namespace {

using IMPL::CMessage;

constexpr IMPL::ErrnoText createTexts[] = {
    {EINVAL, "the init value exceeds max limited"},
    {ENOSPC, "the max semaphores limit has been reached"},
    {EPERM, "permission denied"},
};

constexpr IMPL::ErrnoText waitTexts[] = {
    {EINVAL, "current object is not a valid semaphore"},
    {EDEADLK, "deadlock detected"},
};

constexpr IMPL::ErrnoText timedWaitTexts[] = {
    {EINVAL, "invalid semaphore obj or invalid timeout argument"},
    {EDEADLK, "deadlock detected"},
};

constexpr IMPL::ErrnoText destroyTexts[] = {
    {EBUSY, "there are currently processes blocked on the semaphore"},
    {EINVAL, "current object is not a valid semaphore"},
};

[[noreturn]] void ThrowWait(int error) {
  CMessage("CSem::P - failed P a semaphore\n")
      .Errno("  error code = ", "  error desc = ", error, waitTexts)
      .Throw<semExp>(syncCode::wait);
}

}  // namespace

void CSem::__Init(std::uint32_t value, std::uint32_t /*maximum*/) {
  if (::sem_init(&sem_, 0, value) == 0) return;
  const int error = errno;
  CMessage("CSem::__Init - failed create semaphore\n")
      .Errno("  error code = ", "  error desc = ", error, createTexts)
      .Throw<semExp>(syncCode::create);
}

CSem::~CSem() noexcept(false) {
  if (::sem_destroy(&sem_) == 0) return;
  const int error = errno;
  IMPL::DropWhileUnwinding([=] {
    CMessage("CSem::~CSem - failed destroy semaphore\n")
        .Errno("  error code = ", "  error desc = ", error, destroyTexts)
        .Throw<semExp>(syncCode::destroy);
  });
}

void IMPL::WaitSem(sem_t* sem) {
  if (RetryOnEintr([=] { return ::sem_wait(sem); }) != 0) ThrowWait(errno);
}

bool IMPL::WaitSemOrSignal(sem_t* sem) {
  if (::sem_wait(sem) == 0) return true;
  if (errno == EINTR) return false;
  ThrowWait(errno);
}

bool IMPL::TrySem(sem_t* sem) {
  if (RetryOnEintr([=] { return ::sem_trywait(sem); }) == 0) return true;
  if (errno == EAGAIN) return false;
  ThrowWait(errno);
}

bool IMPL::WaitSemFor(sem_t* sem, std::uint32_t milliseconds) {
  if (milliseconds == waitForever) {
    WaitSem(sem);
    return true;
  }
  if (TrySem(sem)) return true;  // without asking for the time
  return milliseconds != 0 && WaitSemUntil(sem, DeadlineIn(milliseconds));
}

bool IMPL::WaitSemUntil(sem_t* sem, const timespec& deadline) {
  if (RetryOnEintr([&] { return ::sem_timedwait(sem, &deadline); }) == 0) return true;
  const int error = errno;
  if (error == ETIMEDOUT) return false;
  CMessage("CSem/TimedWait - failed P a semaphore\n")
      .Errno("  error code = ", "  error desc = ", error, timedWaitTexts)
      .Throw<semExp>(syncCode::wait);
}

void IMPL::PostSem(sem_t* sem, std::uint32_t n) {
  for (; n > 0; --n) {
    if (::sem_post(sem) == 0) continue;
    const int error = errno;
    // The heading is that of P, and the description the same for every number. Both are meant.
    CMessage("CSem::P - failed P a semaphore\n")
        .Field("  error code = ", error)
        .Field("  error desc = ", "current object is not a valid semaphore")
        .Throw<semExp>(syncCode::wait);
  }
}

bool CSem::P() {
  IMPL::WaitSem(&sem_);
  return true;
}

bool CSem::InterruptibleP() {
  return IMPL::WaitSemOrSignal(&sem_);
}

bool CSem::TryP() {
  return IMPL::TrySem(&sem_);
}

bool CSem::TimedP(std::uint32_t milliseconds) {
  return IMPL::WaitSemFor(&sem_, milliseconds);
}

bool CSem::TimedP(const timespec& deadline) {
  return IMPL::WaitSemUntil(&sem_, deadline);
}

void CSem::V(std::uint32_t n) {
  IMPL::PostSem(&sem_, n);
}

}  // namespace Qorv
