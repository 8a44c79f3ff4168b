// The serial format: every item byte by byte, its bounds, and what is made of bad data.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <set>
#include <string>
#include <vector>

#include <qorv/error.h>
#include <qorv/isxf.h>
#include <qorv/stream.h>

#include "stream/isxf_items.h"
#include "support/failure.h"
#include "support/row_name.h"

namespace {

using namespace Qorv;
using TestSupport::CopyItem;
using TestSupport::FailureOf;

using Put = void (*)(CISXFWriter&);

// Each of the test's items is written by one of these.
stringEx Written(Put put, std::int64_t bound = isxfNoBound) {
  stringEx bytes;
  CGenericSeekableSink<CByteIO> sink{CByteIO(&bytes)};
  CISXFWriter writer(sink, bound);
  put(writer);
  if (bound != isxfNoBound) {
    EXPECT_EQ(bound, writer.GetCheckBound() + static_cast<std::int64_t>(bytes.length()));
  }
  return bytes;
}

// A source that brings at most so many bytes at a time, and remembers what it was asked for.
class Source : public TDataSource {
 public:
  explicit Source(stringEx bytes, std::size_t atMost = SIZE_MAX)
      : memory_(std::move(bytes)), atMost_(atMost) {}
  bool IsValid() const override { return true; }
  bool IsEof() const override { return memory_.IsEof(); }
  std::size_t Read(void* out, std::size_t size) override {
    asked_.push_back(size);
    return memory_.Read(out, std::min(size, atMost_));
  }
  const std::vector<std::size_t>& Asked() const { return asked_; }

 private:
  CMemSource memory_;
  std::size_t atMost_;
  std::vector<std::size_t> asked_;
};

// A sink that takes at most so many bytes at a time, and has room for so many in all.
class Sink : public TDataSink {
 public:
  Sink(std::size_t atMost, std::size_t room) : atMost_(atMost), room_(room) {}
  bool IsValid() const override { return true; }
  std::size_t Write(const void* data, std::size_t size) override {
    const std::size_t count = std::min({size, atMost_, room_ - bytes_.length()});
    bytes_.append(static_cast<const char*>(data), count);
    return count;
  }
  void Flush() override {}
  const stringEx& Bytes() const { return bytes_; }

 private:
  stringEx bytes_;
  std::size_t atMost_;
  std::size_t room_;
};

// The bytes of the next item when it is read as `tag` and written again.
std::string Copied(CISXFReader& reader, std::uint8_t tag) {
  stringEx bytes;
  CGenericSeekableSink<CByteIO> sink{CByteIO(&bytes)};
  CISXFWriter writer(sink);
  EXPECT_TRUE(CopyItem(tag, reader, writer));
  return bytes.hex().data();
}

std::string CutShort(std::size_t expected, std::size_t real) {
  return "4: CISXFReader::_Read - unexpected end of data\n  expected size = " + std::to_string(expected) +
         "\n  real size     = " + std::to_string(real);
}

std::string Overdrawn(std::size_t size, std::int64_t bound) {
  return "2: CISXFBasic::_CheckBound - buffer overflow\n  expected size = " + std::to_string(size) +
         "\n  check bound   = " + std::to_string(bound);
}

struct ITEM {
  const char* name;
  Put put;
  const char* hex;
  const char* noVoid;  // what a structural item says to void
};

constexpr unsigned char zeroAndOne[] = {0, 1};

const ITEM items[] = {
    {"Int8", [](CISXFWriter& w) { w.PutInt8(-2); }, "01FE", nullptr},
    {"Int16", [](CISXFWriter& w) { w.PutInt16(0x1234); }, "023412", nullptr},
    {"Int32", [](CISXFWriter& w) { w.PutInt32(-2); }, "03FEFFFFFF", nullptr},
    {"Int64", [](CISXFWriter& w) { w.PutInt64(0x0102030405060708); }, "050807060504030201", nullptr},
    {"Float", [](CISXFWriter& w) { w.PutFloat(-1.5f); }, "060000C0BF", nullptr},
    {"FloatNan", [](CISXFWriter& w) { w.PutFloat(std::numeric_limits<float>::quiet_NaN()); }, "060000C07F",
     nullptr},
    {"Double", [](CISXFWriter& w) { w.PutDouble(1.5); }, "07000000000000F83F", nullptr},
    {"LongDouble", [](CISXFWriter& w) { w.PutLongDouble(1.5L); }, "0800000000000000C0FF3F000000000000",
     nullptr},
    {"Bool", [](CISXFWriter& w) { w.PutBool(true); }, "09", nullptr},
    {"String", [](CISXFWriter& w) { w.PutString(stringEx("a\0c", 3)); }, "0A03000000610063", nullptr},
    {"StringOfBytes", [](CISXFWriter& w) { w.PutString(byteEx(zeroAndOne, 2)); }, "0A020000000001", nullptr},
    {"WString", [](CISXFWriter& w) { w.PutWString(L"ab"); }, "0B080000006100000062000000", nullptr},
    {"Blob", [](CISXFWriter& w) { w.PutBlob("\xff\x00", 2); }, "0C02000000FF00", nullptr},
    {"CtrlCode", [](CISXFWriter& w) { w.PutCtrlCode(0); }, "8000",
     "CISXFReader::GetCtrlCode - control code can't be void"},
    {"SegNumber", [](CISXFWriter& w) { w.PutSegNumber(0xFFFE); }, "81FEFF",
     "CISXFReader::GetSegNumber - segment number can't be void"},
    {"Enum", [](CISXFWriter& w) { w.PutEnum(0xFFFFFFFE); }, "82FEFFFFFF",
     "CISXFReader::GetEnum - enumeration can't be void"},
    {"ID", [](CISXFWriter& w) { w.PutID(7); }, "8307000000",
     "CISXFReader::GetID - identification can't be void"},
    {"Size", [](CISXFWriter& w) { w.PutSize(0); }, "8400000000", "CISXFReader::GetSize - size can't be void"},
    {"BigSize", [](CISXFWriter& w) { w.PutBigSize(1); }, "850100000000000000",
     "CISXFReader::GetBigSize - big size can't be void"},
    {"Command", [](CISXFWriter& w) { w.PutCommand(2); }, "8602000000",
     "CISXFReader::GetCommand - command code can't be void"},
    {"BigID", [](CISXFWriter& w) { w.PutBigID(~std::uint64_t{0}); }, "87FFFFFFFFFFFFFFFF",
     "CISXFReader::GetBigID - identification can't be void"},
    {"SmallID", [](CISXFWriter& w) { w.PutSmallID(3); }, "880300",
     "CISXFReader::GetSmallID - small identification can't be void"},
    {"TinyID", [](CISXFWriter& w) { w.PutTinyID(0xFF); }, "89FF",
     "CISXFReader::GetTinyID - tiny identification can't be void"},
    {"SmallEnum", [](CISXFWriter& w) { w.PutSmallEnum(4); }, "8A04",
     "CISXFReader::GetSmallEnum - small enumeration can't be void"},
    {"SmallVersion", [](CISXFWriter& w) { w.PutSmallVersion(5); }, "8B05",
     "CISXFReader::GetSmallVersion - small version can't be void"},
    {"Version", [](CISXFWriter& w) { w.PutVersion(0x0102); }, "8C0201",
     "CISXFReader::GetVersion - version can't be void"},
    {"EofSegNumber", [](CISXFWriter& w) { w.PutEofSegNumber(); }, "8D",
     "CISXFReader::GetEofSegNumber - segment ending number can't be void"},
    {"BigSegNumber", [](CISXFWriter& w) { w.PutBigSegNumber(6); }, "8E06000000",
     "CISXFReader::GetBigSegNumber - big segment number can't be void"},
    {"EofBigSegNumber", [](CISXFWriter& w) { w.PutEofBigSegNumber(); }, "8F",
     "CISXFReader::GetEofBigSegNumber - big segment ending number can't be void"},
    {"CompactCommand", [](CISXFWriter& w) { w.PutCompactCommand(7); }, "900700",
     "CISXFReader::GetCompactCommand - compact command code can't be void"},
};

class IsxfItem : public testing::TestWithParam<ITEM> {
 protected:
  stringEx bytes_ = Written(GetParam().put);
  std::int64_t size_ = static_cast<std::int64_t>(bytes_.length());
  std::uint8_t tag_ = static_cast<std::uint8_t>(bytes_[0]);
};

TEST_P(IsxfItem, HasItsBytesAndComesBack) {
  EXPECT_STREQ(GetParam().hex, bytes_.hex().data());
  for (const std::size_t atMost : {SIZE_MAX, std::size_t{1}}) {
    Source source(bytes_, atMost);
    CISXFReader reader(source, size_);
    EXPECT_TRUE(reader.IsNextType(tag_));
    EXPECT_EQ(tag_, reader.GetNextType());
    EXPECT_EQ(size_ - 1, reader.GetCheckBound()) << "peeked once";
    EXPECT_EQ(GetParam().hex, Copied(reader, tag_));
    EXPECT_EQ(0, reader.GetCheckBound());
    EXPECT_TRUE(source.IsEof());
  }
}

TEST_P(IsxfItem, PassesItsBoundWholeOrNotAtAll) {
  EXPECT_EQ(bytes_, Written(GetParam().put, size_));
  stringEx out;
  CGenericSeekableSink<CByteIO> sink{CByteIO(&out)};
  CISXFWriter writer(sink, size_ - 1);
  EXPECT_EQ(Overdrawn(bytes_.length(), -1), FailureOf<isxfExp>([&] { GetParam().put(writer); }));
  EXPECT_EQ(Overdrawn(1, -1), FailureOf<isxfExp>([&] { writer.PutVoid(); })) << "nothing passes after that";
  EXPECT_EQ(0u, out.length());

  Source source(bytes_);
  CISXFReader reader(source, size_ - 1);
  EXPECT_EQ(0u, FailureOf<isxfExp>([&] { Copied(reader, tag_); }).find("2: CISXFBasic::_CheckBound"));
  EXPECT_EQ(0, reader.GetCheckBound());
}

TEST_P(IsxfItem, CutAnywhereIsRefused) {
  for (std::uint64_t size = 0; size < bytes_.length(); ++size) {
    for (const bool ignore : {false, true}) {
      Source source(stringEx(bytes_.data(), size));
      CISXFReader reader(source);
      const std::string failure =
          FailureOf<isxfExp>([&] { ignore ? reader.IgnoreNext() : static_cast<void>(Copied(reader, tag_)); });
      EXPECT_EQ(0u, failure.find("4: CISXFReader::_Read - unexpected end of data\n  expected size = "))
          << failure;
    }
  }
}

TEST_P(IsxfItem, IsSkippedWhole) {
  Source source(bytes_ + "\x8b\x21");
  CISXFReader reader(source, size_ + 2);
  reader.IgnoreNext();
  EXPECT_EQ(0x21, reader.GetSmallVersion());
  EXPECT_EQ(0, reader.GetCheckBound());
}

TEST_P(IsxfItem, TakesVoidForZeroOrRefusesIt) {
  Source source(stringEx("\0", 1));
  CISXFReader reader(source);
  EXPECT_TRUE(reader.IsNextType(tag_));
  if (GetParam().noVoid == nullptr) {
    EXPECT_EQ("00", Copied(reader, tag_));
  } else {
    EXPECT_EQ(std::string("1: ") + GetParam().noVoid, FailureOf<isxfExp>([&] { Copied(reader, tag_); }));
  }
}

TEST_P(IsxfItem, RefusesEveryOtherTag) {
  for (int tag = 1; tag < 256; ++tag) {
    if (tag == tag_) continue;
    Source source(stringEx(std::string(1, static_cast<char>(tag))));
    CISXFReader reader(source);
    EXPECT_FALSE(reader.IsNextType(tag_));
    EXPECT_EQ("1: CISXFReader::_GetAndVerifyType - wrong data type\n  expected = " + std::to_string(tag_) +
                  "\n  real     = " + std::to_string(tag),
              FailureOf<isxfExp>([&] { Copied(reader, tag_); }));
  }
}

INSTANTIATE_TEST_SUITE_P(Isxf, IsxfItem, testing::ValuesIn(items), rowName);

TEST(Isxf, WritesVoidForWhatIsZeroOrEmpty) {
  const Put zeros[] = {[](CISXFWriter& w) { w.PutVoid(); },
                       [](CISXFWriter& w) { w.PutInt8(0); },
                       [](CISXFWriter& w) { w.PutInt16(0); },
                       [](CISXFWriter& w) { w.PutInt32(0); },
                       [](CISXFWriter& w) { w.PutInt64(0); },
                       [](CISXFWriter& w) { w.PutFloat(-0.0f); },
                       [](CISXFWriter& w) { w.PutDouble(-0.0); },
                       [](CISXFWriter& w) { w.PutLongDouble(0); },
                       [](CISXFWriter& w) { w.PutBool(false); },
                       [](CISXFWriter& w) { w.PutString(stringEx()); },
                       [](CISXFWriter& w) { w.PutString(nullptr, 0); },
                       [](CISXFWriter& w) { w.PutWString(wstringEx()); },
                       [](CISXFWriter& w) { w.PutBlob(byteEx()); }};
  for (std::size_t i = 0; i < std::size(zeros); ++i)
    EXPECT_EQ(stringEx("\0", 1), Written(zeros[i], 1)) << "row " << i;
}

TEST(Isxf, LongTextsComeInPieces) {
  stringEx text;
  for (std::uint32_t i = 0; i < 200000; ++i)
    text.append(static_cast<char>(i % 251));
  stringEx bytes;
  CGenericSeekableSink<CByteIO> sink{CByteIO(&bytes)};
  CISXFWriter(sink).PutString(text);
  Source source(bytes);
  stringEx out("what was there before");
  CISXFReader(source).GetString(out);
  EXPECT_EQ(text, out);
  const std::vector<std::size_t>& asked = source.Asked();
  EXPECT_EQ(asked, (std::vector<std::size_t>{1, 4, 65536, 65536, 65536, 3392}));
}

TEST(Isxf, ALengthCostsNoMemoryBeforeItsData) {
  const std::string tail = "\xfc\xff\xff\xff" + std::string(15, 'x');
  for (const std::int64_t bound : {isxfNoBound, std::int64_t{20}}) {
    const auto refusal = [&](std::uint64_t piece) {
      return bound == isxfNoBound ? CutShort(piece, 15)
                                  : Overdrawn(0xFFFFFFFC, 15 - std::int64_t{0xFFFFFFFC});
    };
    const auto read = [&](char tag, auto step) {
      Source source(stringEx(tag + tail));
      CISXFReader reader(source, bound);
      return FailureOf<isxfExp>([&] { step(reader); });
    };
    stringEx text;
    EXPECT_EQ(refusal(65536), read('\x0a', [&](CISXFReader& reader) { reader.GetString(text); }));
    wstringEx wide;
    EXPECT_EQ(refusal(65536), read('\x0b', [&](CISXFReader& reader) { reader.GetWString(wide); }));
    byteEx blob;
    EXPECT_EQ(refusal(65536), read('\x0c', [&](CISXFReader& reader) { reader.GetBlob(blob); }));
    EXPECT_EQ(refusal(384), read('\x0a', [&](CISXFReader& reader) { reader.GetString(nullptr, 0); }));
    EXPECT_EQ(refusal(384), read('\x0b', [](CISXFReader& reader) { reader.IgnoreNext(); }));
    EXPECT_TRUE(text.empty() && wide.empty() && blob.empty());
    EXPECT_LT(static_cast<std::uint64_t>(text.capacity()) + static_cast<std::uint64_t>(wide.capacity()) * 4 +
                  static_cast<std::uint64_t>(blob.capacity()),
              4 * 100000);
  }
}

TEST(Isxf, SkipsInStepsOfTheScratchArea) {
  stringEx bytes("\x0a\xe8\x03\0\0", 5);
  bytes.append(1000, 'x');
  Source source(bytes);
  CISXFReader(source).IgnoreNext();
  EXPECT_EQ((std::vector<std::size_t>{1, 4, 384, 384, 232}), source.Asked());
}

TEST(Isxf, AnUnknownTagIsNotIgnored) {
  std::set<int> known{0};
  for (const ITEM& item : items)
    known.insert(static_cast<std::uint8_t>(Written(item.put)[0]));
  for (int tag = 0; tag < 256; ++tag) {
    Source source(stringEx(static_cast<char>(tag) + std::string(20, '\0')));
    CISXFReader reader(source);
    const std::string expected =
        known.count(tag) != 0
            ? "no failure"
            : "3: CISXFReader::IgnoreNext - unknown data type\n  type = " + std::to_string(tag);
    EXPECT_EQ(expected, FailureOf<isxfExp>([&] { reader.IgnoreNext(); }));
    EXPECT_EQ(known.count(tag) != 0 ? 0 : tag, reader.GetNextType()) << "it stays";
  }
}

// A step of a reader over `bytes` with a bound: its failure, what is left of the bound, and what has been asked of the source.
struct BOUNDCASE {
  const char* name;
  std::string bytes;
  std::int64_t bound;
  void (*step)(CISXFReader&);
  std::string failure;
  std::int64_t left;
  std::vector<std::size_t> asked;
};

class IsxfBound : public testing::TestWithParam<BOUNDCASE> {};

TEST_P(IsxfBound, IsLookedAtBeforeEachStep) {
  const BOUNDCASE& row = GetParam();
  Source source{stringEx(row.bytes)};
  CISXFReader reader(source, row.bound);
  EXPECT_EQ(row.failure, FailureOf<isxfExp>([&] { row.step(reader); }));
  EXPECT_EQ(row.left, reader.GetCheckBound());
  EXPECT_EQ(row.asked, source.Asked());
}

void ReadString(CISXFReader& reader) {
  reader.GetString();
}
void ReadInto5(CISXFReader& reader) {
  char buffer[8];
  reader.GetString(buffer, 5);
}
void IgnorePeeked(CISXFReader& reader) {
  reader.GetNextType();
  reader.GetNextType();
  reader.IgnoreNext();
}

const std::string five("\x0a\x05\0\0\0hello", 10);
const BOUNDCASE boundCases[] = {
    {"Tag", five, 0, &ReadString, Overdrawn(1, -1), 0, {}},
    {"WrongTagBeforeTheBound",
     five,
     1,
     [](CISXFReader& reader) { reader.GetInt64(); },
     "1: CISXFReader::_GetAndVerifyType - wrong data type\n  expected = 5\n  real     = 10",
     0,
     {1}},
    {"WrongTagIsTaken",
     five,
     3,
     [](CISXFReader& reader) { reader.GetSize(); },
     "1: CISXFReader::_GetAndVerifyType - wrong data type\n  expected = 132\n  real     = 10",
     2,
     {1}},
    {"Length", five, 4, &ReadString, Overdrawn(4, -1), 0, {1}},
    {"Content", five, 9, &ReadString, Overdrawn(5, -1), 0, {1, 4}},
    {"FixedPayload",
     std::string("\x03\1\0\0\0", 5),
     4,
     [](CISXFReader& reader) { reader.GetInt32(); },
     Overdrawn(4, -1),
     0,
     {1}},
    {"FractionBeyondTheBound",
     std::string("\x0b\x05\0\0\0aaaaa", 10),
     9,
     [](CISXFReader& reader) { reader.GetWString(); },
     Overdrawn(5, -1),
     0,
     {1, 4}},
    {"BufferBeforeTheBound",
     five,
     6,
     &ReadInto5,
     "2: CISXFReader::GetString - overflow: buffer too small\n  requested size = 5\n  user supplied  = 5",
     1,
     {1, 4}},
    {"IgnoredContent", five, 9, &IgnorePeeked, Overdrawn(5, -1), 0, {1, 4}},
    {"IgnoredWhole", five, 10, &IgnorePeeked, "no failure", 0, {1, 4, 5}},
    {"Negative", five, -7, &ReadString, Overdrawn(1, -8), 0, {}},
    {"EndAtTheTag",
     "",
     isxfNoBound,
     [](CISXFReader& reader) { reader.GetNextType(); },
     CutShort(1, 0),
     isxfNoBound,
     {1}},
};
INSTANTIATE_TEST_SUITE_P(Every, IsxfBound, testing::ValuesIn(boundCases), rowName);

TEST(Isxf, ATargetIsLeftAloneUntilItsContentComes) {
  const auto read = [](const std::string& bytes, std::int64_t bound) {
    Source source{stringEx(bytes)};
    CISXFReader reader(source, bound);
    stringEx target("before");
    try {
      reader.GetString(target);
    } catch (const isxfExp&) {
    }
    return std::string(target);
  };
  EXPECT_EQ("before", read(std::string("\x03\1\0\0\0", 5), isxfNoBound));
  EXPECT_EQ("before", read(five, 9));
  EXPECT_EQ("", read(std::string(1, '\0'), isxfNoBound)) << "void";
  EXPECT_EQ("hello", read(five, 10));
}

class Failing : public TDataSource {
 public:
  bool IsValid() const override { return true; }
  bool IsEof() const override { return false; }
  std::size_t Read(void*, std::size_t) override { throw ioExp(stringEx("the disk is gone"), 77); }
};

TEST(Isxf, AFailureOfTheStreamPassesUnchanged) {
  Failing source;
  CISXFReader reader(source, 10);
  EXPECT_EQ("77: the disk is gone", FailureOf<ioExp>([&] { reader.GetInt32(); }));
  EXPECT_EQ(9, reader.GetCheckBound());
}

TEST(Isxf, ShortItemsGoOutInOnePiece) {
  for (const std::uint64_t length : {251u, 252u}) {
    const std::string text(length, 'x');
    stringEx bytes;
    CGenericSeekableSink<CByteIO> sink{CByteIO(&bytes)};
    EXPECT_EQ(Overdrawn(length + 5, -1), FailureOf<isxfExp>([&] {
                CISXFWriter(sink, static_cast<std::int64_t>(length) + 4).PutString(text.data(), length);
              }));
    EXPECT_TRUE(bytes.empty());
    CISXFWriter(sink).PutString(text.data(), length);
    EXPECT_EQ(length + 5, bytes.length());
  }
}

TEST(Isxf, AWideStringIsAWholeNumberOfCharacters) {
  Source source(stringEx("\x0b\x05\0\0\0aaaaa", 10));
  EXPECT_EQ(
      "4: CISXFReader::GetWString - not a whole number of characters\n  length         = 5\n"
      "  character size = 4",
      FailureOf<isxfExp>([&] { CISXFReader(source).GetWString(); }));
}

TEST(Isxf, ACallersBufferTakesOnlyWhatIsLongerThanItsSize) {
  const stringEx data("\x0a\x05\0\0\0hello\x0b\x08\0\0\0a\0\0\0b\0\0\0\x0c\x02\0\0\0\xff\xfe\0\0", 33);
  std::string text(10, '?');
  std::wstring wide(10, L'?');
  // Step over `before` items, then read.
  const auto refusal = [&](int before, auto read) {
    Source source(data);
    CISXFReader reader(source);
    while (before-- > 0)
      reader.IgnoreNext();
    return FailureOf<isxfExp>([&] { read(reader); });
  };
  EXPECT_EQ(
      "2: CISXFReader::GetString - overflow: buffer too small\n  requested size = 5\n  user supplied  = 10",
      refusal(0, [&](CISXFReader& reader) { reader.GetString(text.data(), 10); }));
  EXPECT_EQ(
      "2: CISXFReader::GetString - overflow: buffer too small\n  requested size = 5\n  user supplied  = 5",
      refusal(0, [&](CISXFReader& reader) { reader.GetString(text.data(), 5); }));
  EXPECT_EQ(
      "2: CISXFReader::GetWString - overflow: buffer too small\n  requested size = 8\n  user supplied  = 8",
      refusal(1, [&](CISXFReader& reader) { reader.GetWString(wide.data(), 2); }));
  EXPECT_EQ(
      "2: CISXFReader::GetBlob - overflow: buffer too small\n  requested size = 2\n  user supplied  = 3",
      refusal(2, [&](CISXFReader& reader) { reader.GetBlob(text.data(), 3); }));
  EXPECT_EQ(std::string(10, '?'), text);

  Source source(data);
  CISXFReader reader(source);
  EXPECT_EQ(5u, reader.GetString(text.data(), 4));
  EXPECT_EQ(std::string("hello\0????", 10), text);
  EXPECT_EQ(2u, reader.GetWString(wide.data(), 1));
  EXPECT_EQ(std::wstring(L"ab\0???????", 10), wide);
  EXPECT_EQ(2u, reader.GetBlob(text.data(), 1));
  EXPECT_EQ(std::string("\xff\xfello\0????", 10), text) << "a blob gets no zero";
  EXPECT_EQ(0u, reader.GetString(text.data(), 1));
  EXPECT_EQ('\0', text[0]);
  EXPECT_EQ(0u, reader.GetBlob(text.data(), 1));
  EXPECT_EQ('\xfe', text[1]);
}

TEST(Isxf, ASinkMayTakeAnItemInPartsButNotLeaveItsRest) {
  Sink sink(2, 9);
  CISXFWriter writer(sink);
  writer.PutInt32(-2);
  EXPECT_EQ("4: CISXFWriter::_Write - the sink takes no more\n  expected size = 7\n  real size     = 4",
            FailureOf<isxfExp>([&] { writer.PutBlob("ab", 2); }));
  EXPECT_STREQ("03FEFFFFFF0C020000", sink.Bytes().hex().data());
}

TEST(Isxf, RefusesContentThatALengthCannotTell) {
  Sink sink(0, 0);
  EXPECT_EQ("4: CISXFWriter::PutString - string too long\n  length   = 4294967296\n  at most  = 4294967295",
            FailureOf<isxfExp>([&] { CISXFWriter(sink).PutString("", std::uint64_t{1} << 32); }));
  EXPECT_EQ("4: CISXFWriter::PutWString - string too long\n  length   = 1073741824\n  at most  = 1073741823",
            FailureOf<isxfExp>([&] { CISXFWriter(sink).PutWString(L"", std::uint64_t{1} << 30); }));
}

// What comes before the changed byte is read as it was, and what one byte makes of the rest is read or refused.
TEST(Isxf, EverySingleByteChangeIsReadOrRefused) {
  stringEx good;
  std::vector<std::uint64_t> startOf;  // of the item, for each byte
  for (const ITEM& item : items) {
    const stringEx bytes = Written(item.put);
    startOf.insert(startOf.end(), bytes.length(), good.length());
    good += bytes;
  }
  for (std::uint64_t at = 0; at < good.length(); ++at) {
    for (int change = 1; change < 256; ++change) {
      std::string bad(good);
      bad[at] = static_cast<char>(bad[at] ^ change);
      Source source{stringEx(bad)};
      CISXFReader reader(source, static_cast<std::int64_t>(bad.size()));
      stringEx out;
      CGenericSeekableSink<CByteIO> sink{CByteIO(&out)};
      CISXFWriter writer(sink);
      try {
        while (reader.GetCheckBound() != 0) {
          if (!CopyItem(reader.GetNextType(), reader, writer)) reader.IgnoreNext();
        }
      } catch (const isxfExp&) {
      }
      ASSERT_LE(out.length(), good.length()) << "byte " << at << " by " << change;
      ASSERT_TRUE(out.starts_with({good.data(), startOf[at]})) << "byte " << at << " by " << change;
    }
  }
}

// Over memory the same, to the last byte of it.
TEST(IsxfMemory, IsReadToItsEndAndShownWhereItLies) {
  const stringEx bytes("\x0A\2\0\0\0ab\x0C\1\0\0\0c\x84\1", 15);
  CISXFReader reader(bytes.data(), bytes.length());
  stringEx scratch;
  EXPECT_EQ(reader.ViewString(scratch).data(), bytes.data() + 5);
  EXPECT_EQ(reader.ViewBlob(scratch), "c");
  EXPECT_FALSE(reader.IsEof());
  EXPECT_EQ(FailureOf<isxfExp>([&] { reader.GetSize(); }), CutShort(4, 1));
  CISXFReader lying("\x0A\xFF\xFF\xFF\xFF", 5);
  EXPECT_EQ(FailureOf<isxfExp>([&] { lying.ViewString(scratch); }), CutShort(4294967295, 0));
}

// In any parts: what is within the bound, and not a byte more.
TEST(IsxfAhead, TakesNoMoreThanTheBoundAllows) {
  const std::string text(20, 'x');
  for (const std::size_t room : {std::size_t{1}, std::size_t{7}, std::size_t{64}}) {
    for (const std::size_t atMost : {std::size_t{1}, std::size_t{5}, SIZE_MAX}) {
      SCOPED_TRACE(std::to_string(room) + " " + std::to_string(atMost));
      stringEx bytes;
      {
        CGenericSeekableSink<CByteIO> sink{CByteIO(&bytes)};
        CISXFWriter writer(sink);
        writer.PutInt32(-2);
        writer.PutString(text.data(), text.size());
        writer.PutBool(true);
      }
      const auto bound = static_cast<std::int64_t>(bytes.length());
      bytes += "y";
      Source source(bytes, atMost);
      std::vector<unsigned char> buffer(room);
      CISXFReader reader(source, buffer.data(), room, bound);
      stringEx scratch;
      EXPECT_EQ(reader.GetInt32(), -2);
      EXPECT_EQ(reader.ViewString(scratch), text);
      EXPECT_TRUE(reader.GetBool());
      EXPECT_EQ(reader.GetCheckBound(), 0);
      char next = 0;
      EXPECT_EQ(source.Read(&next, 1), 1U);
      EXPECT_EQ(next, 'y');
    }
  }
}

TEST(IsxfAhead, TellsWhereTheDataEnds) {
  Source source(stringEx("\x03\1\2", 3));
  unsigned char room[16];
  CISXFReader reader(source, room, sizeof(room), 100);
  EXPECT_EQ(FailureOf<isxfExp>([&] { reader.GetInt32(); }), CutShort(4, 2));
}

TEST(IsxfCollected, IsTheSameInWhateverRoom) {
  std::string expected;
  for (const std::size_t room : {std::size_t{1}, std::size_t{9}, std::size_t{100}, std::size_t{4096}}) {
    SCOPED_TRACE(room);
    stringEx bytes;
    CGenericSeekableSink<CByteIO> sink{CByteIO(&bytes)};
    std::vector<unsigned char> buffer(room);
    CISXFWriter writer(sink, buffer.data(), room, isxfNoBound);
    for (const ITEM& item : items)
      item.put(writer);
    writer.PutString(std::string(300, 'z').data(), 300);
    writer.FlushBuffer();
    if (expected.empty()) expected.assign(bytes.data(), bytes.length());
    EXPECT_EQ(std::string(bytes.data(), bytes.length()), expected);
  }
  std::string single;
  for (const ITEM& item : items)
    single += item.hex;
  EXPECT_EQ(
      stringEx(std::string_view(expected)).hex().data(), single + "0A2C010000" + [] {
        std::string z;
        for (int i = 0; i < 300; ++i)
          z += "7A";
        return z;
      }());
}

}  // namespace
