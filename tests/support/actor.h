// A thread that takes its steps one at a time, when it is told to.
#pragma once

#include <atomic>
#include <functional>
#include <semaphore>
#include <thread>
#include <utility>

#include <qorv/thread.h>

#include "support/asleep.h"

namespace TestSupport {

class CActor {
 public:
  CActor() {
    Do([this] { id_ = Qorv::TThread::CurrentThreadId(); });
  }
  CActor(const CActor&) = delete;
  CActor& operator=(const CActor&) = delete;
  ~CActor() {
    Start(nullptr);
    thread_.join();
  }

  /// Returns when the step has been taken.
  void Do(std::function<void()> step) {
    Start(std::move(step));
    Finish();
  }
  /// Returns at once. Finish must follow.
  void Start(std::function<void()> step) {
    step_ = std::move(step);
    go_.release();
  }
  void Finish() { done_.acquire(); }
  /// Returns when the thread is blocked in the step. Finish must follow.
  void StartAndBlock(std::function<void()> step) {
    std::atomic<bool> isUnderWay{false};
    Start([&isUnderWay, step = std::move(step)] {
      isUnderWay = true;
      step();
    });
    while (!isUnderWay)
      std::this_thread::yield();
    AwaitAsleep(id_);
  }

  /// The system's id of the thread.
  std::uint64_t GetId() const { return id_; }

 private:
  void Live() {
    for (go_.acquire(); step_; go_.acquire()) {
      step_();
      done_.release();
    }
  }

  std::function<void()> step_;
  std::binary_semaphore go_{0};
  std::binary_semaphore done_{0};
  std::uint64_t id_ = 0;
  std::thread thread_{[this] { Live(); }};
};

}  // namespace TestSupport
