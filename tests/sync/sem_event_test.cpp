// Semaphores and events.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

#include <qorv/sync.h>
#include <qorv/thread.h>

#include "support/asleep.h"

namespace {

using Qorv::CEvent;
using Qorv::CSem;

TEST(Sem, CountsWhatIsPosted) {
  CSem sem(2, 10);
  EXPECT_TRUE(sem.TryP());
  EXPECT_TRUE(sem.P());
  EXPECT_FALSE(sem.TryP());
  EXPECT_FALSE(sem.TimedP(0));
  EXPECT_FALSE(sem.TimedP(1));
  sem.V(3);
  EXPECT_TRUE(sem.TimedP(Qorv::waitForever));
  EXPECT_TRUE(sem.TimedP(1000));
  EXPECT_TRUE(sem.TryP());
  EXPECT_FALSE(sem.TryP());
}

TEST(Sem, ImpossibleValueIsRefused) {
  try {
    CSem sem(std::numeric_limits<std::uint32_t>::max(), 1);
    FAIL();
  } catch (const Qorv::semExp& failure) {
    EXPECT_EQ(failure.GetCode(), Qorv::syncCode::create);
    EXPECT_STREQ(failure.GetMessage().data(),
                 "CSem::__Init - failed create semaphore\n  error code = 22\n"
                 "  error desc = the init value exceeds max limited");
  }
}

TEST(Event, OneRaiseReleasesEveryWaiterAndStays) {
  CEvent event(false);
  std::vector<std::thread> waiters;
  for (int i = 0; i < 4; ++i) {
    waiters.emplace_back([&event, i] { i % 2 == 0 ? event.WaitEvent() : event.TimedWaitEvent(60'000); });
  }
  event.RaiseEvent();
  for (std::thread& waiter : waiters)
    waiter.join();
  EXPECT_TRUE(event.TimedWaitEvent(0));
  event.ResetEvent();
  EXPECT_FALSE(event.IsRaised());
  EXPECT_FALSE(event.TimedWaitEvent(0));
  EXPECT_FALSE(event.TimedWaitEvent(1));
}

// In a process of its own: the object that refused to go is no more, but its waiter is still inside.
TEST(EventDeathTest, DestroyingAWaitedOneIsReported) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        auto event = std::make_unique<CEvent>(false);
        std::atomic<std::uint64_t> waiter{0};
        std::thread([&, raw = event.get()] {
          waiter = Qorv::TThread::CurrentThreadId();
          raw->WaitEvent();
        }).detach();
        while (waiter == 0)
          std::this_thread::yield();
        TestSupport::AwaitAsleep(waiter);
        try {
          delete event.release();
        } catch (const Qorv::eventExp& failure) {
          std::fprintf(stderr, "%s|%u", failure.GetMessage().data(), failure.GetCode());
        }
        std::_Exit(0);
      },
      testing::ExitedWithCode(0),
      "CEvent::~CEvent - failed close event\n  error code = 16\n"
      "  error desc = attempt to destroy a waiting event.3");
}

}  // namespace
