// Finds what the groups captured where a pattern refers back to them.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "regex/dissection.h"

namespace Qorv::IMPL {

/// What a back reference matches depends on the way taken to it, so here the ways are tried, the preferred
/// ones first, until one fits. Exact; the worst case takes exponential time. Does not recurse.
template <class T>
class RegexReferences {
 public:
  RegexReferences(RegexPieces<T>& pieces, const RegexText<T>& text, std::vector<RANGE>& captures)
      : pieces_(pieces), text_(text), captures_(captures) {}

  /// Whether the pattern matches from `first` to `last`; if so, all captures are set.
  bool Run(std::uint64_t first, std::uint64_t last);

 private:
  using Places = std::shared_ptr<const std::vector<PlaceSet>>;
  static constexpr std::size_t none = static_cast<std::size_t>(-1);

  // Something that is still to be matched, and what comes behind it.
  struct Goal {
    enum class Kind : std::uint8_t {
      node,    // the node from `first` to `last`
      concat,  // its children from number `step` on
      repeat,  // its iterations from number `step` on
    };
    Kind kind;
    std::uint32_t node;
    std::uint32_t step;
    std::uint64_t first;
    std::uint64_t last;
    Places places;
    std::size_t rest;  // a goal, or none
  };
  // A goal that can be met in several ways, and those that come next, the first of them at the back. There may
  // be more than these: all at once would take too much memory where choices stand in a long row.
  struct Choice {
    std::size_t goal;
    std::vector<std::uint64_t> ways;
    bool mayHaveMore;
    std::uint64_t used;  // the way tried last
    std::size_t goals;   // how many goals there were
    std::size_t trail;
  };
  struct Change {
    std::uint32_t group;
    RANGE before;
  };

  std::size_t Push(Goal goal);
  void Set(std::uint32_t group, RANGE range);
  void Unset(std::uint32_t node);
  bool Meet(std::size_t goal);
  bool MeetNode(const Goal& goal);
  bool MeetReference(const Goal& goal);
  std::vector<std::uint64_t> FindWays(const Goal& goal, std::uint64_t used);
  std::vector<std::uint64_t> FindBranches(const Goal& goal);
  std::vector<std::uint64_t> FindIterations(const Goal& goal, std::uint64_t used);
  void Fill(Choice& choice);
  void Take(const Goal& goal, std::uint64_t way);
  bool GoBack();

  RegexPieces<T>& pieces_;
  const RegexText<T>& text_;
  std::vector<RANGE>& captures_;
  std::vector<Goal> goals_;
  std::vector<Choice> choices_;
  std::vector<Change> trail_;
  std::size_t next_ = none;
};

extern template class RegexReferences<char>;
extern template class RegexReferences<wchar_t>;

}  // namespace Qorv::IMPL
