// The image, byte by byte, in its three revisions, and what is made of bad ones.
#include <gtest/gtest.h>

#include <cmath>
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
using TestSupport::Opened;
using TestSupport::TreeText;

using Build = void (*)(CFakeRegistry&);

CFakeRegistry Built(Build build) {
  CFakeRegistry registry;
  registry.Clear();
  build(registry);
  return registry;
}

struct IMAGE {
  const char* name;
  Build build;
  const char* hex;
};

const IMAGE savedImages[] = {
    {"Empty", [](CFakeRegistry&) {}, "52 33 84 00 00 00 00 84 00 00 00 00"},
    {"NoName", [](CFakeRegistry& r) { r.WriteRawValue("", T_NONE, {}); },
     "52 33 84 01 00 00 00 00 8A 00 84 00 00 00 00"},
    {"Texts",
     [](CFakeRegistry& r) {
       r.WriteValue("a", "x");
       r.WriteValueEx("b", "%x%", T_EXP_STR);
       r.WriteValue("c", "");
     },
     "52 33 84 03 00 00 00 0A 01 00 00 00 61 8A 01 0A 01 00 00 00 78"
     "0A 01 00 00 00 62 8A 02 0A 03 00 00 00 25 78 25"
     "0A 01 00 00 00 63 8A 01 00 84 00 00 00 00"},
    {"Blobs",
     [](CFakeRegistry& r) {
       r.WriteValue("a", Bytes("00 FF"));
       r.WriteValue("b", byteEx());
     },
     "52 33 84 02 00 00 00 0A 01 00 00 00 61 8A 03 0C 02 00 00 00 00 FF"
     "0A 01 00 00 00 62 8A 03 00 84 00 00 00 00"},
    {"Numbers",
     [](CFakeRegistry& r) {
       r.WriteValue("a", std::uint32_t{0xFFFFFFFE});
       r.WriteValue("b", std::uint32_t{0});
       r.WriteValue("c", std::uint64_t{0x0102030405060708});
       r.WriteValue("d", std::uint64_t{0});
     },
     "52 33 84 04 00 00 00 0A 01 00 00 00 61 8A 04 03 FE FF FF FF 0A 01 00 00 00 62 8A 04 00"
     "0A 01 00 00 00 63 8A 05 05 08 07 06 05 04 03 02 01 0A 01 00 00 00 64 8A 05 00 84 00 00 00 00"},
    {"Sets",
     [](CFakeRegistry& r) {
       r.WriteValue("a", std::vector<stringEx>{"z", "", "z"});
       r.WriteValue("b", std::vector<stringEx>{});
     },
     "52 33 84 02 00 00 00 0A 01 00 00 00 61 8A 06 03 03 00 00 00 0A 01 00 00 00 7A 00 0A 01 00 00 00 7A"
     "0A 01 00 00 00 62 8A 06 00 84 00 00 00 00"},
    {"FloatsAndBools",
     [](CFakeRegistry& r) {
       r.WriteValue("a", 1.5);
       r.WriteValue("b", 0.0);
       r.WriteValue("c", true);
       r.WriteValue("d", false);
     },
     "52 33 84 04 00 00 00 0A 01 00 00 00 61 8A 07 07 00 00 00 00 00 00 F8 3F 0A 01 00 00 00 62 8A 07 00"
     "0A 01 00 00 00 63 8A 08 09 0A 01 00 00 00 64 8A 08 00 84 00 00 00 00"},
    {"KeysInTheOrderOfTheirBytes",
     [](CFakeRegistry& r) {
       r.GainSubkey("\xFF");
       r.GainSubkey("a\\x").WriteValue("v", true);
       r.GainSubkey("B");
     },
     "52 33 84 00 00 00 00 84 03 00 00 00"
     "0A 01 00 00 00 42 84 00 00 00 00 84 00 00 00 00"
     "0A 01 00 00 00 61 84 00 00 00 00 84 01 00 00 00"
     "0A 01 00 00 00 78 84 01 00 00 00 0A 01 00 00 00 76 8A 08 09 84 00 00 00 00"
     "0A 01 00 00 00 FF 84 00 00 00 00 84 00 00 00 00"},
};

class SavedImage : public testing::TestWithParam<IMAGE> {};

TEST_P(SavedImage, HasTheseBytesAndIsReadBack) {
  CFakeRegistry registry = Built(GetParam().build);
  EXPECT_EQ(HexOf(registry.Save()), HexOf(Bytes(GetParam().hex)));
  EXPECT_EQ(TreeText(Opened(Bytes(GetParam().hex))), TreeText(registry));
}

INSTANTIATE_TEST_SUITE_P(Rows, SavedImage, testing::ValuesIn(savedImages), rowName);

const IMAGE readImages[] = {
    {"WithoutCountOfSubkeys", [](CFakeRegistry&) {}, "52 33 84 00 00 00 00"},
    {"LastKeyWithoutCountOfSubkeys", [](CFakeRegistry& r) { r.GainSubkey("a"); },
     "52 33 84 00 00 00 00 84 01 00 00 00 0A 01 00 00 00 61 84 00 00 00 00"},
    {"BytesBehindTheRoot", [](CFakeRegistry&) {}, "52 33 84 00 00 00 00 84 00 00 00 00 FF"},
    {"DoubledValueTakesTheLastType", [](CFakeRegistry& r) { r.WriteValue("a", true); },
     "52 33 84 03 00 00 00 0A 01 00 00 00 61 8A 01 0A 01 00 00 00 78 0A 01 00 00 00 61 8A 04 00"
     "0A 01 00 00 00 61 8A 08 09 84 00 00 00 00"},
    {"DoubledSubkeyIsTheLastOne", [](CFakeRegistry& r) { r.GainSubkey("a").WriteValue("b", true); },
     "52 33 84 00 00 00 00 84 02 00 00 00"
     "0A 01 00 00 00 61 84 01 00 00 00 0A 01 00 00 00 63 8A 00 84 00 00 00 00"
     "0A 01 00 00 00 61 84 01 00 00 00 0A 01 00 00 00 62 8A 08 09 84 00 00 00 00"},
    {"NamesOutOfOrder",
     [](CFakeRegistry& r) {
       r.WriteValue("a", true);
       r.WriteValue("b", false);
       r.WriteValue("c", false);
     },
     "52 33 84 03 00 00 00 0A 01 00 00 00 62 8A 08 00 0A 01 00 00 00 61 8A 08 09 0A 01 00 00 00 63 8A 08 00"},
    {"R1",
     [](CFakeRegistry& r) {
       r.WriteValue("a", std::vector<stringEx>{"x", "", "y"});
       r.GainSubkey("b");
     },
     "46 52 84 01 00 00 00 05 01 02 03 04 05 06 07 08 0A 01 00 00 00 61 8A 06 0C 05 00 00 00 78 00 00 79 00"
     "84 01 00 00 00 0A 01 00 00 00 62 0C 0D 00 00 00 46 52 84 00 00 00 00 00 84 00 00 00 00"},
    {"R1VoidNumber", [](CFakeRegistry&) {}, "46 52 84 00 00 00 00 00"},
    {"R2SetWithoutLastZero",
     [](CFakeRegistry& r) {
       r.WriteValue("a", std::vector<stringEx>{"x", "y"});
       r.WriteValue("b", std::vector<stringEx>{});
     },
     "52 32 84 02 00 00 00 0A 01 00 00 00 61 8A 06 0C 03 00 00 00 78 00 79 0A 01 00 00 00 62 8A 06 00"},
    {"R2HoldsR3HoldsNothing",
     [](CFakeRegistry& r) {
       r.GainSubkey("a\\b");
       r.GainSubkey("c");
     },
     "52 32 84 00 00 00 00 84 02 00 00 00 0A 01 00 00 00 61 0C 1C 00 00 00"
     "52 33 84 00 00 00 00 84 01 00 00 00 0A 01 00 00 00 62 84 00 00 00 00 84 00 00 00 00"
     "0A 01 00 00 00 63 0C 08 00 00 00 46 52 84 00 00 00 00 00"},
};

class ReadImage : public testing::TestWithParam<IMAGE> {};

// From memory, and from a stream that brings one byte at a time.
TEST_P(ReadImage, IsThisTree) {
  class Dripping : public CMemSource {
   public:
    using CMemSource::CMemSource;
    std::size_t Read(void* out, std::size_t size) override { return CMemSource::Read(out, size != 0); }
  };
  const byteEx image = Bytes(GetParam().hex);
  const std::string expected = TreeText(Built(GetParam().build));
  EXPECT_EQ(TreeText(Opened(image)), expected);
  Dripping source(stringEx(reinterpret_cast<const char*>(image.data()), image.length()));
  CFakeRegistry registry;
  registry.Open(source);
  EXPECT_EQ(TreeText(registry), expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, ReadImage, testing::ValuesIn(readImages), rowName);

struct BADIMAGE {
  const char* name;
  const char* hex;
  const char* failure;                  // of the form for memory
  const char* streamFailure = nullptr;  // where it is more than the name that differs
};

#define IO_FAILED "5: RegParse (MEM) - io failed when trying parsing fake registry\n\n@ "

const BADIMAGE badImages[] = {
    {"OneByte", "52", "3: RegParse (MEM) - invalid header size"},
    {"OtherMark", "52 34 84 00 00 00 00", "3: RegParse (MEM) - invalid header mark"},
    {"MarkAlone", "52 33",
     IO_FAILED "CISXFBasic::_CheckBound - buffer overflow\n  expected size = 1\n  check bound   = -1"},
    {"CountIsVoid", "52 33 00", IO_FAILED "CISXFReader::GetSize - size can't be void"},
    {"FourBillionValues", "52 33 84 FF FF FF FF 00 8A 00",
     IO_FAILED "CISXFBasic::_CheckBound - buffer overflow\n  expected size = 1\n  check bound   = -1"},
    {"FourBillionSubkeys", "52 33 84 00 00 00 00 84 FF FF FF FF",
     IO_FAILED "CISXFBasic::_CheckBound - buffer overflow\n  expected size = 1\n  check bound   = -1"},
    {"FourBillionStrings", "52 33 84 01 00 00 00 00 8A 06 03 FF FF FF FF 00",
     IO_FAILED "CISXFBasic::_CheckBound - buffer overflow\n  expected size = 1\n  check bound   = -1"},
    {"FourGigabyteName", "52 33 84 01 00 00 00 0A FF FF FF FF",
     IO_FAILED "CISXFBasic::_CheckBound - buffer overflow\n  expected size = 4294967295\n  check bound   = "
               "-4294967295"},
    {"TypeAbove8", "52 33 84 01 00 00 00 00 8A 09", "3: RegParseValues_r3 - invalid type : 9"},
    {"TypeAbove8InR2", "52 32 84 01 00 00 00 00 8A FF", "3: RegParseValues_r1r2 - invalid type : 255"},
    {"SetAsBlobInR3", "52 33 84 01 00 00 00 00 8A 06 0C 01 00 00 00 78",
     IO_FAILED "CISXFReader::_GetAndVerifyType - wrong data type\n  expected = 3\n  real     = 12"},
    {"CutInTheSecondKey",
     "52 33 84 00 00 00 00 84 02 00 00 00 0A 01 00 00 00 61 84 00 00 00 00 84 00 00 00 00",
     IO_FAILED "CISXFBasic::_CheckBound - buffer overflow\n  expected size = 1\n  check bound   = -1"},
    {"NestedVoid", "52 32 84 00 00 00 00 84 01 00 00 00 00 00", "3: RegParse (MEM) - invalid header size",
     "3: RegParse (MEM) - invalid header size"},
    {"NestedOtherMark", "52 32 84 00 00 00 00 84 01 00 00 00 00 0C 02 00 00 00 52 34",
     "3: RegParse (MEM) - invalid header mark", "3: RegParse (MEM) - invalid header mark"},
    {"NestedMarkAlone", "52 32 84 00 00 00 00 84 01 00 00 00 00 0C 02 00 00 00 52 33",
     IO_FAILED "CISXFBasic::_CheckBound - buffer overflow\n  expected size = 1\n  check bound   = -1",
     IO_FAILED "CISXFBasic::_CheckBound - buffer overflow\n  expected size = 1\n  check bound   = -1"},
};

class BadImage : public testing::TestWithParam<BADIMAGE> {};

TEST_P(BadImage, IsRefused) {
  const byteEx image = Bytes(GetParam().hex);
  EXPECT_EQ(FailureOf<regExp>([&] { Opened(image); }), GetParam().failure);

  std::string expected = GetParam().failure;
  if (GetParam().streamFailure == nullptr && expected.find(" (MEM)") != std::string::npos)
    expected.erase(expected.find(" (MEM)"), 6);
  CMemSource source(stringEx(reinterpret_cast<const char*>(image.data()), image.length()));
  CFakeRegistry registry;
  EXPECT_EQ(FailureOf<regExp>([&] { registry.Open(source); }), expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, BadImage, testing::ValuesIn(badImages), rowName);

TEST(Image, WhatWasReadBeforeAFailureStays) {
  CFakeRegistry registry;
  const byteEx image = Bytes(
      "52 33 84 01 00 00 00 00 8A 08 09 84 02 00 00 00"
      "0A 01 00 00 00 61 84 00 00 00 00 84 00 00 00 00"
      "0A 01 00 00 00 62 84 01 00 00 00 00 8A 09");
  EXPECT_EQ(FailureOf<regExp>([&] { registry.Open(image.data(), image.length()); }),
            "3: RegParseValues_r3 - invalid type : 9");
  EXPECT_EQ(TreeText(registry), TreeText(Built([](CFakeRegistry& r) {
              r.WriteValue("", true);
              r.GainSubkey("a");
            })));
}

TEST(Image, EveryTreeComesBackInEveryRevision) {
  for (std::uint32_t seed = 0; seed < 100; ++seed) {
    SCOPED_TRACE(seed);
    CFakeRegistry tree =
        TestSupport::RandomTree(seed, 12, "ab~:#\"\n\xc3\xa4");  // a zero ends a string of old sets
    const std::string text = TreeText(tree);
    const byteEx image = tree.Save();
    const CFakeRegistry again = Opened(image);
    ASSERT_EQ(TreeText(again), text);
    for (const TestSupport::OldImage& old :
         {TestSupport::OldImage(1), TestSupport::OldImage(2), TestSupport::OldImage(2, true)}) {
      CFakeRegistry read = Opened(old.Of(tree));
      ASSERT_EQ(HexOf(read.Save()), HexOf(image));
    }
  }
}

// A tree or regExp; nothing else, and not for long.
TEST(Image, EveryDamageIsRefusedOrRead) {
  CFakeRegistry tree = Built([](CFakeRegistry& r) {
    r.WriteValue("text", "abc");
    r.WriteValue("set", std::vector<stringEx>{"p", ""});
    r.WriteValue("blob", Bytes("01 02"));
    r.GainSubkey("a").WriteValue("n", std::uint32_t{1});
    r.GainSubkey("b\\c").WriteValue("f", 2.5);
  });
  int read = 0;
  for (const byteEx& good : {tree.Save(), TestSupport::OldImage(1).Of(tree),
                             TestSupport::OldImage(2).Of(tree), TestSupport::OldImage(1, true).Of(tree)}) {
    TestSupport::ForEachDamage(good, [&](const byteEx& image) {
      CFakeRegistry registry;
      try {
        registry.Open(image.data(), image.length());
        ++read;
      } catch (const regExp& failure) {
        EXPECT_TRUE(failure.GetCode() == regCode::damaged || failure.GetCode() == regCode::open);
      }
      CFakeRegistry again = Opened(registry.Save());  // whatever there is of it
      EXPECT_EQ(TreeText(again), TreeText(registry));
    });
  }
  EXPECT_GT(read, 0);
}

// Nested in both ways: in line, and image in image.
TEST(Image, OfAnyDepthIsReadAndWritten) {
  constexpr int depth = 100000;
  CFakeRegistry tree;
  CFakeRegistry key = tree.GainSubkey("k");
  for (int i = 1; i < depth; ++i)
    key = key.GainSubkey("k");
  key.WriteValue("", true);
  const byteEx image = tree.Save();
  EXPECT_EQ(Opened(image).Save(), image);

  // From the inside out: what stands before a nested image is written in front of what is there.
  std::vector<byteEx> heads;
  byteEx inner = Bytes("52 32 84 01 00 00 00 00 8A 08 09 84 00 00 00 00");
  std::uint64_t length = inner.length();
  for (int i = 0; i < depth; ++i) {
    byteEx head = Bytes("52 32 84 00 00 00 00 84 01 00 00 00 0A 01 00 00 00 6B 0C");
    const auto size = static_cast<std::uint32_t>(length);
    head.append(reinterpret_cast<const unsigned char*>(&size), sizeof(size));
    length += head.length();
    heads.push_back(head);
  }
  byteEx nested;
  for (auto head = heads.rbegin(); head != heads.rend(); ++head)
    nested += *head;
  nested += inner;
  EXPECT_EQ(Opened(nested).Save(), image);
}

}  // namespace
