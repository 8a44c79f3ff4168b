#include <algorithm>

#include "error/message.h"
#include "registry/diff.h"

namespace Qorv {
namespace {

namespace diffCode = IMPL::diffCode;
using IMPL::CDiffReader;
using IMPL::CMessage;
using IMPL::CRegValue;

// Bytes of a value that are shown.
constexpr std::size_t textShown = 40;
constexpr std::size_t setTextShown = 20;
constexpr std::size_t blobShown = 20;

// Up to the first line feed, with a mark where something is left out.
void AppendCut(stringEx& text, std::string_view value, std::size_t shown) {
  const std::string_view line = value.substr(0, std::min(shown, value.find('\n')));
  text += line;
  if (line.size() < value.size()) text += "...";
}

void AppendSet(stringEx& text, std::string_view packed) {
  bool isFirst = true;
  IMPL::ForEachInSet(packed, [&](std::string_view string) {
    if (!isFirst) text += "', '";
    isFirst = false;
    AppendCut(text, string, setTextShown);
  });
}

void AppendBlob(stringEx& text, byteEx::text_view bytes) {
  byteEx::view(bytes.substr(0, blobShown)).hex_append_to(text);
  if (bytes.size() > blobShown) text += "...";
}

// What stands between the quotes.
void AppendValue(stringEx& text, const CRegValue& value) {
  switch (value.Type()) {
    case T_STRING:
    case T_EXP_STR:
      return AppendCut(text, value.Text(), textShown);
    case T_BLOB:
      return AppendBlob(text, value.Bytes());
    case T_STRING_SET:
      return AppendSet(text, value.Text());
    case T_FLOAT8:
      text.format_append("%.16g", value.Double());
      return;
    case T_BOOL:
      text += value.Number() != 0 ? "true" : "false";
      return;
    case T_NONE:
      text += " NONE";
      return;
    default:
      text.append_uint(value.Number());
  }
}

void ExplainValue(stringEx& text, CDiffReader& diff, std::string_view label) {
  ((text += label) += " NAME='") += diff.GetText();
  const std::uint8_t type = diff.GetType();
  const CRegValue value = diff.GetPayload(type, "CFakeRegistry::ExplainDiff - invalid type : ");
  ((text += "'; TYPE='") += CFakeRegistry::GetTypeName(type)) += "'; VALUE='";
  AppendValue(text, value);
  text += "'\n";
}

void ExplainText(stringEx& text, CDiffReader& diff, std::string_view label, std::string_view end) {
  ((text += label) += diff.GetText()) += end;
}

void ExplainRecord(stringEx& text, CDiffReader& diff) {
  switch (diff.Code()) {
    case diffCode::updateValue:
      return ExplainValue(text, diff, "  [VAL][UPD]");
    case diffCode::addValue:
      return ExplainValue(text, diff, "  [VAL][ADD]");
    case diffCode::deleteValue:
      return ExplainText(text, diff, "  [VAL][DEL] NAME='", "'\n");
    case diffCode::changeKey:
      ((text += "  [KEY][CWD] PATH='") += diff.GetPath([](std::string_view) {})) += "'\n";
      return;
    case diffCode::deleteKey:
      return ExplainText(text, diff, "  [KEY][DEL] NAME='", "'\n");
    case diffCode::addKey:
      return ExplainText(text, diff, "  [KEY][ADD] NAME='", "'\n");
    case diffCode::remarks:
      return ExplainText(text, diff, "  [REMARKS]  ", "\n");
    default:
      (text += "  [UNKNOWN]  ").append_uint(diff.Code()) += "\n";
  }
}

}  // namespace

void CFakeRegistry::ExplainDiff(stringEx& text, const byteEx& data) {
  CDiffReader diff(data, "CFakeRegistry::ExplainDiff - invalid diff data header size",
                   "CFakeRegistry::ExplainDiff - invalid diff data header mark");
  text += "==== BEGIN DIFF EXPLAIN ====\n";
  try {
    while (diff.Next())
      ExplainRecord(text, diff);
  } catch (const ioExp& failure) {
    CMessage("CFakeRegistry::ExplainDiff - invalid diff format\n")
        .Inner(failure)
        .Throw<regExp>(regCode::damaged);
  }
  text += "==== END DIFF EXPLAIN ====";
}

}  // namespace Qorv
