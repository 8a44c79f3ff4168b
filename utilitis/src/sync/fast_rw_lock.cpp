#include <qorv/detail/fast_rw_lock.h>

#include <thread>

#include <qorv/detail/fast_lock.h>

#include "sync/rw_index.h"
#include "sync/time_limit.h"

namespace Qorv::IMPL {
namespace {

constexpr std::uint32_t ordinarySpinCount = 800;
constexpr std::uint32_t looksPerClock = 1024;  // a clock costs more than a look

[[noreturn]] void RefuseRaise(RWCall call) {
  throw rwlExp(
      stringEx::view(call == RWCall::lock
                         ? "CFastWriterSpinLock::__Lock - more than one threads are trying to raise a reader "
                           "lock to a writer simutaneously."
                         : "CFastWriterSpinLock::__TimedLock - more than one threads are trying to raise a "
                           "reader lock to a writer simutaneously."),
      rwlCode::refusedUpgrade);
}

// What a thread that waits has put into the word of the lock: its place, or nothing yet.
struct COUNTED {
  std::atomic<std::uint64_t>& word;
  std::uint64_t place;
};

void Forget(void* counted) noexcept {
  const auto& [word, place] = *static_cast<COUNTED*>(counted);
  word.fetch_sub(place, std::memory_order_relaxed);
}

}  // namespace

CFastRWBlock::CFastRWBlock(std::uint32_t spinCount) : index_(AllocIndex(this)), spinCount_(spinCount) {}

CFastRWBlock::~CFastRWBlock() noexcept(false) {
  DropWhileUnwinding([this] { FreeIndex(index_); });
}

// One wait, after which the caller has to look for itself.
template <class Opens>
void CFastRWBlock::Await(const CTimeLimit& limit, Opens opens) const {
  const std::uint32_t count = spinCount_.load(std::memory_order_relaxed);
  std::uint32_t looks = !MultiProcessor ? 1 : count != 0 ? count : ordinarySpinCount;
  for (; looks > 0; --looks) {
    if (opens(word_.load(std::memory_order_relaxed))) return;
    if (looks % looksPerClock == 0) {
      BreakOffIfKilled();
      if (limit.IsOver()) return;
    }
    RelaxProcessor();
  }
  std::this_thread::yield();
  BreakOffIfKilled();
}

// Comes with a count in the word that it has no right to, and within a CKillHold.
RWHold CFastRWBlock::WaitForRead(std::uint32_t milliseconds) {
  word_.fetch_sub(1, std::memory_order_relaxed);
  if (IsWriter()) return AddWriteHold();
  const CTimeLimit limit(milliseconds);
  bool mayPassWaiting = false;
  while (!limit.IsOver()) {
    // Who has waited for a writer to leave is no new reader, and need not wait for the next one.
    mayPassWaiting = mayPassWaiting || (word_.load(std::memory_order_relaxed) & written) != 0;
    const auto isOpen = [=](std::uint64_t word) { return IsOpenToReader(word, mayPassWaiting); };
    Await(limit, isOpen);
    std::uint64_t word = word_.load(std::memory_order_relaxed);
    while (isOpen(word)) {
      if (!word_.compare_exchange_weak(word, word + 1, std::memory_order_acquire, std::memory_order_relaxed))
        continue;
      ++ownFastReads[index_];
      return RWHold::read;
    }
  }
  return RWHold::none;
}

// A thread without read holds gets the lock when there are no holds, a raising one when all holds are its own. It is
// the same test.
RWHold CFastRWBlock::WaitForWrite(std::uint32_t milliseconds, RWCall call) {
  if (IsWriter()) return AddWriteHold();
  const std::uint32_t own = ownFastReads[index_];
  const std::uint64_t place = own == 0 ? oneWaiting : oneWaiting | raising;
  const CTimeLimit limit(milliseconds);
  const CKillHold hold;
  COUNTED counted{word_, 0};
  const CKillUndo undo(Forget, &counted);
  for (;;) {
    std::uint64_t word = word_.load(std::memory_order_relaxed);
    if (GetHolds(word) == own) {
      if (word_.compare_exchange_weak(word, (word - counted.place) | written, std::memory_order_acquire,
                                      std::memory_order_relaxed)) {
        return StartWriting();
      }
      continue;
    }
    if (own != 0 && counted.place == 0 && (word & raising) != 0) RefuseRaise(call);
    if (limit.IsOver()) {
      Forget(&counted);
      return RWHold::none;
    }
    if (counted.place == 0) {
      if (!word_.compare_exchange_weak(word, word + place, std::memory_order_relaxed)) continue;
      counted.place = place;
    }
    Await(limit, [=](std::uint64_t now) { return GetHolds(now) == own; });
  }
}

}  // namespace Qorv::IMPL
