// The library's lock and queue against what the standard library offers for the same job.
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include <qorv/sync.h>

namespace {

// What one would write without the library.
template <class Item>
class CStandardQueue {
 public:
  explicit CStandardQueue(std::uint32_t capacity) : capacity_(capacity) {}

  void Push(Item&& item) {
    std::unique_lock guard(mutex_);
    hasPlace_.wait(guard, [this] { return items_.size() < capacity_; });
    items_.push_back(std::move(item));
    guard.unlock();
    hasItem_.notify_one();
  }

  void Pop(Item& item) {
    std::unique_lock guard(mutex_);
    hasItem_.wait(guard, [this] { return !items_.empty(); });
    item = std::move(items_.front());
    items_.pop_front();
    guard.unlock();
    hasPlace_.notify_one();
  }

 private:
  const std::size_t capacity_;
  std::mutex mutex_;
  std::condition_variable hasItem_;
  std::condition_variable hasPlace_;
  std::deque<Item> items_;
};

// As large as a command of the tool.
struct ITEM {
  std::uint64_t words[6];
};

using CLibraryQueue = Qorv::CMessageQueue<ITEM, Qorv::FASTKSV_PCLOCK, std::deque<ITEM>>;

// So many threads push and as many pop; the arguments are their number and the capacity.
template <class Queue>
void BM_HandOver(benchmark::State& state) {
  constexpr std::uint64_t batch = 100'000;
  const auto threads = static_cast<std::size_t>(state.range(0));
  for (auto _ : state) {
    Queue queue(static_cast<std::uint32_t>(state.range(1)));
    std::vector<std::jthread> workers;
    for (std::size_t i = 0; i < threads; ++i) {
      workers.emplace_back([&queue, share = batch / threads] {
        for (std::uint64_t item = 0; item < share; ++item)
          queue.Push(ITEM{{item}});
      });
      workers.emplace_back([&queue, share = batch / threads] {
        ITEM item;
        for (std::uint64_t taken = 0; taken < share; ++taken)
          queue.Pop(item);
      });
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(batch));
}
void Loads(benchmark::internal::Benchmark* contest) {
  contest->ArgsProduct({{1, 4}, {1, 16, 256}})->UseRealTime()->MeasureProcessCPUTime();
}
BENCHMARK_TEMPLATE(BM_HandOver, CLibraryQueue)->Apply(Loads);
BENCHMARK_TEMPLATE(BM_HandOver, CStandardQueue<ITEM>)->Apply(Loads);

class CLibraryLock {
 public:
  void lock() QORV_NO_THREAD_SAFETY_ANALYSIS { lock_.Enter(); }
  void unlock() QORV_NO_THREAD_SAFETY_ANALYSIS { lock_.Leave(); }

 private:
  Qorv::FASTKSV_PCLOCK lock_;
};

// A short critical section, alone and under contention.
template <class Lock>
void BM_Lock(benchmark::State& state) {
  static Lock lock;
  static std::uint64_t counter = 0;
  for (auto _ : state) {
    std::lock_guard guard(lock);
    benchmark::DoNotOptimize(++counter);
  }
}
BENCHMARK_TEMPLATE(BM_Lock, CLibraryLock)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();
BENCHMARK_TEMPLATE(BM_Lock, std::recursive_mutex)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
