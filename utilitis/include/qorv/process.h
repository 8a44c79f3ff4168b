// What a process can ask about itself and its machine, and how it ends when nothing else is left.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>

#include <qorv/string.h>

namespace Qorv {

/// Priorities of a process.
namespace processPriority {
inline constexpr std::uint32_t idle = 0;  ///< nice value 20, or the largest that the system has
inline constexpr std::uint32_t low = 1;   ///< nice value 10; no option of the tool has a word for it
inline constexpr std::uint32_t belowNormal = 2;
inline constexpr std::uint32_t normal = 3;
inline constexpr std::uint32_t aboveNormal = 4;
inline constexpr std::uint32_t high = 5;
inline constexpr std::uint32_t realtime = 6;  ///< nice value -20
}  // namespace processPriority

/// A process of the system. Copies stand for the same process. No lock: one object is used by one thread at a time, copies
/// by as many as you like.
class CProcess {
 public:
  /// The running process.
  CProcess();

  /// `number` is one of processPriority. Returns what setpriority returns: -1, with errno, where the right to it is
  /// missing, and for a number that is none. procExp, code 0, if the scheduling policy cannot be set. The nice
  /// value is that of all threads; where the policy belongs to a thread, its priority is that of the first.
  int SetPriority(std::uint32_t number);

  static std::uint32_t GetCurrentPid() noexcept;
  /// The command line of the running process: its arguments, joined by blanks, those with white space in double
  /// quotes. A line of one argument alone is given as it is. Empty if it cannot be read.
  static void GetCommandLine(stringEx& out);
  /// Memory of the machine, in bytes. Every pointer may be null; a figure that cannot be had is stored as all
  /// ones. All null makes no system call. Never throws.
  static void GetSysMemInfo(std::uint64_t* totalPhys, std::uint64_t* freePhys, std::uint64_t* totalVirt,
                            std::uint64_t* freeVirt) noexcept;

 private:
  static void SetSchedParam(pid_t pid, int policy, std::uint32_t number);

  std::shared_ptr<const pid_t> pid_;
};

/// What the machine and its system are. Codes stand for the names that the functions below give.
struct PLATFORMINFO {
  std::uint32_t family = 0;
  std::uint32_t product = 0;
  std::uint32_t edition = 0;  ///< 0 where there is none
  std::uint32_t version[2] = {};
  std::uint32_t serviceLevel[2] = {};
  stringEx versionText;
  std::uint32_t pageSize = 0;  ///< bytes; 0 where the system does not tell
  std::uint32_t processor = 0;
  std::uint32_t systemWidth = 0;  ///< bits
  bool isMultiProcessor = false;
};

/// The machine and the build in words. What cannot be had is 0 or "<Unknown>"; nothing here fails but for want of memory.
class CPlatform {
 public:
  /// Filled on the first call, and only read from then on, by any thread.
  static const PLATFORMINFO& GetInfo();

  static const char* FamilyName(std::uint32_t code) noexcept;
  static const char* ProductName(std::uint32_t code) noexcept;
  static const char* EditionName(std::uint32_t code) noexcept;
  static const char* ProcessorName(std::uint32_t code) noexcept;

  /// Bits for which the program was built.
  static std::uint32_t GetTargetWidth() noexcept;
  /// Microseconds since the system's start.
  static std::int64_t GetUptime() noexcept;
  /// All of it as text of several lines, without a line break at the end.
  static stringEx Report();
  static stringEx CompilerText();
  static stringEx BuildOptionText();
};

/// Flushes the default log, if asked to, as CLog::GFlushLast does, and ends the process at once with status 255: nothing is unwound, no
/// destructor and no exit handler runs.
[[noreturn]] void FatalExit(bool flush) noexcept;

}  // namespace Qorv
