// From options to the parameters of a run.
#pragma once

#include <cstdint>

#include <qorv/file.h>
#include <qorv/string.h>

class CCmdLineArgs;

/// The parameters of a run. Sizes and positions are in bytes.
struct DUMPPARAM {
  Qorv::stringEx from;                ///< source path
  Qorv::stringEx to;                  ///< target path
  std::uint64_t sectorSize = 0;       ///< the smallest unit that is read
  std::uint64_t medSize = 0;          ///< the middle read, a multiple of sectorSize
  std::uint64_t blockSize = 0;        ///< the large read, a multiple of sectorSize
  std::uint32_t maxBuffer = 0;        ///< queue limit in blocks, at least 1
  std::uint32_t maxRetries = 0;       ///< retries for one sector
  std::uint8_t fillByte = 0;          ///< stands in for an unreadable sector
  std::uint32_t coolWorkMinutes = 0;  ///< work phase of the cooling duty cycle
  std::uint32_t coolRestMinutes = 0;  ///< its rest phase; cooling is on if both are not 0
  bool aligned = false;               ///< write at the source offset
  std::int64_t sourceSize = 0;
  bool hasSize = false;       ///< the source told its size; one that does not counts as one sector long
  std::int64_t beginPos = 0;  ///< first byte to dump
  std::int64_t endPos = 0;    ///< byte behind the last one to dump

  bool IsCooling() const noexcept { return coolWorkMinutes != 0 && coolRestMinutes != 0; }
};

/// Opens a run's source: read-only, unlocked, uncached where the system grants that.
void OpenSource(Qorv::CSysFile& source, const Qorv::stringEx& path);

/// Works the parameters out from the options. Bad options are mended and a warning is logged; a source that
/// cannot be opened, cannot be sought in or is a directory throws sysfileExp. The target is not touched.
DUMPPARAM MakePlan(const CCmdLineArgs& args);

/// The parameters as the operator is shown them before the run, without a line end.
Qorv::stringEx MakeSummary(const DUMPPARAM& param);
