#include "sync/rw_index.h"

#include <bit>
#include <cstddef>

#include <qorv/detail/lasting.h>
#include <qorv/sync.h>

namespace Qorv::IMPL {

constinit thread_local std::uint32_t ownFastReads[maxFastRWLocks] = {};

namespace {

class CIndexMap {
 public:
  constexpr CIndexMap() noexcept = default;

  // Different locks start their search at different words.
  std::uint32_t Take(const void* block) {
    const std::size_t start = reinterpret_cast<std::uintptr_t>(block) >> 10;
    CSafeScopeLock<Lock> guard(lock_);
    for (std::size_t i = start; i < start + wordCount; ++i) {
      const std::size_t place = i % wordCount;
      if (words_[place] == ~std::uint64_t{0}) continue;
      const int bit = std::countr_one(words_[place]);
      words_[place] |= std::uint64_t{1} << bit;
      return static_cast<std::uint32_t>(place * 64 + static_cast<std::size_t>(bit));
    }
    throw rwlExp(stringEx::view("AllocIndex - max count exceeded for the custom size spin rw-lock"),
                 rwlCode::indexExhausted);
  }

  void GiveBack(std::uint32_t index) {
    CSafeScopeLock<Lock> guard(lock_);
    words_[index / 64] &= ~(std::uint64_t{1} << (index % 64));
  }

 private:
  using Lock = CFastLock<CFixedSpin<2048>>;
  static constexpr std::size_t wordCount = maxFastRWLocks / 64;

  Lock lock_;
  std::uint64_t words_[wordCount] QORV_GUARDED_BY(lock_) = {};  // a set bit is a place taken
};

constinit CLasting<CIndexMap> indexes;  // locks that are static objects need it to their end

}  // namespace

std::uint32_t AllocIndex(const void* block) {
  return indexes.object.Take(block);
}

void FreeIndex(std::uint32_t index) {
  indexes.object.GiveBack(index);
}

}  // namespace Qorv::IMPL
