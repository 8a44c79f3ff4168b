// Many threads at one thing, for a time.
#pragma once

#include <chrono>
#include <cstdlib>
#include <random>
#include <thread>
#include <vector>

namespace TestStress {

inline double SecondsOfScenario() {
  const char* const text = std::getenv("QORV_STRESS_SECONDS");
  return text != nullptr ? std::atof(text) : 0.2;
}

inline unsigned Seed() {
  const char* const text = std::getenv("QORV_STRESS_SEED");
  return text != nullptr ? static_cast<unsigned>(std::atoi(text)) : 1;
}

/// What one of the threads has: its number, chance of its own, and the time.
class CMember {
 public:
  CMember(unsigned number, std::chrono::steady_clock::time_point end)
      : index(number), random_(Seed() * 1000 + number), end_(end) {}

  /// Of 0 to `count` - 1.
  unsigned Choose(unsigned count) { return static_cast<unsigned>(random_() % count); }
  bool IsTimeUp() const { return std::chrono::steady_clock::now() >= end_; }

  const unsigned index;

 private:
  std::minstd_rand random_;
  std::chrono::steady_clock::time_point end_;
};

/// Runs `body(member)` on so many threads and returns when all are through.
template <class Body>
void Crowd(unsigned count, Body body) {
  const auto end =
      std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                             std::chrono::duration<double>(SecondsOfScenario()));
  std::vector<std::jthread> threads;
  for (unsigned i = 0; i < count; ++i) {
    threads.emplace_back([&body, i, end] {
      CMember member(i, end);
      body(member);
    });
  }
}

/// Two numbers that are changed together under a lock, and never seen apart.
class CPair {
 public:
  void Change() {
    ++first_;
    ++second_;
  }
  bool IsWhole() const { return first_ == second_; }
  std::uint64_t Get() const { return first_; }

 private:
  std::uint64_t first_ = 0;
  std::uint64_t second_ = 0;
};

}  // namespace TestStress
