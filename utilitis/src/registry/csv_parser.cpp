#include <qorv/row_parser.h>

#include "error/message.h"
#include "registry/byte_set.h"

namespace Qorv {
namespace {

constexpr IMPL::ROWREFUSALS refusals{
    "CCsvParser::GetNextRow - the last qouted field is not closed correctly\n",
    "CCsvParser::GetNextRow - unknown status\n", "CCsvParser::GetNextRow - out of row length quota\n"};

enum STATE : unsigned { start, bare, quoted, behindQuote };
enum INPUT : unsigned { quote, delimiter, lineEnd, other, endOfData };
enum ACTION : std::uint8_t {
  beginBare,
  beginQuoted,
  add,
  closeQuote,
  addQuote,
  endField,
  endRow,
  endFieldAndRow,
  endRows,
  refuseOther,
  refuseEnd,
};

constexpr ACTION actions[4][5] = {
    // quote, delimiter, lineEnd, other, endOfData
    {beginQuoted, endField, endRow, beginBare, endRows},               // start
    {add, endField, endFieldAndRow, add, endFieldAndRow},              // bare
    {closeQuote, add, add, add, refuseEnd},                            // quoted
    {addQuote, endField, endFieldAndRow, refuseOther, endFieldAndRow}  // behindQuote
};

}  // namespace

CCsvParser::CCsvParser() noexcept : CRowParser(refusals) {}

void CCsvParser::Open(CHandle<TDataSource> source, std::uint64_t quota, char quoteElement,
                      char delimiterElement, std::string_view lineEndMark) {
  Bind(std::move(source), quota);
  quote_ = quoteElement;
  delimiter_ = delimiterElement;
  lineEnd_.assign(lineEndMark.empty() ? "\n" : lineEndMark);
  lines_ = 0;
}

// Within quotes there are no line ends to be looked for.
unsigned CCsvParser::NextInput(unsigned state) {
  const std::string_view ahead = Ahead();
  if (ahead.empty()) return endOfData;
  const char element = ahead.front();
  if (element == quote_) return quote;
  if (element == delimiter_) return delimiter;
  if (element != lineEnd_[0] || state == quoted) return other;
  return lineEnd_.length() == 1 || IsNext(lineEnd_) ? lineEnd : other;
}

void CCsvParser::TakeInput(unsigned input) {
  if (input == endOfData) return;
  Take(input == lineEnd ? lineEnd_.length() : 1);
  if (input == lineEnd) ++lines_;
}

bool CCsvParser::GetNextRow(std::vector<stringEx>& fields) {
  BeginRow();
  stringEx field;
  for (unsigned state = start;;) {
    if (state == bare) TakeRun(field, delimiter_, lineEnd_[0]);
    if (state == quoted) TakeRun(field, quote_, quote_);
    const unsigned input = NextInput(state);
    const char element = input == endOfData ? '\0' : Ahead().front();
    const ACTION action = actions[state][input];
    if (action != beginBare) TakeInput(input);
    switch (action) {
      case beginBare:
        state = bare;
        break;
      case beginQuoted:
        state = quoted;
        break;
      case add:
        field += element;
        break;
      case closeQuote:
        state = behindQuote;
        break;
      case addQuote:
        field += element;
        state = quoted;
        break;
      case endField:
      case endFieldAndRow:
        fields.emplace_back().swap(field);
        if (action == endFieldAndRow) return true;
        state = start;
        break;
      case endRow:
        return true;
      case endRows:
        return HasBegun();
      case refuseOther:
        RefuseElement(element, field);
      case refuseEnd:
        RefuseEnd(field);
      default:
        RefuseStatus(state);
    }
  }
}

void CCsvParser::RefuseElement(char element, const stringEx& field) const {
  stringEx told(&element, 1);
  told.format_append(" (%#x)", static_cast<unsigned>(static_cast<unsigned char>(element)));
  stringEx expected(&delimiter_, 1);
  expected += " or the line end";
  IMPL::CMessage("CCsvParser::GetNextRow - delimiter or line end mark not follow by end of qouter\n")
      .Field("  char    = ", told)
      .Field("  expect  = ", expected)
      .Field("  content = ", field)
      .Throw<csvExp>(csvCode::brokenField);
}

void CCsvParser::PutRow(stringEx& target, std::span<const stringEx> fields) const {
  const char special[] = {quote_, delimiter_, lineEnd_[0]};
  const IMPL::CByteSet toQuote({special, sizeof(special)});
  const IMPL::CByteSet toDouble({&quote_, 1});
  for (const stringEx& field : fields) {
    if (&field != fields.data()) target += delimiter_;
    if (!field.empty() && toQuote.RunBefore(field) == field.length()) {
      target += field;
      continue;
    }
    target += quote_;
    IMPL::AppendByRuns(target, field, toDouble, [&](char element) { (target += element) += element; });
    target += quote_;
  }
  target += lineEnd_;
}

}  // namespace Qorv
