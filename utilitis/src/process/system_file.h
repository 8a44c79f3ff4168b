// Files that the system makes up when they are read.
#pragma once

#include <cstdint>

#include <qorv/string.h>

namespace Qorv::IMPL {

/// The content of such a file, which has no size of its own, but not more than `limit` bytes. Failures are those of
/// CSysFile.
stringEx ReadSystemFile(const char* path, std::uint64_t limit);

}  // namespace Qorv::IMPL
