#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>

#include <qorv/file.h>

#include "error/message.h"
#include "misc/posix/platform.h"

namespace Qorv {
namespace {

using IMPL::CMessage;

constexpr IMPL::ErrnoText pwdTexts[] = {
    {ENOENT, "the working dir has been removed"},
    {EACCES, "permission denied"},
    {ENAMETOOLONG, "path name is too long"},
};

constexpr IMPL::ErrnoText topologyTexts[] = {
    {ENOENT, "volume not exists"},
    {EACCES, "permission denied"},
    {ENOTDIR, "path prefix is not a valid directory"},
};

stringEx WorkingDir() {
  std::error_code error;
  const std::filesystem::path path = std::filesystem::current_path(error);
  if (error) {
    CMessage("CDir::GetPwd - failed getting current working dir\n")
        .Errno("  error code = ", "  error desc = ", error.value(), pwdTexts)
        .Throw<dirExp>(dirCode::path);
  }
  return stringEx(std::string_view(path.native()));
}

stringEx Join(std::string_view dir, std::string_view name) {
  stringEx path(dir);
  if (!dir.ends_with('/')) path += '/';
  return std::move(path += name);
}

bool FindDevice(const stringEx& path, dev_t& device) {
  struct stat status;
  if (IMPL::RetryOnEintr([&] { return ::stat(path.data(), &status); }) < 0) return false;
  device = status.st_dev;
  return true;
}

// The path without its last name; empty when there is none to take away.
stringEx Parent(const stringEx& path) {
  const std::string_view text = path;
  const std::size_t nameEnd = text.find_last_not_of('/');
  if (nameEnd == std::string_view::npos) return {};
  const std::size_t slash = text.find_last_of('/', nameEnd);
  if (slash == std::string_view::npos) return {};
  return stringEx(text.substr(0, slash == 0 ? 1 : slash));
}

}  // namespace

void CDir::ConvToFullPath(stringEx& path) {
  if (path.empty()) {
    throw dirExp(stringEx::view("CDir::ConvToFullPath - nothing to convert"), dirCode::path);
  }
  if (path.starts_with("~/")) {
    const char* home = std::getenv("HOME");
    if (home != nullptr && *home != 0) path = Join(home, std::string_view(path).substr(2));
  }
  if (!path.starts_with("/")) path = Join(WorkingDir(), path);
}

stringEx CDir::GetPathVolume(const stringEx& path) {
  if (path.empty()) {
    throw dirExp(stringEx::view("CDir::GetPathVolume - path is empty"), dirCode::path);
  }
  stringEx volume(path.data(), path.length());
  ConvToFullPath(volume);
  // A file may have been removed while it is open: its folder is on the same volume.
  dev_t device{};
  while (!FindDevice(volume, device)) {
    volume = Parent(volume);
    if (volume.empty()) {
      throw dirExp(stringEx::view("CDir::GetPathVolume - volume not found"), dirCode::path);
    }
  }
  for (stringEx above = Parent(volume); !above.empty(); above = Parent(volume)) {
    dev_t aboveDevice{};
    if (!FindDevice(above, aboveDevice) || aboveDevice != device) break;
    volume = above;
  }
  return volume;
}

CDir::TOPOLOGY CDir::GetStorageTopology(const stringEx& volume) {
  const stringEx zeroEnded(volume.data(), volume.length());
  TOPOLOGY topology;
  if (const int error = IMPL::platform::VolumeSectorSize(zeroEnded.data(), &topology.sectorSize);
      error != 0) {
    CMessage("CDir::GetStorageTopology - failed retrieve storage's topology info\n")
        .Field("  volume     = ", volume)
        .Errno("  error code = ", "  error desc = ", error, topologyTexts)
        .Throw<dirExp>(dirCode::storage);
  }
  return topology;
}

}  // namespace Qorv
