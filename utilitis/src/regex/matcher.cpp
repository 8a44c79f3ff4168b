#include "regex/matcher.h"

#include <algorithm>
#include <utility>

namespace Qorv::IMPL {

template <class T>
RegexMatcher<T>::RegexMatcher(std::shared_ptr<const RegexProgram> program, std::basic_string_view<T> text,
                              std::uint32_t flags)
    : program_(std::move(program)), text_(text, flags) {
  if (!program_->HasAutomaton()) return;
  cache_ = program_->TakeCache();
  if (cache_ == nullptr) cache_ = std::make_unique<RegexCache>(*program_);
}

// What an exception has left half done is not for others.
template <class T>
RegexMatcher<T>::~RegexMatcher() {
  if (cache_ != nullptr && !isBusy_) program_->GiveCache(std::move(cache_));
}

template <class T>
typename RegexMatcher<T>::Tools& RegexMatcher<T>::GetTools() {
  if (!tools_) tools_.emplace(*program_, text_);
  return *tools_;
}

template <class T>
bool RegexMatcher<T>::Find(std::uint64_t start, RANGE* ranges, std::uint64_t count) {
  if (start > text_.Length()) return false;
  if (!std::exchange(isPrepared_, true)) FindLookAheads(*program_, text_, start);
  RANGE match;
  isBusy_ = true;
  const bool isFound = FindMatch(start, match);
  isBusy_ = false;
  if (!isFound) return false;
  if (count > 0) ranges[0] = match;
  if (count > 1) FindCaptures(match, ranges, count);
  return true;
}

template <class T>
bool RegexMatcher<T>::FindMatch(std::uint64_t start, RANGE& match) {
  if (program_->GetTree().backReferences) return FindByTrial(start, match);
  return cache_ != nullptr && !IsCostly() ? FindByAutomaton(start, match) : FindBySimulation(start, match);
}

// Searches for one match after another that each look far beyond it would take a quadratic number of steps.
// So in time one pass over all that is left finds all starts and ends.
template <class T>
std::uint64_t RegexMatcher<T>::FindStart(std::uint64_t from) {
  const Fragment& root = program_->Of(program_->GetTree().root);
  RegexSimulation<T>& simulation = GetTools().simulation;
  if (!IsCostly()) {
    std::uint64_t looked = 0;
    const std::uint64_t start = simulation.FindStart(root.forward, from, looked);
    looked_ += looked;
    return start;
  }
  if (ends_.empty()) {
    base_ = from;
    ends_ = simulation.FindEnds(root.backward, from, text_.Length(), program_->PrefersShortest());
  }
  while (from <= text_.Length() && ends_[from - base_] == npos)
    ++from;
  return from <= text_.Length() ? from : npos;
}

// The first end of any match tells whether there is one, and from where on to look for its start. A match that
// begins earlier may end later, so where the start is not the first one possible it takes a closer look.
template <class T>
bool RegexMatcher<T>::FindByAutomaton(std::uint64_t start, RANGE& match) {
  std::uint64_t cold = 0;
  const std::uint64_t end = cache_->search.FindEnd(text_, start, cold);
  if (end == npos) return false;
  match.offset = cache_->backward.PickStart(text_, end, cold);
  if (match.offset != cold) {
    match.offset = FindStart(cold);
  }
  std::uint64_t looked = 0;
  const std::uint64_t last =
      cache_->forward.PickEnd(text_, match.offset, program_->PrefersShortest(), looked);
  match.length = last - match.offset;
  looked_ += looked - last;
  return true;
}

template <class T>
bool RegexMatcher<T>::FindBySimulation(std::uint64_t start, RANGE& match) {
  RegexSimulation<T>& simulation = GetTools().simulation;
  const std::uint32_t entry = program_->Of(program_->GetTree().root).forward;
  match.offset = FindStart(start);
  if (match.offset == npos) return false;
  std::uint64_t last = npos;
  if (!ends_.empty()) {
    last = ends_[match.offset - base_];
  } else {
    const std::uint64_t looked =
        simulation.ForEachEnd(entry, match.offset, text_.Length(), [&](std::uint64_t end) {
          last = end;
          return !program_->PrefersShortest();
        });
    looked_ += looked - last;
  }
  match.length = last - match.offset;
  return true;
}

// The instructions take a back reference for any text, so what they find is tried.
template <class T>
bool RegexMatcher<T>::FindByTrial(std::uint64_t start, RANGE& match) {
  Tools& tools = GetTools();
  RegexReferences<T> references(tools.pieces, text_, tools.captures);
  const std::uint32_t entry = program_->Of(program_->GetTree().root).forward;
  while ((start = FindStart(start)) != npos) {
    std::vector<std::uint64_t> ends;
    tools.simulation.ForEachEnd(entry, start, text_.Length(), [&](std::uint64_t end) {
      ends.push_back(end);
      return true;
    });
    if (!program_->PrefersShortest()) std::ranges::reverse(ends);
    for (const std::uint64_t end : ends) {
      if (!references.Run(start, end)) continue;
      match = {start, end - start};
      return true;
    }
    if (start++ == text_.Length()) break;
  }
  return false;
}

template <class T>
void RegexMatcher<T>::FindCaptures(RANGE match, RANGE* ranges, std::uint64_t count) {
  const std::uint32_t groups = program_->GetTree().groups;
  if (groups != 0 && !program_->GetTree().backReferences) {  // a trial has left them
    Tools& tools = GetTools();
    std::ranges::fill(tools.captures, RegexPieces<T>::unset);
    RegexDissection<T>(tools.pieces, tools.captures)
        .Run(program_->GetTree().root, match.offset, match.offset + match.length);
  }
  for (std::uint64_t i = 1; i < count; ++i)
    ranges[i] = i <= groups ? tools_->captures[i - 1] : RegexPieces<T>::unset;
}

template class RegexMatcher<char>;
template class RegexMatcher<wchar_t>;

}  // namespace Qorv::IMPL
