// Taking and giving back the read side of the reader-writer locks by 1, 2 and 4 threads at a time, and what one would
// take without the library. Each figure is the quickest of many rounds, in turns, and its ratio to std::shared_mutex.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <limits>
#include <shared_mutex>
#include <thread>
#include <vector>

#include <qorv/sync.h>

namespace {

constexpr int pairsPerThread = 200'000;
constexpr int rounds = 15;

std::atomic<std::uint64_t> guardedSum{0};  // keeps the work from being dropped

template <class Lock, class Guard>
void Read(Lock& lock) {
  static volatile std::uint64_t guarded = 1;
  std::uint64_t sum = 0;
  for (int i = 0; i < pairsPerThread; ++i) {
    Guard guard(lock);
    sum += guarded;
  }
  guardedSum += sum;
}

// Nanoseconds for one entry and exit, by the clock on the wall: of all threads together, each in its own.
template <class Lock, class Guard>
double Measure(int threadCount) {
  Lock lock;
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  const auto body = [&] {
    ++ready;
    while (ready <= threadCount) {
    }
    Read<Lock, Guard>(lock);
  };
  for (int i = 0; i < threadCount; ++i)
    threads.emplace_back(body);
  while (ready < threadCount) {
  }
  const auto before = std::chrono::steady_clock::now();
  ++ready;
  for (std::thread& thread : threads)
    thread.join();
  const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - before;
  return taken.count() / pairsPerThread;
}

}  // namespace

int main() {
  const struct {
    const char* name;
    double (*measure)(int threadCount);
  } contestants[] = {
      {"std::shared_mutex", Measure<std::shared_mutex, std::shared_lock<std::shared_mutex>>},
      {"CFastRWSpinLock", Measure<Qorv::CFastRWSpinLock, Qorv::CFastReaderSpinLock>},
      {"CRWLock", Measure<Qorv::CRWLock, Qorv::CReaderLock>},
  };
  for (const int threadCount : {1, 2, 4}) {
    double quickest[std::size(contestants)];
    std::fill(std::begin(quickest), std::end(quickest), std::numeric_limits<double>::max());
    for (int round = 0; round < rounds; ++round)  // in turns, so that all see the same machine
      for (std::size_t i = 0; i < std::size(contestants); ++i)
        quickest[i] = std::min(quickest[i], contestants[i].measure(threadCount));
    for (std::size_t i = 0; i < std::size(contestants); ++i)
      std::printf("%d threads  %-20s %7.1f ns  %5.2f times the first\n", threadCount, contestants[i].name,
                  quickest[i], quickest[i] / quickest[0]);
  }
  return guardedSum == 0 ? 1 : 0;
}
