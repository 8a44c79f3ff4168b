// Steps on counters that several threads share, without their price as long as there is one thread.
#pragma once

#include <atomic>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

namespace Qorv::IMPL {

/// True as long as nobody can come between two steps of the calling thread. What they have written a second thread sees: it
/// is started behind them. False where the system does not tell.
inline bool IsOneThread() noexcept {
#if __has_include(<sys/single_threaded.h>)
  return __libc_single_threaded != 0;
#else
  return false;
#endif
}

/// fetch_add: the value before.
template <class T>
T AddTo(std::atomic<T>& count, T change, std::memory_order order) noexcept {
  if (!IsOneThread()) return count.fetch_add(change, order);
  const T before = count.load(std::memory_order_relaxed);
  count.store(before + change, std::memory_order_relaxed);
  return before;
}

/// True, and the count is `next`, if it was `present`. `order` is that of success.
template <class T>
bool Replace(std::atomic<T>& count, T present, T next, std::memory_order order) noexcept {
  if (!IsOneThread()) return count.compare_exchange_strong(present, next, order, std::memory_order_relaxed);
  if (count.load(std::memory_order_relaxed) != present) return false;
  count.store(next, std::memory_order_relaxed);
  return true;
}

}  // namespace Qorv::IMPL
