// Volumes: which of them holds a path, their room and their layout.
#include <sys/statvfs.h>

#include <climits>
#include <cstdlib>
#include <limits>
#include <memory>

#include <qorv/file.h>

#include "error/message.h"
#include "file/dir_common.h"
#include "file/dir_volume_table.h"
#include "misc/posix/platform.h"

namespace Qorv {
namespace {

using IMPL::CMessage;
using IMPL::ParentPath;
using IMPL::PathForSystem;

constexpr IMPL::ErrnoText topologyTexts[] = {
    {ENOENT, "volume not exists"},
    {EACCES, "permission denied"},
    {ENOTDIR, "path prefix is not a valid directory"},
};

constexpr IMPL::ErrnoText spaceTexts[] = {
    {ENOENT, "path not exists"},
    {EACCES, "permission denied"},
    {ENOTDIR, "path prefix is not a valid directory"},
    {ELOOP, "a loop exists in symbolic links, or too many level of links"},
    {ENAMETOOLONG, "path name is too long"},
    {EIO, "io error occurred while reading from the file system"},
    {EOVERFLOW, "some fields cannot be represented correctly in the structure"},
};

// The absolute path without links; empty if it does not exist.
stringEx RealPath(const stringEx& path) {
  const std::unique_ptr<char, void (*)(void*)> real(::realpath(path.data(), nullptr), &std::free);
  return real == nullptr ? stringEx() : stringEx(real.get());
}

// The highest parent on the same device.
stringEx DeviceTop(stringEx path) {
  struct stat status;
  if (::stat(path.data(), &status) < 0) return path;
  for (stringEx above = ParentPath(path); !above.empty(); above = ParentPath(path)) {
    struct stat aboveStatus;
    if (::stat(above.data(), &aboveStatus) < 0 || aboveStatus.st_dev != status.st_dev) break;
    path = above;
  }
  return path;
}

std::uint64_t Bytes(std::uint64_t blocks, std::uint64_t blockSize) noexcept {
  constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
  return blockSize != 0 && blocks > most / blockSize ? most : blocks * blockSize;
}

}  // namespace

stringEx CDir::GetPathVolume(const stringEx& path) {
  if (path.empty()) {
    throw dirExp(stringEx::view("CDir::GetPathVolume - path is empty"), dirCode::path);
  }
  stringEx existing(path.data(), path.length());
  ConvToFullPath(existing);
  existing = PathForSystem(existing);
  // A file may have been removed while it is open: its folder is on the same volume.
  stringEx real;
  while (!existing.empty() && (real = RealPath(existing)).empty())
    existing = ParentPath(existing);
  if (real.empty()) {
    throw dirExp(stringEx::view("CDir::GetPathVolume - volume not found"), dirCode::path);
  }
  const IMPL::VOLUMETABLE table = IMPL::ReadVolumeTable();
  const stringEx volume = IMPL::FindMountPoint(table.mountPoints, real);
  return volume.empty() || table.isCut ? DeviceTop(std::move(real)) : volume;
}

CDir::TOPOLOGY CDir::GetStorageTopology(const stringEx& volume) {
  const stringEx own = PathForSystem(volume);
  TOPOLOGY topology;
  if (const int error = IMPL::platform::VolumeSectorSize(own.data(), &topology.sectorSize); error != 0) {
    CMessage("CDir::GetStorageTopology - failed retrieve storage's topology info\n")
        .Field("  volume     = ", volume)
        .Errno("  error code = ", "  error desc = ", error, topologyTexts)
        .Throw<dirExp>(dirCode::storage);
  }
  return topology;
}

CDir::SPACEINFO CDir::GetSpaceInfo(const stringEx& path) {
  const stringEx own = PathForSystem(path);
  struct statvfs volume;
  if (IMPL::RetryOnEintr([&] { return ::statvfs(own.data(), &volume); }) < 0) {
    const int error = errno;
    CMessage("CDir::GetSpaceInfo - failed retrieve space info\n")
        .Field("  path       = ", path)
        .Errno("  error code = ", "  error desc = ", error, spaceTexts)
        .Throw<dirExp>(dirCode::storage);
  }
  const std::uint64_t unit = volume.f_frsize;
  return {Bytes(volume.f_blocks, unit), Bytes(volume.f_bfree, unit), Bytes(volume.f_bavail, unit)};
}

}  // namespace Qorv
