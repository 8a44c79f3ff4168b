// Constants that every room of the library shares.
#pragma once

#include <cstdint>
#include <limits>

namespace Qorv {

/// The signed 64-bit number that stands for "no valid value": the one with only the top bit set. As a time it
/// means that no time is known; as a position it is one that no file can have.
inline constexpr std::int64_t invalidInt64 = std::numeric_limits<std::int64_t>::min();

/// The position or count that means "not found" or "up to the end".
inline constexpr std::uint64_t npos = std::numeric_limits<std::uint64_t>::max();

/// A 32-bit number of milliseconds that stands for "no time limit".
inline constexpr std::uint32_t waitForever = std::numeric_limits<std::uint32_t>::max();

}  // namespace Qorv
