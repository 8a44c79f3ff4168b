#include <sys/times.h>
#include <unistd.h>

#include <algorithm>
#include <type_traits>

#include <qorv/detail/kill_hold.h>
#include <qorv/detail/lasting.h>
#include <qorv/sync.h>
#include <qorv/time.h>

#include "time/widened_count.h"

namespace Qorv {
namespace {

using Ticks = std::make_unsigned_t<clock_t>;

Ticks RawTicks() noexcept {
  tms unused;
  return static_cast<Ticks>(::times(&unused));
}

std::uint64_t ToMilliseconds(std::uint64_t ticks) noexcept {
  static const long perSecond = std::max(::sysconf(_SC_CLK_TCK), 1L);
  static const bool exact = 1000 % perSecond == 0;
  if (exact) return ticks * static_cast<std::uint64_t>(1000 / perSecond);
  return static_cast<std::uint64_t>(static_cast<double>(ticks) * (1000.0 / static_cast<double>(perSecond)));
}

using Lock = IMPL::CFastLock<IMPL::CFixedSpin<500>>;

struct WIDECOUNT {
  Lock lock;
  IMPL::CWidenedCount<Ticks> count QORV_GUARDED_BY(lock);
};
constinit IMPL::CLasting<WIDECOUNT> state;

}  // namespace

std::uint64_t GetTickCount() noexcept {
  return ToMilliseconds(RawTicks());
}

std::uint64_t GetTickCount64() {
  WIDECOUNT& wide = state.object;
  IMPL::CSafeScopeLock<Lock> guard(wide.lock);
  // Read inside the lock: an older value behind a newer one would count as a wrap.
  return ToMilliseconds(wide.count.Advance(RawTicks()));
}

}  // namespace Qorv
