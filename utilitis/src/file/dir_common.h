// What the sources of CDir share: paths as the system takes them, and open directories.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <qorv/string.h>

namespace Qorv::IMPL {

/// `path` zero-ended and with its home directory. Empty, which no call of the system accepts, for one with a zero element.
stringEx PathForSystem(const stringEx& path);

/// The two with one slash between them.
stringEx JoinPath(std::string_view dir, std::string_view name);

/// `path` without the slashes at its end; those of the root are one.
std::string_view WithoutEndSlashes(std::string_view path) noexcept;

/// The path without its last name; empty when there is none to take away.
stringEx ParentPath(const stringEx& path);

/// For a wildcard of CDir::GetAllFiles that fits this text alone.
void AppendQuoted(stringEx& wildcard, std::string_view text);

/// Whether `path`, as the system takes it, leads to a directory.
bool IsFolder(const char* path) noexcept;

bool IsSameFile(const struct stat& a, const struct stat& b) noexcept;

/// The field value for a flag.
std::string_view YesNo(bool flag) noexcept;

/// A descriptor that goes with its owner.
class CDescriptor {
 public:
  CDescriptor() noexcept = default;
  explicit CDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}
  CDescriptor(CDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  CDescriptor& operator=(CDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~CDescriptor() { Close(); }

  /// Opens relative to the directory `dir`. Returns 0 or an errno.
  int Open(int dir, const char* path, int flags, mode_t mode = 0) noexcept;
  /// Returns 0 or an errno.
  int Close() noexcept;
  int Get() const noexcept { return descriptor_; }
  int Disclaim() noexcept { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_ = -1;
};

/// Opens a regular file relative to the directory `dir`, and gives its status. What is no such file does not hold the
/// opening up. Returns 0 or an errno: EISDIR for a directory, EINVAL, or ENXIO, for what else is not regular.
int OpenRegular(CDescriptor& file, int dir, const char* path, int flags, struct stat& status) noexcept;

/// Adds to `done` the bytes written. Returns 0 or an errno.
int WriteAll(int descriptor, std::string_view bytes, std::uint64_t& done) noexcept;

/// Flags for a directory inside a tree. Those above it may be links.
inline constexpr int openFolder = O_RDONLY | O_DIRECTORY;
inline constexpr int openInnerFolder = openFolder | O_NOFOLLOW;

/// Levels of a tree; more would not only need descriptors, but stack.
inline constexpr int maxTreeDepth = 1024;

/// Appends the names in the directory, "." and ".." left out, in the order of their bytes. Returns 0 or an errno.
int ListNames(int folder, std::vector<std::string>& names);

/// How far an operation on a tree has come: the path at which it is, and what is done.
struct TREEPROGRESS {
  stringEx path;
  std::uint64_t dirs = 0;
  std::uint64_t files = 0;

  /// Runs `step`, which returns 0 or an errno, at the path of `name`. After a failure the path stays there.
  template <class Step>
  int At(std::string_view name, Step step) {
    const std::uint64_t length = path.length();
    if (!path.ends_with_any("/")) path += '/';
    path += name;
    const int error = step();
    if (error == 0) path.truncate(length);
    return error;
  }
};

/// Runs `step`, a call that returns a negative number on failure, and gives 0 or its errno.
template <class Step>
int ErrnoOf(Step step) noexcept {
  return step() < 0 ? errno : 0;
}

}  // namespace Qorv::IMPL
