#include "fault_plan.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace FaultShim {
namespace {

constexpr std::pair<std::string_view, int> errnoNames[] = {
    {"EACCES", EACCES}, {"EAGAIN", EAGAIN}, {"EBADF", EBADF},         {"EINTR", EINTR},
    {"EINVAL", EINVAL}, {"EIO", EIO},       {"ENODATA", ENODATA},     {"ENOENT", ENOENT},
    {"ENOMEM", ENOMEM}, {"ENOSPC", ENOSPC}, {"ENXIO", ENXIO},         {"EPIPE", EPIPE},
    {"EROFS", EROFS},   {"ESPIPE", ESPIPE}, {"ETIMEDOUT", ETIMEDOUT},
};

[[noreturn]] void Refuse(const std::string& line) {
  std::cerr << "fault shim: cannot use the plan: " << line << std::endl;
  _exit(125);
}

std::optional<int> ErrnoByName(std::string_view name) {
  const auto* found = std::ranges::find(errnoNames, name, [](const auto& pair) { return pair.first; });
  if (found == std::end(errnoNames)) return std::nullopt;
  return found->second;
}

// The words of one rule, taken from the left. What is missing or no number makes the plan unusable.
class Rule {
 public:
  explicit Rule(const std::string& line) : line_(line) {
    std::istringstream words(line.substr(0, line.find('#')));
    for (std::string word; words >> word;)
      words_.push_back(word);
  }

  bool AtEnd() const { return next_ == words_.size(); }
  std::string Word() {
    if (AtEnd()) Refuse(line_);
    return words_[next_++];
  }
  std::string Rest() {
    std::string rest = Word();
    while (!AtEnd())
      rest += ' ' + Word();
    return rest;
  }
  std::int64_t Number() {
    const std::string word = Word();
    if (word.find_first_not_of("0123456789") != std::string::npos) Refuse(line_);
    return std::stoll(word);
  }
  Op Operation() {
    const auto found = std::ranges::find(opNames, Word());
    if (found == opNames.end()) Refuse(line_);
    return static_cast<Op>(found - opNames.begin());
  }
  bool Take(std::string_view word) {
    if (AtEnd() || words_[next_] != word) return false;
    ++next_;
    return true;
  }
  bool NextIsNumber() const {
    return !AtEnd() && words_[next_].find_first_not_of("0123456789") == std::string::npos;
  }
  int Errno() {
    if (AtEnd()) return EIO;
    const std::optional<int> error = ErrnoByName(words_[next_]);
    if (!error) return EIO;
    ++next_;
    return *error;
  }
  void ExpectEnd() const {
    if (!AtEnd()) Refuse(line_);
  }

 private:
  const std::string line_;
  std::vector<std::string> words_;
  std::size_t next_ = 0;
};

void AddBad(File& file, Rule& rule) {
  const std::int64_t from = rule.Number();
  const std::int64_t to = rule.Number();
  const int error = rule.Errno();
  const std::int64_t tries = rule.Take("first") ? rule.Number() : unlimited;
  file.badRanges.push_back({from, to, error, tries});
}

void AddFail(File& file, Rule& rule) {
  const Op op = rule.Operation();
  const std::int64_t first = rule.Number();
  std::int64_t last = first;
  if (rule.Take("on")) {
    last = unlimited;
  } else if (rule.NextIsNumber()) {
    last = first + rule.Number() - 1;
  }
  file.callFaults.push_back({op, first, last, rule.Errno(), 0});
}

void AddShort(File& file, Rule& rule) {
  const Op op = rule.Operation();
  const std::int64_t call = rule.Number();
  file.callFaults.push_back({op, call, call, 0, rule.Number()});
}

constexpr std::pair<std::string_view, Death> deaths[] = {
    {"divide",
     [] {
       volatile int zero = 0;
       zero = 12345 / zero;
     }},
    {"access",
     [] {
       volatile int* volatile nowhere = nullptr;
       *nowhere = 1;
     }},
    {"abort", [] { std::abort(); }},
    {"standard", [] { throw std::runtime_error("on purpose"); }},
    {"nobody", [] { throw 1; }},
};

void AddDeath(File& file, Rule& rule) {
  const Op op = rule.Operation();
  const std::int64_t call = rule.Number();
  const auto* death = std::ranges::find(deaths, rule.Word(), [](const auto& pair) { return pair.first; });
  if (death == std::end(deaths)) Refuse("no such death");
  file.callFaults.push_back({op, call, call, 0, unlimited, death->second});
}

void AddShortAt(File& file, Rule& rule) {
  const std::int64_t position = rule.Number();
  file.shortReads.push_back({position, rule.Number()});
}

void AddSlow(File& file, Rule& rule) {
  const Op op = rule.Operation();
  file.delays[op] = rule.Number();
}

void SortRanges(File& file) {
  std::ranges::sort(file.badRanges, {}, &BadRange::from);
  const auto overlap = [](const BadRange& left, const BadRange& right) { return left.to > right.from; };
  if (std::ranges::adjacent_find(file.badRanges, overlap) != file.badRanges.end())
    Refuse("bad ranges overlap");
}

using Handler = void (*)(File&, Rule&);
constexpr std::pair<std::string_view, Handler> handlers[] = {
    {"bad", AddBad},
    {"partial", [](File& file, Rule&) { file.partial = true; }},
    {"fail", AddFail},
    {"short", AddShort},
    {"shortat", AddShortAt},
    {"end", [](File& file, Rule& rule) { file.end = rule.Number(); }},
    {"full", [](File& file, Rule& rule) { file.full = rule.Number(); }},
    {"slow", AddSlow},
    {"die", AddDeath},
    {"noDirect", [](File& file, Rule&) { file.noDirect = true; }},
};

}  // namespace

Plan LoadPlan(const char* path) {
  std::ifstream in(path);
  if (!in) Refuse(path);
  Plan plan;
  for (std::string line; std::getline(in, line);) {
    Rule rule(line);
    if (rule.AtEnd()) continue;
    const std::string keyword = rule.Word();
    if (keyword == "file") {
      plan.push_back(std::make_unique<File>());
      plan.back()->label = rule.Word();
      plan.back()->path = rule.Rest();
      continue;
    }
    const auto* handler = std::ranges::find(handlers, keyword, [](const auto& pair) { return pair.first; });
    if (handler == std::end(handlers) || plan.empty()) Refuse(line);
    handler->second(*plan.back(), rule);
    rule.ExpectEnd();
  }
  for (const auto& file : plan)
    SortRanges(*file);
  return plan;
}

}  // namespace FaultShim
