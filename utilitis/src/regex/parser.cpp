#include "regex/parser.h"

#include <algorithm>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>

#include <qorv/regex.h>

#include "regex/brackets.h"
#include "regex/char_set.h"
#include "regex/escapes.h"
#include "regex/prefix.h"

namespace Qorv::IMPL {

RegexParser::RegexParser(const Scanner& scanner, std::uint32_t flags) noexcept
    : scanner_(scanner), flags_(flags), syntax_(FindSyntax(flags)) {}

RegexParser::Syntax RegexParser::FindSyntax(std::uint32_t flags) noexcept {
  if ((flags & regexFlag::advanced) == regexFlag::advanced) return Syntax::advanced;
  return (flags & regexFlag::extended) != 0 ? Syntax::extended : Syntax::basic;
}

std::optional<Tree> RegexParser::Run() {
  const NodeIndex root = HasFlag(regexFlag::quote) ? ParseLiteral() : ParseBranches();
  if (!root) return std::nullopt;
  return builder_.Take(*root, flags_);
}

// White space and comments, wherever a new token may begin.
void RegexParser::SkipIgnored() {
  while (!scanner_.AtEnd()) {
    if (HasFlag(regexFlag::expanded) && IsSpace(scanner_.Rest().front())) {
      scanner_.Skip(1);
    } else if (HasFlag(regexFlag::expanded) && scanner_.Sees(U'#')) {
      scanner_.Skip(std::min(scanner_.Rest().find(U'\n'), scanner_.Rest().size()));
    } else if (!SkipComment()) {
      return;
    }
  }
}

bool RegexParser::SkipComment() {
  if (!IsAdvanced() || !scanner_.Sees(U"(?#")) return false;
  const std::size_t length = scanner_.Rest().find(U')');
  if (length == std::u32string_view::npos) return false;
  scanner_.Skip(length + 1);
  return true;
}

bool RegexParser::SeesGroupEnd() const noexcept {
  return depth_ != 0 && scanner_.Sees(IsBasic() ? std::u32string_view(U"\\)") : U")");
}

bool RegexParser::SeesBranchEnd() const noexcept {
  return scanner_.AtEnd() || SeesGroupEnd() || (!IsBasic() && scanner_.Sees(U'|'));
}

RegexParser::NodeIndex RegexParser::ParseLiteral() {
  std::vector<std::uint32_t> parts;
  while (!scanner_.AtEnd())
    parts.push_back(AddElement(scanner_.Next()));
  return builder_.AddConcat(std::move(parts));
}

RegexParser::NodeIndex RegexParser::ParseBranches() {
  std::vector<std::uint32_t> branches;
  do {
    const NodeIndex branch = ParseBranch();
    if (!branch) return std::nullopt;
    branches.push_back(*branch);
  } while (!IsBasic() && scanner_.Take(U'|'));
  return builder_.AddAlternate(std::move(branches));
}

RegexParser::NodeIndex RegexParser::ParseBranch() {
  std::vector<std::uint32_t> parts;
  for (SkipIgnored(); !SeesBranchEnd(); SkipIgnored()) {
    Piece piece = ParsePiece(parts);
    if (piece.node && !piece.isConstraint) {
      SkipIgnored();
      piece.node = ParseQuantifier(*piece.node);
    }
    if (!piece.node) return std::nullopt;
    parts.push_back(*piece.node);
  }
  return builder_.AddConcat(std::move(parts));
}

RegexParser::Piece RegexParser::ParsePiece(const std::vector<std::uint32_t>& before) {
  const char32_t element = scanner_.Next();
  switch (element) {
    case U'.':
      return {builder_.AddSet(CharSetBuilder().Build(true, flags_, scanner_.Highest()))};
    case U'[':
      return ParseBracketed();
    case U'\\':
      return IsBasic() ? ParseBasicBackslash() : ParseEscaped();
    default:
      return IsBasic() ? ParseBasic(element, before) : ParseModern(element);
  }
}

// In the basic syntax the place decides what is special.
RegexParser::Piece RegexParser::ParseBasic(char32_t element, const std::vector<std::uint32_t>& before) {
  const bool isBehindAnchor = before.size() == 1 && builder_.At(before.front()).kind == NodeKind::assertion &&
                              builder_.At(before.front()).assertion == Assertion::lineBegin;
  switch (element) {
    case U'^':
      if (before.empty()) return AddAssertion(Assertion::lineBegin);
      break;
    case U'$':
      SkipIgnored();
      if (SeesBranchEnd()) return AddAssertion(Assertion::lineEnd);
      break;
    case U'*':
      if (!before.empty() && !isBehindAnchor) return {};
      break;
    default:
      break;
  }
  return {AddElement(element)};
}

// A quantifier has no atom wherever an atom is looked for.
RegexParser::Piece RegexParser::ParseModern(char32_t element) {
  switch (element) {
    case U'^':
      return AddAssertion(Assertion::lineBegin);
    case U'$':
      return AddAssertion(Assertion::lineEnd);
    case U'(':
      return ParseOpening();
    case U')':  // nothing opened it
      if (IsAdvanced()) return {};
      break;
    case U'*':
    case U'+':
    case U'?':
      return {};
    case U'{':
      if (scanner_.SeesDigit()) return {};
      break;
    default:
      break;
  }
  return {AddElement(element)};
}

RegexParser::Piece RegexParser::ParseBasicBackslash() {
  if (scanner_.AtEnd()) return {};
  const char32_t element = scanner_.Next();
  switch (element) {
    case U'(':
      return {ParseCapture()};
    case U')':
    case U'{':
      return {};
    case U'<':
      return AddAssertion(Assertion::wordBegin);
    case U'>':
      return AddAssertion(Assertion::wordEnd);
    default:
      if (IsDigit(element) && element != U'0') return {AddBackReference(element - U'0')};
      return {AddElement(element)};
  }
}

RegexParser::Piece RegexParser::ParseEscaped() {
  if (!IsAdvanced()) {
    if (scanner_.AtEnd()) return {};
    return {AddElement(scanner_.Next())};
  }
  const std::optional<Escape> escape = ParseEscape(scanner_, builder_.Groups());
  if (!escape) return {};
  switch (escape->kind) {
    case Escape::Kind::set: {
      CharSetBuilder set;
      set.AddClass(escape->spans);
      return {builder_.AddSet(std::move(set).Build(escape->negated, flags_, scanner_.Highest()))};
    }
    case Escape::Kind::assertion:
      return AddAssertion(escape->assertion);
    case Escape::Kind::backRef:
      return {AddBackReference(escape->value)};
    case Escape::Kind::element:
      break;
  }
  return {AddElement(escape->value)};
}

RegexParser::Piece RegexParser::ParseBracketed() {
  if (scanner_.Take(U"[:<:]]")) return AddAssertion(Assertion::wordBegin);
  if (scanner_.Take(U"[:>:]]")) return AddAssertion(Assertion::wordEnd);
  std::optional<CharSet> set = ParseBracket(scanner_, flags_, builder_.Groups());
  if (!set) return {};
  return {builder_.AddSet(std::move(*set))};
}

// What stands behind an opening parenthesis.
RegexParser::Piece RegexParser::ParseOpening() {
  if (IsAdvanced()) {
    if (scanner_.Take(U"?:")) return {ParseInside()};
    if (scanner_.Take(U"?=")) return ParseLookAhead(false);
    if (scanner_.Take(U"?!")) return ParseLookAhead(true);
    if (scanner_.Sees(U'?')) return {};
    if (lookAheadDepth_ != 0) return {ParseInside()};
  }
  return {ParseCapture()};
}

// The branches of a group and what closes it.
RegexParser::NodeIndex RegexParser::ParseInside() {
  if (depth_ == CRegex<char>::maxDepth) return std::nullopt;
  ++depth_;
  const NodeIndex inside = ParseBranches();
  if (!inside || !SeesGroupEnd()) return std::nullopt;
  scanner_.Skip(IsBasic() ? 2 : 1);
  --depth_;
  return inside;
}

RegexParser::NodeIndex RegexParser::ParseCapture() {
  const std::uint32_t number = builder_.OpenGroup();
  isClosed_.resize(number + std::size_t{1});
  const NodeIndex inside = ParseInside();
  if (!inside) return std::nullopt;
  isClosed_[number] = true;
  return builder_.AddGroup(number, *inside);
}

RegexParser::Piece RegexParser::ParseLookAhead(bool negated) {
  ++lookAheadDepth_;
  const NodeIndex inside = ParseInside();
  --lookAheadDepth_;
  if (!inside) return {};
  return {builder_.AddLookAhead(*inside, negated), true};
}

// Puts the atom under the quantifier that may follow.
RegexParser::NodeIndex RegexParser::ParseQuantifier(std::uint32_t atom) {
  std::optional<Bounds> bounds;
  if (scanner_.Take(U'*')) {
    bounds = {0, Node::unlimited};
  } else if (!IsBasic() && scanner_.Take(U'+')) {
    bounds = {1, Node::unlimited};
  } else if (!IsBasic() && scanner_.Take(U'?')) {
    bounds = {0, 1};
  } else if (IsBasic() ? scanner_.Take(U"\\{") : TakeBrace()) {
    bounds = ReadBounds();
  } else {
    return atom;
  }
  if (!bounds) return std::nullopt;
  const bool greedy = !IsAdvanced() || !scanner_.Take(U'?');
  if (!bounds->isFixed) {
    const Preference preference = greedy ? Preference::longest : Preference::shortest;
    return builder_.AddRepeat(atom, bounds->min, bounds->max, greedy, preference);
  }
  if (bounds->min == 1) return atom;
  return builder_.AddRepeat(atom, bounds->min, bounds->max, greedy, builder_.At(atom).preference);
}

// A brace that no digit follows stands for itself.
bool RegexParser::TakeBrace() noexcept {
  const std::u32string_view rest = scanner_.Rest();
  return rest.size() > 1 && IsDigit(rest[1]) && scanner_.Take(U'{');
}

// "m", "m,", or "m,n" and what closes it.
std::optional<RegexParser::Bounds> RegexParser::ReadBounds() {
  Bounds bounds;
  const std::optional<std::uint32_t> min = ReadCount();
  if (!min) return std::nullopt;
  bounds.min = *min;
  if (!scanner_.Take(U',')) {
    bounds.max = bounds.min;
    bounds.isFixed = true;
  } else if (scanner_.SeesDigit()) {
    const std::optional<std::uint32_t> max = ReadCount();
    if (!max || *max < bounds.min) return std::nullopt;
    bounds.max = *max;
  }
  if (!scanner_.Take(IsBasic() ? std::u32string_view(U"\\}") : U"}")) return std::nullopt;
  return bounds;
}

// A number of repetitions.
std::optional<std::uint32_t> RegexParser::ReadCount() {
  constexpr std::uint32_t most = 255;
  if (!scanner_.SeesDigit()) return std::nullopt;
  std::uint32_t count = 0;
  while (scanner_.SeesDigit()) {
    count = std::min(count * 10 + (scanner_.Next() - U'0'), most + 1);
  }
  if (count > most) return std::nullopt;
  return count;
}

std::uint32_t RegexParser::AddElement(std::uint32_t element) {
  CharSetBuilder set;
  set.Add(element);
  return builder_.AddSet(std::move(set).Build(false, flags_, scanner_.Highest()));
}

RegexParser::Piece RegexParser::AddAssertion(Assertion assertion) {
  return {builder_.AddAssertion(assertion), true};
}

RegexParser::NodeIndex RegexParser::AddBackReference(std::uint32_t group) {
  if (lookAheadDepth_ != 0 || group >= isClosed_.size() || !isClosed_[group]) return std::nullopt;
  return builder_.AddBackReference(group);
}

template <class T>
std::optional<Tree> ParseRegex(std::basic_string_view<T> pattern, std::uint32_t flags) {
  if (pattern.size() > CRegex<T>::maxPatternLength) return std::nullopt;
  using Element = std::make_unsigned_t<T>;
  std::u32string elements(pattern.size(), U'\0');
  std::ranges::transform(pattern, elements.begin(), [](T element) { return static_cast<Element>(element); });
  Scanner scanner(elements, std::numeric_limits<Element>::max());
  const std::optional<std::uint32_t> allFlags = ReadPrefix(scanner, flags);
  if (!allFlags) return std::nullopt;
  return RegexParser(scanner, *allFlags).Run();
}

template std::optional<Tree> ParseRegex(std::basic_string_view<char>, std::uint32_t);
template std::optional<Tree> ParseRegex(std::basic_string_view<wchar_t>, std::uint32_t);

}  // namespace Qorv::IMPL
