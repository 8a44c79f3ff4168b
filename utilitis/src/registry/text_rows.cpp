// A tree as rows of four cells: path, name, type, value.
#include <array>

#include <qorv/row_parser.h>
#include <qorv/stream.h>

#include "registry/text_form.h"

namespace Qorv {
namespace {

using namespace IMPL;

// One of the two forms of rows.
struct CSVFORM {
  static constexpr TEXTREFUSALS exporting{
      "CFakeRegistry::ExportCsv - invalid object", "CFakeRegistry::ExportCsv - circular reference\n",
      "CFakeRegistry::ExportCsv - invalid type : ", "CFakeRegistry::ExportCsv - failed export to csv\n"};
  static constexpr TEXTREFUSALS importing{"CFakeRegistry::ImportCsv - invalid object",
                                          {},
                                          {},
                                          "CFakeRegistry::ImportCsv - failed import from csv\n"};
  using Parser = CCsvParser;
  static void Put(stringEx& text, std::span<const stringEx> row, bool) { CCsvParser().PutRow(text, row); }
  static void PutInner(stringEx& text, std::span<const stringEx> row) {
    CCsvParser().PutRow(text, row);
    text.truncate(text.length() - 1);  // it is the end of its cell
  }
  static void End(stringEx&) {}
};

struct JSONFORM {
  static constexpr TEXTREFUSALS exporting{"CFakeRegistry::ExportJson - invalid object",
                                          "CFakeRegistry::ExportJson - circular reference\n",
                                          "CFakeRegistry::ExportJson - invalid type : ",
                                          "CFakeRegistry::ExportJson - failed export to json array\n"};
  // It says "csv": so it is known.
  static constexpr TEXTREFUSALS importing{"CFakeRegistry::ImportJson - invalid object",
                                          {},
                                          {},
                                          "CFakeRegistry::ImportJson - failed import from csv\n"};
  using Parser = CJsonParser;
  static void Put(stringEx& text, std::span<const stringEx> row, bool isFirst) {
    text += isFirst ? "[\n" : ",\n";
    CJsonParser::PutRow(text, row);
  }
  static void PutInner(stringEx& text, std::span<const stringEx> row) { CJsonParser::PutRow(text, row); }
  static void End(stringEx& text) { text += "\n]\n"; }
};

// Converts the texts of cells, if that is wanted.
class CCellText {
 public:
  explicit CCellText(bool asUtf8) {
    if (asUtf8) text_.emplace();
  }
  stringEx Out(std::string_view text) { return stringEx(text_ ? text_->ToImage(text) : text); }
  stringEx In(std::string_view text) { return stringEx(text_ ? text_->FromImage(text) : text); }

 private:
  std::optional<CImageText> text_;
};

template <class Form>
stringEx CellOf(const CRegValue& value, CCellText& conv) {
  stringEx cell;
  if (value.Type() == T_STRING_SET) {
    std::vector<stringEx> strings;
    ForEachInSet(value.Bytes(), [&](std::string_view string) { strings.push_back(conv.Out(string)); });
    if (!strings.empty()) Form::PutInner(cell, strings);
    return cell;
  }
  AppendValueText(cell, value);
  return value.Type() == T_STRING || value.Type() == T_EXP_STR ? conv.Out(cell) : cell;
}

template <class Form>
void ExportTo(const CFakeRegistry& handle, CTextOut& out, bool asUtf8) {
  CCellText conv(asUtf8);
  bool isFirst = true;
  const auto put = [&](const std::array<stringEx, 4>& row) {
    Form::Put(out.Text(), row, isFirst);
    isFirst = false;
    out.Advance();
  };
  ExportKeys(handle, Form::exporting, out, [&](const CTreeWalk& walk, const stringEx& path) {
    if (walk.IsEnter()) {
      const stringEx place = conv.Out(path);
      put({place, stringEx(), stringEx(keyWord), stringEx()});
      for (const auto& [name, value] : walk.Key().values)
        put({place, conv.Out(name), stringEx(WordOf(value, Form::exporting.type)),
             CellOf<Form>(value, conv)});
    } else if (walk.Depth() == 0) {
      Form::End(out.Text());
    }
  });
}

// A source that is somebody else's.
class CLentSource final : public TDataSource {
 public:
  explicit CLentSource(TDataSource& source) noexcept : source_(source) {}
  bool IsValid() const override { return source_.IsValid(); }
  bool IsEof() const override { return source_.IsEof(); }
  std::size_t Read(void* out, std::size_t size) override { return source_.Read(out, size); }

 private:
  TDataSource& source_;
};

template <class Form>
CRegValue SetOf(const stringEx& cell, CCellText& conv) {
  std::vector<stringEx> strings;
  if (!cell.empty()) {
    typename Form::Parser parser;
    parser.Open(MakeHandle<CMemSource>(cell));
    parser.GetNextRow(strings);
  }
  std::vector<std::string_view> views;
  for (stringEx& string : strings) {
    string = conv.In(string);
    views.push_back(string);
  }
  return {T_STRING_SET, PackSet(views)};
}

template <class Form>
void ImportRow(CFakeRegistry& root, const std::vector<stringEx>& row, CCellText& conv) {
  constexpr std::size_t cells = 4;
  if (row.empty()) return;
  if (row.size() != cells) RefuseText("not a row of four cells", row[0]);
  const CFakeRegistry key = root.GainSubkey(conv.In(row[0]));
  if (row[2] == stringEx::view(keyWord)) return;
  const auto type = TypeOf(row[2]);
  if (!type) RefuseText("unknown type", row[2]);
  const stringEx name = conv.In(row[1]);
  if (*type == T_STRING_SET) return PutValue(key, name, SetOf<Form>(row[3], conv));
  const bool isText = *type == T_STRING || *type == T_EXP_STR;
  PutValue(key, name, ValueOf(*type, isText ? conv.In(row[3]) : row[3]));
}

template <class Form>
void ImportFrom(CFakeRegistry& handle, CHandle<TDataSource> source, bool asUtf8) {
  ImportText(handle, Form::importing, [&] {
    CCellText conv(asUtf8);
    typename Form::Parser parser;
    parser.Open(std::move(source));
    CFakeRegistry root = handle;
    std::vector<stringEx> row;
    while (parser.GetNextRow(row)) {
      ImportRow<Form>(root, row, conv);
      row.clear();
    }
  });
}

}  // namespace

void CFakeRegistry::ExportCsv(TDataSink& target, bool asUtf8) const {
  CTextOut out(target);
  ExportTo<CSVFORM>(*this, out, asUtf8);
}

void CFakeRegistry::ExportCsv(stringEx& target, bool asUtf8) const {
  CTextOut out(target);
  ExportTo<CSVFORM>(*this, out, asUtf8);
}

void CFakeRegistry::ImportCsv(TDataSource& source, bool asUtf8) {
  ImportFrom<CSVFORM>(*this, MakeHandle<CLentSource>(source), asUtf8);
}

void CFakeRegistry::ImportCsv(const stringEx& source, bool asUtf8) {
  ImportFrom<CSVFORM>(*this, MakeHandle<CMemSource>(source), asUtf8);
}

void CFakeRegistry::ExportJson(TDataSink& target, bool asUtf8) const {
  CTextOut out(target);
  ExportTo<JSONFORM>(*this, out, asUtf8);
}

void CFakeRegistry::ExportJson(stringEx& target, bool asUtf8) const {
  CTextOut out(target);
  ExportTo<JSONFORM>(*this, out, asUtf8);
}

void CFakeRegistry::ImportJson(TDataSource& source, bool asUtf8) {
  ImportFrom<JSONFORM>(*this, MakeHandle<CLentSource>(source), asUtf8);
}

void CFakeRegistry::ImportJson(const stringEx& source, bool asUtf8) {
  ImportFrom<JSONFORM>(*this, MakeHandle<CMemSource>(source), asUtf8);
}

}  // namespace Qorv
