// Attributes, and the object that stands for a directory.
#include <sys/stat.h>

#include <qorv/file.h>

#include "error/message.h"
#include "file/dir_common.h"
#include "file/narrow.h"
#include "misc/posix/platform.h"

namespace Qorv {
namespace {

using IMPL::CMessage;

constexpr IMPL::ErrnoText statTexts[] = {
    {ENOENT, "path not exists"},
    {EACCES, "permission denied"},
    {ENOTDIR, "path prefix is not a valid directory"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENAMETOOLONG, "path name is too long"},
    {EOVERFLOW, "some fields cannot be represented correctly in the structure"},
    {EIO, "io error occurred while reading from the file system"},
};

constexpr IMPL::ErrnoText attributeTexts[] = {
    {ENOENT, "path not exists"},
    {EPERM, "the calling process does not have the appropriate privileges"},
    {EACCES, "permission denied"},
    {ENOTDIR, "path prefix is not a valid directory"},
    {EROFS, "the file system containing the file is read-only"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENAMETOOLONG, "path name is too long"},
};

constexpr IMPL::ErrnoText openTexts[] = {
    {ENOENT, "path not exists"},
    {EACCES, "permission denied"},
    {ENOTDIR, "path is not a directory"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENAMETOOLONG, "path name is too long"},
};

int TryStat(const stringEx& path, struct stat& status) {
  const stringEx own = IMPL::PathForSystem(path);
  return IMPL::RetryOnEintr([&] { return ::stat(own.data(), &status); }) < 0 ? errno : 0;
}

struct stat PosixStat(const stringEx& path) {
  struct stat status;
  if (const int error = TryStat(path, status); error != 0) {
    CMessage("PosixStat - failed retrive the status of giving path\n")
        .Field("  path       = ", path)
        .Errno("  error code = ", "  error desc = ", error, statTexts)
        .Throw<dirExp>(dirCode::attributes);
  }
  return status;
}

std::uint32_t TypeOf(mode_t mode) noexcept {
  if (S_ISDIR(mode)) return fileType::directory;
  return S_ISREG(mode) ? fileType::file : fileType::other;
}

}  // namespace

void CDir::Open(const stringEx& path) {
  if (path.empty()) throw dirExp(stringEx::view("CDir::Open - nothing to open"), dirCode::open);
  stringEx full(path.data(), path.length());
  ConvToFullPath(full);
  struct stat status;
  int error = TryStat(full, status);
  if (error == 0 && !S_ISDIR(status.st_mode)) error = ENOTDIR;
  if (error != 0) {
    CMessage("CDir::Open - error open dir, not exist\n")
        .Field("  dir to open = ", path)
        .Errno("  error code  = ", "  error desc  = ", error, openTexts)
        .Throw<dirExp>(dirCode::open);
  }
  path_ = std::move(full);
}

void CDir::Open(const wstringEx& path) {
  Open(IMPL::NarrowForSystem(path));
}

CDir::ATTRIBUTES CDir::GetAttributes(const stringEx& path) {
  const struct stat status = PosixStat(path);
  return {TypeOf(status.st_mode), status.st_mode & 07777u, static_cast<std::uint64_t>(status.st_size)};
}

void CDir::SetAttributes(const stringEx& path, const ATTRIBUTES& attributes) {
  const stringEx own = IMPL::PathForSystem(path);
  const auto mode = static_cast<mode_t>(attributes.permissions & 07777u);
  if (IMPL::RetryOnEintr([&] { return ::chmod(own.data(), mode); }) == 0) return;
  const int error = errno;
  CMessage("CDir::SetAttributes - failed set the attributes of giving path\n")
      .Field("  path       = ", path)
      .Errno("  error code = ", "  error desc = ", error, attributeTexts)
      .Throw<dirExp>(dirCode::attributes);
}

}  // namespace Qorv
