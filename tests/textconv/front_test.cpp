// What the front chooses in which environment, seen from outside: it is asked for once in a process.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "support/row_name.h"

namespace {

struct FRONTCASE {
  const char* name;
  const char* environment;  // on top of one without any locale
  const char* task;
  const char* expected;
};

class Front : public testing::TestWithParam<FRONTCASE> {};

TEST_P(Front, FollowsTheEnvironment) {
  std::string command =
      "env -u LC_ALL -u LC_CTYPE -u LANG -u QORV_DEFAULT_MBCS -u QORV_TEXTCONV_IGNORE_LIST -u "
      "QORV_LIBICU_VER ";
#ifdef ICU_MAJOR
  command += "QORV_LIBICU_VER=" ICU_MAJOR " ";
#else
  if (std::string(GetParam().expected).find("Icu") != std::string::npos) GTEST_SKIP() << "there is no ICU";
#endif
  command += std::string(GetParam().environment) + " " CONV_CHILD " " + GetParam().task;
  FILE* const pipe = popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::string output;
  for (int c; (c = std::fgetc(pipe)) != EOF;)
    output += static_cast<char>(c);
  EXPECT_EQ(pclose(pipe), 0);
  EXPECT_EQ(output, GetParam().expected);
}

const FRONTCASE cases[] = {
    {"Nothing", "", "", "ASCII en_US 0 CTextLibIConv 437"},
    {"LangWithoutEncoding", "LANG=C", "", "ASCII C 0 CTextLibIConv 437"},
    {"Lang", "LANG=de_DE.UTF-8", "", "UTF-8 de_DE 1 CTextLibIConv 65001"},
    {"Modifier", "LC_CTYPE=zh_CN.GBK@stroke", "", "GBK zh_CN 0 CTextLibIConv 936"},
    {"TypeBeforeLang", "LANG=de_DE.UTF-8 LC_CTYPE=ja_JP.SHIFT_JIS", "",
     "SHIFT_JIS de_DE 0 CTextLibIConv 932"},
    {"AllComesLast", "LC_ALL=ja_JP.EUC-JP LANG=de_DE.UTF-8", "", "UTF-8 de_DE 1 CTextLibIConv 65001"},
    {"AllAlone", "LC_ALL=ja_JP.EUC-JP", "", "EUC-JP ja_JP 0 CTextLibIConv 51932"},
    {"TypeWithoutEncodingGoesOn", "LC_CTYPE=C LANG=el_GR.ISO-8859-7", "",
     "ISO-8859-7 el_GR 0 CTextLibIConv 28597"},
    {"EmptyEncodingGoesOn", "LC_CTYPE='ru_RU. @x' LC_ALL=ru_RU.KOI8-R", "",
     "KOI8-R ru_RU 0 CTextLibIConv 20866"},
    {"Given", "LANG=de_DE.UTF-8 QORV_DEFAULT_MBCS=' big5 '", "", "big5 de_DE 0 CTextLibIConv 950"},
    {"GivenNothing", "LANG=de_DE.utf-8 QORV_DEFAULT_MBCS=", "", "utf-8 de_DE 1 CTextLibIConv 65001"},
    {"UnknownToAll", "QORV_DEFAULT_MBCS=klingon", "", "klingon en_US 0 CIsoSysDefConv 0"},
    {"NotInTheTable", "QORV_DEFAULT_MBCS=IBM1140", "", "IBM1140 en_US 0 CTextLibIConv 0"},
    {"WithoutIconv", "LANG=de_DE.UTF-8 QORV_TEXTCONV_IGNORE_LIST=iconv", "",
     "UTF-8 de_DE 1 CTextLibIcu 65001"},
    {"WithoutBoth", "LANG=de_DE.UTF-8 QORV_TEXTCONV_IGNORE_LIST='iconv;ICU'", "",
     "UTF-8 de_DE 1 CIsoSysDefConv 65001"},
    {"WithoutAny", "QORV_TEXTCONV_IGNORE_LIST=' IConv / icu|isoc,msw,what,'", "",
     "ASCII en_US 0 TTextConv 437"},
    {"IconvMissing", "LANG=x.UTF-8 HIDDEN_LIBRARIES=libc.so", "", "UTF-8 x 1 CTextLibIcu 65001"},
    {"IconvWithoutSymbols", "LANG=x.UTF-8 HIDDEN_SYMBOLS=iconv_close", "", "UTF-8 x 1 CTextLibIcu 65001"},
    {"BothMissing", "LANG=x.UTF-8 HIDDEN_LIBRARIES=.so", "", "UTF-8 x 1 CIsoSysDefConv 65001"},
    {"BothWithoutSymbols", "LANG=x.UTF-8 HIDDEN_SYMBOLS=o", "", "UTF-8 x 1 CIsoSysDefConv 65001"},
    {"AnotherVersion", "LANG=x.UTF-8 QORV_TEXTCONV_IGNORE_LIST=iconv QORV_LIBICU_VER=99", "",
     "UTF-8 x 1 CIsoSysDefConv 65001"},

    {"WideByIconv", "LANG=x.UTF-8", "wide 41c3a4f09f9880", "41 e4 1f600 "},
    {"WideByIcu", "LANG=x.UTF-8 QORV_TEXTCONV_IGNORE_LIST=iconv", "wide 41c3a4f09f9880", "41 e4 1f600 "},
    {"WideByTheSystem", "LANG=x.UTF-8 QORV_TEXTCONV_IGNORE_LIST=iconv,icu", "wide 4142", "41 42 "},
    {"WideByTheSystemFallsBack", "LANG=x.UTF-8 QORV_TEXTCONV_IGNORE_LIST=iconv,icu", "wide 41c3a4",
     "41 c3 a4 "},
    {"WideByNothing", "QORV_TEXTCONV_IGNORE_LIST=iconv,icu,isoc", "wide 41c3a400", "41 c3 a4 0 "},
    {"NarrowByIconv", "LANG=x.GBK", "narrow 410000002d4e0000", "41 d6 d0 "},
    {"NarrowByIcu", "LANG=x.GBK QORV_TEXTCONV_IGNORE_LIST=iconv", "narrow 410000002d4e0000", "41 d6 d0 "},
    {"NarrowByTheSystemFallsBack", "QORV_TEXTCONV_IGNORE_LIST=iconv,icu", "narrow 410000002d4e0000",
     "41 2d "},
    {"IcuIsLoadedAfreshAndLostForGood", "", "reload",
     "65001|failed load dynamic library\n@ CDllLoader::CDllLoader - error loading dynamic library\n"
     "  dll path       = libicuuc.so.99\n  path hex code  = 6C696269637575632E736F2E3939\n"
     "  sys error desc = libicuuc.so.99: cannot open shared object file: No such file or directory"
     "|CTextLibIcu::__AddRef - libicu could not be loaded (early fault)"},
    {"EachThreadHasItsOwn", "LANG=x.UTF-8", "thread", "1"},
};
INSTANTIATE_TEST_SUITE_P(Every, Front, testing::ValuesIn(cases), rowName);

}  // namespace
