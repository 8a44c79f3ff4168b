#include "regex/char_set.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <qorv/regex.h>

namespace Qorv::IMPL {
namespace {

using Span = CharSet::Span;

constexpr Span alnum[] = {{'0', '9'}, {'A', 'Z'}, {'a', 'z'}};
constexpr Span alpha[] = {{'A', 'Z'}, {'a', 'z'}};
constexpr Span blank[] = {{'\t', '\t'}, {' ', ' '}};
constexpr Span cntrl[] = {{0, 31}, {127, 127}};
constexpr Span digit[] = {{'0', '9'}};
constexpr Span graph[] = {{'!', '~'}};
constexpr Span lower[] = {{'a', 'z'}};
constexpr Span print[] = {{' ', '~'}};
constexpr Span punct[] = {{'!', '/'}, {':', '@'}, {'[', '`'}, {'{', '~'}};
constexpr Span space[] = {{'\t', '\r'}, {' ', ' '}};
constexpr Span upper[] = {{'A', 'Z'}};
constexpr Span word[] = {{'0', '9'}, {'A', 'Z'}, {'_', '_'}, {'a', 'z'}};
constexpr Span xdigit[] = {{'0', '9'}, {'A', 'F'}, {'a', 'f'}};

struct ClassRow {
  std::u32string_view name;
  std::span<const Span> spans;
};

constexpr ClassRow classes[] = {
    {U"alnum", alnum}, {U"alpha", alpha}, {U"blank", blank}, {U"cntrl", cntrl},
    {U"digit", digit}, {U"graph", graph}, {U"lower", lower}, {U"print", print},
    {U"punct", punct}, {U"space", space}, {U"upper", upper}, {U"xdigit", xdigit},
};

// Sorts, and joins what overlaps or touches.
std::vector<Span> Joined(std::vector<Span> spans) {
  std::ranges::sort(spans, {}, &Span::first);
  std::vector<Span> joined;
  for (const Span& span : spans) {
    if (joined.empty() || (span.first > joined.back().last && span.first - joined.back().last > 1)) {
      joined.push_back(span);
    } else {
      joined.back().last = std::max(joined.back().last, span.last);
    }
  }
  return joined;
}

std::vector<Span> Complement(const std::vector<Span>& spans, std::uint32_t highest) {
  std::vector<Span> rest;
  std::uint32_t next = 0;
  for (const Span& span : spans) {
    if (span.first > next) rest.push_back({next, span.first - 1});
    if (span.last == highest) return rest;
    next = span.last + 1;
  }
  rest.push_back({next, highest});
  return rest;
}

}  // namespace

std::span<const Span> FindClass(std::u32string_view name) noexcept {
  const auto* row = std::ranges::find(classes, name, &ClassRow::name);
  return row == std::end(classes) ? std::span<const Span>() : row->spans;
}

std::span<const Span> WordClass() noexcept {
  return word;
}

void CharSetBuilder::AddClass(std::span<const Span> spans) {
  spans_.insert(spans_.end(), spans.begin(), spans.end());
}

CharSet CharSetBuilder::Build(bool negated, std::uint32_t flags, std::uint32_t highest) && {
  if ((flags & regexFlag::ignoreCase) != 0) FoldCase();
  if (negated && (flags & regexFlag::stopAtNewline) != 0) Add('\n');
  std::vector<Span> joined = Joined(std::move(spans_));
  return {negated ? Complement(joined, highest) : std::move(joined)};
}

void CharSetBuilder::FoldCase() {
  constexpr std::uint32_t distance = 'a' - 'A';
  const std::size_t count = spans_.size();
  for (std::size_t i = 0; i != count; ++i) {
    const auto [first, last] = spans_[i];
    if (first <= 'Z' && last >= 'A') {
      AddRange(std::max<std::uint32_t>(first, 'A') + distance, std::min<std::uint32_t>(last, 'Z') + distance);
    }
    if (first <= 'z' && last >= 'a') {
      AddRange(std::max<std::uint32_t>(first, 'a') - distance, std::min<std::uint32_t>(last, 'z') - distance);
    }
  }
}

}  // namespace Qorv::IMPL
