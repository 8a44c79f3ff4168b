// Names of months, weekdays and zones.
#include <gtest/gtest.h>

#include <optional>

#include <qorv/time.h>

#include "support/row_name.h"

namespace {

using Qorv::CTime;
using Qorv::stringEx;
using Qorv::wstringEx;

struct NameRow {
  const char* name;
  const char* text;
  std::uint32_t month;
  std::uint32_t weekday;
};

const NameRow nameRows[] = {
    {"WholeMonth", "september", 9, 7},
    {"ThreeLettersOfAMonth", "Dec", 12, 7},
    {"MonthAmongBlanks", " \tJANUARY\n", 1, 7},
    {"MayIsBoth", "may", 5, 7},
    {"WholeDay", "Wednesday", 0, 3},
    {"ThreeLettersOfADay", "SUN", 0, 0},
    {"LastDay", "saturday", 0, 6},
    {"CutInBetween", "janu", 0, 7},
    {"TooShort", "ja", 0, 7},
    {"GoesOn", "mayor", 0, 7},
    {"OtherLettersBehindThree", "marxh", 0, 7},
    {"NumberAsItStands", " 13 ", 13, 13},
    {"Zero", "0", 0, 0},
    {"LargestNumber", "4294967295", 4294967295, 4294967295},
    {"NumberTooLarge", "4294967296", 0, 7},
    {"NumberBeyondEverything", "99999999999999999999", 0, 7},
    {"NumberWithMore", "1st", 0, 7},
    {"Negative", "-1", 0, 7},
    {"WithPlus", " +5", 5, 5},
    {"PlusAlone", "+", 0, 7},
    {"Empty", "", 0, 7},
    {"Blank", "  ", 0, 7},
};

class Names : public testing::TestWithParam<NameRow> {};

TEST_P(Names, AreReadNarrowAndWide) {
  const NameRow& row = GetParam();
  const stringEx narrow(row.text);
  const wstringEx wide = narrow.to_wide();
  EXPECT_EQ(row.month, CTime::ParseMonthName(narrow));
  EXPECT_EQ(row.month, CTime::ParseMonthName(wide));
  EXPECT_EQ(row.weekday, CTime::ParseDayName(narrow));
  EXPECT_EQ(row.weekday, CTime::ParseDayName(wide));
}
INSTANTIATE_TEST_SUITE_P(Every, Names, testing::ValuesIn(nameRows), rowName);

TEST(WideNames, LettersAreNotCutDownToNarrowOnes) {
  EXPECT_EQ(0U, CTime::ParseMonthName(L"\x16a\x161n"));
}

constexpr int none = 100000;

struct ZoneRow {
  const char* name;
  const char* text;
  int minutes;
};

const ZoneRow zoneRows[] = {
    {"System", "Local", -32768},       {"NoZone", " NOTZ ", 0},
    {"HoursAndMinutes", "+0530", 330}, {"West", "-0930", -570},
    {"HoursAlone", "8", 480},          {"OneHourDigit", "-130", -90},
    {"Largest", "9959", 5999},         {"SixtyMinutes", "+0160", none},
    {"FiveDigits", "01000", none},     {"SignAlone", "+", none},
    {"TwoSigns", "+-1", none},         {"SignBehind", "1-", none},
    {"OtherCase", "local", none},      {"Empty", "", none},
    {"Colon", "05:30", none},
};

class Zones : public testing::TestWithParam<ZoneRow> {};

TEST_P(Zones, AreRead) {
  const std::optional<std::int16_t> zone = Qorv::ParseZone(GetParam().text);
  EXPECT_EQ(GetParam().minutes, zone ? *zone : none);
}
INSTANTIATE_TEST_SUITE_P(Every, Zones, testing::ValuesIn(zoneRows), rowName);

}  // namespace
