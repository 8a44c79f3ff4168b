#include <pthread.h>

#include <algorithm>
#include <memory>

#include <qorv/sync.h>

#include "misc/posix/platform.h"

namespace Qorv::IMPL {
namespace {

// A child of fork is one thread with an id of its own.
void ForgetThreadId() {
  cachedThreadId = 0;
}

}  // namespace

constinit thread_local std::uint64_t cachedThreadId = 0;

std::uint64_t AskThreadId() noexcept {
  [[maybe_unused]] static const int registered = ::pthread_atfork(nullptr, nullptr, ForgetThreadId);
  return cachedThreadId = platform::ThreadId();
}

const bool MultiProcessor = platform::ProcessorCount() > 1;

// The more threads look, the less often each may, or they keep the semaphore from the one who is to raise it.
void AwaitHandOver(std::atomic<std::int64_t>& count, CSem& sem) {
  constexpr int looks = 32;
  constexpr int longestPause = 64;
  for (int left = MultiProcessor ? looks : 0, pause = 16; left > 0;
       --left, pause = std::min(2 * pause, longestPause)) {
    if (sem.TryP()) return;
    for (int i = 0; i < pause; ++i)
      RelaxProcessor();
  }
  AwaitTurn(count, sem);
}

CLazySem::~CLazySem() noexcept(false) {
  delete sem_.load(std::memory_order_relaxed);
}

CSem& CLazySem::Get() {
  if (CSem* present = sem_.load(std::memory_order_acquire)) return *present;
  CKillHold hold;
  auto* const fresh = new CSem(0, waitForever);
  CSem* present = nullptr;
  if (sem_.compare_exchange_strong(present, fresh, std::memory_order_acq_rel)) return *fresh;
  delete fresh;
  return *present;
}

}  // namespace Qorv::IMPL
