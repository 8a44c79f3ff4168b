#include "regex/program.h"

#include <algorithm>
#include <limits>
#include <utility>

#include <qorv/regex.h>

#include "regex/cache.h"

namespace Qorv::IMPL {
namespace {

constexpr std::uint64_t tooMany = std::uint64_t{1} << 40;

constexpr std::uint64_t Capped(std::uint64_t count) noexcept {
  return std::min(count, tooMany);
}

bool HasAssertion(const Tree& tree) noexcept {
  return std::ranges::any_of(tree.nodes, [](const Node& node) { return node.kind == NodeKind::assertion; });
}

// Sets that elements are told apart by: those of the pattern, and what assertions ask.
std::vector<CharSet> SetsOf(const Tree& tree) {
  std::vector<CharSet> sets = tree.sets;
  if (HasAssertion(tree)) {
    sets.push_back({{{'\n', '\n'}}});
    sets.push_back({{{'0', '9'}, {'A', 'Z'}, {'_', '_'}, {'a', 'z'}}});
  }
  return sets;
}

}  // namespace

std::unique_ptr<RegexProgram> RegexProgram::Make(Tree tree, std::uint32_t maxStates) {
  std::unique_ptr<RegexProgram> program(new RegexProgram(std::move(tree)));
  if (!program->Count(maxStates)) return nullptr;
  program->AddFragments();
  return program;
}

RegexProgram::RegexProgram(Tree tree)
    : tree_(std::move(tree)),
      hasAssertions_(HasAssertion(tree_)),
      colors_(SetsOf(tree_)),
      required_(FindRequiredText(tree_, colors_)) {}

RegexProgram::~RegexProgram() {
  for (std::atomic<RegexCache*>& spare : spares_)
    delete spare.load(std::memory_order_acquire);
}

std::unique_ptr<RegexCache> RegexProgram::TakeCache() const noexcept {
  for (std::atomic<RegexCache*>& spare : spares_) {
    if (spare.load(std::memory_order_relaxed) == nullptr) continue;
    if (RegexCache* const cache = spare.exchange(nullptr, std::memory_order_acquire)) {
      return std::unique_ptr<RegexCache>(cache);
    }
  }
  return nullptr;
}

void RegexProgram::GiveCache(std::unique_ptr<RegexCache> cache) const noexcept {
  for (std::atomic<RegexCache*>& spare : spares_) {
    RegexCache* none = nullptr;
    if (spare.compare_exchange_strong(none, cache.get(), std::memory_order_release,
                                      std::memory_order_relaxed)) {
      (void)cache.release();
      return;
    }
  }
}

bool RegexProgram::Contains(std::uint32_t set, std::uint32_t element) const noexcept {
  const std::vector<CharSet::Span>& spans = tree_.sets[set].spans;
  const auto behind = std::ranges::upper_bound(spans, element, {}, &CharSet::Span::first);
  return behind != spans.begin() && std::prev(behind)->last >= element;
}

bool RegexProgram::Holds(Assertion assertion, Neighbour before, Neighbour behind) const noexcept {
  const bool anchors = (tree_.flags & regexFlag::anchorAtNewline) != 0;
  const bool wordBefore = before == Neighbour::word;
  const bool wordBehind = behind == Neighbour::word;
  switch (assertion) {
    case Assertion::lineBegin:
      return before == Neighbour::edge || (anchors && before == Neighbour::newline);
    case Assertion::lineEnd:
      return behind == Neighbour::edge || (anchors && behind == Neighbour::newline);
    case Assertion::textBegin:
      return before == Neighbour::edge || before == Neighbour::edgeOfNoLine;
    case Assertion::textEnd:
      return behind == Neighbour::edge;
    case Assertion::wordBegin:
      return !wordBefore && wordBehind;
    case Assertion::wordEnd:
      return wordBefore && !wordBehind;
    case Assertion::wordEdge:
      return wordBefore != wordBehind;
    case Assertion::notWordEdge:
      return wordBefore == wordBehind;
  }
  return false;
}

std::uint64_t RegexProgram::CountBelow(std::uint32_t node) const noexcept {
  std::uint64_t sum = 0;
  for (const std::uint32_t child : At(node).children)
    sum = Capped(sum + sizes_[child]);
  return sum;
}

// Counts before anything is built, so that a pattern that would explode costs nothing.
bool RegexProgram::Count(std::uint32_t maxStates) {
  sizes_.resize(tree_.nodes.size());
  std::uint64_t total = 0;
  groups_.resize(tree_.groups + std::size_t{1});
  for (std::uint32_t i = 0; i < tree_.nodes.size(); ++i) {
    const Node& node = At(i);
    const std::uint64_t below = CountBelow(i);
    switch (node.kind) {
      case NodeKind::empty:
        break;
      case NodeKind::set:
      case NodeKind::assertion:
        sizes_[i] = 1;
        break;
      case NodeKind::lookAhead:
        sizes_[i] = 1;
        total += 2 * (below + 1);
        break;
      case NodeKind::backRef:
        sizes_[i] = IsCopied(node) ? sizes_[groups_[node.index]] : 2;
        break;
      case NodeKind::group:
        groups_[node.index] = i;
        sizes_[i] = below;
        break;
      case NodeKind::concat:
        sizes_[i] = below;
        break;
      case NodeKind::alternate:
        sizes_[i] = Capped(below + node.children.size() - 1);
        break;
      case NodeKind::repeat: {
        const std::uint64_t open =
            node.max == Node::unlimited ? below + 1 : (node.max - node.min) * (below + 1);
        sizes_[i] = Capped(node.min * below + open);
        break;
      }
    }
    if (node.remembers && node.kind != NodeKind::group)
      total = Capped(total + 2 * (below + node.children.size()));
  }
  // Most of the fragments are small, or the pattern is nested without sense.
  constexpr std::uint64_t fragmentsPerState = 16;
  constexpr std::uint32_t mostLookAheads = 256;  // each takes a pass over the text
  return sizes_[tree_.root] <= maxStates && total <= fragmentsPerState * maxStates &&
         tree_.lookAheads <= mostLookAheads;
}

void RegexProgram::AddFragments() {
  fragments_.resize(tree_.nodes.size());
  std::vector<bool> isWanted(tree_.nodes.size());
  isWanted[tree_.root] = true;
  lookAheads_.resize(tree_.lookAheads);
  for (std::uint32_t i = 0; i < tree_.nodes.size(); ++i) {
    const Node& node = At(i);
    if (node.kind == NodeKind::lookAhead) lookAheads_[node.index] = i;
    if (node.kind != NodeKind::lookAhead && (!node.remembers || node.kind == NodeKind::group)) continue;
    for (const std::uint32_t child : node.children)
      isWanted[child] = true;
  }
  for (std::uint32_t i = 0; i < tree_.nodes.size(); ++i) {
    if (!isWanted[i]) continue;
    fragments_[i].forward = Compile(i, Add({}), {.isBackward = false});
    fragments_[i].backward = Compile(i, Add({}), {.isBackward = true});
  }
  const std::uint32_t root = fragments_[tree_.root].forward;
  searchEntry_ = Add({.kind = Instruction::Kind::split, .next = root, .other = root});
}

std::uint32_t RegexProgram::Add(Instruction instruction) {
  instructions_.push_back(instruction);
  return static_cast<std::uint32_t>(instructions_.size() - 1);
}

// Adds the instructions of a node that go on at `next`, and gives the first of them.
std::uint32_t RegexProgram::Compile(std::uint32_t index, std::uint32_t next, Manner manner) {
  using Kind = Instruction::Kind;
  const Node& node = At(index);
  if (sizes_[index] == 0) return next;
  switch (node.kind) {
    case NodeKind::empty:
      return next;
    case NodeKind::set:
      return Add({.kind = Kind::set, .index = node.index, .next = next});
    case NodeKind::assertion:
      if (manner.isLoose) return next;
      return Add({.kind = Kind::assertion, .assertion = node.assertion, .next = next});
    case NodeKind::lookAhead:
      if (manner.isLoose) return next;
      return Add({.kind = Kind::lookAhead, .negated = node.negated, .index = node.index, .next = next});
    case NodeKind::group:
      return Compile(node.children.front(), next, manner);
    case NodeKind::backRef:
      return CompileReference(node, next, manner);
    case NodeKind::concat: {  // made from its far end
      const std::size_t count = node.children.size();
      for (std::size_t i = 0; i < count; ++i)
        next = Compile(node.children[manner.isBackward ? i : count - 1 - i], next, manner);
      return next;
    }
    case NodeKind::alternate: {
      std::uint32_t entry = Compile(node.children.back(), next, manner);
      for (std::size_t i = node.children.size() - 1; i-- > 0;) {
        const std::uint32_t branch = Compile(node.children[i], next, manner);
        entry = Add({.kind = Kind::split, .next = branch, .other = entry});
      }
      return entry;
    }
    case NodeKind::repeat:
      return CompileRepeat(node, next, manner);
  }
  return next;
}

// What a reference matches is among what its group can match wherever it stands. Large groups are not worth a
// copy.
bool RegexProgram::IsCopied(const Node& reference) const noexcept {
  constexpr std::uint64_t largest = 256;
  return sizes_[groups_[reference.index]] <= largest;
}

std::uint32_t RegexProgram::CompileReference(const Node& node, std::uint32_t next, Manner manner) {
  using Kind = Instruction::Kind;
  if (!manner.isLoose && IsCopied(node)) {
    return Compile(groups_[node.index], next, {.isBackward = manner.isBackward, .isLoose = true});
  }
  const std::uint32_t loop = Add({.kind = Kind::split, .other = next});  // any text
  const std::uint32_t body = Add({.kind = Kind::any, .next = loop});
  instructions_[loop].next = body;
  return loop;
}

std::uint32_t RegexProgram::CompileRepeat(const Node& node, std::uint32_t next, Manner manner) {
  using Kind = Instruction::Kind;
  const std::uint32_t child = node.children.front();
  std::uint32_t entry = next;
  if (node.max == Node::unlimited) {
    entry = Add({.kind = Kind::split, .other = next});
    const std::uint32_t body = Compile(child, entry, manner);
    instructions_[entry].next = body;
  } else {
    for (std::uint32_t i = node.min; i < node.max; ++i) {
      const std::uint32_t body = Compile(child, entry, manner);
      entry = Add({.kind = Kind::split, .next = body, .other = next});
    }
  }
  for (std::uint32_t i = 0; i < node.min && sizes_[child] != 0; ++i)
    entry = Compile(child, entry, manner);
  return entry;
}

}  // namespace Qorv::IMPL
