#include <sys/types.h>
#include <unistd.h>

#include <system_error>
#include <utility>

#include <qorv/file.h>

#include "error/message.h"
#include "file/direct_access.h"
#include "misc/posix/platform.h"

namespace Qorv {
namespace {

using IMPL::CMessage;
using IMPL::RetryOnEintr;

constexpr IMPL::ErrnoText readTexts[] = {
    {EIO, "physical io error, or background process attempt to read from console terminal"},
    {ENXIO, "device not exist, or the request was outside the capabilities of the device"},
    {EBADF, "invalid file descriptor"},
    {ENOMEM, "insufficient memory was available to fulfill the request"},
    {EISDIR, "the file refers to a directory"},
    {EINVAL, "the stream is linked (directly or indirectly) downstream from a multiplexer"},
    {EAGAIN, "the thread would be delayed in non block mode"},
    {ENOBUFS, "insufficient resources were available in the system to perform the operation"},
    {EOVERFLOW, "offset or length is out-of-range"},
    {EBADMSG, "reading control message on a stream file"},
};

constexpr IMPL::ErrnoText writeTexts[] = {
    {EIO, "physical io error, or background process attempt to write to its console terminal"},
    {ENXIO, "device not exist, or the request was outside the capabilities of the device"},
    {EBADF, "invalid file descriptor"},
    {ENOMEM, "insufficient memory was available to fulfill the request"},
    {EINVAL, "the stream is linked (directly or indirectly) downstream from a multiplexer"},
    {EFBIG, "no room for write, or offset out-of-range"},
    {ENOSPC, "there was no free space remaining on the device containing the file"},
    {EPIPE, "error writing pipe, pipe has been broken"},
    {ERANGE, "the transfer request size was outside the range supported by the streams file"},
    {EAGAIN, "the thread would be delayed in non block mode"},
    {ENOBUFS, "insufficient resources were available in the system to perform the operation"},
};

constexpr IMPL::ErrnoText flushTexts[] = {
    {EBADF, "invalid file descriptor"},
    {EIO, "io error occurred to the file system"},
    {EINVAL, "the file is not support this operation"},
    {EFBIG, "size too big"},
};

constexpr IMPL::ErrnoText seekTexts[] = {
    {EINVAL, "invalide argument, or the resulting file offset would be negative for the file"},
    {EOVERFLOW, "the new file offset is too big"},
    {ESPIPE, "the fildes argument is associated with a pipe, fifo, or socket"},
    {EBADF, "invalid file descriptor"},
};

constexpr IMPL::ErrnoText closeTexts[] = {
    {EBADF, "invalid file descriptor"},
    {EIO, "io error occurred"},
};

}  // namespace

CSysFile::CSysFile(const CSysFile& other) noexcept
    : descriptor_(other.descriptor_), counter_(other.counter_), path_(other.path_) {
  if (counter_ != nullptr) counter_->fetch_add(1, std::memory_order_relaxed);
}

CSysFile& CSysFile::operator=(const CSysFile& other) {
  CSysFile copy(other);
  Swap(copy);
  return *this;
}

CSysFile::~CSysFile() noexcept(false) {
  if (counter_ == nullptr || counter_->fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  delete counter_;
  __Close(descriptor_);
}

void CSysFile::Swap(CSysFile& other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  std::swap(counter_, other.counter_);
  path_.swap(other.path_);
}

void CSysFile::__Close(std::int64_t descriptor) {
  if (descriptor < 0) return;
  if (RetryOnEintr([=] { return ::close(static_cast<int>(descriptor)); }) >= 0) return;
  const int error = errno;
  IMPL::DropWhileUnwinding([=] {
    CMessage("CSysFile::__Close - error close file descriptor\n")
        .Errno("  sys error  = ", "  error desc = ", error, closeTexts)
        .Throw<sysfileExp>(fileCode::close);
  });
}

std::uint32_t CSysFile::Read(void* buffer, std::uint64_t length) {
  for (;;) {
    const ssize_t count = RetryOnEintr([&] { return ::read(Handle(), buffer, length); });
    if (count >= 0) return static_cast<std::uint32_t>(count);
    const int error = errno;
    if (error == EINVAL && IMPL::platform::LeaveDirectAccess(Handle())) {
      IMPL::WarnNoDirectAccess(path_);
      continue;
    }
    CMessage("CSysFile::Read - failed reading file\n")
        .Field("  file path  = ", path_)
        .Errno("  error code = ", "  error desc = ", error, readTexts)
        .Throw<sysfileExp>(fileCode::read);
  }
}

std::uint64_t CSysFile::Write(const void* buffer, std::uint64_t length) {
  const ssize_t count = RetryOnEintr([&] { return ::write(Handle(), buffer, length); });
  if (count < 0) {
    const int error = errno;
    CMessage("CSysFile::Write - failed writing file\n")
        .Field("  file path  = ", path_)
        .Errno("  error code = ", "  error desc = ", error, writeTexts)
        .Throw<sysfileExp>(error == EPIPE ? fileCode::brokenPipe : fileCode::write);
  }
  return static_cast<std::uint64_t>(count);
}

void CSysFile::Flush() {
  if (RetryOnEintr([this] { return ::fsync(Handle()); }) >= 0) return;
  const int error = errno;
  CMessage("CSysFile::Flush - failed flush the file\n")
      .Field("  file path  = ", path_)
      .Errno("  error code = ", "  error desc = ", error, flushTexts)
      .Throw<sysfileExp>(fileCode::flush);
}

// A descriptor that is borrowed stays as it is.
void CSysFile::Close() {
  path_.clear();
  Counter* const counter = std::exchange(counter_, nullptr);
  if (counter == nullptr || counter->fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  delete counter;
  __Close(std::exchange(descriptor_, -1));
}

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

void CSysFile::SeekBegin(const std::int64_t& position) {
  try {
    PosixSeekFile(descriptor_, position, SEEK_SET);
  } catch (const qvExp& failure) {
    CMessage("CSysFile::SeekBegin - failed seeking in file\n")
        .Field("  file path = ", path_)
        .Inner(failure)
        .Throw<sysfileExp>(fileCode::seek);
  }
}

std::int64_t CSysFile::GetSize() {
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

void CSysFile::GetStorageInfo(std::uint32_t* sectorSize, std::int64_t* size) {
  if (sectorSize != nullptr) *sectorSize = IsDevice() ? DeviceSectorSize() : VolumeSectorSize();
  if (size != nullptr) *size = GetSize();
}

std::uint32_t CSysFile::DeviceSectorSize() const {
  std::uint32_t sectorSize = 0;
  if (const int error = IMPL::platform::DeviceSectorSize(Handle(), &sectorSize); error != 0) {
    CMessage("CSysFile::GetStorageInfo - error retrive physical device info\n")
        .Field("  error code = ", error)
        .Field("  error desc = ", std::generic_category().message(error))
        .Throw<sysfileExp>(fileCode::control);
  }
  return sectorSize;
}

std::uint32_t CSysFile::VolumeSectorSize() const {
  try {
    return CDir::GetStorageTopology(CDir::GetPathVolume(path_)).sectorSize;
  } catch (const qvExp& failure) {
    CMessage("CSysFile::GetStorageInfo - error retrive volume info\n")
        .Inner(failure)
        .Throw<sysfileExp>(fileCode::control);
  }
}

bool CSysFile::IsDevice() const noexcept {
  return path_.starts_with("/dev/");
}

}  // namespace Qorv
