// A slow and obvious judge of the pattern engine: the matching rules written down once more, with a parser
// of their own for the syntax that the tests make patterns of.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include <qorv/string.h>

namespace twin {

/// Which of several lengths a part wants to have.
enum class Wish { none, longest, shortest };

enum class Kind {
  nothing,
  element,     ///< `letter`
  any,         ///< any element; with newline stops not a line feed
  constraint,  ///< `letter`: ^ and $, or that of an escape
  lookAhead,   ///< `first` matches (or, `negated`, does not match) from here on
  pair,        ///< `first`, then `second`
  either,      ///< `first`, or else `second`
  repeat,      ///< `first`, `min` to `max` times; it opens the groups from `group` up to `groupsEnd`
  capture,     ///< `first`, kept as `group`
  backRef,     ///< the text of `group`
};

struct Part {
  Kind kind = Kind::nothing;
  Wish wish = Wish::none;
  bool negated = false;
  bool greedy = true;
  char letter = '\0';
  std::size_t min = 0;
  std::size_t max = 0;
  std::size_t group = 0;
  std::size_t groupsEnd = 0;
  std::size_t first = 0;
  std::size_t second = 0;
};

struct Pattern {
  std::vector<Part> parts;
  std::size_t root = 0;
  std::size_t groupCount = 1;  ///< the whole match included
  std::uint32_t flags = 0;
};

/// Knows | ( ) (?: (?= (?! * + ? {m} {m,} {m,n} and their non-greedy forms, ^ $ . \A \Z \m \M \y \Y \1 to \9.
/// Nothing if the pattern is invalid.
std::optional<Pattern> Parse(std::string_view pattern, std::uint32_t flags);

/// What CRegex::Exec should find: the whole range and that of each group, or nothing at all. Takes time that
/// grows exponentially with the text.
std::vector<Qorv::RANGE> Exec(const Pattern& pattern, std::string_view text, std::size_t start,
                              std::uint32_t searchFlags);

}  // namespace twin
