// Who owns a descriptor, positions and sizes, locks between processes, and times.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <qorv/file.h>

#include "file/temp_folder.h"
#include "support/failure.h"

namespace {

using Qorv::CSysFile;
using Qorv::CTime;
using TestSupport::FailureOf;
using TestSupport::Text;

struct SysFileLife : testing::Test, TestSupport::TempFolder {
  CSysFile Opened(std::string_view content = "0123456789") {
    CSysFile file;
    file.Open(Text(Make("file", content)), O_RDWR, 0, 0, 0, 0);
    return file;
  }
  static std::string Read(CSysFile& file, std::size_t length) {
    std::string bytes(length, '?');
    bytes.resize(file.Read(bytes.data(), length));
    return bytes;
  }
  static bool IsOpen(std::int64_t descriptor) { return fcntl(static_cast<int>(descriptor), F_GETFD) >= 0; }
};

TEST_F(SysFileLife, AStandardStreamIsOnlyBorrowed) {
  for (const std::uint32_t type : {0u, 1u, 2u}) {
    std::int64_t before = -1;
    {
      CSysFile console = Opened();
      before = console.GetSysHandle();
      console.Open(type);
      EXPECT_EQ(type, console.GetSysHandle());
      EXPECT_TRUE(console.GetPath().empty());
    }
    EXPECT_FALSE(IsOpen(before));
    EXPECT_TRUE(IsOpen(type));
  }
}

TEST_F(SysFileLife, AnUnknownStreamClosesTheFile) {
  CSysFile file = Opened();
  const std::int64_t before = file.GetSysHandle();
  EXPECT_EQ("4: CSysFile::Open - unknown console type: 3",
            FailureOf<Qorv::sysfileExp>([&] { file.Open(3); }));
  EXPECT_EQ(-1, file.GetSysHandle());
  EXPECT_TRUE(file.GetPath().empty());
  EXPECT_FALSE(IsOpen(before));
}

// The streams of a test are not its own to close: a child's are.
TEST_F(SysFileLife, AnOwnedStreamIsBorrowedFromThenOn) {
  const pid_t child = fork();
  if (child == 0) {
    close(0);
    {
      CSysFile file = Opened();
      if (file.GetSysHandle() != 0) _exit(1);
      file.Open(std::uint32_t{0});
    }
    _exit(IsOpen(0) ? 0 : 2);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(0, status);
}

TEST_F(SysFileLife, ReOpenHasAPositionOfItsOwn) {
  CSysFile file = Opened();
  file.SeekBegin(5);
  CSysFile again = CSysFile::ReOpen(file, O_RDONLY, 0, 0);
  EXPECT_EQ(file.GetPath(), again.GetPath());
  EXPECT_EQ("012", Read(again, 3));
  EXPECT_EQ("567", Read(file, 3));
  EXPECT_EQ("4: CSysFile::ReOpen - don't know how to reopen, empty path",
            FailureOf<Qorv::sysfileExp>([] { CSysFile::ReOpen({}, O_RDONLY, 0, 0); }));
  unlink(Path("file").c_str());
  EXPECT_EQ(Fill("4: CSysFile/PosixOpenFile - failed open specified file\n  file path  = {}/file\n"
                 "  error code = 2\n  error desc = file dose not exists or can't be created"),
            FailureOf<Qorv::sysfileExp>([&] { CSysFile::ReOpen(file, O_RDONLY, 0, 0); }));
  EXPECT_EQ("89", Read(file, 3)) << "the source stays open";
}

TEST_F(SysFileLife, ADuplicateSharesThePositionAndOutlivesItsSource) {
  CSysFile file = Opened();
  CSysFile copy = CSysFile::Duplicate(file);
  EXPECT_NE(file.GetSysHandle(), copy.GetSysHandle());
  EXPECT_EQ(file.GetPath(), copy.GetPath());
  EXPECT_EQ("01", Read(file, 2));
  file.Close();
  EXPECT_EQ("23", Read(copy, 2));
}

TEST_F(SysFileLife, CloseOfACopyLeavesTheOthersOpen) {
  CSysFile file = Opened();
  const std::int64_t descriptor = file.GetSysHandle();
  CSysFile copy = file;
  copy.Close();
  EXPECT_EQ(-1, copy.GetSysHandle());
  EXPECT_TRUE(copy.GetPath().empty());
  EXPECT_EQ("01", Read(file, 2));
  file.Close();
  EXPECT_FALSE(IsOpen(descriptor));
  file.Close();
}

TEST_F(SysFileLife, DisclaimGivesTheDescriptorAwayButNotASharedOne) {
  const char refused[] = "37: CSysFile::Disclaim - ownership check failed";
  CSysFile file = Opened();
  {
    CSysFile copy = file;
    EXPECT_EQ(refused, FailureOf<Qorv::sysfileExp>([&] { file.Disclaim(); }));
    EXPECT_EQ("0", Read(file, 1));
    EXPECT_EQ("1", Read(copy, 1));
  }
  const std::int64_t descriptor = file.Disclaim();
  EXPECT_EQ("2", Read(file, 1)) << "it is still lent";
  EXPECT_EQ(refused, FailureOf<Qorv::sysfileExp>([&] { file.Disclaim(); }));
  file.Close();
  EXPECT_TRUE(IsOpen(descriptor));
  close(static_cast<int>(descriptor));
}

TEST_F(SysFileLife, PathsMayBeRawAndWide) {
  Make("file", "0123");
  CSysFile file;
  file.OpenRaw(Qorv::wstringEx(L"/proc/self/cwd/../.."), O_RDONLY, 0, 0, 0, 0);
  EXPECT_EQ("/proc/self/cwd/../..", std::string(file.GetPath().data()));
}

TEST_F(SysFileLife, PositionsCountFromStartPlaceAndEnd) {
  CSysFile file = Opened();
  file.SeekEnd(-4);
  EXPECT_EQ(6, file.GetCurrentPos());
  EXPECT_EQ("67", Read(file, 2));
  file.SeekCurrent(-5);
  EXPECT_EQ(3, file.GetCurrentPos());
  file.ResizeToCurrentPos();
  EXPECT_EQ("012", Content("file"));
  file.SeekEnd(2);
  file.ResizeToCurrentPos();
  EXPECT_EQ(std::string("012\0\0", 5), Content("file"));
  file.SeekBegin(0);
  file.ResizeToCurrentPos();
  EXPECT_EQ("", Content("file"));
}

TEST_F(SysFileLife, SeeksOfNoFileNameTheirOperation) {
  const std::string inner =
      "  file path = \n@ CSysFile/PosixSeekFile - error seek file pointer\n  sys error  = 9\n"
      "  error desc = invalid file descriptor";
  CSysFile file;
  EXPECT_EQ("13: CSysFile::SeekCurrent - failed seeking in file\n" + inner,
            FailureOf<Qorv::sysfileExp>([&] { file.SeekCurrent(0); }));
  EXPECT_EQ("13: CSysFile::SeekEnd - failed seeking in file\n" + inner,
            FailureOf<Qorv::sysfileExp>([&] { file.SeekEnd(0); }));
  for (const bool resizes : {false, true}) {
    EXPECT_EQ("14: CSysFile::GetCurrentPos - failed get current position\n" + inner,
              FailureOf<Qorv::sysfileExp>(
                  [&] { resizes ? file.ResizeToCurrentPos() : (void)file.GetCurrentPos(); }));
  }
}

// Another process has the bytes 10 to 19 for itself, and the bytes 20 to 29 for reading.
TEST_F(SysFileLife, LocksHoldBetweenProcesses) {
  CSysFile file = Opened();
  int ready[2];
  int done[2];
  ASSERT_EQ(0, pipe(ready) + pipe(done));
  const pid_t child = fork();
  if (child == 0) {
    CSysFile own;
    own.Open(file.GetPath(), O_RDWR, 0, 0, 0, 0);
    const bool locked = own.Lock(10, 10, F_WRLCK) && own.Lock(20, 10, F_RDLCK);
    char byte = locked ? 'y' : 'n';
    if (write(ready[1], &byte, 1) != 1 || read(done[0], &byte, 1) != 1) _exit(1);
    _exit(own.Unlock(10, 5) && write(ready[1], &byte, 1) == 1 && read(done[0], &byte, 1) == 1 ? 0 : 1);
  }
  char byte = 0;
  ASSERT_EQ(1, read(ready[0], &byte, 1));
  EXPECT_EQ('y', byte);
  EXPECT_TRUE(file.TryLock(0, 10, F_WRLCK));
  EXPECT_FALSE(file.TryLock(19, 1, F_RDLCK));
  EXPECT_TRUE(file.TryLock(20, 1, F_RDLCK));
  EXPECT_FALSE(file.TryLock(29, 1, F_WRLCK));
  EXPECT_FALSE(file.TryLock(0, 0, F_WRLCK)) << "a length of 0 is all up to the end";
  EXPECT_EQ(1, write(done[1], "x", 1));
  ASSERT_EQ(1, read(ready[0], &byte, 1));
  EXPECT_TRUE(file.Lock(10, 5, F_WRLCK));
  EXPECT_FALSE(file.TryLock(15, 1, F_WRLCK));
  EXPECT_EQ(1, write(done[1], "x", 1));
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(0, status);
  EXPECT_TRUE(file.TryLock(0, 0, F_WRLCK)) << "locks go with their process";
  for (const int end : {ready[0], ready[1], done[0], done[1]})
    close(end);
}

TEST_F(SysFileLife, TimesAreLessTheZoneBothWays) {
  CSysFile file = Opened();
  const std::int64_t zone = CTime().GetZone() * std::int64_t{60'000'000};
  const auto onDisk = [&] {
    struct stat status;
    stat(Path("file").c_str(), &status);
    return std::pair(status.st_atime, status.st_mtime);
  };
  const CTime access(1'000'000'000'999'999 - zone);
  const CTime modification(-1 - zone);
  file.SetTime(&access, &access, &modification);
  EXPECT_EQ(std::pair(std::time_t{1'000'000'000}, std::time_t{-1}), onDisk());
  const CTime later(2'000'000'000'000'000 - zone);
  file.SetTime(nullptr, nullptr, &later);
  EXPECT_EQ(std::pair(std::time_t{1'000'000'000}, std::time_t{2'000'000'000}), onDisk());
  file.SetTime(nullptr, &later, nullptr);
  EXPECT_EQ(std::pair(std::time_t{2'000'000'000}, std::time_t{2'000'000'000}), onDisk());
  CTime creation;
  CTime readAccess;
  CTime readModification;
  file.GetTime(&creation, &readAccess, &readModification);
  EXPECT_FALSE(creation.IsKnown());
  EXPECT_EQ(later, readAccess);
  EXPECT_EQ(later, readModification);
}

}  // namespace
