// Opening: the flags, direct access and its fallback, the sharing mode, close-on-exec.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <qorv/file.h>
#include <qorv/log.h>

#include "error/message.h"
#include "file/direct_access.h"
#include "file/narrow.h"
#include "misc/posix/platform.h"

namespace Qorv {
namespace {

using IMPL::CMessage;
using IMPL::RetryOnEintr;

constexpr IMPL::ErrnoText openTexts[] = {
    {ENOENT, "file dose not exists or can't be created"},
    {EIO, "stream io error"},
    {ENXIO,
     "the device associated with this special file does not exist, or fifo opened without reading peer"},
    {ENOMEM, "unable to allocate the necessary system resource"},
    {EACCES, "permission denied or confilct flags compination"},
    {EEXIST, "file already exists"},
    {ENOTDIR, "path is not a directory"},
    {EISDIR, "the file is a directory and write permission is specified"},
    {EINVAL, "invalid arguments or synchronized io for this file does not supported"},
    {ENFILE, "the maximum allowable number of files is currently open in the system"},
    {EMFILE, "the maximum file descriptors are currently open in the calling process"},
    {ETXTBSY, "try to open a pure procedure file that is being executed in writable mode"},
    {ENOSPC, "device or directory not ready file can not be created"},
    {EROFS, "open file in read-only media with write permission"},
    {EAGAIN, "the pseudo-terminal device is locked"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENAMETOOLONG, "file or path name is too long"},
    {EOVERFLOW, "file too big"},
};

constexpr IMPL::ErrnoText shareTexts[] = {
    {EAGAIN, "sharing mode conflict"},
    {ENOLCK, "sharing lock number exceed the system limit"},
};

constexpr IMPL::ErrnoText controlTexts[] = {
    {EINVAL, "invalid arguments"},
    {EOVERFLOW, "one of the values is out-of-range"},
    {EBADF, "invalid file descriptor or wrong access mode"},
};

// A path that stays valid and zero-ended whatever becomes of the text behind a view.
stringEx OwnPath(const stringEx& path) {
  return path.is_view() ? stringEx(path.data(), path.length()) : path;
}

// For a descriptor that nobody has seen yet, behind a failure that is about to be reported.
void Discard(int descriptor) {
  RetryOnEintr([=] { return ::close(descriptor); });
}

// Tries direct access first, and ordinary access at once where that is refused.
int OpenDirect(const char* path, int flags, mode_t mode, bool& direct) {
  return RetryOnEintr([&] {
    const int descriptor = ::open(path, flags | IMPL::platform::DirectAccessFlag(), mode);
    direct = descriptor >= 0;
    return direct ? descriptor : ::open(path, flags, mode);
  });
}

void CloseOnExec(int descriptor) {
  const int flags = RetryOnEintr([=] { return ::fcntl(descriptor, F_GETFD); });
  const int wanted = flags < 0 ? FD_CLOEXEC : flags | FD_CLOEXEC;
  if (RetryOnEintr([=] { return ::fcntl(descriptor, F_SETFD, wanted); }) >= 0) return;
  const int error = errno;
  Discard(descriptor);
  CMessage("CSysFile/PosixOpenFile - failed set file control options\n")
      .Errno("  error code = ", "  error desc = ", error, controlTexts)
      .Throw<sysfileExp>(fileCode::open);
}

}  // namespace

void IMPL::WarnNoDirectAccess(const stringEx& path) noexcept {
  CLog::GWarning("util.sysfile",
                 "CSysFile/PosixOpenFile - failed set direct io (no buffer) access mode\n  file path = %s\n",
                 path.data());
}

void CSysFile::Open(const stringEx& path, int access, int create, std::uint32_t share,
                    std::uint32_t permissions, std::uint32_t options) {
  const stringEx given = OwnPath(path);  // `path` may be this file's own
  stringEx full = given;
  path_ = stringEx();
  try {
    CDir::ConvToFullPath(full);
  } catch (const dirExp& failure) {
    CMessage("CSysFile::Open - failed determine the file path to open\n")
        .Field("  file name  = ", given)
        .Inner(failure)
        .Throw<sysfileExp>(fileCode::open);
  }
  OpenRaw(full, access, create, share, permissions, options);
}

void CSysFile::Open(const wstringEx& path, int access, int create, std::uint32_t share,
                    std::uint32_t permissions, std::uint32_t options) {
  Open(IMPL::NarrowForSystem(path), access, create, share, permissions, options);
}

void CSysFile::Open(std::uint32_t consoleType) {
  path_.clear();
  const bool isKnown = consoleType <= STDERR_FILENO;
  if (isKnown && descriptor_ == consoleType) {
    // It goes on without an owner.
    if (Counter* const counter = std::exchange(counter_, nullptr);
        counter != nullptr && counter->fetch_sub(1, std::memory_order_acq_rel) == 1)
      delete counter;
    return;
  }
  CSysFile old;
  Swap(old);
  if (isKnown) {
    descriptor_ = consoleType;
  } else {
    stringEx message("CSysFile::Open - unknown console type: ");
    message.append_int(consoleType);
    throw sysfileExp(std::move(message), fileCode::open);
  }
}

void CSysFile::OpenRaw(const wstringEx& path, int access, int create, std::uint32_t share,
                       std::uint32_t permissions, std::uint32_t options) {
  OpenRaw(IMPL::NarrowForSystem(path), access, create, share, permissions, options);
}

CSysFile CSysFile::ReOpen(const CSysFile& source, int access, std::uint32_t share, std::uint32_t options) {
  if (source.path_.empty()) {
    throw sysfileExp(stringEx::view("CSysFile::ReOpen - don't know how to reopen, empty path"),
                     fileCode::open);
  }
  CSysFile fresh;
  fresh.Open(source.path_, access, 0, share, 0666, options);
  return fresh;
}

void CSysFile::OpenRaw(const stringEx& path, int access, int create, std::uint32_t share,
                       std::uint32_t permissions, std::uint32_t options) {
  stringEx own = OwnPath(path);
  path_ = stringEx();
  auto counter = std::make_unique<Counter>(1);
  {
    CSysFile fresh;
    fresh.descriptor_ = PosixOpenFile(own, access, create, share, permissions, options);
    fresh.counter_ = counter.release();
    Swap(fresh);  // the old descriptor goes only now that the new one is safe; closing it may fail
  }
  path_ = std::move(own);
}

int CSysFile::PosixOpenFile(const stringEx& path, int access, int create, std::uint32_t share,
                            std::uint32_t permissions, std::uint32_t options) {
  const int synchronous = (options & fileOption::synchronous) != 0 ? O_SYNC : 0;
  const int flags = access | create | synchronous;
  const auto mode = static_cast<mode_t>(permissions);
  const bool wantDirect = (options & fileOption::direct) != 0;
  bool direct = false;
  const int descriptor = wantDirect ? OpenDirect(path.data(), flags, mode, direct)
                                    : RetryOnEintr([&] { return ::open(path.data(), flags, mode); });
  if (descriptor < 0) {
    const int error = errno;
    CMessage("CSysFile/PosixOpenFile - failed open specified file\n")
        .Field("  file path  = ", path)
        .Errno("  error code = ", "  error desc = ", error, openTexts)
        .Throw<sysfileExp>(fileCode::open);
  }
  if (wantDirect && !direct) IMPL::WarnNoDirectAccess(path);
  SetShareMode(descriptor, share, path);
  CloseOnExec(descriptor);
  return descriptor;
}

void CSysFile::SetShareMode(int descriptor, std::uint32_t mode, const stringEx& path) {
  if (mode != fileShare::shared && mode != fileShare::exclusive) return;
  const bool shared = mode == fileShare::shared;
  if (RetryOnEintr([=] { return ::flock(descriptor, (shared ? LOCK_SH : LOCK_EX) | LOCK_NB); }) >= 0) return;
  const int error = errno;
  // A file system without such locks leaves the file unlocked.
  if (error == EBADF || error == EINVAL || error == EOPNOTSUPP) return;
  Discard(descriptor);
  CMessage("CSysFile/SetShareMode - failed set file sharing mode\n")
      .Field("  file path    = ", path)
      .Field("  sharing mode = ", shared ? "shared" : "exclusive")
      .Errno("  error code   = ", "  error desc   = ", error, shareTexts)
      .Throw<sysfileExp>(fileCode::open);
}

}  // namespace Qorv
