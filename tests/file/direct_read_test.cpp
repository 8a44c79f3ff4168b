// Reads past the cache, of every alignment: what the system refuses has to come through all the same.
#include <fcntl.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include <qorv/file.h>

#include "file/temp_folder.h"
#include "support/row_name.h"

namespace {

using Qorv::CSysFile;
using TestSupport::Text;

constexpr std::size_t sourceSize = 20000;  // no multiple of any sector

struct Step {
  std::int64_t position;
  std::size_t length;
  std::size_t shift;  // of the buffer behind an aligned address
};

struct DirectRow {
  const char* name;
  std::vector<Step> steps;
  bool staysDirect;  // where the system refuses unaligned reads
};

class DirectRead : public testing::TestWithParam<DirectRow>, public TestSupport::TempFolder {
 protected:
  static std::string Bytes() {
    std::string bytes(sourceSize, '\0');
    std::uint32_t state = 1;
    for (char& byte : bytes)
      byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    return bytes;
  }
  static bool IsDirect(const CSysFile& file) {
    return (fcntl(static_cast<int>(file.GetSysHandle()), F_GETFL) & O_DIRECT) != 0;
  }
};

TEST_P(DirectRead, BringsEveryByte) {
  const std::string bytes = Bytes();
  CSysFile file;
  file.Open(Text(Make("source", bytes)), O_RDONLY, 0, 0, 0,
            Qorv::fileOption::direct | Qorv::fileOption::reserved);
  if (!IsDirect(file)) GTEST_SKIP() << "no direct access on " << Path();
  const CSysFile copy = file;
  const std::unique_ptr<void, decltype(&std::free)> room(std::aligned_alloc(65536, 65536), &std::free);
  std::string read;
  std::string expected;
  for (const Step& step : GetParam().steps) {
    char* const buffer = static_cast<char*>(room.get()) + step.shift;
    file.SeekBegin(step.position);
    read.append(buffer, file.Read(buffer, step.length)) += '|';
    const auto from = std::min(static_cast<std::size_t>(step.position), sourceSize);
    expected.append(bytes, from, step.length) += '|';
  }
  EXPECT_TRUE(expected == read) << "sizes " << expected.size() << " and " << read.size();
  if (GetParam().staysDirect) {
    EXPECT_TRUE(IsDirect(file));
  }
  EXPECT_EQ(IsDirect(file), IsDirect(copy));
}

const DirectRow rows[] = {
    {"Aligned", {{0, 4096, 0}, {4096, 8192, 4096}}, true},
    {"EndOfTheFile", {{16384, 16384, 0}}, true},
    {"OddLength", {{0, 1000, 0}, {4096, 4096, 0}}, false},
    {"TinyLength", {{512, 16, 0}, {528, 16, 0}, {544, 16, 0}}, false},
    {"OddPosition", {{513, 4096, 0}, {1, 1, 0}}, false},
    {"OddAddress", {{4096, 4096, 1}, {0, 4096, 0}}, false},
    {"BehindAShortRead", {{16384, 16384, 0}, {20000, 4096, 0}, {19999, 4096, 0}}, false},
    {"OddSector", {{3000, 1000, 0}, {4000, 1000, 8}, {5000, 15000, 16}, {20000, 1000, 0}}, false},
};
INSTANTIATE_TEST_SUITE_P(Every, DirectRead, testing::ValuesIn(rows), rowName);

// The kernel's process files refuse the flag at open.
TEST(DirectOpen, FallsBackWhereTheFlagIsRefused) {
  CSysFile file;
  file.Open("/proc/self/status", O_RDONLY, 0, 0, 0, Qorv::fileOption::direct);
  char bytes[5] = {};
  EXPECT_EQ(5u, file.Read(bytes, 5));
  EXPECT_EQ("Name:", std::string(bytes, 5));
}

}  // namespace
