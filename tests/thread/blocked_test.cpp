// Kills of threads that wait, and what is left of what they waited for.
#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <deque>
#include <memory>
#include <thread>

#include "support/actor.h"
#include "support/asleep.h"
#include "support/row_name.h"
#include "thread/probe.h"

namespace {

using Qorv::TThread;
using TestThread::CProbe;
using namespace Qorv::threadState;

// All that a thread can wait for. It goes, and must be able to, when the killed thread has gone.
struct SCENE {
  SCENE() { EXPECT_EQ(::pipe(pipe), 0); }
  SCENE(const SCENE&) = delete;
  SCENE& operator=(const SCENE&) = delete;
  ~SCENE() noexcept(false) {
    ::close(pipe[0]);
    ::close(pipe[1]);
  }

  Qorv::CSem sem{0, 1};
  Qorv::FASTKSV_PCLOCK lock;
  Qorv::CMessageQueue<int, Qorv::FASTKSV_PCLOCK, std::deque<int>> queue{1};
  Qorv::CEvent event{false};
  CProbe other{CProbe::ForEver};
  int pipe[2] = {-1, -1};
  TestSupport::CActor actor;  // a thread of the same kind that lives on
};

// Two at once must never be inside, as they would be with a turn left over.
void ExpectLockWorks(SCENE& scene) {
  std::atomic<bool> isInside{false};
  scene.actor.StartAndBlock([&] {
    scene.lock.Enter();
    isInside = true;
    scene.sem.P();
    scene.lock.Leave();
  });
  EXPECT_FALSE(isInside);
  scene.lock.Leave();
  scene.sem.V(1);
  scene.actor.Finish();
  // No waiter is counted any more, or it would not be free for those that only look.
  EXPECT_TRUE(scene.lock.TimedEnter(0));
  scene.lock.Leave();
}

struct BlockedRow {
  const char* name;
  void (*block)(SCENE&, CProbe&);
  void (*prepare)(SCENE&) = [](SCENE&) {};
  void (*check)(SCENE&) = [](SCENE&) {};
  bool waitsForItsKiller = false;  // and for nothing that lasts
};

const BlockedRow blockedRows[] = {
    {"InASemaphore", [](SCENE& s, CProbe&) { s.sem.P(); }},
    {"InARead",
     [](SCENE& s, CProbe&) {
       char byte = 0;
       while (::read(s.pipe[0], &byte, 1) != 0) {
       }
     }},
    {"InSleep", [](SCENE&, CProbe&) { TThread::Sleep(1'000'000); }},
    {"InSuspend",
     [](SCENE&, CProbe& self) {
       self.Suspend();
       self.TestStop();
     }},
    {"InALock", [](SCENE& s, CProbe&) { s.lock.Enter(); }, [](SCENE& s) { s.lock.Enter(); }, ExpectLockWorks},
    {"InALockWithAnotherBehind", [](SCENE& s, CProbe&) { s.lock.Enter(); },
     [](SCENE& s) {
       s.lock.Enter();
       s.actor.StartAndBlock([&s] {
         s.lock.Enter();
         s.lock.Leave();
       });
     },
     [](SCENE& s) {
       s.lock.Leave();
       s.actor.Finish();
       s.lock.Enter();
       ExpectLockWorks(s);
     }},
    {"InAnEmptyQueue",
     [](SCENE& s, CProbe&) {
       int item = 0;
       s.queue.Pop(item);
     },
     [](SCENE&) {},
     [](SCENE& s) {
       s.queue.Push(1);
       int item = 0;
       s.queue.Pop(item);
       EXPECT_EQ(item, 1);
     }},
    {"InAFullQueue", [](SCENE& s, CProbe&) { s.queue.Push(2); }, [](SCENE& s) { s.queue.Push(1); },
     [](SCENE& s) {
       for (int expected : {1, 3, 4}) {
         int item = 0;
         s.queue.Pop(item);
         EXPECT_EQ(item, expected);
         s.queue.Push(expected == 1 ? 3 : expected + 1);
       }
     }},
    {"InAnEvent", [](SCENE& s, CProbe&) { s.event.WaitEvent(); },
     [](SCENE& s) {
       // Who waits beside it is not woken.
       s.actor.StartAndBlock([&s] {
         s.event.WaitEvent();
         EXPECT_TRUE(s.event.IsRaised());
       });
     },
     [](SCENE& s) {
       s.event.RaiseEvent();
       s.actor.Finish();
     }},
    {"InATimedEvent", [](SCENE& s, CProbe&) { s.event.TimedWaitEvent(1'000'000); }},
    {"InAWaitForAnother", [](SCENE& s, CProbe&) { s.other.Wait(Qorv::waitForever); },
     [](SCENE& s) { s.other.Create(false, 0); }},
    {"InAWaitForAnotherThatEnds", [](SCENE& s, CProbe&) { s.other.Wait(Qorv::waitForever); },
     [](SCENE& s) { s.other.Create(false, 0); },
     [](SCENE& s) {
       s.other.Kill(1);
       EXPECT_EQ(s.other.GetState(), killed);
       s.other.Create(false, 0);  // which waits for those who wait
     }},
    {"AtItsOwnStateLock",
     [](SCENE&, CProbe& self) {
       for (;;)
         self.LockState();
     },
     [](SCENE&) {}, [](SCENE&) {}, true},
    {"InOperationsOnItself",
     [](SCENE&, CProbe& self) {
       for (;;)
         self.GetPriority();
     },
     [](SCENE&) {}, [](SCENE&) {}, true},
};

class Blocked : public testing::TestWithParam<BlockedRow> {};

// On its way into the wait, and in it.
TEST_P(Blocked, ThreadIsBrokenOffAndLeavesNothingBehind) {
  const BlockedRow& row = GetParam();
  for (int round = 0; round < 100; ++round) {
    SCENE scene;
    row.prepare(scene);
    {
      CProbe probe([&](CProbe& self) {
        self.MarkRunning();
        row.block(scene, self);
        return 0U;
      });
      probe.Create(false, 0);
      probe.Resume();
      probe.AwaitRunning();
      if (round % 2 == 0 && !row.waitsForItsKiller) TestSupport::AwaitAsleep(probe.GetId());
      probe.Kill(1);
      EXPECT_EQ(probe.GetState(), killed);
      EXPECT_EQ(probe.GetExitCode(), 101U);
      EXPECT_TRUE(probe.Wait(0));
    }
    row.check(scene);
  }
}

INSTANTIATE_TEST_SUITE_P(Kill, Blocked, testing::ValuesIn(blockedRows), rowName);

// Kills another, and is inside a Kill, as is that other, before either kill is sent.
class CMutual : public CProbe {
 public:
  explicit CMutual(std::atomic<int>& killers)
      : CProbe([this](CProbe& self) {
          self.MarkRunning();
          other->AwaitRunning();
          other->Kill(1);
          for (;;)
            SleepTick();
          return 0U;
        }),
        killers_(killers) {}
  ~CMutual() noexcept(false) override { Kill(0); }
  CMutual* other = nullptr;

 protected:
  void OnKill(std::uint32_t) override {
    for (++killers_; killers_ < 2;)
      std::this_thread::yield();
  }

 private:
  std::atomic<int>& killers_;
};

TEST(Kill, OfEachOtherEndsBoth) {
  for (int round = 0; round < 50; ++round) {
    std::atomic<int> killers{0};
    CMutual first(killers);
    CMutual second(killers);
    first.other = &second;
    second.other = &first;
    for (CMutual* const thread : {&first, &second}) {
      thread->Create(false, 0);
      thread->Resume();
    }
    while (killers < 2)
      std::this_thread::yield();
    for (CMutual* const thread : {&first, &second}) {
      thread->Kill(2);
      EXPECT_EQ(thread->GetState(), killed);
    }
  }
}

}  // namespace
