// Advanced regular expressions over narrow and wide text.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include <qorv/string.h>

namespace Qorv {

/// Bits of the flags of a pattern.
namespace regexFlag {
inline constexpr std::uint32_t extended = 1;  ///< extended syntax; without it and `advanced`, basic syntax
inline constexpr std::uint32_t advanced = 3;  ///< advanced syntax, with directors and embedded options
inline constexpr std::uint32_t quote = 4;     ///< the whole pattern is literal text
inline constexpr std::uint32_t ignoreCase = 8;
inline constexpr std::uint32_t expanded = 32;       ///< white space and comments in the pattern are skipped
inline constexpr std::uint32_t stopAtNewline = 64;  ///< `.` and `[^...]` do not match a line feed
inline constexpr std::uint32_t anchorAtNewline = 128;  ///< `^` and `$` match at every line feed too
inline constexpr std::uint32_t newline = stopAtNewline | anchorAtNewline;
}  // namespace regexFlag

/// Bits of the flags of a search.
namespace searchFlag {
inline constexpr std::uint32_t notAtBeginning =
    1;  ///< the text does not begin a line: `^` fails at its start
}  // namespace searchFlag

namespace IMPL {
class RegexProgram;
template <class T>
class RegexMatcher;
}  // namespace IMPL

template <class T>
class CRegexSearch;

/// A compiled pattern: a counted handle on something that never changes. Copies share it; any number of
/// threads may search with one handle at once. A default-made handle is empty and finds nothing.
///
/// Patterns are advanced regular expressions: branches, capturing and other groups, quantifiers that prefer
/// more or, with a "?" behind, less, brackets with classes, back references, look-ahead, escapes, the
/// directors "***:" and "***=", options in front as in "(?in)", and comments. Extended and basic syntax are
/// there for patterns that ask for them. No rule depends on a locale: word elements and classes are those of
/// ASCII, also for wide text, and ignoring case folds A to Z.
///
/// Of all matches the leftmost is found. Whether it is the longest or the shortest from there is decided by
/// the first quantified atom of the pattern that prefers anything, and is the longest for branches and where
/// nothing prefers. Then the parts have their say by the same rule within what is left to them, earlier ones
/// before later ones, outer ones before inner ones; of branches the first that fits its piece is taken. An
/// iteration of a repeat counts as a part: those that must be go by the rule, none of the others is empty,
/// but a repeat that prefers more takes one empty iteration rather than none. A group has what its last
/// iteration gave it, and nothing from earlier iterations of what it stands in.
template <class T>
class CRegex {
 public:
  using text_view = std::basic_string_view<T>;

  CRegex() noexcept = default;

  /// The pattern compiled, or an empty handle if it is empty, invalid, or too large: more than
  /// maxPatternLength elements, groups nested deeper than maxDepth, repetitions that unfold to more than
  /// maxStates states, or to sixteen times as many counted for each group they stand in, or more than 256
  /// look-aheads. Throws std::bad_alloc alone.
  static CRegex Compile(text_view pattern, std::uint32_t flags = regexFlag::advanced);

  explicit operator bool() const noexcept { return program_ != nullptr; }
  /// The flags the pattern runs with, embedded options included; 0 for an empty handle.
  std::uint32_t GetFlags() const noexcept;
  /// Number of capturing groups.
  std::uint32_t GetGroupCount() const noexcept;

  /// Finds the leftmost match in `text` that begins at or behind `start`; what stands before `start` is seen
  /// by constraints only. Fills ranges[0 .. count) with the whole match and its groups, {npos, 0} for those
  /// that took no part. False, with ranges untouched, if there is none, `start` lies beyond the end, or the
  /// handle is empty. Takes time in proportion to the length of the text from `start` on, unless the pattern
  /// has back references: then all ways are tried until one fits, which may take exponential time. Throws
  /// std::bad_alloc, and the handle stays as good as before.
  bool Exec(text_view text, std::uint64_t start, RANGE* ranges, std::uint64_t count,
            std::uint32_t flags = 0) const;

  static constexpr std::uint64_t maxPatternLength = 65536;  ///< elements
  static constexpr std::uint32_t maxDepth = 250;            ///< groups within groups
  static constexpr std::uint32_t maxStates = 20000;

 private:
  friend class CRegexSearch<T>;
  std::shared_ptr<const IMPL::RegexProgram> program_;
};

/// Runs one pattern over one text, match after match. Keeps the pattern, but not the text, which must outlive
/// it. One thread at a time.
///
/// The next match is looked for behind the last one, and one element further on after an empty match, with
/// the text before it in view: `^` matches there only behind a line feed, and only if the pattern anchors at
/// line feeds. All matches together, too, take time in proportion to the length of the text, unless the
/// pattern has back references; if each is found only by a look far beyond it, memory as well, eight bytes an
/// element.
template <class T>
class CRegexSearch {
 public:
  CRegexSearch(const CRegex<T>& regex, std::basic_string_view<T> text, std::uint64_t start = 0,
               std::uint32_t flags = 0);
  CRegexSearch(const CRegexSearch&) = delete;
  CRegexSearch& operator=(const CRegexSearch&) = delete;
  ~CRegexSearch();

  /// Finds the next match and fills ranges[0 .. count) as CRegex::Exec does. False when there is none.
  bool Next(RANGE* ranges, std::uint64_t count);

 private:
  std::unique_ptr<IMPL::RegexMatcher<T>> matcher_;
  std::uint64_t position_;
};

using regexHandle = CRegex<char>;
using wregexHandle = CRegex<wchar_t>;

extern template class CRegex<char>;
extern template class CRegex<wchar_t>;
extern template class CRegexSearch<char>;
extern template class CRegexSearch<wchar_t>;

}  // namespace Qorv
