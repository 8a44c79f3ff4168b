// Runs the instructions of a pattern over a text with all states at once.
#pragma once

#include <cstdint>
#include <vector>

#include "regex/marks.h"
#include "regex/program.h"
#include "regex/text.h"

namespace Qorv::IMPL {

/// Every operation takes time in proportion to the length of the text it looks at, times the number of
/// instructions. One thread at a time.
template <class T>
class RegexSimulation {
 public:
  RegexSimulation(const RegexProgram& program, const RegexText<T>& text)
      : program_(program), text_(text), marks_(program.Instructions().size()) {}
  RegexSimulation(const RegexSimulation&) = delete;
  RegexSimulation& operator=(const RegexSimulation&) = delete;

  /// The smallest place at or behind `from` where a match begins, or npos. To be sure of it may take a look at
  /// all that is left of the text; `looked` says how far it went.
  std::uint64_t FindStart(std::uint32_t entry, std::uint64_t from, std::uint64_t& looked);

  /// Calls `use` with each end up to `last`, in ascending order, of a match that begins at `first`, until it
  /// returns false. Returns the place up to which it looked.
  template <class Use>
  std::uint64_t ForEachEnd(std::uint32_t entry, std::uint64_t first, std::uint64_t last, Use use) {
    Restart();
    Add(entry, 0, first);
    for (std::uint64_t place = first;; ++place) {
      if (isAccepted_ && !use(place)) return place;
      if (place == last || current_.empty()) return place;
      Step(text_.At(place), place + 1);
    }
  }

  /// The places from `first` on from where a match leads to one of `ends`, of which `last` is the highest.
  /// `entry` is that of a backward fragment.
  PlaceSet FindStarts(std::uint32_t entry, std::uint64_t first, std::uint64_t last, const PlaceSet& ends);

  /// The farthest or nearest ends of the matches that begin at the places from `first` on, up to `last`; npos
  /// where none begins. `entry` is that of a backward fragment.
  std::vector<std::uint64_t> FindEnds(std::uint32_t entry, std::uint64_t first, std::uint64_t last,
                                      bool isShortest);

  /// The farthest or nearest ends of pieces, each longer than nothing, of which any number in a row leads
  /// from a place to `last`; `last` itself has no such piece.
  struct Chain {
    PlaceSet places;                  ///< from where some number of pieces leads to `last`; `last` included
    std::vector<std::uint64_t> ends;  ///< of the first of them, by place from `first` on
  };
  Chain FindChain(std::uint32_t entry, std::uint64_t first, std::uint64_t last, bool isShortest);

 private:
  struct State {
    std::uint32_t instruction;
    std::uint64_t tag;
  };

  void Restart();
  void NextRound() noexcept;
  void Add(std::uint32_t entry, std::uint64_t tag, std::uint64_t place);
  bool Passes(const Instruction& instruction, std::uint64_t place) const noexcept;
  void AddEnd(std::uint32_t entry, std::uint64_t place, bool isShortest);
  void Step(std::uint32_t element, std::uint64_t place);

  const RegexProgram& program_;
  const RegexText<T>& text_;
  std::vector<State> current_;  // states that take an element, those added first in front
  std::vector<State> next_;     // those of the step before, while they are gone through
  std::vector<std::uint32_t> pending_;
  RegexMarks marks_;  // of this round
  bool isAccepted_ = false;
  std::uint64_t acceptedTag_ = 0;  // of the first state that was accepted
};

extern template class RegexSimulation<char>;
extern template class RegexSimulation<wchar_t>;

/// Fills in where, from `from` on, each look-ahead of the pattern matches, by one pass each.
template <class T>
void FindLookAheads(const RegexProgram& program, RegexText<T>& text, std::uint64_t from);

extern template void FindLookAheads(const RegexProgram&, RegexText<char>&, std::uint64_t);
extern template void FindLookAheads(const RegexProgram&, RegexText<wchar_t>&, std::uint64_t);

}  // namespace Qorv::IMPL
