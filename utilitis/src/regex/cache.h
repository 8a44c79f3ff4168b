// What searches with one pattern leave to the next ones.
#pragma once

#include "regex/automaton.h"

namespace Qorv::IMPL {

/// The three automata of a pattern. One thread at a time.
class RegexCache {
 public:
  explicit RegexCache(const RegexProgram& program)
      : search(program, program.SearchEntry(), RegexAutomaton::Mode::search),
        forward(program, Root(program).forward, RegexAutomaton::Mode::forward),
        backward(program, Root(program).backward, RegexAutomaton::Mode::backward) {}

  RegexAutomaton search;
  RegexAutomaton forward;
  RegexAutomaton backward;

 private:
  static const Fragment& Root(const RegexProgram& program) noexcept {
    return program.Of(program.GetTree().root);
  }
};

}  // namespace Qorv::IMPL
