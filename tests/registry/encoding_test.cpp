// Text on its way between the process's encoding and the UTF-8 of images. Each case is a process of its own, for the encoding
// is asked for once.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "support/row_name.h"

namespace {

struct CONVERSION {
  const char* name;
  const char* environment;
  const char* memory;  // hexadecimal
  const char* image;
};

// Both ways.
const CONVERSION conversions[] = {
    {"Utf8", "QORV_DEFAULT_MBCS=UTF-8", "C3A4", "C3A4"},
    {"InvalidUtf8", "QORV_DEFAULT_MBCS=UTF-8", "C3", "C3"},
    {"Latin", "QORV_DEFAULT_MBCS=ISO-8859-1", "78E4", "78C3A4"},
    {"LatinPlain", "QORV_DEFAULT_MBCS=ISO-8859-1", "7879", "7879"},
    {"Big5", "QORV_DEFAULT_MBCS=BIG5", "A4A4", "E4B8AD"},
    {"InvalidBig5", "QORV_DEFAULT_MBCS=BIG5", "78A4", "78A4"},
    {"BeyondTheFirstPlane", "QORV_DEFAULT_MBCS=GB18030", "9439FC36", "F09F9880"},
    {"PlainBytesWithAMeaning", "QORV_DEFAULT_MBCS=ISO-2022-JP", "1B2442467C1B2842", "E697A5"},
    {"NoAscii", "QORV_DEFAULT_MBCS=IBM1140", "C1", "41"},
    {"BeyondAscii", "QORV_DEFAULT_MBCS=ASCII", "78C3A4", "78C3A4"},
    {"BySystem", "QORV_DEFAULT_MBCS=BIG5 QORV_TEXTCONV_IGNORE_LIST=iconv,icu", "A4A4", "A4A4"},
    {"ByNothing", "QORV_DEFAULT_MBCS=BIG5 QORV_TEXTCONV_IGNORE_LIST=iconv,icu,isoc", "A4", "C2A4"},
};

std::string OutputOf(const CONVERSION& row, const std::string& task) {
  const std::string command = "env -u LC_ALL -u LC_CTYPE -u LANG -u QORV_TEXTCONV_IGNORE_LIST " +
                              std::string(row.environment) + " " ENCODING_CHILD " " + task;
  std::FILE* const pipe = popen(command.c_str(), "r");
  std::string output;
  for (int c; (c = std::fgetc(pipe)) != EOF;)
    output += static_cast<char>(c);
  EXPECT_EQ(pclose(pipe), 0) << command;
  return output;
}

// As an item of an image.
std::string Item(const std::string& text) {
  std::string item = "0A 0";
  (item += std::to_string(text.size() / 2)) += " 00 00 00";
  for (std::size_t i = 0; i < text.size(); i += 2)
    (item += ' ') += text.substr(i, 2);
  return item;
}

class Conversion : public testing::TestWithParam<CONVERSION> {};

TEST_P(Conversion, GoesBothWays) {
  const std::string saved = OutputOf(GetParam(), std::string("save ") + GetParam().memory);
  const std::string item = Item(GetParam().image);
  std::size_t count = 0;
  for (std::size_t at = 0; (at = saved.find(item, at)) != std::string::npos; ++at)
    ++count;
  EXPECT_EQ(count, 4U) << saved;  // two names, a text, a string of a set
  const std::string read = OutputOf(GetParam(), std::string("open ") + GetParam().image);
  EXPECT_EQ(read, std::string(GetParam().memory) + " " + GetParam().memory);
}

// Name by name: what parts them is a backslash in rows, whatever it is in the encoding.
TEST_P(Conversion, GoesBothWaysInRows) {
  const std::string text = GetParam().image;
  const std::string key = "2C22222C4B45592C22220A";  // ,"",KEY,""
  const std::string rows = "2222" + key + text + key + text + "5C" + text + key + text + "5C" + text + "2C" +
                           text + "2C535452494E472C" + text + "0A";
  EXPECT_EQ(OutputOf(GetParam(), std::string("rows ") + GetParam().memory), rows + " the same");
}

TEST_P(Conversion, GoesBothWaysInDiffs) {
  const std::string text = GetParam().image;
  const std::string output = OutputOf(GetParam(), std::string("diff ") + GetParam().memory);
  EXPECT_NE(output.find("80 03 " + Item(text + "5C" + text)), std::string::npos) << output;
  EXPECT_TRUE(output.ends_with("the same")) << output;
}

INSTANTIATE_TEST_SUITE_P(Rows, Conversion, testing::ValuesIn(conversions), rowName);

// The letter is A55C in this encoding, and 5C parts names.
TEST(Text, ThatBecomesAPathIsRefusedAsAName) {
  const CONVERSION row{"", "QORV_DEFAULT_MBCS=BIG5", "", ""};
  EXPECT_EQ(OutputOf(row, "names E58A9F"), "refused refused 0");
  EXPECT_EQ(OutputOf(row, "names E4B8AD"), "done done 1");
}

// Letters that the encoding does not have, and what is no UTF-8, are not dropped.
const CONVERSION keptAsBytes[] = {
    {"NoSuchLetter", "QORV_DEFAULT_MBCS=ISO-8859-1", "E282AC", "E282AC"},
    {"CutUtf8", "QORV_DEFAULT_MBCS=ISO-8859-1", "78C3", "78C3"},
    {"LongFormOfUtf8", "QORV_DEFAULT_MBCS=ISO-8859-1", "C080", "C080"},
    {"LongFormOfThree", "QORV_DEFAULT_MBCS=GB18030", "E08080", "E08080"},
    {"SurrogateInUtf8", "QORV_DEFAULT_MBCS=GB18030", "EDA080", "EDA080"},
    {"AboveUnicode", "QORV_DEFAULT_MBCS=GB18030", "F4908080", "F4908080"},
};

class KeptAsBytes : public testing::TestWithParam<CONVERSION> {};

TEST_P(KeptAsBytes, WhenRead) {
  EXPECT_EQ(OutputOf(GetParam(), std::string("open ") + GetParam().image),
            std::string(GetParam().memory) + " " + GetParam().memory);
}

INSTANTIATE_TEST_SUITE_P(Rows, KeptAsBytes, testing::ValuesIn(keptAsBytes), rowName);

}  // namespace
