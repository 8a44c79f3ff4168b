// The bounded queue.
#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <new>
#include <thread>
#include <vector>

#include <qorv/string.h>
#include <qorv/sync.h>

#include "support/row_name.h"

namespace {

template <class Item>
using Queue = Qorv::CMessageQueue<Item, Qorv::FASTKSV_PCLOCK, std::deque<Item>>;

struct CrowdRow {
  const char* name;
  std::uint32_t capacity;
  int producers;
  int consumers;
};

class Crowd : public testing::TestWithParam<CrowdRow> {};

// Every item comes out once, those of one producer in their order, and never more are under way than the
// capacity.
TEST_P(Crowd, LosesNothingAndDoublesNothing) {
  constexpr int perProducer = 4000;
  constexpr int stop = -1;
  const CrowdRow& row = GetParam();
  Queue<int> queue(row.capacity);
  std::atomic<int> underWay{0};
  std::atomic<int> mostUnderWay{0};
  std::vector<std::vector<int>> received(static_cast<std::size_t>(row.consumers));
  std::vector<std::thread> consumers;
  for (auto& items : received) {
    consumers.emplace_back([&] {
      for (int item = 0;;) {
        queue.Pop(item);
        if (item == stop) return;
        --underWay;
        items.push_back(item);
      }
    });
  }
  std::vector<std::thread> producers;
  for (int p = 0; p < row.producers; ++p) {
    producers.emplace_back([&, p] {
      for (int i = 0; i < perProducer; ++i) {
        queue.Push(p * perProducer + i);
        int most = mostUnderWay;
        for (const int now = ++underWay; now > most && !mostUnderWay.compare_exchange_weak(most, now);) {
        }
      }
    });
  }
  for (std::thread& producer : producers)
    producer.join();
  for (int c = 0; c < row.consumers; ++c)
    queue.Push(stop);
  for (std::thread& consumer : consumers)
    consumer.join();

  std::vector<int> seen(static_cast<std::size_t>(row.producers * perProducer), 0);
  for (const std::vector<int>& items : received) {
    std::vector<int> last(static_cast<std::size_t>(row.producers), -1);
    for (const int item : items) {
      ++seen[static_cast<std::size_t>(item)];
      int& before = last[static_cast<std::size_t>(item / perProducer)];
      EXPECT_LT(before, item);
      before = item;
    }
  }
  for (const int count : seen)
    EXPECT_EQ(count, 1);
  // One more for each thread between its queue operation and the count.
  EXPECT_LE(mostUnderWay, static_cast<int>(row.capacity) + row.producers + row.consumers);
}

INSTANTIATE_TEST_SUITE_P(Queue, Crowd,
                         testing::Values(CrowdRow{"OneToOneThroughOnePlace", 1, 1, 1},
                                         CrowdRow{"FourToFourThroughOnePlace", 1, 4, 4},
                                         CrowdRow{"FourToOne", 3, 4, 1}, CrowdRow{"OneToFour", 100, 1, 4}),
                         rowName);

TEST(Queue, FullQueueBlocksUntilAPop) {
  Queue<int> queue(1);
  queue.Push(1);
  std::atomic<bool> isIn{false};
  std::thread producer([&] {
    queue.Push(2);
    isIn = true;
  });
  for (int i = 0; i < 200; ++i)
    std::this_thread::yield();
  EXPECT_FALSE(isIn);
  int item = 0;
  queue.Pop(item);
  EXPECT_EQ(item, 1);
  producer.join();
  queue.Pop(item);
  EXPECT_EQ(item, 2);
}

struct FailsToCopy {
  bool fails = false;
  FailsToCopy() = default;
  explicit FailsToCopy(bool f) : fails(f) {}
  FailsToCopy(const FailsToCopy& other) : fails(other.fails) {
    if (fails) throw std::bad_alloc();
  }
  FailsToCopy& operator=(const FailsToCopy&) = default;
};

TEST(Queue, PlaceOfAnItemThatCouldNotBeCopiedIsFreeAgain) {
  Queue<FailsToCopy> queue(1);
  const FailsToCopy bad(true);
  for (int i = 0; i < 3; ++i)
    EXPECT_THROW(queue.Push(bad), std::bad_alloc);
  const FailsToCopy good(false);
  queue.Push(good);
  FailsToCopy item(true);
  queue.Pop(item);
  EXPECT_FALSE(item.fails);
}

struct FailsToMoveOnce {
  int value = 0;
  FailsToMoveOnce& operator=(FailsToMoveOnce&& other) {
    if (std::exchange(other.value, other.value % 100) >= 100) throw std::bad_alloc();
    value = other.value;
    return *this;
  }
  FailsToMoveOnce() = default;
  explicit FailsToMoveOnce(int v) : value(v) {}
  FailsToMoveOnce(const FailsToMoveOnce&) = default;
  FailsToMoveOnce& operator=(const FailsToMoveOnce&) = delete;
};

TEST(Queue, ItemThatCouldNotBeMovedOutStaysTheFirst) {
  Queue<FailsToMoveOnce> queue(2);
  queue.Push(FailsToMoveOnce(105));
  queue.Push(FailsToMoveOnce(6));
  FailsToMoveOnce item;
  EXPECT_THROW(queue.Pop(item), std::bad_alloc);
  for (const int expected : {5, 6}) {
    queue.Pop(item);
    EXPECT_EQ(item.value, expected);
  }
  queue.Push(FailsToMoveOnce(7));  // both places are free again
  queue.Push(FailsToMoveOnce(8));
}

TEST(Queue, SharedPayloadIsNotCopied) {
  Queue<Qorv::stringEx> queue(2);
  const Qorv::stringEx text("payload");
  queue.Push(text);
  Qorv::stringEx out;
  queue.Pop(out);
  EXPECT_EQ(out.data(), text.data());
}

}  // namespace
