// Real errors from a real kernel: a file system with bad sectors, and a block device on top of it.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>

namespace TestSupport {

/// Why no faulty disk can be made here; nothing where it can.
std::optional<std::string> WhyNoFaultyDisk();

/// A copy of an image whose bad sectors answer EIO, as a file and as a block device. Nothing of it outlives
/// the process, however that ends: the mount stands in a mount namespace of the process's own, the file
/// system's process dies with it, and the device goes with the descriptor that made it. Throws
/// std::system_error.
class CFaultyDisk {
 public:
  /// `image` stays unchanged; the mount goes on the new folder `mountPoint`.
  CFaultyDisk(const std::filesystem::path& image, const std::filesystem::path& mountPoint,
              const std::set<std::int64_t>& badSectors, std::uint32_t sectorSize);
  CFaultyDisk(const CFaultyDisk&) = delete;
  CFaultyDisk& operator=(const CFaultyDisk&) = delete;
  ~CFaultyDisk();

  std::string File() const { return mountPoint_ / "disk"; }
  const std::string& Device() const { return device_; }

 private:
  void Mount(const std::filesystem::path& image, const std::set<std::int64_t>& badSectors);
  void AttachDevice();

  std::filesystem::path mountPoint_;
  std::uint32_t sectorSize_;
  pid_t server_ = -1;
  int deviceDescriptor_ = -1;
  std::string device_;
};

}  // namespace TestSupport
