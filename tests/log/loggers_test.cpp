// The lines of the loggers, and what becomes of them when the output fails.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <qorv/error.h>
#include <qorv/loggers.h>

#include "file/temp_folder.h"
#include "support/memory.h"
#include "support/refusal.h"
#include "support/row_name.h"

namespace {
std::atomic<int> writes{0};
}

extern "C" ssize_t __real_write(int descriptor, const void* data, std::size_t length);  // NOLINTBEGIN
extern "C" ssize_t __wrap_write(int descriptor, const void* data, std::size_t length);
extern "C" ssize_t __wrap_write(int descriptor, const void* data, std::size_t length) {
  ++writes;
  if (!TestSupport::IsRefused("write")) return __real_write(descriptor, data, length);
  errno = TestSupport::refusal.error;
  return -1;
}  // NOLINTEND

namespace {

using Qorv::CSysFile;
using Qorv::CTime;
using Qorv::stringEx;
using Qorv::operator""_sv;
using TestSupport::Refuse;

std::string Stamp(CTime time) {
  stringEx text;
  time.Format(text, "[%Y-%M-%d %H:%T:%S.%us UTC%Z]"_sv);
  return text.data();
}

// A terminal that notes down the calls, and fails at one of them.
class CNoteTerminal : public Qorv::TTerminal {
 public:
  std::string notes;
  int callsLeft = 1000;

  void SetColor(std::uint32_t background, std::uint32_t foreground) override {
    Count();
    notes += "<" + std::to_string(background) + "," + std::to_string(foreground) + ">";
  }
  void Write(const stringEx& text) override {
    Count();
    notes += text.data();
  }
  void WriteChar(char c) override {
    Count();
    notes += c;
  }

  using P = std::unique_ptr<TTerminal>;
  P Clone() const override { return nullptr; }
  P Clone(bool) const override { return nullptr; }
  void ReadKey(Qorv::KEYEVENT&) override {}
  bool ReadKey(Qorv::KEYEVENT&, std::uint32_t) override { return false; }
  void ReadLine(stringEx&, std::uint64_t) override {}
  void SetEcho(bool) override {}
  bool GetEcho() const override { return false; }
  void ReadLine(stringEx&, std::uint64_t, const stringEx&) override {}
  void WriteChar(wchar_t) override {}
  void Write(const Qorv::wstringEx&) override {}
  void GetCursorPos(std::uint16_t&, std::uint16_t&) override {}
  void GetCursorPos(Qorv::WINDOWSIZE&) override {}
  void GetWindowSize(Qorv::WINDOWSIZE&) override {}
  void SetWindowSize(const Qorv::WINDOWSIZE&) override {}
  TTerminal& operator<<(bool) override { return *this; }
  TTerminal& operator<<(char) override { return *this; }
  TTerminal& operator<<(wchar_t) override { return *this; }
  TTerminal& operator<<(short) override { return *this; }
  TTerminal& operator<<(unsigned short) override { return *this; }
  TTerminal& operator<<(int) override { return *this; }
  TTerminal& operator<<(unsigned int) override { return *this; }
  TTerminal& operator<<(long) override { return *this; }
  TTerminal& operator<<(unsigned long) override { return *this; }
  TTerminal& operator<<(long long) override { return *this; }
  TTerminal& operator<<(unsigned long long) override { return *this; }
  TTerminal& operator<<(float) override { return *this; }
  TTerminal& operator<<(double) override { return *this; }
  TTerminal& operator<<(long double) override { return *this; }
  TTerminal& operator<<(const void*) override { return *this; }
  TTerminal& operator<<(const char*) override { return *this; }
  TTerminal& operator<<(const wchar_t*) override { return *this; }
  TTerminal& operator<<(const stringEx&) override { return *this; }
  TTerminal& operator<<(const Qorv::wstringEx&) override { return *this; }

 private:
  void Count() {
    if (--callsLeft == 0) throw Qorv::sysfileExp(stringEx("on purpose"), Qorv::fileCode::write);
  }
};

class Loggers : public testing::Test {
 protected:
  std::string Path() const { return folder_.Path("log"); }
  static CSysFile OpenFile(const std::string& path) {
    CSysFile file;
    file.Open(path.c_str(), O_WRONLY, O_CREAT | O_TRUNC, 0, 0666, 0);
    return file;
  }
  std::string Content() const { return folder_.Content("log"); }

  const TestSupport::TempFolder folder_;
};

struct ShapeRow {
  const char* name;
  std::int32_t level;
  const char* tag;          // of files and streams
  const char* terminalTag;  // with its colours
  std::string message;
};

class Shape : public Loggers, public testing::WithParamInterface<ShapeRow> {};

TEST_P(Shape, OfALine) {
  const auto& [name, level, tag, terminalTag, message] = GetParam();
  const CTime time(1'600'000'000'000'007);
  const stringEx channel("trd.reader"), text(message.c_str());

  Qorv::CFileLogger<CSysFile>(OpenFile(Path())).Log(time, level, channel, text);
  EXPECT_EQ(Content(), Stamp(time) + "[" + tag + "trd.reader) " + message + "\n");

  std::ostringstream stream;
  stream.width(200);  // nothing is padded
  Qorv::CStreamLogger(stream).Log(time, level, channel, text);
  EXPECT_EQ(stream.str(), Stamp(time) + "[" + tag + "trd.reader)\n" + message + "\n\n");

  CNoteTerminal terminal;
  Qorv::CTermLogger(&terminal).Log(time, level, channel, text);
  EXPECT_EQ(terminal.notes,
            "<6,11>" + Stamp(time) + terminalTag + "<6,15>(trd.reader)\n<6,7>" + message + "\n\n");
}

INSTANTIATE_TEST_SUITE_P(Log, Shape,
                         testing::Values(ShapeRow{"Debug", 0, "Debug]   (", "<6,10>[Debug]   ", "m"},
                                         ShapeRow{"Info", 1, "Info]    (", "<6,9>[Info]    ", "m"},
                                         ShapeRow{"Warning", 2, "Warning] (", "<6,13>[Warning] ", "m"},
                                         ShapeRow{"Error", 3, "Error]   (", "<6,12>[Error]   ", "m"},
                                         ShapeRow{"Notice", 4, "Notice]  (", "<6,15>[Notice]  ", "m"},
                                         ShapeRow{"Fatal", 5, "Fatal]   (", "<6,8>[Fatal]   ", "m"},
                                         ShapeRow{"Six", 6, "Unknown] (", "<6,14>[Unknown] ", "m"},
                                         ShapeRow{"BelowZero", -1, "Unknown] (", "<6,14>[Unknown] ", "m"},
                                         ShapeRow{"EmptyMessage", 1, "Info]    (", "<6,9>[Info]    ", ""},
                                         ShapeRow{"MessageOfSeveralLines", 1, "Info]    (", "<6,9>[Info]    ",
                                                  "a\n\tb\n"}),
                         rowName);

// What is kept of the second before must never show.
TEST_F(Loggers, TimeTextIsThatOfTheFormatForEveryTime) {
  constexpr std::int64_t second = 1'000'000;
  constexpr std::int64_t day = 86400 * second;
  std::vector<std::int64_t> times{CTime::smallest, CTime::smallest + 1, CTime::largest, CTime::largest - 1};
  for (const std::int64_t start :
       {std::int64_t{0}, 1'582'934'400 * second, -62'135'596'800 * second /* the year 1 */,
        -62'135'596'800 * second - 366 * day, 253'402'300'800 * second /* the year 10000 */,
        -62'135'596'800 * second + 14 * 3600 * second})
    for (const std::int64_t away : {-second - 1, -second, std::int64_t{-1}, std::int64_t{0}, std::int64_t{1},
                                    second - 1, second, day - 1, day})
      times.push_back(start + away);
  std::mt19937_64 random(4711);  // NOLINT: the same times in every run
  for (int i = 0; i < 20000; ++i) {
    const auto any = static_cast<std::int64_t>(random()) >> random() % 24;
    times.push_back(any);
    times.push_back(any - any % second +
                    static_cast<std::int64_t>(random() % second));  // the same second, mostly
  }
  std::ostringstream stream;
  Qorv::CStreamLogger logger(stream);
  for (const std::int64_t time : times) {
    stream.str("");
    logger.Log(CTime(time), 1, "c"_sv, ""_sv);
    ASSERT_EQ(stream.str(), Stamp(CTime(time)) + "[Info]    (c)\n\n\n") << time;
  }
}

TEST_F(Loggers, FileLineIsOneWriteAndNoMemory) {
  Qorv::CFileLogger<CSysFile> logger(OpenFile(Path()));
  const stringEx channel("trd.reader"), message(std::string(300, 'm').c_str());
  CTime time(1'600'000'000'000'000);
  logger.Log(time, 1, channel, message);
  const long allocations = TestSupport::Allocations();
  writes = 0;
  for (int i = 0; i < 100; ++i) {
    logger.Log(time, i % 7, channel, message);
    time = CTime(time.GetValue() + 130'001);
  }
  EXPECT_EQ(writes, 100);
  EXPECT_EQ(TestSupport::Allocations(), allocations);
}

TEST_F(Loggers, FileLineThatFailsIsLostWhole) {
  Qorv::CFileLogger<CSysFile> logger(OpenFile(Path()));
  const CTime time(0);
  const stringEx longMessage(std::string(5000, 'm').c_str());
  logger.Log(time, 1, "c"_sv, "before"_sv);
  Refuse("write", ENOSPC);
  logger.Log(time, 1, "c"_sv, "on the full disk"_sv);
  {
    const TestSupport::CMemoryIsOut memoryIsOut;
    logger.Log(CTime(10'000'000), 1, "c"_sv, longMessage);
  }
  logger.Log(time, 1, "c"_sv, "behind"_sv);
  EXPECT_EQ(Content(), Stamp(time) + "[Info]    (c) before\n" + Stamp(time) + "[Info]    (c) behind\n");
}

TEST_F(Loggers, FileThatTakesNothingIsNoError) {
  Qorv::CFileLogger<CSysFile> closed{CSysFile()};
  Qorv::CFileLogger<CSysFile> full(OpenFile("/dev/full"));
  for (Qorv::ILogger* logger : {static_cast<Qorv::ILogger*>(&closed), static_cast<Qorv::ILogger*>(&full)}) {
    EXPECT_NO_THROW(logger->Log(CTime(0), 1, "c"_sv, "m"_sv));
    EXPECT_NO_THROW(logger->Flush());
  }
}

TEST_F(Loggers, FileStaysOpenWithoutTheCallersObject) {
  auto file = std::make_unique<CSysFile>(OpenFile(Path()));
  Qorv::CFileLogger<CSysFile> logger(*file);
  file.reset();
  logger.Log(CTime(0), 1, "c"_sv, "m"_sv);
  EXPECT_EQ(Content(), Stamp(CTime(0)) + "[Info]    (c) m\n");
}

TEST_F(Loggers, StreamIsFlushedWhenAskedAlone) {
  std::ofstream stream(Path());
  Qorv::CStreamLogger logger(stream);
  logger.Log(CTime(0), 1, "c"_sv, "m"_sv);
  EXPECT_EQ(Content(), "");
  logger.Flush();
  EXPECT_EQ(Content(), Stamp(CTime(0)) + "[Info]    (c)\nm\n\n");
  stream.close();
  stream.exceptions(std::ios::badbit);
  EXPECT_NO_THROW(logger.Flush());
}

struct BrokenRow {
  const char* name;
  int call;  // the first that fails
  std::string left;
};

class BrokenTerminal : public testing::TestWithParam<BrokenRow> {};

TEST_P(BrokenTerminal, LeavesTheNextRecordAtTheMargin) {
  CNoteTerminal terminal;
  terminal.callsLeft = GetParam().call;
  Qorv::CTermLogger logger(&terminal);
  EXPECT_NO_THROW(logger.Log(CTime(0), 1, "c"_sv, "m"_sv));
  EXPECT_EQ(terminal.notes, GetParam().left);
}

INSTANTIATE_TEST_SUITE_P(Log, BrokenTerminal,
                         testing::Values(BrokenRow{"BeforeAll", 1, ""}, BrokenRow{"AtTheTime", 2, "<6,11>\n"},
                                         BrokenRow{"BehindTheTime", 3, "<6,11>" + Stamp(CTime(0)) + "\n"},
                                         BrokenRow{"AtTheEnd", 12,
                                                   "<6,11>" + Stamp(CTime(0)) +
                                                       "<6,9>[Info]    <6,15>(c)\n<6,7>m\n"}),
                         rowName);

TEST_F(Loggers, TerminalThatIsNotThereIsNoError) {
  EXPECT_NO_THROW(Qorv::CTermLogger(nullptr).Log(CTime(0), 1, "c"_sv, "m"_sv));
}

}  // namespace
