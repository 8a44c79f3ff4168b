// The kernel's text files, laid out in a folder: machines that this one is not.
#include "misc/posix/linux_files.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "support/row_name.h"

namespace {

namespace fs = std::filesystem;
using namespace Qorv::IMPL::platform;

constexpr std::uint64_t unknown = ~std::uint64_t{0};

struct Machine : testing::Test {
  Machine() : root(fs::temp_directory_path() / ("qorv-misc-" + std::to_string(getpid()))) {}
  ~Machine() override { fs::remove_all(root); }

  void Lay(const fs::path& name, const char* text) const {
    fs::create_directories((root / name).parent_path());
    std::ofstream(root / name) << text;
  }
  void Device(const char* number, const fs::path& folder) const {
    fs::create_directories(root / folder);
    fs::create_directories(root / "dev/block");
    fs::create_symlink(root / folder, root / "dev/block" / number);
  }

  fs::path root;
};

TEST_F(Machine, SectorSizesOfDisksAndPartitions) {
  Lay("devices/sda/queue/logical_block_size", "4096\n");
  Device("8:0", "devices/sda");
  Device("8:17", "devices/sda/sda1");
  Lay("devices/odd/queue/logical_block_size", "none\n");
  Device("9:0", "devices/odd");
  Lay("devices/zero/queue/logical_block_size", "0\n");
  Device("9:1", "devices/zero");
  const struct {
    const char* name;
    unsigned major, minor;
    int result;
    std::uint32_t size;
  } rows[] = {
      {"Disk", 8, 0, 0, 4096},       {"Partition", 8, 17, 0, 4096}, {"NoSuchDevice", 0, 17, ENOENT, 7},
      {"NoNumber", 9, 0, EINVAL, 7}, {"Zero", 9, 1, EINVAL, 7},
  };
  for (const auto& row : rows) {
    std::uint32_t size = 7;
    EXPECT_EQ(row.result, SysfsSectorSize(root.c_str(), row.major, row.minor, &size)) << row.name;
    EXPECT_EQ(row.size, size) << row.name;
  }
}

TEST_F(Machine, MemoryFigures) {
  const struct {
    const char* name;
    const char* text;
    std::uint64_t totalPhys, freePhys, totalVirt, freeVirt;  // kibibytes
  } rows[] = {
      {"Whole",
       "MemTotal:  1000 kB\nMemFree: 1 kB\nMemAvailable: 600 kB\nSwapTotal: 50 kB\nSwapFree: 20 kB\n", 1000,
       600, 1050, 620},
      {"NoSwap", "MemTotal: 1000 kB\nMemAvailable: 600 kB\nSwapTotal: 0 kB\nSwapFree: 0 kB\n", 1000, 600,
       1000, 600},
      {"KernelWithoutAvailable", "MemTotal: 1000 kB\nMemFree: 1 kB\nSwapTotal: 50 kB\nSwapFree: 20 kB\n",
       1000, unknown, 1050, unknown},
      {"NameInsideAnother", "XMemTotal: 5 kB\nMemTotal: 1000 kB\n", 1000, unknown, unknown, unknown},
      {"BeyondFourGibibytes", "MemTotal: 4294967296 kB\n", 4294967296, unknown, unknown, unknown},
      {"NoNumber", "MemTotal: kB\nMemAvailable:", unknown, unknown, unknown, unknown},
      {"Empty", "", unknown, unknown, unknown, unknown},
  };
  const auto bytes = [](std::uint64_t kibibytes) {
    return kibibytes == unknown ? unknown : kibibytes * 1024;
  };
  for (const auto& row : rows) {
    Lay("meminfo", row.text);
    const MEMINFO info = ReadMemInfo((root / "meminfo").c_str());
    EXPECT_EQ(bytes(row.totalPhys), info.totalPhys) << row.name;
    EXPECT_EQ(bytes(row.freePhys), info.freePhys) << row.name;
    EXPECT_EQ(bytes(row.totalVirt), info.totalVirt) << row.name;
    EXPECT_EQ(bytes(row.freeVirt), info.freeVirt) << row.name;
  }
  EXPECT_EQ(unknown, ReadMemInfo((root / "none").c_str()).totalPhys);
}

}  // namespace
