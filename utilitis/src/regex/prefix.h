// What a pattern may begin with: directors and embedded options.
#pragma once

#include <cstdint>
#include <optional>

#include "regex/scanner.h"

namespace Qorv::IMPL {

/// Goes behind the director and the options that the pattern begins with, and gives the flags that the rest
/// runs with. Nothing if either is invalid.
std::optional<std::uint32_t> ReadPrefix(Scanner& scanner, std::uint32_t flags);

}  // namespace Qorv::IMPL
