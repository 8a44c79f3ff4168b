// A tree as rows of four cells: path, name, type, value.
#include <optional>

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
  static void Begin(stringEx&, bool) {}
  static void EndInner(stringEx& row) { row.truncate(row.length() - 1); }  // its cell ends it
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
  static void Begin(stringEx& text, bool isFirst) { text += isFirst ? "[\n" : ",\n"; }
  static void EndInner(stringEx&) {}
  static void End(stringEx& text) { text += "\n]\n"; }
};

// Converts the texts of cells, if that is wanted.
class CCellText {
 public:
  explicit CCellText(bool asUtf8) {
    if (asUtf8) text_.emplace();
  }
  /// Refer to what they were given where nothing is converted.
  stringEx Out(std::string_view text) {
    return text_ ? stringEx(text_->ToImage(text)) : stringEx::view(text);
  }
  stringEx OutPath(const stringEx& path) { return text_ ? text_->PathToImage(path, RequireName) : path; }
  stringEx In(const stringEx& text) { return text_ ? stringEx(text_->FromImage(text)) : text; }
  stringEx InPath(const stringEx& path) { return text_ ? text_->PathFromImage(path, RequireName) : path; }

 private:
  std::optional<CImageText> text_;
};

bool IsText(std::uint32_t type) noexcept {
  return type == T_STRING || type == T_EXP_STR;
}

template <class Form>
class CRowExport {
 public:
  CRowExport(CTextOut& out, bool asUtf8) : out_(out), conv_(asUtf8) {}

  void Put(const CTreeWalk& walk, const stringEx& path) {
    if (walk.IsEnter()) {
      const stringEx place = conv_.OutPath(path);
      PutRow(place, {}, keyWord, {});
      for (const auto& [name, value] : walk.Key().values)
        PutRow(place, name, WordOf(value, Form::exporting.type), CellOf(value));
    } else if (walk.Depth() == 0) {
      Form::End(out_.Text());
    }
  }

 private:
  void PutRow(std::string_view place, std::string_view name, std::string_view word, const stringEx& cell) {
    const stringEx row[] = {stringEx::view(place), conv_.Out(name), stringEx::view(word), cell};
    Form::Begin(out_.Text(), isFirst_);
    parser_.PutRow(out_.Text(), row);
    isFirst_ = false;
    out_.Advance();
  }

  stringEx CellOf(const CRegValue& value) {
    if (IsText(value.Type())) return conv_.Out(value.Text());
    stringEx cell;
    if (value.Type() != T_STRING_SET) {
      AppendValueText(cell, value);
      return cell;
    }
    std::vector<stringEx> strings;
    ForEachInSet(value.Text(), [&](std::string_view string) { strings.push_back(conv_.Out(string)); });
    if (strings.empty()) return cell;
    parser_.PutRow(cell, strings);
    Form::EndInner(cell);
    return cell;
  }

  CTextOut& out_;
  CCellText conv_;
  typename Form::Parser parser_;  // writes, and reads nothing
  bool isFirst_ = true;
};

template <class Form>
void ExportTo(const CFakeRegistry& handle, CTextOut& out, bool asUtf8) {
  std::optional<CRowExport<Form>> rows;
  ExportKeys(handle, Form::exporting, out, [&](const CTreeWalk& walk, const stringEx& path) {
    if (!rows) rows.emplace(out, asUtf8);  // may fail as conversion does
    rows->Put(walk, path);
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
class CRowImport {
 public:
  CRowImport(const CFakeRegistry& root, bool asUtf8) : root_(root), key_(root), conv_(asUtf8) {}

  void Take(std::vector<stringEx>& row) {
    constexpr std::size_t cells = 4;
    if (row.empty()) return;
    if (row.size() == cells - 1)
      row.emplace_back();  // an empty last one without quotes is none for the parser
    if (row.size() != cells) RefuseText("not a row of four cells", row[0]);
    const stringEx& path = row[0];
    const stringEx& name = row[1];
    const stringEx& word = row[2];
    const stringEx& cell = row[3];
    if (path != path_) {
      key_ = root_.GainSubkey(conv_.InPath(path));
      path_ = path;
    }
    if (word == stringEx::view(keyWord)) {
      if (!name.empty() || !cell.empty()) RefuseText("key with a value", path);
      return;
    }
    const auto type = TypeOf(word);
    if (!type) RefuseText("unknown type", word);
    const CRegValue value =
        *type == T_STRING_SET ? SetOf(cell) : ValueOf(*type, IsText(*type) ? conv_.In(cell) : cell);
    PutValue(key_, conv_.In(name), value);
  }

 private:
  CRegValue SetOf(const stringEx& cell) {
    std::vector<stringEx> strings;
    if (!cell.empty()) {
      inner_.Open(MakeHandle<CMemSource>(cell));
      inner_.GetNextRow(strings);
      std::vector<stringEx> more;
      if (inner_.GetNextRow(more)) RefuseText("set of several rows", cell);
    }
    for (stringEx& string : strings)
      string = conv_.In(string);
    const std::vector<std::string_view> views(strings.begin(), strings.end());
    return PackSet(views);
  }

  CFakeRegistry root_;
  stringEx path_;  // of the row before
  CFakeRegistry key_;
  CCellText conv_;
  typename Form::Parser inner_;
};

template <class Form>
void ImportFrom(const CFakeRegistry& handle, CHandle<TDataSource> source, bool asUtf8) {
  ImportText(handle, Form::importing, [&] {
    typename Form::Parser parser;
    parser.Open(std::move(source));
    CRowImport<Form> rows(handle, asUtf8);
    std::vector<stringEx> row;
    while (parser.GetNextRow(row)) {
      rows.Take(row);
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
