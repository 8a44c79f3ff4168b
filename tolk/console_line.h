// The progress line and the guard of all console output.
#pragma once

#include <cstdint>

#include <qorv/file.h>
#include <qorv/string.h>
#include <qorv/sync.h>

/// The one line on the terminal that is rewritten, and the way past it for everything else that the threads
/// of a run write. Any thread may call. Failures are those of CConsoleTerm.
class CConsoleLine {
 public:
  /// Takes the window's width once. Throws where the process has no controlling terminal.
  CConsoleLine();

  /// Wipes the progress line and writes one piece.
  void WriteGuarded(const Qorv::stringEx& piece);
  /// Puts `line` in the place of the progress line, cut to the window's width so that it never wraps: back
  /// spaces cannot go back over a line break.
  void ShowProgress(const Qorv::stringEx& line);

 private:
  void EraseLine() QORV_REQUIRES(lock_);

  Qorv::stringEx lastLine_ QORV_GUARDED_BY(lock_);  // what the progress line shows now
  Qorv::stringEx eraseText_ QORV_GUARDED_BY(lock_);
  Qorv::CConsoleTerm term_;
  std::uint16_t width_;  // columns less 1
  Qorv::FASTKSV_PCLOCK lock_;
};
