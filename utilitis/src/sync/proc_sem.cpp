#include <fcntl.h>
#include <semaphore.h>

#include <cerrno>

#include <qorv/sync.h>

#include "error/message.h"
#include "file/narrow.h"
#include "misc/posix/platform.h"
#include "sync/sem_calls.h"
#include "sync/shared_name.h"

namespace Qorv {
namespace {

constexpr IMPL::ErrnoText openTexts[] = {
    {EACCES, "access denied"},
    {EEXIST, "the named semaphore already exists"},
    {EINVAL, "unsupport name or value is too big"},
    {EMFILE, "too many file descriptors are currently open in this process"},
    {ENFILE, "too many semaphores are currently open in the system"},
    {ENOENT, "the named semaphore does not exist"},
    {ENOSPC, "there is insufficient space for the creation of the new named semaphore"},
    {ENAMETOOLONG, "semaphore name is too long"},
};

// sem_open, again where a signal broke it off.
template <class... More>
sem_t* Open(const stringEx& name, int flags, More... more) {
  sem_t* sem;
  do {
    sem = ::sem_open(name.data(), flags, more...);
  } while (sem == SEM_FAILED && errno == EINTR);
  return sem;
}

[[noreturn]] void Refuse(const char* heading, const stringEx& name, int error, std::uint32_t code) {
  IMPL::CMessage(heading)
      .Field("  semaphore name = ", name)
      .Errno("  error code     = ", "  error desc     = ", IMPL::NameError(name, error), openTexts)
      .Throw<semExp>(code);
}

}  // namespace

CProcSem::CProcSem(const stringEx& name) : name_(IMPL::SharedName(name)), sem_(Open(name_, 0)) {
  if (sem_ == SEM_FAILED)
    Refuse("CProcSem/OpenNamedSemaphore - failed create named semaphore\n", name_, errno,
           syncCode::openNamed);
}

CProcSem::CProcSem(const wstringEx& name) : CProcSem(IMPL::NarrowForSystem(name)) {}

CProcSem::CProcSem(const stringEx& name, std::uint32_t value)
    : name_(IMPL::SharedName(name)), sem_(Open(name_, 0)) {
  if (sem_ != SEM_FAILED) return;
  sem_ = Open(name_, O_CREAT, mode_t{0666}, value);
  if (sem_ == SEM_FAILED)
    Refuse("CProcSem/CreateNamedSemaphore - failed create named semaphore\n", name_, errno, syncCode::create);
  isCreated_ = true;
}

CProcSem::CProcSem(const wstringEx& name, std::uint32_t value)
    : CProcSem(IMPL::NarrowForSystem(name), value) {}

CProcSem::~CProcSem() noexcept(false) {
  const int closeError = ::sem_close(sem_) == 0 ? 0 : errno;
  const int unlinkError = ::sem_unlink(name_.data()) == 0 || errno == ENOENT ? 0 : errno;
  IMPL::DropWhileUnwinding([&] {
    if (closeError != 0)
      Refuse("CProcSem::~CProcSem - failed close named semaphore\n", name_, closeError, syncCode::destroy);
    if (unlinkError != 0)
      Refuse("CProcSem::~CProcSem - failed unlink the named semaphore\n", name_, unlinkError,
             syncCode::destroy);
  });
}

bool CProcSem::P() {
  IMPL::WaitSem(sem_);
  return true;
}

bool CProcSem::TryP() {
  return IMPL::TrySem(sem_);
}

bool CProcSem::TimedP(std::uint32_t milliseconds) {
  return IMPL::WaitSemFor(sem_, milliseconds);
}

bool CProcSem::TimedP(const timespec& deadline) {
  return IMPL::WaitSemUntil(sem_, deadline);
}

void CProcSem::V(std::uint32_t n) {
  IMPL::PostSem(sem_, n);
}

}  // namespace Qorv
