#include <qorv/log.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <optional>

#include <qorv/error.h>

#include "log/logging_thread.h"

namespace Qorv {
namespace {

using Guard = IMPL::CSafeScopeLock<FASTKSV_PCLOCK>;

// The length of the whole text, of which `room` has what fits in; 0 after an error. The format is the callers' own.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::uint64_t Print(char* room, std::size_t size, const char* format, std::va_list arguments) noexcept {
  return static_cast<std::uint64_t>(std::max(std::vsnprintf(room, size, format, arguments), 0));
}
#pragma GCC diagnostic pop

constexpr std::uint64_t longestKept = 511;  // characters of a message whose buffer is used again

}  // namespace

CLog::CLog(std::int32_t level, std::uint32_t messageLimit) : messageLimit_(messageLimit), level_(level) {}

CLog::~CLog() {
  try {
    EnableThread(false, 2147483647);
  } catch (...) {  // a lock that fails; the thread goes with its object
  }
  Flush();
  loggers_.clear();
  filter_ = {};
}

// --- records ---------------------------------------------------------------------------------------------------------

bool CLog::Wants(std::int32_t level) const noexcept {
  return level >= level_.load(std::memory_order_relaxed) && hasLoggers_.load(std::memory_order_relaxed);
}

void CLog::Write(std::int32_t level, const stringEx& channel, const stringEx& message) noexcept {
  if (Post(level, channel, message) && level == logLevel::fatal) Flush(false);
}

void CLog::WriteText(std::int32_t level, const char* channel, const char* format,
                     std::va_list arguments) noexcept {
  if (PostText(level, channel, format, arguments) && level == logLevel::fatal) Flush(false);
}

// True if the record has been accepted. A text that cannot be formatted is empty. Most are short; only the others are
// formatted twice.
bool CLog::PostText(std::int32_t level, const char* channel, const char* format,
                    std::va_list arguments) noexcept {
  if (!Wants(level)) return false;
  std::va_list again;
  va_copy(again, arguments);
  bool isPosted = false;
  try {
    char room[longestKept + 1];
    const std::uint64_t length = Print(room, sizeof room, format, arguments);
    const std::uint64_t wanted = std::min<std::uint64_t>(length, messageLimit_);
    if (wanted <= longestKept) {
      isPosted = PostShort(level, channel, {room, wanted});
    } else {
      stringEx message;
      message.vformat(wanted, format, again);
      isPosted = Post(level, stringEx(channel), message);
    }
  } catch (...) {
  }
  va_end(again);
  return isPosted;
}

// Takes the buffers of records that have been delivered before. Otherwise one thread would ask for memory all the time,
// and another give it back.
bool CLog::PostShort(std::int32_t level, const char* channel, std::string_view text) {
  if (IMPL::CLoggingThread::ServedLog() == this) return Post(level, stringEx(channel), stringEx(text));
  Guard guard(lock_);
  if (channel_ != channel) channel_ = stringEx(channel);
  stringEx& message = messages_[nextMessage_++ % std::size(messages_)];
  message.clear();
  message.append(text);
  return Post(level, channel_, message);
}

// True if the record has been accepted. The lock is held while the queue is full: that holds all other callers up as
// well, and keeps the records of each in order.
bool CLog::Post(std::int32_t level, const stringEx& channel, const stringEx& message) noexcept {
  if (!Wants(level)) return false;
  try {
    if (IMPL::CLoggingThread::ServedLog() == this)
      return IMPL::CLoggingThread::ServeInside({false, CTime::Now(), level, channel, message});
    Guard guard(lock_);
    const CTime now = CTime::Now();
    if (thread_ == nullptr) return Deliver(now, level, channel, message);
    thread_->Post({false, now, level, channel, message});
    return true;
  } catch (...) {
    return false;
  }
}

// False if the filter has stopped the record.
bool CLog::Deliver(CTime time, std::int32_t level, const stringEx& channel, const stringEx& message) {
  if (filter_ && !filter_->Passes(time, level, channel, message)) return false;
  ForEachLogger([&](ILogger& logger) { logger.Log(time, level, channel, message); });
  return true;
}

// A logger that fails loses what is its own, and no other logger's.
template <class Step>
void CLog::ForEachLogger(Step step) noexcept {
  for (const LoggerHandle& logger : loggers_) {
    try {
      step(*logger);
    } catch (...) {
    }
  }
}

void CLog::FlushLoggers() noexcept {
  ForEachLogger([](ILogger& logger) { logger.Flush(); });
}

void CLog::Flush() noexcept {
  Flush(true);
}

// The lock is held while records are on their way, so that no others get in front of the flush. It is left where what
// is waited for has yet to be posted. Fatal records do not wait for that: when the filter has stopped one, nobody may be
// left to post another.
void CLog::Flush(bool awaitsNext) noexcept {
  try {
    if (IMPL::CLoggingThread::ServedLog() == this) return FlushLoggers();
    Guard guard(lock_);
    for (; thread_ != nullptr; awaitsNext = false) {
      const std::shared_ptr<CEvent> next = thread_->AwaitSettled();
      if (next == nullptr || !awaitsNext || loggers_.empty()) break;
      guard.Leave();
      next->WaitEvent();
      guard.Enter();
    }
    std::optional<Guard> dispatch;  // a thread that is dying may be serving the last records
    if (thread_ != nullptr) dispatch.emplace(thread_->DispatchLock());
    FlushLoggers();
  } catch (...) {
  }
}

// --- loggers and filter ----------------------------------------------------------------------------------------------

// Makes a change of what is served, while nothing is.
template <class Change>
void CLog::Restack(Change change) {
  Guard guard(lock_);
  std::optional<Guard> dispatch;
  if (thread_ != nullptr) dispatch.emplace(thread_->DispatchLock());
  change();
  hasLoggers_ = !loggers_.empty();
  if (default_.load(std::memory_order_relaxed) == this) defaultHasLoggers_ = !loggers_.empty();
}

void CLog::PushLogger(const LoggerHandle& logger) {
  if (!logger)
    throw logExp(stringEx::view("CLog::PushLogger - invalid logger handle"), logCode::invalidLogger);
  Restack([&] { loggers_.push_back(logger); });
}

LoggerHandle CLog::PopLogger() {
  LoggerHandle newest;
  Restack([&] {
    if (loggers_.empty()) throw logExp(stringEx::view("CLog::PopLogger - nothing to pop"), logCode::noLogger);
    newest = std::move(loggers_.back());
    loggers_.pop_back();
  });
  return newest;
}

bool CLog::RemoveLogger(const LoggerHandle& logger) {
  LoggerHandle removed;  // goes when the locks have been left
  Restack([&] {
    const auto place = std::find(loggers_.begin(), loggers_.end(), logger);
    if (place == loggers_.end()) return;
    removed = std::move(*place);
    loggers_.erase(place);
  });
  return static_cast<bool>(removed);
}

bool CLog::FindLogger(const LoggerHandle& logger) const {
  Guard guard(lock_);
  return std::find(loggers_.begin(), loggers_.end(), logger) != loggers_.end();
}

bool CLog::HasLoggers() const {
  return LoggerCount() != 0;
}

std::size_t CLog::LoggerCount() const {
  Guard guard(lock_);
  return loggers_.size();
}

void CLog::GetLoggers(std::vector<LoggerHandle>& loggers) const {
  Guard guard(lock_);
  loggers = loggers_;
}

void CLog::SetLoggers(std::vector<LoggerHandle> loggers) {
  for (const LoggerHandle& logger : loggers)
    if (!logger)
      throw logExp(stringEx::view("CLog::SetLoggers - invalid logger handle"), logCode::invalidLogger);
  Restack([&] { loggers_.swap(loggers); });
}

void CLog::SetFilter(LogFilterHandle filter) {
  Restack([&] { std::swap(filter_, filter); });
}

LogFilterHandle CLog::GetFilter() const {
  Guard guard(lock_);
  return filter_;
}

bool CLog::HasFilter() const {
  Guard guard(lock_);
  return static_cast<bool>(filter_);
}

// --- the logging thread ----------------------------------------------------------------------------------------------

bool CLog::EnableThread(bool enable, std::uint32_t bound) {
  Guard guard(lock_);
  if (enable == (thread_ != nullptr)) return true;
  return enable ? StartThread(bound) : StopThread();
}

bool CLog::IsThreaded() const {
  Guard guard(lock_);
  return thread_ != nullptr;
}

bool CLog::StartThread(std::uint32_t bound) noexcept {
  try {
    thread_ = std::make_unique<IMPL::CLoggingThread>(*this, bound);
    thread_->Create(false, 0);
    thread_->Resume();
    return true;
  } catch (...) {
    thread_.reset();
    return false;
  }
}

bool CLog::StopThread() noexcept {
  bool isStopped = false;
  try {
    thread_->TryStop();
    isStopped = thread_->Wait(waitForever);
  } catch (...) {
  }
  thread_.reset();
  return isStopped;
}

// On the logging thread, under its dispatch lock.
void CLog::TellThreadEnd() noexcept {
  try {
    if (filter_) filter_->OnThreadEnd();
  } catch (...) {
  }
  ForEachLogger([](ILogger& logger) { logger.OnThreadEnd(); });
}

}  // namespace Qorv
