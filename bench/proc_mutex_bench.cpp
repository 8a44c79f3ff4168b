// Taking and giving back a mutex between processes, against the system's own with the same attributes, by one process alone and
// by two at once. The least of a few rounds, in turns.
#include <pthread.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <qorv/sync.h>

namespace {

using namespace Qorv;

constexpr int pairs = 300'000;
constexpr int rounds = 7;

// In memory that a child shares with this process.
struct SHARED {
  pthread_mutex_t mutex;
  std::atomic<int> ready;
  std::uint64_t guarded;
};

SHARED& MakeShared() {
  void* const start =
      mmap(nullptr, sizeof(SHARED), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (start == MAP_FAILED) std::abort();
  auto& shared = *new (start) SHARED;
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  pthread_mutex_init(&shared.mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
  return shared;
}

// Nanoseconds for a pair, of each process.
template <class Pair>
double Measure(SHARED& shared, int processes, Pair pair) {
  shared.ready = 0;
  const auto run = [&] {
    ++shared.ready;
    while (shared.ready < processes) {
    }
    for (int i = 0; i < pairs; ++i)
      pair();
  };
  pid_t child = 0;
  if (processes == 2) {
    child = fork();
    if (child == 0) {
      run();
      _exit(0);
    }
  }
  const auto start = std::chrono::steady_clock::now();
  run();
  if (child != 0) waitpid(child, nullptr, 0);
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count() / pairs;
}

}  // namespace

int main() {
  SHARED& shared = MakeShared();
  CProcMutex ours(stringEx().format("/proc-mutex-bench-%d", static_cast<int>(getpid())));
  std::printf("ns for a pair, of each process\n%9s  %8s  %8s  %5s\n", "processes", "library", "system",
              "ratio");
  for (const int processes : {1, 2}) {
    double library = 1e9;
    double system = 1e9;
    for (int round = 0; round < rounds; ++round) {
      library = std::min(library, Measure(shared, processes, [&] {
                           ours.Lock();
                           ++shared.guarded;
                           ours.Unlock();
                         }));
      system = std::min(system, Measure(shared, processes, [&] {
                          if (pthread_mutex_lock(&shared.mutex) != 0) std::abort();
                          ++shared.guarded;
                          if (pthread_mutex_unlock(&shared.mutex) != 0) std::abort();
                        }));
    }
    std::printf("%9d  %8.1f  %8.1f  %5.2f\n", processes, library, system, library / system);
  }
  return 0;
}
