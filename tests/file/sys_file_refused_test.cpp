// What the system seldom refuses, made to fail: class, code and whole text of each, and that only EINTR is repeated.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <atomic>

#include <gtest/gtest.h>

#include <qorv/file.h>

#include "file/temp_folder.h"
#include "support/failure.h"
#include "support/refusal.h"
#include "support/row_name.h"

// NOLINTBEGIN
REFUSABLE_BY_ERRNO(dup, (int fd), (fd))
REFUSABLE_BY_ERRNO(fsync, (int fd), (fd))
REFUSABLE_BY_ERRNO(ftruncate, (int fd, off_t size), (fd, size))
REFUSABLE_BY_ERRNO(fcntl, (int fd, int command, void* argument), (fd, command, argument))
REFUSABLE_BY_ERRNO(fstat, (int fd, struct stat* status), (fd, status))
REFUSABLE_BY_ERRNO(utime, (const char* path, const utimbuf* times), (path, times))
// NOLINTEND

namespace {

using Qorv::CSysFile;
using Qorv::CTime;
using TestSupport::Refuse;

struct RefusedRow {
  const char* name;
  const char* call;
  int error;
  void (*step)(CSysFile&);
  const char* expected;
};

void Duplicate(CSysFile& file) {
  CSysFile::Duplicate(file);
}
void Flush(CSysFile& file) {
  file.Flush();
}
void Lock(CSysFile& file) {
  file.Lock(7, 9, F_WRLCK);
}
void TryLock(CSysFile& file) {
  file.TryLock(7, 9, F_WRLCK);
}
void Unlock(CSysFile& file) {
  file.Unlock(7, 9);
}
void Resize(CSysFile& file) {
  file.SeekBegin(2);
  file.ResizeToCurrentPos();
}
void GetTime(CSysFile& file) {
  file.GetTime(nullptr, nullptr, nullptr);
}
void SetTime(CSysFile& file) {
  const CTime time;
  file.SetTime(nullptr, &time, &time);
}

#define DUPLICATE \
  "36: CSysFile::Duplicate - failed duplicate file descriptor\n  file path  = {}/file\n  error code = "
#define FLUSH "15: CSysFile::Flush - failed flush the file\n  file path  = {}/file\n  error code = "
#define RANGE "\n  from       = 7\n  length     = 9\n  error code = "
#define LOCK                                                                                              \
  "20: CSysFile::Lock - failed lock file\n  file path = {}/file\n@ CSysFile/PosixLockFile - failed lock " \
  "file" RANGE
#define TRY_LOCK                                                                             \
  "20: CSysFile::TryLock - error occured while trying to lock file\n  file path = {}/file\n" \
  "@ CSysFile/PosixLockFile - failed lock file" RANGE
#define UNLOCK                                                                                             \
  "22: CSysFile::Unlock - failed unlock file\n  file path = {}/file\n@ CSysFile/PosixUnlockFile - failed " \
  "unlock file" RANGE
#define RESIZE                                                                                             \
  "23: CSysFile::ResizeToCurrentPos - failed set the size of shared memory object\n  file path  = {}/file" \
  "\n  resize to  = 2\n  error code = "
#define GET_TIME \
  "18: CSysFile::GetTime - failed retrive the file status\n  file path  = {}/file\n  error code = "
#define SET_TIME \
  "19: CSysFile::SetTime - error setting the file time\n  file path  = {}/file\n  error code = "

const RefusedRow refused[] = {
    {"DuplicateGone", "dup", EBADF, Duplicate, DUPLICATE "9\n  error desc = invalid file descriptor"},
    {"DuplicateTooMany", "dup", EMFILE, Duplicate,
     DUPLICATE "24\n  error desc = the number of file descriptors in use by this process would exceed"},
    {"DuplicateOther", "dup", EPERM, Duplicate,
     DUPLICATE "1\n  error desc = unexpect system error: Operation not permitted"},
    {"FlushGone", "fsync", EBADF, Flush, FLUSH "9\n  error desc = invalid file descriptor"},
    {"FlushBroken", "fsync", EIO, Flush, FLUSH "5\n  error desc = io error occurred to the file system"},
    {"FlushNothing", "fsync", EINVAL, Flush,
     FLUSH "22\n  error desc = the file is not support this operation"},
    {"FlushTooBig", "fsync", EFBIG, Flush, FLUSH "27\n  error desc = size too big"},
    {"LockInvalid", "fcntl", EINVAL, Lock,
     LOCK "22\n  error desc = invalid arguments or file does not support locking"},
    {"LockTooMany", "fcntl", ENOLCK, Lock, LOCK "37\n  error desc = lock number exceed the system limit"},
    {"LockTooFar", "fcntl", EOVERFLOW, Lock, LOCK "75\n  error desc = offset out-of-range"},
    {"LockGone", "fcntl", EBADF, Lock,
     LOCK "9\n  error desc = invalid file descriptor or wrong access mode, or the open mode does not match "
          "the lock "
          "type"},
    {"LockDead", "fcntl", EDEADLK, TryLock, TRY_LOCK "35\n  error desc = deadlock detected"},
    {"UnlockInvalid", "fcntl", EINVAL, Unlock, UNLOCK "22\n  error desc = invalid arguments"},
    {"UnlockGone", "fcntl", EBADF, Unlock,
     UNLOCK "9\n  error desc = invalid file descriptor or wrong access mode"},
    {"UnlockTooMany", "fcntl", ENOLCK, Unlock,
     UNLOCK "37\n  error desc = lock number exceed the system limit"},
    {"UnlockTooFar", "fcntl", EOVERFLOW, Unlock, UNLOCK "75\n  error desc = offset out-of-range"},
    {"UnlockOfAnother", "fcntl", EAGAIN, Unlock,
     UNLOCK "11\n  error desc = unexpect system error: Resource temporarily unavailable"},
    {"ResizeBroken", "ftruncate", EIO, Resize, RESIZE "5\n  error desc = io error to the file system"},
    {"ResizeGone", "ftruncate", EBADF, Resize, RESIZE "9\n  error desc = invalid file descriptor"},
    {"ResizeReadOnly", "ftruncate", EINVAL, Resize,
     RESIZE "22\n  error desc = invalid size or there is no write permission"},
    {"ResizeTooBig", "ftruncate", EFBIG, Resize, RESIZE "27\n  error desc = size too big"},
    {"ResizeOnReadOnly", "ftruncate", EROFS, Resize,
     RESIZE "30\n  error desc = the file resides on a read-only file system"},
    {"GetTimeGone", "fstat", EBADF, GetTime, GET_TIME "9\n  error desc = invalid file descriptor"},
    {"GetTimeTooBig", "fstat", EOVERFLOW, GetTime,
     GET_TIME "75\n  error desc = some fields cannot be represented correctly in the structure"},
    {"GetTimeBroken", "fstat", EIO, GetTime,
     GET_TIME "5\n  error desc = io error occurred while reading from the file system"},
    {"GetTimeInterrupted", "fstat", EINTR, GetTime,
     GET_TIME "4\n  error desc = unexpect system error: Interrupted system call"},
    {"SetTimeNotAllowed", "utime", EPERM, SetTime,
     SET_TIME "1\n  error desc = the calling process does not have the appropriate privileges"},
    {"SetTimeGone", "utime", ENOENT, SetTime, SET_TIME "2\n  error desc = file not exists"},
    {"SetTimeDenied", "utime", EACCES, SetTime, SET_TIME "13\n  error desc = permission is denied"},
    {"SetTimeBelowFile", "utime", ENOTDIR, SetTime,
     SET_TIME "20\n  error desc = path prefix is not a valid directory"},
    {"SetTimeReadOnly", "utime", EROFS, SetTime,
     SET_TIME "30\n  error desc = the file system containing the file is read-only"},
    {"SetTimeLoop", "utime", ELOOP, SetTime,
     SET_TIME "40\n  error desc = a loop exists in the symbolic links or links level is too deep"},
    {"SetTimeLongName", "utime", ENAMETOOLONG, SetTime, SET_TIME "36\n  error desc = pathname is too long"},
    {"SetTimeInterrupted", "utime", EINTR, SetTime,
     SET_TIME "4\n  error desc = unexpect system error: Interrupted system call"},
};

struct Ground : TestSupport::TempFolder {
  Ground() { file.Open(TestSupport::Text(Make("file", "0123")), O_RDWR, 0, 0, 0, 0); }
  CSysFile file;
};

class SysFileRefused : public testing::TestWithParam<RefusedRow> {};

TEST_P(SysFileRefused, IsReportedInFull) {
  const RefusedRow& row = GetParam();
  Ground ground;
  const auto step = [&] { return TestSupport::FailureOf<Qorv::sysfileExp>([&] { row.step(ground.file); }); };
  Refuse(row.call, row.error);
  EXPECT_EQ(ground.Fill(row.expected), step());
  EXPECT_EQ("no failure", step()) << "it is refused only once";
}
INSTANTIATE_TEST_SUITE_P(Every, SysFileRefused, testing::ValuesIn(refused), rowName);

class SysFileRepeated : public testing::TestWithParam<RefusedRow> {};

TEST_P(SysFileRepeated, WhenInterrupted) {
  Ground ground;
  Refuse(GetParam().call, EINTR, 3);
  EXPECT_EQ("no failure", TestSupport::FailureOf<Qorv::sysfileExp>([&] { GetParam().step(ground.file); }));
  EXPECT_EQ(0, TestSupport::refusal.left);
}
const RefusedRow repeated[] = {
    {"Duplicate", "dup", 0, Duplicate, ""}, {"Flush", "fsync", 0, Flush, ""},
    {"Lock", "fcntl", 0, Lock, ""},         {"TryLock", "fcntl", 0, TryLock, ""},
    {"Unlock", "fcntl", 0, Unlock, ""},     {"Resize", "ftruncate", 0, Resize, ""}};
INSTANTIATE_TEST_SUITE_P(Every, SysFileRepeated, testing::ValuesIn(repeated), rowName);

TEST(SysFileRefusal, SetTimeOfNothingCallsNothing) {
  Ground ground;
  const CTime time;
  for (const char* call : {"fstat", "utime"}) {
    Refuse(call, EIO);
    ground.file.SetTime(&time, nullptr, nullptr);
    EXPECT_EQ(1, TestSupport::refusal.left);
  }
}

TEST(SysFileRefusal, EitherErrorMeansThatAnotherHasTheLock) {
  Ground ground;
  for (const int error : {EACCES, EAGAIN}) {
    Refuse("fcntl", error);
    EXPECT_FALSE(ground.file.TryLock(0, 1, F_RDLCK));
  }
}

}  // namespace
