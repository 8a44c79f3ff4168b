// Copying at open directories: one entry, or a tree.
#pragma once

#include <sys/stat.h>

#include <cstdint>

#include "file/dir_common.h"

namespace Qorv::IMPL {

/// Where an entry stands: a directory, by descriptor or AT_FDCWD, and a path from there.
struct ENTRY {
  int dir;
  const char* name;
};

/// How a regular file is copied.
struct COPYMANNER {
  bool overwrite = false;
  bool isMove = false;  ///< the source goes away behind it: it must not have changed meanwhile
  int linkFlag = 0;     ///< O_NOFOLLOW: neither may be a link
};

/// Copies a regular file; see CDir::DuplicateFile. Returns 0 or an errno: EINVAL for what is no regular file, or both being
/// the same file, EBUSY for a change under a move.
int CopyFile(ENTRY from, ENTRY to, COPYMANNER manner, std::uint64_t& bytes);

/// Copies what is no directory: a regular file, a link as a link, a special file.
int CopyEntry(ENTRY from, ENTRY to, COPYMANNER manner, std::uint64_t& bytes);

/// One tree to another, as CDir::DuplicateDir and TransferDir have it.
class CTreeCopy {
 public:
  explicit CTreeCopy(COPYMANNER manner) noexcept : manner_(manner) {}

  /// Returns 0 or an errno: EINVAL where source and target turn out to be nested.
  int Run(const stringEx& from, const stringEx& to, TREEPROGRESS& progress);

 private:
  int CopyInner(int from, int to, TREEPROGRESS& progress, int depth);
  int CopyFolder(ENTRY from, ENTRY to, int openFlags, TREEPROGRESS& progress, int depth);
  bool IsNested(const struct stat& from, const struct stat& to) noexcept;

  COPYMANNER manner_;
  bool hasRoots_ = false;
  struct stat fromRoot_ {};
  struct stat toRoot_ {};
};

}  // namespace Qorv::IMPL
