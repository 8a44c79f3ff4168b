// Makes the nodes of a tree, with what follows from their children.
#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include "regex/tree.h"

namespace Qorv::IMPL {

/// Fills one tree, children before parents. Operations that add a node give its index.
class TreeBuilder {
 public:
  TreeBuilder() = default;
  TreeBuilder(const TreeBuilder&) = delete;
  TreeBuilder& operator=(const TreeBuilder&) = delete;

  const Node& At(std::uint32_t index) const { return tree_.nodes[index]; }
  std::uint32_t Groups() const noexcept { return tree_.groups; }

  std::uint32_t AddSet(CharSet set);
  std::uint32_t AddAssertion(Assertion assertion);
  std::uint32_t AddBackReference(std::uint32_t group);
  /// The parts one after the other: a part that stands alone needs no parent, no part at all is the empty text.
  std::uint32_t AddConcat(std::vector<std::uint32_t> parts);
  /// One of the branches, of which there is at least one; one that stands alone needs no parent.
  std::uint32_t AddAlternate(std::vector<std::uint32_t> branches);
  std::uint32_t AddRepeat(std::uint32_t atom, std::uint32_t min, std::uint32_t max, bool greedy,
                          Preference preference);
  /// The number of the next group, to be taken where it opens.
  std::uint32_t OpenGroup() noexcept { return ++tree_.groups; }
  std::uint32_t AddGroup(std::uint32_t number, std::uint32_t inside);
  std::uint32_t AddLookAhead(std::uint32_t inside, bool negated);

  /// The tree, of which nothing is left here.
  Tree Take(std::uint32_t root, std::uint32_t flags);

 private:
  struct SetOrder {
    const std::vector<CharSet>* sets;
    bool operator()(std::uint32_t left, std::uint32_t right) const;
  };

  std::uint32_t AddNode(Node node);
  void Join(std::vector<std::uint32_t>& parts);

  Tree tree_;
  std::set<std::uint32_t, SetOrder> knownSets_{SetOrder{&tree_.sets}};  // equal sets share a number
};

}  // namespace Qorv::IMPL
