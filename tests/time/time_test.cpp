// Calendar arithmetic: fields, changes of one field, zones, and both ends of the range.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include <qorv/error.h>
#include <qorv/time.h>

#include "support/row_name.h"

namespace {

using Qorv::CALTIME;
using Qorv::CTime;
using Qorv::stringEx;

constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr std::int32_t intMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t intMax = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t second = 1000000;
constexpr std::int64_t day = 86400 * second;

// Before the library asks for it.
const int zoneOfThisProgram = setenv("TZ", "XYZ-05:30", 1);

std::string Text(const CALTIME& t) {
  char text[160];
  std::snprintf(text, sizeof(text), "%d-%02u-%02u (%u) wd%u %02u:%02u:%02u.%06u %+d", t.year, t.month,
                unsigned{t.day}, unsigned{t.dayOfYear}, t.weekday, unsigned{t.hour}, unsigned{t.minute},
                unsigned{t.second}, t.microsecond, int{t.zone});
  return text;
}

std::string Broken(CTime time, std::int16_t zone) {
  CALTIME fields;
  CTime::Break(time, fields, zone);
  return Text(fields);
}

CTime At(std::int32_t year, std::uint32_t month, std::int32_t dayOfMonth, std::int32_t hour = 0,
         std::int16_t zone = 0) {
  CTime time;
  time.Set(year, month, dayOfMonth, hour, 0, 0, 0, zone);
  return time;
}

struct BreakRow {
  const char* name;
  std::int64_t value;
  std::int16_t zone;
  const char* expected;
};

const BreakRow breakRows[] = {
    {"Epoch", 0, 0, "1970-01-01 (1) wd4 00:00:00.000000 +0"},
    {"JustBeforeTheEpoch", -1, 0, "1969-12-31 (365) wd3 23:59:59.999999 +0"},
    {"EastIntoTheNextYear", -1, 1, "1970-01-01 (1) wd4 00:00:59.999999 +1"},
    {"WestByHalfAnHour", 0, -210, "1969-12-31 (365) wd3 20:30:00.000000 -210"},
    {"SystemZone", 0, -32768, "1970-01-01 (1) wd4 05:30:00.000000 +330"},
    {"FarthestZones", 0, 32767, "1970-01-23 (23) wd5 18:07:00.000000 +32767"},
    {"LeapDay", 951782400 * second, 0, "2000-02-29 (60) wd2 00:00:00.000000 +0"},
    {"LastDayOfALeapYear", 978307199 * second, 0, "2000-12-31 (366) wd0 23:59:59.000000 +0"},
    {"FirstDayOfYearOne", -719162 * day, 0, "1-01-01 (1) wd1 00:00:00.000000 +0"},
    {"TheYearBeforeOneIsLeap", -719162 * day - 1, 0, "-1-12-31 (366) wd0 23:59:59.999999 +0"},
    {"MinusTwoIsCommon", -719528 * day - 1, 0, "-2-12-31 (365) wd5 23:59:59.999999 +0"},
    {"Smallest", smallest, 0, "-290309-12-21 (356) wd0 19:59:05.224192 +0"},
    {"SmallestWest", smallest, -32767, "-290309-11-29 (334) wd6 01:52:05.224192 -32767"},
    {"Largest", largest, 0, "294247-01-10 (10) wd0 04:00:54.775807 +0"},
    {"LargestEast", largest, 32767, "294247-02-01 (32) wd1 22:07:54.775807 +32767"},
};

class Break : public testing::TestWithParam<BreakRow> {};

TEST_P(Break, TakesATimeApart) {
  const BreakRow& row = GetParam();
  EXPECT_EQ(row.expected, Broken(CTime(row.value), row.zone));
}
INSTANTIATE_TEST_SUITE_P(Every, Break, testing::ValuesIn(breakRows), rowName);

TEST(Calendar, AgreesWithTheSystemInEveryMonthOfTenThousandYears) {
  // Steps of less than a month, by hours that wander.
  for (std::int64_t seconds = -(719162 + 146097) * 86400L; seconds < 253402300800; seconds += 2300007) {
    const std::time_t time = seconds;
    tm twin;
    ASSERT_NE(nullptr, gmtime_r(&time, &twin));
    const std::int32_t counted = twin.tm_year + 1900;
    CALTIME expected;
    expected.year = counted > 0 ? counted : counted - 1;
    expected.month = static_cast<std::uint32_t>(twin.tm_mon) + 1;
    expected.dayOfYear = static_cast<std::uint16_t>(twin.tm_yday + 1);
    expected.day = static_cast<std::uint16_t>(twin.tm_mday);
    expected.weekday = static_cast<std::uint32_t>(twin.tm_wday);
    expected.hour = static_cast<std::uint16_t>(twin.tm_hour);
    expected.minute = static_cast<std::uint16_t>(twin.tm_min);
    expected.second = static_cast<std::uint16_t>(twin.tm_sec);
    expected.zone = 0;
    ASSERT_EQ(Text(expected), Broken(CTime(seconds * second), 0)) << seconds;
  }
}

// Also at the ends of the range, where the zone leads beyond them.
TEST(Calendar, SetGivesBackWhatBreakTookApart) {
  std::mt19937_64 random(20261123);
  for (int i = 0; i < 200000; ++i) {
    const auto drawn = static_cast<std::int64_t>(random());
    const std::int64_t small = drawn >> (random() % 64);
    const CTime time(i % 3 == 0   ? drawn
                     : i % 3 == 1 ? small
                     : small < 0  ? smallest - small
                                  : largest - small);
    const auto zone = static_cast<std::int16_t>(random());
    CALTIME t;
    CTime::Break(time, t, zone);
    CTime again;
    again.Set(t.year, t.month, t.day, t.hour, t.minute, t.second, static_cast<std::int32_t>(t.microsecond),
              zone);
    ASSERT_EQ(time.GetValue(), again.GetValue()) << Text(t);
    ASSERT_EQ(t.hour, time.GetHour(zone)) << Text(t);
    ASSERT_EQ(t.minute, time.GetMinute(zone)) << Text(t);
    ASSERT_EQ(t.microsecond, time.GetMicrosecond()) << Text(t);
    ASSERT_EQ(t.second, time.GetSecond()) << Text(t);
  }
}

// Year to microsecond alone.
std::string Short(CTime time) {
  stringEx text;
  time.Format(text, "%Y-%M-%d %H:%T:%S.%us", 0);
  return text.data();
}

struct ChangeRow {
  const char* name;
  CTime start;
  void (*change)(CTime& time, std::int32_t value, std::int16_t zone);
  std::int32_t value;
  std::int16_t zone;
  const char* expected;
};

constexpr auto addMonths = [](CTime& t, std::int32_t value, std::int16_t zone) { t.AddMonths(value, zone); };
constexpr auto addYears = [](CTime& t, std::int32_t value, std::int16_t zone) { t.AddYears(value, zone); };
constexpr auto setMonth = [](CTime& t, std::int32_t value, std::int16_t zone) {
  t.SetMonth(static_cast<std::uint32_t>(value), zone);
};
constexpr auto setSecond = [](CTime& t, std::int32_t value, std::int16_t) {
  t.SetSecond(static_cast<std::uint32_t>(value));
};
constexpr auto setMicrosecond = [](CTime& t, std::int32_t value, std::int16_t) {
  t.SetMicrosecond(static_cast<std::uint32_t>(value));
};
template <std::uint32_t weekday>
constexpr auto goTo =
    [](CTime& t, std::int32_t value, std::int16_t zone) { t.NthWeekdayOfMonth(value, weekday, zone); };

constexpr const char* lowEnd = "-290309-12-21 19:59:05.224192";
constexpr const char* highEnd = "294247-01-10 04:00:54.775807";

const ChangeRow changeRows[] = {
    {"MonthEndOfACommonYear", At(2023, 1, 31, 7), addMonths, 1, 0, "2023-02-28 07:00:00.000000"},
    {"MonthEndOfALeapYear", At(2024, 1, 31), addMonths, 1, 0, "2024-02-29 00:00:00.000000"},
    {"MonthsIntoTheNextYear", At(2023, 12, 15), addMonths, 13, 0, "2025-01-15 00:00:00.000000"},
    {"MonthsBackToDecember", At(2023, 1, 15), addMonths, -1, 0, "2022-12-15 00:00:00.000000"},
    {"MonthsBackOverTwelve", At(2023, 1, 15), addMonths, -13, 0, "2021-12-15 00:00:00.000000"},
    {"MonthsBackOverYearOne", At(1, 1, 31), addMonths, -1, 0, "-1-12-31 00:00:00.000000"},
    // There it is already 1 February.
    {"MonthsInTheZone", At(2023, 1, 31, 23), addMonths, 1, 60, "2023-02-28 23:00:00.000000"},
    {"NoMonths", CTime(smallest), addMonths, 0, -720, lowEnd},
    {"MonthsFarBelow", CTime(smallest), addMonths, intMin, Qorv::systemZone, lowEnd},
    {"LeapDayOneYearOn", At(2024, 2, 29), addYears, 1, 0, "2025-02-28 00:00:00.000000"},
    {"LeapDayFourYearsOn", At(2024, 2, 29), addYears, 4, 0, "2028-02-29 00:00:00.000000"},
    {"YearsOverTheMissingOne", At(-1, 2, 29), addYears, 1, 0, "1-02-28 00:00:00.000000"},
    {"YearsFarAbove", At(2024, 2, 29), addYears, intMax, Qorv::systemZone, highEnd},
    {"SetMonthCutsTheDay", At(2024, 5, 31, 9), setMonth, 6, 0, "2024-06-30 09:00:00.000000"},
    // 1 May 2024 is a Wednesday.
    {"FirstWeekdayIsTheFirstDay", At(2024, 5, 20, 6), goTo<3>, 1, 0, "2024-05-01 06:00:00.000000"},
    {"FirstTuesday", At(2024, 5, 20), goTo<2>, 1, 0, "2024-05-07 00:00:00.000000"},
    {"FifthTuesdayBeyondTheMonth", At(2024, 5, 20), goTo<2>, 5, 0, "2024-06-04 00:00:00.000000"},
    {"TuesdayBeforeTheFirst", At(2024, 5, 20), goTo<2>, 0, 0, "2024-04-30 00:00:00.000000"},
    {"WeekdayInTheZone", At(2024, 5, 31, 23), goTo<6>, 1, 60, "2024-05-31 23:00:00.000000"},
    {"WeekdayFarAbove", At(2024, 5, 20), goTo<0>, intMax, 0, highEnd},
    {"SetSecondDropsTheRest", CTime(-1), setSecond, 61, 0, "1970-01-01 00:00:01.000000"},
    {"SetMicrosecondKeepsTheSecond", CTime(-1), setMicrosecond, 7, 0, "1969-12-31 23:59:59.000007"},
    // The start of the first minute lies outside the range.
    {"SetSecondInTheFirstMinute", CTime(smallest), setSecond, 6, 0, "-290309-12-21 19:59:06.000000"},
    {"SetSecondBelowTheRange", CTime(smallest), setSecond, 5, 0, lowEnd},
};

class Change : public testing::TestWithParam<ChangeRow> {};

TEST_P(Change, MovesTheTime) {
  CTime time = GetParam().start;
  GetParam().change(time, GetParam().value, GetParam().zone);
  EXPECT_EQ(GetParam().expected, Short(time));
}
INSTANTIATE_TEST_SUITE_P(Every, Change, testing::ValuesIn(changeRows), rowName);

TEST(Calendar, SetAddsUpFieldsWithoutLimits) {
  EXPECT_EQ("2023-02-01 00:00:00.000000", Short(At(2023, 1, 32)));
  EXPECT_EQ("2024-02-29 00:00:00.000000", Short(At(2024, 3, 0)));
  EXPECT_EQ("2024-01-01 01:00:00.000000", Short(At(2023, 12, 31, 25)));
  EXPECT_EQ("2024-01-01 09:30:00.000000", Short(At(2024, 1, 1, 0, -570)));
  EXPECT_EQ("2023-12-31 18:30:00.000000", Short(At(2024, 1, 1, 0, Qorv::systemZone)));
  CTime time;
  time.Set(1970, 1, 0, -1, -1, -1, -1, 0);
  EXPECT_EQ("1969-12-30 22:58:58.999999", Short(time));
  time.Set(intMin, 1, intMin, intMin, intMin, intMin, intMin, 32767);
  EXPECT_EQ(lowEnd, Short(time));
  time.Set(intMax, 12, intMax, intMax, intMax, intMax, intMax, -32767);
  EXPECT_EQ(highEnd, Short(time));
}

struct MonthRow {
  const char* name;
  void (*call)(CTime& time, std::uint32_t month);
  const char* message;
};

const MonthRow monthRows[] = {
    {"Set", [](CTime& t, std::uint32_t month) { t.Set(2024, month, 1); }, "CTime::Set - invalid month value"},
    {"SetMonth", [](CTime& t, std::uint32_t month) { t.SetMonth(month); },
     "CTime::SetMonth - invalid month value"},
    {"GetNumOfDays", [](CTime&, std::uint32_t month) { CTime::GetNumOfDays(month, 2024); },
     "CTime::GetNumOfDays - invalid month value"},
};

class BadMonth : public testing::TestWithParam<MonthRow> {};

TEST_P(BadMonth, ThrowsAndLeavesTheTime) {
  for (const std::uint32_t month : {0U, 13U, ~0U}) {
    CTime time(12345);
    try {
      GetParam().call(time, month);
      FAIL() << month;
    } catch (const Qorv::timeExp& failure) {
      EXPECT_STREQ(GetParam().message, failure.GetMessage().data());
      EXPECT_EQ(3U, failure.GetCode());
    }
    EXPECT_EQ(12345, time.GetValue());
  }
}
INSTANTIATE_TEST_SUITE_P(Every, BadMonth, testing::ValuesIn(monthRows), rowName);

TEST(Calendar, KnowsLeapYearsOnBothSidesOfYearOne) {
  for (const std::int32_t year : {4, 2000, 2024, 2400, -1, -5, -401, intMax - 3})
    EXPECT_TRUE(CTime::IsLeapYear(year)) << year;
  for (const std::int32_t year : {1, 1900, 2023, 2100, -4, -101, -2, intMin})
    EXPECT_FALSE(CTime::IsLeapYear(year)) << year;
  EXPECT_EQ(29U, CTime::GetNumOfDays(2, -1));
  EXPECT_EQ(28U, CTime::GetNumOfDays(2, 1900));
  EXPECT_EQ(31U, CTime::GetNumOfDays(12, 1900));
}

TEST(Calendar, YearZeroIsThePresentYear) {
  const std::int32_t year = CTime::Now().GetYear();
  EXPECT_EQ(CTime::IsLeapYear(year), CTime::IsLeapYear(0));
  EXPECT_EQ(CTime::GetNumOfDays(2, year), CTime::GetNumOfDays(2, 0));
  EXPECT_EQ(At(year, 3, 1), At(0, 3, 1));
}

TEST(Calendar, MonthsAreComparedInTheZone) {
  const CTime late = At(2024, 1, 31, 23);
  EXPECT_TRUE(CTime::IsSameMonth(late, At(2024, 1, 1), 0));
  EXPECT_FALSE(CTime::IsSameMonth(late, At(2024, 1, 1), 60));
  EXPECT_FALSE(CTime::IsSameMonth(At(2024, 1, 1), At(2023, 1, 1), 0));
}

TEST(Calendar, TheZoneIsAskedForOnce) {
  ASSERT_EQ(0, zoneOfThisProgram);
  EXPECT_EQ(330, CTime().GetZone());
  setenv("TZ", "ABC+08:00", 1);
  tzset();
  EXPECT_EQ(330, CTime().GetZone());
  setenv("TZ", "XYZ-05:30", 1);
}

TEST(Clock, NowIsTheSystems) {
  timeval before;
  gettimeofday(&before, nullptr);
  const CTime now = CTime::Now();
  timeval after;
  gettimeofday(&after, nullptr);
  EXPECT_LE(CTime::FromTimeval(before), now);
  EXPECT_GE(CTime::FromTimeval(after), now);
}

TEST(Clock, RefusesATimeItCannotHave) {
  // A sandbox may refuse the call before the system looks at the time.
  const timeval never = CTime(-2 * second).ToTimeval();
  ASSERT_EQ(-1, settimeofday(&never, nullptr));
  const std::string reason =
      errno == EPERM ? "1\n  system error description      = unexpect system error: Operation not permitted"
                     : "22\n  system error description      = unexpect system error: Invalid argument";
  try {
    Qorv::SetSysTime(CTime(-2 * second));
    FAIL();
  } catch (const Qorv::timeExp& failure) {
    EXPECT_EQ(
        "SetSysTime - system error, failed set system time\n"
        "             may be out of range\n"
        "  microseconds since unix epoch = -2000000\n"
        "  system error                  = " +
            reason,
        failure.GetMessage().data());
    EXPECT_EQ(Qorv::timeCode::setSystemTime, failure.GetCode());
  }
}

TEST(Conversion, OfSystemTimes) {
  const timespec before = CTime(-1).ToTimespec();
  EXPECT_EQ(-1, before.tv_sec);
  EXPECT_EQ(999999000, before.tv_nsec);
  EXPECT_EQ(-1, CTime::FromTimespec({-1, 999999999}).GetValue());
  EXPECT_EQ(largest, CTime::FromTimeval({largest, 1000000}).GetValue());
  EXPECT_EQ(smallest, CTime::FromTimeval({smallest, 0}).GetValue());
  for (const std::int64_t value : {smallest, std::int64_t{-1}, std::int64_t{0}, largest}) {
    EXPECT_EQ(value, CTime::FromTimeval(CTime(value).ToTimeval()).GetValue());
    EXPECT_EQ(value, CTime::FromTimespec(CTime(value).ToTimespec()).GetValue());
  }
}

TEST(Conversion, OfFileTimes) {
  constexpr std::int64_t epoch = 116444736000000000;
  EXPECT_EQ(epoch, CTime().ToFileTime(0));
  EXPECT_EQ(epoch + 330 * 600000000LL, CTime().ToFileTime(Qorv::systemZone));
  EXPECT_EQ(At(1601, 1, 1), CTime::FromFileTime(0, 0));
  EXPECT_EQ(At(1601, 1, 1, 0, -90), CTime::FromFileTime(9, -90));
  EXPECT_EQ(largest, CTime(largest).ToFileTime(32767));
  EXPECT_EQ(smallest, CTime(smallest).ToFileTime(-32767));
  EXPECT_EQ(largest / 10 * 10, CTime::FromFileTime(largest, 0).ToFileTime(0));
  EXPECT_EQ(smallest / 10 * 10, CTime::FromFileTime(smallest, 0).ToFileTime(0));  // one unit before the range
}

}  // namespace
