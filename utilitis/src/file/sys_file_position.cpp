// Positions and sizes.
#include <unistd.h>

#include <qorv/file.h>

#include "error/message.h"
#include "misc/posix/platform.h"

namespace Qorv {
namespace {

using IMPL::CMessage;

constexpr IMPL::ErrnoText seekTexts[] = {
    {EINVAL, "invalide argument, or the resulting file offset would be negative for the file"},
    {EOVERFLOW, "the new file offset is too big"},
    {ESPIPE, "the fildes argument is associated with a pipe, fifo, or socket"},
    {EBADF, "invalid file descriptor"},
};

constexpr IMPL::ErrnoText resizeTexts[] = {
    {EIO, "io error to the file system"},
    {EBADF, "invalid file descriptor"},
    {EINVAL, "invalid size or there is no write permission"},
    {EFBIG, "size too big"},
    {EROFS, "the file resides on a read-only file system"},
};

}  // namespace

std::int64_t CSysFile::PosixSeekFile(std::int64_t descriptor, std::int64_t offset, int whence) {
  const off_t position = ::lseek(static_cast<int>(descriptor), offset, whence);
  if (position < 0) {
    const int error = errno;
    CMessage("CSysFile/PosixSeekFile - error seek file pointer\n")
        .Errno("  sys error  = ", "  error desc = ", error, seekTexts)
        .Throw<sysfileExp>(fileCode::seek);
  }
  return position;
}

void CSysFile::Seek(std::string_view heading, std::int64_t offset, int whence) {
  try {
    PosixSeekFile(descriptor_, offset, whence);
  } catch (const qvExp& failure) {
    CMessage(heading).Field("  file path = ", path_).Inner(failure).Throw<sysfileExp>(fileCode::seek);
  }
}

void CSysFile::SeekBegin(const std::int64_t& position) {
  Seek("CSysFile::SeekBegin - failed seeking in file\n", position, SEEK_SET);
}

void CSysFile::SeekCurrent(const std::int64_t& offset) {
  Seek("CSysFile::SeekCurrent - failed seeking in file\n", offset, SEEK_CUR);
}

void CSysFile::SeekEnd(const std::int64_t& offset) {
  Seek("CSysFile::SeekEnd - failed seeking in file\n", offset, SEEK_END);
}

std::int64_t CSysFile::GetCurrentPos() const {
  try {
    return PosixSeekFile(descriptor_, 0, SEEK_CUR);
  } catch (const qvExp& failure) {
    CMessage("CSysFile::GetCurrentPos - failed get current position\n")
        .Field("  file path = ", path_)
        .Inner(failure)
        .Throw<sysfileExp>(fileCode::position);
  }
}

std::int64_t CSysFile::GetSize() const {
  try {
    const std::int64_t position = PosixSeekFile(descriptor_, 0, SEEK_CUR);
    const std::int64_t size = PosixSeekFile(descriptor_, 0, SEEK_END);
    PosixSeekFile(descriptor_, position, SEEK_SET);
    return size;
  } catch (const qvExp& failure) {
    CMessage("CSysFile::GetSize - failed retrive file size\n")
        .Field("  file path = ", path_)
        .Inner(failure)
        .Throw<sysfileExp>(fileCode::size);
  }
}

void CSysFile::ResizeToCurrentPos() {
  const std::int64_t size = GetCurrentPos();
  if (IMPL::RetryOnEintr([&] { return ::ftruncate(Handle(), size); }) >= 0) return;
  const int error = errno;
  CMessage("CSysFile::ResizeToCurrentPos - failed set the size of shared memory object\n")  // a file, in fact
      .Field("  file path  = ", path_)
      .Field("  resize to  = ", size)
      .Errno("  error code = ", "  error desc = ", error, resizeTexts)
      .Throw<sysfileExp>(fileCode::resize);
}

}  // namespace Qorv
