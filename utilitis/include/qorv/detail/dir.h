// Directories and paths.
#pragma once

#include <cstdint>

#include <qorv/error.h>
#include <qorv/string.h>

namespace Qorv {

/// Directory and path services. All failures are dirExp.
class CDir {
 public:
  /// What GetStorageTopology tells of a volume, in bytes.
  struct TOPOLOGY {
    std::uint32_t sectorSize = 0;
  };

  /// Makes `path` absolute in place: "~/" is expanded from HOME, where that is set, and a relative path is
  /// joined to the working directory. Nothing else of it changes. Code 1: an empty path, a working directory
  /// that is gone.
  static void ConvToFullPath(stringEx& path);
  /// The top of the volume that holds `path`, as GetStorageTopology takes it. The path need not exist: its
  /// nearest existing parent counts. Code 1.
  static stringEx GetPathVolume(const stringEx& path);
  /// The layout of the volume that holds `volume`, any existing path on it. Where no block device stands
  /// behind the volume the sector size is its smallest unit of allocation. Code 2.
  static TOPOLOGY GetStorageTopology(const stringEx& volume);
};

}  // namespace Qorv
