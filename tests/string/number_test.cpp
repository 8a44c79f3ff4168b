// Numbers out of text and into it.
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include <qorv/string.h>

#include "support/row_name.h"

namespace {

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
    {"UnsignedAbove", "18446744073709551616", 10, -1, 19, true, Qorv::numberFlag::isUnsigned},
};

class Integer : public testing::TestWithParam<IntegerRow> {};

TEST_P(Integer, IsReadFromBothWidths) {
  const IntegerRow& row = GetParam();
  const std::wstring wide(row.text.begin(), row.text.end());
  std::uint64_t consumed = 99;
  errno = 0;
  EXPECT_EQ(stringEx(row.text).to_int64(row.base, row.flags, &consumed), row.expected);
  EXPECT_EQ(consumed, row.consumed);
  EXPECT_EQ(errno, row.isOverflow ? ERANGE : 0);
  EXPECT_EQ(wstringEx(wide.data(), wide.size()).to_int64(row.base, row.flags), row.expected);
}

INSTANTIATE_TEST_SUITE_P(Number, Integer, testing::ValuesIn(integers), rowName);

struct RealRow {
  const char* name;
  const char* text;
  double expected;
  std::uint64_t consumed;
  bool isRangeError = false;
};

constexpr double infinity = std::numeric_limits<double>::infinity();

const RealRow reals[] = {
    {"Plain", " 34.25-", 34.25, 6},
    {"PointOnly", ".5", 0.5, 2},
    {"TrailingPoint", "7.x", 7, 2},
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
};

class Real : public testing::TestWithParam<RealRow> {};

TEST_P(Real, IsRead) {
  const RealRow& row = GetParam();
  std::uint64_t consumed = 99;
  errno = 0;
  EXPECT_DOUBLE_EQ(stringEx(row.text).to_double(0, &consumed), row.expected);
  EXPECT_EQ(consumed, row.consumed);
  EXPECT_EQ(errno, row.isRangeError ? ERANGE : 0);
}

INSTANTIATE_TEST_SUITE_P(Number, Real, testing::ValuesIn(reals), rowName);

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
