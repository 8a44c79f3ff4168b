// Path text, the working directory, the search path.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include <qorv/file.h>

#include "error/message.h"
#include "file/dir_common.h"
#include "file/narrow.h"
#include "misc/posix/platform.h"

namespace Qorv {
namespace {

using IMPL::CMessage;
using IMPL::JoinPath;
using IMPL::PathForSystem;

constexpr IMPL::ErrnoText getPwdTexts[] = {
    {ENOENT, "the working dir has been removed"},
    {EACCES, "permission denied"},
    {ENAMETOOLONG, "path name is too long"},
    {ERANGE, "path name is too long"},
};

constexpr IMPL::ErrnoText setPwdTexts[] = {
    {ENOENT, "path not exists"},
    {EACCES, "permission denied"},
    {ENOTDIR, "path is not a directory"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENAMETOOLONG, "path name is too long"},
};

[[noreturn]] void FailPwd(std::string_view heading, int error) {
  CMessage(heading)
      .Errno("  error code = ", "  error desc = ", error, getPwdTexts)
      .Throw<dirExp>(dirCode::path);
}

void RefuseEmpty(const stringEx& path, std::string_view message) {
  if (path.empty()) throw dirExp(stringEx::view(message), dirCode::path);
}

}  // namespace

stringEx CDir::GetPwd() {
  errno = 0;
  const long longest = ::pathconf(".", _PC_PATH_MAX);
  if (longest < 0 && errno != 0)
    FailPwd("CDir::GetPwd - error get the path length of current working dir\n", errno);
  // What the system tells bounds a path given to it, not how deep one may go step by step.
  constexpr std::size_t enough = 1 << 20;
  std::string room(std::clamp<std::size_t>(longest < 0 ? 0 : static_cast<std::size_t>(longest), 256, enough),
                   '\0');
  while (::getcwd(room.data(), room.size()) == nullptr) {
    if (errno != ERANGE || room.size() >= enough)
      FailPwd("CDir::GetPwd - failed getting current working dir\n", errno);
    room.resize(room.size() * 2);
  }
  return stringEx(room.c_str());
}

void CDir::SetPwd(const stringEx& path) {
  const stringEx own = PathForSystem(path);
  if (IMPL::RetryOnEintr([&] { return ::chdir(own.data()); }) == 0) return;
  const int error = errno;
  CMessage("CDir::SetPwd - failed set current working dir\n")
      .Field("  dir to set = ", path)
      .Errno("  error code = ", "  error desc = ", error, setPwdTexts)
      .Throw<dirExp>(dirCode::path);
}

void CDir::ConvToFullPath(stringEx& path) {
  RefuseEmpty(path, "CDir::ConvToFullPath - nothing to convert");
  if (path.starts_with("~/")) {
    const char* home = std::getenv("HOME");
    if (home != nullptr && *home != 0) path = JoinPath(home, std::string_view(path).substr(2));
  }
  if (!path.starts_with("/")) path = JoinPath(GetPwd(), path);
}

stringEx CDir::ConvToFullPath(const wstringEx& path) {
  stringEx narrow = IMPL::NarrowForSystem(path);
  ConvToFullPath(narrow);
  return narrow;
}

stringEx CDir::GetPathDir(const stringEx& path) {
  RefuseEmpty(path, "CDir::GetPathDir - nothing to match");
  stringEx slashed(path.data(), path.length());
  slashed.replace("\\", "/");
  if (IMPL::IsFolder(PathForSystem(slashed).data())) return slashed;
  const std::string_view text = slashed;
  const std::size_t slash = text.rfind('/');
  if (slash == std::string_view::npos) return "."_sv;
  return stringEx(IMPL::WithoutEndSlashes(text.substr(0, slash + 1)));
}

stringEx CDir::GetPathFilename(const stringEx& path) {
  RefuseEmpty(path, "CDir::GetPathFilename - nothing to match");
  if (IMPL::IsFolder(PathForSystem(path).data())) return {};
  const std::string_view text = path;
  return stringEx(text.substr(text.rfind('/') + 1));
}

stringEx CDir::FindInPath(const stringEx& name) {
  RefuseEmpty(name, "CDir::FindInPath - nothing to search");
  const char* const given = std::getenv("PATH");
  const std::string_view folders = given != nullptr ? given : "";
  for (std::size_t at = 0; at <= folders.size();) {
    const std::size_t end = std::min(folders.find(':', at), folders.size());
    const std::string_view folder = folders.substr(at, end - at);
    const stringEx path = JoinPath(folder.empty() ? "." : folder, name);
    struct stat status;
    if (::stat(PathForSystem(path).data(), &status) == 0 && !S_ISDIR(status.st_mode)) return path;
    at = end + 1;
  }
  CMessage("CDir::FindInPath - can't find file in path\n")
      .Field("  file to find = ", name)
      .Field("  path         = ", folders)
      .Throw<dirExp>(dirCode::path);
}

stringEx CDir::GetSysTempDir() {
  const char* const given = std::getenv("TMPDIR");
  if (given != nullptr && *given != 0) return stringEx(given);
  for (const std::string_view folder : {"/tmp/", "/var/tmp/", "/usr/tmp/"}) {
    if (IMPL::IsFolder(folder.data())) return stringEx::view(folder);
  }
  return "/tmp/"_sv;
}

}  // namespace Qorv
