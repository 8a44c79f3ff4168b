// Signals that break system calls off, again and again, and somebody else who ends what waits meanwhile.
#pragma once

#include <pthread.h>
#include <signal.h>
#include <sys/time.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

namespace TestSupport {

inline std::atomic<int> timerSignals = 0;

/// As long as it lives, a signal without SA_RESTART reaches this thread every two milliseconds.
class TimerSignals {
 public:
  TimerSignals() {
    timerSignals = 0;
    struct sigaction action {};
    action.sa_handler = [](int) { ++timerSignals; };
    sigaction(SIGALRM, &action, &before_);
    const itimerval often{{0, 2000}, {0, 2000}};
    setitimer(ITIMER_REAL, &often, nullptr);
  }
  TimerSignals(const TimerSignals&) = delete;
  TimerSignals& operator=(const TimerSignals&) = delete;
  ~TimerSignals() {
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before_, nullptr);
  }
  int Count() const { return timerSignals; }

 private:
  struct sigaction before_ {};
};

/// Does something after 60 milliseconds, on a thread that these signals leave alone.
class Later {
 public:
  explicit Later(std::function<void()> act)
      : thread_([act = std::move(act)] {
          sigset_t alarm;
          sigemptyset(&alarm);
          sigaddset(&alarm, SIGALRM);
          pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
          std::this_thread::sleep_for(std::chrono::milliseconds(60));
          act();
        }) {}
  Later(const Later&) = delete;
  Later& operator=(const Later&) = delete;
  ~Later() { thread_.join(); }

 private:
  std::thread thread_;
};

}  // namespace TestSupport
