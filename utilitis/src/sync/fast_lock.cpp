#include <pthread.h>
#include <signal.h>

#include <memory>

#include <qorv/sync.h>

#include "misc/posix/platform.h"

namespace Qorv::IMPL {
namespace {

thread_local std::uint64_t cachedThreadId = 0;

// A child of fork is one thread with an id of its own.
void ForgetThreadId() {
  cachedThreadId = 0;
}

[[gnu::noinline]] std::uint64_t AskThreadId() noexcept {
  [[maybe_unused]] static const int registered = ::pthread_atfork(nullptr, nullptr, ForgetThreadId);
  return cachedThreadId = platform::ThreadId();
}

// Holds off a kill of the calling thread: one that is broken off inside the allocator leaves it locked for all.
class CKillHold {
 public:
  CKillHold() noexcept {
    sigset_t killSignal;
    ::sigemptyset(&killSignal);
    ::sigaddset(&killSignal, platform::KillSignal());
    ::pthread_sigmask(SIG_BLOCK, &killSignal, &before_);
  }
  CKillHold(const CKillHold&) = delete;
  CKillHold& operator=(const CKillHold&) = delete;
  ~CKillHold() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

}  // namespace

const bool MultiProcessor = platform::ProcessorCount() > 1;

std::uint64_t CurrentThreadId() noexcept {
  return cachedThreadId != 0 ? cachedThreadId : AskThreadId();
}

CLazySem::~CLazySem() noexcept(false) {
  delete sem_.load(std::memory_order_relaxed);
}

CSem& CLazySem::Get() {
  if (CSem* present = sem_.load(std::memory_order_acquire)) return *present;
  CKillHold hold;
  auto fresh = std::make_unique<CSem>(0, waitForever);
  CSem* present = nullptr;
  if (!sem_.compare_exchange_strong(present, fresh.get(), std::memory_order_acq_rel)) return *present;
  return *fresh.release();
}

}  // namespace Qorv::IMPL
