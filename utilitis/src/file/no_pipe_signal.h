// A write to a pipe that nobody reads.
#pragma once

#include <signal.h>
#include <time.h>

#include "misc/posix/platform.h"

namespace Qorv::IMPL {

/// For the time of a write: the signal that comes with a broken pipe is kept from the thread, and taken back.
class CNoPipeSignal {
 public:
  CNoPipeSignal() noexcept {
    sigset_t pending;
    ::sigpending(&pending);
    wasPending_ = ::sigismember(&pending, SIGPIPE) == 1;
    ::sigemptyset(&signal_);
    ::sigaddset(&signal_, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &signal_, &before_);
  }
  CNoPipeSignal(const CNoPipeSignal&) = delete;
  CNoPipeSignal& operator=(const CNoPipeSignal&) = delete;
  ~CNoPipeSignal() {
    const timespec now{};
    if (!wasPending_) RetryOnEintr([&] { return ::sigtimedwait(&signal_, nullptr, &now); });
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

 private:
  sigset_t signal_;
  sigset_t before_;
  bool wasPending_;
};

}  // namespace Qorv::IMPL
