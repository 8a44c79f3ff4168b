// The escapes of calendar times.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include <qorv/time.h>

#include "support/row_name.h"

namespace {

using Qorv::CTime;
using Qorv::stringEx;
using Qorv::wstringEx;

constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();

// Microseconds since the epoch.
std::int64_t At(std::int32_t year, std::uint32_t month, std::int32_t day, std::int32_t hour = 0,
                std::int32_t minute = 0, std::int32_t second = 0, std::int32_t microsecond = 0) {
  CTime time;
  time.Set(year, month, day, hour, minute, second, microsecond, 0);
  return time.GetValue();
}

const std::int64_t sunday = At(2024, 3, 3, 16, 5, 9, 7008);

struct FormatRow {
  const char* name;
  std::int64_t value;
  std::int16_t zone;
  const char* format;
  const char* expected;
};

const FormatRow formatRows[] = {
    {"LogLine", sunday, 480, "[%Y-%M-%d %H:%T:%S.%us UTC%Z][", "[2024-03-04 00:05:09.007008 UTC+0800]["},
    {"FileName", sunday, 0, "tolk_%Y%M%d-%H%T.log", "tolk_20240303-1605.log"},
    {"Names", sunday, 0, "%B %A", "Sun Mar"},
    {"FirstAndLastNames", At(1969, 12, 27), 0, "%B %A", "Sat Dec"},
    {"DayOfYear", sunday, 0, "%D", "063"},
    {"SundayIsSeven", sunday, 0, "%W", "7"},
    {"MondayIsOne", sunday, 480, "%W", "1"},
    {"Milliseconds", sunday, 0, "%ms", "007"},
    {"Afternoon", sunday, 0, "%h %P %p", "4 PM pm"},
    {"AfterMidnight", At(2024, 1, 1, 0, 30), 0, "%h %P %p", "12 AM am"},
    {"BeforeNoon", At(2024, 1, 1, 11, 59), 0, "%h %P %p", "11 AM am"},
    {"Noon", At(2024, 1, 1, 12, 30), 0, "%h %P %p", "12 PM pm"},
    {"HalfPastOne", At(2024, 1, 1, 13, 30), 0, "%h", "1"},
    {"ZoneEast", sunday, 330, "%Z %z", "+0530 330"},
    {"ZoneWest", sunday, -90, "%Z %z", "-0130 -90"},
    {"ZoneWestByMinutes", sunday, -5, "%Z %z", "-0005 -5"},
    {"ZoneOfUtc", sunday, 0, "UTC%Z %z", "UTC+0000 0"},
    {"ZoneWithoutBounds", sunday, 32767, "%Z", "+54607"},
    {"TwoDigitYears", At(2024, 1, 1), 0, "%y", "24"},
    {"FirstTwoDigitYear", At(1970, 1, 1), 0, "%y", "70"},
    {"LastTwoDigitYear", At(2038, 1, 1), 0, "%y", "38"},
    {"YearsTwoDigitsShow", At(2005, 1, 1), 0, "%y", "05"},
    {"BeforeTwoDigitYears", At(1969, 1, 1), 0, "%y", "1969"},
    {"BehindTwoDigitYears", At(2039, 1, 1), 0, "%y", "2039"},
    {"EarlyYear", At(7, 1, 1), 0, "%Y %y %C", "7 07 1"},
    {"YearBeforeOne", At(-1, 12, 31), 0, "%Y %y %C", "-1 -1 -1"},
    {"CenturyBeforeOne", At(-100, 12, 31), 0, "%C", "-2"},
    {"Century", At(2000, 12, 31), 0, "%C", "21"},
    {"WeekOfANinthOfJanuary", At(2024, 1, 23), 0, "%Y-Week%wm", "2024-Week04"},
    {"Smallest", smallest, 0, "%Y-%M-%d %H:%T:%S.%us %C", "-290309-12-21 19:59:05.224192 -2904"},
    {"Largest", largest, 32767, "%Y-%M-%d %H:%T:%S.%us %C", "294247-02-01 22:07:54.775807 2943"},
    {"DoubledMarker", sunday, 0, "%%Y %%%Y", "%Y %2024"},
    {"MarkerAtTheEnd", sunday, 0, "%M%", "03%"},
    {"UnknownKeysStay", sunday, 0, "%x %w %m %u %wM%M", "%x %w %m %u %wM03"},
    {"KeyCutByTheEnd", sunday, 0, "%w", "%w"},
    {"Empty", sunday, 0, "", ""},
};

class TimeFormat : public testing::TestWithParam<FormatRow> {};

TEST_P(TimeFormat, AppendsNarrowAndWide) {
  const FormatRow& row = GetParam();
  stringEx narrow("at ");
  CTime(row.value).Format(narrow, row.format, row.zone);
  EXPECT_EQ(std::string("at ") + row.expected, narrow.data());

  const auto widen = [](const std::string& text) { return std::wstring(text.begin(), text.end()); };
  wstringEx wide(L"at ");
  CTime(row.value).Format(wide, widen(row.format).c_str(), row.zone);
  EXPECT_EQ(L"at " + widen(row.expected), wide.data());
}
INSTANTIATE_TEST_SUITE_P(Every, TimeFormat, testing::ValuesIn(formatRows), rowName);

struct WeekRow {
  const char* name;
  std::int32_t year;
  std::uint32_t month;
  std::int32_t day;
  const char* expected;  // "%wm %ws"
};

const WeekRow weekRows[] = {
    {"BeforeTheFirstMonday", 2025, 1, 1, "01 01"},  // a Wednesday
    {"FirstSunday", 2025, 1, 5, "01 01"},
    {"FirstMonday", 2025, 1, 6, "01 01"},
    {"SecondSunday", 2025, 1, 12, "01 02"},
    {"SecondMonday", 2025, 1, 13, "02 02"},
    {"YearThatStartsOnMonday", 2024, 1, 1, "01 01"},
    {"ItsFirstSunday", 2024, 1, 7, "01 01"},
    {"ItsSecondMonday", 2024, 1, 8, "02 01"},
    {"YearThatStartsOnSunday", 2023, 1, 1, "01 01"},
    {"ItsSecondSunday", 2023, 1, 8, "01 02"},
    {"LastOfALeapYear", 2024, 12, 31, "53 52"},
};

class WeekFormat : public testing::TestWithParam<WeekRow> {};

TEST_P(WeekFormat, CountsFromTheFirstStartOfAWeek) {
  const WeekRow& row = GetParam();
  stringEx text;
  CTime(At(row.year, row.month, row.day)).Format(text, "%wm %ws", 0);
  EXPECT_STREQ(row.expected, text.data());
}
INSTANTIATE_TEST_SUITE_P(Every, WeekFormat, testing::ValuesIn(weekRows), rowName);

TEST(TimeFormatInPlace, TheTargetOrAPartOfItMayBeTheFormat) {
  stringEx text("%Y-%M");
  CTime(sunday).Format(text, text, 0);
  EXPECT_STREQ("%Y-%M2024-03", text.data());
  CTime(sunday).Format(text, text.part({3, 2}), 0);
  EXPECT_STREQ("%Y-%M2024-0303", text.data());
}

}  // namespace
