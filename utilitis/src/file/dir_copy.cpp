#include "file/dir_copy.h"

#include <unistd.h>

#include <memory>
#include <string>

#include "misc/posix/platform.h"

namespace Qorv::IMPL {
namespace {

// The rights that a file lends are the owner's to give.
mode_t CopiedBits(const struct stat& from, const struct stat& to) noexcept {
  const bool sameOwner = from.st_uid == to.st_uid && from.st_gid == to.st_gid;
  return from.st_mode & (sameOwner ? 07777u : 01777u);
}

int CopyBits(int to, const struct stat& from) noexcept {
  struct stat status;
  if (const int error = ErrnoOf([&] { return ::fstat(to, &status); }); error != 0) return error;
  return ErrnoOf([&] { return RetryOnEintr([&] { return ::fchmod(to, CopiedBits(from, status)); }); });
}

int CopyContent(int from, int to, std::uint64_t& bytes) {
  constexpr std::size_t chunk = std::size_t{256} << 10;
  const auto room = std::make_unique<char[]>(chunk);
  while (true) {
    const ssize_t count = RetryOnEintr([&] { return ::read(from, room.get(), chunk); });
    if (count < 0) return errno;
    if (count == 0) return 0;
    const int error = WriteAll(to, {room.get(), static_cast<std::size_t>(count)}, bytes);
    if (error != 0) return error;
  }
}

// Opens the target for a copy of `source`, empty. What is there already is emptied only once it is known to be another
// file.
int OpenTarget(CDescriptor& file, ENTRY entry, COPYMANNER manner, const struct stat& source, bool& isNew) {
  const int error = file.Open(entry.dir, entry.name, O_WRONLY | O_CREAT | O_EXCL, 0600);
  isNew = error == 0;
  if (error != EEXIST || !manner.overwrite) return error;
  struct stat status;
  if (const int failed = OpenRegular(file, entry.dir, entry.name, O_WRONLY | manner.linkFlag, status);
      failed != 0)
    return failed;
  if (IsSameFile(source, status)) return EINVAL;
  return ErrnoOf([&] { return RetryOnEintr([&] { return ::ftruncate(file.Get(), 0); }); });
}

bool HasChanged(int file, const struct stat& before) noexcept {
  struct stat now;
  return ::fstat(file, &now) < 0 || now.st_size != before.st_size ||
         now.st_mtim.tv_sec != before.st_mtim.tv_sec || now.st_mtim.tv_nsec != before.st_mtim.tv_nsec;
}

int CopyLink(ENTRY from, ENTRY to, bool overwrite) {
  std::string target(256, '\0');
  while (true) {
    const ssize_t count =
        RetryOnEintr([&] { return ::readlinkat(from.dir, from.name, target.data(), target.size()); });
    if (count < 0) return errno;
    if (static_cast<std::size_t>(count) < target.size()) {
      target.resize(static_cast<std::size_t>(count));
      break;
    }
    target.resize(target.size() * 2);
  }
  if (overwrite && ::unlinkat(to.dir, to.name, 0) < 0 && errno != ENOENT) return errno;
  return ErrnoOf([&] { return ::symlinkat(target.c_str(), to.dir, to.name); });
}

// The mask of the process takes from the permissions of what is made.
int CopySpecial(ENTRY to, const struct stat& status) {
  const mode_t bits = status.st_mode & 0777u;
  const int error =
      ErrnoOf([&] { return ::mknodat(to.dir, to.name, (status.st_mode & S_IFMT) | bits, status.st_rdev); });
  if (error != 0) return error;
  return ErrnoOf([&] { return ::fchmodat(to.dir, to.name, bits, AT_SYMLINK_NOFOLLOW); });
}

}  // namespace

int CopyFile(ENTRY from, ENTRY to, COPYMANNER manner, std::uint64_t& bytes) {
  CDescriptor source;
  struct stat status;
  if (const int error = OpenRegular(source, from.dir, from.name, O_RDONLY | manner.linkFlag, status);
      error != 0)
    return error;
  CDescriptor target;
  bool isNew = false;
  int error = OpenTarget(target, to, manner, status, isNew);
  if (error == 0) error = CopyContent(source.Get(), target.Get(), bytes);
  if (error == 0) error = CopyBits(target.Get(), status);
  if (error == 0 && manner.isMove && HasChanged(source.Get(), status)) error = EBUSY;
  const int closed = target.Close();  // some file systems say only here that there is no room
  if (error == 0) error = closed;
  if (error != 0 && isNew) ::unlinkat(to.dir, to.name, 0);
  return error;
}

int CopyEntry(ENTRY from, ENTRY to, COPYMANNER manner, std::uint64_t& bytes) {
  struct stat status;
  if (::fstatat(from.dir, from.name, &status, AT_SYMLINK_NOFOLLOW) < 0) return errno;
  if (S_ISREG(status.st_mode)) return CopyFile(from, to, manner, bytes);
  if (S_ISLNK(status.st_mode)) return CopyLink(from, to, manner.overwrite);
  if (S_ISDIR(status.st_mode)) return EISDIR;
  return CopySpecial(to, status);
}

// The roots come first.
bool CTreeCopy::IsNested(const struct stat& from, const struct stat& to) noexcept {
  if (!hasRoots_) {
    hasRoots_ = true;
    fromRoot_ = from;
    toRoot_ = to;
  }
  return IsSameFile(from, toRoot_) || IsSameFile(to, fromRoot_);
}

int CTreeCopy::CopyFolder(ENTRY from, ENTRY to, int openFlags, TREEPROGRESS& progress, int depth) {
  if (depth > maxTreeDepth) return ENAMETOOLONG;
  CDescriptor source;
  if (const int error = source.Open(from.dir, from.name, openFlags); error != 0) return error;
  struct stat sourceStatus;
  if (::fstat(source.Get(), &sourceStatus) < 0) return errno;
  if (hasRoots_ && IsSameFile(sourceStatus, toRoot_)) return EINVAL;
  const bool isNew = ::mkdirat(to.dir, to.name, 0700) == 0;
  if (!isNew && errno != EEXIST) return errno;
  CDescriptor target;
  if (const int error = target.Open(to.dir, to.name, openFlags); error != 0) return error;
  struct stat targetStatus;
  if (::fstat(target.Get(), &targetStatus) < 0) return errno;
  if (IsNested(sourceStatus, targetStatus)) return EINVAL;
  if (const int error = CopyInner(source.Get(), target.Get(), progress, depth); error != 0) return error;
  if (isNew) {
    if (const int error = CopyBits(target.Get(), sourceStatus); error != 0) return error;
  }
  // A file that has come into the source meanwhile keeps its directory there.
  if (manner_.isMove && ::unlinkat(from.dir, from.name, AT_REMOVEDIR) < 0) return errno;
  ++progress.dirs;
  return 0;
}

int CTreeCopy::CopyInner(int from, int to, TREEPROGRESS& progress, int depth) {
  std::vector<std::string> names;
  if (const int error = ListNames(from, names); error != 0) return error;
  for (const std::string& name : names) {
    const int error = progress.At(name, [&] {
      const ENTRY source{from, name.c_str()};
      const ENTRY target{to, name.c_str()};
      struct stat status;
      if (::fstatat(from, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) < 0) return errno;
      if (S_ISDIR(status.st_mode)) return CopyFolder(source, target, openInnerFolder, progress, depth + 1);
      std::uint64_t bytes = 0;
      int failed = CopyEntry(source, target, manner_, bytes);
      if (failed == 0 && manner_.isMove) failed = ErrnoOf([&] { return ::unlinkat(from, name.c_str(), 0); });
      if (failed == 0) ++progress.files;
      return failed;
    });
    if (error != 0) return error;
  }
  return 0;
}

int CTreeCopy::Run(const stringEx& from, const stringEx& to, TREEPROGRESS& progress) {
  progress.path = from;
  return CopyFolder({AT_FDCWD, from.data()}, {AT_FDCWD, to.data()}, openFolder, progress, 0);
}

}  // namespace Qorv::IMPL
