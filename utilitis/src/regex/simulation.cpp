#include "regex/simulation.h"

#include <algorithm>
#include <utility>

namespace Qorv::IMPL {

template <class T>
void RegexSimulation<T>::NextRound() noexcept {
  marks_.Wipe();
  isAccepted_ = false;
}

template <class T>
void RegexSimulation<T>::Restart() {
  current_.clear();
  NextRound();
}

template <class T>
bool RegexSimulation<T>::Passes(const Instruction& instruction, std::uint64_t place) const noexcept {
  if (instruction.kind == Instruction::Kind::assertion) {
    return program_.Holds(instruction.assertion, text_.Before(place), text_.Behind(place));
  }
  return text_.lookAheads[instruction.index].Has(place) != instruction.negated;
}

// Adds what `entry` leads to without an element. What is there already keeps its tag.
template <class T>
void RegexSimulation<T>::Add(std::uint32_t entry, std::uint64_t tag, std::uint64_t place) {
  using Kind = Instruction::Kind;
  pending_.push_back(entry);
  while (!pending_.empty()) {
    const std::uint32_t index = pending_.back();
    pending_.pop_back();
    if (!marks_.Mark(index)) continue;
    const Instruction& instruction = program_.Instructions()[index];
    switch (instruction.kind) {
      case Kind::set:
      case Kind::any:
        current_.push_back({index, tag});
        break;
      case Kind::split:
        pending_.push_back(instruction.other);
        pending_.push_back(instruction.next);
        break;
      case Kind::assertion:
      case Kind::lookAhead:
        if (Passes(instruction, place)) pending_.push_back(instruction.next);
        break;
      case Kind::accept:
        if (!isAccepted_) acceptedTag_ = tag;
        isAccepted_ = true;
        break;
    }
  }
}

// Takes one element; `place` is where the states that this leads to stand.
template <class T>
void RegexSimulation<T>::Step(std::uint32_t element, std::uint64_t place) {
  next_.swap(current_);
  current_.clear();
  NextRound();
  for (const State& state : next_) {
    const Instruction& instruction = program_.Instructions()[state.instruction];
    if (instruction.kind == Instruction::Kind::any || program_.Contains(instruction.index, element)) {
      Add(instruction.next, state.tag, place);
    }
  }
}

// The tag of a state is where its match began. States stand in the order of their tags, so that of several
// ways to one instruction the earliest is kept.
template <class T>
std::uint64_t RegexSimulation<T>::FindStart(std::uint32_t entry, std::uint64_t from, std::uint64_t& looked) {
  std::uint64_t best = npos;
  Restart();
  for (std::uint64_t place = from;; ++place) {
    if (best == npos) Add(entry, place, place);
    if (isAccepted_) {
      best = std::min(best, acceptedTag_);
      std::erase_if(current_, [best](const State& state) { return state.tag >= best; });
    }
    looked = place - from;
    if (place == text_.Length() || (best != npos && current_.empty())) return best;
    Step(text_.At(place), place + 1);
  }
}

template <class T>
PlaceSet RegexSimulation<T>::FindStarts(std::uint32_t entry, std::uint64_t first, std::uint64_t last,
                                        const PlaceSet& ends) {
  PlaceSet starts(first, last);
  Restart();
  for (std::uint64_t place = last;; --place) {
    if (ends.Has(place)) Add(entry, 0, place);
    if (isAccepted_) starts.Add(place);
    if (place == first) return starts;
    Step(text_.At(place - 1), place - 1);
  }
}

// Adds what ends at a place. The tag of a state is its end, and states stand in the order of preference: the
// farthest end is the oldest, the nearest the newest.
template <class T>
void RegexSimulation<T>::AddEnd(std::uint32_t entry, std::uint64_t place, bool isShortest) {
  if (!isShortest) return Add(entry, place, place);
  next_.swap(current_);
  const bool wasAccepted = isAccepted_;
  Restart();
  Add(entry, place, place);
  for (const State& state : next_) {
    if (marks_.Mark(state.instruction)) current_.push_back(state);
  }
  if (!isAccepted_) isAccepted_ = wasAccepted;  // with the tag it had
}

template <class T>
std::vector<std::uint64_t> RegexSimulation<T>::FindEnds(std::uint32_t entry, std::uint64_t first,
                                                        std::uint64_t last, bool isShortest) {
  std::vector<std::uint64_t> ends(last - first + 1, npos);
  Restart();
  for (std::uint64_t place = last;; --place) {
    AddEnd(entry, place, isShortest);
    if (isAccepted_) ends[place - first] = acceptedTag_;
    if (place == first) return ends;
    Step(text_.At(place - 1), place - 1);
  }
}

template <class T>
typename RegexSimulation<T>::Chain RegexSimulation<T>::FindChain(std::uint32_t entry, std::uint64_t first,
                                                                 std::uint64_t last, bool isShortest) {
  Chain chain{PlaceSet(first, last), std::vector<std::uint64_t>(last - first + 1, npos)};
  Restart();
  for (std::uint64_t place = last;; --place) {
    if (isAccepted_) chain.ends[place - first] = acceptedTag_;
    if (isAccepted_ || place == last) {
      chain.places.Add(place);
      AddEnd(entry, place, isShortest);
    }
    if (place == first) return chain;
    Step(text_.At(place - 1), place - 1);
  }
}

template class RegexSimulation<char>;
template class RegexSimulation<wchar_t>;

template <class T>
void FindLookAheads(const RegexProgram& program, RegexText<T>& text, std::uint64_t from) {
  if (program.LookAheads().empty()) return;
  const PlaceSet all = PlaceSet::All(from, text.Length());
  text.lookAheads.reserve(program.LookAheads().size());
  RegexSimulation<T> simulation(program, text);
  for (const std::uint32_t node : program.LookAheads()) {
    const std::uint32_t entry = program.Of(program.At(node).children.front()).backward;
    text.lookAheads.push_back(simulation.FindStarts(entry, from, text.Length(), all));
  }
}

template void FindLookAheads(const RegexProgram&, RegexText<char>&, std::uint64_t);
template void FindLookAheads(const RegexProgram&, RegexText<wchar_t>&, std::uint64_t);

}  // namespace Qorv::IMPL
