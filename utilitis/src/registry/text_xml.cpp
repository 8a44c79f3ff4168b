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
    ForEachInSet(value.Text(), [&](std::string_view string) {
      text += "<string>";
      AppendEscaped(text, string);
      text += "</string>";
    });
  } else if (value.Type() == T_STRING || value.Type() == T_EXP_STR) {
    AppendEscaped(text, value.Text());
  } else {
    AppendValueText(text, value);
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

bool IsBlank(char element) noexcept {
  return element == ' ' || element == '\t' || element == '\n' || element == '\r';
}

// The text without its entities: itself, or what `room` has become.
std::string_view Restored(std::string_view text, stringEx& room) {
  if (text.find('&') == std::string_view::npos) return text;
  room.clear();
  stringEx::view(text).xml_restore_append_to(room);
  return room;
}

// What stands before the end, taken off the text with it.
std::string_view TakeThrough(std::string_view& text, std::string_view end) {
  const std::size_t at = text.find(end);
  if (at == std::string_view::npos) RefuseText("element without its end", text);
  const std::string_view content = text.substr(0, at);
  text.remove_prefix(at + end.size());
  return content;
}

// A tag without its brackets.
class CTag {
 public:
  explicit CTag(std::string_view text) noexcept : text_(text), isClosed_(text.ends_with('/')) {
    if (isClosed_) text_.remove_suffix(1);
  }

  bool Is(std::string_view word) const noexcept {
    return text_.starts_with(word) && (text_.size() == word.size() || IsBlank(text_[word.size()]));
  }
  bool IsClosed() const noexcept { return isClosed_; }
  std::string_view Text() const noexcept { return text_; }
  /// What is between the quotes behind the name, which is looked for outside of quotes alone.
  std::string_view Attribute(std::string_view name) const {
    for (std::string_view rest = text_;;) {
      const std::size_t begin = rest.find_first_of("\"'");
      if (begin == std::string_view::npos) break;
      const std::size_t end = rest.find(rest[begin], begin + 1);
      if (end == std::string_view::npos) break;
      const std::string_view before = rest.substr(0, begin);
      if (before.ends_with(name) && before.size() > name.size() &&
          IsBlank(before[before.size() - name.size() - 1]))
        return rest.substr(begin + 1, end - begin - 1);
      rest.remove_prefix(end + 1);
    }
    RefuseText("element without an attribute that it needs", text_);
  }

 private:
  std::string_view text_;
  bool isClosed_;
};

// A scan of elements by their words, not more of the language than they need.
class CXmlImport {
 public:
  CXmlImport(CFakeRegistry root, std::string_view text) : root_(std::move(root)), text_(text), rest_(text) {}

  void Run() {
    for (bool isOpen = false;;) {
      const CTag tag = NextTag();
      if (tag.Is("CConfig")) {
        if (tag.IsClosed()) return;
        isOpen = true;
      } else if (tag.Is("key")) {
        CFakeRegistry key = root_.GainSubkey(Restored(tag.Attribute("path="), room_));
        if (!tag.IsClosed()) keys_.push_back(std::move(key));
      } else if (tag.Is("/key") && !keys_.empty()) {
        keys_.pop_back();
      } else if (tag.Is("/CConfig") && keys_.empty() && isOpen) {
        return;
      } else if (tag.Is("value")) {
        TakeValue(tag);
      } else if (tag.Is("/key") || tag.Is("/CConfig")) {
        RefuseText("end without its element", tag.Text());
      }
    }
  }

 private:
  CTag NextTag() {
    for (;;) {
      const std::size_t at = rest_.find('<');
      if (at == std::string_view::npos) RefuseText("CConfig without its end", text_);
      rest_.remove_prefix(at + 1);
      if (!rest_.starts_with("!--")) return CTag(TakeThrough(rest_, ">"));
      TakeThrough(rest_, "-->");
    }
  }

  void TakeValue(const CTag& tag) {
    const std::string_view content = tag.IsClosed() ? std::string_view() : TakeThrough(rest_, "</value>");
    const auto type = TypeOf(tag.Attribute("type="));
    if (!type) RefuseText("unknown type", tag.Text());
    const std::string_view name = Restored(tag.Attribute("name="), name_);
    PutValue(keys_.empty() ? root_ : keys_.back(), name,
             *type == T_STRING_SET ? SetOf(content) : ValueOf(*type, Restored(content, room_)));
  }

  CRegValue SetOf(std::string_view content) {
    constexpr std::string_view word = "<string";
    std::vector<stringEx> strings;
    for (std::size_t at = content.find(word); at != std::string_view::npos; at = content.find(word)) {
      content.remove_prefix(at + 1);
      const CTag tag(TakeThrough(content, ">"));
      const std::string_view string = tag.IsClosed() ? std::string_view() : TakeThrough(content, "</string>");
      strings.emplace_back(Restored(string, room_));
    }
    const std::vector<std::string_view> views(strings.begin(), strings.end());
    return PackSet(views);
  }

  CFakeRegistry root_;
  std::string_view text_;
  std::string_view rest_;
  std::vector<CFakeRegistry> keys_;
  stringEx name_;
  stringEx room_;
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
