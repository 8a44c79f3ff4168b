// Locks, semaphores, events and queues under many threads: mutual exclusion and lost wake-ups.
//
// Each scenario takes a fraction of a second. An hour of all of them, from another start:
//
//     QORV_STRESS_SECONDS=200 QORV_STRESS_SEED=$RANDOM build/tsan/tests/stress/test_stress
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <deque>

#include <qorv/sync.h>

#include "stress/crowd.h"
#include "support/row_name.h"

namespace {

using TestStress::CMember;
using TestStress::CPair;
using TestStress::Crowd;

struct Mutex : Qorv::CMutex {
  bool TimedEnter(std::uint32_t limit) { return TimedLock(limit); }
};

struct Adjusted : Qorv::FASTKSV_SPIN_PCLOCK {
  Adjusted() { SetSpinCount(30); }
};

template <class Lock>
class LockStress : public testing::Test {};
using Locks = testing::Types<Mutex, Qorv::FASTKSV_PCLOCK, Qorv::FASTKSV_SPIN_PCLOCK, Adjusted,
                             Qorv::IMPL::CFastLock<Qorv::IMPL::CFixedSpin<800>>>;
TYPED_TEST_SUITE(LockStress, Locks);

TYPED_TEST(LockStress, OneAtATime) {
  TypeParam lock;
  CPair pair;
  std::atomic<std::uint64_t> changes{0};
  Crowd(6, [&](CMember& self) {
    std::uint64_t own = 0;
    while (!self.IsTimeUp()) {
      if (self.Choose(8) == 0) {
        if (!lock.TimedEnter(self.Choose(2))) continue;
      } else {
        lock.Enter();
      }
      const unsigned deeper = self.Choose(3);
      for (unsigned i = 0; i < deeper; ++i)
        lock.Enter();
      ASSERT_TRUE(pair.IsWhole());
      pair.Change();
      ++own;
      for (unsigned i = 0; i <= deeper; ++i)
        lock.Leave();
    }
    changes += own;
  });
  EXPECT_EQ(pair.Get(), changes);
  EXPECT_TRUE(lock.TimedEnter(0));
  lock.Leave();
}

TEST(SemStress, TurnstileLetsOneThrough) {
  Qorv::CSem turnstile(1, 1);
  CPair pair;
  std::atomic<std::uint64_t> changes{0};
  Crowd(6, [&](CMember& self) {
    std::uint64_t own = 0;
    while (!self.IsTimeUp()) {
      const unsigned way = self.Choose(4);
      if (way == 0 ? !turnstile.TryP() : way == 1 ? !turnstile.TimedP(1) : !turnstile.P()) continue;
      ASSERT_TRUE(pair.IsWhole());
      pair.Change();
      ++own;
      turnstile.V();
    }
    changes += own;
  });
  EXPECT_EQ(pair.Get(), changes);
  EXPECT_TRUE(turnstile.TryP());
  EXPECT_FALSE(turnstile.TryP());
}

// A leader lets all others out through one gate and in through another. Each raise must reach each of them.
TEST(EventStress, EachRaiseReachesEveryWaiter) {
  constexpr unsigned followers = 4;
  std::array<Qorv::CEvent, 2> gates{Qorv::CEvent(false), Qorv::CEvent(false)};
  Qorv::CSem passed(0, followers);
  std::atomic<bool> isOver{false};
  Crowd(followers + 1, [&](CMember& self) {
    for (std::size_t gate = 0;; gate = 1 - gate) {
      if (self.index != 0) {
        if (self.Choose(2) == 0) {
          gates[gate].WaitEvent();
        } else {
          while (!gates[gate].TimedWaitEvent(self.Choose(3))) {
          }
        }
        const bool isLast = isOver;
        passed.V();
        if (isLast) return;
        continue;
      }
      const bool isLast = self.IsTimeUp();
      if (isLast) isOver = true;
      gates[gate].RaiseEvent();
      for (unsigned i = 0; i < followers; ++i)
        passed.P();
      if (isLast) return;
      gates[gate].ResetEvent();
    }
  });
}

struct QueueRow {
  const char* name;
  std::uint32_t capacity;
};
const QueueRow queueRows[] = {{"OneItem", 1}, {"ThreeItems", 3}, {"ManyItems", 100}};

class QueueStress : public testing::TestWithParam<QueueRow> {};

// Each item arrives once, and those of one producer in their order.
TEST_P(QueueStress, ItemsArriveOnceAndInOrder) {
  constexpr unsigned producers = 3;
  struct Item {
    unsigned producer = producers;  // none: the end
    std::uint64_t number = 0;
  };
  Qorv::CMessageQueue<Item, Qorv::FASTKSV_SPIN_PCLOCK, std::deque<Item>> queue(GetParam().capacity);
  std::array<std::atomic<std::uint64_t>, producers> sumSent{};
  std::array<std::atomic<std::uint64_t>, producers> sumCame{};
  std::atomic<unsigned> busy{producers};
  Crowd(2 * producers, [&](CMember& self) {
    if (self.index < producers) {
      std::uint64_t sum = 0;
      std::uint64_t number = 0;
      for (; !self.IsTimeUp(); sum += number)
        queue.Push({self.index, ++number});
      sumSent[self.index] = sum;
      if (--busy != 0) return;
      for (unsigned i = 0; i < producers; ++i)
        queue.Push({});
      return;
    }
    std::array<std::uint64_t, producers> last{};
    std::array<std::uint64_t, producers> sums{};
    for (Item item;;) {
      queue.Pop(item);
      if (item.producer == producers) break;
      ASSERT_GT(item.number, last[item.producer]);
      last[item.producer] = item.number;
      sums[item.producer] += item.number;
    }
    for (unsigned i = 0; i < producers; ++i)
      sumCame[i] += sums[i];
  });
  for (unsigned i = 0; i < producers; ++i)
    EXPECT_EQ(sumCame[i], sumSent[i]);
}

INSTANTIATE_TEST_SUITE_P(Capacity, QueueStress, testing::ValuesIn(queueRows), rowName);

}  // namespace
