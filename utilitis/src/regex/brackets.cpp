#include "regex/brackets.h"

#include <span>
#include <utility>

#include <qorv/regex.h>

#include "regex/char_set.h"
#include "regex/escapes.h"

namespace Qorv::IMPL {
namespace {

// One item of the list: an element that may begin or end a range, or a class, which may not.
struct Item {
  std::uint32_t element = 0;
  std::span<const CharSet::Span> spans;  // of a class
  bool isClass = false;

  static Item OfElement(std::uint32_t element) { return {element, {}, false}; }
};

class BracketParser {
 public:
  BracketParser(Scanner& scanner, std::uint32_t flags, std::uint32_t groups) noexcept
      : scanner_(scanner), flags_(flags), groups_(groups) {}

  std::optional<CharSet> Run();

 private:
  bool ReadPart();
  std::optional<Item> ReadItem();
  std::optional<Item> ReadNamed(char32_t mark);
  std::optional<Item> ReadEscape();
  bool IsAdvanced() const noexcept { return (flags_ & regexFlag::advanced) == regexFlag::advanced; }
  // Whether a hyphen comes next that is not the last of the list.
  bool SeesRange() const noexcept { return scanner_.Sees(U'-') && !scanner_.Sees(U"-]"); }

  Scanner& scanner_;
  const std::uint32_t flags_;
  const std::uint32_t groups_;
  CharSetBuilder builder_;
};

std::optional<CharSet> BracketParser::Run() {
  const bool negated = scanner_.Take(U'^');
  // The first item may be a closing bracket or a hyphen that stands for itself.
  for (bool isFirst = true; isFirst || !scanner_.Take(U']'); isFirst = false) {
    if (scanner_.AtEnd() || (!isFirst && SeesRange()) || !ReadPart()) return std::nullopt;
  }
  return std::move(builder_).Build(negated, flags_, scanner_.Highest());
}

// An item, or a range of elements.
bool BracketParser::ReadPart() {
  const std::optional<Item> item = ReadItem();
  if (!item) return false;
  if (!SeesRange()) {
    if (item->isClass) {
      builder_.AddClass(item->spans);
    } else {
      builder_.Add(item->element);
    }
    return true;
  }
  scanner_.Skip(1);
  if (item->isClass || scanner_.AtEnd()) return false;
  const std::optional<Item> last = ReadItem();
  if (!last || last->isClass || last->element < item->element) return false;
  builder_.AddRange(item->element, last->element);
  return true;
}

std::optional<Item> BracketParser::ReadItem() {
  for (const char32_t mark : {U'.', U'=', U':'}) {
    const char32_t opening[] = {U'[', mark};
    if (scanner_.Take(std::u32string_view(opening, 2))) return ReadNamed(mark);
  }
  const char32_t element = scanner_.Next();
  if (element == U'\\' && IsAdvanced()) return ReadEscape();
  return Item::OfElement(element);
}

// "[.x.]", "[=x=]" or "[:x:]" from behind its opening on.
std::optional<Item> BracketParser::ReadNamed(char32_t mark) {
  const char32_t closing[] = {mark, U']'};
  const std::size_t length = scanner_.Rest().find(closing, 0, 2);
  if (length == std::u32string_view::npos) return std::nullopt;
  const std::u32string_view name = scanner_.Rest().substr(0, length);
  scanner_.Skip(length + 2);
  if (mark == U':') {
    const std::span<const CharSet::Span> spans = FindClass(name);
    if (spans.empty()) return std::nullopt;
    return Item{0, spans, true};
  }
  const std::optional<std::uint32_t> element = name.size() == 1 ? name.front() : FindElementName(name);
  if (!element) return std::nullopt;
  if (mark == U'.') return Item::OfElement(*element);
  // No two elements are equivalent, but a class of one is no end of a range all the same.
  builder_.Add(*element);
  return Item{*element, {}, true};
}

std::optional<Item> BracketParser::ReadEscape() {
  const std::optional<Escape> escape = ParseEscape(scanner_, groups_);
  if (!escape) return std::nullopt;
  if (escape->kind == Escape::Kind::element) return Item::OfElement(escape->value);
  if (escape->kind != Escape::Kind::set || escape->negated) return std::nullopt;
  return Item{0, escape->spans, true};
}

}  // namespace

std::optional<CharSet> ParseBracket(Scanner& scanner, std::uint32_t flags, std::uint32_t groups) {
  return BracketParser(scanner, flags, groups).Run();
}

}  // namespace Qorv::IMPL
