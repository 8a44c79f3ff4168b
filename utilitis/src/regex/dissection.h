// Finds what the groups of a pattern captured in a match.
#pragma once

#include <cstdint>
#include <vector>

#include "regex/simulation.h"

namespace Qorv::IMPL {

/// What both ways of taking a match apart ask: pieces of a match, and where they may end. The time of each
/// operation is in proportion to the length of the piece; sets of places take a bit for each of its elements.
template <class T>
class RegexPieces {
 public:
  using Captures = std::vector<RANGE>;
  static constexpr RANGE unset{npos, 0};

  RegexPieces(const RegexProgram& program, RegexSimulation<T>& simulation)
      : program_(program), simulation_(simulation) {}

  const RegexProgram& Program() const noexcept { return program_; }
  const Node& At(std::uint32_t node) const noexcept { return program_.At(node); }
  bool IsShortest(std::uint32_t node) const noexcept { return At(node).preference == Preference::shortest; }

  bool Matches(std::uint32_t node, std::uint64_t first, std::uint64_t last);
  /// Of the ends that are allowed, the one that the node prefers; npos if there is none.
  std::uint64_t PickEnd(std::uint32_t node, std::uint64_t first, std::uint64_t last, const PlaceSet& allowed,
                        bool isLonger);
  /// The next of them behind the end `used`, or from the first on where that is npos: the preferred ones first,
  /// at most endsAtOnce.
  static constexpr std::size_t endsAtOnce = 64;
  std::vector<std::uint64_t> ListEnds(std::uint32_t node, std::uint64_t first, std::uint64_t last,
                                      const PlaceSet& allowed, bool isLonger, std::uint64_t used);

  /// For each child of a concat, by its number, the places where it may begin so that the rest leads to
  /// `last`.
  std::vector<PlaceSet> ConcatPlaces(const Node& node, std::uint64_t first, std::uint64_t last);
  /// The same for each iteration of a bounded repeat, and for what comes behind the last one.
  std::vector<PlaceSet> RepeatPlaces(const Node& node, std::uint64_t first, std::uint64_t last);
  /// The same for the iterations that an unbounded repeat must have; `open` are the places for those that it
  /// may have.
  std::vector<PlaceSet> RequiredPlaces(const Node& node, std::uint64_t first, std::uint64_t last,
                                       PlaceSet open);
  typename RegexSimulation<T>::Chain FindChain(std::uint32_t node, std::uint64_t first, std::uint64_t last) {
    return simulation_.FindChain(program_.Of(node).backward, first, last, IsShortest(node));
  }

 private:
  PlaceSet Before(std::uint32_t node, std::uint64_t first, std::uint64_t last, const PlaceSet& ends) {
    return simulation_.FindStarts(program_.Of(node).backward, first, last, ends);
  }

  const RegexProgram& program_;
  RegexSimulation<T>& simulation_;
};

/// Takes matches of patterns without back references apart, from the outside in and from left to right. Linear
/// in the length of the match.
template <class T>
class RegexDissection {
 public:
  RegexDissection(RegexPieces<T>& pieces, std::vector<RANGE>& captures)
      : pieces_(pieces), captures_(captures) {}

  /// The node matches from `first` to `last`. Sets the captures of its groups; they were unset.
  void Run(std::uint32_t node, std::uint64_t first, std::uint64_t last);

 private:
  void RunConcat(const Node& node, std::uint64_t first, std::uint64_t last);
  void RunRepeat(const Node& node, std::uint64_t first, std::uint64_t last);
  RANGE LastIteration(const Node& node, std::uint64_t first, std::uint64_t last);
  RANGE LastOfBounded(const Node& node, std::uint64_t first, std::uint64_t last);
  RANGE LastOfUnbounded(const Node& node, std::uint64_t first, std::uint64_t last);

  RegexPieces<T>& pieces_;
  std::vector<RANGE>& captures_;
};

extern template class RegexPieces<char>;
extern template class RegexPieces<wchar_t>;
extern template class RegexDissection<char>;
extern template class RegexDissection<wchar_t>;

}  // namespace Qorv::IMPL
