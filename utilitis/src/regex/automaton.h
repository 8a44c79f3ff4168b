// An automaton over the colours of a pattern, built while it runs.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "regex/marks.h"
#include "regex/program.h"
#include "regex/text.h"

namespace Qorv::IMPL {

/// A state is the set of instructions that an element may meet, together with what stood before it. What
/// assertions ask of the next element is settled when that element is taken; so a match shows one element
/// behind its end, or at the end of the text.
///
/// The table grows as states are met, up to a limit, behind which it starts anew. One thread at a time.
class RegexAutomaton {
 public:
  enum class Mode : std::uint8_t {
    search,    ///< matches may begin anywhere
    forward,   ///< matches begin where the run begins
    backward,  ///< the same towards the start of the text
  };
  RegexAutomaton(const RegexProgram& program, std::uint32_t entry, Mode mode);
  RegexAutomaton(const RegexAutomaton&) = delete;
  RegexAutomaton& operator=(const RegexAutomaton&) = delete;

  /// The first place at or behind `from` where any match ends, or npos; no match that is alive there began
  /// before `cold`. In search mode.
  template <class T>
  std::uint64_t FindEnd(const RegexText<T>& text, std::uint64_t from, std::uint64_t& cold);
  /// The farthest, or the first, end of a match that begins at `from`; npos if there is none. `looked` is the
  /// place up to which it looked. In forward mode.
  template <class T>
  std::uint64_t PickEnd(const RegexText<T>& text, std::uint64_t from, bool isShortest, std::uint64_t& looked);
  /// The farthest start, at or behind `limit`, of a match that ends at `from`. In backward mode.
  template <class T>
  std::uint64_t PickStart(const RegexText<T>& text, std::uint64_t from, std::uint64_t limit);

 private:
  using Entry = std::uint32_t;
  // An entry of the table is the row to go to and what there is to say about it.
  static constexpr Entry isMatch = 0x80000000;    // a match ended before the element
  static constexpr Entry isSpecial = 0x40000000;  // no row yet, or dead
  static constexpr Entry isCold = 0x20000000;     // no match is alive, and skipping is worth it
  static constexpr Entry rowMask = isCold - 1;
  static constexpr Entry unknown = isSpecial;                   // the first row is nobody's
  static constexpr std::size_t maxSize = std::size_t{1} << 18;  // of table and keys together, in entries
  static constexpr std::size_t keyOverhead = 24;                // of each key, in entries

  Entry Start(Neighbour before);
  Entry Make(Entry row, std::uint32_t color);
  Entry RowOf(std::u32string key);
  bool IsCold(Entry row) const noexcept;
  void Close(const std::u32string& key, Neighbour next);
  void Expand(bool isBlind, Neighbour left, Neighbour right);
  void FindBeginnings();

  // Where a run was on its way, to go over the last part again. Old ones are written over.
  class Trail {
   public:
    struct Step {
      std::uint64_t place;
      Entry row;
    };
    void Clear() noexcept { count_ = 0; }
    void Add(Step step) noexcept { steps_[count_++ % steps_.size()] = step; }
    /// The steps from the last one back; none behind the oldest that is kept.
    const Step* Back(std::size_t i) const noexcept {
      if (i >= std::min(count_, steps_.size())) return nullptr;
      return &steps_[(count_ - 1 - i) % steps_.size()];
    }

   private:
    std::array<Step, 64> steps_;
    std::size_t count_ = 0;
  };

  // The next place of the text that every match has, and from where on a match with it may begin.
  struct Landmark {
    std::uint64_t place = 0;
    std::uint64_t begin = 0;
    bool isKnown = false;
  };

  template <class T>
  void FindLandmark(const RegexText<T>& text, std::uint64_t from, Landmark& landmark) const noexcept;
  template <class T>
  std::uint64_t FindEndBySkips(const RegexText<T>& text, std::uint64_t from, std::uint64_t& cold);
  template <class T>
  std::uint64_t FindEndByRuns(const RegexText<T>& text, std::uint64_t from, std::uint64_t& cold);
  template <class T>
  void FindCold(const RegexText<T>& text, std::uint64_t end, const Trail& trail, std::uint64_t& cold) const;
  template <class T>
  std::uint64_t SkipCold(const RegexText<T>& text, std::uint64_t place, Landmark& landmark) const noexcept;
  // The row goes last into the address: the one step that the next one waits for is this load.
  Entry At(Entry row, std::uint32_t color) const noexcept { return (table_.data() + color)[row]; }
  Entry Next(Entry row, std::uint32_t color) {
    const Entry next = At(row, color);
    return next == unknown ? Make(row, color) : next;
  }

  const RegexProgram& program_;
  const std::uint32_t entry_;
  const Mode mode_;
  const std::uint32_t colors_;  // two columns more are for the edges of the text
  const std::uint32_t width_;   // of a row
  std::vector<Entry> table_;
  // A key is what stood before a state, and its instructions in order. Rows point to keys of the map.
  std::unordered_map<std::u32string, Entry> known_;
  std::vector<const std::u32string*> keys_;
  std::size_t keySize_ = 0;
  std::uint64_t clears_ = 0;            // how often the table was emptied
  std::array<Entry, 5> starts_{};       // rows of the entry alone, by what stands before; none yet where 0
  std::vector<std::uint8_t> canBegin_;  // by colour: whether a match may begin with it
  bool canSkip_ = false;                // whether looking for beginnings is worth it
  std::int32_t only_ = -1;              // the one narrow element that a match may begin with
  std::vector<std::uint32_t> closure_;  // instructions that take an element
  std::vector<std::uint32_t> pending_;
  RegexMarks marks_;
  bool isAccepted_ = false;
};

}  // namespace Qorv::IMPL
