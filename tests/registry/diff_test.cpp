// Differences of trees: their bytes, what they do, how they are shown.
#include <gtest/gtest.h>

#include <string>

#include <qorv/error.h>

#include "registry/image_support.h"
#include "registry/tree_support.h"
#include "support/failure.h"
#include "support/row_name.h"

namespace {

using namespace Qorv;
using TestSupport::Bytes;
using TestSupport::FailureOf;
using TestSupport::HexOf;
using TestSupport::TreeText;

using Build = void (*)(CFakeRegistry&);

CFakeRegistry Built(Build build) {
  CFakeRegistry registry;
  registry.Clear();
  build(registry);
  return registry;
}

// The records of a diff between the two lines that frame them.
std::string Explained(const byteEx& data) {
  stringEx text = "x";
  CFakeRegistry::ExplainDiff(text, data);
  std::string shown(text.data(), text.length());
  const std::string begin = "x==== BEGIN DIFF EXPLAIN ====\n";
  const std::string end = "==== END DIFF EXPLAIN ====";
  if (!shown.starts_with(begin) || !shown.ends_with(end)) return "without frame: " + shown;
  return shown.substr(begin.size(), shown.size() - begin.size() - end.size());
}

struct DIFFERENCE {
  const char* name;
  Build from;
  Build to;
  std::uint64_t count;
  const char* explained;
};

void Nothing(CFakeRegistry&) {}

const DIFFERENCE differences[] = {
    {"Equal", [](CFakeRegistry& r) { r.GainSubkey("a\\b").WriteValue("v", 1.5); },
     [](CFakeRegistry& r) { r.GainSubkey("a\\b").WriteValue("v", 1.5); }, 0, ""},
    {"Values",
     [](CFakeRegistry& r) {
       r.WriteValue("changed", "old");
       r.WriteValue("gone", true);
       r.WriteValue("same", true);
     },
     [](CFakeRegistry& r) {
       r.WriteValue("added", "x");
       r.WriteValue("changed", "new");
       r.WriteValue("same", true);
       r.WriteValue("to", true);
     },
     5,
     "  [KEY][CWD] PATH=''\n"
     "  [VAL][ADD] NAME='added'; TYPE='string'; VALUE='x'\n"
     "  [VAL][UPD] NAME='changed'; TYPE='string'; VALUE='new'\n"
     "  [VAL][DEL] NAME='gone'\n"
     "  [VAL][ADD] NAME='to'; TYPE='bool'; VALUE='true'\n"},
    {"TypeAlone", [](CFakeRegistry& r) { r.WriteValue("v", std::uint32_t{7}); },
     [](CFakeRegistry& r) { r.WriteValue("v", std::uint64_t{7}); }, 2,
     "  [KEY][CWD] PATH=''\n  [VAL][UPD] NAME='v'; TYPE='qword'; VALUE='7'\n"},
    {"TextAlone", [](CFakeRegistry& r) { r.WriteValue("v", "x"); },
     [](CFakeRegistry& r) { r.WriteValueEx("v", "x", T_EXP_STR); }, 2,
     "  [KEY][CWD] PATH=''\n  [VAL][UPD] NAME='v'; TYPE='expandable string'; VALUE='x'\n"},
    {"DeepValue", [](CFakeRegistry& r) { r.GainSubkey("a\\b\\c").WriteValue("v", false); },
     [](CFakeRegistry& r) { r.GainSubkey("a\\b\\c").WriteValue("v", true); }, 2,
     "  [KEY][CWD] PATH='a\\b\\c'\n  [VAL][UPD] NAME='v'; TYPE='bool'; VALUE='true'\n"},
    {"NewKeyWithContent", Nothing, [](CFakeRegistry& r) { r.GainSubkey("a\\b").WriteValue("v", true); }, 6,
     "  [KEY][CWD] PATH=''\n  [KEY][ADD] NAME='a'\n  [KEY][CWD] PATH='a'\n  [KEY][ADD] NAME='b'\n"
     "  [KEY][CWD] PATH='a\\b'\n  [VAL][ADD] NAME='v'; TYPE='bool'; VALUE='true'\n"},
    {"KeysOnBothSidesOfAChangedOne",
     [](CFakeRegistry& r) {
       r.GainSubkey("m").WriteValue("v", false);
       r.GainSubkey("z\\y");
     },
     [](CFakeRegistry& r) {
       r.GainSubkey("a");
       r.GainSubkey("m").WriteValue("v", true);
       r.GainSubkey("n");
     },
     6,
     "  [KEY][CWD] PATH=''\n  [KEY][ADD] NAME='a'\n  [KEY][ADD] NAME='n'\n  [KEY][DEL] NAME='z'\n"
     "  [KEY][CWD] PATH='m'\n  [VAL][UPD] NAME='v'; TYPE='bool'; VALUE='true'\n"},
};

class Difference : public testing::TestWithParam<DIFFERENCE> {};

TEST_P(Difference, IsTheseRecordsAndLeadsThere) {
  CFakeRegistry from = Built(GetParam().from);
  const CFakeRegistry to = Built(GetParam().to);
  byteEx data = Bytes("FF");
  EXPECT_EQ(from._MakeDiff(data, to), GetParam().count);
  EXPECT_EQ(Explained(data), GetParam().explained);
  if (GetParam().count == 0) {
    EXPECT_EQ(HexOf(data), "44 31");
  }
  for (int i = 0; i < 2; ++i) {  // the second time changes nothing more
    from.ApplyDiff(data);
    EXPECT_EQ(TreeText(from), TreeText(to));
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, Difference, testing::ValuesIn(differences), rowName);

struct SHOWN {
  const char* name;
  Build build;  // writes a value "v"
  const char* shown;
};

const SHOWN shownValues[] = {
    {"None", [](CFakeRegistry& r) { r.WriteRawValue("v", T_NONE, {}); }, "TYPE='none'; VALUE=' NONE'"},
    {"TextOf40", [](CFakeRegistry& r) { r.WriteValue("v", "1234567890123456789012345678901234567890"); },
     "TYPE='string'; VALUE='1234567890123456789012345678901234567890'"},
    {"TextOf41", [](CFakeRegistry& r) { r.WriteValue("v", "12345678901234567890123456789012345678901"); },
     "TYPE='string'; VALUE='1234567890123456789012345678901234567890...'"},
    {"TextOfTwoLines", [](CFakeRegistry& r) { r.WriteValueEx("v", "one\ntwo", T_EXP_STR); },
     "TYPE='expandable string'; VALUE='one...'"},
    {"TextWithLineEnd", [](CFakeRegistry& r) { r.WriteValue("v", "one\n"); },
     "TYPE='string'; VALUE='one...'"},
    {"BlobOf20",
     [](CFakeRegistry& r) { r.WriteValue("v", Bytes("000102030405060708090A0B0C0D0E0F10111213")); },
     "TYPE='blob'; VALUE='000102030405060708090A0B0C0D0E0F10111213'"},
    {"BlobOf21",
     [](CFakeRegistry& r) { r.WriteValue("v", Bytes("000102030405060708090A0B0C0D0E0F1011121314")); },
     "TYPE='blob'; VALUE='000102030405060708090A0B0C0D0E0F10111213...'"},
    {"Dword", [](CFakeRegistry& r) { r.WriteValue("v", std::uint32_t{4294967295}); },
     "TYPE='dword'; VALUE='4294967295'"},
    {"Qword", [](CFakeRegistry& r) { r.WriteValue("v", ~std::uint64_t{0}); },
     "TYPE='qword'; VALUE='18446744073709551615'"},
    {"Set",
     [](CFakeRegistry& r) {
       r.WriteValue("v", std::vector<stringEx>{"12345678901234567890", "123456789012345678901", "", "a\nb"});
     },
     "TYPE='string set'; VALUE='12345678901234567890', '12345678901234567890...', '', 'a...'"},
    {"EmptySet", [](CFakeRegistry& r) { r.WriteValue("v", std::vector<stringEx>{}); },
     "TYPE='string set'; VALUE=''"},
    {"Float", [](CFakeRegistry& r) { r.WriteValue("v", 0.1); }, "TYPE='float8'; VALUE='0.1'"},
    {"False", [](CFakeRegistry& r) { r.WriteValue("v", false); }, "TYPE='bool'; VALUE='false'"},
};

class ShownValue : public testing::TestWithParam<SHOWN> {};

TEST_P(ShownValue, ReadsSo) {
  byteEx data;
  EXPECT_EQ(Built(Nothing)._MakeDiff(data, Built(GetParam().build)), 2U);
  EXPECT_EQ(Explained(data),
            std::string("  [KEY][CWD] PATH=''\n  [VAL][ADD] NAME='v'; ") + GetParam().shown + "\n");
}

INSTANTIATE_TEST_SUITE_P(Rows, ShownValue, testing::ValuesIn(shownValues), rowName);

TEST(Diff, RemarksComeFirstAndCount) {
  CFakeRegistry tree = Built(Nothing);
  byteEx data;
  EXPECT_EQ(tree._MakeDiff(data, tree, "why"), 1U);
  EXPECT_EQ(HexOf(data), "44 31 80 06 0A 03 00 00 00 77 68 79");
  EXPECT_EQ(Explained(data), "  [REMARKS]  why\n");
  tree.ApplyDiff(data);
  EXPECT_EQ(TreeText(tree), TreeText(Built(Nothing)));
}

// Written by hand: what a maker of diffs does not write.
TEST(Diff, AppliesWhatOthersWrite) {
  CFakeRegistry tree = Built([](CFakeRegistry& r) { r.WriteValue("a", "old"); });
  const byteEx data = Bytes(
      "44 31 03 01 00 00 00"              // no record
      "80 00 0A 01 00 00 00 62 8A 08 09"  // updates what is not there
      "80 02 0A 01 00 00 00 61 8A 08 09"  // adds what is there
      "00 80 03 0A 03 00 00 00 78 5C 79"  // x\y, which is not there
      "80 05 0A 01 00 00 00 7A 80 05 0A 01 00 00 00 7A"
      "80 01 0A 01 00 00 00 6E 80 04 0A 01 00 00 00 6E"  // deletes what is not there
      "80 03 00 80 02 00 8A 00");
  tree.ApplyDiff(data);
  EXPECT_EQ(TreeText(tree), TreeText(Built([](CFakeRegistry& r) {
              r.WriteValue("a", true);
              r.WriteValue("b", true);
              r.WriteRawValue("", T_NONE, {});
              r.GainSubkey("x\\y\\z");
            })));
  EXPECT_EQ(Explained(Bytes("44 31 80 07 03 01 00 00 00 80 FF 80 04 0A 01 00 00 00 6E")),
            "  [UNKNOWN]  7\n  [UNKNOWN]  255\n  [KEY][DEL] NAME='n'\n");
}

struct BADDIFF {
  const char* name;
  const char* hex;
  const char* failure;  // what follows the operation's name
};

const BADDIFF badDiffs[] = {
    {"Empty", "", "invalid diff data header size"},
    {"OneByte", "44", "invalid diff data header size"},
    {"OtherMark", "44 32", "invalid diff data header mark"},
    {"UnknownTag", "44 31 04",
     "invalid diff format\n@ CISXFReader::IgnoreNext - unknown data type\n  type = 4"},
    {"CodeWithoutArgument", "44 31 80 01",
     "invalid diff format\n@ CISXFBasic::_CheckBound - buffer overflow\n  expected size = 1\n  check bound   "
     "= -1"},
    {"OtherArgument", "44 31 80 01 03 01 00 00 00",
     "invalid diff format\n@ CISXFReader::_GetAndVerifyType - wrong data type\n  expected = 10\n  real     = "
     "3"},
    {"TypeAbove8", "44 31 80 02 00 8A 09", "invalid type : 9"},
};

class BadDiff : public testing::TestWithParam<BADDIFF> {};

TEST_P(BadDiff, IsRefused) {
  const byteEx data = Bytes(GetParam().hex);
  CFakeRegistry tree = Built(Nothing);
  EXPECT_EQ(FailureOf<regExp>([&] { tree.ApplyDiff(data); }),
            std::string("3: CFakeRegistry::ApplyDiff - ") + GetParam().failure);
  stringEx text;
  EXPECT_EQ(FailureOf<regExp>([&] { CFakeRegistry::ExplainDiff(text, data); }),
            std::string("3: CFakeRegistry::ExplainDiff - ") + GetParam().failure);
}

INSTANTIATE_TEST_SUITE_P(Rows, BadDiff, testing::ValuesIn(badDiffs), rowName);

TEST(Diff, UnknownCodeEndsApplying) {
  CFakeRegistry tree = Built(Nothing);
  EXPECT_EQ(FailureOf<regExp>([&] { tree.ApplyDiff(Bytes("44 31 80 02 00 8A 08 09 80 07")); }),
            "3: CFakeRegistry::ApplyDiff - invalid diff format\n");
  EXPECT_TRUE(tree.IsValueExist(""));  // what stood before it is done
}

struct REFUSED {
  const char* name;
  Build from;
  Build to;
  const char* failure;
};

const REFUSED refusedTrees[] = {
    {"UnknownType", Nothing, [](CFakeRegistry& r) { r.WriteRawValue("x", 9, {}); },
     "3: CFakeRegistry::_MakeDiff - invalid type : 9"},
    {"CircleInTheNewTree", Nothing, [](CFakeRegistry& r) { r.Insert("a\\b", r); },
     "22: CFakeRegistry::_MakeDiff - circular reference\n  subkey = b"},
    {"CircleInTheOldTreeAlone", [](CFakeRegistry& r) { r.Insert("a\\b", r); },
     [](CFakeRegistry& r) { r.GainSubkey("a\\b\\a\\b\\a"); }, "no failure"},
    {"CirclesInBoth", [](CFakeRegistry& r) { r.Insert("a", r); }, [](CFakeRegistry& r) { r.Insert("a", r); },
     "22: CFakeRegistry::_MakeDiff - circular reference\n  subkey = a"},
    {"BackslashInAName", Nothing,
     [](CFakeRegistry& r) {
       const byteEx image =
           Bytes("52 33 84 00 00 00 00 84 01 00 00 00 0A 03 00 00 00 61 5C 62 84 00 00 00 00");
       r.Open(image.data(), image.length());
     },
     "2: CFakeRegistry::_MakeDiff - subkey can not be named in a path\n  subkey = a\\b"},
};

class RefusedTree : public testing::TestWithParam<REFUSED> {};

TEST_P(RefusedTree, IsTold) {
  CFakeRegistry from = Built(GetParam().from);
  CFakeRegistry to = Built(GetParam().to);
  byteEx data;
  EXPECT_EQ(FailureOf<regExp>([&] { from._MakeDiff(data, to); }), GetParam().failure);
  from.ClearSubkeys();  // circles never go by themselves
  to.ClearSubkeys();
}

INSTANTIATE_TEST_SUITE_P(Rows, RefusedTree, testing::ValuesIn(refusedTrees), rowName);

TEST(Diff, NeedsKeys) {
  CFakeRegistry invalid;
  CFakeRegistry tree = Built(Nothing);
  byteEx data = Bytes("44 31");
  EXPECT_EQ(FailureOf<regExp>([&] { invalid.ApplyDiff(data); }),
            "1: CFakeRegistry::ApplyDiff - invalid object");
  for (const auto& [a, b] : {std::pair(&invalid, &tree), std::pair(&tree, &invalid)}) {
    EXPECT_EQ(FailureOf<regExp>([&, from = a, to = b] { from->_MakeDiff(data, *to); }),
              "1: CFakeRegistry::_MakeDiff - invalid object");
  }
}

TEST(Diff, LeadsFromAnyTreeToAnyOther) {
  for (std::uint32_t seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    CFakeRegistry from = TestSupport::RandomTree(seed);
    const CFakeRegistry to = TestSupport::RandomTree(seed + 1);
    byteEx data;
    from._MakeDiff(data, to);
    from.ApplyDiff(data);
    ASSERT_EQ(TreeText(from), TreeText(to)) << Explained(data);
    ASSERT_EQ(from._MakeDiff(data, to), 0U);
  }
}

// Subtrees that are one key in both trees, as often as they stand there, cost nothing.
TEST(Diff, OfTreesThatShareKeys) {
  CFakeRegistry shared = Built([](CFakeRegistry& r) { r.WriteValue("v", true); });
  for (int i = 0; i < 60; ++i) {  // 2 to the power of 60 ways down
    CFakeRegistry above = Built(Nothing);
    above.Insert("l", shared);
    above.Insert("r", shared);
    shared = above;
  }
  CFakeRegistry from = Built(Nothing);
  CFakeRegistry to = Built([](CFakeRegistry& r) { r.WriteValue("new", true); });
  from.Insert("s", shared);
  to.Insert("s", shared);
  byteEx data;
  EXPECT_EQ(from._MakeDiff(data, to), 2U);
  EXPECT_EQ(shared._MakeDiff(data, shared), 0U);
}

TEST(Diff, OfDeepTrees) {
  CFakeRegistry from = Built(Nothing);
  CFakeRegistry to = Built(Nothing);
  for (CFakeRegistry* tree : {&from, &to}) {
    CFakeRegistry key = *tree;
    for (int i = 0; i < 100000; ++i)
      key = key.GainSubkey("k");
    key.WriteValue("v", tree == &to);
  }
  byteEx data;
  EXPECT_EQ(from._MakeDiff(data, to), 2U);
  from.ApplyDiff(data);
  EXPECT_EQ(from._MakeDiff(data, to), 0U);
}

TEST(Diff, EveryDamageIsRefusedOrApplied) {
  CFakeRegistry from = Built([](CFakeRegistry& r) { r.GainSubkey("d").WriteValue("x", true); });
  const CFakeRegistry to = Built([](CFakeRegistry& r) {
    r.WriteValue("s", std::vector<stringEx>{"a", "b"});
    r.WriteValue("t", "text");
    r.GainSubkey("k\\l").WriteValue("q", std::uint64_t{1});
  });
  byteEx good;
  from._MakeDiff(good, to, "remark");
  TestSupport::ForEachDamage(good, [&](const byteEx& data) {
    CFakeRegistry tree = Built(Nothing);
    stringEx text;
    bool isApplied = true;
    try {
      tree.ApplyDiff(data);
    } catch (const regExp& failure) {
      isApplied = false;
      EXPECT_EQ(failure.GetCode(), regCode::damaged);
    }
    try {
      CFakeRegistry::ExplainDiff(text, data);
    } catch (const regExp&) {
      EXPECT_FALSE(isApplied);
    }
  });
}

}  // namespace
