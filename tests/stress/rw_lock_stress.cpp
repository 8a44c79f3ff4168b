// Reader-writer locks under many threads.
#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include <qorv/sync.h>

#include "stress/crowd.h"

namespace {

using TestStress::CMember;
using TestStress::CPair;
using TestStress::Crowd;

struct Sleeping {
  using Lock = Qorv::CRWLock;
  using Reader = Qorv::CReaderLock;
  using Writer = Qorv::CWriterLock;
};
struct Spinning {
  using Lock = Qorv::CFastRWSpinLock;
  using Reader = Qorv::CFastReaderSpinLock;
  using Writer = Qorv::CFastWriterSpinLock;
};

template <class Forms>
class RWStress : public testing::Test {};
using RWForms = testing::Types<Sleeping, Spinning>;
TYPED_TEST_SUITE(RWStress, RWForms);

TYPED_TEST(RWStress, ReadersSeeNoHalfOfAChange) {
  using Reader = typename TypeParam::Reader;
  using Writer = typename TypeParam::Writer;
  typename TypeParam::Lock lock;
  CPair pair;
  std::atomic<std::uint64_t> changes{0};
  Crowd(6, [&](CMember& self) {
    typename TypeParam::Lock copy(lock);
    std::uint64_t own = 0;
    while (!self.IsTimeUp()) {
      switch (self.Choose(8)) {
        case 0: {
          Writer writer(copy);
          pair.Change();
          ++own;
          Reader inner(copy);
          ASSERT_TRUE(pair.IsWhole());
          break;
        }
        case 1: {
          Writer writer(copy, false);
          if (!writer.__TimedLock(self.Choose(3))) break;
          pair.Change();
          ++own;
          break;
        }
        case 2: {  // raises its hold; of several who do so at a time one gets through, and the others give way
          Reader reader(copy);
          const std::uint64_t seen = pair.Get();
          try {
            Writer writer(copy, false);
            if (self.Choose(2) == 0) {
              writer.__Lock();
            } else if (!writer.__TimedLock(self.Choose(15))) {
              break;
            }
            ASSERT_EQ(pair.Get(), seen);
            pair.Change();
            ++own;
          } catch (const Qorv::rwlExp& failure) {
            ASSERT_EQ(failure.GetCode(), Qorv::rwlCode::refusedUpgrade);
          }
          ASSERT_TRUE(pair.IsWhole());
          break;
        }
        case 3: {
          Reader reader(copy, false);
          if (!reader.__TimedLock(self.Choose(3))) break;
          ASSERT_TRUE(pair.IsWhole());
          break;
        }
        default: {
          Reader reader(copy);
          const std::uint64_t seen = pair.Get();
          Reader again(copy);
          ASSERT_TRUE(pair.IsWhole());
          ASSERT_EQ(pair.Get(), seen);
        }
      }
    }
    changes += own;
  });
  EXPECT_EQ(pair.Get(), changes);
  Writer last(lock, false);
  EXPECT_TRUE(last.__TimedLock(0));
}

// A thread that holds the only read hold of a lock gets the write side at once. With a place shared between two
// locks its count would be wrong.
TEST(FastRWStress, NoTwoFastLocksShareAPlace) {
  Crowd(4, [&](CMember& self) {
    while (!self.IsTimeUp()) {
      std::vector<Qorv::CFastRWSpinLock> locks;
      try {
        for (unsigned count = self.Choose(4000); count > 0; --count) {
          locks.emplace_back();
          Qorv::CFastReaderSpinLock reader(locks.back());
          Qorv::CFastWriterSpinLock writer(locks.back(), false);
          ASSERT_TRUE(writer.__TimedLock(0));
        }
      } catch (const Qorv::rwlExp& failure) {
        ASSERT_EQ(failure.GetCode(), Qorv::rwlCode::indexExhausted);
      }
      if (locks.size() < 2) continue;
      Qorv::CFastReaderSpinLock first(locks.front());
      Qorv::CFastReaderSpinLock last(locks.back());
      Qorv::CFastWriterSpinLock raised(locks.front(), false);
      ASSERT_TRUE(raised.__TimedLock(0));
    }
  });
}

}  // namespace
