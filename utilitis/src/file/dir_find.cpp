// Finders: by wildcard and by regular expression.
#include <sys/stat.h>

#include <algorithm>
#include <functional>
#include <string>

#include <qorv/file.h>

#include "error/message.h"
#include "file/dir_common.h"
#include "misc/posix/platform.h"

namespace Qorv {
namespace {

using IMPL::CMessage;

constexpr IMPL::ErrnoText findTexts[] = {
    {ENOENT, "path not exists"},
    {EACCES, "permission denied"},
    {ENOTDIR, "path is not a directory"},
    {EIO, "io error occurred while reading from the file system"},
    {EMFILE, "the maximum file descriptors are currently open in the calling process"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENAMETOOLONG, "path name is too long, or the tree is too deep"},
};

constexpr std::string_view filesHeading = "CDir::GetAllFiles - failed find files\n";
constexpr std::string_view dirsHeading = "CDir::GetAllSubDirs - failed find subdirs\n";

using Judge = std::function<bool(const stringEx& name)>;

class CFinder {
 public:
  CFinder(bool wantsFolders, bool recursive, const Judge& fits)
      : wantsFolders_(wantsFolders), recursive_(recursive), fits_(fits) {}

  std::vector<stringEx> Find(const stringEx& dir) {
    const stringEx own = IMPL::PathForSystem(dir);
    IMPL::CDescriptor folder;
    int error = folder.Open(AT_FDCWD, own.data(), IMPL::openFolder);
    if (error == 0) error = FindIn(folder.Get(), 0);
    if (error != 0) Fail(dir, error);
    std::sort(found_.begin(), found_.end());
    return std::move(found_);
  }

 private:
  [[noreturn]] void Fail(const stringEx& dir, int error) const {
    CMessage(wantsFolders_ ? dirsHeading : filesHeading)
        .Field("  dir to search = ", dir)
        .Field("  stopped at    = ", progress_.path.empty() ? std::string_view(".") : Inner())
        .Field("  found so far  = ", found_.size())
        .Errno("  error code    = ", "  error desc    = ", error, findTexts)
        .Throw<dirExp>(dirCode::find);
  }

  // Behind the slash that stands for the directory itself.
  std::string_view Inner() const noexcept { return std::string_view(progress_.path).substr(1); }

  int FindIn(int folder, int depth) {
    if (depth > IMPL::maxTreeDepth) return ENAMETOOLONG;
    std::vector<std::string> names;
    if (const int error = IMPL::ListNames(folder, names); error != 0) return error;
    for (const std::string& name : names) {
      if (const int error = progress_.At(name, [&] { return Look(folder, name, depth); }); error != 0)
        return error;
    }
    return 0;
  }

  // What goes away meanwhile is not there.
  int Look(int folder, const std::string& name, int depth) {
    struct stat status;
    if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) < 0) return errno == ENOENT ? 0 : errno;
    bool isFolder = S_ISDIR(status.st_mode);
    const bool isEntered = isFolder && recursive_;
    struct stat target;
    if (S_ISLNK(status.st_mode) && ::fstatat(folder, name.c_str(), &target, 0) == 0)
      isFolder = S_ISDIR(target.st_mode);
    if (isFolder == wantsFolders_ && fits_(stringEx::view(name))) found_.emplace_back(Inner());
    if (!isEntered) return 0;
    IMPL::CDescriptor inner;
    const int error = inner.Open(folder, name.c_str(), IMPL::openInnerFolder);
    if (error == ENOENT) return 0;
    return error != 0 ? error : FindIn(inner.Get(), depth + 1);
  }

  const bool wantsFolders_;
  const bool recursive_;
  const Judge& fits_;
  IMPL::TREEPROGRESS progress_;
  std::vector<stringEx> found_;
};

std::vector<stringEx> FindByWildcard(bool wantsFolders, const stringEx& dir, const stringEx& wildcard,
                                     bool recursive) {
  const Judge fits = [&](const stringEx& name) { return name.match_wildcard(wildcard, 0, '?', '*', '\\'); };
  return CFinder(wantsFolders, recursive, fits).Find(dir);
}

std::vector<stringEx> FindByRegex(bool wantsFolders, const stringEx& dir, const regexHandle& regex,
                                  bool recursive) {
  const Judge fits = [&](const stringEx& name) { return regex.Exec(name, 0, nullptr, 0); };
  return CFinder(wantsFolders, recursive, fits).Find(dir);
}

void Require(bool condition, std::string_view message) {
  if (!condition) throw dirExp(stringEx::view(message), dirCode::find);
}

}  // namespace

std::vector<stringEx> CDir::GetAllFiles(const stringEx& dir, const stringEx& wildcard, bool recursive) {
  return FindByWildcard(false, dir, wildcard, recursive);
}

std::vector<stringEx> CDir::GetAllSubDirs(const stringEx& dir, const stringEx& wildcard, bool recursive) {
  return FindByWildcard(true, dir, wildcard, recursive);
}

std::vector<stringEx> CDir::GetAllFilesRegEx(const stringEx& dir, const regexHandle& regex, bool recursive) {
  Require(!dir.empty(), "CDir::GetAllFilesRegEx - nothing to find");
  Require(static_cast<bool>(regex), "CDir::GetAllFilesRegEx - invalid regex handle");
  return FindByRegex(false, dir, regex, recursive);
}

std::vector<stringEx> CDir::GetAllFilesRegEx(const stringEx& dir, const stringEx& pattern, bool recursive) {
  Require(!pattern.empty(), "CDir::GetAllFilesRegEx - nothing to find");
  return GetAllFilesRegEx(dir, stringEx::compile_regex(pattern), recursive);
}

std::vector<stringEx> CDir::GetAllSubDirsRegEx(const stringEx& dir, const regexHandle& regex,
                                               bool recursive) {
  Require(!dir.empty(), "CDir::_GetAllSubDirsRegEx - nothing to find");
  Require(static_cast<bool>(regex), "CDir::_GetAllSubDirsRegEx - invalid regex handle");
  return FindByRegex(true, dir, regex, recursive);
}

std::vector<stringEx> CDir::GetAllSubDirsRegEx(const stringEx& dir, const stringEx& pattern, bool recursive) {
  Require(!pattern.empty(), "CDir::_GetAllSubDirsRegEx - nothing to find");
  return GetAllSubDirsRegEx(dir, stringEx::compile_regex(pattern), recursive);
}

}  // namespace Qorv
