// The escapes of time spans.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include <qorv/time.h>

#include "support/row_name.h"

namespace {

using Qorv::CTimeSpan;
using Qorv::stringEx;
using Qorv::wstringEx;

constexpr std::int64_t second = 1000000;
constexpr std::int64_t minute = 60 * second;
constexpr std::int64_t hour = 60 * minute;
constexpr std::int64_t day = 24 * hour;

struct SpanRow {
  const char* name;
  std::int64_t value;
  const char* format;
  const char* expected;
};

// 2 weeks, 3 days, 4 hours, 5 minutes, 6 seconds, 7 milliseconds, 8 microseconds
constexpr std::int64_t mixed = 17 * day + 4 * hour + 5 * minute + 6 * second + 7008;

const SpanRow rows[] = {
    {"Elapsed", hour + 2 * minute + 3 * second, "%TH:%PM:%PS", "01:02:03"},
    {"Unpadded", hour + 2 * minute, "%sTH:%PM", "1:02"},
    {"HundredHours", 100 * hour, "%TH %sTH", "100 100"},
    {"Negative", -90 * second, "%TH:%PM:%PS", "00:01:30"},
    {"Uptime", mixed, "%TD Days %PH:%PM:%PS.%Pms", "17 Days 04:05:06.007"},
    {"Weeks", mixed, "%W/%PD", "2/3"},
    {"Totals", mixed, "%TM %TS %Tms %Tus", "24725 1483506 1483506007 1483506007008"},
    {"Parts", mixed, "%Pus|%Pms|%PS|%PM|%PH|%PD", "008|007|06|05|04|3"},
    {"Zero", 0, "%W %TD %PD %TH %sTH %PH %TM %PM %TS %PS %Tms %Pms %Tus %Pus",
     "0 0 0 00 0 00 0 00 0 00 0 000 0 000"},
    {"JustBelowAWeek", 7 * day - 1, "%W %PD %PH %PM %PS %Pms %Pus", "0 6 23 59 59 999 999"},
    {"OneSecond", second, "%Tus", "1000000"},
    {"Smallest", std::numeric_limits<std::int64_t>::min(), "%Tus", "9223372036854775808"},
    {"DoubledMarker", hour, "%%TH %%%TH", "%TH %01"},
    {"MarkerAtTheEnd", hour, "%TH%", "01%"},
    {"UnknownKeyStays", hour, "%x%T%th%TH", "%x%T%th01"},
    {"NoEscapes", hour, "TH:PM", "TH:PM"},
    {"Empty", hour, "", ""},
};

class SpanFormat : public testing::TestWithParam<SpanRow> {};

TEST_P(SpanFormat, AppendsNarrowAndWide) {
  const SpanRow& row = GetParam();
  stringEx narrow("at ");
  CTimeSpan(row.value).Format(narrow, row.format);
  EXPECT_EQ(std::string("at ") + row.expected, narrow.data());

  const auto widen = [](const std::string& text) { return std::wstring(text.begin(), text.end()); };
  wstringEx wide(L"at ");
  CTimeSpan(row.value).Format(wide, widen(row.format).c_str());
  EXPECT_EQ(L"at " + widen(row.expected), wide.data());
}
INSTANTIATE_TEST_SUITE_P(Every, SpanFormat, testing::ValuesIn(rows), rowName);

TEST(SpanFormatInPlace, TheTargetMayBeTheFormat) {
  stringEx text("%TH");
  CTimeSpan(hour).Format(text, text);
  EXPECT_EQ("%TH01", std::string(text.data()));
}

}  // namespace
