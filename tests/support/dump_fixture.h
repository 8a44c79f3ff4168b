// The ground on which the built tool is tested: a folder with a source of known content, faults to put under
// it, one run of the real program, and judgements of what came of it. Each operation is a verb, so that a
// case reads as a sentence.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "support/row_name.h"
#include "support/terminal_run.h"

namespace TestSupport {

/// The byte of every source at `position`.
unsigned char SourceByte(std::int64_t position);
/// `length` bytes of a source from `position`.
std::string SourceBytes(std::int64_t position, std::int64_t length);

/// One call that the fault shim has seen.
struct CALL {
  std::string label;      ///< "source" or "target"
  std::string op;         ///< "open", "read", "write" or "seek"
  std::int64_t position;  ///< where a read or write took place; the offset of a seek
  std::int64_t length;    ///< bytes asked for; the whence of a seek; the flags of an open
  std::int64_t result;    ///< minus errno for a failure
};

/// Bytes `from` to `to` - 1 of a file.
struct BYTES {
  std::int64_t from;
  std::int64_t to;
};

/// One record of the run's log. The text is whole, with its line breaks.
struct RECORD {
  std::string level;    ///< as the line has it, "Warning"
  std::string channel;  ///< "trd.reader"
  std::string text;
};

/// What a table row asks of one run.
struct RUNOPTIONS {
  std::string key = "y";             ///< pressed at the prompt
  std::vector<ANSWER> answers = {};  ///< behind that
  std::uint16_t columns = 80;
  bool hasTerminal = true;
  bool splitErrors = false;
  bool unprivileged = false;
  bool hasFaults = true;                                ///< with the fault shim
  int signal = 0;                                       ///< ends the run
  long clockRate = 1;                                   ///< how many times as fast the tick count runs
  std::function<void(std::string_view)> onScreen = {};  ///< sees each piece of the screen as it comes
};

class DumpTest : public ::testing::Test {
 protected:
  static constexpr std::int64_t sector = 512;

  DumpTest();
  ~DumpTest() override;

  // The ground. Without other words a source has sectors of 512 bytes.
  void WriteSource(std::int64_t sectors) { WriteSourceBytes(sectors * sector); }
  void WriteSourceBytes(std::int64_t bytes);
  /// A target from before, full of one byte.
  void WriteOldTarget(std::int64_t bytes, char content);
  /// Puts the folder of the run below `parent`. Before the first Write.
  void UseFolderBelow(const std::filesystem::path& parent);

  // The faults.
  void BadSector(std::int64_t number) { BadBytes(number * sector, (number + 1) * sector); }
  void BadBytes(std::int64_t from, std::int64_t to);
  /// The first `tries` reads that touch the sector fail, then it reads well.
  void HealsAfter(std::int64_t number, int tries);
  /// A rule of the fault shim for the source or the target.
  void SourceFault(const std::string& rule) { sourceRules_ += rule + '\n'; }
  void TargetFault(const std::string& rule) { targetRules_ += rule + '\n'; }
  void LogFault(const std::string& rule) { logRules_ += rule + '\n'; }
  void ForgetFaults();

  // The run. Source, target and log file of the folder are given unless `arguments` name others; the prompt is
  // answered once. A run that does not end, or that an unexpected signal ends, is a failure of the test by itself.
  void Run(std::vector<std::string> arguments, const RUNOPTIONS& options = {});
  /// Exactly these arguments.
  void RunBare(const std::vector<std::string>& arguments, const RUNOPTIONS& options = {});

  /// The program that makes single calls on the source, under the fault shim.
  void RunProbe(const std::string& probe, const std::string& calls);

  // The judgements.
  void ExpectStatus(int status) const;
  /// The screen between the prompt's answer and the end, without the progress lines, whole.
  void ExpectReports(const std::string& text) const;
  void ExpectScreenHas(const std::string& text) const;
  /// Standard error, whole; only where it was kept apart.
  void ExpectErrors(const std::string& text) const;
  /// The target is the source byte by byte, but for what is `filled`, and has the source's size or that
  /// given.
  void ExpectGoodBytes(const std::vector<BYTES>& filled = {}, unsigned char fill = 0,
                       std::int64_t size = -1) const;
  /// `length` bytes of the target at `targetPosition` are those of the source from `sourcePosition`.
  void ExpectCopied(std::int64_t targetPosition, std::int64_t sourcePosition, std::int64_t length) const;
  void ExpectTargetBytes(std::int64_t position, std::int64_t length, unsigned char byte) const;
  void ExpectTargetSize(std::int64_t bytes) const;
  void ExpectNoTarget() const { EXPECT_FALSE(std::filesystem::exists(Target())); }

  /// Of the records on this channel, each as "Level: text" with a line break. Process and
  /// thread numbers read "N", and times and dates as on the screen.
  void ExpectLog(std::string_view channel, const std::string& records) const;

  // What the run left, for judgements of a single test.
  const RUNRESULT& Result() const { return result_; }
  /// The screen as the operator sees it in the end: what was wiped is gone, and the time taken reads
  /// "HH:MM:SS".
  std::string Screen() const;
  std::string TargetBytes() const;
  std::vector<RECORD> Log() const;
  std::vector<CALL> Calls() const;
  std::vector<CALL> Calls(std::string_view label, std::string_view op) const;
  std::int64_t SourceSize() const { return sourceSize_; }

  std::filesystem::path Folder() const { return folder_; }
  std::string Source() const { return folder_ / "source"; }
  std::string Target() const { return folder_ / "target"; }
  std::string LogFile() const { return folder_ / "run.log"; }

 private:
  void Launch(RUNSPEC& spec, const RUNOPTIONS& options);
  void WriteFaultPlan() const;
  std::string FaultLog() const { return folder_ / "faults.log"; }

  std::filesystem::path folder_;
  std::int64_t sourceSize_ = 0;
  std::string sourceRules_;
  std::string targetRules_;
  std::string logRules_;
  RUNRESULT result_;
};

/// Without what differs from run to run: process and thread numbers, times, dates.
std::string Neutral(std::string text);

/// The text that stands for a failed system call on `path`.
std::string OpenFailure(const std::string& path, int number, std::string_view description);
std::string ReadFailure(const std::string& path, int number, std::string_view description);
std::string WriteFailure(const std::string& path, int number, std::string_view description);

}  // namespace TestSupport
