// A tree as elements.
#include <qorv/stream.h>

#include "registry/text_form.h"

namespace Qorv {
namespace {

using namespace IMPL;

constexpr TEXTREFUSALS exporting{
    "CFakeRegistry::ExportXml - invalid object", "CFakeRegistry::ExportXml - circular reference\n",
    "CFakeRegistry::ExportXml - invalid type : ", "CFakeRegistry::ExportXml - failed export to xml data\n"};
constexpr TEXTREFUSALS importing{"CFakeRegistry::ImportXml - invalid object",
                                 {},
                                 {},
                                 "CFakeRegistry::ImportXml - failed import from xml data\n"};

void AppendEscaped(stringEx& text, std::string_view value) {
  stringEx::view(value).xml_escape_append_to(text);
}

void AppendValue(stringEx& text, std::string_view name, const CRegValue& value) {
  const std::string_view word = WordOf(value, exporting.type);
  text += "<value name=\"";
  AppendEscaped(text, name);
  ((text += "\" type=\"") += word) += "\">";
  if (value.Type() == T_STRING_SET) {
    ForEachInSet(value.Bytes(), [&](std::string_view string) {
      text += "<string>";
      AppendEscaped(text, string);
      text += "</string>";
    });
  } else {
    stringEx plain;
    AppendValueText(plain, value);
    AppendEscaped(text, plain);
  }
  text += "</value>\n";
}

void ExportTo(const CFakeRegistry& handle, CTextOut& out) {
  out.Text() += "<CConfig>\n";
  ExportKeys(handle, exporting, out, [&](const CTreeWalk& walk, const stringEx& path) {
    if (walk.IsEnter()) {
      out.Text() += "<key path=\"";
      AppendEscaped(out.Text(), path);
      out.Text() += "\">\n";
      for (const auto& [name, value] : walk.Key().values) {
        AppendValue(out.Text(), name, value);
        out.Advance();
      }
    } else {
      out.Text() += walk.Depth() == 0 ? "</key>\n</CConfig>\n" : "</key>\n";
    }
  });
}

// A scan of elements by their words, not more of the language than they need.
class CXmlImport {
 public:
  CXmlImport(CFakeRegistry root, std::string_view text) : root_(std::move(root)), rest_(text) {}

  void Run() {
    for (std::size_t at = rest_.find('<'); at != std::string_view::npos; at = rest_.find('<')) {
      rest_.remove_prefix(at);
      if (rest_.starts_with("<!--")) {
        TakeThrough("-->");
        continue;
      }
      std::string_view tag = TakeThrough(">");
      const bool isClosed = tag.ends_with('/');
      if (isClosed) tag.remove_suffix(1);
      if (IsTag(tag, "key")) {
        keys_.push_back(root_.GainSubkey(Attribute(tag, "path=")));
        if (isClosed) keys_.pop_back();
      } else if (tag == "/key") {
        if (!keys_.empty()) keys_.pop_back();
      } else if (IsTag(tag, "value")) {
        ImportValue(tag, isClosed ? std::string_view() : TakeThrough("</value>"));
      }
    }
  }

 private:
  static bool IsTag(std::string_view tag, std::string_view word) {
    return tag.starts_with(word) && tag.size() > word.size() && tag[word.size()] <= ' ';
  }

  // What stands between the present place, or the "<" there, and the end, taken with it.
  std::string_view TakeThrough(std::string_view end) {
    const std::size_t at = rest_.find(end);
    if (at == std::string_view::npos) RefuseText("element without its end", rest_);
    std::string_view content = rest_.substr(0, at);
    rest_.remove_prefix(at + end.size());
    if (content.starts_with('<') && end == ">") content.remove_prefix(1);
    return content;
  }

  static stringEx Restored(std::string_view text) { return stringEx(text).xml_restore_copy(); }

  static stringEx Attribute(std::string_view tag, std::string_view name) {
    for (std::size_t at = tag.find(name); at != std::string_view::npos; at = tag.find(name, at + 1)) {
      const std::size_t begin = at + name.size();
      if (at == 0 || tag[at - 1] > ' ' || begin >= tag.size() || (tag[begin] != '"' && tag[begin] != '\''))
        continue;
      const std::size_t end = tag.find(tag[begin], begin + 1);
      if (end != std::string_view::npos) return Restored(tag.substr(begin + 1, end - begin - 1));
    }
    RefuseText("element without an attribute that it needs", tag);
  }

  void ImportValue(std::string_view tag, std::string_view content) {
    const auto type = TypeOf(Attribute(tag, "type="));
    if (!type) RefuseText("unknown type", tag);
    const CFakeRegistry& key = keys_.empty() ? root_ : keys_.back();
    const stringEx name = Attribute(tag, "name=");
    PutValue(key, name, *type == T_STRING_SET ? SetOf(content) : ValueOf(*type, Restored(content)));
  }

  static CRegValue SetOf(std::string_view content) {
    std::vector<stringEx> strings;
    for (std::size_t at = content.find("<string"); at != std::string_view::npos;
         at = content.find("<string")) {
      content.remove_prefix(at);
      const std::size_t begin = content.find('>');
      const bool isClosed = begin != std::string_view::npos && content[begin - 1] == '/';
      const std::size_t end = isClosed ? begin + 1 : content.find("</string>");
      if (begin == std::string_view::npos || end == std::string_view::npos || end < begin)
        RefuseText("element without its end", content);
      strings.push_back(isClosed ? stringEx() : Restored(content.substr(begin + 1, end - begin - 1)));
      content.remove_prefix(end);
    }
    const std::vector<std::string_view> views(strings.begin(), strings.end());
    return {T_STRING_SET, PackSet(views)};
  }

  CFakeRegistry root_;
  std::string_view rest_;
  std::vector<CFakeRegistry> keys_;
};

}  // namespace

void CFakeRegistry::ExportXml(TDataSink& target) const {
  CTextOut out(target);
  ExportTo(*this, out);
}

void CFakeRegistry::ExportXml(stringEx& target) const {
  CTextOut out(target);
  ExportTo(*this, out);
}

void CFakeRegistry::ImportXml(TDataSource& source) {
  ImportText(*this, importing, [&] {
    const stringEx text = ReadAll(source);
    CXmlImport(*this, text).Run();
  });
}

void CFakeRegistry::ImportXml(const stringEx& source) {
  CMemSource memory(source);
  ImportXml(memory);
}

}  // namespace Qorv
