// What the Linux seam reads out of the kernel's text files, with the place of the file as an argument, so
// that tests can lay out machines that they do not run on.
#pragma once

#include <cstdint>

#include "misc/posix/platform.h"

namespace Qorv::IMPL::platform {

/// Sector size in bytes of block device `major`:`minor`, which may be a partition, below `sysRoot` ("/sys").
/// Returns 0 or an errno; ENOENT where there is no such block device.
int SysfsSectorSize(const char* sysRoot, unsigned major, unsigned minor, std::uint32_t* sectorSize) noexcept;

/// The figures of a file in the form of /proc/meminfo. Allocates nothing: it serves a machine short of
/// memory.
MEMINFO ReadMemInfo(const char* path) noexcept;

}  // namespace Qorv::IMPL::platform
