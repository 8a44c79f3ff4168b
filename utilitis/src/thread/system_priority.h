// Levels of priority in numbers of the system.
#pragma once

#include <cstdint>

namespace Qorv::IMPL {

/// The system's priority for a level of 0 to 6 under a scheduling policy: the level's step between the policy's least
/// and its largest, 6 being the largest. 0 where the policy has none, and what the system will refuse for a level that
/// there is not.
int SystemPriority(std::int32_t policy, std::uint32_t level);

}  // namespace Qorv::IMPL
