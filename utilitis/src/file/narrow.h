// The one place where this folder turns wide text into the bytes that the system takes.
#pragma once

#include <qorv/string.h>

namespace Qorv::IMPL {

/// `text` in UTF-8, element by element; '?' for an element that is no character.
stringEx NarrowForSystem(const wstringEx& text);

}  // namespace Qorv::IMPL
