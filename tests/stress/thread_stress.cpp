// Threads made, resumed, suspended, stopped and killed by the thousand, wherever they wait.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <deque>
#include <filesystem>
#include <iterator>
#include <memory>
#include <thread>

#include <qorv/sync.h>
#include <qorv/thread.h>

#include "stress/crowd.h"

namespace {

using Qorv::TThread;
using TestStress::CMember;
using TestStress::Crowd;

using Queue = Qorv::CMessageQueue<int, Qorv::FASTKSV_PCLOCK, std::deque<int>>;

// Everything that a thread can be killed in, shared by all of them.
struct GROUND {
  GROUND() {
    if (::pipe2(ends, O_CLOEXEC) != 0) std::abort();
    lock.Enter();
    for (int i = 0; i < 2; ++i)
      full.Push(i);
  }
  ~GROUND() {
    lock.Leave();
    ::close(ends[0]);
    ::close(ends[1]);
  }

  int ends[2];
  Qorv::CSem sem{0, 1};
  Qorv::FASTKSV_PCLOCK lock;  // held all the while
  Qorv::FASTKSV_PCLOCK busy;
  Qorv::CEvent event{false};
  Queue empty{4};
  Queue full{2};
  Queue passing{1};
};

enum class Place : unsigned { stop, sem, read, lock, event, empty, full, passing, nap, count };

// Allocates nothing and owns nothing: it may be broken off anywhere.
class CVictim : public TThread {
 public:
  CVictim(GROUND& ground, Place place) : ground_(ground), place_(place) {}
  ~CVictim() noexcept(false) override { Kill(0); }

 protected:
  std::uint32_t Run() override {
    while (!TestStop())
      Step();
    return 1;
  }

 private:
  void Step() {
    int item = 0;
    switch (place_) {
      case Place::stop:
        return;
      case Place::sem:
        ground_.sem.P();
        return;
      case Place::read:
        if (::read(ground_.ends[0], &item, 1) < 0) Yield();
        return;
      case Place::lock:
        ground_.lock.Enter();
        ground_.lock.Leave();
        return;
      case Place::event:
        ground_.event.WaitEvent();
        return;
      case Place::empty:
        ground_.empty.Pop(item);
        return;
      case Place::full:
        ground_.full.Push(item);
        return;
      // Comes and goes all the time: a kill finds it anywhere in the queue.
      case Place::passing:
        ground_.passing.Push(item);
        ground_.passing.Pop(item);
        return;
      default:
        SleepTick();
    }
  }

  GROUND& ground_;
  const Place place_;
};

std::ptrdiff_t CountThreads() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

TEST(ThreadStress, EveryEndIsToldAndNothingIsLeftHeld) {
  std::jthread([] {}).join();  // the first one brings a sanitizer's own thread with it
  const std::ptrdiff_t before = CountThreads();
  std::atomic<std::uint64_t> lives{0};
  {
    GROUND ground;
    Crowd(4, [&](CMember& self) {
      while (!self.IsTimeUp()) {
        const auto place = static_cast<Place>(self.Choose(static_cast<unsigned>(Place::count)));
        CVictim victim(ground, place);
        victim.Create(false, 1 << 17);
        ++lives;
        if (self.Choose(16) == 0) continue;  // the destructor kills one that was never let go
        victim.Resume();
        for (unsigned rests = self.Choose(3); rests > 0; --rests)
          TThread::Yield();
        const bool heedsStop = place == Place::stop || place == Place::nap;
        if (self.Choose(4) == 0) victim.Suspend();
        if (self.Choose(4) == 0 && victim.GetState() == Qorv::threadState::suspended) victim.Resume();
        if (heedsStop && self.Choose(2) == 0) {
          victim.TryStop();
          ASSERT_TRUE(victim.Wait(Qorv::waitForever));
        } else {
          victim.Kill(7);
          ASSERT_TRUE(victim.Wait(0));
          ASSERT_EQ(victim.GetState(), Qorv::threadState::killed);
        }
      }
    });
    int item = 0;
    for (int i = 0; i < 3; ++i)
      ground.empty.Push(i);
    for (int i = 0; i < 3; ++i) {
      ground.empty.Pop(item);
      EXPECT_EQ(item, i);
    }
    for (int i = 0; i < 2; ++i) {
      ground.full.Pop(item);
      EXPECT_EQ(item, i);
    }
    EXPECT_FALSE(ground.sem.TryP());
    EXPECT_FALSE(ground.event.TimedWaitEvent(1));
  }
  while (CountThreads() != before)  // a thread tells of its end before the system is done with it
    TThread::SleepTick();
  EXPECT_GT(lives, 0U);
}

}  // namespace
