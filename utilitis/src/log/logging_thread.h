// The thread that serves the loggers of one log.
#pragma once

#include <atomic>
#include <deque>
#include <memory>

#include <qorv/log.h>
#include <qorv/thread.h>

namespace Qorv::IMPL {

/// One entry of the queue. Channel and message share the caller's buffers.
struct LOG_RECORD {
  bool quit = false;  // ends the thread; all other fields are empty then
  CTime time;
  std::int32_t level = 0;
  stringEx channel;
  stringEx message;
};

/// Takes records off a bounded queue and gives them to the loggers of its log.
///
/// Each record has been delivered, or stopped by the filter, before the next is taken. The queue is settled when that is
/// so for all records posted; only when somebody waits for that does it cost more than a count. Should the thread die of
/// a failure, then whoever posts serves the loggers.
class CLoggingThread final : public TThread,
                             private CMessageQueue<LOG_RECORD, FASTKSV_SPIN_PCLOCK, std::deque<LOG_RECORD>> {
 public:
  CLoggingThread(CLog& owner, std::uint32_t bound);
  CLoggingThread(const CLoggingThread&) = delete;
  CLoggingThread& operator=(const CLoggingThread&) = delete;
  ~CLoggingThread() noexcept(false) override;

  // For the log, under its lock.

  /// Blocks while the queue is full.
  void Post(LOG_RECORD&& record);
  /// Waits until the queue is settled. Null if the record before that was delivered; else an event that is raised when one
  /// has been, or the thread goes.
  std::shared_ptr<CEvent> AwaitSettled();
  /// Asks the thread to end behind all records posted before; false.
  bool TryStop() override;

  /// For changes of what the thread serves.
  FASTKSV_PCLOCK& DispatchLock() QORV_RETURN_CAPABILITY(dispatchLock_) { return dispatchLock_; }

  // For a thread that may be a logging thread.

  /// The log whose loggers the calling thread serves; null for any other thread.
  static CLog* ServedLog() noexcept { return serving != nullptr ? &serving->owner_ : nullptr; }
  /// Delivers a record at once on the calling thread, which serves the loggers. Not while it does so already: false.
  static bool ServeInside(LOG_RECORD&& record);

 protected:
  std::uint32_t Run() override;
  bool OnUncaught() override;
  void OnFinished() override;

 private:
  using Guard = CSafeScopeLock<FASTKSV_PCLOCK>;

  bool Serve(const LOG_RECORD& record);
  void ServeRest() noexcept;
  void NoteDealt(bool isDelivered);
  bool IsSettled() const noexcept { return dealt_.load() >= posted_.load(); }

  static constinit thread_local CLoggingThread* serving;

  CLog& owner_;
  FASTKSV_PCLOCK dispatchLock_;  // held while a record goes through filter and loggers
  bool isInside_ = false;        // in ServeInside

  // What the callers write, and, on a line of the cache of its own, what the thread writes.
  std::atomic<std::uint64_t> posted_{0};  // changed under the log's lock
  std::atomic<bool> isDead_{false};
  alignas(64) std::atomic<std::uint64_t> dealt_{0};
  std::atomic<bool> isDelivered_{false};    // the last of them went to the loggers
  std::atomic<bool> isAwaited_{false};      // by somebody who waits for settled_, under the log's lock
  std::atomic<bool> isNextAwaited_{false};  // by those who wait for next_
  CEvent settled_{false};
  const std::shared_ptr<CEvent> next_ = std::make_shared<CEvent>(false);  // stays for those who wait
};

}  // namespace Qorv::IMPL
