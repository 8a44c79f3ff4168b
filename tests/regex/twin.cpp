#include "regex/twin.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include <qorv/regex.h>

namespace twin {
namespace {

using Qorv::RANGE;

bool IsDigit(char element) {
  return std::isdigit(static_cast<unsigned char>(element)) != 0;
}

class CParser {
 public:
  CParser(std::string_view text, std::uint32_t flags) : text_(text) { pattern_.flags = flags; }

  std::optional<Pattern> Run() {
    pattern_.root = Branches();
    if (isInvalid_ || !text_.empty()) return std::nullopt;
    return std::move(pattern_);
  }

 private:
  char Peek(std::size_t ahead = 0) const { return ahead < text_.size() ? text_[ahead] : '\0'; }
  char Take() {
    const char element = Peek();
    text_.remove_prefix(text_.empty() ? 0 : 1);
    return element;
  }
  bool Took(std::string_view token) {
    const bool took = text_.starts_with(token);
    if (took) text_.remove_prefix(token.size());
    return took;
  }
  // Nothing stands behind an invalid place, so that every loop ends there.
  std::size_t Invalid() {
    isInvalid_ = true;
    text_ = {};
    return Add({});
  }
  std::size_t Add(const Part& part) {
    pattern_.parts.push_back(part);
    return pattern_.parts.size() - 1;
  }
  Wish WishOf(std::size_t part) const { return pattern_.parts[part].wish; }

  std::size_t Branches() {
    const std::size_t first = Branch();
    if (!Took("|")) return first;
    return Add({.kind = Kind::either, .wish = Wish::longest, .first = first, .second = Branches()});
  }

  // A branch wishes what the first of its parts with a wish does.
  std::size_t Branch() {
    if (text_.empty() || Peek() == '|' || Peek() == ')') return Add({});
    const std::size_t first = Piece();
    const std::size_t second = Branch();
    const Wish wish = WishOf(first) != Wish::none ? WishOf(first) : WishOf(second);
    return Add({.kind = Kind::pair, .wish = wish, .first = first, .second = second});
  }

  // A constraint takes no quantifier; if one follows, it finds itself where an atom should be.
  std::size_t Piece() {
    const std::size_t group = pattern_.groupCount;
    const std::size_t atom = Atom();
    const Kind kind = pattern_.parts[atom].kind;
    return isBare_ && (kind == Kind::constraint || kind == Kind::lookAhead) ? atom : Quantified(atom, group);
  }

  std::size_t Atom() {
    if (Took("(")) return Parenthesis();
    isBare_ = true;
    if (Took("\\")) return Escape();
    const char element = Take();
    if (element == '^' || element == '$') return Add({.kind = Kind::constraint, .letter = element});
    if (element == '*' || element == '+' || element == '?' || element == '{') return Invalid();
    return Add({.kind = element == '.' ? Kind::any : Kind::element, .letter = element});
  }

  std::size_t Parenthesis() {
    if (Took("?:")) return Inside();
    if (Took("?=")) return LookAhead(false);
    if (Took("?!")) return LookAhead(true);
    if (lookAheads_ != 0) return Inside();
    const std::size_t group = pattern_.groupCount++;
    isClosed_.resize(pattern_.groupCount);
    const std::size_t inside = Inside();
    isClosed_[group] = true;
    return Add({.kind = Kind::capture, .wish = WishOf(inside), .group = group, .first = inside});
  }

  std::size_t LookAhead(bool negated) {
    ++lookAheads_;
    const std::size_t inside = Inside();
    --lookAheads_;
    isBare_ = true;
    return Add({.kind = Kind::lookAhead, .negated = negated, .first = inside});
  }

  std::size_t Inside() {
    const std::size_t inside = Branches();
    isBare_ = false;
    return Took(")") ? inside : Invalid();
  }

  std::size_t Escape() {
    const char letter = Take();
    if (!IsDigit(letter)) return Add({.kind = Kind::constraint, .letter = letter});
    const std::size_t group = static_cast<std::size_t>(letter - '0');
    const bool isKnown = lookAheads_ == 0 && group < isClosed_.size() && isClosed_[group];
    return isKnown ? Add({.kind = Kind::backRef, .group = group}) : Invalid();
  }

  // The group is the first that the atom may have opened.
  std::size_t Quantified(std::size_t atom, std::size_t group) {
    Part repeat{.kind = Kind::repeat, .group = group, .groupsEnd = pattern_.groupCount, .first = atom};
    bool isExact = false;
    repeat.max = Qorv::npos;
    if (Took("+")) {
      repeat.min = 1;
    } else if (Took("?")) {
      repeat.max = 1;
    } else if (Took("{")) {
      repeat.min = repeat.max = Number();
      isExact = !Took(",");
      if (!isExact) repeat.max = IsDigit(Peek()) ? Number() : Qorv::npos;
      if (!Took("}") || repeat.max < repeat.min) return Invalid();
    } else if (!Took("*")) {
      return atom;
    }
    repeat.greedy = !Took("?");
    repeat.wish = isExact ? WishOf(atom) : (repeat.greedy ? Wish::longest : Wish::shortest);
    return Add(repeat);
  }

  std::size_t Number() {
    std::size_t number = 0;
    while (IsDigit(Peek()))
      number = number * 10 + static_cast<std::size_t>(Take() - '0');
    return number;
  }

  std::string_view text_;
  bool isInvalid_ = false;
  bool isBare_ = false;  ///< the last atom has no parentheses around it
  int lookAheads_ = 0;
  std::vector<bool> isClosed_;
  Pattern pattern_;
};

// What remains to be matched behind a part: a reference to something callable, which outlives it.
class CThen {
 public:
  template <class F>
  CThen(const F& call)
      : object_(&call), call_([](const void* object) { return (*static_cast<const F*>(object))(); }) {}
  bool operator()() const { return call_(object_); }

 private:
  const void* object_;
  bool (*call_)(const void*);
};

// Tries everything in the order of preference until one way takes the whole pattern through. Whatever fails
// leaves the groups as they were.
class CMatch {
 public:
  CMatch(const Pattern& pattern, std::string_view text, std::uint32_t searchFlags)
      : pattern_(pattern), text_(text), searchFlags_(searchFlags) {}

  std::vector<RANGE> Run(std::size_t start) {
    groups_.assign(pattern_.groupCount, RANGE{Qorv::npos, 0});
    for (std::size_t begin = start; begin <= text_.size(); ++begin) {
      const auto whole = [&](std::size_t end) {
        groups_[0] = {begin, end - begin};
        return Take(pattern_.root, begin, end, [] { return true; });
      };
      if (AnyEnd(pattern_.root, begin, text_.size(), whole)) return groups_;
    }
    return {};
  }

 private:
  bool HasFlag(std::uint32_t flag) const { return (pattern_.flags & flag) != 0; }

  bool IsSame(char a, char b) const {
    const auto lower = [](char element) { return std::tolower(static_cast<unsigned char>(element)); };
    return HasFlag(Qorv::regexFlag::ignoreCase) ? lower(a) == lower(b) : a == b;
  }

  bool IsWord(std::size_t place) const {
    return place < text_.size() &&
           (text_[place] == '_' || std::isalnum(static_cast<unsigned char>(text_[place])) != 0);
  }

  bool Holds(char constraint, std::size_t place) const {
    const bool atLines = HasFlag(Qorv::regexFlag::anchorAtNewline);
    const bool wordBefore = place != 0 && IsWord(place - 1);
    const bool wordBehind = IsWord(place);
    switch (constraint) {
      case '^':
        return place == 0 ? (searchFlags_ & Qorv::searchFlag::notAtBeginning) == 0
                          : atLines && text_[place - 1] == '\n';
      case '$':
        return place == text_.size() || (atLines && text_[place] == '\n');
      case 'A':
        return place == 0;
      case 'Z':
        return place == text_.size();
      case 'm':
        return !wordBefore && wordBehind;
      case 'M':
        return wordBefore && !wordBehind;
      case 'y':
        return wordBefore != wordBehind;
      default:
        return wordBefore == wordBehind;
    }
  }

  // Whether `take` succeeds with one of the ends from `begin` to `last`, in the order that the part wishes.
  template <class Take>
  bool AnyEnd(std::size_t part, std::size_t begin, std::size_t last, const Take& take) {
    const bool isShortest = pattern_.parts[part].wish == Wish::shortest;
    for (std::size_t step = 0; step <= last - begin; ++step)
      if (take(isShortest ? begin + step : last - step)) return true;
    return false;
  }

  // Matches the part with exactly this piece, then what remains.
  bool Take(std::size_t index, std::size_t begin, std::size_t end, CThen then) {
    const Part& part = pattern_.parts[index];
    switch (part.kind) {
      case Kind::nothing:
        return begin == end && then();
      case Kind::element:
        return begin + 1 == end && IsSame(text_[begin], part.letter) && then();
      case Kind::any:
        return begin + 1 == end && (text_[begin] != '\n' || !HasFlag(Qorv::regexFlag::stopAtNewline)) &&
               then();
      case Kind::constraint:
        return begin == end && Holds(part.letter, begin) && then();
      case Kind::lookAhead: {
        const auto look = [&](std::size_t to) { return Take(part.first, begin, to, [] { return true; }); };
        return begin == end && AnyEnd(part.first, begin, text_.size(), look) != part.negated && then();
      }
      case Kind::pair:
        return AnyEnd(part.first, begin, end, [&](std::size_t middle) {
          return Take(part.first, begin, middle, [&] { return Take(part.second, middle, end, then); });
        });
      case Kind::either:
        return Take(part.first, begin, end, then) || Take(part.second, begin, end, then);
      case Kind::repeat:
        return TakeMore(part, 0, begin, end, then);
      case Kind::capture:
        return Take(part.first, begin, end, [&] {
          const RANGE before = std::exchange(groups_[part.group], {begin, end - begin});
          if (then()) return true;
          groups_[part.group] = before;
          return false;
        });
      case Kind::backRef:
        return IsRepeated(groups_[part.group], begin, end) && then();
    }
    return false;
  }

  bool IsRepeated(const RANGE& group, std::size_t begin, std::size_t end) const {
    if (group.offset == Qorv::npos || group.length != end - begin) return false;
    for (std::size_t i = 0; i < group.length; ++i)
      if (!IsSame(text_[group.offset + i], text_[begin + i])) return false;
    return true;
  }

  // The iterations behind the first `used` ones: those of the minimum as if they were written out, none of the
  // others empty, except that a greedy repeat would rather match the empty text than nothing.
  bool TakeMore(const Part& part, std::size_t used, std::size_t begin, std::size_t end, CThen then) {
    const auto one = [&](std::size_t middle) { return TakeOne(part, used, begin, middle, end, then); };
    const bool isEnough = used >= part.min;
    const auto allowed = [&](std::size_t middle) { return !(isEnough && middle == begin) && one(middle); };
    if (begin != end) return used < part.max && AnyEnd(part.first, begin, end, allowed);
    const bool wantsOne = used == 0 && part.greedy && part.max != 0;
    return ((!isEnough || wantsOne) && one(begin)) || (isEnough && then());
  }

  // One iteration, which starts without what earlier ones left in its groups, and those behind it.
  bool TakeOne(const Part& part, std::size_t used, std::size_t begin, std::size_t middle, std::size_t end,
               CThen then) {
    const auto first = groups_.begin() + static_cast<std::ptrdiff_t>(part.group);
    const auto last = groups_.begin() + static_cast<std::ptrdiff_t>(part.groupsEnd);
    const std::vector<RANGE> before(first, last);
    std::fill(first, last, RANGE{Qorv::npos, 0});
    if (Take(part.first, begin, middle, [&] { return TakeMore(part, used + 1, middle, end, then); }))
      return true;
    std::copy(before.begin(), before.end(), first);
    return false;
  }

  const Pattern& pattern_;
  std::string_view text_;
  std::uint32_t searchFlags_;
  std::vector<RANGE> groups_;
};

}  // namespace

std::optional<Pattern> Parse(std::string_view pattern, std::uint32_t flags) {
  return CParser(pattern, flags).Run();
}

std::vector<RANGE> Exec(const Pattern& pattern, std::string_view text, std::size_t start,
                        std::uint32_t searchFlags) {
  return CMatch(pattern, text, searchFlags).Run(start);
}

}  // namespace twin
