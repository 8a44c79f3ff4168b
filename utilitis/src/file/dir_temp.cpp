// Names for temporary files and directories.
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

#include <qorv/file.h>
#include <qorv/time.h>

#include "error/message.h"
#include "file/dir_common.h"
#include "misc/posix/platform.h"

namespace Qorv {
namespace {

using IMPL::CMessage;
using IMPL::ErrnoOf;

constexpr IMPL::ErrnoText tempTexts[] = {
    {ENOENT, "the directory has been removed"},
    {EACCES, "permission denied"},
    {ENOTDIR, "path is not a directory"},
    {ENOSPC, "no space left on the device"},
    {EDQUOT, "disk quota exceeded"},
    {EMLINK, "too many subdirectories"},
    {EMFILE, "the maximum file descriptors are currently open in the calling process"},
    {EROFS, "the file system containing the path is read-only"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENAMETOOLONG, "path name is too long"},
};

constexpr int mostTries = 64;

// Differs between the calls of a process and between processes. That nobody else has the name is seen when it is made.
stringEx UniqueName(std::string_view prefix) {
  static std::atomic<std::uint64_t> calls{0};
  stringEx name(prefix);
  name.append_uint(static_cast<std::uint64_t>(::getpid()), 36);
  name += '-';
  name.append_uint(static_cast<std::uint64_t>(CTime::Now().GetValue()), 36);
  name += '-';
  name.append_uint(calls.fetch_add(1, std::memory_order_relaxed), 36);
  return std::move(name += ".tmp");
}

int MakeFile(const char* path) noexcept {
  IMPL::CDescriptor file;
  return file.Open(AT_FDCWD, path, O_WRONLY | O_CREAT | O_EXCL, 0600);
}

int MakeFolder(const char* path) noexcept {
  return ErrnoOf([&] { return IMPL::RetryOnEintr([&] { return ::mkdir(path, 0700); }); });
}

stringEx Generate(std::string_view heading, const stringEx& base, const stringEx& prefix,
                  int (*make)(const char* path)) {
  int error = base.empty() ? ENOENT : EEXIST;
  for (int tries = 0; tries < mostTries && error == EEXIST; ++tries) {
    stringEx path = IMPL::JoinPath(base, UniqueName(prefix));
    error = make(IMPL::PathForSystem(path).data());
    if (error == 0) return path;
  }
  CMessage message(heading);
  message.Field("  base dir = ", base);
  if (error == EEXIST) message.Field("  error    = ", "too many retry time").Throw<dirExp>(dirCode::tempName);
  message.Field("  error    = ", IMPL::DescribeErrno(tempTexts, error)).Throw<dirExp>(dirCode::tempName);
}

}  // namespace

stringEx CDir::GenTempFileName(const stringEx& prefix) const {
  if (path_.empty() || !IMPL::IsFolder(path_.data())) {
    CMessage("CDir::GenTempFileName - invalid obj, or the base dir has been removed\n")
        .Field("  base dir = ", path_)
        .Throw<dirExp>(dirCode::tempName);
  }
  return Generate("CDir::GenTempFileName - error generate unique temp file name\n", path_, prefix, &MakeFile);
}

stringEx CDir::GenTempSubDir(const stringEx& prefix) const {
  return Generate("CDir::GenTempSubDir - failed making directory\n", path_, prefix, &MakeFolder);
}

stringEx CDir::GenTempFileNameInSysTempDir(const stringEx& prefix) {
  return Generate("CDir::GenTempFileNameInSysTempDir - error generate unique temp file name\n",
                  GetSysTempDir(), prefix, &MakeFile);
}

}  // namespace Qorv
