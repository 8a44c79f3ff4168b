// Tick counts, and counts that wrap.
#include <gtest/gtest.h>
#include <sys/times.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include <qorv/time.h>

#include "time/widened_count.h"

namespace {

TEST(WidenedCount, KeepsGoingOverTheWrapsOfTheRawCount) {
  Qorv::IMPL::CWidenedCount<std::uint8_t> count;
  const struct {
    std::uint8_t raw;
    std::uint64_t wide;
  } rows[] = {{0, 0},     {200, 200}, {255, 255}, {0, 256}, {0, 256},
              {255, 511}, {254, 766}, {255, 767}, {3, 771}};
  for (const auto& row : rows)
    EXPECT_EQ(row.wide, count.Advance(row.raw));
}

std::uint64_t SystemMilliseconds() {
  tms unused;
  return static_cast<std::uint64_t>(times(&unused)) * 1000 / static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
}

TEST(TickCount, IsTheSystemsInMilliseconds) {
  for (const auto ask : {+[] { return Qorv::GetTickCount(); }, +[] { return Qorv::GetTickCount64(); }}) {
    const std::uint64_t before = SystemMilliseconds();
    const std::uint64_t now = ask();
    EXPECT_LE(before, now);
    EXPECT_GE(SystemMilliseconds(), now);
  }
}

TEST(TickCount, NeverGoesBackWhoeverAsks) {
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      std::uint64_t last = 0;
      for (int round = 0; round < 20000; ++round) {
        const std::uint64_t now = Qorv::GetTickCount64();
        ASSERT_LE(last, now);
        last = now;
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
}

}  // namespace
