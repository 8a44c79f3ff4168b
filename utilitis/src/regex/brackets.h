// Bracket expressions.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "regex/scanner.h"
#include "regex/tree.h"

namespace Qorv::IMPL {

/// The element of ASCII with this name in the portable character set ("hyphen"). Nothing if there is none.
std::optional<std::uint32_t> FindElementName(std::u32string_view name) noexcept;

/// Reads a bracket expression from behind its opening bracket to behind its closing one. `flags` are those of
/// the pattern, `groups` is the number of groups seen so far. Nothing if the expression is invalid.
std::optional<CharSet> ParseBracket(Scanner& scanner, std::uint32_t flags, std::uint32_t groups);

}  // namespace Qorv::IMPL
