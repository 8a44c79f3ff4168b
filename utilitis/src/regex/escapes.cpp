#include "regex/escapes.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "regex/char_set.h"

namespace Qorv::IMPL {
namespace {

struct ElementRow {
  char32_t letter;
  std::uint32_t element;
};

constexpr ElementRow elements[] = {
    {U'a', '\a'}, {U'b', '\b'}, {U'B', '\\'}, {U'e', 27},   {U'f', '\f'},
    {U'n', '\n'}, {U'r', '\r'}, {U't', '\t'}, {U'v', '\v'},
};

struct AssertionRow {
  char32_t letter;
  Assertion assertion;
};

constexpr AssertionRow assertions[] = {
    {U'A', Assertion::textBegin}, {U'Z', Assertion::textEnd},  {U'm', Assertion::wordBegin},
    {U'M', Assertion::wordEnd},   {U'y', Assertion::wordEdge}, {U'Y', Assertion::notWordEdge},
};

struct SetRow {
  char32_t letter;
  char32_t complement;
  std::span<const CharSet::Span> spans;
};

// Any value above what 32 bits hold means too much, however many digits there are.
constexpr std::uint64_t tooMuch = std::uint64_t{std::numeric_limits<std::uint32_t>::max()} + 1;

constexpr std::uint32_t DigitValue(char32_t element) noexcept {
  if (IsDigit(element)) return element - U'0';
  if (element >= U'a' && element <= U'f') return element - U'a' + 10;
  if (element >= U'A' && element <= U'F') return element - U'A' + 10;
  return 16;
}

// Reads `least` to `most` digits. Nothing if there are fewer.
std::optional<std::uint64_t> ReadDigits(Scanner& scanner, std::uint32_t base, std::size_t least,
                                        std::size_t most) {
  std::uint64_t value = 0;
  std::size_t count = 0;
  while (count != most && !scanner.AtEnd() && DigitValue(scanner.Rest().front()) < base) {
    value = std::min(value * base + DigitValue(scanner.Next()), tooMuch);
    ++count;
  }
  if (count < least) return std::nullopt;
  return value;
}

std::optional<Escape> MakeElement(const Scanner& scanner, std::optional<std::uint64_t> value) {
  if (!value || *value > scanner.Highest()) return std::nullopt;
  return Escape{.kind = Escape::Kind::element, .value = static_cast<std::uint32_t>(*value), .spans = {}};
}

// A back reference, or an octal number of up to three digits.
std::optional<Escape> ParseNumber(Scanner& scanner, std::uint32_t groups) {
  constexpr std::size_t any = std::numeric_limits<std::size_t>::max();
  if (!scanner.Sees(U'0')) {
    Scanner ahead = scanner;
    const std::uint64_t number = *ReadDigits(ahead, 10, 1, any);
    const bool isSingle = scanner.Rest().size() - ahead.Rest().size() == 1;
    if (isSingle || number <= groups) {
      scanner = ahead;
      return Escape{.kind = Escape::Kind::backRef, .value = static_cast<std::uint32_t>(number), .spans = {}};
    }
  }
  return MakeElement(scanner, ReadDigits(scanner, 8, 1, 3));
}

std::optional<Escape> ParseLetter(Scanner& scanner) {
  const char32_t letter = scanner.Next();
  if (const auto* row = std::ranges::find(elements, letter, &ElementRow::letter); row != std::end(elements)) {
    return MakeElement(scanner, row->element);
  }
  if (const auto* row = std::ranges::find(assertions, letter, &AssertionRow::letter);
      row != std::end(assertions)) {
    return Escape{.kind = Escape::Kind::assertion, .spans = {}, .assertion = row->assertion};
  }
  const SetRow sets[] = {
      {U'd', U'D', FindClass(U"digit")}, {U's', U'S', FindClass(U"space")}, {U'w', U'W', WordClass()}};
  for (const SetRow& row : sets) {
    if (letter != row.letter && letter != row.complement) continue;
    return Escape{.kind = Escape::Kind::set, .spans = row.spans, .negated = letter == row.complement};
  }
  switch (letter) {
    case U'c':
      if (scanner.AtEnd()) return std::nullopt;
      return MakeElement(scanner, scanner.Next() % 32);
    case U'u':
      return MakeElement(scanner, ReadDigits(scanner, 16, 4, 4));
    case U'U':
      return MakeElement(scanner, ReadDigits(scanner, 16, 8, 8));
    case U'x':
      return MakeElement(scanner, ReadDigits(scanner, 16, 1, std::numeric_limits<std::size_t>::max()));
    default:
      return std::nullopt;
  }
}

}  // namespace

std::optional<Escape> ParseEscape(Scanner& scanner, std::uint32_t groups) {
  if (scanner.AtEnd()) return std::nullopt;
  if (scanner.SeesDigit()) return ParseNumber(scanner, groups);
  if (IsLetter(scanner.Rest().front())) return ParseLetter(scanner);
  return MakeElement(scanner, scanner.Next());
}

}  // namespace Qorv::IMPL
