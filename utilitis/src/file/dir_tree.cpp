// Directories and whole trees: making, removing, copying, moving.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include <qorv/file.h>

#include "error/message.h"
#include "file/dir_common.h"
#include "file/dir_copy.h"
#include "file/narrow.h"
#include "misc/posix/platform.h"

namespace Qorv {
namespace {

using IMPL::CDescriptor;
using IMPL::CMessage;
using IMPL::ErrnoOf;
using IMPL::PathForSystem;
using IMPL::TREEPROGRESS;

constexpr IMPL::ErrnoText makeTexts[] = {
    {ENOENT, "path prefix not exists"},
    {EEXIST, "path already exists"},
    {EACCES, "permission denied"},
    {ENOTDIR, "path prefix is not a valid directory"},
    {ENOSPC, "no space left on the device"},
    {EDQUOT, "disk quota exceeded"},
    {EMLINK, "too many subdirectories"},
    {EROFS, "the file system containing the path is read-only"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENAMETOOLONG, "path name is too long"},
};

constexpr IMPL::ErrnoText removeTexts[] = {
    {ENOENT, "path not exists"},
    {ENOTEMPTY, "the directory is not empty"},
    {EEXIST, "the directory is not empty"},
    {EINVAL, "path ends in \".\" or \"..\""},
    {EBUSY, "the directory is being used by the system"},
    {EACCES, "permission denied"},
    {EPERM, "the calling process does not have the appropriate privileges"},
    {ENOTDIR, "path is not a directory"},
    {EMFILE, "the maximum file descriptors are currently open in the calling process"},
    {EROFS, "the file system containing the path is read-only"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENAMETOOLONG, "path name is too long, or the tree is too deep"},
};

constexpr IMPL::ErrnoText treeTexts[] = {
    {ENOENT, "path not exists"},
    {EEXIST, "target already exists"},
    {ENOTEMPTY, "directory is not empty"},
    {EINVAL, "file type has changed, or source and target are nested"},
    {EXDEV, "source and target are on different file systems"},
    {EBUSY, "the source has changed while it was copied, or is being used by the system"},
    {EACCES, "permission denied"},
    {EPERM, "the calling process does not have the appropriate privileges"},
    {ENOTDIR, "path is not a directory"},
    {EISDIR, "path is a directory"},
    {EIO, "io error occurred to the file system"},
    {ENOSPC, "no space left on the device"},
    {EDQUOT, "disk quota exceeded"},
    {EFBIG, "size too big"},
    {EMFILE, "the maximum file descriptors are currently open in the calling process"},
    {EROFS, "the file system containing the target is read-only"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENAMETOOLONG, "path name is too long, or the tree is too deep"},
};

int MakeOne(const stringEx& path) {
  return ErrnoOf([&] { return IMPL::RetryOnEintr([&] { return ::mkdir(path.data(), 0777); }); });
}

// From the lowest directory above that exists. Another process may be making the same ones.
int MakeWithParents(const stringEx& path) {
  std::vector<stringEx> missing;
  int error = 0;
  for (stringEx at = path; !at.empty(); at = IMPL::ParentPath(at)) {
    error = MakeOne(at);
    if (error != ENOENT) break;
    missing.push_back(at);
  }
  while ((error == 0 || error == EEXIST) && !missing.empty()) {
    error = MakeOne(missing.back());
    missing.pop_back();
  }
  return error != 0 && IMPL::IsFolder(path.data()) ? 0 : error;
}

struct REMOVAL {
  bool dirs;
  bool files;
};

int RemoveTree(int parent, const char* name, REMOVAL removal, TREEPROGRESS& progress, int depth);

// What may not go is found before anything of the directory goes.
int RemoveInner(int folder, REMOVAL removal, TREEPROGRESS& progress, int depth) {
  struct INNER {
    std::string name;
    bool isFolder;
  };
  std::vector<std::string> names;
  if (const int error = IMPL::ListNames(folder, names); error != 0) return error;
  std::vector<INNER> inners;
  for (std::string& name : names) {
    struct stat status;
    if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) < 0) {
      if (errno == ENOENT) continue;
      return errno;
    }
    const bool isFolder = S_ISDIR(status.st_mode);
    if (!(isFolder ? removal.dirs : removal.files)) return ENOTEMPTY;
    inners.push_back({std::move(name), isFolder});
  }
  for (const INNER& inner : inners) {
    const char* const name = inner.name.c_str();
    const int error = progress.At(inner.name, [&] {
      if (inner.isFolder) return RemoveTree(folder, name, removal, progress, depth + 1);
      if (::unlinkat(folder, name, 0) < 0) return errno == ENOENT ? 0 : errno;
      ++progress.files;
      return 0;
    });
    if (error != 0) return error;
  }
  return 0;
}

int RemoveTree(int parent, const char* name, REMOVAL removal, TREEPROGRESS& progress, int depth) {
  if (depth > IMPL::maxTreeDepth) return ENAMETOOLONG;
  {
    CDescriptor folder;
    if (const int error = folder.Open(parent, name, IMPL::openInnerFolder); error != 0) return error;
    if (const int error = RemoveInner(folder.Get(), removal, progress, depth); error != 0) return error;
  }
  if (::unlinkat(parent, name, AT_REMOVEDIR) < 0) return errno;
  ++progress.dirs;
  return 0;
}

// These the system itself refuses, but only when they are empty.
int CheckRemovable(std::string_view path) noexcept {
  if (path == "/") return EBUSY;
  const std::string_view name = path.substr(path.rfind('/') + 1);
  return name == "." || name == ".." ? EINVAL : 0;
}

// Whether `target`, or the nearest directory above it that exists, lies in the directory `source` or is it.
bool LiesInside(const struct stat& source, const stringEx& target) {
  stringEx at(IMPL::WithoutEndSlashes(target));
  while (!at.empty() && !IMPL::IsFolder(at.data()))
    at = IMPL::ParentPath(at);
  if (at.empty()) at = "."_sv;
  struct stat status;
  struct stat below {};
  while (::stat(at.data(), &status) == 0 && !IMPL::IsSameFile(status, below)) {
    if (IMPL::IsSameFile(status, source)) return true;
    below = status;
    at += "/..";
  }
  return false;
}

// One of the operations on two trees: its own path and its words.
struct TREETEXTS {
  std::string_view noSource;
  std::string_view nesting;
  std::string_view failed;
  std::string_view from;
  std::string_view to;
  std::string_view dirs;
  std::string_view files;
  std::uint32_t code;
};

constexpr TREETEXTS duplicateTexts = {"CDir::DuplicateDir - source dir doesn't exist\n",
                                      "CDir::DuplicateDir - dir nesting found in recursive copy mode\n",
                                      "CDir::DuplicateDir - error copy dir\n",
                                      "  dir to copy  = ",
                                      "  copy to      = ",
                                      "  dirs copied  = ",
                                      "  files copied = ",
                                      dirCode::duplicate};

constexpr TREETEXTS transferTexts = {"CDir::TransferDir - source dir doesn't exist\n",
                                     "CDir::TransferDir - dir nesting found in recursive copy mode\n",
                                     "CDir::TransferDir - error move dir\n",
                                     "  dir to move  = ",
                                     "  move to      = ",
                                     "  dirs moved   = ",
                                     "  files moved  = ",
                                     dirCode::transfer};

// One operation on two trees, from the caller's paths to its failure.
class CTwoTrees {
 public:
  CTwoTrees(const TREETEXTS& texts, const stringEx& from, const stringEx& to)
      : source(IMPL::WithoutEndSlashes(PathForSystem(from))),
        target(PathForSystem(to)),
        texts_(texts),
        from_(from),
        to_(to) {
    progress.path = source;
  }

  void CheckSource(int (*ask)(const char*, struct stat*)) const {
    struct stat status;
    int error = ErrnoOf([&] { return ask(source.data(), &status); });
    if (error == 0 && !S_ISDIR(status.st_mode)) error = ENOTDIR;
    if (error != 0) {
      Begin(texts_.noSource)
          .Errno("  error code   = ", "  error desc   = ", error, treeTexts)
          .Throw<dirExp>(texts_.code);
    }
    if (LiesInside(status, target)) Begin(texts_.nesting).Throw<dirExp>(texts_.code);
  }

  void Check(int error) const {
    if (error == 0) return;
    Begin(texts_.failed)
        .Field("  stopped at   = ", progress.path)
        .Field(texts_.dirs, progress.dirs)
        .Field(texts_.files, progress.files)
        .Errno("  error code   = ", "  error desc   = ", error, treeTexts)
        .Throw<dirExp>(texts_.code);
  }

  const stringEx source;
  const stringEx target;
  TREEPROGRESS progress;

 private:
  CMessage Begin(std::string_view heading) const {
    CMessage message(heading);
    message.Field(texts_.from, from_).Field(texts_.to, to_);
    return message;
  }

  const TREETEXTS& texts_;
  const stringEx& from_;
  const stringEx& to_;
};

// 0 also for what does not exist.
int CheckEmpty(const stringEx& path) {
  CDescriptor folder;
  if (const int error = folder.Open(AT_FDCWD, path.data(), IMPL::openFolder); error != 0)
    return error == ENOENT ? 0 : error;
  std::vector<std::string> names;
  const int error = IMPL::ListNames(folder.Get(), names);
  return error == 0 && !names.empty() ? ENOTEMPTY : error;
}

}  // namespace

void CDir::MakeDir(const stringEx& path, bool recursive) {
  if (path.empty()) throw dirExp(stringEx::view("CDir::MakeDir - nothing to make"), dirCode::make);
  const stringEx own = PathForSystem(path);
  const int error = recursive && !own.empty() ? MakeWithParents(own) : MakeOne(own);
  if (error == 0) return;
  CMessage("CDir::MakeDir - failed making directory\n")
      .Field("  dir to create = ", path)
      .Field("  is recursive  = ", IMPL::YesNo(recursive))
      .Errno("  error code    = ", "  error desc    = ", error, makeTexts)
      .Throw<dirExp>(dirCode::make);
}

void CDir::MakeDir(const wstringEx& path, bool recursive) {
  MakeDir(IMPL::NarrowForSystem(path), recursive);
}

void CDir::RemoveDir(const stringEx& path, bool removeSubDirs, bool removeSubFiles) {
  if (path.empty()) throw dirExp(stringEx::view("CDir::RemoveDir - nothing to remove"), dirCode::remove);
  TREEPROGRESS progress;
  // A slash at the end would lead through a link.
  const stringEx own(IMPL::WithoutEndSlashes(PathForSystem(path)));
  progress.path = own;
  int error = CheckRemovable(own);
  if (error == 0) error = RemoveTree(AT_FDCWD, own.data(), {removeSubDirs, removeSubFiles}, progress, 0);
  if (error == 0) return;
  CMessage("CDir::RemoveDir - failed remove specified directory\n")
      .Field("  dir to remove     = ", path)
      .Field("  remove sub dirs   = ", IMPL::YesNo(removeSubDirs))
      .Field("  remove sub files  = ", IMPL::YesNo(removeSubFiles))
      .Field("  stopped at        = ", progress.path)
      .Field("  dirs removed      = ", progress.dirs)
      .Field("  files removed     = ", progress.files)
      .Errno("  error code        = ", "  error desc        = ", error, removeTexts)
      .Throw<dirExp>(dirCode::remove);
}

void CDir::RemoveDir(const wstringEx& path, bool removeSubDirs, bool removeSubFiles) {
  RemoveDir(IMPL::NarrowForSystem(path), removeSubDirs, removeSubFiles);
}

void CDir::DuplicateDir(const stringEx& from, const stringEx& to, bool overwrite) {
  CTwoTrees trees(duplicateTexts, from, to);
  trees.CheckSource(&::stat);
  IMPL::CTreeCopy copy({.overwrite = overwrite, .linkFlag = O_NOFOLLOW});
  trees.Check(copy.Run(trees.source, trees.target, trees.progress));
}

void CDir::TransferDir(const stringEx& from, const stringEx& to, bool allowCopyDelete) {
  CTwoTrees trees(transferTexts, from, to);
  trees.CheckSource(&::lstat);
  int error = ErrnoOf([&] { return std::rename(trees.source.data(), trees.target.data()); });
  if (error == EXDEV && allowCopyDelete) {
    error = CheckEmpty(trees.target);
    IMPL::CTreeCopy copy({.isMove = true, .linkFlag = O_NOFOLLOW});
    if (error == 0) error = copy.Run(trees.source, trees.target, trees.progress);
  }
  trees.Check(error);
}

}  // namespace Qorv
