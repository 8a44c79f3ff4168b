// Conversion by the encoding of the process, as the strings see it.
#pragma once

#include <qorv/string.h>

namespace Qorv::IMPL {

/// Append `source` to `dest` by way of the calling thread's conversion object. False if that cannot be done: `dest` is then
/// as it was.
bool AppendWideByEncoding(wstringEx& dest, const stringEx& source) noexcept;
bool AppendNarrowByEncoding(stringEx& dest, const wstringEx& source) noexcept;

}  // namespace Qorv::IMPL
