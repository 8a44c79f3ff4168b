#include "regex/references.h"

#include <algorithm>
#include <utility>

namespace Qorv::IMPL {
namespace {

constexpr std::uint64_t stop = npos;  // the way of a repeat that takes no iteration more

constexpr std::uint32_t Folded(std::uint32_t element) noexcept {
  return element >= 'A' && element <= 'Z' ? element + 32 : element;
}

}  // namespace

template <class T>
bool RegexReferences<T>::Run(std::uint64_t first, std::uint64_t last) {
  goals_.clear();
  choices_.clear();
  trail_.clear();
  std::ranges::fill(captures_, RegexPieces<T>::unset);
  next_ = Push({Goal::Kind::node, pieces_.Program().GetTree().root, 0, first, last, nullptr, none});
  while (next_ != none) {
    if (!Meet(next_) && !GoBack()) return false;
  }
  return true;
}

template <class T>
std::size_t RegexReferences<T>::Push(Goal goal) {
  goals_.push_back(std::move(goal));
  return goals_.size() - 1;
}

template <class T>
void RegexReferences<T>::Set(std::uint32_t group, RANGE range) {
  trail_.push_back({group, captures_[group - 1]});
  captures_[group - 1] = range;
}

template <class T>
void RegexReferences<T>::Unset(std::uint32_t index) {
  const Node& node = pieces_.At(index);
  if (!node.remembers) return;
  if (node.kind == NodeKind::group) Set(node.index, RegexPieces<T>::unset);
  for (const std::uint32_t child : node.children)
    Unset(child);
}

// Does one step towards a goal; false if it cannot be met.
template <class T>
bool RegexReferences<T>::Meet(std::size_t index) {
  const Goal goal = goals_[index];
  const Node& node = pieces_.At(goal.node);
  const bool isDone = goal.kind == Goal::Kind::node
                          ? !node.remembers
                          : goal.kind == Goal::Kind::concat && goal.step == node.children.size();
  if (isDone) {
    next_ = goal.rest;
    return true;
  }
  if (goal.kind == Goal::Kind::node && node.kind != NodeKind::alternate) return MeetNode(goal);
  choices_.push_back({index, {}, true, npos, goals_.size(), trail_.size()});
  return GoBack();
}

template <class T>
bool RegexReferences<T>::MeetNode(const Goal& goal) {
  const Node& node = pieces_.At(goal.node);
  Goal inside = goal;
  switch (node.kind) {
    case NodeKind::group:
      Set(node.index, {goal.first, goal.last - goal.first});
      inside.node = node.children.front();
      break;
    case NodeKind::concat:
      inside.kind = Goal::Kind::concat;
      inside.places =
          std::make_shared<const std::vector<PlaceSet>>(pieces_.ConcatPlaces(node, goal.first, goal.last));
      break;
    case NodeKind::repeat:
      inside.kind = Goal::Kind::repeat;
      inside.places = std::make_shared<const std::vector<PlaceSet>>(
          node.max == Node::unlimited
              ? pieces_.RequiredPlaces(node, goal.first, goal.last,
                                       pieces_.FindChain(node.children.front(), goal.first, goal.last).places)
              : pieces_.RepeatPlaces(node, goal.first, goal.last));
      break;
    default:
      return MeetReference(goal);
  }
  next_ = Push(std::move(inside));
  return true;
}

template <class T>
bool RegexReferences<T>::MeetReference(const Goal& goal) {
  const RANGE group = captures_[pieces_.At(goal.node).index - 1];
  if (group.offset == npos || group.length != goal.last - goal.first) return false;
  const bool ignoresCase = (pieces_.Program().GetTree().flags & regexFlag::ignoreCase) != 0;
  for (std::uint64_t i = 0; i < group.length; ++i) {
    const std::uint32_t was = text_.At(group.offset + i);
    const std::uint32_t is = text_.At(goal.first + i);
    if (was != is && !(ignoresCase && Folded(was) == Folded(is))) return false;
  }
  next_ = goal.rest;
  return true;
}

// The ways to meet a goal, in the order of preference, behind the one used last.
template <class T>
std::vector<std::uint64_t> RegexReferences<T>::FindWays(const Goal& goal, std::uint64_t used) {
  switch (goal.kind) {
    case Goal::Kind::node:
      return FindBranches(goal);
    case Goal::Kind::concat:
      return pieces_.ListEnds(pieces_.At(goal.node).children[goal.step], goal.first, goal.last,
                              (*goal.places)[goal.step + std::size_t{1}], false, used);
    case Goal::Kind::repeat:
      return FindIterations(goal, used);
  }
  return {};
}

template <class T>
std::vector<std::uint64_t> RegexReferences<T>::FindBranches(const Goal& goal) {
  std::vector<std::uint64_t> branches;
  for (const std::uint32_t child : pieces_.At(goal.node).children) {
    if (pieces_.Matches(child, goal.first, goal.last)) branches.push_back(child);
  }
  return branches;
}

template <class T>
std::vector<std::uint64_t> RegexReferences<T>::FindIterations(const Goal& goal, std::uint64_t used) {
  const Node& node = pieces_.At(goal.node);
  const std::uint32_t child = node.children.front();
  if (goal.step >= node.min && goal.first == goal.last) {
    const bool isTaken = goal.step == 0 && node.greedy && node.max != 0;
    if (isTaken && pieces_.Matches(child, goal.first, goal.last)) return {goal.first, stop};
    return {stop};
  }
  if (goal.step == node.max) return {};
  const std::size_t behind = std::min<std::size_t>(goal.step + std::size_t{1}, goal.places->size() - 1);
  return pieces_.ListEnds(child, goal.first, goal.last, (*goal.places)[behind], goal.step >= node.min, used);
}

template <class T>
void RegexReferences<T>::Fill(Choice& choice) {
  choice.ways = FindWays(Goal(goals_[choice.goal]), choice.used);
  choice.mayHaveMore =
      goals_[choice.goal].kind != Goal::Kind::node && choice.ways.size() == RegexPieces<T>::endsAtOnce;
  std::ranges::reverse(choice.ways);
}

// To the last choice that has a way left.
template <class T>
bool RegexReferences<T>::GoBack() {
  for (; !choices_.empty(); choices_.pop_back()) {
    Choice& choice = choices_.back();
    if (choice.ways.empty() && choice.mayHaveMore) Fill(choice);
    if (choice.ways.empty()) continue;
    goals_.resize(choice.goals, Goal{});
    for (; trail_.size() > choice.trail; trail_.pop_back())
      captures_[trail_.back().group - 1] = trail_.back().before;
    choice.used = choice.ways.back();
    choice.ways.pop_back();
    Take(Goal(goals_[choice.goal]), choice.used);
    return true;
  }
  return false;
}

template <class T>
void RegexReferences<T>::Take(const Goal& goal, std::uint64_t way) {
  Goal inside{Goal::Kind::node, goal.node, 0, goal.first, goal.last, nullptr, goal.rest};
  if (goal.kind == Goal::Kind::node) {
    inside.node = static_cast<std::uint32_t>(way);
  } else if (way == stop) {
    next_ = goal.rest;
    return;
  } else {
    Goal rest = goal;
    ++rest.step;
    const bool isEmpty = goal.kind == Goal::Kind::repeat && goal.first == goal.last;
    if (isEmpty) rest.step = std::max(rest.step, pieces_.At(goal.node).min);  // all others are the same
    rest.first = way;
    inside.rest = Push(std::move(rest));
    inside.last = way;
    const Node& node = pieces_.At(goal.node);
    inside.node = node.children[goal.kind == Goal::Kind::concat ? goal.step : 0];
    if (goal.kind == Goal::Kind::repeat) Unset(inside.node);
  }
  next_ = Push(std::move(inside));
}

template class RegexReferences<char>;
template class RegexReferences<wchar_t>;

}  // namespace Qorv::IMPL
