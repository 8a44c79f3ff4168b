#include "regex/tree_builder.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace Qorv::IMPL {

bool TreeBuilder::SetOrder::operator()(std::uint32_t left, std::uint32_t right) const {
  return std::ranges::lexicographical_compare((*sets)[left].spans, (*sets)[right].spans,
                                              [](const CharSet::Span& a, const CharSet::Span& b) {
                                                return std::tie(a.first, a.last) < std::tie(b.first, b.last);
                                              });
}

std::uint32_t TreeBuilder::AddNode(Node node) {
  for (const std::uint32_t child : node.children)
    node.remembers = node.remembers || At(child).remembers;
  tree_.nodes.push_back(std::move(node));
  return static_cast<std::uint32_t>(tree_.nodes.size() - 1);
}

std::uint32_t TreeBuilder::AddSet(CharSet set) {
  tree_.sets.push_back(std::move(set));
  const auto [known, isNew] = knownSets_.insert(static_cast<std::uint32_t>(tree_.sets.size() - 1));
  if (!isNew) tree_.sets.pop_back();
  Node node;
  node.kind = NodeKind::set;
  node.index = *known;
  return AddNode(std::move(node));
}

std::uint32_t TreeBuilder::AddAssertion(Assertion assertion) {
  Node node;
  node.kind = NodeKind::assertion;
  node.assertion = assertion;
  return AddNode(std::move(node));
}

std::uint32_t TreeBuilder::AddBackReference(std::uint32_t group) {
  tree_.backReferences = true;
  Node node;
  node.kind = NodeKind::backRef;
  node.remembers = true;
  node.index = group;
  return AddNode(std::move(node));
}

std::uint32_t TreeBuilder::AddConcat(std::vector<std::uint32_t> parts) {
  if (parts.empty()) return AddNode({});
  if (parts.size() == 1) return parts.front();
  Node node;
  node.kind = NodeKind::concat;
  const auto first = std::ranges::find_if(
      parts, [this](std::uint32_t part) { return At(part).preference != Preference::none; });
  if (first != parts.end()) node.preference = At(*first).preference;
  const bool remembers =
      std::ranges::any_of(parts, [this](std::uint32_t part) { return At(part).remembers; });
  if (remembers) Join(parts);
  node.children = std::move(parts);
  return AddNode(std::move(node));
}

// Where groups have to be found, each part costs a pass over the match. Parts become one where it cannot be
// seen how they divide their text: those behind the last group, and those of one length.
void TreeBuilder::Join(std::vector<std::uint32_t>& parts) {
  const auto lastGroup =
      std::find_if(parts.rbegin(), parts.rend(), [this](std::uint32_t part) { return At(part).remembers; });
  const auto tail = static_cast<std::size_t>(parts.rend() - lastGroup);
  const auto isJoined = [&](std::size_t i) {
    const NodeKind kind = At(parts[i]).kind;
    return i >= tail || kind == NodeKind::set || kind == NodeKind::assertion || kind == NodeKind::lookAhead;
  };
  std::vector<std::uint32_t> joined;
  for (std::size_t i = 0; i < parts.size();) {
    const std::size_t first = i;
    while (i < parts.size() && isJoined(i) && (i != tail || first == tail))
      ++i;
    if (i == first) {
      joined.push_back(parts[i++]);
    } else {
      joined.push_back(AddConcat({parts.begin() + static_cast<std::ptrdiff_t>(first),
                                  parts.begin() + static_cast<std::ptrdiff_t>(i)}));
    }
  }
  parts = std::move(joined);
}

std::uint32_t TreeBuilder::AddAlternate(std::vector<std::uint32_t> branches) {
  if (branches.size() == 1) return branches.front();
  Node node;
  node.kind = NodeKind::alternate;
  node.preference = Preference::longest;
  node.children = std::move(branches);
  return AddNode(std::move(node));
}

std::uint32_t TreeBuilder::AddRepeat(std::uint32_t atom, std::uint32_t min, std::uint32_t max, bool greedy,
                                     Preference preference) {
  Node node;
  node.kind = NodeKind::repeat;
  node.preference = preference;
  node.greedy = greedy;
  node.min = min;
  node.max = max;
  node.children = {atom};
  return AddNode(std::move(node));
}

std::uint32_t TreeBuilder::AddGroup(std::uint32_t number, std::uint32_t inside) {
  Node node;
  node.kind = NodeKind::group;
  node.preference = At(inside).preference;
  node.remembers = true;
  node.index = number;
  node.children = {inside};
  return AddNode(std::move(node));
}

std::uint32_t TreeBuilder::AddLookAhead(std::uint32_t inside, bool negated) {
  Node node;
  node.kind = NodeKind::lookAhead;
  node.negated = negated;
  node.index = tree_.lookAheads++;
  node.children = {inside};
  return AddNode(std::move(node));
}

Tree TreeBuilder::Take(std::uint32_t root, std::uint32_t flags) {
  tree_.root = root;
  tree_.flags = flags;
  return std::move(tree_);
}

}  // namespace Qorv::IMPL
