// Eight threads on one tree: what one of them changes in an exclusive step, no other ever sees half-done.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <qorv/error.h>
#include <qorv/registry.h>

#include "registry/tree_support.h"
#include "support/failure.h"

namespace {

using namespace Qorv;
using TestSupport::FailureOf;
using TestSupport::RandomTree;

// Both halves of the pair in the key "pair".
std::pair<std::uint64_t, std::uint64_t> PairOf(const CFakeRegistry& root) {
  std::uint64_t left = 0;
  std::uint64_t right = 0;
  const CFakeRegistry pair = root.ObtainSubkey("pair");
  pair.ReadValue("left", left);
  pair.ReadValue("right", right);
  return {left, right};
}

TEST(Threads, WorkOnOneTree) {
  CFakeRegistry root = RandomTree(7, 40);
  {
    CFakeRegistry pair = root.GainSubkey("pair");
    pair.WriteValue("left", std::uint64_t{0});
    pair.WriteValue("right", std::uint64_t{0});
  }
  std::atomic<bool> goesOn{true};
  std::atomic<std::uint64_t> steps{0};
  std::atomic<std::uint64_t> broken{0};
  std::atomic<std::uint64_t> writers{0};

  const auto write = [&] {
    CFakeRegistry pair = root.ObtainSubkey("pair");  // a handle of its own
    if (!pair.BeginExclusiveAccess(50)) return;
    std::uint64_t left = 0;
    pair.ReadValue("left", left);
    pair.WriteValue("left", left + 1);
    pair.WriteValue("right", left + 1);
    pair.EndExclusiveAccess();
    ++writers;
  };
  const auto read = [&] {
    CFakeRegistry pair = root.ObtainSubkey("pair");
    if (!pair.BeginExclusiveAccess(50)) return;
    std::uint64_t left = 0;
    std::uint64_t right = 1;
    pair.ReadValue("left", left);
    pair.ReadValue("right", right);
    pair.EndExclusiveAccess();
    if (left != right) ++broken;
  };
  const auto save = [&] {
    const byteEx image = root.Save();
    CFakeRegistry opened;
    opened.Open(image.data(), image.length());
    const auto [left, right] = PairOf(opened);
    if (left != right) ++broken;
  };
  const auto copy = [&] {
    CFakeRegistry own = root;
    own.Unshare(false);
    const auto [left, right] = PairOf(own);
    if (left != right) ++broken;
    own.ObtainSubkey("pair").WriteValue("left", ~std::uint64_t{0});  // nobody else's
    byteEx data;
    own._MakeDiff(data, RandomTree(3, 4));
  };
  const auto grow = [&] {
    const std::uint64_t n = steps.load() % 16;
    const std::string name = "grown\\" + std::to_string(n) + "\\below";
    CFakeRegistry below = root.GainSubkey(std::string_view(name));
    below.WriteValue("v", n);
    if (n % 3 == 0) root.RemoveSubkey("grown", true);
    below.WriteValue("w", n);  // still there for its handle
  };
  const auto list = [&] {
    std::vector<stringEx> names;
    root.GetAllSubkeys(names);
    stringEx text;
    root.ExportIni(text);
    root.CheckCircularReferernce();
  };

  const std::function<void()> work[] = {write, write, read, read, save, copy, grow, list};
  std::vector<std::thread> threads;
  for (const auto& step : work) {
    threads.emplace_back([&goesOn, &steps, &step] {
      while (goesOn) {
        step();
        ++steps;
      }
    });
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  goesOn = false;
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(0u, broken);
  EXPECT_EQ(writers, PairOf(root).first) << "no step is lost";
  EXPECT_EQ(writers, PairOf(root).second);
  EXPECT_GT(writers, 0u);
}

// Two trees into one another from both sides at once.
TEST(Threads, DoNotWaitForEachOther) {
  CFakeRegistry one = RandomTree(1, 20);
  CFakeRegistry two = RandomTree(2, 20);
  const auto import = [](CFakeRegistry& into, const CFakeRegistry& from) {
    for (int i = 0; i < 100; ++i) {
      into.Import(from);
      into.Update(from);
    }
  };
  std::thread left([&] { import(one, two); });
  std::thread right([&] { import(two, one); });
  left.join();
  right.join();
  EXPECT_EQ(one.GetSubkeyCount(), two.GetSubkeyCount());
}

// Notes who writes. The first one lets the other begin, and gives it time to.
class NotingSink final : public TDataSink {
 public:
  NotingSink(std::vector<char>& order, std::atomic<bool>& hasBegun, char who)
      : order_(order), hasBegun_(hasBegun), who_(who) {}
  bool IsValid() const override { return true; }
  std::size_t Write(const void*, std::size_t size) override {
    if (!hasBegun_.exchange(true)) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    order_.push_back(who_);
    return size;
  }
  void Flush() override {}

 private:
  std::vector<char>& order_;  // of one key at a time, and so needs no lock of its own
  std::atomic<bool>& hasBegun_;
  char who_;
};

TEST(Threads, SaveOneKeyOneAfterTheOther) {
  CFakeRegistry one = RandomTree(5, 60);
  one.WriteValue("large",
                 byteEx(reinterpret_cast<const unsigned char*>(std::string(30000, 'x').data()), 30000));
  CFakeRegistry other = one;
  std::vector<char> order;
  std::atomic<bool> hasBegun{false};
  NotingSink first(order, hasBegun, 'a');
  NotingSink second(order, hasBegun, 'b');
  std::thread thread([&] { one.Save(first); });
  while (!hasBegun)
    std::this_thread::yield();
  other.Save(second);
  thread.join();
  const std::string written(order.begin(), order.end());
  EXPECT_GT(written.size(), 2u);
  EXPECT_EQ(written, std::string(written.size() / 2, 'a') + std::string(written.size() / 2, 'b'));
}

TEST(Threads, WaitForExclusiveAccessAsLongAsTheySay) {
  CFakeRegistry key;
  key.GainSubkey("");
  CFakeRegistry same = key;
  ASSERT_TRUE(key.BeginExclusiveAccess(0));
  ASSERT_TRUE(key.BeginExclusiveAccess(0)) << "it nests";
  std::thread([&] {
    EXPECT_FALSE(same.BeginExclusiveAccess(0));
    EXPECT_FALSE(same.BeginExclusiveAccess(30));
    EXPECT_FALSE(key.BeginExclusiveAccess(30));
  }).join();
  // A new key is as much this thread's own as the old one was.
  key.Open(same.Save().data(), same.Save().length());
  std::thread([&] {
    EXPECT_TRUE(same.BeginExclusiveAccess(0)) << "the old key is free";
    same.EndExclusiveAccess();
    EXPECT_FALSE(key.BeginExclusiveAccess(30));
  }).join();
  key = CFakeRegistry();
  key.EndExclusiveAccess();
  key = same;
  key.EndExclusiveAccess();
  std::thread([&] {
    EXPECT_TRUE(key.BeginExclusiveAccess(0));
    key.EndExclusiveAccess();
  }).join();
}

}  // namespace
