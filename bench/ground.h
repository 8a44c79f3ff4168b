// The ground on which the contestants run: a folder with a source of known content, a plan of faults, and the
// judgement of an image.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Bench {

inline constexpr std::int64_t sectorSize = 512;
inline constexpr std::int64_t mebibyte = std::int64_t{1} << 20;

using ENVIRONMENT = std::map<std::string, std::string>;

/// Sectors of the source that cannot be read, in order.
using BADSECTORS = std::vector<std::int64_t>;

/// `count` single sectors all over a source of `size` bytes, the same at every call.
BADSECTORS Scattered(std::int64_t count, std::int64_t size);
/// `count` sectors in one run in the middle of a source of `size` bytes.
BADSECTORS InOneRun(std::int64_t count, std::int64_t size);

/// A folder that is emptied when it is taken and removed in the end; what a run has left that was broken off
/// is thus gone with the next one. Failures are exceptions of the standard library.
class CGround {
 public:
  /// Makes a source of `size` bytes, a multiple of one MiB, in the folder "tolk-bench" below `parent`. Throws
  /// if another process is using that folder.
  CGround(const std::filesystem::path& parent, std::int64_t size);
  CGround(const CGround&) = delete;
  CGround& operator=(const CGround&) = delete;
  ~CGround();

  const std::filesystem::path& Folder() const { return folder_; }
  std::string Source() const { return folder_ / "source"; }
  std::string Target() const { return folder_ / "target"; }
  std::int64_t Size() const { return size_; }

  void RemoveTarget() const;
  /// Leaves the target's memory or disk space in place, but wrong bytes all over it, so that what an earlier
  /// run has left cannot pass for a copy.
  void SpoilTarget() const;
  /// Brings both files to the disk and out of the system's memory.
  void DropCaches() const;
  /// Brings the target to the disk.
  void SyncTarget() const;

  /// What a program needs around it to find these sectors bad. `rules` are further lines of the fault shim's
  /// plan.
  ENVIRONMENT Faults(const std::string& name, const BADSECTORS& bad, const std::string& rules = {}) const;

  /// Bytes of the target that differ from the source. At a bad sector every byte must be `fill`; without one
  /// these sectors are not looked at.
  std::int64_t WrongBytes(const BADSECTORS& bad, std::optional<unsigned char> fill) const;

 private:
  void Lock();
  void MakeSource() const;

  std::filesystem::path folder_;
  int lock_ = -1;
  std::int64_t size_;
};

}  // namespace Bench
