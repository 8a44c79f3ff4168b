// The default log of the process.
#include <cstdlib>

#include <qorv/detail/lasting.h>
#include <qorv/log.h>
#include <qorv/process.h>

#include "error/message.h"
#include "log/logging_thread.h"

namespace Qorv {
namespace {

using Guard = IMPL::CSafeScopeLock<FASTKSV_PCLOCK>;

// Delivers and flushes what is queued when the process exits in order.
void ReleaseDefault() {
  try {
    const LogHandle log = CLog::GetDefault();
    CLog::SetDefault({});
    if (log) log->EnableThread(false, 2147483647);  // others may keep a handle beyond this one
  } catch (...) {
  }
}

}  // namespace

struct CLog::DEFAULTLOG {
  FASTKSV_PCLOCK lock;
  LogHandle log;
  std::int32_t remembered = logLevel::debug;  // by Mute

  static DEFAULTLOG& Get() noexcept {
    static constinit IMPL::CLasting<DEFAULTLOG> instance;
    return instance.object;
  }
};

constinit std::atomic<std::int64_t> CLog::defaultLevel_{aboveAll};
constinit std::atomic<const CLog*> CLog::default_{nullptr};
constinit std::atomic<bool> CLog::defaultHasLoggers_{false};

LogHandle CLog::GetDefault() {
  Guard guard(DEFAULTLOG::Get().lock);
  return DEFAULTLOG::Get().log;
}

// The exit handler comes before the end of all static objects that were there before the first log, and that its loggers
// may use.
void CLog::SetDefault(LogHandle log) {
  DEFAULTLOG& current = DEFAULTLOG::Get();
  Guard guard(current.lock);
  if (current.log == log) return;
  [[maybe_unused]] static const int isRegistered = std::atexit(ReleaseDefault);
  if (log) {
    Guard loggers(log->lock_);
    default_ = log.Get();
    defaultHasLoggers_ = log->hasLoggers_.load();
  } else {
    default_ = nullptr;
    defaultHasLoggers_ = false;
  }
  defaultLevel_ = log ? log->level_.load() : aboveAll;
  std::swap(current.log, log);
  log = {};  // delivers what is queued, still under the lock
}

// Calls `post` on the default log, if there is one. The lock is kept through formatting and posting. A logging thread
// stays with its own log: somebody who holds the lock may be waiting for it.
template <class PostIt>
void CLog::WithDefault(std::int32_t level, PostIt post) noexcept {
  try {
    if (CLog* const served = IMPL::CLoggingThread::ServedLog()) {
      if (post(*served) && level == logLevel::fatal) served->Flush(false);
      return;
    }
    LogHandle fatal;
    {
      Guard guard(DEFAULTLOG::Get().lock);
      const LogHandle& log = DEFAULTLOG::Get().log;
      if (!log || !post(*log)) return;
      if (level == logLevel::fatal) fatal = log;
    }
    if (fatal) fatal->Flush(false);
  } catch (...) {
  }
}

void CLog::PostToDefault(std::int32_t level, const stringEx& channel, const stringEx& message) noexcept {
  WithDefault(level, [&](CLog& log) { return log.Post(level, channel, message); });
}

void CLog::GWriteText(std::int32_t level, const char* channel, const char* format,
                      std::va_list arguments) noexcept {
  WithDefault(level, [&](CLog& log) { return log.PostText(level, channel, format, arguments); });
}

// Not under the lock, for this may wait for a record that somebody has yet to post.
void CLog::GFlush() noexcept {
  try {
    if (CLog* const served = IMPL::CLoggingThread::ServedLog()) return served->Flush();
    if (const LogHandle log = GetDefault()) log->Flush();
  } catch (...) {
  }
}

// A logging thread takes no lock for which somebody may hold it up.
void CLog::GFlushLast() noexcept {
  try {
    if (CLog* const served = IMPL::CLoggingThread::ServedLog()) return served->Flush(false);
    if (const LogHandle log = GetDefault()) log->Flush(false);
  } catch (...) {
  }
}

std::int32_t CLog::GetLevel() noexcept {
  const std::int64_t level = defaultLevel_.load(std::memory_order_relaxed);
  return level != aboveAll ? static_cast<std::int32_t>(level) : logLevel::disabled;
}

void CLog::SetLevel(std::int32_t level) {
  Guard guard(DEFAULTLOG::Get().lock);
  const LogHandle& log = DEFAULTLOG::Get().log;
  if (!log) return;
  log->level_.exchange(level);
  defaultLevel_.exchange(level);
}

void CLog::Mute() {
  Guard guard(DEFAULTLOG::Get().lock);
  DEFAULTLOG::Get().remembered = GetLevel();
  SetLevel(logLevel::disabled);
}

void CLog::Unmute() {
  Guard guard(DEFAULTLOG::Get().lock);
  if (DEFAULTLOG::Get().remembered != logLevel::disabled) SetLevel(DEFAULTLOG::Get().remembered);
}

const char* CLog::LevelName(std::int32_t level) noexcept {
  constexpr const char* names[] = {"debug only",       "info",        "warning", "error",
                                   "important notice", "fatal error", "disabled"};
  return level >= logLevel::debug && level <= logLevel::disabled ? names[level] : "unknown";
}

void CLog::ReportAssertion(const char* expression, const char* file, std::uint32_t line,
                           const char* description, const char* compileDate, const char* compileTime,
                           const char* modified) noexcept {
  try {
    if (GetLevel() < logLevel::disabled) {
      const auto quoted = [](const char* text) {
        return stringEx("\"") + (text != nullptr ? text : "") + "\"";
      };
      GFatal(
          "debugger"_sv,
          IMPL::CMessage("debug checking failure\n")
              .Field("  expression    = ", quoted(expression))
              .Field("  description   = ", quoted(description))
              .Field("  file name     = ", quoted(file))
              .Field("  line number   = ", quoted(stringEx().append_uint(line).data()))
              .Field(
                  "  last compiled = ",
                  quoted((stringEx(compileDate) + " " + (compileTime != nullptr ? compileTime : "")).data()))
              .Field("  last modified = ", quoted(modified))
              .Take());
    }
  } catch (...) {
  }
  FatalExit(true);
}

}  // namespace Qorv
