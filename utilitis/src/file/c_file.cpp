#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <optional>
#include <string_view>
#include <utility>

#include <qorv/file.h>

#include "error/message.h"
#include "file/narrow.h"
#include "file/no_pipe_signal.h"
#include "file/open_mode.h"
#include "misc/posix/platform.h"

namespace Qorv {
namespace {

using IMPL::CMessage;

constexpr IMPL::ErrnoText streamTexts[] = {
    {EBADF, "the stream is not open, or not for this"},
    {EIO, "physical io error"},
    {EFBIG, "no room for write, or offset out-of-range"},
    {ENOSPC, "there was no free space remaining on the device containing the file"},
    {EPIPE, "error writing pipe, pipe has been broken"},
    {ESPIPE, "the stream is a pipe or a terminal"},
    {EINVAL, "invalid argument, or the resulting position would be negative"},
    {EOVERFLOW, "the position cannot be told"},
    {EISDIR, "the file refers to a directory"},
};

// The calls below a stream, on the descriptor that the cookie is. The C library's own would take a signal in the midst of a
// write for a failure, and drop what its buffer still has.
void* CookieOf(int descriptor, bool isPipe) noexcept {
  return reinterpret_cast<void*>(std::intptr_t{descriptor} * 2 + (isPipe ? 1 : 0));
}

int DescriptorOf(void* cookie) noexcept {
  return static_cast<int>(reinterpret_cast<std::intptr_t>(cookie) / 2);
}

bool IsPipe(void* cookie) noexcept {
  return reinterpret_cast<std::intptr_t>(cookie) % 2 != 0;
}

ssize_t ReadBelow(void* cookie, char* buffer, std::size_t size) {
  return IMPL::RetryOnEintr([=] { return ::read(DescriptorOf(cookie), buffer, size); });
}

// All of it, or fewer bytes at a failure.
ssize_t WriteBelow(void* cookie, const char* data, std::size_t size) {
  std::optional<IMPL::CNoPipeSignal> noSignal;
  if (IsPipe(cookie)) noSignal.emplace();
  std::size_t total = 0;
  while (total < size) {
    const ssize_t count =
        IMPL::RetryOnEintr([=] { return ::write(DescriptorOf(cookie), data + total, size - total); });
    if (count <= 0) break;
    total += static_cast<std::size_t>(count);
  }
  return static_cast<ssize_t>(total);
}

int SeekBelow(void* cookie, off_t* position, int whence) {
  const off_t result = ::lseek(DescriptorOf(cookie), *position, whence);
  if (result < 0) return -1;
  *position = result;
  return 0;
}

int CloseBelow(void* cookie) {
  return ::close(DescriptorOf(cookie));
}

// Null, with an errno, if there is none, or the descriptor was not opened for this.
std::FILE* MakeStream(int descriptor, const stringEx& way) {
  const int flags = ::fcntl(descriptor, F_GETFL);
  const int access = flags & O_ACCMODE;
  const bool reads = way[0] == 'r' || way.find("+") != npos;
  const bool writes = way[0] != 'r' || way.find("+") != npos;
  if (flags < 0 || (access == O_WRONLY && reads) || (access == O_RDONLY && writes)) {
    if (flags >= 0) errno = EINVAL;
    return nullptr;
  }
  if (way[0] == 'a' && (flags & O_APPEND) == 0 && ::fcntl(descriptor, F_SETFL, flags | O_APPEND) < 0)
    return nullptr;
  ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  struct stat status {};
  ::fstat(descriptor, &status);
  void* const cookie = CookieOf(descriptor, S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
  std::FILE* const stream = ::fopencookie(cookie, way.data(), {ReadBelow, WriteBelow, SeekBelow, CloseBelow});
  if (stream != nullptr && ::isatty(descriptor) == 1) std::setvbuf(stream, nullptr, _IOLBF, 0);
  return stream;
}

// 0 or an errno.
int FlushAll(std::FILE* stream) {
  if (std::fflush(stream) == 0) return 0;
  const int error = errno;
  std::clearerr(stream);
  return error;
}

}  // namespace

CCFile::CCFile(CCFile&& other) noexcept
    : stream_(std::exchange(other.stream_, nullptr)),
      descriptor_(std::exchange(other.descriptor_, -1)),
      buffer_(std::move(other.buffer_)),
      path_(std::move(other.path_)) {}

CCFile& CCFile::operator=(CCFile&& other) {
  if (this != &other) {
    CCFile old;
    std::swap(old.stream_, stream_);
    old.buffer_.swap(buffer_);
    old.path_.swap(path_);
    buffer_ = std::move(other.buffer_);
    stream_ = std::exchange(other.stream_, nullptr);
    descriptor_ = std::exchange(other.descriptor_, -1);
    path_ = std::move(other.path_);
  }
  return *this;
}

CCFile::~CCFile() noexcept(false) {
  IMPL::DropWhileUnwinding([this] { Close(); });
}

void CCFile::Refuse(const char* heading, int error, std::uint32_t code) const {
  CMessage(heading)
      .Field("  file path  = ", path_)
      .Errno("  error code = ", "  error desc = ", error, streamTexts)
      .Throw<cfileExp>(code);
}

std::FILE* CCFile::Stream(const char* heading, std::uint32_t code) const {
  if (stream_ == nullptr) Refuse(heading, EBADF, code);
  return stream_;
}

void CCFile::Open(const stringEx& path, const stringEx& mode, std::uint32_t share,
                  std::uint32_t permissions) {
  const auto refuse = [&](auto&& tell) {
    CMessage message("CCFile::Open - failed open file\n");
    message.Field("  file path = ", path).Field("  open mode = ", mode);
    tell(message);
    message.Throw<cfileExp>(fileCode::open);
  };
  const auto flags = IMPL::OpenFlags(mode);
  if (!flags) refuse([](CMessage& message) { message.Field("  error desc = ", "unknown open mode"); });
  CSysFile file;
  try {
    // Where others may hold the file, it is cut behind the lock.
    const int later = share != fileShare::none ? *flags & O_TRUNC : 0;
    file.Open(path, *flags & ~later, 0, share, permissions, 0);
    if (later != 0) file.ResizeToCurrentPos();
    Adopt(file, mode);
  } catch (const sysfileExp& failure) {
    refuse([&](CMessage& message) { message.Inner(failure); });
  }
}

void CCFile::Open(const wstringEx& path, const stringEx& mode, std::uint32_t share,
                  std::uint32_t permissions) {
  Open(IMPL::NarrowForSystem(path), mode, share, permissions);
}

void CCFile::Open(const CSysFile& file, const stringEx& mode) {
  if (!IMPL::OpenFlags(mode)) {
    CMessage("CCFile::Open - failed open a stream of file\n")
        .Field("  file path = ", file.GetPath())
        .Field("  open mode = ", mode)
        .Field("  error desc = ", "unknown open mode")
        .Throw<cfileExp>(fileCode::open);
  }
  try {
    CSysFile own = CSysFile::Duplicate(file);
    Adopt(own, mode);
  } catch (const sysfileExp& failure) {
    CMessage("CCFile::Open - failed open a stream of file\n")
        .Field("  file path = ", file.GetPath())
        .Field("  open mode = ", mode)
        .Inner(failure)
        .Throw<cfileExp>(fileCode::open);
  }
}

// Takes over the descriptor, which nobody else holds.
void CCFile::Adopt(CSysFile& file, const stringEx& mode) {
  CCFile fresh;
  fresh.path_ = file.GetPath();
  // The file is open already: the rest of the mode has had its effect.
  stringEx way(std::string_view(mode).substr(0, 1));
  if (mode.find("+") != npos) way += '+';
  fresh.descriptor_ = static_cast<int>(file.GetSysHandle());
  fresh.stream_ = MakeStream(fresh.descriptor_, way);
  if (fresh.stream_ == nullptr)
    fresh.Refuse("CCFile::Open - failed make a stream of file\n", errno, fileCode::open);
  file.Disclaim();
  *this = std::move(fresh);
}

void CCFile::Close() {
  std::FILE* const stream = std::exchange(stream_, nullptr);
  descriptor_ = -1;
  const stringEx path = std::exchange(path_, {});
  const std::unique_ptr<char[]> buffer = std::move(buffer_);
  if (stream == nullptr) return;
  int error = FlushAll(stream);
  if (std::fclose(stream) != 0 && error == 0) error = errno;
  if (error == 0) return;
  CMessage("CCFile::Close - error close file stream\n")
      .Field("  file path  = ", path)
      .Errno("  error code = ", "  error desc = ", error, streamTexts)
      .Throw<cfileExp>(error == EPIPE ? fileCode::brokenPipe : fileCode::close);
}

std::size_t CCFile::Read(void* buffer, std::size_t size) {
  constexpr const char* heading = "CCFile::Read - failed reading file\n";
  std::FILE* const stream = Stream(heading, fileCode::read);
  const std::size_t count = std::fread(buffer, 1, size, stream);
  if (count < size && std::ferror(stream) != 0) {
    const int error = errno;
    std::clearerr(stream);
    if (count == 0) Refuse(heading, error, fileCode::read);
  }
  return count;
}

int CCFile::ReadByte() {
  unsigned char byte = 0;
  return Read(&byte, 1) == 1 ? byte : EOF;
}

bool CCFile::ReadLine(stringEx& line) {
  line.clear();
  char piece[256];
  std::size_t count = 0;
  int byte = 0;
  try {
    while ((byte = ReadByte()) != EOF && byte != '\n') {
      piece[count++] = static_cast<char>(byte);
      if (count == sizeof(piece)) line.append(piece, std::exchange(count, 0));
    }
  } catch (const cfileExp&) {
    line.append(piece, count);
    throw;
  }
  line.append(piece, count);
  return byte != EOF || !line.empty();
}

void CCFile::PushBack(unsigned char byte) {
  constexpr const char* heading = "CCFile::PushBack - no room to push back\n";
  if (std::ungetc(byte, Stream(heading, fileCode::pushBack)) == EOF)
    Refuse(heading, ENOSPC, fileCode::pushBack);
}

bool CCFile::IsEof() {
  const int byte = ReadByte();
  if (byte != EOF) PushBack(static_cast<unsigned char>(byte));
  return byte == EOF;
}

void CCFile::Write(const void* data, std::size_t size) {
  constexpr const char* heading = "CCFile::Write - failed writing file\n";
  std::FILE* const stream = Stream(heading, fileCode::write);
  if (std::fwrite(data, 1, size, stream) == size) return;
  const int error = errno;
  std::clearerr(stream);
  Refuse(heading, error, error == EPIPE ? fileCode::brokenPipe : fileCode::write);
}

void CCFile::Print(const char* format, ...) {
  stringEx text;
  std::va_list arguments;
  va_start(arguments, format);
  text.vformat(format, arguments);
  va_end(arguments);
  Write(text);
}

void CCFile::Flush() {
  constexpr const char* heading = "CCFile::Flush - failed flush the file\n";
  if (const int error = FlushAll(Stream(heading, fileCode::flush)); error != 0)
    Refuse(heading, error, error == EPIPE ? fileCode::brokenPipe : fileCode::flush);
}

void CCFile::SetBuffer(int mode, std::size_t size) {
  constexpr const char* heading = "CCFile::SetBuffer - failed set stream buffer\n";
  std::FILE* const stream = Stream(heading, fileCode::streamBuffer);
  // The C library takes no notice of a size that comes without a buffer.
  std::unique_ptr<char[]> own(mode != streamBuffer::none && size != 0 ? new char[size] : nullptr);
  if (std::setvbuf(stream, own.get(), mode, own ? size : 0) != 0)
    Refuse(heading, EINVAL, fileCode::streamBuffer);
  buffer_ = std::move(own);
}

void CCFile::Seek(const char* heading, std::int64_t offset, int whence) {
  if (::fseeko(Stream(heading, fileCode::seek), offset, whence) != 0) Refuse(heading, errno, fileCode::seek);
}

void CCFile::SeekBegin(const std::int64_t& position) {
  Seek("CCFile::SeekBegin - failed seeking in file\n", position, SEEK_SET);
}

void CCFile::SeekCurrent(const std::int64_t& offset) {
  Seek("CCFile::SeekCurrent - failed seeking in file\n", offset, SEEK_CUR);
}

void CCFile::SeekEnd(const std::int64_t& offset) {
  Seek("CCFile::SeekEnd - failed seeking in file\n", offset, SEEK_END);
}

std::int64_t CCFile::GetCurrentPos() const {
  constexpr const char* heading = "CCFile::GetCurrentPos - failed get current position\n";
  const off_t position = ::ftello(Stream(heading, fileCode::position));
  if (position < 0) Refuse(heading, errno, fileCode::position);
  return position;
}

std::int64_t CCFile::GetSize() {
  constexpr const char* heading = "CCFile::GetSize - failed retrive file size\n";
  std::FILE* const stream = Stream(heading, fileCode::size);
  const off_t position = ::ftello(stream);
  if (position < 0 || ::fseeko(stream, 0, SEEK_END) != 0) Refuse(heading, errno, fileCode::size);
  const off_t size = ::ftello(stream);
  if (size < 0 || ::fseeko(stream, position, SEEK_SET) != 0) Refuse(heading, errno, fileCode::size);
  return size;
}

}  // namespace Qorv
