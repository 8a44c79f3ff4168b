// An operator's text in the place of a format.
#pragma once

#include <cstdint>

#include <qorv/string.h>

/// Expands `text` as a printf format with the one integer `argument`. The first directive that an integer can
/// serve (d, i, o, u, x, X, c; length modifiers make no difference) is carried out, "%%" becomes "%", and
/// every other directive stays as it is typed: no text can do harm. A width or precision above 4096 counts as
/// one that cannot be served.
Qorv::stringEx ExpandOperatorText(const Qorv::stringEx& text, std::uint64_t argument);
