#include "regex/dissection.h"

#include <algorithm>
#include <utility>

namespace Qorv::IMPL {
namespace {

PlaceSet JustLast(std::uint64_t first, std::uint64_t last) {
  PlaceSet places(first, last);
  places.Add(last);
  return places;
}

}  // namespace

template <class T>
bool RegexPieces<T>::Matches(std::uint32_t node, std::uint64_t first, std::uint64_t last) {
  bool isMatch = false;
  simulation_.ForEachEnd(program_.Of(node).forward, first, last, [&](std::uint64_t end) {
    isMatch = end == last;
    return true;
  });
  return isMatch;
}

template <class T>
std::uint64_t RegexPieces<T>::PickEnd(std::uint32_t node, std::uint64_t first, std::uint64_t last,
                                      const PlaceSet& allowed, bool isLonger) {
  std::uint64_t best = npos;
  simulation_.ForEachEnd(program_.Of(node).forward, first, last, [&](std::uint64_t end) {
    if (allowed.Has(end) && !(isLonger && end == first)) best = end;
    return best == npos || !IsShortest(node);
  });
  return best;
}

template <class T>
std::vector<std::uint64_t> RegexPieces<T>::ListEnds(std::uint32_t node, std::uint64_t first,
                                                    std::uint64_t last, const PlaceSet& allowed,
                                                    bool isLonger, std::uint64_t used) {
  std::vector<std::uint64_t> ends;
  const bool isShortest = IsShortest(node);
  const std::uint64_t least = !isShortest || used == npos ? first + (isLonger ? 1 : 0) : used + 1;
  if (!isShortest && used != npos) {
    if (used == first) return ends;
    last = used - 1;
  }
  simulation_.ForEachEnd(program_.Of(node).forward, first, last, [&](std::uint64_t end) {
    if (end < least || !allowed.Has(end)) return true;
    if (ends.size() == 2 * endsAtOnce) ends.erase(ends.begin(), ends.begin() + endsAtOnce);
    ends.push_back(end);
    return !isShortest || ends.size() < endsAtOnce;
  });
  if (!isShortest) std::ranges::reverse(ends);
  if (ends.size() > endsAtOnce) ends.resize(endsAtOnce);
  return ends;
}

template <class T>
std::vector<PlaceSet> RegexPieces<T>::ConcatPlaces(const Node& node, std::uint64_t first,
                                                   std::uint64_t last) {
  std::vector<PlaceSet> places(node.children.size() + 1);
  places.back() = JustLast(first, last);
  for (std::size_t i = node.children.size(); i-- > 1;)
    places[i] = Before(node.children[i], first, last, places[i + 1]);
  return places;
}

template <class T>
std::vector<PlaceSet> RegexPieces<T>::RepeatPlaces(const Node& node, std::uint64_t first,
                                                   std::uint64_t last) {
  std::vector<PlaceSet> places(node.max + std::size_t{1});
  places.back() = JustLast(first, last);
  for (std::size_t i = node.max; i-- > 0;) {
    places[i] = Before(node.children.front(), first, last, places[i + 1]);
    if (i >= node.min) places[i].Add(last);
  }
  return places;
}

template <class T>
std::vector<PlaceSet> RegexPieces<T>::RequiredPlaces(const Node& node, std::uint64_t first,
                                                     std::uint64_t last, PlaceSet open) {
  std::vector<PlaceSet> places(node.min + std::size_t{1});
  places.back() = std::move(open);
  for (std::size_t i = node.min; i-- > 1;)
    places[i] = Before(node.children.front(), first, last, places[i + 1]);
  return places;
}

template class RegexPieces<char>;
template class RegexPieces<wchar_t>;

template <class T>
void RegexDissection<T>::Run(std::uint32_t index, std::uint64_t first, std::uint64_t last) {
  const Node& node = pieces_.At(index);
  if (!node.remembers) return;
  switch (node.kind) {
    case NodeKind::group:
      captures_[node.index - 1] = {first, last - first};
      return Run(node.children.front(), first, last);
    case NodeKind::alternate:
      for (const std::uint32_t child : node.children) {
        if (pieces_.Matches(child, first, last)) return Run(child, first, last);
      }
      return;
    case NodeKind::concat:
      return RunConcat(node, first, last);
    case NodeKind::repeat:
      return RunRepeat(node, first, last);
    default:
      return;
  }
}

template <class T>
void RegexDissection<T>::RunConcat(const Node& node, std::uint64_t first, std::uint64_t last) {
  std::size_t wanted = node.children.size();
  while (!pieces_.At(node.children[wanted - 1]).remembers)
    --wanted;
  const std::vector<PlaceSet> places = pieces_.ConcatPlaces(node, first, last);
  for (std::size_t i = 0; i < wanted; ++i) {
    const std::uint32_t child = node.children[i];
    const std::uint64_t end = pieces_.PickEnd(child, first, last, places[i + 1], false);
    Run(child, first, end);
    first = end;
  }
}

// Of all iterations only the last one shows.
template <class T>
void RegexDissection<T>::RunRepeat(const Node& node, std::uint64_t first, std::uint64_t last) {
  const RANGE piece = LastIteration(node, first, last);
  if (piece.offset != npos) Run(node.children.front(), piece.offset, piece.offset + piece.length);
}

template <class T>
RANGE RegexDissection<T>::LastIteration(const Node& node, std::uint64_t first, std::uint64_t last) {
  if (first == last && node.min == 0) {  // an empty text is more than none, if more is better
    const bool isTaken = node.greedy && node.max != 0 && pieces_.Matches(node.children.front(), first, last);
    return isTaken ? RANGE{first, 0} : RegexPieces<T>::unset;
  }
  return node.max == Node::unlimited ? LastOfUnbounded(node, first, last) : LastOfBounded(node, first, last);
}

template <class T>
RANGE RegexDissection<T>::LastOfBounded(const Node& node, std::uint64_t first, std::uint64_t last) {
  const std::vector<PlaceSet> places = pieces_.RepeatPlaces(node, first, last);
  RANGE piece;
  for (std::uint32_t count = 0; count < node.min || first != last; ++count) {
    const std::uint64_t end = pieces_.PickEnd(node.children.front(), first, last,
                                              places[count + std::size_t{1}], count >= node.min);
    piece = {first, end - first};
    first = end;
  }
  return piece;
}

template <class T>
RANGE RegexDissection<T>::LastOfUnbounded(const Node& node, std::uint64_t first, std::uint64_t last) {
  const std::uint32_t child = node.children.front();
  const std::uint64_t base = first;
  typename RegexSimulation<T>::Chain chain = pieces_.FindChain(child, first, last);
  const std::vector<PlaceSet> places = pieces_.RequiredPlaces(node, first, last, std::move(chain.places));
  RANGE piece;
  for (std::uint32_t count = 0; count < node.min; ++count) {
    const std::uint64_t end = pieces_.PickEnd(child, first, last, places[count + std::size_t{1}], false);
    piece = {first, end - first};
    first = end;
  }
  while (first != last) {
    const std::uint64_t end = chain.ends[first - base];
    piece = {first, end - first};
    first = end;
  }
  return piece;
}

template class RegexDissection<char>;
template class RegexDissection<wchar_t>;

}  // namespace Qorv::IMPL
