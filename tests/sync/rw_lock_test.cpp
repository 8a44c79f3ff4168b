// The reader-writer locks: each state with each operation, the raising of readers, limits of time and of number.
#include <gtest/gtest.h>

#include <pthread.h>

#include <cerrno>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <qorv/sync.h>
#include <qorv/thread.h>

#include "support/actor.h"
#include "support/failure.h"

namespace {
bool failsNextStore = false;
}

// NOLINTBEGIN
extern "C" int __real_pthread_setspecific(pthread_key_t key, const void* value);
extern "C" int __wrap_pthread_setspecific(pthread_key_t key, const void* value);
extern "C" int __wrap_pthread_setspecific(pthread_key_t key, const void* value) {
  if (std::exchange(failsNextStore, false)) return ENOMEM;
  return __real_pthread_setspecific(key, value);
}
// NOLINTEND

namespace {

using TestSupport::CActor;
using TestSupport::FailureOf;

struct Sleeping {
  using Lock = Qorv::CRWLock;
  using Reader = Qorv::CReaderLock;
  using Writer = Qorv::CWriterLock;
  static constexpr const char* writerName = "CWriterLock";
};

struct Spinning {
  using Lock = Qorv::CFastRWSpinLock;
  using Reader = Qorv::CFastReaderSpinLock;
  using Writer = Qorv::CFastWriterSpinLock;
  static constexpr const char* writerName = "CFastWriterSpinLock";
};

// What anybody else can have now: all (F), reading (R) or nothing (W).
template <class Kind>
class CProbe {
 public:
  explicit CProbe(typename Kind::Lock& lock) : lock_(lock) {}

  char operator()() {
    char found = 'W';
    other_.Do([&] {
      if (typename Kind::Writer(lock_, false).__TimedLock(0)) {
        found = 'F';
      } else if (typename Kind::Reader(lock_, false).__TimedLock(0)) {
        found = 'R';
      }
    });
    return found;
  }
  // While there are read holds only, those who do not hold are kept out just by a writer that waits.
  void AwaitWaitingWriter() {
    while ((*this)() != 'W')
      std::this_thread::yield();
  }

 private:
  typename Kind::Lock& lock_;
  CActor other_;
};

template <class Kind>
class RWLock : public testing::Test {
 public:
  ~RWLock() noexcept override {}

 protected:
  using Reader = typename Kind::Reader;
  using Writer = typename Kind::Writer;

  typename Kind::Lock lock;
  CProbe<Kind> probe{lock};
  CActor other;
};

struct KindNames {
  template <class Kind>
  static std::string GetName(int) {
    return std::is_same_v<Kind, Sleeping> ? "CRWLock" : "CFastRWSpinLock";
  }
};
using Kinds = testing::Types<Sleeping, Spinning>;
TYPED_TEST_SUITE(RWLock, Kinds, KindNames);

// A thread and all that it holds.
template <class Kind>
class CParty {
 public:
  explicit CParty(typename Kind::Lock& lock) : lock_(lock) {}
  ~CParty() {
    while (!holds_.empty())
      Take('-');
  }

  // r, w: tries a read or a write hold; -, <: releases the youngest or the oldest. False if it was refused.
  bool Take(char step) {
    bool isDone = true;
    actor_.Do([&] {
      if (step == '-') return holds_.pop_back();
      if (step == '<') return static_cast<void>(holds_.erase(holds_.begin()));
      auto hold = std::make_unique<HOLD>(lock_);
      isDone = step == 'r' ? hold->reader.__TimedLock(0) : hold->writer.__TimedLock(0);
      if (isDone) holds_.push_back(std::move(hold));
    });
    return isDone;
  }

 private:
  struct HOLD {
    explicit HOLD(typename Kind::Lock& lock) : reader(lock, false), writer(lock, false) {}
    typename Kind::Reader reader;
    typename Kind::Writer writer;
  };

  typename Kind::Lock& lock_;
  std::vector<std::unique_ptr<HOLD>> holds_;
  CActor actor_;
};

struct StepsRow {
  const char* name;
  const char* steps;  // who, what, "!" if it is to be refused, and what others can have after that
};

const StepsRow stepsRows[] = {
    {"WriterIsAlone", "Aw:W Br!:W Bw!:W A-:F Bw:W B-:F"},
    {"ReadersShare", "Ar:R Br:R Bw!:R A-:R B-:F"},
    {"LoneReaderRaisesAndHasItsReadsBack", "Ar:R Ar:R Aw:W A-:R Br:R A-:R B-:R A-:F"},
    {"ReaderAmongOthersDoesNotRaise", "Ar:R Br:R Aw!:R Bw!:R B-:R Aw:W A-:R A-:F"},
    {"WriterWritesInside", "Aw:W Aw:W A-:W Br!:W A-:F"},
    {"WriterReadsInside", "Aw:W Ar:W A-:W A-:F"},
    {"InnerReadKeepsTheLockWritten", "Aw:W Ar:W A<:W Br!:W A-:F"},
    {"RaisedWriterGoesDeeper", "Ar:R Aw:W Aw:W Ar:W A-:W A-:W A-:R A-:F"},
    {"RaisedWriterLosesItsOnlyRead", "Ar:R Aw:W A<:W A-:F"},
    {"RaisedWriterLosesOneRead", "Ar:R Ar:R Aw:W A<:W A-:R A-:F"},
    {"RaisedWriterLosesTheReadUnderDeeperHolds", "Ar:R Aw:W Ar:W A<:W A<:W A-:F"},
    {"RaisesAgain", "Ar:R Aw:W A-:R Ar:R Aw:W A-:R A-:R A-:F"},
};

TYPED_TEST(RWLock, GoesFromStateToState) {
  for (const StepsRow& row : stepsRows) {
    CParty<TypeParam> a(this->lock);
    CParty<TypeParam> b(this->lock);
    std::string seen;
    for (const char* step = row.steps; *step != '\0';) {
      const bool isDone = (step[0] == 'A' ? a : b).Take(step[1]);
      seen.append(step, 2).append(isDone ? "" : "!").append({':', this->probe()});
      while (*step != ' ' && *step != '\0')
        ++step;
      if (*step == ' ') seen += *step++;
    }
    EXPECT_EQ(seen, row.steps) << row.name;
  }
}

TYPED_TEST(RWLock, OnlyOldReadersPassAWaitingWriter) {
  typename TestFixture::Reader first(this->lock);
  typename TestFixture::Writer writer(this->lock, false);
  this->other.Start([&] { writer.__Lock(); });
  this->probe.AwaitWaitingWriter();
  typename TestFixture::Reader second(this->lock, false);
  EXPECT_TRUE(second.__TimedLock(0));
  first.__Unlock();
  EXPECT_EQ(this->probe(), 'W');
  second.__Unlock();
  this->other.Finish();
  EXPECT_FALSE(first.__TimedLock(0));
  this->other.Do([&] { writer.__Unlock(); });
  EXPECT_EQ(this->probe(), 'F');
}

TYPED_TEST(RWLock, RefusesASecondRaisingReader) {
  const std::string name = TypeParam::writerName;
  const std::string reason =
      " - more than one threads are trying to raise a reader lock to a writer simutaneously.";
  typename TestFixture::Reader reader(this->lock);
  std::optional<typename TestFixture::Reader> otherReader;
  typename TestFixture::Writer otherWriter(this->lock, false);
  this->other.Do([&] { otherReader.emplace(this->lock); });
  this->other.Start([&] { otherWriter.__Lock(); });
  this->probe.AwaitWaitingWriter();

  typename TestFixture::Writer writer(this->lock, false);
  EXPECT_EQ(FailureOf<Qorv::rwlExp>([&] { writer.__Lock(); }), "10: " + name + "::__Lock" + reason);
  EXPECT_EQ(FailureOf<Qorv::rwlExp>([&] { writer.__TimedLock(0); }),
            "10: " + name + "::__TimedLock" + reason);
  EXPECT_FALSE(writer.IsHeld());
  EXPECT_TRUE(typename TestFixture::Reader(this->lock, false).__TimedLock(0));  // what it had it still has

  reader.__Unlock();
  this->other.Finish();
  EXPECT_EQ(this->probe(), 'W');
  this->other.Do([&] {
    otherWriter.__Unlock();
    otherReader.reset();
  });
  EXPECT_EQ(this->probe(), 'F');
}

// A raising reader is of the readers, so it comes before a writer that has waited longer.
TYPED_TEST(RWLock, RaisingReaderComesBeforeWritersThatWait) {
  typename TestFixture::Reader reader(this->lock);
  typename TestFixture::Writer otherWriter(this->lock, false);
  this->other.Start([&] { otherWriter.__Lock(); });
  this->probe.AwaitWaitingWriter();
  typename TestFixture::Writer writer(this->lock);
  writer.__Unlock();
  reader.__Unlock();
  this->other.Finish();
  EXPECT_EQ(this->probe(), 'W');
  this->other.Do([&] { otherWriter.__Unlock(); });
}

TYPED_TEST(RWLock, AttemptThatIsTooLateLeavesNothing) {
  for (const std::uint32_t limit : {0U, 1U}) {
    typename TestFixture::Reader reader(this->lock);
    std::optional<typename TestFixture::Reader> otherReader;
    this->other.Do([&] {
      EXPECT_FALSE(typename TestFixture::Writer(this->lock, false).__TimedLock(limit));
      EXPECT_EQ(this->probe(), 'R');
      otherReader.emplace(this->lock);
      EXPECT_FALSE(typename TestFixture::Writer(this->lock, false).__TimedLock(limit));
      EXPECT_EQ(this->probe(), 'R');
    });
    EXPECT_FALSE(typename TestFixture::Writer(this->lock, false).__TimedLock(limit));  // and is not refused
    this->other.Do([&] { otherReader.reset(); });
    EXPECT_TRUE(typename TestFixture::Writer(this->lock, false).__TimedLock(limit));
    typename TestFixture::Writer writer(this->lock);
    this->other.Do([&] {
      EXPECT_FALSE(typename TestFixture::Reader(this->lock, false).__TimedLock(limit));
      EXPECT_FALSE(typename TestFixture::Writer(this->lock, false).__TimedLock(limit));
    });
  }
  EXPECT_EQ(this->probe(), 'F');
}

// Runs once, as a thread that can be killed.
class CVictim : public Qorv::TThread {
 public:
  explicit CVictim(std::function<void()> body) : body_(std::move(body)) {
    Create(false, 0);
    Resume();
  }

 protected:
  std::uint32_t Run() override {
    body_();
    return 0;
  }

 private:
  const std::function<void()> body_;
};

TYPED_TEST(RWLock, KilledWaiterLeavesNothing) {
  typename TestFixture::Reader reader(this->lock);
  CVictim victim([this] { typename TestFixture::Writer writer(this->lock); });
  this->probe.AwaitWaitingWriter();
  victim.Kill(0);
  EXPECT_EQ(this->probe(), 'R');
  reader.__Unlock();
  EXPECT_EQ(this->probe(), 'F');
}

TYPED_TEST(RWLock, KilledRaisingReaderLeavesItsReadHoldAlone) {
  typename TestFixture::Reader reader(this->lock);
  CVictim victim([this] {
    typename TestFixture::Reader ownReader(this->lock);
    typename TestFixture::Writer writer(this->lock);
  });
  this->probe.AwaitWaitingWriter();
  victim.Kill(0);
  EXPECT_EQ(this->probe(), 'R');
  EXPECT_FALSE(typename TestFixture::Writer(this->lock, false).__TimedLock(0));  // and is not refused
}

TYPED_TEST(RWLock, LargeLimitsAreNone) {
  for (const std::uint32_t limit : {0x7FFFFFFFU, Qorv::waitForever}) {
    typename TestFixture::Reader reader(this->lock);
    this->other.Start([&] {
      typename TestFixture::Writer writer(this->lock, false);
      EXPECT_TRUE(writer.__TimedLock(limit));
      EXPECT_EQ(this->probe(), 'W');
    });
    this->probe.AwaitWaitingWriter();
    reader.__Unlock();
    this->other.Finish();
  }
}

TYPED_TEST(RWLock, WriterThatIsReaderAgainLetsReadersIn) {
  typename TestFixture::Reader reader(this->lock);
  typename TestFixture::Writer writer(this->lock);
  this->other.Start([&] { typename TestFixture::Reader otherReader(this->lock); });
  writer.__Unlock();
  this->other.Finish();
}

TYPED_TEST(RWLock, GuardIsReleasedAndTakenAgain) {
  {
    typename TestFixture::Writer writer(this->lock);
    writer.__Lock();  // holds once all the same
    EXPECT_TRUE(writer.__TimedLock(0));
    writer.__Unlock();
    writer.__Unlock();
    EXPECT_EQ(this->probe(), 'F');
    writer.__Lock();
    EXPECT_EQ(this->probe(), 'W');
  }
  EXPECT_EQ(this->probe(), 'F');
}

TYPED_TEST(RWLock, CopiesAreTheSameLock) {
  auto original = std::make_unique<typename TypeParam::Lock>();
  typename TypeParam::Lock copy(*original);
  typename TypeParam::Lock assigned;
  assigned = copy;
  CProbe<TypeParam> probeAssigned(assigned);
  typename TestFixture::Writer writer(*original);
  original.reset();
  EXPECT_EQ(probeAssigned(), 'W');
  typename TestFixture::Reader reader(copy, false);
  EXPECT_TRUE(reader.__TimedLock(0));  // it is the writer's own
  writer.__Unlock();
  reader.__Unlock();
  EXPECT_EQ(probeAssigned(), 'F');
}

// Objects of a thread, or of the process, may use a lock while they go.
TYPED_TEST(RWLock, IsOfUseToTheEndOfAThread) {
  struct User {
    typename TypeParam::Lock* lock = nullptr;
    ~User() {
      typename TestFixture::Reader reader(*lock);
      typename TestFixture::Writer writer(*lock);
    }
  };
  std::thread([&] {
    thread_local User user;
    user.lock = &this->lock;
    typename TestFixture::Reader reader(this->lock);
  }).join();
  EXPECT_EQ(this->probe(), 'F');
}

// The lock is handed over, so that the one that had it cannot have it first.
// A new thread may stand where the dead one stood.
TYPED_TEST(RWLock, HoldOfADeadThreadIsNobodys) {
  std::thread([this] {
    using Guard = typename TestFixture::Writer;
    alignas(Guard) static unsigned char room[sizeof(Guard)];
    new (room) Guard(this->lock, true);  // never released
  }).join();
  for (int i = 0; i < 8; ++i) {
    std::thread([this] {
      EXPECT_FALSE(typename TestFixture::Writer(this->lock, false).__TimedLock(0));
      EXPECT_FALSE(typename TestFixture::Reader(this->lock, false).__TimedLock(0));
    }).join();
  }
}

TEST(CRWLock, WriterInWaitIsNotOvertaken) {
  Qorv::CRWLock lock;
  Qorv::CWriterLock writer(lock);
  CActor other;
  Qorv::CWriterLock otherWriter(lock, false);
  other.StartAndBlock([&] { otherWriter.__Lock(); });
  writer.__Unlock();
  EXPECT_FALSE(writer.__TimedLock(0));
  EXPECT_FALSE(Qorv::CReaderLock(lock, false).__TimedLock(0));
  other.Finish();
  other.Do([&] { otherWriter.__Unlock(); });
  EXPECT_TRUE(writer.__TimedLock(0));
}

// It is no new reader, though a writer waits.
TEST(CRWLock, ReaderThatWaitedForAWriterJoinsTheNextReaders) {
  Qorv::CRWLock lock;
  Qorv::CReaderLock reader(lock);
  Qorv::CWriterLock writer(lock);
  CActor otherWriter;
  CActor otherReader;
  otherWriter.StartAndBlock([&] { Qorv::CWriterLock guard(lock); });
  otherReader.StartAndBlock([&] { Qorv::CReaderLock guard(lock); });
  writer.__Unlock();
  otherReader.Finish();
  reader.__Unlock();
  otherWriter.Finish();
}

TEST(CRWLock, CountThatCannotBeStoredChangesNothing) {
  Qorv::CRWLock lock;
  CProbe<Sleeping> probe(lock);
  Qorv::CReaderLock first(lock, false);
  Qorv::CReaderLock second(lock, false);
  Qorv::CWriterLock writer(lock, false);
  const struct {
    const char* name;
    std::function<void()> step;
    char before;
    char after;
  } rows[] = {
      {"FirstRead", [&] { first.__Lock(); }, 'F', 'R'},
      {"SecondRead", [&] { second.__Lock(); }, 'R', 'R'},
      {"Raise", [&] { writer.__Lock(); }, 'R', 'W'},
      {"ReleaseOfTheRaised", [&] { writer.__Unlock(); }, 'W', 'R'},
      {"ReleaseOfARead", [&] { second.__Unlock(); }, 'R', 'R'},
      {"ReleaseOfTheLast", [&] { first.__Unlock(); }, 'R', 'F'},
  };
  for (const auto& row : rows) {
    failsNextStore = true;
    EXPECT_EQ(FailureOf<Qorv::tlsExp>(row.step), "3: CTlsSlot::SetValue - error set TLS Slot") << row.name;
    EXPECT_EQ(probe(), row.before) << row.name;
    row.step();
    EXPECT_EQ(probe(), row.after) << row.name;
  }
}

}  // namespace
