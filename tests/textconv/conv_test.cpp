// The table of encodings, and the engines one by one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <string>

#include <qorv/dll.h>
#include <qorv/error.h>
#include <qorv/textconv.h>

#include "TextConv/lib_iconv.h"
#include "TextConv/lib_icu.h"
#include "support/failure.h"
#include "support/refusal.h"
#include "support/row_name.h"

REFUSABLE(dlclose, (void* handle), (handle))  // NOLINT

namespace {

using namespace std::string_literals;
using Qorv::CTextLibIConv;
using Qorv::CTextLibIcu;
using Qorv::ENCODINGINFO;
using Qorv::stringEx;
using Qorv::TTextConv;
using Qorv::wstringEx;
using TestSupport::FailureOf;

stringEx Text(std::string_view text) {
  return stringEx(text);
}

// --- the table -------------------------------------------------------------------------------------------------------

TEST(Encodings, NamesAndNumbersGiveCodePages) {
  const std::pair<const char*, std::uint32_t> rows[] = {{"cp1252", 1252},
                                                        {"CP0", 0},
                                                        {"cP4294967295", 4294967295},
                                                        {"utf-8", 65001},
                                                        {"ISO-8859-10", 28594},
                                                        {"armscii-8", 1254},
                                                        {"UCS-4", 12000},
                                                        {"ascii", 437},
                                                        {"C", 20127},
                                                        {"IA5-norwegian", 20108}};
  for (const auto& [name, page] : rows)
    EXPECT_EQ(page, TTextConv::EncToCP(Text(name))) << name;
  for (const char* name : {"", "CP", "CP12x", "CP-1", "CP 1252", "CP4294967296", "UTF8", "klingon"}) {
    EXPECT_EQ("1: TTextConv::EncToCP - can't convert the encoding to codepage\n  encoding name = "s + name,
              FailureOf<Qorv::tconvExp>([&] { TTextConv::EncToCP(Text(name)); }));
  }
}

TEST(Encodings, CodePagesGiveTheFirstName) {
  const std::pair<std::uint32_t, const char*> rows[] = {
      {950, "BIG5"}, {437, "ASCII"}, {65001, "UTF-8"}, {1200, "UCS-2"}, {28591, "ISO-8859-1"}, {7, ""}};
  for (const auto& [page, name] : rows)
    EXPECT_STREQ(name, TTextConv::CPToEnc(page).data());
}

TEST(Encodings, InformationIsWhole) {
  ENCODINGINFO info;
  TTextConv::GetEncInfo(Text("oem-multlinguallatini+eurosymbol"), info);
  EXPECT_EQ(858u, info.codePage);
  EXPECT_STREQ("Multlingual Latin I + Euro symbol - OEM", info.description.data());
  EXPECT_FALSE(info.isRightToLeft);
  TTextConv::GetEncInfo(38598, info);
  EXPECT_TRUE(info.isRightToLeft);
  const std::string heading = "1: TTextConv::GetEncInfo - can't retrieve the encoding's infomation\n";
  EXPECT_EQ(heading + "  encoding name = x",
            FailureOf<Qorv::tconvExp>([&] { TTextConv::GetEncInfo(Text("x"), info); }));
  EXPECT_EQ(heading + "  code page     = 3",
            FailureOf<Qorv::tconvExp>([&] { TTextConv::GetEncInfo(3, info); }));
}

TEST(Encodings, AreListedInOrder) {
  Qorv::EncodingIterator iterator;
  stringEx name;
  ENCODINGINFO info;
  EXPECT_FALSE(TTextConv::NextEncoding(iterator, name, info));
  std::vector<std::string> names;
  std::set<std::string> rightToLeft;
  for (bool more = TTextConv::FirstEncoding(iterator, name, info); more;
       more = TTextConv::NextEncoding(iterator, name, info)) {
    if (info.isRightToLeft) rightToLeft.insert(name.data());
    EXPECT_EQ(info.codePage, TTextConv::EncToCP(name));
    name.to_lower();
    names.emplace_back(name.data());
  }
  EXPECT_EQ(170u, names.size());
  EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
  EXPECT_EQ(11u, rightToLeft.size());
  EXPECT_TRUE(rightToLeft.count("EBCDIC-Hebrew"));
  const Qorv::EncodingIterator copy = iterator;
  EXPECT_FALSE(TTextConv::NextEncoding(copy, name, info));
}

TEST(Encodings, FamiliesBelongTogether) {
  EXPECT_TRUE(TTextConv::IsSameFamily(Text("gbk"), Text("HZ")));
  EXPECT_FALSE(TTextConv::IsSameFamily(Text("GBK"), Text("BIG5")));
  EXPECT_FALSE(TTextConv::IsSameFamily(Text("x"), Text("x")));
  EXPECT_STREQ("SHIFT_JIS", TTextConv::GetFamilyDefault(Text("ISO-2022-JP")).data());
  EXPECT_STREQ("UTF-8", TTextConv::GetFamilyDefault(Text("UCS-4")).data());
  EXPECT_TRUE(TTextConv::GetFamilyDefault(Text("x")).empty());
}

// --- engines ---------------------------------------------------------------------------------------------------------

struct CONVCASE {
  const char* name;
  const char* encoding;
  std::string narrow;
  std::wstring wide;
};

const CONVCASE conversions[] = {
    {"Utf8", "UTF-8", "a\xc3\xa4\xe4\xb8\xad\xf0\x9f\x98\x80", L"a\u00e4\u4e2d\U0001f600"},
    {"Zeros", "UTF-8", "a\0b"s, L"a\0b"s},
    {"Gbk", "GBK", "\xd6\xd0\xce\xc4", L"\u4e2d\u6587"},
    {"ShiftJis", "SHIFT_JIS", "\x93\xfa\x96{\xb1", L"\u65e5\u672c\uff71"},
    {"Utf16", "UTF-16LE", "a\0\x3d\xd8\0\xde"s, L"a\U0001f600"},
    {"ShiftsAndShiftsBack", "ISO-2022-JP", "a\x1b$BF|\x1b(Bb", L"a\u65e5b"},
    {"Cyrillic", "KOI8-R", "\xd2\xd5", L"\u0440\u0443"},
};

class Conversion : public testing::TestWithParam<CONVCASE> {
 protected:
  static void Judge(TTextConv& conv) {
    const CONVCASE& row = GetParam();
    wstringEx wide(L"<");
    conv.AppendMBtoWC(wide, Text(row.narrow));
    EXPECT_EQ(L"<" + row.wide, std::wstring(wide.data(), wide.length()));
    stringEx narrow(">");
    conv.AppendWCtoMB(narrow, wstringEx(std::wstring_view(row.wide)));
    EXPECT_EQ(">" + row.narrow, std::string(narrow.data(), narrow.length()));
    conv.MBtoWC(wide, stringEx());
    EXPECT_TRUE(wide.empty());
    conv.WCtoMB(narrow, wstringEx());
    EXPECT_TRUE(narrow.empty());
    // Many times as long as any buffer, and never cut in the middle of a character.
    std::string many;
    std::wstring manyWide;
    for (int i = 0; i < 1000; ++i) {
      many += row.narrow;
      manyWide += row.wide;
    }
    conv.MBtoWC(wide, Text(many));
    EXPECT_TRUE(manyWide == std::wstring(wide.data(), wide.length()));
    conv.WCtoMB(narrow, wide);
    wstringEx again;
    conv.MBtoWC(again, narrow);
    EXPECT_TRUE(manyWide == std::wstring(again.data(), again.length()));
  }
};

TEST_P(Conversion, GoesBothWaysByIconv) {
  CTextLibIConv conv(Text(GetParam().encoding));
  Judge(conv);
  Judge(*conv.Clone());
  Judge(*CTextLibIConv(Text("ASCII")).Clone(Text(GetParam().encoding)));
}

TEST_P(Conversion, GoesBothWaysByIcu) {
#ifdef ICU_MAJOR
  setenv("QORV_LIBICU_VER", ICU_MAJOR, 1);
  CTextLibIcu conv(Text(GetParam().encoding));
  Judge(conv);
  Judge(*conv.Clone());
#else
  GTEST_SKIP() << "there is no ICU";
#endif
}

INSTANTIATE_TEST_SUITE_P(Every, Conversion, testing::ValuesIn(conversions), rowName);

struct LOSSCASE {
  const char* name;
  const char* encoding;
  std::string narrow;
  std::wstring wide;
};

class Loss : public testing::TestWithParam<LOSSCASE> {};

// What has no place is dropped, and what is cut off at the end too.
TEST_P(Loss, LeavesTheRest) {
  const LOSSCASE& row = GetParam();
  CTextLibIConv conv(Text(row.encoding));
  wstringEx wide;
  conv.MBtoWC(wide, Text(row.narrow));
  EXPECT_EQ(row.wide, std::wstring(wide.data(), wide.length()));
}

const LOSSCASE losses[] = {
    {"NoStart", "UTF-8",
     "a\x80\xff"
     "b",
     L"ab"},
    {"CutOff", "UTF-8", "a\xe4\xb8", L"a"},
    {"CutInTheMiddle", "UTF-8",
     "\xe4\xb8"
     "b",
     L"b"},
    {"NoPair", "GBK", "a\xd6", L"a"},
    {"WrongSecondByte", "GBK",
     "a\xd6 "
     "b",
     L"a b"},
    {"NoPairJis", "SHIFT_JIS", "a\x93", L"a"},
    {"WrongSecondByteJis", "SHIFT_JIS",
     "a\x93 "
     "b",
     L"a b"},
    {"OddUnit", "UTF-16LE", "a\0b"s, L"a"},
    {"LoneSurrogate", "UTF-16LE",
     "\0\xd8"
     "a\0"s,
     L"a"},
    {"NotAscii", "ASCII",
     "a\xe4"
     "b",
     L"ab"},
    {"AllOfIt", "ASCII", std::string(5000, '\xe4'), L""},
};
INSTANTIATE_TEST_SUITE_P(Every, Loss, testing::ValuesIn(losses), rowName);

TEST(Iconv, EndsInTheFirstShift) {
  stringEx narrow;
  CTextLibIConv(Text("ISO-2022-JP")).WCtoMB(narrow, wstringEx(L"\u65e5"));
  EXPECT_STREQ("\x1b$BF|\x1b(B", narrow.data());
}

TEST(Iconv, DropsCharactersWithoutAPlace) {
  CTextLibIConv conv(Text("ISO-8859-1"));
  stringEx narrow;
  conv.WCtoMB(narrow, wstringEx(L"a\u4e2d\u00e4\U0001f600z"));
  EXPECT_STREQ("a\xe4z", narrow.data());
  const wchar_t none[] = {
      L'a', static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0x110000), static_cast<wchar_t>(-1), L'b', 0};
  conv.WCtoMB(narrow, wstringEx(none));
  EXPECT_STREQ("ab", narrow.data());
}

TEST(Iconv, OpensByNameAndByPage) {
  EXPECT_EQ(936u, CTextLibIConv(Text("gbk")).GetCodePage());
  EXPECT_EQ(1140u, CTextLibIConv(Text("CP1140")).GetCodePage());
  EXPECT_EQ(0u, CTextLibIConv(Text("IBM1140")).GetCodePage());
  EXPECT_STREQ("BIG5", CTextLibIConv(950).GetEncoding().data());
  const std::string heading = "3: CTextLibIConv::CTextLibIConv - failed init encoding convertion\n";
  EXPECT_EQ(heading + "  encoding name = klingon (0)",
            FailureOf<Qorv::libiconvExp>([] { CTextLibIConv(Text("klingon")); }));
  EXPECT_EQ(heading + "  code page     = 7", FailureOf<Qorv::libiconvExp>([] { CTextLibIConv(7); }));
  EXPECT_EQ(heading + "  code page     = 20423", FailureOf<Qorv::libiconvExp>([] { CTextLibIConv(20423); }));
}

// One that the system's own functions read beyond the end of, however it is written, and the locale's, which has no name.
TEST(Iconv, RefusesSomeThatTheSystemWouldOpen) {
  for (const char* const name :
       {"iso-2022-cn-ext", " ISO2022CNEXT", "ISO-2022-CN-EXT//TRANSLIT", "", " ", "//"})
    EXPECT_THROW(CTextLibIConv(Text(name)), Qorv::libiconvExp) << name;
}

#ifdef ICU_MAJOR
TEST(Icu, OpensByNameAndByPage) {
  setenv("QORV_LIBICU_VER", ICU_MAJOR, 1);
  EXPECT_NO_THROW(CTextLibIcu(Text("cp65001")));
  EXPECT_NO_THROW(CTextLibIcu(Text("CP1140"))) << "the library has it under this name alone";
  const CTextLibIcu byPage(1252);
  EXPECT_STREQ("windows-1252", byPage.GetEncoding().data());
  EXPECT_EQ(1252u, byPage.Clone()->GetCodePage());
  const std::string heading = "3: CTextLibIcu::CTextLibIcu - failed init encoding convertion\n";
  const std::string error = "\n  error number  = 4\n  error desc    = U_FILE_ACCESS_ERROR";
  EXPECT_EQ(heading + "  encoding name = klingon (0)" + error,
            FailureOf<Qorv::libicuExp>([] { CTextLibIcu(Text("klingon")); }));
  EXPECT_EQ(heading + "  code page     = 7" + error, FailureOf<Qorv::libicuExp>([] { CTextLibIcu(7); }));
}
#endif

TEST(Dll, ReportsWhatIsMissing) {
  EXPECT_THAT(FailureOf<Qorv::dlllExp>(
                  [] { Qorv::CDllLoader(wstringEx(L"none"), wstringEx(L"so"), wstringEx(L"7")); }),
              testing::StartsWith("1: CDllLoader::CDllLoader - error loading dynamic library\n"
                                  "  dll path       = none.so.7\n  path hex code  = 6E6F6E652E736F2E37\n"
                                  "  sys error desc = none.so.7: "));
  const Qorv::CDllLoader library(Text("libc.so.6"));
  EXPECT_NE(nullptr, library.GetProc(Text("strlen")));
  EXPECT_THAT(FailureOf<Qorv::dlllExp>([&] { library.GetProc(Text("no_such")); }),
              testing::StartsWith("2: CDllLoader::GetProc - error locating procedure in dynamic library\n"
                                  "  dll path       = libc.so.6\n  path hex code  = 6C6962632E736F2E36\n"
                                  "  proc name      = no_such\n  sys error desc = "));
}

TEST(Dll, UnloadsOnceAndSaysWhatFailed) {
  Qorv::CDllLoader library(Text("libc.so.6"));
  EXPECT_TRUE(library.WasLoaded());
  TestSupport::Refuse("dlclose", -1);
  EXPECT_EQ(
      "3: CDllLoader::~CDllLoader - error unloading dynamic library\n  dll path       = libc.so.6\n"
      "  path hex code  = 6C6962632E736F2E36\n  sys error desc = unknwon system error",
      FailureOf<Qorv::dlllExp>([&] { library.Unload(); }));
  EXPECT_NO_THROW(library.Unload());
  EXPECT_THAT(FailureOf<Qorv::dlllExp>([&] { library.GetProc(Text("strlen")); }), testing::StartsWith("2: "));
}

#ifdef ICU_MAJOR
TEST(Dll, LibraryThatStaysLoadedDoesNoHarm) {
  setenv("QORV_LIBICU_VER", ICU_MAJOR, 1);
  TestSupport::Refuse("dlclose", -1);
  { CTextLibIcu conv(Text("GBK")); }
  EXPECT_EQ(0, TestSupport::refusal.left) << "the last user unloads";
  EXPECT_NO_THROW(CTextLibIcu(Text("GBK")));
}
#endif

}  // namespace
