#include "regex/prefix.h"

#include <algorithm>
#include <iterator>

#include <qorv/regex.h>

namespace Qorv::IMPL {
namespace {

constexpr std::uint32_t anySyntax = regexFlag::advanced | regexFlag::quote;

struct OptionRow {
  char32_t letter;
  std::uint32_t cleared;
  std::uint32_t set;
};

constexpr OptionRow options[] = {
    {U'b', anySyntax, 0},
    {U'c', regexFlag::ignoreCase, 0},
    {U'e', anySyntax, regexFlag::extended},
    {U'i', 0, regexFlag::ignoreCase},
    {U'm', 0, regexFlag::newline},
    {U'n', 0, regexFlag::newline},
    {U'p', regexFlag::newline, regexFlag::stopAtNewline},
    {U'q', anySyntax, regexFlag::quote},
    {U's', regexFlag::newline, 0},
    {U't', regexFlag::expanded, 0},
    {U'w', regexFlag::newline, regexFlag::anchorAtNewline},
    {U'x', 0, regexFlag::expanded},
};

constexpr bool IsAdvanced(std::uint32_t flags) noexcept {
  return (flags & anySyntax) == regexFlag::advanced;
}

// "(?" and letters up to the closing parenthesis.
std::optional<std::uint32_t> ReadOptions(Scanner& scanner, std::uint32_t flags) {
  const std::u32string_view rest = scanner.Rest();
  if (!scanner.Sees(U"(?") || rest.size() < 3 || !IsLetter(rest[2])) return flags;
  scanner.Skip(2);
  while (!scanner.Take(U')')) {
    if (scanner.AtEnd()) return std::nullopt;
    const auto* row = std::ranges::find(options, scanner.Next(), &OptionRow::letter);
    if (row == std::end(options)) return std::nullopt;
    flags = (flags & ~row->cleared) | row->set;
  }
  return flags;
}

}  // namespace

// Any other director is a quantifier behind another one, which no syntax takes.
std::optional<std::uint32_t> ReadPrefix(Scanner& scanner, std::uint32_t flags) {
  if ((flags & regexFlag::quote) != 0) return flags;
  if (scanner.Take(U"***=")) return (flags & ~anySyntax) | regexFlag::quote;
  if (scanner.Take(U"***:")) flags |= regexFlag::advanced;
  return IsAdvanced(flags) ? ReadOptions(scanner, flags) : flags;
}

}  // namespace Qorv::IMPL
