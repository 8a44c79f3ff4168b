// The front through which the library and its users log.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <limits>
#include <memory>
#include <string_view>
#include <vector>

#include <qorv/detail/handle.h>
#include <qorv/string.h>
#include <qorv/sync.h>
#include <qorv/time.h>

namespace Qorv {

/// Levels of records, ordered by number. A record passes when its level is at or above the current one. Notices
/// stand above errors on purpose: a log of errors shows them.
namespace logLevel {
inline constexpr std::int32_t debug = 0;
inline constexpr std::int32_t info = 1;
inline constexpr std::int32_t warning = 2;
inline constexpr std::int32_t error = 3;
inline constexpr std::int32_t notice = 4;
inline constexpr std::int32_t fatal = 5;
inline constexpr std::int32_t disabled = 6;  ///< as a current level; no record has it
}  // namespace logLevel

/// Turns records into output. A log calls it from one thread at a time, and nothing here may log through CLog. What
/// an operation throws is dropped by the log, and its loggers behind this one are served all the same.
class ILogger {
 public:
  ILogger() = default;
  ILogger(const ILogger&) = delete;
  ILogger& operator=(const ILogger&) = delete;
  virtual ~ILogger() = default;
  /// `time` is that of the record's acceptance.
  virtual void Log(CTime time, std::int32_t level, const stringEx& channel, const stringEx& message) = 0;
  virtual void Flush() {}
  /// The logging thread has ended. Called on that thread.
  virtual void OnThreadEnd() {}
};

/// Decides which of the records that pass by their level go to the loggers.
class ILogFilter {
 public:
  ILogFilter() = default;
  ILogFilter(const ILogFilter&) = delete;
  ILogFilter& operator=(const ILogFilter&) = delete;
  virtual ~ILogFilter() = default;
  /// True lets the record go on. Must not throw: the process ends then.
  virtual bool Passes(CTime time, std::int32_t level, const stringEx& channel,
                      const stringEx& message) noexcept = 0;
  virtual void OnThreadEnd() {}
};

using LoggerHandle = CHandle<ILogger>;
using LogFilterHandle = CHandle<ILogFilter>;

class CLog;
using LogHandle = CHandle<CLog>;

namespace IMPL {
class CLoggingThread;
}

/// A log: decides by level whether a record is wanted, stamps it with the time, and gives it to a stack of loggers, oldest
/// first, on the caller's thread or by way of a queue on a thread of its own.
///
/// mode        | record                              | Flush
/// ------------|-------------------------------------|-----------------------------------------------------
/// synchronous | served on the caller's thread       | flushes the loggers
/// threaded    | queued; a full queue blocks callers | waits until all is delivered, then flushes the loggers
///
/// Records of one thread keep their order. A record below the level, or of a log without loggers, is dropped
/// before its text is made. A record of level fatal is delivered and flushed when the call returns. No call that logs
/// ever throws: a record that cannot be made or posted is lost. A logger's own failure costs its own line.
///
/// In threaded mode the texts are shared with the caller until the record has been delivered: a view must be one of
/// text that lasts as long, as a literal does.
///
/// All operations may be called from any thread but the logging thread. Only what logs may be called there too, for the
/// sake of reports of faults in a logger: such a record goes to the loggers of that thread at once, past the queue.
/// A fault that this brings about is not reported. Lock order: the lock of the default log, the log's own, then those of
/// its thread; the logging thread takes only the last.
class CLog {
 public:
  /// `messageLimit`: the longest text of the printf forms, in characters; longer ones are cut without a mark. No loggers, no
  /// filter, no thread.
  CLog(std::int32_t level, std::uint32_t messageLimit);
  CLog(const CLog&) = delete;
  CLog& operator=(const CLog&) = delete;
  /// Delivers and flushes what is queued, as far as a stop of the thread does.
  ~CLog();

  void Write(std::int32_t level, const stringEx& channel, const stringEx& message) noexcept;
  void Debug(const stringEx& channel, const stringEx& message) noexcept {
    Write(logLevel::debug, channel, message);
  }
  void Info(const stringEx& channel, const stringEx& message) noexcept {
    Write(logLevel::info, channel, message);
  }
  void Warning(const stringEx& channel, const stringEx& message) noexcept {
    Write(logLevel::warning, channel, message);
  }
  void Error(const stringEx& channel, const stringEx& message) noexcept {
    Write(logLevel::error, channel, message);
  }
  void Notice(const stringEx& channel, const stringEx& message) noexcept {
    Write(logLevel::notice, channel, message);
  }
  void Fatal(const stringEx& channel, const stringEx& message) noexcept {
    Write(logLevel::fatal, channel, message);
  }

  [[gnu::format(printf, 4, 5)]] void Write(std::int32_t level, const char* channel, const char* format,
                                           ...) noexcept;
  [[gnu::format(printf, 3, 4)]] void Debug(const char* channel, const char* format, ...) noexcept;
  [[gnu::format(printf, 3, 4)]] void Info(const char* channel, const char* format, ...) noexcept;
  [[gnu::format(printf, 3, 4)]] void Warning(const char* channel, const char* format, ...) noexcept;
  [[gnu::format(printf, 3, 4)]] void Error(const char* channel, const char* format, ...) noexcept;
  [[gnu::format(printf, 3, 4)]] void Notice(const char* channel, const char* format, ...) noexcept;
  [[gnu::format(printf, 3, 4)]] void Fatal(const char* channel, const char* format, ...) noexcept;

  /// logExp, code 5, for an empty handle.
  void PushLogger(const LoggerHandle& logger);
  /// Takes the newest off the stack. logExp, code 1, if there is none.
  LoggerHandle PopLogger();
  /// Takes the oldest entry with this object off the stack; false if there is none.
  bool RemoveLogger(const LoggerHandle& logger);
  bool FindLogger(const LoggerHandle& logger) const;
  bool HasLoggers() const;
  std::size_t LoggerCount() const;
  void GetLoggers(std::vector<LoggerHandle>& loggers) const;
  /// Replaces the whole stack. logExp, code 5, for an empty handle among them.
  void SetLoggers(std::vector<LoggerHandle> loggers);
  void SetFilter(LogFilterHandle filter);
  LogFilterHandle GetFilter() const;
  bool HasFilter() const;

  /// Starts or stops the logging thread; `bound` is the number of records that its queue takes, at least 1. True if that
  /// is the state now. All records posted before a stop are delivered by it, unless it returns false.
  bool EnableThread(bool enable, std::uint32_t bound);
  bool IsThreaded() const;
  /// In threaded mode waits without a limit. Where no record has been delivered yet, or the filter has stopped the one
  /// posted last, this waits for the next that it lets through; others can post meanwhile. Without loggers none can come,
  /// and none is awaited.
  void Flush() noexcept;

  // The default log of the process. While there is none, each call that logs is a quiet no-op. On the logging thread of any
  // log they are calls on that log.

  static LogHandle GetDefault();
  /// Whether a record of this level reaches a logger of the default log. Takes no lock, for handlers of faults.
  static bool Reaches(std::int32_t level) noexcept {
    return IsLevelEnabled(level) && defaultHasLoggers_.load(std::memory_order_relaxed);
  }
  /// The one before is released, and if this was its last handle delivers what is queued, inside this call. The exit of the
  /// process releases the last one. Both throw what FASTKSV_PCLOCK throws.
  static void SetDefault(LogHandle log);

  static void GWrite(std::int32_t level, const stringEx& channel, const stringEx& message) noexcept {
    if (IsLevelEnabled(level)) PostToDefault(level, channel, message);
  }
  static void GDebug(const stringEx& channel, const stringEx& message) noexcept {
    GWrite(logLevel::debug, channel, message);
  }
  static void GInfo(const stringEx& channel, const stringEx& message) noexcept {
    GWrite(logLevel::info, channel, message);
  }
  static void GWarning(const stringEx& channel, const stringEx& message) noexcept {
    GWrite(logLevel::warning, channel, message);
  }
  static void GError(const stringEx& channel, const stringEx& message) noexcept {
    GWrite(logLevel::error, channel, message);
  }
  static void GNotice(const stringEx& channel, const stringEx& message) noexcept {
    GWrite(logLevel::notice, channel, message);
  }
  static void GFatal(const stringEx& channel, const stringEx& message) noexcept {
    GWrite(logLevel::fatal, channel, message);
  }

  [[gnu::format(printf, 3, 4)]] static void GWrite(std::int32_t level, const char* channel,
                                                   const char* format, ...) noexcept;
  [[gnu::format(printf, 2, 3)]] static void GDebug(const char* channel, const char* format, ...) noexcept;
  [[gnu::format(printf, 2, 3)]] static void GInfo(const char* channel, const char* format, ...) noexcept;
  [[gnu::format(printf, 2, 3)]] static void GWarning(const char* channel, const char* format, ...) noexcept;
  [[gnu::format(printf, 2, 3)]] static void GError(const char* channel, const char* format, ...) noexcept;
  [[gnu::format(printf, 2, 3)]] static void GNotice(const char* channel, const char* format, ...) noexcept;
  [[gnu::format(printf, 2, 3)]] static void GFatal(const char* channel, const char* format, ...) noexcept;

  static void GFlush() noexcept;
  /// For a process that is about to end: waits for what has been posted, and never for a record still to come.
  static void GFlushLast() noexcept;

  /// Whether the level is at or above the current one; false while there is no default log. For callers that want to
  /// skip the building of a costly message.
  static bool IsLevelEnabled(std::int32_t level) noexcept {
    return level >= defaultLevel_.load(std::memory_order_relaxed);
  }
  /// logLevel::disabled while there is no default log.
  static std::int32_t GetLevel() noexcept;
  static void SetLevel(std::int32_t level);
  /// Disables the default log and remembers its level; Unmute sets it back, unless that is disabled too. Without a
  /// Mute before, Unmute sets level debug. That is meant.
  static void Mute();
  static void Unmute();

  /// "info" and so on; "unknown" for a number that is no level.
  static const char* LevelName(std::int32_t level) noexcept;

  /// Logs a failed check of the program itself as fatal on channel "debugger" and ends the process with status 255. It
  /// does not unwind and runs no exit handlers.
  [[noreturn]] static void ReportAssertion(const char* expression, const char* file, std::uint32_t line,
                                           const char* description, const char* compileDate,
                                           const char* compileTime, const char* modified) noexcept;

 private:
  friend class IMPL::CLoggingThread;
  struct DEFAULTLOG;

  bool Wants(std::int32_t level) const noexcept;
  void WriteText(std::int32_t level, const char* channel, const char* format,
                 std::va_list arguments) noexcept;
  bool Post(std::int32_t level, const stringEx& channel, const stringEx& message) noexcept;
  bool PostText(std::int32_t level, const char* channel, const char* format, std::va_list arguments) noexcept;
  bool PostShort(std::int32_t level, const char* channel, std::string_view text);
  void Flush(bool awaitsNext) noexcept;
  bool Deliver(CTime time, std::int32_t level, const stringEx& channel, const stringEx& message);
  template <class Step>
  void ForEachLogger(Step step) noexcept;
  void FlushLoggers() noexcept;
  void TellThreadEnd() noexcept;
  template <class Change>
  void Restack(Change change);
  bool StartThread(std::uint32_t bound) noexcept QORV_REQUIRES(lock_);
  bool StopThread() noexcept QORV_REQUIRES(lock_);

  template <class PostIt>
  static void WithDefault(std::int32_t level, PostIt post) noexcept;
  static void GWriteText(std::int32_t level, const char* channel, const char* format,
                         std::va_list arguments) noexcept;
  static void PostToDefault(std::int32_t level, const stringEx& channel, const stringEx& message) noexcept;

  // The level of the default log, above all others while there is none: a record below it costs a single read.
  static constexpr std::int64_t aboveAll = std::numeric_limits<std::int64_t>::max();
  static std::atomic<std::int64_t> defaultLevel_;
  static std::atomic<const CLog*> default_;  // to be compared only
  static std::atomic<bool> defaultHasLoggers_;

  // Loggers and filter are also read by the logging thread, under its dispatch lock, which whoever changes them takes as
  // well.
  std::vector<LoggerHandle> loggers_;  // oldest first
  const std::uint32_t messageLimit_;
  std::atomic<std::int32_t> level_;
  std::atomic<bool> hasLoggers_{false};  // for those who do not hold the lock
  LogFilterHandle filter_;
  std::unique_ptr<IMPL::CLoggingThread> thread_ QORV_GUARDED_BY(lock_);  // null: synchronous
  // Of formatted records before, to be used again.
  stringEx channel_ QORV_GUARDED_BY(lock_);
  stringEx messages_[64] QORV_GUARDED_BY(lock_);
  std::uint32_t nextMessage_ QORV_GUARDED_BY(lock_) = 0;
  mutable FASTKSV_PCLOCK lock_;
};

}  // namespace Qorv
