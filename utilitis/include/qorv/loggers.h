// What turns log records into lines: of a file, a standard stream, a terminal.
#pragma once

#include <iosfwd>
#include <optional>
#include <string_view>

#include <qorv/file.h>
#include <qorv/log.h>

namespace Qorv {
namespace IMPL {

/// The time at the head of a line. The text of the present second is kept, so that most records only cost the digits
/// of their microseconds.
class CLineTime {
 public:
  /// `format` holds "%us" once; its text stays the caller's.
  explicit CLineTime(std::string_view format) noexcept;
  /// Appends what CTime::Format gives for the system's zone.
  void AppendTo(stringEx& line, CTime time);

 private:
  void Keep(CTime time, CTime second);

  const stringEx frontFormat_;
  const stringEx backFormat_;
  std::optional<CTime> second_;  // of which the texts are
  stringEx front_;               // up to the microseconds
  stringEx back_;
};

/// The line "[time][Level]   (channel) message" and a line feed, in a buffer that is used again for each record.
class CFileLine {
 public:
  CFileLine();
  /// The line stays good until the next call.
  const stringEx& Make(CTime time, std::int32_t level, const stringEx& channel, const stringEx& message);

 private:
  CLineTime time_;
  stringEx line_;
};

}  // namespace IMPL

/// One line of a file for each record, written with a single call, so that others who write to the file never
/// split it. A line that cannot be written is lost, and the next is tried again; nothing is reported. A line of which the
/// system takes a part, on a disk that has just filled up, stays in part.
///
/// `File` is CSysFile or CPeriodSysFile. The logger's copy shares the open file with the caller's object, which may
/// go.
template <class File>
class CFileLogger : public ILogger {
 public:
  explicit CFileLogger(const File& file) : file_(file) {}
  ~CFileLogger() noexcept override {
    try {
      file_.Close();
    } catch (...) {
    }
  }

  void Log(CTime time, std::int32_t level, const stringEx& channel, const stringEx& message) override {
    try {
      const stringEx& line = line_.Make(time, level, channel, message);
      file_.Write(line.data(), line.length());
    } catch (...) {
    }
  }
  void Flush() override {
    try {
      file_.Flush();
    } catch (...) {
    }
  }

 protected:
  File file_;

 private:
  IMPL::CFileLine line_;
};

/// The same over a file that changes with the calendar, by the time of the record and not that of writing. If the file
/// for that time cannot be opened, the line is lost.
template <class File>
class CPeriodFileLogger final : public CFileLogger<File> {
 public:
  using CFileLogger<File>::CFileLogger;

  void Log(CTime time, std::int32_t level, const stringEx& channel, const stringEx& message) override {
    try {
      this->file_.Update(time, false);
    } catch (...) {
      return;
    }
    CFileLogger<File>::Log(time, level, channel, message);
  }
};

/// Two lines and an empty one of a standard stream for each record, the message below the rest. Does not flush but
/// when asked.
class CStreamLogger final : public ILogger {
 public:
  /// The stream stays the caller's, who keeps it as long as the logger.
  explicit CStreamLogger(std::ostream& stream);
  void Log(CTime time, std::int32_t level, const stringEx& channel, const stringEx& message) override;
  void Flush() override;

 private:
  std::ostream& stream_;
  IMPL::CLineTime time_;
  stringEx line_;
};

/// The same on a terminal, in colour: all on the terminal's background number 6, the channel and the level's word each in
/// their own foreground. When the terminal fails in the middle of a record, the rest is lost.
class CTermLogger final : public ILogger {
 public:
  /// The terminal stays the caller's, who keeps it as long as the logger. Null: nothing is written.
  explicit CTermLogger(TTerminal* terminal);
  void Log(CTime time, std::int32_t level, const stringEx& channel, const stringEx& message) override;

 private:
  void WriteAll(std::int32_t level, const stringEx& channel, const stringEx& message, bool& isBegun);

  TTerminal* terminal_;
  IMPL::CLineTime time_;
  stringEx line_;
};

}  // namespace Qorv
