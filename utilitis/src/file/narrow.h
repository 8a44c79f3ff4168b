// The one place where this folder turns wide text into the bytes that the system takes.
#pragma once

#include <qorv/string.h>

namespace Qorv::IMPL {

/// `text` in the process's encoding. Where that has no place for all of it, in UTF-8 instead: what was dropped might leave the
/// name of another file. '?' for an element that is no character.
stringEx NarrowForSystem(const wstringEx& text);

}  // namespace Qorv::IMPL
