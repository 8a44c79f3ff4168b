// Locks of ranges between processes.
#include <fcntl.h>

#include <qorv/file.h>

#include "error/message.h"
#include "misc/posix/platform.h"

namespace Qorv {
namespace {

using IMPL::CMessage;

constexpr IMPL::ErrnoText lockTexts[] = {
    {EINVAL, "invalid arguments or file does not support locking"},
    {ENOLCK, "lock number exceed the system limit"},
    {EOVERFLOW, "offset out-of-range"},
    {EBADF, "invalid file descriptor or wrong access mode, or the open mode does not match the lock type"},
    {EDEADLK, "deadlock detected"},
};

constexpr IMPL::ErrnoText unlockTexts[] = {
    {EINVAL, "invalid arguments"},
    {EBADF, "invalid file descriptor or wrong access mode"},
    {ENOLCK, "lock number exceed the system limit"},
    {EOVERFLOW, "offset out-of-range"},
};

// 0 or an errno.
int ControlLock(std::int64_t descriptor, int command, std::int64_t from, std::int64_t length, int type) {
  struct flock range {};
  range.l_type = static_cast<short>(type);
  range.l_whence = SEEK_SET;
  range.l_start = from;
  range.l_len = length;
  const auto control = [&] { return ::fcntl(static_cast<int>(descriptor), command, &range); };
  return IMPL::RetryOnEintr(control) < 0 ? errno : 0;
}

[[noreturn]] void ThrowLockFailure(std::string_view heading, std::int64_t from, std::int64_t length,
                                   int error, IMPL::ErrnoTable texts, std::uint32_t code) {
  CMessage(heading)
      .Field("  from       = ", from)
      .Field("  length     = ", length)
      .Errno("  error code = ", "  error desc = ", error, texts)
      .Throw<sysfileExp>(code);
}

template <class Step>
bool Chain(std::string_view heading, const stringEx& path, std::uint32_t code, Step step) {
  try {
    return step();
  } catch (const qvExp& failure) {
    CMessage(heading).Field("  file path = ", path).Inner(failure).Throw<sysfileExp>(code);
  }
}

}  // namespace

bool CSysFile::PosixLockFile(std::int64_t descriptor, std::int64_t from, std::int64_t length, int type,
                             bool wait) {
  const int error = ControlLock(descriptor, wait ? F_SETLKW : F_SETLK, from, length, type);
  if (error == 0) return true;
  if (error == EACCES || error == EAGAIN) return false;
  ThrowLockFailure("CSysFile/PosixLockFile - failed lock file\n", from, length, error, lockTexts,
                   fileCode::lock);
}

bool CSysFile::PosixUnlockFile(std::int64_t descriptor, std::int64_t from, std::int64_t length) {
  const int error = ControlLock(descriptor, F_SETLKW, from, length, F_UNLCK);
  if (error == 0) return true;
  ThrowLockFailure("CSysFile/PosixUnlockFile - failed unlock file\n", from, length, error, unlockTexts,
                   fileCode::unlock);
}

bool CSysFile::Lock(const std::int64_t& from, const std::int64_t& length, int type) {
  return Chain("CSysFile::Lock - failed lock file\n", path_, fileCode::lock,
               [&] { return PosixLockFile(descriptor_, from, length, type, true); });
}

bool CSysFile::TryLock(const std::int64_t& from, const std::int64_t& length, int type) {
  return Chain("CSysFile::TryLock - error occured while trying to lock file\n", path_, fileCode::lock,
               [&] { return PosixLockFile(descriptor_, from, length, type, false); });
}

bool CSysFile::Unlock(const std::int64_t& from, const std::int64_t& length) {
  return Chain("CSysFile::Unlock - failed unlock file\n", path_, fileCode::unlock,
               [&] { return PosixUnlockFile(descriptor_, from, length); });
}

}  // namespace Qorv
