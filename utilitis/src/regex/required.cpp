#include "regex/required.h"

#include <algorithm>
#include <optional>
#include <span>

namespace Qorv::IMPL {
namespace {

// The one element that a node stands for, if it is a literal.
std::optional<std::uint32_t> LiteralOf(const Tree& tree, const Node& node) {
  if (node.kind != NodeKind::set) return std::nullopt;
  const std::vector<CharSet::Span>& spans = tree.sets[node.index].spans;
  if (spans.size() != 1 || spans.front().first != spans.front().last) return std::nullopt;
  return spans.front().first;
}

// Marks the sets that a node may take elements from; false if it may take any text.
bool MarkSets(const Tree& tree, std::uint32_t index, std::vector<bool>& isUsed) {
  const Node& node = tree.nodes[index];
  if (node.kind == NodeKind::backRef) return false;
  if (node.kind == NodeKind::lookAhead) return true;
  if (node.kind == NodeKind::set) isUsed[node.index] = true;
  return std::ranges::all_of(node.children,
                             [&](std::uint32_t child) { return MarkSets(tree, child, isUsed); });
}

bool Contains(const CharSet& set, std::uint32_t element) {
  return std::ranges::any_of(set.spans, [element](const CharSet::Span& span) {
    return span.first <= element && element <= span.last;
  });
}

// Adds the parts of a node that follow each other in every match.
void AddSequence(const Tree& tree, std::uint32_t index, std::vector<std::uint32_t>& parts) {
  const Node& node = tree.nodes[index];
  if (node.kind != NodeKind::group && node.kind != NodeKind::concat) {
    parts.push_back(index);
    return;
  }
  for (const std::uint32_t child : node.children)
    AddSequence(tree, child, parts);
}

// The longest row of literals; of several the first.
std::span<const std::uint32_t> FindLongestRun(const Tree& tree, std::span<const std::uint32_t> parts) {
  std::span<const std::uint32_t> longest;
  std::size_t first = 0;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (!LiteralOf(tree, tree.nodes[parts[i]])) {
      first = i + 1;
    } else if (i + 1 - first > longest.size()) {
      longest = parts.subspan(first, i + 1 - first);
    }
  }
  return longest;
}

}  // namespace

RequiredText FindRequiredText(const Tree& tree, const RegexColors& colors) {
  std::vector<std::uint32_t> parts;
  AddSequence(tree, tree.root, parts);
  const std::span<const std::uint32_t> run = FindLongestRun(tree, parts);
  if (run.empty() || !colors.AreFew()) return {};
  std::vector<bool> isUsed(tree.sets.size());
  for (const std::uint32_t* child = parts.data(); child != run.data(); ++child) {
    if (!MarkSets(tree, *child, isUsed)) return {};
  }
  RequiredText required;
  for (const std::uint32_t child : run) {
    const std::uint32_t element = *LiteralOf(tree, tree.nodes[child]);
    required.narrow.push_back(static_cast<char>(element));
    required.wide.push_back(static_cast<wchar_t>(element));
  }
  required.canPrecede.resize(colors.Count());
  for (std::size_t set = 0; set < isUsed.size(); ++set) {
    for (std::uint32_t color = 0; isUsed[set] && color < colors.Count(); ++color) {
      if (Contains(tree.sets[set], colors.Sample(color))) required.canPrecede[color] = 1;
    }
  }
  return required;
}

}  // namespace Qorv::IMPL
