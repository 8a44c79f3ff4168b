// The escapes of the advanced syntax.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "regex/scanner.h"
#include "regex/tree.h"

namespace Qorv::IMPL {

/// What stands behind a backslash.
struct Escape {
  enum class Kind : std::uint8_t { element, set, assertion, backRef };

  Kind kind = Kind::element;
  std::uint32_t value = 0;  ///< the element, or the number of the group
  std::span<const CharSet::Span> spans;
  bool negated = false;  ///< the set is all but the spans
  Assertion assertion = Assertion::lineBegin;
};

/// Reads one escape from behind its backslash on. `groups` is the number of groups seen so far: it tells back
/// references from octal numbers. Nothing if the escape is invalid, or means an element beyond the highest.
std::optional<Escape> ParseEscape(Scanner& scanner, std::uint32_t groups);

}  // namespace Qorv::IMPL
