// What the parser makes of a pattern and the rest of the engine works on.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

namespace Qorv::IMPL {

/// A set of elements: sorted inclusive ranges that neither overlap nor touch; none at all where nothing
/// matches. A narrow element counts as
/// unsigned, 0 to 255; a wide one as its 32-bit code.
struct CharSet {
  struct Span {
    std::uint32_t first;
    std::uint32_t last;
    bool operator==(const Span&) const = default;
  };
  std::vector<Span> spans;

  bool operator==(const CharSet&) const = default;
};

enum class NodeKind : std::uint8_t {
  empty,      ///< matches the empty text
  set,        ///< one element of CharSet number `index`
  concat,     ///< the children one after the other
  alternate,  ///< one of the children
  repeat,     ///< the one child `min` to `max` times
  group,      ///< the one child, captured as number `index` (from 1); without capture there is no node
  backRef,    ///< the text that group `index` matched last
  assertion,  ///< holds or not, between two elements
  lookAhead,  ///< the one child matches (or, `negated`, does not match) from here on; nothing is consumed
};

/// Which of several lengths a part of a pattern prefers. Parts without one have their length given by the
/// text, or by what stands around them.
enum class Preference : std::uint8_t { none, longest, shortest };

enum class Assertion : std::uint8_t {
  lineBegin,  ///< `^`: start of the text unless told otherwise; behind a line feed if the pattern anchors there
  lineEnd,    ///< `$`: end of the text; before a line feed if the pattern anchors there
  textBegin,    ///< `\A`: start of the text
  textEnd,      ///< `\Z`: end of the text
  wordBegin,    ///< `\m`, `[[:<:]]`: a word element behind, none before
  wordEnd,      ///< `\M`, `[[:>:]]`
  wordEdge,     ///< `\y`
  notWordEdge,  ///< `\Y`
};

struct Node {
  static constexpr std::uint32_t unlimited = std::numeric_limits<std::uint32_t>::max();

  NodeKind kind = NodeKind::empty;
  Preference preference = Preference::none;
  Assertion assertion = Assertion::lineBegin;
  bool greedy = true;       ///< of a repeat
  bool negated = false;     ///< of a lookAhead
  bool remembers = false;   ///< a group or a back reference is this node or below it
  std::uint32_t min = 1;    ///< of a repeat
  std::uint32_t max = 1;    ///< of a repeat; at least `min`, or unlimited
  std::uint32_t index = 0;  ///< of a set, group or backRef; of a lookAhead from 0, inner ones first
  std::vector<std::uint32_t> children;  ///< indices into the tree's nodes, in the order of the pattern
};

struct Tree {
  std::vector<Node> nodes;  ///< children stand before their parents
  std::vector<CharSet> sets;
  std::uint32_t root = 0;
  std::uint32_t groups = 0;  ///< capturing groups
  std::uint32_t lookAheads = 0;
  bool backReferences = false;
  std::uint32_t flags = 0;  ///< regexFlag bits after directors and embedded options
};

/// Parses a pattern. Elements of a narrow pattern count as unsigned. Case folding and newline stops are
/// already worked into the sets. Nothing if the pattern is invalid, or longer or deeper than CRegex allows.
template <class T>
std::optional<Tree> ParseRegex(std::basic_string_view<T> pattern, std::uint32_t flags);

extern template std::optional<Tree> ParseRegex(std::basic_string_view<char>, std::uint32_t);
extern template std::optional<Tree> ParseRegex(std::basic_string_view<wchar_t>, std::uint32_t);

/// What `\m`, `\y` and `\w` count as part of a word: letters and digits of ASCII, and the underscore.
constexpr bool IsWordElement(std::uint32_t element) noexcept {
  return (element >= '0' && element <= '9') || (element >= 'A' && element <= 'Z') || element == '_' ||
         (element >= 'a' && element <= 'z');
}

}  // namespace Qorv::IMPL
