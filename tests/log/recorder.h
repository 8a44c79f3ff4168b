// Loggers and filters that show what they are called with.
#pragma once

#include <functional>
#include <mutex>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <qorv/log.h>
#include <qorv/thread.h>

namespace TestLog {

using Lines = std::vector<std::string>;

/// What loggers have been called with, in order.
class CJournal {
 public:
  void Add(std::string line) {
    const std::lock_guard guard(mutex_);
    lines_.push_back(std::move(line));
  }
  Lines Get() const {
    const std::lock_guard guard(mutex_);
    return lines_;
  }

 private:
  mutable std::mutex mutex_;
  Lines lines_;
};

/// Writes "<level> <channel>: <message>", "flush", "thread end" and "gone" to a journal, behind a name.
class CRecorder : public Qorv::ILogger {
 public:
  explicit CRecorder(CJournal& journal, std::string name = "") : journal_(journal), name_(std::move(name)) {}
  ~CRecorder() override { journal_.Add(name_ + "gone"); }

  void Log(Qorv::CTime, std::int32_t level, const Qorv::stringEx& channel,
           const Qorv::stringEx& message) override {
    if (onLog) onLog();
    journal_.Add(name_ + std::to_string(level) + " " + channel.data() + ": " + message.data());
  }
  void Flush() override {
    if (onFlush) onFlush();
    journal_.Add(name_ + "flush");
  }
  void OnThreadEnd() override { journal_.Add(name_ + "thread end"); }

  std::function<void()> onLog;  // before the record is written down
  std::function<void()> onFlush;

 private:
  CJournal& journal_;
  std::string name_;
};

/// Stops the records with a certain text.
class CVeto : public Qorv::ILogFilter {
 public:
  explicit CVeto(CJournal& journal) : journal_(journal) {}
  bool Passes(Qorv::CTime, std::int32_t, const Qorv::stringEx&,
              const Qorv::stringEx& message) noexcept override {
    journal_.Add(std::string("asked: ") + message.data());
    return !(message == "stop");
  }
  void OnThreadEnd() override { journal_.Add("filter: thread end"); }

 private:
  CJournal& journal_;
};

/// Where a logger waits until a case lets it go on.
class CGate {
 public:
  void Pass() {
    arrived_.release();
    open_.acquire();
  }
  void AwaitArrival() { arrived_.acquire(); }
  void Open(int times = 1) { open_.release(times); }

 private:
  std::counting_semaphore<> arrived_{0};
  std::counting_semaphore<> open_{0};
};

/// A log with one recorder.
struct LOGGROUND {
  explicit LOGGROUND(std::int32_t level = Qorv::logLevel::debug, std::uint32_t limit = 4096)
      : log(level, limit), recorder(Qorv::MakeHandle<CRecorder>(journal)) {
    log.PushLogger(recorder);
  }

  CJournal journal;
  Qorv::CLog log;
  Qorv::CHandle<CRecorder> recorder;
};

/// The default log, for as long as this lives.
class CAsDefault {
 public:
  explicit CAsDefault(const Qorv::LogHandle& log) { Qorv::CLog::SetDefault(log); }
  CAsDefault(const CAsDefault&) = delete;
  CAsDefault& operator=(const CAsDefault&) = delete;
  ~CAsDefault() { Qorv::CLog::SetDefault({}); }
};

}  // namespace TestLog
