// A thread that does what a case tells it and shows where it is.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

#include <qorv/thread.h>

namespace TestThread {

class CProbe : public Qorv::TThread {
 public:
  explicit CProbe(std::function<std::uint32_t(CProbe&)> body) : body_(std::move(body)) {}
  ~CProbe() noexcept(false) override { Kill(0); }

  /// Runs until told to stop.
  static std::uint32_t UntilStopped(CProbe& self) {
    self.isRunning_ = true;
    while (!self.TestStop())
      SleepTick();
    return 7;
  }
  /// Never looks at the stop flag.
  static std::uint32_t ForEver(CProbe& self) {
    self.isRunning_ = true;
    for (;;)
      SleepTick();
  }

  void AwaitRunning() const {
    while (!isRunning_)
      SleepTick();
  }
  void MarkRunning() { isRunning_ = true; }
  bool WasRunning() const { return isRunning_; }
  int GetFinished() const { return finished_; }
  int GetKills() const { return kills_; }
  void LockState() { Qorv::CScopeLock<Qorv::FASTKSV_PCLOCK> guard(StateLock()); }

 protected:
  std::uint32_t Run() override { return body_(*this); }
  void OnFinished() override { ++finished_; }
  void OnKill(std::uint32_t) override { ++kills_; }
  std::uint32_t KillExitCode(std::uint32_t code) override { return code + 100; }

 private:
  std::function<std::uint32_t(CProbe&)> body_;
  std::atomic<bool> isRunning_{false};
  std::atomic<int> finished_{0};
  std::atomic<int> kills_{0};
};

/// A probe brought into one of the states. Its thread does not obey a stop, so that the states stay.
inline std::unique_ptr<CProbe> InState(std::uint32_t state) {
  using namespace Qorv::threadState;
  auto probe = std::make_unique<CProbe>(state == ended ? CProbe::UntilStopped : CProbe::ForEver);
  if (state == none) return probe;
  probe->Create(false, 0);
  if (state == suspended) return probe;
  probe->Resume();
  probe->AwaitRunning();
  if (state == stopping || state == ended) probe->TryStop();
  if (state == ended) probe->Wait(Qorv::waitForever);
  if (state == killed) probe->Kill(1);
  return probe;
}

}  // namespace TestThread
