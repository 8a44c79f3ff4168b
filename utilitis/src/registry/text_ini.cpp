// A tree as sections of lines.
#include <algorithm>

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

constexpr CByteSet inName("\r\n~:");
constexpr CByteSet inValue("\r\n~");
constexpr CByteSet inSet("\r\n~|");

void AppendEscaped(stringEx& text, std::string_view value, const CByteSet& toEscape) {
  AppendByRuns(text, value, toEscape, [&](char element) {
    (text += escape) += element == '\r' ? 'r' : element == '\n' ? 'n' : element;
  });
}

void AppendName(stringEx& text, std::string_view name) {
  if (!name.empty() && std::string_view("#;[").find(name[0]) != std::string_view::npos) text += escape;
  AppendEscaped(text, name, inName);
}

void AppendSet(stringEx& text, std::string_view packed) {
  bool isFirst = true;
  const std::uint64_t before = text.length();
  ForEachInSet(packed, [&](std::string_view string) {
    if (!isFirst) text += '|';
    isFirst = false;
    AppendEscaped(text, string, inSet);
  });
  if (!isFirst && text.length() == before) (text += escape) += emptyString;
}

void AppendValue(stringEx& text, std::string_view name, const CRegValue& value) {
  const std::string_view word = WordOf(value, exporting.type);
  AppendName(text, name);
  ((text += ':') += word) += '=';
  if (value.Type() == T_STRING_SET) {
    AppendSet(text, value.Text());
  } else if (value.Type() == T_STRING || value.Type() == T_EXP_STR) {
    AppendEscaped(text, value.Text(), inValue);
  } else {
    AppendValueText(text, value);
  }
  text += '\n';
}

void ExportTo(const CFakeRegistry& handle, CTextOut& out) {
  ExportKeys(handle, exporting, out, [&](const CTreeWalk& walk, const stringEx& path) {
    if (!walk.IsEnter()) return;
    out.Text() += '[';
    AppendEscaped(out.Text(), path, inValue);
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

// Takes the text off `rest` up to the first of the stops that is not escaped, and the stop with it; the escape is one of
// them. All of it, and false, if there is no other. An escape of nothing stands for itself.
bool TakeUnescaped(std::string_view& rest, const CByteSet& stops, stringEx& text) {
  text.clear();
  for (;;) {
    const std::size_t run = std::min(stops.RunBefore(rest) + 1, rest.size());
    if (run == 0) return false;
    const char last = rest[run - 1];
    const bool isEscape = last == escape && run < rest.size();
    const bool isStop = last != escape && stops.Has(last);
    text += rest.substr(0, isEscape || isStop ? run - 1 : run);
    rest.remove_prefix(run);
    if (isStop) return true;
    if (!isEscape) continue;
    text += Unescaped(rest[0]);
    rest.remove_prefix(1);
  }
}

constexpr CByteSet nameStops("~:");
constexpr CByteSet setStops("~|");
constexpr CByteSet noStops("~");

CRegValue SetOf(std::string_view rest) {
  constexpr char oneEmpty[] = {escape, emptyString};
  std::vector<stringEx> strings;
  if (rest == std::string_view(oneEmpty, sizeof(oneEmpty))) {
    strings.emplace_back();
  } else if (!rest.empty()) {
    for (bool more = true; more;) {
      strings.emplace_back();
      more = TakeUnescaped(rest, setStops, strings.back());
    }
  }
  const std::vector<std::string_view> views(strings.begin(), strings.end());
  return PackSet(views);
}

class CIniImport {
 public:
  explicit CIniImport(const CFakeRegistry& root) : root_(root), key_(root) {}

  void TakeLine(std::string_view line) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.empty() || line[0] == '#' || line[0] == ';') return;
    if (line[0] == '[') {
      TakeSection(line);
    } else {
      TakeValue(line);
    }
  }

 private:
  void TakeSection(std::string_view line) {
    if (!line.ends_with(']')) RefuseText("section without its end", line);
    std::string_view path = line.substr(1, line.size() - 2);
    TakeUnescaped(path, noStops, text_);
    key_ = root_.GainSubkey(text_);
  }

  void TakeValue(std::string_view line) {
    std::string_view rest = line;
    if (!TakeUnescaped(rest, nameStops, name_)) RefuseText("line without a type", line);
    const std::size_t equals = rest.find('=');
    const auto type = TypeOf(rest.substr(0, equals));
    if (equals == std::string_view::npos || !type) RefuseText("unknown type", line);
    rest.remove_prefix(equals + 1);
    if (*type == T_STRING_SET) return PutValue(key_, name_, SetOf(rest));
    TakeUnescaped(rest, noStops, text_);
    PutValue(key_, name_, ValueOf(*type, text_));
  }

  CFakeRegistry root_;
  CFakeRegistry key_;
  stringEx name_;
  stringEx text_;
};

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
    CIniImport import(*this);
    for (std::string_view rest = text; !rest.empty();) {
      const std::string_view line = rest.substr(0, rest.find('\n'));
      rest.remove_prefix(std::min(line.size() + 1, rest.size()));
      import.TakeLine(line);
    }
  });
}

void CFakeRegistry::ImportIni(const stringEx& source) {
  CMemSource memory(source);
  ImportIni(memory);
}

}  // namespace Qorv
