// Files that change with the calendar: names, when they change, and which of them stay.
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include <gtest/gtest.h>

#include <qorv/file.h>
#include <qorv/loggers.h>

#include "file/temp_folder.h"
#include "support/failure.h"
#include "support/row_name.h"

namespace {

using namespace Qorv::filePeriod;
using Qorv::CPeriodSysFile;
using Qorv::CTime;
using Qorv::stringEx;
using TestSupport::Text;

// In the system's zone.
CTime At(std::int32_t year, std::uint32_t month, std::int32_t day, std::int32_t hour = 0,
         std::int32_t minute = 0) {
  CTime time;
  time.Set(year, month, day, hour, minute);
  return time;
}

struct NameRow {
  const char* name;
  std::uint32_t period;
  const char* prefix;
  const char* suffix;
  const char* expected;
};

const NameRow names[] = {
    {"Hour", hour, "log/a-", ".log", "log/a-2026-01-09_07.log"},
    {"Day", day, "a-", ".log", "a-2026-01-09.log"},
    {"Week", week, "a-", ".log", "a-2026-Week01.log"},
    {"Month", month, "a-", ".log", "a-2026-01.log"},
    {"Year", year, "a-", ".log", "a-2026.log"},
    {"Century", century, "a-", ".log", "a-Century-2026.log"},
    {"None", none, "a", ".log", "a.log"},
    {"Above", 7, "a", ".log", "a.log"},
    {"Nothing", none, "", "", "Invalid_Period_File_Name"},
    {"OnlyTime", year, "", "", "2026"},
    {"AsItStands", day, "%Y%", "%d", "%Y%2026-01-09%d"},
};

class PeriodName : public testing::TestWithParam<NameRow> {};

TEST_P(PeriodName, IsThatOfTheTime) {
  const NameRow& row = GetParam();
  const CTime time = At(2026, 1, 9, 7, 59);
  EXPECT_EQ(std::string(row.expected),
            CPeriodSysFile::MakeName(time, row.period, Text(row.prefix), Text(row.suffix)).data());
  const auto wide = [](std::string_view text) {
    return Qorv::wstringEx(std::wstring(text.begin(), text.end()));
  };
  EXPECT_EQ(wide(row.expected),
            CPeriodSysFile::MakeName(time, row.period, wide(row.prefix), wide(row.suffix)));
}
INSTANTIATE_TEST_SUITE_P(Every, PeriodName, testing::ValuesIn(names), rowName);

struct TurnRow {
  const char* name;
  std::uint32_t period;
  CTime first;
  CTime second;
  bool turns;
};

const TurnRow turns[] = {
    {"SameHour", hour, At(2026, 5, 4, 10, 0), At(2026, 5, 4, 10, 59), false},
    {"NextHour", hour, At(2026, 5, 4, 10, 59), At(2026, 5, 4, 11, 0), true},
    {"SameHourNextDay", hour, At(2026, 5, 4, 10), At(2026, 5, 5, 10), true},
    {"EarlierHour", hour, At(2026, 5, 4, 10), At(2026, 5, 4, 9), true},
    {"HoursBefore1970", hour, At(1969, 12, 31, 23, 30), At(1970, 1, 1, 0, 30), true},
    {"SameDay", day, At(2026, 5, 4), At(2026, 5, 4, 23, 59), false},
    {"NextDay", day, At(2026, 5, 4, 23, 59), At(2026, 5, 5), true},
    {"SameDayNextMonth", day, At(2026, 5, 4), At(2026, 6, 4), true},
    {"SameWeek", week, At(2026, 5, 4), At(2026, 5, 10), false},
    {"Monday", week, At(2026, 5, 10), At(2026, 5, 11), true},
    {"SameWeekNextYear", week, At(2025, 5, 7), At(2026, 5, 6), true},
    {"SameMonth", month, At(2026, 5, 1), At(2026, 5, 31), false},
    {"NextMonth", month, At(2026, 5, 31), At(2026, 6, 1), true},
    {"SameMonthNextYear", month, At(2025, 5, 1), At(2026, 5, 1), true},
    {"SameYear", year, At(2026, 1, 1), At(2026, 12, 31), false},
    {"NextYear", year, At(2026, 12, 31), At(2027, 1, 1), true},
    {"SameCentury", century, At(2000, 1, 1), At(2099, 12, 31), false},
    {"NextCentury", century, At(2099, 12, 31), At(2100, 1, 1), true},
    {"NoPeriod", none, At(2026, 1, 1), At(2027, 1, 1), false},
    {"PeriodAbove", 7, At(2026, 1, 1), At(2027, 1, 1), false},
    {"EndsOfTime", hour, CTime(CTime::smallest), CTime(CTime::largest), true},
    {"EndOfDays", day, CTime(CTime::largest), CTime(CTime::largest - 1), false},
};

struct PeriodFile : TestSupport::TempFolder, testing::Test {
  std::set<std::string> Names() const {
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(Path()))
      found.insert(entry.path().filename());
    return found;
  }
  CPeriodSysFile Daily(std::int32_t keep, const char* mode = "a") const {
    return {day, keep, Text(Path("log-")), Text(".txt"), Text(mode)};
  }
};

struct PeriodTurn : PeriodFile, testing::WithParamInterface<TurnRow> {};

TEST_P(PeriodTurn, OpensAnotherFileOnlyInAnotherPeriod) {
  const TurnRow& row = GetParam();
  CPeriodSysFile file(row.period, 0, Text(Path("a")), Text(".log"));
  file.Update(row.first, false);
  const std::string first = file.GetPath().data();
  EXPECT_EQ(CPeriodSysFile::MakeName(row.first, row.period, Text(Path("a")), Text(".log")), file.GetPath());
  unlink(first.c_str());
  file.Update(row.second, false);
  EXPECT_EQ(row.turns, !Names().empty());
  EXPECT_EQ(row.turns, first != file.GetPath().data());
  if (row.turns) unlink(file.GetPath().data());
  file.Update(row.second, true);
  EXPECT_FALSE(Names().empty()) << "opened by force";
}
INSTANTIATE_TEST_SUITE_P(Every, PeriodTurn, testing::ValuesIn(turns), rowName);

TEST_F(PeriodFile, GoesOnWhereItsFileEndsOrBeginsAnew) {
  Make("log-2026-05-04.txt", "old ");
  CPeriodSysFile file = Daily(0);
  file.Update(At(2026, 5, 4), false);
  file.Write("new", 3);
  EXPECT_EQ("old new", Content("log-2026-05-04.txt"));
  CPeriodSysFile fresh = Daily(0, "w+b");
  fresh.Update(At(2026, 5, 4), false);
  EXPECT_EQ("", Content("log-2026-05-04.txt"));
  EXPECT_EQ(O_RDWR, fcntl(static_cast<int>(fresh.GetSysHandle()), F_GETFL) & O_ACCMODE);
  fresh.Close();
  Make("log-2026-05-04.txt", "kept");
  fresh.Update(At(2026, 5, 4), false);
  EXPECT_EQ("", Content("log-2026-05-04.txt")) << "a closed file is opened by any time";
}

TEST_F(PeriodFile, KeepsTheNewestNames) {
  const std::set<std::string> others = {"log-2026.tx", "lo-2026-01-01.txt", "log-.tx", "LOG-2026-01-01.txt"};
  for (const std::string& name : others)
    Make(name, "");
  std::filesystem::create_directory(Path("log-2020.txt"));
  for (const char* name : {"log-2026-05-01.txt", "log-2026-05-02.txt", "log-2025-12-31.txt", "log-zzz.txt"})
    Make(name, "");
  CPeriodSysFile file = Daily(3);
  file.Update(At(2026, 5, 4), false);
  std::set<std::string> expected = others;
  expected.insert({"log-2020.txt", "log-zzz.txt", "log-2026-05-04.txt", "log-2026-05-02.txt"});
  EXPECT_EQ(expected, Names());
  file.Update(At(2026, 5, 5), false);
  expected.erase("log-2026-05-02.txt");
  expected.insert("log-2026-05-05.txt");
  EXPECT_EQ(expected, Names());
}

TEST_F(PeriodFile, KeepsAllWithoutACount) {
  for (const std::int32_t keep : {0, -1, std::numeric_limits<std::int32_t>::max(), 2147483646}) {
    CPeriodSysFile file = Daily(keep);
    for (int d = 1; d <= 3; ++d)
      file.Update(At(2026, 5, d), false);
    EXPECT_EQ(3u, Names().size());
  }
}

TEST_F(PeriodFile, FailsOnceInAPeriod) {
  CPeriodSysFile file(day, 0, Text(Path("none/log-")), Text(".txt"));
  const auto update = [&](CTime time) {
    return TestSupport::FailureOf<Qorv::sysfileExp>([&] { file.Update(time, false); });
  };
  EXPECT_EQ(Fill("4: CSysFile/PosixOpenFile - failed open specified file\n  file path  = "
                 "{}/none/log-2026-05-04.txt\n"
                 "  error code = 2\n  error desc = file dose not exists or can't be created"),
            update(At(2026, 5, 4)));
  std::filesystem::create_directory(Path("none"));
  EXPECT_EQ("no failure", update(At(2026, 5, 4, 1)));
  EXPECT_EQ(-1, file.GetSysHandle());
  EXPECT_EQ("no failure", update(At(2026, 5, 5)));
  EXPECT_TRUE(std::filesystem::exists(Path("none/log-2026-05-05.txt")));
}

TEST_F(PeriodFile, RefusesWhatIsNoMode) {
  for (const char* mode : {"", "q", "+", "rw", "a,"}) {
    CPeriodSysFile file = Daily(0, mode);
    EXPECT_EQ(std::string("4: CPeriodSysFile::Update - unknown mode\n  file mode = ") + mode,
              TestSupport::FailureOf<Qorv::sysfileExp>([&] { file.Update(At(2026, 5, 4), false); }));
  }
  EXPECT_TRUE(Names().empty());
}

TEST_F(PeriodFile, ALoggerGoesByTheTimeOfItsRecords) {
  Qorv::CPeriodFileLogger<CPeriodSysFile> logger(Daily(0));
  for (const auto& [date, text] : {std::pair(4, "one"), {5, "two"}, {4, "three"}})
    logger.Log(At(2026, 5, date), Qorv::logLevel::info, Text("c"), Text(text));
  const auto lines = [&](const char* name) {
    std::string content = Content(name);
    for (std::size_t at; (at = content.find('[')) != std::string::npos;)
      content.erase(at, content.find(']') + 1 - at);
    return content;
  };
  EXPECT_EQ("    (c) one\n    (c) three\n", lines("log-2026-05-04.txt"));
  EXPECT_EQ("    (c) two\n", lines("log-2026-05-05.txt"));
}

}  // namespace
