// A tree as sections of lines.
#include <qorv/stream.h>

#include "registry/text_form.h"

namespace Qorv {
namespace {

using namespace IMPL;

constexpr TEXTREFUSALS exporting{
    "CFakeRegistry::ExportIni - invalid object", "CFakeRegistry::ExportIni - circular reference\n",
    "CFakeRegistry::ExportIni - invalid type : ", "CFakeRegistry::ExportIni - failed export to ini\n"};
constexpr TEXTREFUSALS importing{"CFakeRegistry::ImportIni - invalid object",
                                 {},
                                 {},
                                 "CFakeRegistry::ImportIni - failed import from ini\n"};

constexpr char escape = '~';
// In a set of one empty string; without it that would look like a set of none.
constexpr char emptyString = 'e';

// Line ends, the escape itself, and the elements of `more`.
void AppendEscaped(stringEx& text, std::string_view value, std::string_view more) {
  for (const char element : value) {
    const bool isReturn = element == '\r';
    if (isReturn || element == '\n') {
      (text += escape) += isReturn ? 'r' : 'n';
    } else {
      if (element == escape || more.find(element) != std::string_view::npos) text += escape;
      text += element;
    }
  }
}

void AppendName(stringEx& text, std::string_view name) {
  if (!name.empty() && std::string_view("#;[").find(name[0]) != std::string_view::npos) text += escape;
  AppendEscaped(text, name, ":");
}

void AppendSet(stringEx& text, const byteEx& packed) {
  bool isFirst = true;
  const std::uint64_t before = text.length();
  ForEachInSet(packed, [&](std::string_view string) {
    if (!isFirst) text += '|';
    isFirst = false;
    AppendEscaped(text, string, "|");
  });
  if (!isFirst && text.length() == before) (text += escape) += emptyString;
}

void AppendValue(stringEx& text, std::string_view name, const CRegValue& value) {
  const std::string_view word = WordOf(value, exporting.type);
  AppendName(text, name);
  ((text += ':') += word) += '=';
  if (value.Type() == T_STRING_SET) {
    AppendSet(text, value.Bytes());
  } else if (value.Type() == T_STRING || value.Type() == T_EXP_STR) {
    AppendEscaped(text, value.Text(), {});
  } else {
    AppendValueText(text, value);
  }
  text += '\n';
}

void ExportTo(const CFakeRegistry& handle, CTextOut& out) {
  ExportKeys(handle, exporting, out, [&](const CTreeWalk& walk, const stringEx& path) {
    if (!walk.IsEnter()) return;
    out.Text() += '[';
    AppendEscaped(out.Text(), path, {});
    out.Text() += "]\n";
    for (const auto& [name, value] : walk.Key().values) {
      AppendValue(out.Text(), name, value);
      out.Advance();
    }
  });
}

char Unescaped(char element) noexcept {
  return element == 'r' ? '\r' : element == 'n' ? '\n' : element;
}

// The text up to the first `end` that is not escaped, taken off `rest` with it; all of it if there is none, or `end` is 0.
// False if there is none.
bool TakeUnescaped(std::string_view& rest, char end, stringEx& text) {
  text.clear();
  for (std::size_t i = 0; i < rest.size(); ++i) {
    if (rest[i] == escape && i + 1 < rest.size()) {
      text += Unescaped(rest[++i]);
    } else if (end != 0 && rest[i] == end) {
      rest.remove_prefix(i + 1);
      return true;
    } else {
      text += rest[i];
    }
  }
  rest = {};
  return false;
}

CRegValue SetOf(std::string_view rest) {
  constexpr char oneEmpty[] = {escape, emptyString};
  std::vector<stringEx> strings;
  if (rest == std::string_view(oneEmpty, sizeof(oneEmpty))) {
    strings.emplace_back();
  } else if (!rest.empty()) {
    for (bool more = true; more;) {
      strings.emplace_back();
      more = TakeUnescaped(rest, '|', strings.back());
    }
  }
  std::vector<std::string_view> views(strings.begin(), strings.end());
  return {T_STRING_SET, PackSet(views)};
}

void ImportLine(CFakeRegistry& root, CFakeRegistry& key, std::string_view line) {
  if (line.empty() || line[0] == '#' || line[0] == ';') return;
  std::string_view rest = line;
  stringEx text;
  if (line[0] == '[') {
    const std::size_t end = line.rfind(']');
    if (end == std::string_view::npos) RefuseText("section without its end", line);
    rest = line.substr(1, end - 1);
    TakeUnescaped(rest, 0, text);
    key = root.GainSubkey(text);
    return;
  }
  if (!TakeUnescaped(rest, ':', text)) RefuseText("line without a type", line);
  const std::size_t equals = rest.find('=');
  const auto type = TypeOf(rest.substr(0, equals));
  if (equals == std::string_view::npos || !type) RefuseText("unknown type", line);
  rest.remove_prefix(equals + 1);
  if (*type == T_STRING_SET) return PutValue(key, text, SetOf(rest));
  stringEx value;
  TakeUnescaped(rest, 0, value);
  PutValue(key, text, ValueOf(*type, value));
}

}  // namespace

void CFakeRegistry::ExportIni(TDataSink& target) const {
  CTextOut out(target);
  ExportTo(*this, out);
}

void CFakeRegistry::ExportIni(stringEx& target) const {
  CTextOut out(target);
  ExportTo(*this, out);
}

void CFakeRegistry::ImportIni(TDataSource& source) {
  ImportText(*this, importing, [&] {
    const stringEx text = ReadAll(source);
    CFakeRegistry root = *this;
    CFakeRegistry key = root;
    for (std::string_view rest = text; !rest.empty();) {
      std::string_view line = rest.substr(0, rest.find('\n'));
      rest.remove_prefix(std::min(line.size() + 1, rest.size()));
      if (line.ends_with('\r')) line.remove_suffix(1);
      ImportLine(root, key, line);
    }
  });
}

void CFakeRegistry::ImportIni(const stringEx& source) {
  CMemSource memory(source);
  ImportIni(memory);
}

}  // namespace Qorv
