#include <sys/types.h>
#include <unistd.h>

#include <memory>
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

constexpr IMPL::ErrnoText duplicateTexts[] = {
    {EBADF, "invalid file descriptor"},
    {EMFILE, "the number of file descriptors in use by this process would exceed"},
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
  Release();
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

// Closed from here on, whatever the system says of the descriptor.
void CSysFile::Release() {
  const std::int64_t descriptor = std::exchange(descriptor_, -1);
  Counter* const counter = std::exchange(counter_, nullptr);
  if (counter == nullptr || counter->fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  delete counter;
  __Close(descriptor);
}

void CSysFile::Close() {
  path_.clear();
  Release();
}

CSysFile CSysFile::Duplicate(const CSysFile& source) {
  auto counter = std::make_unique<Counter>(1);
  CSysFile copy;
  copy.path_ = source.path_;
  copy.descriptor_ = RetryOnEintr([&] { return ::dup(source.Handle()); });
  if (copy.descriptor_ < 0) {
    const int error = errno;
    CMessage("CSysFile::Duplicate - failed duplicate file descriptor\n")
        .Field("  file path  = ", source.path_)
        .Errno("  error code = ", "  error desc = ", error, duplicateTexts)
        .Throw<sysfileExp>(fileCode::duplicate);
  }
  copy.counter_ = counter.release();
  return copy;
}

std::int64_t CSysFile::Disclaim() {
  if (counter_ == nullptr || counter_->load(std::memory_order_acquire) != 1) {
    throw sysfileExp(stringEx::view("CSysFile::Disclaim - ownership check failed"), fileCode::disclaim);
  }
  delete std::exchange(counter_, nullptr);
  return descriptor_;
}

CSysFile CSysFile::Adopt(std::int64_t descriptor) {
  CSysFile file;
  file.counter_ = new Counter(1);
  file.descriptor_ = descriptor;
  return file;
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
