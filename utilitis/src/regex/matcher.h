// One pattern on one text.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "regex/cache.h"
#include "regex/references.h"

namespace Qorv::IMPL {

/// Finds matches; see CRegex::Exec. Keeps what it needs for the next one. One thread at a time.
template <class T>
class RegexMatcher {
 public:
  RegexMatcher(std::shared_ptr<const RegexProgram> program, std::basic_string_view<T> text,
               std::uint32_t flags);
  RegexMatcher(const RegexMatcher&) = delete;
  RegexMatcher& operator=(const RegexMatcher&) = delete;
  ~RegexMatcher();

  std::uint64_t Length() const noexcept { return text_.Length(); }
  bool Find(std::uint64_t start, RANGE* ranges, std::uint64_t count);

 private:
  // What only some searches need.
  struct Tools {
    Tools(const RegexProgram& program, const RegexText<T>& text)
        : simulation(program, text), pieces(program, simulation), captures(program.GetTree().groups) {}
    RegexSimulation<T> simulation;
    RegexPieces<T> pieces;
    std::vector<RANGE> captures;
  };

  Tools& GetTools();
  bool FindMatch(std::uint64_t start, RANGE& match);
  bool IsCostly() const noexcept { return looked_ > 4 * text_.Length() + 1024; }
  std::uint64_t FindStart(std::uint64_t from);
  bool FindByAutomaton(std::uint64_t start, RANGE& match);
  bool FindBySimulation(std::uint64_t start, RANGE& match);
  bool FindByTrial(std::uint64_t start, RANGE& match);
  void FindCaptures(RANGE match, RANGE* ranges, std::uint64_t count);

  const std::shared_ptr<const RegexProgram> program_;
  RegexText<T> text_;
  std::unique_ptr<RegexCache> cache_;
  std::optional<Tools> tools_;
  bool isPrepared_ = false;
  bool isBusy_ = false;              // or was when an exception ended a search
  std::uint64_t looked_ = 0;         // elements looked at in vain
  std::uint64_t base_ = 0;           // of `ends_`
  std::vector<std::uint64_t> ends_;  // of the match from each place on, once searching is costly
};

extern template class RegexMatcher<char>;
extern template class RegexMatcher<wchar_t>;

}  // namespace Qorv::IMPL
