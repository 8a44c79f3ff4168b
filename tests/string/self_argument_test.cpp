// Every changing operation with the string itself, or a part of it, as its argument.
#include <gtest/gtest.h>

#include <string>

#include <qorv/string.h>

#include "support/row_name.h"

namespace {

using Qorv::byteEx;
using Qorv::stringEx;
using Qorv::wstringEx;

// With the zero behind it as long as the smallest room, so that whatever grows moves.
constexpr const char* start = "012345678901234567890123456789";

byteEx BytesOf(const stringEx& text) {
  return byteEx::view({reinterpret_cast<const unsigned char*>(text.data()), text.length()});
}

struct SelfRow {
  const char* name;
  void (*change)(stringEx&);
  std::string expected;
};

// Clang-format would spread the rows with several statements over five lines each.
// clang-format off
const SelfRow rows[] = {
    {"Append", [](stringEx& s) { s += s; }, std::string(start) + start},
    {"AppendPart", [](stringEx& s) { s.append(s.part({8, 4})); }, std::string(start) + "8901"},
    {"AssignPart", [](stringEx& s) { s.assign(s.part({8, 4})); }, "8901"},
    {"AssignItself", [](stringEx& s) { s.assign(s); }, start},
    {"MovePart", [](stringEx& s) { s = s.part({8, 4}); }, "8901"},
    {"CopyPart", [](stringEx& s) { const stringEx part = s.part({8, 4}); s = part; }, "8901"},
    {"AssignEmptyEnd",
     [](stringEx& s) { s = stringEx::view(std::string_view(s).substr(30)); s.append(s.data()); }, ""},
    {"MoveField", [](stringEx& s) { s = s.rright_of("9", 2); }, "0123456789"},
    {"Plus", [](stringEx& s) { s = s + s.part({8, 4}); }, std::string(start) + "8901"},
    {"TrimLeftSet", [](stringEx& s) { s.trim_left(s.part({0, 9})); }, "901234567890123456789"},
    {"TrimRightSet", [](stringEx& s) { s.trim_right(s.part({2, 8})); }, "0123456789012345678901"},
    {"TrimRightElement", [](stringEx& s) { s.trim_right(s[9]); }, "01234567890123456789012345678"},
    {"TrimOnto", [](stringEx& s) { s.trim_right_append_to(s, s.part({1, 9})); },
     std::string(start) + "012345678901234567890"},
    {"ReplaceBoth", [](stringEx& s) { s.replace(s.part({1, 9}), s.part({5, 2})); }, "056056056"},
    {"ReplaceLonger", [](stringEx& s) { s.replace(s.part({9, 1}), s); },
     "012345678" + std::string(start) + "012345678" + start + "012345678" + start},
    {"ReplaceFromTheRight", [](stringEx& s) { s.rreplace(s.part({0, 10}), s.part({0, 1}), Qorv::npos, false); },
     "012345678901234567890"},
    {"ReplaceOnto", [](stringEx& s) { s.replace_append_to(s, s.part({0, 9}), s.part({3, 1})); },
     std::string(start) + "393939"},
    {"RReplaceOnto", [](stringEx& s) { s.rreplace_append_to(s, s.part({0, 9}), s.part({3, 1})); },
     std::string(start) + "393939"},
    {"ReplaceAny", [](stringEx& s) { s.replace_any(s.part({1, 9}), s.part({1, 1})); },
     "011111111101111111110111111111"},
    {"ReplaceAnyOnto", [](stringEx& s) { s.replace_any_append_to(s, s.part({1, 9}), s.part({0, 2}), 28); },
     std::string(start) + "01234567890123456789012345670101"},
    {"FieldOnto", [](stringEx& s) { s.between_append_to(s, s.part({0, 1}), s.part({4, 2})); },
     std::string(start) + "123"},
    {"HexOnto", [](stringEx& s) { s.truncate(3); s.hex_append_to(s, s.part({1, 1})); }, "01230131132"},
    {"ArrayNamedByItself",
     [](stringEx& s) { s.truncate(2); byteEx().c_array_append_to(s, s.part({1, 1}), false); },
     "01unsigned char 1[] = {\n};\n"},
    {"NarrowOnto", [](stringEx& s) { s.to_narrow_append_to(s); }, std::string(start) + start},
    {"PartHexOnto", [](stringEx& s) { s.part({8, 4}).hex_append_to(s); }, std::string(start) + "38393031"},
    {"BytesHexOnto", [](stringEx& s) { BytesOf(s).part({8, 4}).hex_append_to(s, "-"); },
     std::string(start) + "38-39-30-31"},
    {"BytesAsArrayOnto", [](stringEx& s) { BytesOf(s).part({8, 2}).c_array_append_to(s, "n", false); },
     std::string(start) + "unsigned char n[] = {\n\t0X38, 0X39\n};\n"},
    {"BytesNarrowedOnto", [](stringEx& s) { BytesOf(s).to_narrow_append_to(s); }, std::string(start) + start},
    {"PartTrimmedOnto", [](stringEx& s) { s.part({8, 4}).trim_left_append_to(s, "8"); },
     std::string(start) + "901"},
    {"PartReplacedOnto", [](stringEx& s) { s.part({8, 4}).replace_append_to(s, "9", "xyz"); },
     std::string(start) + "8xyz01"},
    {"PartRReplacedOnto", [](stringEx& s) { s.part({8, 4}).rreplace_append_to(s, "9", "xyz"); },
     std::string(start) + "8xyz01"},
    {"OfPartReplacedOnto", [](stringEx& s) { stringEx("a0b").replace_append_to(s, s.part({10, 1}), "-"); },
     std::string(start) + "a-b"},
    {"ByPartReplacedOnto", [](stringEx& s) { stringEx("a-b").replace_append_to(s, "-", s.part({10, 2})); },
     std::string(start) + "a01b"},
    {"OfPartRReplacedOnto", [](stringEx& s) { stringEx("a0b").rreplace_append_to(s, s.part({10, 1}), "-"); },
     std::string(start) + "a-b"},
    {"ByPartRReplacedOnto", [](stringEx& s) { stringEx("a-b").rreplace_append_to(s, "-", s.part({10, 2})); },
     std::string(start) + "a01b"},
    {"PartOfASetReplacedOnto", [](stringEx& s) { s.part({8, 4}).replace_any_append_to(s, "90", "xyz"); },
     std::string(start) + "8xyzxyz1"},
    {"FieldOfPartOnto", [](stringEx& s) { s.part({8, 4}).right_of_append_to(s, "9"); }, std::string(start) + "01"},
    {"Format", [](stringEx& s) { s.format("%s-%.3s", s.data(), s.data() + 1); }, std::string(start) + "-123"},
    {"FormatAppend", [](stringEx& s) { s.format_append("%s", s.data()); }, std::string(start) + start},
    {"FormatLimit", [](stringEx& s) { s.format(300, "%s", s.data() + 20); }, "0123456789"},
    {"FormatByItself", [](stringEx& s) { const char* own = s.data(); s.format_append(300, own); },
     std::string(start) + start},
};
// clang-format on

class SelfArgument : public testing::TestWithParam<SelfRow> {};

TEST_P(SelfArgument, ServesAsAnyOther) {
  stringEx owner(start);
  ASSERT_EQ(owner.capacity(), 31);
  stringEx shared = owner;
  stringEx view = stringEx::view(start);
  for (stringEx* text : {&shared, &view, &owner}) {
    GetParam().change(*text);
    EXPECT_EQ(std::string(*text), GetParam().expected);
    if (!text->is_view()) {
      EXPECT_EQ(std::string(text->data()), GetParam().expected);  // zero-ended
    }
    if (text != &owner) {
      EXPECT_EQ(std::string(owner), start);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(String, SelfArgument, testing::ValuesIn(rows), rowName);

TEST(SelfArgument, WidensOntoItself) {
  wstringEx text(L"0123456789012345678901234567\u00ff\u0100");
  const std::wstring before(text);
  text.to_wide_append_to(text);
  EXPECT_EQ(std::wstring(text), before + before);
  wstringEx bytes(before.data(), before.size());
  stringEx::view({reinterpret_cast<const char*>(bytes.data()), 8}).to_wide_append_to(bytes);
  EXPECT_EQ(std::wstring(bytes), before + std::wstring(L"0\0\0\0001\0\0\0", 8));

  // Long enough for several pieces, and for the target to move in between.
  wstringEx longer(std::wstring(1000, L'x').c_str());
  stringEx::view({reinterpret_cast<const char*>(longer.data()), 4000}).to_wide_append_to(longer);
  EXPECT_EQ(longer.length(), 5000u);
  EXPECT_EQ(longer.count(L"x"), 2000u);
}

}  // namespace
