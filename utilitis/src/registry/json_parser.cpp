#include <qorv/row_parser.h>

#include <array>

#include <qorv/error.h>

#include "registry/byte_set.h"

namespace Qorv {
namespace {

constexpr IMPL::ROWREFUSALS refusals{
    "CJsonParser::GetNextRow - the last qouted field is not closed correctly\n",
    "CJsonParser::GetNextRow - unknown status\n", "CJsonParser::GetNextRow - out of row length quota\n"};

enum STATE : unsigned { between, bare, quoted, escaped, behindQuote };
enum INPUT : std::uint8_t { other, blank, open, close, comma, quote, backslash, endOfData };
enum ACTION : std::uint8_t {
  skip,
  openRow,
  closeRow,
  addEmpty,
  beginBare,
  beginQuoted,
  add,
  escape,
  addEscaped,
  endField,
  endFieldAndRow,
  closeQuote,
  goOn,
  endRow,
  endRows,
  refuseEnd,
};

constexpr ACTION actions[5][8] = {
    // other, blank, open, close, comma, quote, backslash, endOfData
    {beginBare, skip, openRow, closeRow, addEmpty, beginQuoted, beginBare, endRows},  // between
    {add, add, add, endFieldAndRow, endField, add, add, endFieldAndRow},              // bare
    {add, add, add, add, add, closeQuote, escape, refuseEnd},                         // quoted
    {addEscaped, addEscaped, addEscaped, addEscaped, addEscaped, addEscaped, addEscaped,
     refuseEnd},                                          // escaped
    {goOn, goOn, goOn, endRow, goOn, goOn, goOn, endRow}  // behindQuote
};

constexpr auto inputs = [] {
  std::array<INPUT, 256> table{};
  for (const char element : {' ', '\t', '\n', '\r'})
    table[static_cast<unsigned char>(element)] = blank;
  table['['] = open;
  table[']'] = close;
  table[','] = comma;
  table['"'] = quote;
  table['\\'] = backslash;
  return table;
}();

char Escaped(char element) noexcept {
  if (element == 'r') return '\r';
  if (element == 'n') return '\n';
  return element == 't' ? '\t' : element;
}

}  // namespace

CJsonParser::CJsonParser() noexcept : CRowParser(refusals) {}

void CJsonParser::Open(CHandle<TDataSource> source, std::uint64_t quota) {
  Bind(std::move(source), quota);
}

bool CJsonParser::GetNextRow(std::vector<stringEx>& fields) {
  BeginRow();
  bool isRow = false;  // it was opened, or has a field
  bool isOpen = false;
  stringEx field;
  const auto end = [&] {
    fields.emplace_back().swap(field);
    isRow = true;
  };
  for (unsigned state = between;;) {
    if (state == bare) TakeRun(field, ',', ']');
    if (state == quoted) TakeRun(field, '"', '\\');
    const std::string_view ahead = Ahead();
    const char element = ahead.empty() ? '\0' : ahead.front();
    const INPUT input = ahead.empty() ? endOfData : inputs[static_cast<unsigned char>(element)];
    const ACTION action = actions[state][input];
    if (action != beginBare && input != endOfData) Take(1);
    switch (action) {
      case skip:
        break;
      case openRow:
        isRow = isOpen = true;
        break;
      case closeRow:
        if (isRow) return true;
        break;
      case addEmpty:
        if (isOpen) end();
        break;
      case beginBare:
        state = bare;
        break;
      case beginQuoted:
        state = quoted;
        break;
      case add:
        field += element;
        break;
      case escape:
        state = escaped;
        break;
      case addEscaped:
        field += Escaped(element);
        state = quoted;
        break;
      case endField:
        end();
        state = between;
        break;
      case endFieldAndRow:
        end();
        return true;
      case closeQuote:
        end();
        state = behindQuote;
        break;
      case goOn:
        state = between;
        break;
      case endRow:
        return true;
      case endRows:
        return isRow;
      case refuseEnd:
        RefuseEnd(field);
      default:
        RefuseStatus(state);
    }
  }
}

void CJsonParser::PutRow(stringEx& target, std::span<const stringEx> fields) {
  static constexpr IMPL::CByteSet toEscape("\r\n\t\"\\");
  target += '[';
  for (const stringEx& field : fields) {
    if (&field != fields.data()) target += ',';
    target += '"';
    IMPL::AppendByRuns(target, field, toEscape, [&](char element) {
      const char letter = element == '\r' ? 'r' : element == '\n' ? 'n' : element == '\t' ? 't' : element;
      (target += '\\') += letter;
    });
    target += '"';
  }
  target += ']';
}

}  // namespace Qorv
