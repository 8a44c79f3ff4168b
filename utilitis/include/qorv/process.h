// What a process can ask about itself and its machine.
#pragma once

#include <cstdint>

namespace Qorv {

/// Memory of the machine, in bytes. Every pointer may be null; a figure that cannot be had is stored as all
/// ones. All null makes no system call. Never throws.
void GetSysMemInfo(std::uint64_t* totalPhys, std::uint64_t* freePhys, std::uint64_t* totalVirt,
                   std::uint64_t* freeVirt) noexcept;

}  // namespace Qorv
