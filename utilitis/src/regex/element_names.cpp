// The names of the portable character set, for collating elements.
#include <algorithm>
#include <iterator>

#include "regex/brackets.h"

namespace Qorv::IMPL {
namespace {

struct NameRow {
  std::u32string_view name;
  std::uint32_t element;
};

constexpr NameRow names[] = {
    {U"NUL", 0},
    {U"SOH", 1},
    {U"STX", 2},
    {U"ETX", 3},
    {U"EOT", 4},
    {U"ENQ", 5},
    {U"ACK", 6},
    {U"BEL", 7},
    {U"alert", 7},
    {U"BS", 8},
    {U"backspace", 8},
    {U"HT", 9},
    {U"tab", 9},
    {U"LF", 10},
    {U"newline", 10},
    {U"VT", 11},
    {U"vertical-tab", 11},
    {U"FF", 12},
    {U"form-feed", 12},
    {U"CR", 13},
    {U"carriage-return", 13},
    {U"SO", 14},
    {U"SI", 15},
    {U"DLE", 16},
    {U"DC1", 17},
    {U"DC2", 18},
    {U"DC3", 19},
    {U"DC4", 20},
    {U"NAK", 21},
    {U"SYN", 22},
    {U"ETB", 23},
    {U"CAN", 24},
    {U"EM", 25},
    {U"SUB", 26},
    {U"ESC", 27},
    {U"IS4", 28},
    {U"FS", 28},
    {U"IS3", 29},
    {U"GS", 29},
    {U"IS2", 30},
    {U"RS", 30},
    {U"IS1", 31},
    {U"US", 31},
    {U"space", ' '},
    {U"exclamation-mark", '!'},
    {U"quotation-mark", '"'},
    {U"number-sign", '#'},
    {U"dollar-sign", '$'},
    {U"percent-sign", '%'},
    {U"ampersand", '&'},
    {U"apostrophe", '\''},
    {U"left-parenthesis", '('},
    {U"right-parenthesis", ')'},
    {U"asterisk", '*'},
    {U"plus-sign", '+'},
    {U"comma", ','},
    {U"hyphen", '-'},
    {U"hyphen-minus", '-'},
    {U"period", '.'},
    {U"full-stop", '.'},
    {U"slash", '/'},
    {U"solidus", '/'},
    {U"zero", '0'},
    {U"one", '1'},
    {U"two", '2'},
    {U"three", '3'},
    {U"four", '4'},
    {U"five", '5'},
    {U"six", '6'},
    {U"seven", '7'},
    {U"eight", '8'},
    {U"nine", '9'},
    {U"colon", ':'},
    {U"semicolon", ';'},
    {U"less-than-sign", '<'},
    {U"equals-sign", '='},
    {U"greater-than-sign", '>'},
    {U"question-mark", '?'},
    {U"commercial-at", '@'},
    {U"left-square-bracket", '['},
    {U"backslash", '\\'},
    {U"reverse-solidus", '\\'},
    {U"right-square-bracket", ']'},
    {U"circumflex", '^'},
    {U"circumflex-accent", '^'},
    {U"underscore", '_'},
    {U"low-line", '_'},
    {U"grave-accent", '`'},
    {U"left-brace", '{'},
    {U"left-curly-bracket", '{'},
    {U"vertical-line", '|'},
    {U"right-brace", '}'},
    {U"right-curly-bracket", '}'},
    {U"tilde", '~'},
    {U"DEL", 127},
};

}  // namespace

std::optional<std::uint32_t> FindElementName(std::u32string_view name) noexcept {
  const auto* row = std::ranges::find(names, name, &NameRow::name);
  if (row == std::end(names)) return std::nullopt;
  return row->element;
}

}  // namespace Qorv::IMPL
