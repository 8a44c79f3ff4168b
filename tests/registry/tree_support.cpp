#include "registry/tree_support.h"

#include <random>

namespace TestSupport {
namespace {

using namespace Qorv;

// What forms of text may stumble over, but for the backslash, which no name of a path has.
constexpr std::string_view nasty{"ab~|:=#;[]\"',<>&\r\n\t \0\xc3\xa4", 22};

class Maker {
 public:
  Maker(std::uint32_t seed, std::string_view elements)
      : random_(seed), elements_(elements.empty() ? nasty : elements) {}

  std::uint32_t Below(std::uint32_t limit) { return static_cast<std::uint32_t>(random_() % limit); }

  std::string Text(std::uint32_t longest) {
    std::string text;
    for (std::uint32_t left = Below(longest + 1); left != 0; --left)
      text += elements_[Below(static_cast<std::uint32_t>(elements_.size()))];
    return text;
  }

  std::string KeyName() {
    std::string name;
    while (name.empty())
      name = Text(6);
    return name;
  }

  void PutValue(CFakeRegistry& key) {
    const std::string nameText = Text(8);
    const stringEx name{std::string_view(nameText)};
    const stringEx text{std::string_view(Text(Below(10) == 0 ? 300 : 8))};
    switch (Below(9)) {
      case T_NONE:
        return key.WriteRawValue(name, T_NONE, {});
      case T_STRING:
        return key.WriteValue(name, text);
      case T_EXP_STR:
        return key.WriteValueEx(name, text, T_EXP_STR);
      case T_BLOB:
        return key.WriteValue(name, Blob(Below(30)));
      case T_DWORD:
        return key.WriteValue(name, Below(3) == 0 ? 0 : static_cast<std::uint32_t>(random_()));
      case T_QWORD:
        return key.WriteValue(name, Below(3) == 0 ? 0 : random_());
      case T_STRING_SET: {
        std::vector<stringEx> strings;
        for (std::uint32_t left = Below(4); left != 0; --left)
          strings.emplace_back(std::string_view(Text(5)));
        return key.WriteValue(name, strings);
      }
      case T_FLOAT8:
        // Few enough digits to be written and read without a loss.
        return key.WriteValue(name, (static_cast<double>(Below(2'000'001)) - 1'000'000) / 1024);
      default:
        return key.WriteValue(name, Below(2) == 0);
    }
  }

 private:
  byteEx Blob(std::uint32_t length) {
    byteEx bytes;
    while (length-- != 0)
      bytes += static_cast<unsigned char>(random_());
    return bytes;
  }

  std::mt19937_64 random_;
  std::string_view elements_;
};

std::string Shown(std::string_view text) {
  std::string shown;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > ' ' && byte < 0x7F && c != '%') {
      shown += c;
    } else {
      constexpr char digits[] = "0123456789ABCDEF";
      ((shown += '%') += digits[byte / 16]) += digits[byte % 16];
    }
  }
  return shown;
}

void AppendKey(std::string& text, const CFakeRegistry& key) {
  std::vector<stringEx> names;
  key.GetAllValues(names);
  for (const stringEx& name : names) {
    std::uint32_t type = 0;
    byteEx bytes;
    key.ReadRawValue(name, type, bytes);
    text += Shown(name) + " (" + CFakeRegistry::GetTypeName(type) + ") " + bytes.hex().data() + "\n";
  }
}

}  // namespace

// A list in place of recursion.
std::string TreeText(const CFakeRegistry& root) {
  struct PLACE {
    CFakeRegistry key;
    std::string path;
  };
  std::string text;
  std::vector<PLACE> left{{root, ""}};
  while (!left.empty()) {
    const PLACE place = left.back();
    left.pop_back();
    text += "[" + place.path + "]\n";
    AppendKey(text, place.key);
    std::vector<stringEx> names;
    place.key.GetAllSubkeys(names);
    for (auto name = names.rbegin(); name != names.rend(); ++name)
      left.push_back({place.key.ObtainSubkey(*name), place.path + "\\" + Shown(*name)});
  }
  return text;
}

CFakeRegistry RandomTree(std::uint32_t seed, int keys, std::string_view elements) {
  Maker maker(seed, elements);
  std::vector<CFakeRegistry> made(1);
  made.front().Clear();
  while (static_cast<int>(made.size()) < keys) {
    const std::string name = maker.KeyName();
    made.push_back(
        made[maker.Below(static_cast<std::uint32_t>(made.size()))].GainSubkey(std::string_view(name)));
  }
  for (int left = 4 * keys; left > 0; --left)
    maker.PutValue(made[maker.Below(static_cast<std::uint32_t>(made.size()))]);
  return made.front();
}

void ChangeTree(CFakeRegistry& root, std::uint32_t seed) {
  Maker maker(seed, {});
  std::vector<CFakeRegistry> left{root};
  while (!left.empty()) {
    CFakeRegistry key = left.back();
    left.pop_back();
    std::vector<stringEx> names;
    key.GetAllValues(names);
    for (const stringEx& name : names)
      if (maker.Below(4) == 0) key.RemoveValue(name);
    for (std::uint32_t more = maker.Below(3); more != 0; --more)
      maker.PutValue(key);
    names.clear();
    key.GetAllSubkeys(names);
    for (const stringEx& name : names) {
      if (maker.Below(4) == 0) {
        key.RemoveSubkey(name, true);
      } else {
        left.push_back(key.ObtainSubkey(name));
      }
    }
    if (maker.Below(4) == 0) key.GainSubkey(std::string_view(maker.KeyName()));
  }
}

CFakeRegistry DeepTree(std::size_t depth) {
  CFakeRegistry root;
  root.Clear();
  CFakeRegistry key = root;
  for (; depth != 0; --depth) {
    key = key.GainSubkey("k");
    key.WriteValue("v", static_cast<std::uint64_t>(depth));
  }
  return root;
}

}  // namespace TestSupport
