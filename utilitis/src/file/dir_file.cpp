// Single files: removing, copying, moving, whole contents.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include <qorv/file.h>

#include "error/message.h"
#include "file/dir_common.h"
#include "file/dir_copy.h"
#include "file/narrow.h"
#include "misc/posix/platform.h"

namespace Qorv {
namespace {

using IMPL::CMessage;
using IMPL::PathForSystem;

constexpr IMPL::ErrnoText removeTexts[] = {
    {ENOENT, "file not exists"},
    {EACCES, "permission denied"},
    {EPERM, "the path is a directory, or the file must not be removed"},
    {EISDIR, "the path is a directory"},
    {ENOTDIR, "path prefix is not a valid directory"},
    {EBUSY, "the file is being used by the system"},
    {EROFS, "the file system containing the file is read-only"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENAMETOOLONG, "path name is too long"},
};

constexpr IMPL::ErrnoText copyTexts[] = {
    {ENOENT, "source file or target directory not exists"},
    {EEXIST, "target file already exists"},
    {EINVAL, "not a regular file, or source and target are the same file"},
    {EISDIR, "source or target is a directory"},
    {EACCES, "permission denied"},
    {ENOTDIR, "path prefix is not a valid directory"},
    {EBUSY, "the source has changed while it was copied"},
    {EIO, "io error occurred to the file system"},
    {ENOSPC, "no space left on the device"},
    {EDQUOT, "disk quota exceeded"},
    {EFBIG, "size too big"},
    {ETXTBSY, "target is a program that is being executed"},
    {EROFS, "the file system containing the target is read-only"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENAMETOOLONG, "path name is too long"},
};

constexpr IMPL::ErrnoText linkTexts[] = {
    {ENOENT, "source file or target directory not exists"},
    {EEXIST, "target file already exists"},
    {EXDEV, "source and target are on different file systems"},
    {EPERM, "the source is a directory, or the file system does not support hard links"},
    {EMLINK, "too many links to the source"},
    {EACCES, "permission denied"},
    {ENOTDIR, "path prefix is not a valid directory"},
    {ENOSPC, "no space left on the device"},
    {EROFS, "the file system containing the target is read-only"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENAMETOOLONG, "path name is too long"},
};

constexpr IMPL::ErrnoText contentTexts[] = {
    {ENOENT, "file dose not exists or can't be created"},
    {EINVAL, "not a regular file"},
    {EISDIR, "the path is a directory"},
    {ENXIO, "not a regular file"},
    {EACCES, "permission denied"},
    {ENOTDIR, "path prefix is not a valid directory"},
    {EIO, "io error occurred to the file system"},
    {ENOSPC, "no space left on the device"},
    {EDQUOT, "disk quota exceeded"},
    {EFBIG, "size too big"},
    {ETXTBSY, "the file is a program that is being executed"},
    {EROFS, "the file system containing the file is read-only"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENAMETOOLONG, "path name is too long"},
};

[[noreturn]] void FailTransfer(std::string_view heading, const stringEx& from, const stringEx& to, int error,
                               IMPL::ErrnoTable texts) {
  CMessage(heading)
      .Field("  move from  = ", from)
      .Field("  move to    = ", to)
      .Errno("  error code = ", "  error desc = ", error, texts)
      .Throw<dirExp>(dirCode::transfer);
}

void CheckContent(std::string_view heading, const stringEx& path, std::uint64_t bytes, int error) {
  if (error == 0) return;
  CMessage(heading)
      .Field("  file path  = ", path)
      .Field("  bytes done = ", bytes)
      .Errno("  error code = ", "  error desc = ", error, contentTexts)
      .Throw<dirExp>(dirCode::content);
}

}  // namespace

void CDir::RemoveFile(const stringEx& path) {
  const stringEx own = PathForSystem(path);
  if (IMPL::RetryOnEintr([&] { return ::unlink(own.data()); }) == 0) return;
  const int error = errno;
  CMessage("CDir::RemoveFile - failed remove file\n")
      .Field("  file path  = ", path)
      .Errno("  error code = ", "  error desc = ", error, removeTexts)
      .Throw<dirExp>(dirCode::remove);
}

void CDir::RemoveFile(const wstringEx& path) {
  RemoveFile(IMPL::NarrowForSystem(path));
}

void CDir::DuplicateFile(const stringEx& from, const stringEx& to, bool overwrite) {
  const stringEx source = PathForSystem(from);
  const stringEx target = PathForSystem(to);
  std::uint64_t bytes = 0;
  const int error =
      IMPL::CopyFile({AT_FDCWD, source.data()}, {AT_FDCWD, target.data()}, {.overwrite = overwrite}, bytes);
  if (error == 0) return;
  CMessage("CDir::DuplicateFile - error copy file\n")
      .Field("  copy from  = ", from)
      .Field("  copy to    = ", to)
      .Field("  overwrite  = ", IMPL::YesNo(overwrite))
      .Field("  bytes done = ", bytes)
      .Errno("  error code = ", "  error desc = ", error, copyTexts)
      .Throw<dirExp>(dirCode::duplicate);
}

void CDir::TransferFile(const stringEx& from, const stringEx& to, bool allowCopyDelete) {
  const stringEx source = PathForSystem(from);
  const stringEx target = PathForSystem(to);
  const auto removeSource = [&] { return ::unlink(source.data()); };
  int error = IMPL::ErrnoOf([&] { return ::linkat(AT_FDCWD, source.data(), AT_FDCWD, target.data(), 0); });
  if (error == EXDEV && allowCopyDelete) {
    std::uint64_t bytes = 0;
    error = IMPL::CopyEntry({AT_FDCWD, source.data()}, {AT_FDCWD, target.data()},
                            {.isMove = true, .linkFlag = O_NOFOLLOW}, bytes);
    if (error != 0)
      FailTransfer("CDir::TransferFile - error copy file to the target\n", from, to, error, copyTexts);
  } else if (error != 0) {
    FailTransfer("CDir::TransferFile - error link file to the target path\n", from, to, error, linkTexts);
  }
  error = IMPL::ErrnoOf(removeSource);
  if (error == 0) return;
  ::unlink(target.data());
  FailTransfer("CDir::TransferFile - error remove (unlink) the source\n", from, to, error, removeTexts);
}

stringEx CDir::ReadFile(const stringEx& path) {
  if (path.empty()) throw dirExp(stringEx::view("CDir::ReadFile - read what ?"), dirCode::content);
  IMPL::CDescriptor file;
  struct stat status;
  stringEx content;
  int error = IMPL::OpenRegular(file, AT_FDCWD, PathForSystem(path).data(), O_RDONLY, status);
  if (error == 0) {
    constexpr std::size_t chunk = std::size_t{64} << 10;
    const auto room = std::make_unique<char[]>(chunk);
    ssize_t count = 0;
    while ((count = IMPL::RetryOnEintr([&] { return ::read(file.Get(), room.get(), chunk); })) > 0)
      content.append(room.get(), static_cast<std::uint64_t>(count));
    if (count < 0) error = errno;
  }
  CheckContent("CDir::ReadFile - failed read file\n", path, content.length(), error);
  return content;
}

void CDir::WriteFile(const stringEx& path, std::string_view content) {
  if (path.empty()) throw dirExp(stringEx::view("CDir::WriteFile - write what ?"), dirCode::content);
  IMPL::CDescriptor file;
  struct stat status;
  std::uint64_t done = 0;
  int error = IMPL::OpenRegular(file, AT_FDCWD, PathForSystem(path).data(), O_WRONLY | O_CREAT, status);
  if (error == 0)
    error = IMPL::ErrnoOf([&] { return IMPL::RetryOnEintr([&] { return ::ftruncate(file.Get(), 0); }); });
  if (error == 0) error = IMPL::WriteAll(file.Get(), content, done);
  const int closed = file.Close();
  CheckContent("CDir::WriteFile - failed write file\n", path, done, error != 0 ? error : closed);
}

}  // namespace Qorv
