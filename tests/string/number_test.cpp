// Numbers out of text and into it.
#include <gtest/gtest.h>

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <utility>

#include <qorv/string.h>

#include "support/row_name.h"

namespace {

using Qorv::byteEx;
using Qorv::npos;
using Qorv::stringEx;
using Qorv::wstringEx;

constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();

struct IntegerRow {
  const char* name;
  std::string text;
  int base;
  std::int64_t expected;
  std::uint64_t consumed;
  bool isOverflow = false;
  std::uint32_t flags = 0;
};

const IntegerRow integers[] = {
    {"BlanksAndRest", "  -12abc", 10, -12, 5},
    {"Empty", "", 10, 0, 0},
    {"SpaceOnly", " \t", 10, 0, 0},
    {"SignOnly", "-", 10, 0, 0},
    {"NoDigit", " +x", 10, 0, 0},
    {"FormFeed", "\f12", 10, 0, 0},
    {"ZeroElementIsSpace", std::string("\0\v7", 3), 10, 7, 3},
    {"DetectHex", "0xfFg", -1, 255, 4},
    {"DetectBinary", "-0B102", -1, -2, 5},
    {"DetectOctal", "0778", -1, 63, 3},
    {"DetectDecimal", "99", -1, 99, 2},
    {"PrefixWithoutDigit", "0x", -1, 0, 1},
    {"PrefixWithWrongDigit", "0b2", -1, 0, 1},
    {"GivenBaseSkipsNoPrefix", "0x10", 16, 0, 1},
    {"Base36", "zZ", 36, 35 * 36 + 35, 2},
    {"BaseTooSmall", "1", 1, 0, 0},
    {"BaseTooLarge", "1", 37, 0, 0},
    {"Most", "9223372036854775807", 10, most, 19},
    {"OneAbove", "9223372036854775808", 10, most, 18, true},
    {"Least", "-9223372036854775808", 10, least, 20},
    {"OneBelow", "-9223372036854775809", 10, least, 19, true},
    {"UnsignedMost", "18446744073709551615", 10, -1, 20, false, Qorv::numberFlag::isUnsigned},
    {"UnsignedMinus", "-2", 10, -2, 2, false, Qorv::numberFlag::isUnsigned},
    {"UnsignedMinusOverflow", "-18446744073709551616", 10, -1, 20, true, Qorv::numberFlag::isUnsigned},
    {"UnsignedAbove", "18446744073709551616", 10, -1, 19, true, Qorv::numberFlag::isUnsigned},
};

class Integer : public testing::TestWithParam<IntegerRow> {};

TEST_P(Integer, IsReadFromEveryKind) {
  const IntegerRow& row = GetParam();
  const std::wstring wide(row.text.begin(), row.text.end());
  const std::basic_string<unsigned char> bytes(row.text.begin(), row.text.end());
  std::uint64_t consumed = 99;
  errno = 0;
  EXPECT_EQ(stringEx(row.text).to_int64(row.base, row.flags, &consumed), row.expected);
  EXPECT_EQ(consumed, row.consumed);
  EXPECT_EQ(errno, row.isOverflow ? ERANGE : 0);
  EXPECT_EQ(wstringEx(wide.data(), wide.size()).to_int64(row.base, row.flags), row.expected);
  EXPECT_EQ(byteEx(bytes.data(), bytes.size()).to_int64(row.base, row.flags), row.expected);
}

TEST(Integer, TakesNoElementForItsLowByte) {
  std::uint64_t consumed = 99;
  EXPECT_EQ(wstringEx(L"\u01201\u0130").to_int64(10, 0, &consumed), 0);  // as a byte a blank
  EXPECT_EQ(consumed, 0U);
  EXPECT_EQ(wstringEx(L"1\u0130").to_int64(10, 0, &consumed), 1);  // as a byte "0"
  EXPECT_EQ(consumed, 1U);
}

INSTANTIATE_TEST_SUITE_P(Number, Integer, testing::ValuesIn(integers), rowName);

struct RealRow {
  const char* name;
  std::string text;
  double expected;
  std::uint64_t consumed;
  bool isRangeError = false;
};

constexpr double infinity = std::numeric_limits<double>::infinity();

std::string Run(std::size_t length, char digit) {
  return std::string(length, digit);
}

const RealRow reals[] = {
    {"Plain", " 34.25-", 34.25, 6},
    {"PointOnly", ".5", 0.5, 2},
    {"TrailingPoint", "7.x", 7, 1},
    {"ExponentBehindAPoint", "7.e2", 7, 1},
    {"LonePoint", ".", 0, 0},
    {"Exponent", "-12.5e-1", -1.25, 8},
    {"ExponentWithoutDigit", "3e+", 3, 1},
    {"NoHex", "0x10", 0, 1},
    {"NoInf", "inf", 0, 0},
    {"Overflow", "1e400", infinity, 5, true},
    {"NegativeOverflow", "-1e999999999999999999999", -infinity, 24, true},
    {"Underflow", "1e-400", 0, 6, true},
    {"ZeroIsNoUnderflow", "0e-99999", 0, 8},
    {"Hundred", "100.0", 100, 5},
    {"ZeroOfManyDigits", "0.000e99999999", 0, 14},
    {"ZerosBehindThePoint", "1." + Run(5000, '0'), 1, 5002},
    {"OnesBehindThePoint", "0." + Run(5000, '1'), 1.0 / 9, 5002},
    {"ZerosTakenBack", "1" + Run(5000, '0') + "e-5000", 1, 5007},
    {"NinesTakenBack", Run(6000, '9') + "." + Run(6000, '9') + "e-6000", 1, 12'007},
    {"LowPlaceTakenBack", "0." + Run(150'000, '0') + "1e150001", 1, 150'010},
    {"OverflowOfDigits", Run(5000, '1'), infinity, 5000, true},
};

class Real : public testing::TestWithParam<RealRow> {};

TEST_P(Real, IsRead) {
  const RealRow& row = GetParam();
  std::uint64_t consumed = 99;
  errno = 0;
  EXPECT_DOUBLE_EQ(stringEx(row.text).to_double(0, npos, &consumed), row.expected);
  EXPECT_EQ(consumed, row.consumed);
  EXPECT_EQ(errno, row.isRangeError ? ERANGE : 0);
}

INSTANTIATE_TEST_SUITE_P(Number, Real, testing::ValuesIn(reals), rowName);

TEST(Number, IsReadFromAPart) {
  const stringEx text("12-345.75e1");
  struct Row {
    std::uint64_t position;
    std::uint64_t length;
    std::int64_t integer;
    std::uint64_t integerConsumed;
    double real;
    std::uint64_t realConsumed;
  };
  const Row rows[] = {
      {0, npos, 12, 2, 12, 2},     {1, 1, 2, 1, 2, 1}, {2, 3, -34, 3, -34, 3}, {2, npos, -345, 4, -3457.5, 9},
      {2, 8, -345, 4, -345.75, 7}, {2, 0, 0, 0, 0, 0}, {11, npos, 0, 0, 0, 0}, {npos, npos, 0, 0, 0, 0},
  };
  for (const Row& row : rows) {
    std::uint64_t consumed = 99;
    EXPECT_EQ(text.to_int64(row.position, row.length, 10, 0, &consumed), row.integer) << row.position;
    EXPECT_EQ(consumed, row.integerConsumed) << row.position;
    EXPECT_DOUBLE_EQ(text.to_double(row.position, row.length, &consumed), row.real) << row.position;
    EXPECT_EQ(consumed, row.realConsumed) << row.position;
  }
}

class CRandomText {
 public:
  explicit CRandomText(std::string_view elements) : elements_(elements) {}
  std::string Next() {
    std::string text(random_() % 24, ' ');
    for (char& element : text)
      element = elements_[random_() % elements_.size()];
    return text;
  }

 private:
  std::mt19937_64 random_{20};
  std::string_view elements_;
};

bool HasPrefix(const std::string& text) {
  return text.find_first_of("xX") != std::string::npos || text.find("0b") != std::string::npos ||
         text.find("0B") != std::string::npos;
}

// A binary prefix, and any prefix with a given base, are read by different rules.
TEST(Number, IsReadAsTheSystemReadsIt) {
  CRandomText texts("00112345678899abBxXfzZ+-  \t");
  for (int i = 0; i < 200'000; ++i) {
    const std::string text = texts.Next();
    for (const auto& [base, systemBase] : {std::pair(-1, 0), {2, 2}, {8, 8}, {10, 10}, {16, 16}, {36, 36}}) {
      if (base != 8 && base != 10 && base != 36 && HasPrefix(text)) continue;
      for (const bool isUnsigned : {false, true}) {
        char* end = nullptr;
        errno = 0;
        const std::int64_t expected =
            isUnsigned ? static_cast<std::int64_t>(std::strtoull(text.c_str(), &end, systemBase))
                       : std::strtoll(text.c_str(), &end, systemBase);
        const int expectedError = errno;
        std::uint64_t consumed = 99;
        errno = 0;
        const std::int64_t value =
            stringEx(text).to_int64(base, isUnsigned ? Qorv::numberFlag::isUnsigned : 0, &consumed);
        ASSERT_EQ(value, expected) << '"' << text << "\" base " << base;
        ASSERT_EQ(errno, expectedError) << '"' << text << "\" base " << base;
        if (errno == 0) {
          ASSERT_EQ(consumed, static_cast<std::uint64_t>(end - text.c_str())) << text;
        }
      }
    }
  }
}

// The text up to its first point that has no digit behind it: the system takes such a point, too.
std::string CutAtPoint(const std::string& text) {
  std::size_t point = text.find('.');
  while (point != std::string::npos && std::isdigit(static_cast<unsigned char>(text[point + 1])) != 0)
    point = text.find('.', point + 1);
  return text.substr(0, point);
}

TEST(Number, RealIsReadAsTheSystemReadsIt) {
  CRandomText texts("0123456789.eE+- 125");
  for (int i = 0; i < 200'000; ++i) {
    const std::string text = texts.Next();
    const std::string cut = CutAtPoint(text);
    char* end = nullptr;
    const double expected = std::strtod(cut.c_str(), &end);
    std::uint64_t consumed = 99;
    ASSERT_DOUBLE_EQ(stringEx(text).to_double(0, npos, &consumed), expected) << '"' << text << '"';
    ASSERT_EQ(consumed, static_cast<std::uint64_t>(end - cut.c_str())) << '"' << text << '"';
  }
}

TEST(Number, IsWrittenInEveryBase) {
  struct Row {
    std::int64_t value;
    int base;
    const char* expected;
  };
  const Row rows[] = {
      {0, 10, "0"},
      {-255, 10, "-255"},
      {-255, 16, "FF"},
      {35, 36, "Z"},
      {5, 2, "101"},
      {5, 1, "0"},
      {5, 37, "0"},
      {least, 10, "-9223372036854775808"},
      {least, 2, "1000000000000000000000000000000000000000000000000000000000000000"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(stringEx().append_int(row.value, row.base), row.expected);
  EXPECT_EQ(stringEx("n").append_uint(~0ULL), "n18446744073709551615");
  EXPECT_EQ(wstringEx(L"n").append_int(-3), L"n-3");
}

}  // namespace
