// Strings: sharing, mutation, search, fields, formatted text.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <qorv/string.h>

#include "support/row_name.h"

using namespace Qorv::literals;
using Qorv::stringEx;

namespace Qorv {
void PrintTo(const stringEx& text, std::ostream* out) {
  *out << '"' << text << '"';
}
}  // namespace Qorv

namespace {

static_assert(!std::is_constructible_v<stringEx, std::nullptr_t>);

struct MutationRow {
  const char* name;
  void (*mutate)(stringEx&);
  const char* expected;
};

const MutationRow mutations[] = {
    {"Append", [](stringEx& s) { s += "xyz"; }, " Hello xyz"},
    {"AppendSelf", [](stringEx& s) { s += s; }, " Hello  Hello "},
    {"AppendPartOfItself",
     [](stringEx& s) {
       s += s.part({1, 4});
     },
     " Hello Hell"},
    {"AppendNothing", [](stringEx& s) { s += ""; }, " Hello "},
    {"AppendRun", [](stringEx& s) { s.append(3, '-'); }, " Hello ---"},
    {"AssignLonger", [](stringEx& s) { s.assign("longer than the room that the string has had before"); },
     "longer than the room that the string has had before"},
    {"AssignPartOfItself",
     [](stringEx& s) {
       s.assign(s.part({2, 3}));
     },
     "ell"},
    {"AssignItself", [](stringEx& s) { s.assign(s); }, " Hello "},
    {"Erase", [](stringEx& s) { s.erase(1, 5); }, "  "},
    {"EraseBeyondTheEnd", [](stringEx& s) { s.erase(3, ~0ULL); }, " He"},
    {"EraseBehindTheEnd", [](stringEx& s) { s.erase(7, 1); }, " Hello "},
    {"Truncate", [](stringEx& s) { s.truncate(2); }, " H"},
    {"TruncateBeyondTheEnd", [](stringEx& s) { s.truncate(99); }, " Hello "},
    {"Lower", [](stringEx& s) { s.to_lower(); }, " hello "},
    {"TrimLeft", [](stringEx& s) { s.trim_left(); }, "Hello "},
    {"TrimRight", [](stringEx& s) { s.trim_right(); }, " Hello"},
    {"Clear", [](stringEx& s) { s.clear(); }, ""},
    {"AssignNumber", [](stringEx& s) { s.assign_int(-7); }, "-7"},
    {"Format", [](stringEx& s) { s.format("%d%%", 42); }, "42%"},
    {"FormatAppend", [](stringEx& s) { s.format_append("%c", 'x'); }, " Hello x"},
    {"FormatAppendLimit", [](stringEx& s) { s.format_append(2, "%d", 12345); }, " Hello 12"},
    {"FormatOfNothing", [](stringEx& s) { s.format("%s", ""); }, ""},
};

class Mutation : public testing::TestWithParam<MutationRow> {};

TEST_P(Mutation, ChangesThisCopyAlone) {
  stringEx owner(" Hello ");
  stringEx shared = owner;
  stringEx view = " Hello "_sv;
  for (stringEx* text : {&shared, &view, &owner}) {
    GetParam().mutate(*text);
    EXPECT_EQ(*text, GetParam().expected);
    EXPECT_EQ(std::string(text->data()), GetParam().expected);  // zero-ended
    if (text != &owner) {
      EXPECT_EQ(owner, " Hello ");
    }
  }
  shared = stringEx();
  EXPECT_FALSE(owner.is_shared());
}

INSTANTIATE_TEST_SUITE_P(String, Mutation, testing::ValuesIn(mutations), rowName);

TEST(String, FormFeedIsNoSpaceAndZeroIs) {
  stringEx text("\0\t\n\v\r \f x \f \0\t\n\v\r ", 18);
  text.trim_left();
  text.trim_right();
  EXPECT_EQ(text, "\f x \f");
}

TEST(String, StreamWritesZeroElements) {
  std::ostringstream out;
  out << stringEx("a\0b", 3);
  EXPECT_EQ(out.str(), std::string("a\0b", 3));
}

struct CompareRow {
  stringEx a;
  stringEx b;
  int expected;
};

TEST(String, CompareWithoutCaseFoldsAToZOnly) {
  const CompareRow rows[] = {
      {"FROM", "from", 0}, {"from", "fromdisk", -1}, {"fromdisk", "FROM", 1}, {"", "", 0},
      {"a", "B", -1},      {"[", "{", -1},           {"\xC4", "\xE4", -1},    {"Z", "[", 1},
  };
  for (const CompareRow& row : rows) {
    EXPECT_EQ(row.a.compare_nocase(row.b), row.expected) << row.a << " " << row.b;
    EXPECT_EQ(row.b.compare_nocase(row.a), -row.expected) << row.a << " " << row.b;
  }
}

template <class String>
void ExpectSameSplit(std::string_view text, std::string_view delimiter,
                     const std::vector<Qorv::RANGE>& expected) {
  const std::vector<typename String::value_type> elements(text.begin(), text.end());
  const std::vector<typename String::value_type> sought(delimiter.begin(), delimiter.end());
  std::vector<Qorv::RANGE> ranges;
  String(elements.data(), elements.size()).split({sought.data(), sought.size()}, ranges);
  EXPECT_EQ(ranges, expected) << text;
}

TEST(String, SplitKeepsEmptyFields) {
  struct Row {
    const char* text;
    const char* delimiter;
    std::vector<std::string> fields;
  };
  const Row rows[] = {
      {"a,,b,", ",", {"a", "", "b", ""}},
      {",a", ",", {"", "a"}},
      {"", ",", {""}},
      {"abc", ",", {"abc"}},
      {"a--b-c", "--", {"a", "b-c"}},
      {"abc", "", {"abc"}},
      {"---", "--", {"", "-"}},
  };
  for (const Row& row : rows) {
    const stringEx text(row.text);
    std::vector<Qorv::RANGE> ranges{{9, 9}};
    EXPECT_EQ(text.split(row.delimiter, ranges), row.fields.size() > 1) << row.text;
    ExpectSameSplit<Qorv::wstringEx>(row.text, row.delimiter, ranges);
    ExpectSameSplit<Qorv::byteEx>(row.text, row.delimiter, ranges);
    std::vector<std::string> fields;
    for (const Qorv::RANGE& range : ranges)
      fields.emplace_back(std::string_view(text.part(range)));
    EXPECT_EQ(fields, row.fields) << row.text;
  }
}

TEST(String, SteadyReuseKeepsTheRoom) {
  stringEx line;
  line.reserve(100);
  const char* const room = line.data();
  for (int i = 0; i < 3; ++i) {
    line.clear();
    line.append(100, 'x');
    EXPECT_EQ(line.data(), room);
  }
  const stringEx holder = line;
  line.clear();  // the holder keeps the old room
  EXPECT_EQ(holder.length(), 100U);
  EXPECT_TRUE(line.empty());
}

}  // namespace
