// The ranges of a match as a short text: "0+4 - 2+2" for a match of four elements at 0 whose first group took
// no part and whose second matched two elements at 2.
#pragma once

#include <string>
#include <vector>

#include <qorv/string.h>

inline std::string Describe(const std::vector<Qorv::RANGE>& ranges) {
  std::string text;
  for (const Qorv::RANGE& range : ranges) {
    if (!text.empty()) text += ' ';
    const bool isUnset = range == Qorv::RANGE{Qorv::npos, 0};
    text += isUnset ? "-" : std::to_string(range.offset) + '+' + std::to_string(range.length);
  }
  return text;
}
