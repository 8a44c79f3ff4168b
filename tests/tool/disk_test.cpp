// Real disks and file systems: direct reads that the system refuses, and devices whose sectors really are
// bad.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/dump_fixture.h"
#include "support/faulty_disk.h"

namespace fs = std::filesystem;

namespace TestSupport {
namespace {

// Whether the system grants direct access to files in `folder`, and refuses reads there that are not aligned.
bool RefusesUnalignedReads(const fs::path& folder) {
  const std::string path = folder / "tolk-direct-probe";
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_DIRECT | O_CLOEXEC, 0600);
  if (file < 0) return false;
  unlink(path.c_str());
  const std::unique_ptr<void, decltype(&std::free)> buffer(std::aligned_alloc(4096, 8192), &std::free);
  const bool hasData = buffer != nullptr && pwrite(file, buffer.get(), 8192, 0) == 8192;
  const bool refuses =
      hasData && pread(file, static_cast<char*>(buffer.get()) + 16, 1000, 16) < 0 && errno == EINVAL;
  close(file);
  return refuses;
}

struct DIRECTCASE {
  const char* name;
  std::vector<std::string> arguments;
  std::int64_t sourceBytes;
  std::vector<const char*> faults;
  std::vector<BYTES> filled;
  bool isRefused;  // by every system that refuses unaligned reads at all
};

class DirectReadTest : public DumpTest, public ::testing::WithParamInterface<DIRECTCASE> {};

TEST_P(DirectReadTest, RecoversEveryGoodByte) {
  const DIRECTCASE& row = GetParam();
  const fs::path folders[] = {fs::temp_directory_path(), TEST_BUILD_FOLDER};
  const fs::path* const folder = std::ranges::find_if(folders, RefusesUnalignedReads);
  if (folder == std::end(folders)) GTEST_SKIP() << "no disk here refuses unaligned direct reads";
  UseFolderBelow(*folder);
  WriteSourceBytes(row.sourceBytes);
  for (const char* fault : row.faults)
    SourceFault(fault);
  Run(row.arguments);
  ExpectStatus(0);
  ExpectGoodBytes(row.filled);
  const std::vector<CALL> reads = Calls("source", "read");
  const bool wasRefused = std::ranges::any_of(reads, [](const CALL& read) { return read.result == -EINVAL; });
  EXPECT_TRUE(wasRefused || !row.isRefused) << "the case has not come about";
}

const DIRECTCASE directCases[] = {
    {"AlignedSectors", {"-sector:4096", "-block:64k"}, 1 << 18, {}, {}, false},
    {"SectorsOf16Bytes", {"-sector:16", "-block:4000"}, 1 << 16, {}, {}, true},
    {"SectorsOf1000Bytes", {"-sector:1000", "-block:64k"}, 1 << 18, {}, {}, true},
    {"SectorsOf512BytesOnAnyDisk", {"-sector:512", "-block:1536"}, 1 << 16, {}, {}, false},
    {"LengthIsNoMultipleOfASector", {"-sector:4096", "-block:64k"}, 200003, {}, {}, false},
    {"LengthBelowASector", {"-sector:4096"}, 77, {}, {}, false},
    {"ReadBehindAShortRead", {"-sector:4096", "-block:16k"}, 1 << 18, {"shortat 32768 700"}, {}, true},
    {"ShortReadOfAWholeSector", {"-sector:4096", "-block:16k"}, 1 << 18, {"shortat 32768 4096"}, {}, false},
    {"BadSectorBehindAShortRead",
     {"-sector:4096", "-block:16k"},
     1 << 18,
     {"shortat 32768 4096", "bad 40960 45056"},
     {{40960, 45056}},
     false},
    {"BadSectorOf1000Bytes",
     {"-sector:1000", "-block:64k"},
     200003,
     {"bad 70500 70501"},
     {{70000, 71000}},
     true},
    {"BadSectorAfterTheRefusal",
     {"-sector:4096", "-block:16k"},
     1 << 18,
     {"shortat 32768 700", "bad 100000 100001"},
     {{33468 + 16 * 4096, 33468 + 17 * 4096}},
     true},
};
INSTANTIATE_TEST_SUITE_P(Rows, DirectReadTest, ::testing::ValuesIn(directCases), rowName);

struct DISKCASE {
  const char* name;
  std::uint32_t sectorSize;
  bool isDevice;
};

class FaultyDiskTest : public DumpTest, public ::testing::WithParamInterface<DISKCASE> {};

TEST_P(FaultyDiskTest, LosesTheBadSectorsAlone) {
  if (const auto reason = WhyNoFaultyDisk()) GTEST_SKIP() << *reason;
  const DISKCASE& row = GetParam();
  const std::int64_t size = row.sectorSize;
  WriteSourceBytes(600 * size);
  const CFaultyDisk disk(Source(), Folder() / "mount", {0, 7, 8, 300, 599}, row.sectorSize);
  const std::string source = row.isDevice ? disk.Device() : disk.File();
  std::vector<std::string> arguments = {"-from:" + source, "-block:64k", "-fill:0xE5"};
  if (!row.isDevice) arguments.push_back("-sector:" + std::to_string(size));
  Run(arguments, {.hasFaults = false});
  ExpectStatus(0);
  ExpectScreenHas("  sector size  = " + std::to_string(size) + " bytes\n");
  for (const std::int64_t number : {0, 7, 8, 300, 599}) {
    ExpectScreenHas("failed reading sector at byte position: " + std::to_string(number * size) + ' ');
  }
  ExpectGoodBytes({{0, size}, {7 * size, 9 * size}, {300 * size, 301 * size}, {599 * size, 600 * size}},
                  0xE5);
}

const DISKCASE diskCases[] = {
    {"FileWithSectorsOf512", 512, false},
    {"FileWithSectorsOf4096", 4096, false},
    {"DeviceWithSectorsOf512", 512, true},
    {"DeviceWithSectorsOf4096", 4096, true},
};
INSTANTIATE_TEST_SUITE_P(Rows, FaultyDiskTest, ::testing::ValuesIn(diskCases), rowName);

}  // namespace
}  // namespace TestSupport
