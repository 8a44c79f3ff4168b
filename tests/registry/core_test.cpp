// Handles, keys and values: what each operation does, what it refuses, and in which words.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include <qorv/error.h>
#include <qorv/registry.h>

#include "registry/tree_support.h"
#include "support/failure.h"
#include "support/row_name.h"

namespace {

using namespace Qorv;
using TestSupport::DeepTree;
using TestSupport::FailureOf;
using TestSupport::TreeText;

CFakeRegistry Fresh() {
  CFakeRegistry key;
  key.Clear();
  return key;
}

using Step = std::function<void(CFakeRegistry&)>;

struct REFUSAL {
  const char* name;
  const char* expected;
  Step step;
};

// --- handles without a key -------------------------------------------------------------------------------------------

class Invalid : public testing::TestWithParam<REFUSAL> {};

TEST_P(Invalid, HandleIsRefusedByItsOperationsName) {
  CFakeRegistry handle;
  EXPECT_EQ("1: CFakeRegistry::" + std::string(GetParam().name) + " - invalid object",
            FailureOf<regExp>([&] { GetParam().step(handle); }));
}

std::vector<stringEx> names;
stringEx text;

const REFUSAL invalidRows[] = {
    {"BeginExclusiveAccess", "", [](CFakeRegistry& r) { r.BeginExclusiveAccess(0); }},
    {"FindValuesRegEx", "", [](CFakeRegistry& r) { r.FindValuesRegEx(names, ""); }},
    {"FindValues", "", [](CFakeRegistry& r) { r.FindValues(names, ""); }},
    {"FindValuesWildCard", "", [](CFakeRegistry& r) { r.FindValuesWildCard(names, ""); }},
    {"GetAllValues", "", [](CFakeRegistry& r) { r.GetAllValues(names); }},
    {"ReadValue", "", [](CFakeRegistry& r) { r.ReadValue("v", text); }},
    {"ReverseEnumValue", "", [](CFakeRegistry& r) { r.ReverseEnumValue(0, text); }},
    {"EnumValue", "", [](CFakeRegistry& r) { r.EnumValue(0, text); }},
    {"stValueName", "", [](CFakeRegistry& r) { r.stValueName(0); }},
    {"ReverseEnumSubkey", "", [](CFakeRegistry& r) { r.ReverseEnumSubkey(0, text); }},
    {"EnumSubkey", "", [](CFakeRegistry& r) { r.EnumSubkey(0, text); }},
    {"GetValueCount", "", [](CFakeRegistry& r) { r.GetValueCount(); }},
    {"GetSubkeyCount", "", [](CFakeRegistry& r) { r.GetSubkeyCount(); }},
    {"CalcNextSeqSubkey", "", [](CFakeRegistry& r) { r.CalcNextSeqSubkey(text, 4); }},
    {"GetLastSubkeyName", "", [](CFakeRegistry& r) { r.GetLastSubkeyName(text); }},
    {"GetFirstSubkeyName", "", [](CFakeRegistry& r) { r.GetFirstSubkeyName(text); }},
    {"CalcNextSeqValue", "", [](CFakeRegistry& r) { r.CalcNextSeqValue(text, 4); }},
    {"GetLastValueName", "", [](CFakeRegistry& r) { r.GetLastValueName(text); }},
    {"GetFirstValueName", "", [](CFakeRegistry& r) { r.GetFirstValueName(text); }},
    {"IsValueExist", "", [](CFakeRegistry& r) { r.IsValueExist("v"); }},
    {"RemoveValue", "", [](CFakeRegistry& r) { r.RemoveValue("v"); }},
    {"ReadValueEx", "",
     [](CFakeRegistry& r) {
       bool value;
       r.ReadValueEx("v", value);
     }},
    {"ReadRawValue", "",
     [](CFakeRegistry& r) {
       std::uint32_t type;
       byteEx bytes;
       r.ReadRawValue("v", type, bytes);
     }},
    {"GetValueType", "", [](CFakeRegistry& r) { r.GetValueType("v"); }},
    {"ResetChangeFlag", "", [](CFakeRegistry& r) { r.ResetChangeFlag(); }},
    {"HasChanged", "", [](CFakeRegistry& r) { r.HasChanged(); }},
    {"GetWorkingFile", "", [](CFakeRegistry& r) { r.GetWorkingFile(); }},
    {"ClearValues", "", [](CFakeRegistry& r) { r.ClearValues(); }},
    {"GetQuota", "", [](CFakeRegistry& r) { r.GetQuota(); }},
    {"FindSubkeys", "", [](CFakeRegistry& r) { r.FindSubkeys(names, ""); }},
    {"FindSubkeysWildCard", "", [](CFakeRegistry& r) { r.FindSubkeysWildCard(names, ""); }},
    {"FindSubkeysRegEx", "", [](CFakeRegistry& r) { r.FindSubkeysRegEx(names, ""); }},
    {"GetAllSubkeys", "", [](CFakeRegistry& r) { r.GetAllSubkeys(names); }},
    {"Save", "", [](CFakeRegistry& r) { r.Save(); }},
    {"Update", "", [](CFakeRegistry& r) { r.Update(Fresh()); }},
    {"ClearSubkeys", "", [](CFakeRegistry& r) { r.ClearSubkeys(); }},
    {"SetWorkingFile", "", [](CFakeRegistry& r) { r.SetWorkingFile("f"); }},
    {"WriteValueEx", "", [](CFakeRegistry& r) { r.WriteValueEx("v", stringEx("x"), T_EXP_STR); }},
    {"WriteValue", "", [](CFakeRegistry& r) { r.WriteValue("v", true); }},
    {"WriteRawValue", "", [](CFakeRegistry& r) { r.WriteRawValue("v", T_BLOB, {}); }},
    {"SetQuota", "", [](CFakeRegistry& r) { r.SetQuota(1); }},
    {"ObtainSubkey", "", [](CFakeRegistry& r) { r.ObtainSubkey(""); }},
    {"CheckCircularReferernce", "", [](CFakeRegistry& r) { r.CheckCircularReferernce(); }},
    {"RemoveSubkey", "", [](CFakeRegistry& r) { r.RemoveSubkey("k"); }},
    {"Insert", "", [](CFakeRegistry& r) { r.Insert("k", Fresh()); }},
    {"Import", "", [](CFakeRegistry& r) { r.Import(Fresh()); }},
    {"Unshare", "", [](CFakeRegistry& r) { r.Unshare(false); }},
    {"Replace", "", [](CFakeRegistry& r) { r.Replace(Fresh()); }},
    {"Export", "",
     [](CFakeRegistry& r) {
       CFakeRegistry other = Fresh();
       r.Export(other);
     }},
    {"ApplyDiff", "", [](CFakeRegistry& r) { r.ApplyDiff({}); }},
};
INSTANTIATE_TEST_SUITE_P(Operations, Invalid, testing::ValuesIn(invalidRows), rowName);

TEST(Handles, BecomeValidByTheseOperations) {
  CFakeRegistry cleared;
  cleared.Clear();
  CFakeRegistry gained;
  EXPECT_TRUE(gained.GainSubkey("").IsSameKey(gained));
  const CFakeRegistry copy = gained;
  EXPECT_TRUE(cleared.IsValid() && gained.IsValid() && !!copy);
  CFakeRegistry emptied = gained;
  emptied = CFakeRegistry();
  EXPECT_FALSE(emptied.IsValid());
  EXPECT_TRUE(gained.IsValid());
}

// --- refusals --------------------------------------------------------------------------------------------------------

class Refused : public testing::TestWithParam<REFUSAL> {};

// A key with one value "v" and the subkeys "a", "b"; what is refused changes nothing.
TEST_P(Refused, IsToldWholeAndChangesNothing) {
  CFakeRegistry key = Fresh();
  key.WriteValue("v", std::uint32_t{7});
  key.GainSubkey("a").WriteValue("inside", true);
  key.GainSubkey("b");
  key.ResetChangeFlag();
  const std::string before = TreeText(key);
  EXPECT_EQ(GetParam().expected, FailureOf<regExp>([&] { GetParam().step(key); }));
  EXPECT_EQ(before, TreeText(key));
  EXPECT_FALSE(key.HasChanged());
}

#define MISSING "20: CFakeRegistry::__ReadInternalValue - failed found specified value\n  value name = "
#define MISMATCH(NAME, TYPE)                                                                      \
  "12: CFakeRegistry::" NAME " - value type mismatch\n  value name   = v\n  expect type  = " TYPE \
  "\n  value's type = dword (7)"
template <class T>
void Read(CFakeRegistry& r, const char* name = "v") {
  T out{};
  r.ReadValue(name, out);
}
template <class T>
void ReadOr(CFakeRegistry& r) {
  T out{};
  r.ReadValue("v", out, T{});
}
template <class T>
void ReadEx(CFakeRegistry& r, const char* name = "v") {
  T out{};
  r.ReadValueEx(name, out);
}

#undef MISMATCH
#define MISMATCH(NAME, TYPE)                                                                      \
  "12: CFakeRegistry::" NAME " - value type mismatch\n  value name   = v\n  expect type  = " TYPE \
  "\n  value's type = dword (4)"
#define OUT_OF(NAME, MOST) \
  "2: CFakeRegistry::" NAME " - out of index\n  max index       = " MOST "\n  specified index = "
const REFUSAL refusedRows[] = {
    {"Missing", MISSING "none", [](CFakeRegistry& r) { Read<std::uint32_t>(r, "none"); }},
    {"MissingBool", MISSING "none", [](CFakeRegistry& r) { ReadEx<bool>(r, "none"); }},
    {"MissingByCase", MISSING "V", [](CFakeRegistry& r) { Read<std::uint32_t>(r, "V"); }},
    {"MissingRaw", "20: CFakeRegistry::ReadRawValue - failed found specified value\n  value name = none",
     [](CFakeRegistry& r) {
       std::uint32_t type;
       byteEx bytes;
       r.ReadRawValue("none", type, bytes);
     }},
    {"MissingType", "20: CFakeRegistry::GetValueType - failed found specified value\n  value name = none",
     [](CFakeRegistry& r) { r.GetValueType("none"); }},
    {"NoText", MISMATCH("ReadValue", "T_STRING or T_EXP_STR"), [](CFakeRegistry& r) { Read<stringEx>(r); }},
    {"NoWideText", MISMATCH("ReadValue", "T_STRING or T_EXP_STR"),
     [](CFakeRegistry& r) { Read<wstringEx>(r); }},
    {"NoBlob", MISMATCH("ReadValue", "T_BLOB"), [](CFakeRegistry& r) { Read<byteEx>(r); }},
    {"NoQword", MISMATCH("ReadValue", "T_QWORD"), [](CFakeRegistry& r) { Read<std::uint64_t>(r); }},
    {"NoSet", MISMATCH("ReadValue", "T_STRING_SET"),
     [](CFakeRegistry& r) { Read<std::vector<stringEx>>(r); }},
    {"NoDouble", MISMATCH("ReadValueEx", "T_FLOAT8"), [](CFakeRegistry& r) { ReadEx<double>(r); }},
    {"NoBool", MISMATCH("ReadValueEx", "T_BOOL"), [](CFakeRegistry& r) { ReadEx<bool>(r); }},
    {"NoDoubleWithDefault", MISMATCH("ReadValue", "T_FLOAT8"), [](CFakeRegistry& r) { ReadOr<double>(r); }},
    {"NoBoolWithDefault", MISMATCH("ReadValue", "T_BOOL"), [](CFakeRegistry& r) { ReadOr<bool>(r); }},
    {"NoTextWithDefault", MISMATCH("ReadValue", "T_STRING or T_EXP_STR"),
     [](CFakeRegistry& r) { ReadOr<stringEx>(r); }},
    {"TextOfAnotherType",
     "2: CFakeRegistry::WriteValueEx - invalid argument\n  value name   = v\n  value's type = blob (3)",
     [](CFakeRegistry& r) { r.WriteValueEx("v", stringEx("x"), T_BLOB); }},
    {"RawDwordOfThreeBytes",
     "2: CFakeRegistry::WriteRawValue - invalid argument\n  value name   = v\n  value's type = dword (4)",
     [](CFakeRegistry& r) {
       r.WriteRawValue("v", T_DWORD, byteEx(reinterpret_cast<const unsigned char*>("abc"), 3));
     }},
    {"RawSetThatIsNone",
     "2: CFakeRegistry::WriteRawValue - invalid argument\n  value name   = v\n  value's type = string set "
     "(6)",
     [](CFakeRegistry& r) {
       r.WriteRawValue("v", T_STRING_SET, byteEx(reinterpret_cast<const unsigned char*>("\1\0\0\0"), 4));
     }},
    {"ValueBehindTheLast", OUT_OF("stValueName", "0") "1", [](CFakeRegistry& r) { r.stValueName(1); }},
    {"ValueFarBehind", OUT_OF("EnumValue", "0") "4294967295",
     [](CFakeRegistry& r) { r.EnumValue(~0U, text); }},
    {"ValueFromTheEnd", OUT_OF("ReverseEnumValue", "0") "1",
     [](CFakeRegistry& r) { r.ReverseEnumValue(1, text); }},
    {"SubkeyBehindTheLast", OUT_OF("EnumSubkey", "1") "2", [](CFakeRegistry& r) { r.EnumSubkey(2, text); }},
    {"SubkeyFromTheEnd", OUT_OF("ReverseEnumSubkey", "1") "2",
     [](CFakeRegistry& r) { r.ReverseEnumSubkey(2, text); }},
    {"SubkeyOfNone", OUT_OF("EnumSubkey", "4294967295") "0",
     [](CFakeRegistry& r) { r.ObtainSubkey("b").EnumSubkey(0, text); }},
    {"FirstValueOfNone", "4: CFakeRegistry::GetFirstValueName - no value",
     [](CFakeRegistry& r) { r.ObtainSubkey("b").GetFirstValueName(text); }},
    {"LastValueOfNone", "4: CFakeRegistry::GetLastValueName - no value",
     [](CFakeRegistry& r) { r.ObtainSubkey("b").GetLastValueName(text); }},
    {"FirstSubkeyOfNone", "4: CFakeRegistry::GetFirstSubkeyName - no subkey",
     [](CFakeRegistry& r) { r.ObtainSubkey("b").GetFirstSubkeyName(text); }},
    {"LastSubkeyOfNone", "4: CFakeRegistry::GetLastSubkeyName - no subkey",
     [](CFakeRegistry& r) { r.ObtainSubkey("b").GetLastSubkeyName(text); }},
    {"NoSuchSubkey",
     "20: CFakeRegistry::ObtainSubkey - can not find specified subkey\n  next subkey = x\n  full path   = "
     "a\\x\\y",
     [](CFakeRegistry& r) { r.ObtainSubkey("a\\x\\y"); }},
    {"SubkeyInUse",
     "9: CFakeRegistry::RemoveSubkey - failed remove subkey, trying to removing a not empty subkey with out "
     "recursive\n  subkey name = a",
     [](CFakeRegistry& r) { r.RemoveSubkey("a"); }},
    {"NoPattern", "2: CFakeRegistry::FindValuesRegEx - invalid argument\n  pattern = (",
     [](CFakeRegistry& r) { r.FindValuesRegEx(names, "("); }},
    {"WidthWithoutEnd", "2: CFakeRegistry::CalcNextSeqValue - invalid argument\n  width = 4294967295",
     [](CFakeRegistry& r) { r.CalcNextSeqValue(text, ~0U); }},
    {"UpdateByNothing", "2: CFakeRegistry::Update - invalid argument",
     [](CFakeRegistry& r) { r.Update({}); }},
    {"ImportOfNothing", "2: CFakeRegistry::Import - invalid argument",
     [](CFakeRegistry& r) { r.Import({}); }},
    {"ReplaceByNothing", "2: CFakeRegistry::Replace - invalid argument",
     [](CFakeRegistry& r) { r.Replace({}); }},
    {"InsertNothing", "2: CFakeRegistry::Insert - invalid argument",
     [](CFakeRegistry& r) { r.Insert("x", {}); }},
    {"InsertNowhere", "2: CFakeRegistry::Insert - invalid argument",
     [](CFakeRegistry& r) { r.Insert("", Fresh()); }},
};
INSTANTIATE_TEST_SUITE_P(Operations, Refused, testing::ValuesIn(refusedRows), rowName);

// --- values ----------------------------------------------------------------------------------------------------------

TEST(Values, ComeBackAsTheyWere) {
  CFakeRegistry key = Fresh();
  const std::vector<stringEx> set{stringEx(), stringEx("b"), stringEx("a"), stringEx("b"),
                                  stringEx("z\0z", 3)};
  key.WriteValue("text", "a\xc3\xa4");
  key.WriteValue("wide", L"wide");
  key.WriteValueEx("exp", stringEx("$HOME"), T_EXP_STR);
  key.WriteValue("blob", byteEx(reinterpret_cast<const unsigned char*>("\0\1"), 2));
  key.WriteValue("dword", ~std::uint32_t{0});
  key.WriteValue("qword", ~std::uint64_t{0});
  key.WriteValue("set", set);
  key.WriteValue("float", -0.0);
  key.WriteValue("bool", true);

  const auto read = [&](const char* name, auto out) {
    key.ReadValue(name, out);
    return out;
  };
  EXPECT_EQ("a\xc3\xa4", std::string(read("text", stringEx())));
  EXPECT_EQ(wstringEx(L"wide"), read("wide", wstringEx()));
  EXPECT_EQ("$HOME", std::string(read("exp", stringEx())));
  EXPECT_EQ("0001", std::string(read("blob", byteEx()).hex()));
  EXPECT_EQ(~std::uint32_t{0}, read("dword", std::uint32_t{}));
  EXPECT_EQ(~std::uint64_t{0}, read("qword", std::uint64_t{}));
  EXPECT_EQ(set, read("set", std::vector<stringEx>()));
  double real = 1;
  key.ReadValueEx("float", real);
  EXPECT_TRUE(std::signbit(real));
  bool flag = false;
  key.ReadValueEx("bool", flag);
  EXPECT_TRUE(flag);
  EXPECT_EQ(9u, key.GetValueCount());

  // Raw bytes are another way to the same values.
  CFakeRegistry copy = Fresh();
  std::vector<stringEx> all;
  key.GetAllValues(all);
  for (const stringEx& name : all) {
    std::uint32_t type = 0;
    byteEx bytes;
    key.ReadRawValue(name, type, bytes);
    copy.WriteRawValue(name, type, bytes);
  }
  EXPECT_EQ(TreeText(key), TreeText(copy));
}

TEST(Values, DefaultsAreGivenAndNotStored) {
  CFakeRegistry key = Fresh();
  stringEx out("before");
  key.ReadValue("none", out, stringEx("default"));
  EXPECT_EQ("default", std::string(out));
  std::vector<stringEx> set{stringEx("x")};
  key.ReadValue("none", set, {});
  EXPECT_TRUE(set.empty());
  EXPECT_FALSE(key.IsValueExist("none"));
  EXPECT_FALSE(key.HasChanged());
}

TEST(Values, TakeTheTypeOfWhatIsWrittenLast) {
  CFakeRegistry key = Fresh();
  key.WriteValue("v", "long enough to have memory of its own");
  key.WriteValue("v", std::uint32_t{1});
  key.WriteValue("v", std::vector<stringEx>{stringEx("a")});
  key.WriteValue("v", true);
  EXPECT_EQ(T_BOOL, key.GetValueType("v"));
  key.WriteRawValue("v", 77, byteEx(reinterpret_cast<const unsigned char*>("any"), 3));
  EXPECT_EQ(77u, key.GetValueType("v"));
  EXPECT_STREQ("unknown", CFakeRegistry::GetTypeName(77));
  EXPECT_STREQ("expandable string", CFakeRegistry::GetTypeName(T_EXP_STR));
}

TEST(Values, ChangeFlagTellsOfChangesAlone) {
  CFakeRegistry key = Fresh();
  const auto changes = [&](const Step& step) {
    key.ResetChangeFlag();
    step(key);
    return key.HasChanged();
  };
  EXPECT_FALSE(changes([](CFakeRegistry& r) { r.RemoveValue("v"); }));
  EXPECT_TRUE(changes([](CFakeRegistry& r) { r.WriteValue("v", true); }));
  EXPECT_TRUE(changes([](CFakeRegistry& r) { r.RemoveValue("v"); }));
  EXPECT_TRUE(changes([](CFakeRegistry& r) { r.GainSubkey("k"); }));
  EXPECT_FALSE(changes([](CFakeRegistry& r) { r.GainSubkey("k"); }));
  EXPECT_FALSE(changes([](CFakeRegistry& r) { r.GainSubkey("k").WriteValue("v", true); })) << "another key's";
  EXPECT_FALSE(changes([](CFakeRegistry& r) { r.RemoveSubkey("none\\k", true); }));
  EXPECT_TRUE(changes([](CFakeRegistry& r) { r.RemoveSubkey("k", true); }));
  EXPECT_FALSE(changes([](CFakeRegistry& r) { r.Clear(); }));
}

// --- names -----------------------------------------------------------------------------------------------------------

TEST(Names, AreOrderedByTheirBytesAndAsOfAnyWidth) {
  CFakeRegistry key = Fresh();
  for (const char* const name : {"b", "B", "\xc3\xa4", "", "ba", "a"})
    key.WriteValue(name, true);
  key.WriteValue(L"wide", true);
  key.WriteValue(byteEx(reinterpret_cast<const unsigned char*>("bytes"), 5), true);
  const std::vector<std::string> order{"", "B", "a", "b", "ba", "bytes", "wide", "\xc3\xa4"};
  for (std::uint32_t i = 0; i < order.size(); ++i) {
    stringEx name;
    key.EnumValue(i, name);
    EXPECT_EQ(order[i], std::string(name));
    key.ReverseEnumValue(static_cast<std::uint32_t>(order.size()) - 1 - i, name);
    EXPECT_EQ(order[i], std::string(name));
    EXPECT_EQ(order[i], std::string(key.stValueName(i)));
  }
  wstringEx wide;
  key.EnumValue(6, wide);
  EXPECT_EQ(wstringEx(L"wide"), wide);
  byteEx bytes;
  key.GetFirstValueName(bytes);
  EXPECT_TRUE(bytes.empty());
}

TEST(Names, ThatCannotBeConvertedAreRefused) {
  CFakeRegistry key = Fresh();
  const wchar_t none[] = {L'a', static_cast<wchar_t>(0xD800), 0};
  EXPECT_EQ("4: REGTEXT - name has no place in the process's encoding",
            FailureOf<tconvExp>([&] { key.WriteValue(wstringEx(none), true); }));
  EXPECT_EQ(0u, key.GetValueCount());
}

struct SEQUENCE {
  const char* name;
  std::vector<const char*> names;
  std::uint32_t width;
  const char* next;
};

class Sequence : public testing::TestWithParam<SEQUENCE> {};

TEST_P(Sequence, GoesOnBehindTheLast) {
  CFakeRegistry key = Fresh();
  for (const char* const name : GetParam().names) {
    key.GainSubkey(name);
    key.WriteValue(name, true);
  }
  stringEx subkey("before");
  stringEx value("before");
  key.CalcNextSeqSubkey(subkey, GetParam().width);
  key.CalcNextSeqValue(value, GetParam().width);
  EXPECT_EQ(GetParam().next, std::string(subkey));
  EXPECT_EQ(GetParam().next, std::string(value));
}

const SEQUENCE sequences[] = {
    {"None", {}, 4, "before"},
    {"InARow", {"0007", "0009"}, 4, "0010"},
    {"WidthZero", {"9"}, 0, "10"},
    {"WiderThanTheWidth", {"99999"}, 4, "100000"},
    {"Taken", {"0001", "3", "4", "5"}, 1, "6"},
    {"NoNumber", {"abc"}, 3, "001"},
    {"PartlyANumber", {"12x"}, 3, "013"},
    {"TurnsOver", {"4294967295"}, 2, "00"},
    {"BeyondAllNumbers", {"99999999999999999999999"}, 1, "0"},
};
INSTANTIATE_TEST_SUITE_P(Rows, Sequence, testing::ValuesIn(sequences), rowName);

TEST(Names, AreFound) {
  CFakeRegistry key = Fresh();
  for (const char* const name : {"alpha", "beta", "gamma", "Alps"}) {
    key.WriteValue(name, std::string_view(name) == "beta" ? "text" : "");
    key.GainSubkey(name);
  }
  key.WriteValue("alpha", true);
  const auto found = [&](const auto& find) {
    std::vector<stringEx> out{stringEx("first")};
    find(out);
    std::string joined;
    for (const stringEx& name : out)
      (joined += name) += ' ';
    return joined;
  };
  EXPECT_EQ("first alpha beta gamma ", found([&](auto& out) { key.FindSubkeys(out, "a"); }));
  EXPECT_EQ("first Alps alpha ", found([&](auto& out) { key.FindSubkeysWildCard(out, "?lp*"); }));
  EXPECT_EQ("first alpha gamma ", found([&](auto& out) { key.FindSubkeysRegEx(out, "^(al|ga)"); }));
  EXPECT_EQ("first alpha beta gamma ", found([&](auto& out) { key.FindValues(out, "a"); }));
  EXPECT_EQ("first beta gamma ", found([&](auto& out) { key.FindValues(out, "a", T_STRING); }));
  EXPECT_EQ("first alpha ", found([&](auto& out) { key.FindValuesWildCard(out, "*", T_BOOL); }));
  EXPECT_EQ("first Alps ", found([&](auto& out) { key.FindValuesRegEx(out, "s$"); }));
}

// --- keys ------------------------------------------------------------------------------------------------------------

TEST(Keys, AreReachedByPaths) {
  CFakeRegistry key;
  const CFakeRegistry c = key.GainSubkey("a\\b\\c");
  EXPECT_EQ("[]\n[\\a]\n[\\a\\b]\n[\\a\\b\\c]\n", TreeText(key));
  EXPECT_TRUE(key.GainSubkey(L"a\\b\\c").IsSameKey(c));
  EXPECT_TRUE(key.ObtainSubkey("\\a\\\\b\\c\\").IsSameKey(c));
  EXPECT_TRUE(key.ObtainSubkey("").IsSameKey(key));
  EXPECT_TRUE(key.ObtainSubkey("a").ObtainSubkey("b\\c").IsSameKey(c));
}

TEST(Keys, LiveAsLongAsSomebodyHasThem) {
  CFakeRegistry key;
  CFakeRegistry below = key.GainSubkey("a\\b");
  key.RemoveSubkey("\\a\\", true);
  EXPECT_EQ("[]\n", TreeText(key));
  below.WriteValue("v", true);
  EXPECT_TRUE(below.IsValueExist("v"));
  key.GainSubkey("c");
  key.RemoveSubkey("c");
  key.RemoveSubkey("");
  EXPECT_EQ(0u, key.GetSubkeyCount());
}

TEST(Keys, AreSharedUntilUnshared) {
  CFakeRegistry one;
  one.GainSubkey("a").WriteValue("v", std::uint32_t{1});
  CFakeRegistry two = one;
  two.WriteValue("top", true);
  EXPECT_EQ(TreeText(one), TreeText(two));

  two.Unshare(true);
  two.WriteValue("top", false);
  two.ObtainSubkey("a").WriteValue("v", std::uint32_t{2});
  EXPECT_EQ(TreeText(one), TreeText(two)) << "nobody else has the keys below but by the top";

  const CFakeRegistry a = one.ObtainSubkey("a");
  two.Unshare(true);
  two.ObtainSubkey("a").WriteValue("v", std::uint32_t{3});
  std::uint32_t value = 0;
  a.ReadValue("v", value);
  EXPECT_EQ(2u, value) << "below the top all is private";
  one.ObtainSubkey("a").ReadValue("v", value);
  EXPECT_EQ(3u, value) << "and the top is shared";

  two.Unshare(false);
  two.ObtainSubkey("a").WriteValue("v", std::uint32_t{4});
  one.ObtainSubkey("a").ReadValue("v", value);
  EXPECT_EQ(3u, value);
}

TEST(Keys, StandAtTwoPlacesUntilUnshared) {
  CFakeRegistry root;
  CFakeRegistry shared = root.GainSubkey("a");
  root.Insert("x\\y", shared);
  shared.WriteValue("v", true);
  EXPECT_TRUE(root.ObtainSubkey("x\\y").IsValueExist("v"));
  shared = CFakeRegistry();
  root.Unshare(false);
  root.ObtainSubkey("a").RemoveValue("v");
  EXPECT_TRUE(root.ObtainSubkey("x\\y").IsValueExist("v"));
}

// --- circles and depth -----------------------------------------------------------------------------------------------

CFakeRegistry Circle() {
  CFakeRegistry root;
  CFakeRegistry below = root.GainSubkey("a\\b");
  below.WriteValue("v", true);
  below.Insert("again", root);
  return root;
}

class Circular : public testing::TestWithParam<REFUSAL> {};

TEST_P(Circular, TreeIsRefused) {
  CFakeRegistry root = Circle();
  EXPECT_EQ(std::string("22: ") + GetParam().expected + "\n  subkey = again",
            FailureOf<regExp>([&] { GetParam().step(root); }));
  root.RemoveSubkey("a", true);  // or it would never go
}

const REFUSAL circularRows[] = {
    {"Check", "CFakeRegistry::CheckCircularReferernce - found circular reference",
     [](CFakeRegistry& r) { r.CheckCircularReferernce(); }},
    {"Unshare", "CFakeRegistry::Unshare - circular reference", [](CFakeRegistry& r) { r.Unshare(false); }},
    {"Update", "CFakeRegistry::Update - circular reference", [](CFakeRegistry& r) { Fresh().Update(r); }},
    {"Import", "CFakeRegistry::Import - circular reference", [](CFakeRegistry& r) { Fresh().Import(r); }},
    {"Replace", "CFakeRegistry::Replace - circular reference", [](CFakeRegistry& r) { Fresh().Replace(r); }},
    {"Export", "CFakeRegistry::Export - circular reference",
     [](CFakeRegistry& r) {
       CFakeRegistry other = Fresh();
       r.Export(other);
     }},
    {"Save", "RegCompile - circular reference", [](CFakeRegistry& r) { r.Save(); }},
    {"Diff", "CFakeRegistry::_MakeDiff - circular reference",
     [](CFakeRegistry& r) {
       byteEx data;
       Fresh()._MakeDiff(data, r);
     }},
};
INSTANTIATE_TEST_SUITE_P(Operations, Circular, testing::ValuesIn(circularRows), rowName);

TEST(Keys, MayLieDeeperThanAnyStack) {
  constexpr std::size_t depth = 100'000;
  CFakeRegistry deep = DeepTree(depth);
  deep.CheckCircularReferernce();
  CFakeRegistry copy = deep;
  copy.Unshare(false);
  CFakeRegistry other = Fresh();
  other.Import(deep);
  other.Update(deep);
  other.Replace(deep);
  byteEx data;
  EXPECT_EQ(0u, other._MakeDiff(data, copy));
  CFakeRegistry opened;
  const byteEx image = deep.Save();
  opened.Open(image.data(), image.length());
  EXPECT_EQ(image, opened.Save());
}

// --- trees into one another ------------------------------------------------------------------------------------------

struct MERGE {
  const char* name;
  void (*merge)(CFakeRegistry& here, CFakeRegistry& there);
  const char* expected;
};

class Merge : public testing::TestWithParam<MERGE> {};

// Here: both = 1, here = 1, keys Both (v = 1) and Here. There: both = 2, there = 2, keys Both (v = 2, and deep) and There (v = 2, and deep).
TEST_P(Merge, TakesWhatItSays) {
  CFakeRegistry here = Fresh();
  here.WriteValue("both", "1");
  here.WriteValue("here", "1");
  here.GainSubkey("Both").WriteValue("v", "1");
  here.GainSubkey("Here");
  CFakeRegistry there = Fresh();
  there.WriteValue("both", "2");
  there.WriteValue("there", "2");
  there.GainSubkey("Both").WriteValue("v", "2");
  there.GainSubkey("Both\\deep").WriteValue("w", "2");
  there.GainSubkey("There").WriteValue("v", "2");
  there.GainSubkey("There\\deep").WriteValue("w", "2");
  const std::string before = TreeText(there);
  here.ResetChangeFlag();
  GetParam().merge(here, there);
  EXPECT_EQ(GetParam().expected, TreeText(here));
  EXPECT_TRUE(here.HasChanged());
  EXPECT_EQ(before, TreeText(there));
  std::vector<stringEx> all;
  here.GetAllSubkeys(all);
  for (const stringEx& name : all)
    here.ObtainSubkey(name).WriteValue("mark", true);
  EXPECT_EQ(before, TreeText(there)) << "no key is shared";
}

#define VALUES(BOTH) "[]\nboth (string) 3" BOTH "\nhere (string) 31\nthere (string) 32\n"
const MERGE merges[] = {
    {"Update", [](CFakeRegistry& here, CFakeRegistry& there) { here.Update(there); },
     VALUES("2") "[\\Both]\nv (string) 32\n[\\Here]\n"},
    {"UpdateTopAlone", [](CFakeRegistry& here, CFakeRegistry& there) { here.Update(there, false); },
     VALUES("2") "[\\Both]\nv (string) 31\n[\\Here]\n"},
    {"Export", [](CFakeRegistry& here, CFakeRegistry& there) { there.Export(here); },
     VALUES("2") "[\\Both]\nv (string) 32\n[\\Here]\n"},
    {"Import", [](CFakeRegistry& here, CFakeRegistry& there) { here.Import(there); },
     VALUES(
         "2") "[\\Both]\nv (string) 32\n[\\Both\\deep]\nw (string) 32\n[\\Here]\n[\\There]\nv (string) 32\n"
              "[\\There\\deep]\nw (string) 32\n"},
    {"ImportWhatIsMissing", [](CFakeRegistry& here, CFakeRegistry& there) { here.Import(there, false); },
     VALUES(
         "1") "[\\Both]\nv (string) 31\n[\\Both\\deep]\nw (string) 32\n[\\Here]\n[\\There]\nv (string) 32\n"
              "[\\There\\deep]\nw (string) 32\n"},
    {"ImportTopAlone", [](CFakeRegistry& here, CFakeRegistry& there) { here.Import(there, true, false); },
     VALUES("2") "[\\Both]\nv (string) 31\n[\\Here]\n[\\There]\nv (string) 32\n[\\There\\deep]\nw (string) "
                 "32\n"},
    {"Replace", [](CFakeRegistry& here, CFakeRegistry& there) { here.Replace(there); },
     "[]\nboth (string) 32\nthere (string) 32\n[\\Both]\nv (string) 32\n[\\Both\\deep]\nw (string) 32\n"
     "[\\There]\nv (string) 32\n[\\There\\deep]\nw (string) 32\n"},
    {"ReplaceTopAlone", [](CFakeRegistry& here, CFakeRegistry& there) { here.Replace(there, false); },
     "[]\nboth (string) 32\nthere (string) 32\n[\\Both]\nv (string) 32\n[\\There]\nv (string) 32\n"},
};
INSTANTIATE_TEST_SUITE_P(Operations, Merge, testing::ValuesIn(merges), rowName);

TEST(Trees, TakeThemselvesAndTheirOwnParts) {
  CFakeRegistry root;
  root.GainSubkey("a\\b").WriteValue("v", true);
  const std::string before = TreeText(root);
  root.Update(root);
  root.Import(CFakeRegistry(root));
  root.Replace(root);
  EXPECT_EQ(before, TreeText(root));
  root.Import(root.ObtainSubkey("a"));
  EXPECT_EQ("[]\n[\\a]\n[\\a\\b]\nv (bool) 01\n[\\b]\nv (bool) 01\n", TreeText(root));
  root.Replace(root.ObtainSubkey("a"));
  EXPECT_EQ("[]\n[\\b]\nv (bool) 01\n", TreeText(root));
  root.ObtainSubkey("b").Replace(root);
  EXPECT_EQ("[]\n[\\b]\n[\\b\\b]\nv (bool) 01\n", TreeText(root));
}

}  // namespace
