// The scope guard of all locks.
#pragma once

#include <qorv/detail/thread_annotations.h>
#include <qorv/error.h>

namespace Qorv {

/// Enters a lock at construction and leaves it at destruction, or earlier by Leave, after which Enter takes it again; each is
/// only for a guard that does not hold, or does hold, the lock. A failure of leaving is
/// dropped while another exception unwinds and thrown otherwise.
template <class Lock>
class QORV_SCOPED_CAPABILITY CScopeLock {
 public:
  explicit CScopeLock(Lock& lock) QORV_ACQUIRE(lock) : lock_(&lock), held_(true) { lock.Enter(); }
  CScopeLock(const CScopeLock&) = delete;
  CScopeLock& operator=(const CScopeLock&) = delete;
  ~CScopeLock() noexcept(false) QORV_RELEASE() {
    if (held_) IMPL::DropWhileUnwinding([this]() QORV_NO_THREAD_SAFETY_ANALYSIS { lock_->Leave(); });
  }

  void Enter() QORV_ACQUIRE() {
    lock_->Enter();
    held_ = true;
  }
  void Leave() QORV_RELEASE() {
    held_ = false;
    lock_->Leave();
  }

 private:
  Lock* lock_;
  bool held_;
};

}  // namespace Qorv
