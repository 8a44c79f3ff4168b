// Files that the system makes up when they are read.
#pragma once

#include <cstdint>

#include <qorv/string.h>

namespace Qorv::IMPL {

/// The content of such a file, which has no size of its own, but not more than `limit` bytes. Failures are those of
/// CSysFile.
stringEx ReadSystemFile(const char* path, std::uint64_t limit);

/// The text of a command line as the system keeps it, where each argument ends in a zero byte: a blank between each two,
/// and quotes around one with white space. A line that a program has made one text of stays as it is.
stringEx CommandLineText(stringEx line);

}  // namespace Qorv::IMPL
