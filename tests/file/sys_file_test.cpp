// Files as their users see them: bytes, positions, sharing, copies, sizes of sectors.
#include <fcntl.h>
#include <linux/fs.h>
#include <pthread.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qorv/file.h>

#include "file/temp_folder.h"
#include "support/failure.h"
#include "support/row_name.h"

namespace {

using Qorv::CSysFile;
using Qorv::stringEx;
using TestSupport::FailureOf;
using TestSupport::Text;

struct SysFile : testing::Test, TestSupport::TempFolder {
  static CSysFile Opened(const std::string& path, int access = O_RDONLY, int create = 0,
                         std::uint32_t share = 0, std::uint32_t options = 0) {
    CSysFile file;
    file.Open(Text(path), access, create, share, 0640, options);
    return file;
  }
  static std::string Read(CSysFile& file, std::size_t length) {
    std::string bytes(length, '?');
    bytes.resize(file.Read(bytes.data(), length));
    return bytes;
  }
  static bool IsOpen(std::int64_t descriptor) { return fcntl(static_cast<int>(descriptor), F_GETFD) >= 0; }
};

TEST_F(SysFile, ReadsShortAtTheEndAndThenNothing) {
  CSysFile file = Opened(Make("source", "0123456789"));
  EXPECT_EQ("0123", Read(file, 4));
  EXPECT_EQ("456789", Read(file, 100));
  EXPECT_EQ("", Read(file, 100));
}

TEST_F(SysFile, WritesWhereThePositionStandsBeyondFourGibibytes) {
  CSysFile file = Opened(Path("target"), O_RDWR, O_CREAT, Qorv::fileShare::shared);
  const std::int64_t far = (std::int64_t{5} << 30) + 7;
  file.SeekBegin(far);
  EXPECT_EQ(3u, file.Write("abc", 3));
  file.SeekBegin(far + 1);
  EXPECT_EQ(far + 3, file.GetSize());
  EXPECT_EQ("bc", Read(file, 10)) << "asking for the size must not move the position";
  struct stat status;
  ASSERT_EQ(0, stat(Path("target").c_str(), &status));
  EXPECT_EQ(0640u, status.st_mode & 0777);
}

struct FlagRow {
  const char* name;
  int access;
  int create;
  std::uint32_t options;
  int expected;  // of the status flags that an open can ask for
};

class OpenFlags : public testing::TestWithParam<FlagRow>, public TestSupport::TempFolder {};

TEST_P(OpenFlags, ReachTheSystem) {
  const FlagRow& row = GetParam();
  CSysFile file;
  file.Open(Text(Make("file", "abc")), row.access, row.create, 0, 0600, row.options);
  const int descriptor = static_cast<int>(file.GetSysHandle());
  EXPECT_EQ(row.expected, fcntl(descriptor, F_GETFL) & (O_ACCMODE | O_APPEND | O_SYNC | O_NONBLOCK));
  EXPECT_EQ(FD_CLOEXEC, fcntl(descriptor, F_GETFD));
  EXPECT_EQ((row.create & O_TRUNC) != 0 ? 0 : 3, file.GetSize());
}

const FlagRow flagRows[] = {
    {"Read", O_RDONLY, 0, 0, O_RDONLY},
    {"WriteTruncated", O_WRONLY, O_CREAT | O_TRUNC, 0, O_WRONLY},
    {"Append", O_RDWR | O_APPEND, 0, 0, O_RDWR | O_APPEND},
    {"Synchronous", O_WRONLY, 0, Qorv::fileOption::synchronous, O_WRONLY | O_SYNC},
    {"ReservedAlone", O_RDONLY, 0, Qorv::fileOption::reserved, O_RDONLY},
};
INSTANTIATE_TEST_SUITE_P(Every, OpenFlags, testing::ValuesIn(flagRows), rowName);

TEST_F(SysFile, SharedLocksGoTogetherAndTheDeviceWithoutLocksOpens) {
  const CSysFile first = Opened(Make("file", ""), O_RDONLY, 0, Qorv::fileShare::shared);
  Opened(Path("file"), O_RDONLY, 0, Qorv::fileShare::shared);
  Opened(Path("file"), O_RDONLY, 0, 7);  // no mode: no lock
  Opened("/dev/null", O_WRONLY, 0, Qorv::fileShare::shared);
}

TEST_F(SysFile, ARefusedLockLeavesNoDescriptorBehind) {
  const CSysFile holder = Opened(Make("file", ""), O_RDONLY, 0, Qorv::fileShare::exclusive);
  const int next = dup(0);  // the lowest free number, which the failing open takes and gives back
  close(next);
  EXPECT_NE("no failure", FailureOf<Qorv::sysfileExp>(
                              [&] { Opened(Path("file"), O_RDONLY, 0, Qorv::fileShare::exclusive); }));
  EXPECT_FALSE(IsOpen(next));
}

TEST_F(SysFile, TheLastCopyCloses) {
  auto first = std::make_unique<CSysFile>(Opened(Make("file", "abcdef")));
  const std::int64_t descriptor = first->GetSysHandle();
  CSysFile second(*first);
  CSysFile third = Opened(Make("other", ""));
  const std::int64_t replaced = third.GetSysHandle();
  third = second;
  EXPECT_FALSE(IsOpen(replaced)) << "assignment lets go of what was held";
  const CSysFile& same = third;
  third = same;
  EXPECT_EQ(descriptor, third.GetSysHandle());
  EXPECT_EQ(Text(Path("file")), third.GetPath());
  EXPECT_EQ("ab", Read(second, 2));
  EXPECT_EQ("cd", Read(third, 2)) << "copies share the position";
  first.reset();
  second = CSysFile();
  EXPECT_TRUE(IsOpen(descriptor));
  third = CSysFile();
  EXPECT_FALSE(IsOpen(descriptor));
}

TEST_F(SysFile, CopiesOfManyThreadsCloseOnce) {
  CSysFile file = Opened(Make("file", ""));
  const std::int64_t descriptor = file.GetSysHandle();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    auto own = std::make_unique<CSysFile>(file);
    threads.emplace_back([own = std::move(own)] {
      for (int round = 0; round < 5000; ++round)
        CSysFile again(*own);
    });
  }
  file = CSysFile();
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_FALSE(IsOpen(descriptor));
}

TEST_F(SysFile, OpenReplacesAndAFailedOneKeepsTheDescriptorWithoutPath) {
  CSysFile file = Opened(Make("first", "1"));
  const std::int64_t first = file.GetSysHandle();
  file.Open(Text(Make("second", "2")), O_RDONLY, 0, 0, 0, 0);
  const std::int64_t second = file.GetSysHandle();
  EXPECT_FALSE(IsOpen(first));
  EXPECT_THROW(file.Open(Text(Path("none")), O_RDONLY, 0, 0, 0, 0), Qorv::sysfileExp);
  EXPECT_EQ(second, file.GetSysHandle());
  EXPECT_EQ("", file.GetPath());
  EXPECT_EQ("2", Read(file, 9));
}

TEST_F(SysFile, AnOpenThatCannotCloseTheOldDescriptorHoldsTheNewOne) {
  const int lower = dup(0);  // freed below: the second open takes this number and not that of the first
  CSysFile file = Opened(Make("first", "1"));
  const int first = static_cast<int>(file.GetSysHandle());
  ASSERT_LT(lower, first);
  Make("second", "2");
  close(lower);
  close(first);
  EXPECT_EQ(
      "6: CSysFile::__Close - error close file descriptor\n  sys error  = 9\n  error desc = invalid file "
      "descriptor",
      FailureOf<Qorv::sysfileExp>([&] { file.Open(Text(Path("second")), O_RDONLY, 0, 0, 0, 0); }));
  EXPECT_EQ("2", Read(file, 9));
  EXPECT_EQ("", file.GetPath());
}

TEST_F(SysFile, AFailureOfClosingIsDroppedWhileAnotherUnwinds) {
  const auto step = [&] {
    CSysFile file = Opened(Make("file", ""));
    close(static_cast<int>(file.GetSysHandle()));
    throw Qorv::sysfileExp("first", 99);
  };
  EXPECT_EQ("99: first", FailureOf<Qorv::sysfileExp>(step));
}

TEST_F(SysFile, ThePathIsMadeAbsoluteUnlessRaw) {
  const std::string before = std::filesystem::current_path();
  Make("here", "x");
  std::filesystem::current_path(Path());
  CSysFile file = Opened("here");
  EXPECT_EQ(Text(Path("here")), file.GetPath());
  file.OpenRaw("here", O_RDONLY, 0, 0, 0, 0);
  EXPECT_EQ("here", file.GetPath());
  std::filesystem::current_path(before);
}

TEST_F(SysFile, APathMayBeAPartOfATextThatGoesAway) {
  const std::string path = Make("file", "abc");
  CSysFile file;
  {
    const std::string longer = path + "-and-more";
    file.OpenRaw(stringEx::view({longer.data(), path.size()}), O_RDONLY, 0, 0, 0, 0);
  }
  EXPECT_EQ(Text(path), file.GetPath());
  file.Open(file.GetPath(), O_RDONLY, 0, 0, 0, 0);  // its own path
  EXPECT_EQ(Text(path), file.GetPath());
}

TEST_F(SysFile, WidePathsGoToTheSystemInUtf8) {
  Qorv::wstringEx wide;
  for (const char c : Path())
    wide += static_cast<wchar_t>(c);
  wide += L"/a\u00e9\u20ac\U0001f600\xd800";
  CSysFile file;
  file.Open(wide, O_RDWR, O_CREAT, 0, 0600, 0);
  EXPECT_EQ(Text(Path("a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80?")), file.GetPath());
  EXPECT_TRUE(std::filesystem::exists(file.GetPath().data()));
}

std::atomic<int> interruptions;

// A signal that finds the thread inside the system call makes the call fail with EINTR.
TEST_F(SysFile, ASignalDoesNotEndARead) {
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  CSysFile file;
  file.OpenRaw(Text("/proc/self/fd/" + std::to_string(ends[0])), O_RDONLY, 0, 0, 0, 0);
  struct sigaction action {};
  action.sa_handler = [](int) { ++interruptions; };
  sigaction(SIGUSR1, &action, nullptr);
  std::atomic<int> reader{0};
  std::string result;
  std::thread thread([&] {
    reader = static_cast<int>(gettid());
    result = FailureOf<Qorv::sysfileExp>([&] { result = Read(file, 9); }) + " " + result;
  });
  while (reader == 0)
    sched_yield();
  const std::string status = "/proc/self/task/" + std::to_string(reader) + "/stat";
  for (int round = 1; round <= 3; ++round) {
    std::string line;
    while (line.find(") S ") == std::string::npos) {  // asleep: inside read
      std::ifstream in(status);
      std::getline(in, line);
    }
    pthread_kill(thread.native_handle(), SIGUSR1);
    while (interruptions < round)
      sched_yield();
  }
  ASSERT_EQ(3, write(ends[1], "abc", 3));
  thread.join();
  EXPECT_EQ("no failure abc", result);
  close(ends[0]);
  close(ends[1]);
}

// What the kernel tells of a block device; 0 where there is none.
std::uint32_t KnownSectorSize(dev_t device) {
  const std::string place =
      "/sys/dev/block/" + std::to_string(major(device)) + ':' + std::to_string(minor(device));
  std::uint32_t size = 0;
  for (const char* const disk : {"/queue", "/../queue"})
    std::ifstream(place + disk + "/logical_block_size") >> size;
  return size;
}

TEST_F(SysFile, ADeviceIsAskedItself) {
  int asked = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/dev")) {
    struct stat device;
    if (stat(entry.path().c_str(), &device) != 0 || !S_ISBLK(device.st_mode)) continue;
    const int descriptor = open(entry.path().c_str(), O_RDONLY | O_NONBLOCK);
    std::uint64_t bytes = 0;
    const bool known = descriptor >= 0 && ioctl(descriptor, BLKGETSIZE64, &bytes) == 0;
    if (descriptor >= 0) close(descriptor);
    if (!known || KnownSectorSize(device.st_rdev) == 0) continue;
    ++asked;
    std::uint32_t sectorSize = 0;
    std::int64_t size = 0;
    Opened(entry.path()).GetStorageInfo(&sectorSize, &size);
    EXPECT_EQ(KnownSectorSize(device.st_rdev), sectorSize) << entry;
    EXPECT_EQ(bytes, static_cast<std::uint64_t>(size)) << entry;
  }
  if (asked == 0) GTEST_SKIP() << "no block device that this user may open";
}

TEST_F(SysFile, AFileHasTheSectorsOfItsVolumeAlsoWhenItIsRemoved) {
  struct stat status;
  ASSERT_EQ(0, stat(Path().c_str(), &status));
  const std::uint32_t known = KnownSectorSize(status.st_dev);
  if (known == 0) GTEST_SKIP() << "no block device behind " << Path();
  CSysFile file = Opened(Make("file", "12345"));
  std::filesystem::remove(Path("file"));
  std::uint32_t sectorSize = 0;
  std::int64_t size = 0;
  file.GetStorageInfo(&sectorSize, &size);
  EXPECT_EQ(known, sectorSize);
  EXPECT_EQ(5, size);
}

}  // namespace
