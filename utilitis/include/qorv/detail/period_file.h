// A file that changes its name with the calendar.
#pragma once

#include <cstdint>
#include <optional>

#include <qorv/detail/sys_file.h>

namespace Qorv {

/// How long a CPeriodSysFile stays with one file. Any other number is as none.
namespace filePeriod {
inline constexpr std::uint32_t none = 0;
inline constexpr std::uint32_t hour = 1;
inline constexpr std::uint32_t day = 2;
inline constexpr std::uint32_t week = 3;
inline constexpr std::uint32_t month = 4;
inline constexpr std::uint32_t year = 5;
inline constexpr std::uint32_t century = 6;
}  // namespace filePeriod

/// A file of a series, one for each hour, day and so on of the system's zone, that keeps so many of them.
///
/// Copies share the open file and go ways of their own at their next Update. No lock: the calls on one object
/// come one at a time.
class CPeriodSysFile : public CSysFile {
 public:
  /// Nothing is opened before the first Update. `prefix` is the first part of all names with its folder, `suffix`
  /// the last. A `keep` below 1 or of 2147483647 keeps all files. `mode` is that of a stdio stream: "r", "w" or
  /// "a", with "+" for both ways, "b" and "t" without effect, "x" to create anew, "e" as always.
  CPeriodSysFile(std::uint32_t period, std::int32_t keep, const stringEx& prefix, const stringEx& suffix,
                 const stringEx& mode = stringEx::view("a"));
  CPeriodSysFile(std::uint32_t period, std::int32_t keep, const wstringEx& prefix, const wstringEx& suffix,
                 const stringEx& mode = stringEx::view("a"));

  /// The name of the file for `time`: prefix, the text below and suffix; "Invalid_Period_File_Name" where all
  /// are empty.
  ///
  /// period  | text
  /// --------|-----------------------------
  /// hour    | "2026-11-23_08"
  /// day     | "2026-11-23"
  /// week    | "2026-Week48", by CTime's %wm
  /// month   | "2026-11"
  /// year    | "2026"
  /// century | "Century-2026"
  static stringEx MakeName(CTime time, std::uint32_t period, const stringEx& prefix, const stringEx& suffix);
  static wstringEx MakeName(CTime time, std::uint32_t period, const wstringEx& prefix,
                            const wstringEx& suffix);

  /// Makes sure that the file for `time` is open: opens it if this is the first call, if `time` lies in another
  /// period than that of the call before, be it an earlier one, or if `force` is set. Then the files of the series
  /// with the lowest names go until so many are left as are to be kept; one that cannot be removed stays, without
  /// a word. All files in the folder whose names begin with the prefix and end with the suffix are of the series, whatever
  /// stands between. Failures are those of CSysFile::Open, code 4 also for a mode that is none; the file is closed then, and
  /// stays so for the rest of the period. A file before that cannot be closed is reported, code 6, when the new one is open.
  void Update(CTime time, bool force);
  /// The next Update opens a file, whatever the time.
  void Close();

 private:
  bool IsSamePeriod(CTime time) const noexcept;
  void Purge() const noexcept;

  std::uint32_t period_;
  std::int32_t keep_;
  std::optional<CTime> current_;  // for which the file was chosen
  stringEx prefix_;
  stringEx suffix_;
  stringEx mode_;
};

}  // namespace Qorv
