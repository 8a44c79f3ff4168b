// A pattern as instructions, for the simulation and the automaton.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "regex/colors.h"
#include "regex/required.h"
#include "regex/tree.h"

namespace Qorv::IMPL {

class RegexCache;

/// What stands before or behind a place in a text, as far as assertions ask.
enum class Neighbour : std::uint8_t { edge, edgeOfNoLine, newline, word, other };

struct Instruction {
  enum class Kind : std::uint8_t {
    set,        ///< takes an element of set `index`
    any,        ///< takes any element
    split,      ///< goes on at `next` and at `other`
    assertion,  ///< goes on if `assertion` holds
    lookAhead,  ///< goes on if look-ahead `index` holds, or, `negated`, does not
    accept,
  };
  Kind kind = Kind::accept;
  Assertion assertion = Assertion::lineBegin;
  bool negated = false;
  std::uint32_t index = 0;
  std::uint32_t next = 0;
  std::uint32_t other = 0;
};

/// Where the instructions for a part of the pattern begin: to be run over the text forwards and backwards.
struct Fragment {
  std::uint32_t forward = 0;
  std::uint32_t backward = 0;
};

/// A compiled pattern. Nothing of it changes but the spare caches, so any number of threads may use it.
class RegexProgram {
 public:
  /// Nothing if the repetitions of the tree unfold to more than `maxStates` instructions, or all the parts that
  /// are looked at by themselves to too many times as much, or if there are too many look-aheads.
  static std::unique_ptr<RegexProgram> Make(Tree tree, std::uint32_t maxStates);
  RegexProgram(const RegexProgram&) = delete;
  RegexProgram& operator=(const RegexProgram&) = delete;
  ~RegexProgram();

  const Tree& GetTree() const noexcept { return tree_; }
  const Node& At(std::uint32_t node) const noexcept { return tree_.nodes[node]; }
  const std::vector<Instruction>& Instructions() const noexcept { return instructions_; }
  /// Of the root, of what stands below a remembering node, and of what a look-ahead looks for.
  const Fragment& Of(std::uint32_t node) const noexcept { return fragments_[node]; }
  /// Where matches that may begin anywhere begin; no instruction leads here, so it tells new matches from those
  /// under way.
  std::uint32_t SearchEntry() const noexcept { return searchEntry_; }
  /// Nodes of the look-aheads by their number, inner ones first.
  const std::vector<std::uint32_t>& LookAheads() const noexcept { return lookAheads_; }
  const RegexColors& Colors() const noexcept { return colors_; }
  const RequiredText& Required() const noexcept { return required_; }
  bool HasAssertions() const noexcept { return hasAssertions_; }
  /// Whether the search can run on an automaton: look-ahead needs more than the next element, back references
  /// more than a state, and too many colours make its table too wide.
  bool HasAutomaton() const noexcept {
    return lookAheads_.empty() && !tree_.backReferences && colors_.AreFew();
  }
  bool PrefersShortest() const noexcept { return At(tree_.root).preference == Preference::shortest; }

  bool Contains(std::uint32_t set, std::uint32_t element) const noexcept;
  bool Holds(Assertion assertion, Neighbour before, Neighbour behind) const noexcept;

  /// A spare cache, or null if others use them all; whoever takes one gives it back.
  std::unique_ptr<RegexCache> TakeCache() const noexcept;
  void GiveCache(std::unique_ptr<RegexCache> cache) const noexcept;

 private:
  explicit RegexProgram(Tree tree);

  std::uint64_t CountBelow(std::uint32_t node) const noexcept;
  bool Count(std::uint32_t maxStates);
  void AddFragments();
  std::uint32_t Add(Instruction instruction);
  bool IsCopied(const Node& reference) const noexcept;
  // How instructions are made: for which direction, and whether what takes no element is left out.
  struct Manner {
    bool isBackward = false;
    bool isLoose = false;
  };
  std::uint32_t Compile(std::uint32_t node, std::uint32_t next, Manner manner);
  std::uint32_t CompileReference(const Node& node, std::uint32_t next, Manner manner);
  std::uint32_t CompileRepeat(const Node& node, std::uint32_t next, Manner manner);

  const Tree tree_;
  std::vector<std::uint64_t> sizes_;   // instructions of each node
  std::vector<std::uint32_t> groups_;  // nodes of the groups, by number from 1
  std::vector<Instruction> instructions_;
  std::vector<Fragment> fragments_;
  std::vector<std::uint32_t> lookAheads_;
  std::uint32_t searchEntry_ = 0;
  bool hasAssertions_ = false;
  const RegexColors colors_;
  const RequiredText required_;
  mutable std::array<std::atomic<RegexCache*>, 4> spares_{};
};

}  // namespace Qorv::IMPL
