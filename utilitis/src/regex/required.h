// Text that every match of a pattern contains.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "regex/colors.h"
#include "regex/tree.h"
#include "string/search.h"

namespace Qorv::IMPL {

/// A literal that stands in each match, behind elements of known colours only. Where it is not, no match is;
/// where it is, a match with it begins no earlier than the last element that cannot precede it.
struct RequiredText {
  std::string narrow;                    ///< empty if there is none
  std::wstring wide;                     ///< the same for wide texts
  std::vector<std::uint8_t> canPrecede;  ///< by colour
};

RequiredText FindRequiredText(const Tree& tree, const RegexColors& colors);

/// The first place of the required text at or behind `from`, or npos.
inline std::uint64_t FindRequired(std::string_view text, const RequiredText& required,
                                  std::uint64_t from) noexcept {
  return FindText<char>(text, required.narrow, from);
}
inline std::uint64_t FindRequired(std::wstring_view text, const RequiredText& required,
                                  std::uint64_t from) noexcept {
  return FindText<wchar_t>(text, required.wide, from);
}

}  // namespace Qorv::IMPL
