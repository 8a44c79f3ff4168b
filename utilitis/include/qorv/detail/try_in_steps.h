// Waiting for a lock without joining its queue.
#pragma once

#include <algorithm>
#include <cstdint>

namespace Qorv::IMPL {

extern const bool MultiProcessor;

/// Milliseconds from one round of tries to the next.
inline constexpr std::uint32_t stepLength = 10;

/// Sleeps a whole step, signals or not.
void SleepStep();

/// Calls `attempt` in rounds, a step apart, until it is true or `milliseconds`, at least one step, are used up. True
/// if it was. Whoever waits so can be overtaken by all others, and need not be handed anything.
template <class Attempt>
bool TryInSteps(std::uint32_t milliseconds, Attempt&& attempt) {
  const int triesPerRound = MultiProcessor ? 500 : 1;
  for (std::uint32_t left = std::max(milliseconds, stepLength); left > 0;
       left -= std::min(left, stepLength)) {
    for (int tries = triesPerRound; tries > 0; --tries)
      if (attempt()) return true;
    SleepStep();
  }
  return false;
}

}  // namespace Qorv::IMPL
