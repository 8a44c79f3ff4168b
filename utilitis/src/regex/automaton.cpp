#include "regex/automaton.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Qorv::IMPL {

RegexAutomaton::RegexAutomaton(const RegexProgram& program, std::uint32_t entry, Mode mode)
    : program_(program),
      entry_(entry),
      mode_(mode),
      colors_(program.Colors().Count()),
      width_(colors_ + 2),
      marks_(program.Instructions().size()) {
  if (mode_ == Mode::search) FindBeginnings();
}

// What the instructions that wait in `pending_` lead to without an element. Blind, all assertions hold.
void RegexAutomaton::Expand(bool isBlind, Neighbour left, Neighbour right) {
  using Kind = Instruction::Kind;
  marks_.Wipe();
  closure_.clear();
  isAccepted_ = false;
  while (!pending_.empty()) {
    const std::uint32_t index = pending_.back();
    pending_.pop_back();
    if (!marks_.Mark(index)) continue;
    const Instruction& instruction = program_.Instructions()[index];
    switch (instruction.kind) {
      case Kind::set:
      case Kind::any:
        closure_.push_back(index);
        break;
      case Kind::split:
        pending_.push_back(instruction.other);
        pending_.push_back(instruction.next);
        break;
      case Kind::assertion:
        if (isBlind || program_.Holds(instruction.assertion, left, right)) {
          pending_.push_back(instruction.next);
        }
        break;
      case Kind::lookAhead:
        pending_.push_back(instruction.next);
        break;
      case Kind::accept:
        isAccepted_ = true;
        break;
    }
  }
}

void RegexAutomaton::FindBeginnings() {
  pending_.push_back(entry_);
  Expand(true, Neighbour::other, Neighbour::other);
  canSkip_ = !isAccepted_;
  canBegin_.resize(colors_);
  for (std::uint32_t color = 0; color < colors_; ++color) {
    const std::uint32_t sample = program_.Colors().Sample(color);
    canBegin_[color] = std::ranges::any_of(closure_,
                                           [&](std::uint32_t index) {
                                             const Instruction& instruction = program_.Instructions()[index];
                                             return instruction.kind == Instruction::Kind::any ||
                                                    program_.Contains(instruction.index, sample);
                                           })
                           ? 1
                           : 0;
  }
  constexpr std::uint32_t many = 8;  // of the elements that texts are mostly made of
  std::uint32_t count = 0;
  for (std::uint32_t element = 0; element < 256; ++element) {
    if (canBegin_[program_.Colors().Of(element)] == 0) continue;
    only_ = static_cast<std::int32_t>(element);
    ++count;
  }
  if (count != 1) only_ = -1;
  canSkip_ = canSkip_ && (count <= many || !program_.Required().narrow.empty());
}

void RegexAutomaton::Close(const std::u32string& key, Neighbour next) {
  pending_.assign(key.begin() + 1, key.end());
  const auto last = static_cast<Neighbour>(key.front());
  if (mode_ == Mode::backward) {
    Expand(false, next, last);
  } else {
    Expand(false, last, next);
  }
}

// Of a search: whether no match is alive.
bool RegexAutomaton::IsCold(Entry row) const noexcept {
  return std::ranges::find(starts_, row) != starts_.end();
}

// The row of a state, made if it is not there.
RegexAutomaton::Entry RegexAutomaton::RowOf(std::u32string key) {
  if (const auto found = known_.find(key); found != known_.end()) return found->second;
  const std::size_t keySize = key.size() + keyOverhead;
  if (table_.size() + width_ + keySize_ + keySize > maxSize) {
    table_.clear();
    known_.clear();
    keys_.clear();
    keySize_ = 0;
    ++clears_;
    starts_.fill(0);
  }
  if (table_.empty()) {  // the first row is nobody's
    table_.resize(width_);
    keys_.push_back(nullptr);
  }
  const auto row = static_cast<Entry>(table_.size());
  table_.resize(table_.size() + width_, unknown);
  keySize_ += keySize;
  const bool isStart = key.size() == 2 && key.back() == entry_;
  if (isStart) starts_[key.front()] = row;
  const Entry flag = key.size() == 1 ? isSpecial : isStart && canSkip_ ? isCold : 0;
  const auto entry = known_.emplace(std::move(key), row | flag).first;
  keys_.push_back(&entry->first);
  return entry->second;
}

RegexAutomaton::Entry RegexAutomaton::Start(Neighbour last) {
  if (!program_.HasAssertions()) last = Neighbour::other;
  const auto index = static_cast<std::size_t>(last);
  if (starts_[index] == 0) RowOf({static_cast<char32_t>(last), static_cast<char32_t>(entry_)});
  return starts_[index];
}

// Fills an entry of the table.
RegexAutomaton::Entry RegexAutomaton::Make(Entry row, std::uint32_t color) {
  const bool isEdge = color >= colors_;
  const std::uint32_t sample = isEdge ? 0 : program_.Colors().Sample(color);
  Neighbour next = color == colors_ ? Neighbour::edge : Neighbour::edgeOfNoLine;
  if (!isEdge) next = program_.HasAssertions() ? NeighbourOf(sample) : Neighbour::other;
  Close(*keys_[row / width_], next);
  std::u32string key(1, static_cast<char32_t>(next));
  if (!isEdge) {
    for (const std::uint32_t index : closure_) {
      const Instruction& instruction = program_.Instructions()[index];
      if (instruction.kind == Instruction::Kind::any || program_.Contains(instruction.index, sample)) {
        key.push_back(instruction.next);
      }
    }
    if (mode_ == Mode::search) key.push_back(entry_);
    std::sort(key.begin() + 1, key.end());
    key.erase(std::unique(key.begin() + 1, key.end()), key.end());
  }
  const Entry found = isAccepted_ ? isMatch : 0;
  const std::uint64_t clears = clears_;
  const Entry entry = RowOf(std::move(key)) | found;
  if (clears_ == clears) table_[row + color] = entry;  // otherwise that row is gone
  return entry;
}

template <class T>
void RegexAutomaton::FindLandmark(const RegexText<T>& text, std::uint64_t from,
                                  Landmark& landmark) const noexcept {
  const RequiredText& required = program_.Required();
  landmark.isKnown = true;
  landmark.place = FindRequired(text.View(), required, from);
  if (landmark.place == npos) return;
  landmark.begin = landmark.place;
  while (landmark.begin > from && required.canPrecede[program_.Colors().Of(text.At(landmark.begin - 1))])
    --landmark.begin;
}

// From a place where no match is alive to the next where one may begin.
template <class T>
std::uint64_t RegexAutomaton::SkipCold(const RegexText<T>& text, std::uint64_t place,
                                       Landmark& landmark) const noexcept {
  if (!program_.Required().narrow.empty()) {
    if (!landmark.isKnown || landmark.place < place) FindLandmark(text, place, landmark);
    if (landmark.place == npos) return text.Length();
    place = std::max(place, landmark.begin);
  }
  if (place == text.Length()) return place;
  if constexpr (sizeof(T) == 1) {
    if (only_ >= 0) {
      const void* const hit = std::memchr(text.Data() + place, only_, text.Length() - place);
      if (hit == nullptr) return text.Length();
      return static_cast<std::uint64_t>(static_cast<const T*>(hit) - text.Data());
    }
  }
  while (place < text.Length() && canBegin_[program_.Colors().Of(text.At(place))] == 0)
    ++place;
  return place;
}

template <class T>
std::uint64_t RegexAutomaton::FindEnd(const RegexText<T>& text, std::uint64_t from, std::uint64_t& cold) {
  return canSkip_ ? FindEndBySkips(text, from, cold) : FindEndByRuns(text, from, cold);
}

// Looks for the next beginning wherever no match is alive.
template <class T>
std::uint64_t RegexAutomaton::FindEndBySkips(const RegexText<T>& text, std::uint64_t from,
                                             std::uint64_t& cold) {
  const RegexColors& colors = program_.Colors();
  Landmark landmark;
  cold = SkipCold(text, from, landmark);
  Entry row = Start(text.Before(cold));
  for (std::uint64_t place = cold; place < text.Length(); ++place) {
    Entry next = At(row, colors.Of(text.At(place)));
    if (next > rowMask) {
      if (next == unknown) next = Make(row, colors.Of(text.At(place)));
      if ((next & isMatch) != 0) return place;
      if ((next & isCold) != 0) {
        cold = SkipCold(text, place + 1, landmark);
        if (cold != place + 1) next = Start(text.Before(cold));
        place = cold - 1;
      }
      next &= rowMask;
    }
    row = next;
  }
  return (Next(row, colors_) & isMatch) != 0 ? text.Length() : npos;
}

// Where matches may begin at most elements, asking each time whether one is alive would cost more than all the
// rest. So that is found out in the end, by going over the last part again.
template <class T>
std::uint64_t RegexAutomaton::FindEndByRuns(const RegexText<T>& text, std::uint64_t from,
                                            std::uint64_t& cold) {
  constexpr std::uint64_t runLength = 32;
  const RegexColors& colors = program_.Colors();
  Trail trail;
  Entry row = Start(text.Before(from));
  cold = from;
  for (std::uint64_t place = from; place < text.Length();) {
    trail.Add({place, row});
    const std::uint64_t runEnd = std::min(text.Length(), place + runLength);
    for (; place < runEnd; ++place) {
      Entry next = At(row, colors.Of(text.At(place)));
      if (next > rowMask) {
        if (next == unknown) {
          const std::uint64_t clears = clears_;
          next = Make(row, colors.Of(text.At(place)));
          if (clears_ != clears) trail.Clear();  // its rows are gone
        }
        if ((next & isMatch) != 0) {
          FindCold(text, place, trail, cold);
          return place;
        }
        next &= rowMask;
      }
      row = next;
    }
  }
  const std::uint64_t clears = clears_;
  if ((Next(row, colors_) & isMatch) == 0) return npos;
  if (clears_ != clears) trail.Clear();
  FindCold(text, text.Length(), trail, cold);
  return text.Length();
}

// Moves `cold` to the last place before `end` where no match was alive, if the trail leads back that far.
template <class T>
void RegexAutomaton::FindCold(const RegexText<T>& text, std::uint64_t end, const Trail& trail,
                              std::uint64_t& cold) const {
  const RegexColors& colors = program_.Colors();
  for (std::size_t i = 0; const Trail::Step* const step = trail.Back(i); ++i) {
    Entry row = step->row;
    std::uint64_t found = IsCold(row) ? step->place : npos;
    for (std::uint64_t place = step->place; place < end; ++place) {
      row = At(row, colors.Of(text.At(place)));
      if (IsCold(row)) found = place + 1;
    }
    if (found != npos) {
      cold = std::max(cold, found);
      return;
    }
    end = step->place;
  }
}

template <class T>
std::uint64_t RegexAutomaton::PickEnd(const RegexText<T>& text, std::uint64_t from, bool isShortest,
                                      std::uint64_t& looked) {
  const RegexColors& colors = program_.Colors();
  std::uint64_t end = npos;
  Entry row = Start(text.Before(from));
  std::uint64_t place = from;
  for (;; ++place) {
    const bool isLast = place == text.Length();
    Entry next = Next(row, isLast ? colors_ : colors.Of(text.At(place)));
    if (next > rowMask) {
      if ((next & isMatch) != 0) end = place;
      if ((next & isSpecial) != 0 || (isShortest && end == place)) break;
      next &= rowMask;
    }
    if (isLast) break;
    row = next;
  }
  looked = place;
  return end;
}

template <class T>
std::uint64_t RegexAutomaton::PickStart(const RegexText<T>& text, std::uint64_t from, std::uint64_t limit) {
  const RegexColors& colors = program_.Colors();
  std::uint64_t start = npos;
  Entry row = Start(text.Behind(from));
  for (std::uint64_t place = from;; --place) {
    std::uint32_t color = colors_;
    if (place != 0) {
      color = colors.Of(text.At(place - 1));
    } else if (text.Before(0) == Neighbour::edgeOfNoLine) {
      ++color;
    }
    const Entry next = Next(row, color);
    if ((next & isMatch) != 0) start = place;
    if (place == limit || (next & isSpecial) != 0) return start;
    row = next & rowMask;
  }
}

template std::uint64_t RegexAutomaton::FindEnd(const RegexText<char>&, std::uint64_t, std::uint64_t&);
template std::uint64_t RegexAutomaton::FindEnd(const RegexText<wchar_t>&, std::uint64_t, std::uint64_t&);
template std::uint64_t RegexAutomaton::PickEnd(const RegexText<char>&, std::uint64_t, bool, std::uint64_t&);
template std::uint64_t RegexAutomaton::PickEnd(const RegexText<wchar_t>&, std::uint64_t, bool,
                                               std::uint64_t&);
template std::uint64_t RegexAutomaton::PickStart(const RegexText<char>&, std::uint64_t, std::uint64_t);
template std::uint64_t RegexAutomaton::PickStart(const RegexText<wchar_t>&, std::uint64_t, std::uint64_t);

}  // namespace Qorv::IMPL
