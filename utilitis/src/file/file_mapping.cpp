#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <qorv/file.h>
#include <qorv/process.h>

#include "error/message.h"
#include "file/narrow.h"
#include "misc/posix/platform.h"
#include "process/system_file.h"

namespace Qorv {
namespace {

using IMPL::CMessage;

constexpr IMPL::ErrnoText duplicateTexts[] = {
    {EBADF, "invalid file descriptor"},
    {EMFILE, "the number of file descriptors in use by this process would exceed"},
};

constexpr IMPL::ErrnoText viewTexts[] = {
    {EBADF, "invalid descriptor"},
    {ENOMEM, "insufficient memory"},
    {EACCES, "access denied"},
    {ENODEV, "the device of the file does not support memory mapping"},
    {EINVAL, "invalid size, address, or flags argument"},
    {EMFILE, "too many mapped regions"},
    {EAGAIN, "mapping could not be locked in memory due to a lack of resources"},
    {EOPNOTSUPP, "the request flags does not supported in this system"},
};

constexpr IMPL::ErrnoText flushTexts[] = {
    {EBUSY, "some or all of the addresses range are locked"},
    {EINVAL, "invalid address or size"},
    {ENOMEM, "address space out-of-range"},
};

stringEx Formatted(const char* format, auto value) {
  stringEx text;
  text.format(format, value);
  return text;
}

// True if the path leads to the open file.
bool LeadsTo(const stringEx& path, int descriptor) {
  struct stat there;
  struct stat here;
  return ::stat(path.data(), &there) == 0 && ::fstat(descriptor, &here) == 0 && there.st_dev == here.st_dev &&
         there.st_ino == here.st_ino;
}

// A path as the map writes it. A line feed is "\012" there, as these four characters are themselves.
stringEx OfMap(std::string_view name, int descriptor) {
  stringEx asWritten(name);
  stringEx meant = asWritten;
  if (meant.replace("\\012", "\n") == 0 || LeadsTo(meant, descriptor)) return meant;
  return LeadsTo(asWritten, descriptor) ? asWritten : meant;
}

std::uint64_t PageSize() {
  const std::uint32_t told = CPlatform::GetInfo().pageSize;
  return told != 0 ? told : 4096;
}

}  // namespace

CFileMapping::HOLDER::~HOLDER() noexcept(false) {
  try {
    file.Close();
  } catch (const sysfileExp& failure) {
    IMPL::DropWhileUnwinding([&] { throw fmppExp(failure.GetMessage(), fileCode::closeMapping); });
  }
}

CFileMapping::CFileMapping(const stringEx& path, std::uint32_t protection) {
  const bool readsOnly = protection == PROT_READ || protection == (PROT_READ | PROT_EXEC);
  try {
    holder_.file.OpenRaw(path, readsOnly ? O_RDONLY : O_RDWR, 0, fileShare::none, 0, 0);
  } catch (const qvExp& failure) {
    CMessage("CFileMapping::CFileMapping - error open file mapping\n")
        .Field("  file path = ", path)
        .Inner(failure)
        .Throw<fmppExp>(fileCode::openMapping);
  }
}

CFileMapping::CFileMapping(const wstringEx& path, std::uint32_t protection)
    : CFileMapping(IMPL::NarrowForSystem(path), protection) {}

CFileMapping::CFileMapping(int descriptor) {
  const int own = IMPL::RetryOnEintr([=] { return ::dup(descriptor); });
  if (own < 0) {
    const int error = errno;
    CMessage("CFileMapping::CFileMapping - failed create file mapping\n")
        .Errno("  error code = ", "  error desc = ", error, duplicateTexts)
        .Throw<fmppExp>(fileCode::createMapping);
  }
  try {
    holder_.file = CSysFile::Adopt(own);
  } catch (...) {
    ::close(own);
    throw;
  }
}

stringEx CFileMapping::GetFileName() const {
  const CView view(*this, 0, PageSize(), PROT_READ);
  CMessage refusal("CFileMapping::GetFileName - failed get file name of current mapping\n");
  refusal.Field("  self pid = ", CProcess::GetCurrentPid());
  stringEx map;
  try {
    map = IMPL::ReadSystemFile(IMPL::platform::MemoryMapFile(), npos);
  } catch (const sysfileExp& failure) {
    refusal.Inner(failure).Throw<fmppExp>(fileCode::mappingName);
  }
  const std::string_view name =
      IMPL::platform::FindMappedFile(map, reinterpret_cast<std::uintptr_t>(view.GetAddress()));
  if (name.empty())
    refusal.Field("  error desc = ", "mapping not found\n").Throw<fmppExp>(fileCode::mappingName);
  return OfMap(name, static_cast<int>(holder_.file.GetSysHandle()));
}

CFileMapping::CView::CView(const CFileMapping& mapping, const std::int64_t& offset, std::uint64_t size,
                           std::uint32_t protection, void* wanted)
    : holder_(mapping.holder_) {
  SetupMapView(static_cast<int>(holder_.file.GetSysHandle()), offset, size, protection, wanted);
}

CFileMapping::CView::~CView() noexcept(false) {
  try {
    _Release();
  } catch (...) {
  }
}

// What lies before the address in its page is mapped as well, or the end of the range would not be.
void CFileMapping::CView::SetupMapView(int descriptor, const std::int64_t& offset, std::uint64_t size,
                                       std::uint32_t protection, void* wanted) {
  const std::uint64_t delta = static_cast<std::uint64_t>(offset) % PageSize();
  const bool isCopy = protection == mapPrivateCopy;
  const int granted = isCopy ? PROT_READ | PROT_WRITE : static_cast<int>(protection);
  const int flags = isCopy ? MAP_PRIVATE : MAP_SHARED;
  const std::uint64_t whole = size == 0 || size > ~delta ? size : size + delta;
  void* const start =
      ::mmap(wanted, whole, granted, flags, descriptor, offset - static_cast<std::int64_t>(delta));
  if (start == MAP_FAILED) {
    const int error = errno;
    CMessage("CSysFile/SetupMapView - failed create file view\n")
        .Field("  size       = ", size)
        .Field("  address    = ", Formatted("%p", wanted))
        .Field("  offset     = ", offset)
        .Field("  protection = ", Formatted("%#x", protection))
        .Field("  flags      = ", Formatted("%#x", flags))
        .Errno("  error code = ", "  error desc = ", error, viewTexts)
        .Throw<fmppExp>(fileCode::createView);
  }
  address_ = static_cast<unsigned char*>(start) + delta;
  size_ = size;
  delta_ = delta;
}

void CFileMapping::CView::Flush() {
  if (address_ == nullptr) return;
  if (IMPL::RetryOnEintr([this] { return ::msync(address_ - delta_, size_ + delta_, MS_SYNC); }) >= 0) return;
  const int error = errno;
  CMessage("CFileMapping::CView::Flush - failed flush view to file\n")
      .Field("  view addr      = ", Formatted("%p", address_))
      .Field("  view size      = ", size_)
      .Errno("  sys error code = ", "  sys error desc = ", error, flushTexts)
      .Throw<fmppExp>(fileCode::flushView);
}

void CFileMapping::CView::_Release() {
  if (address_ == nullptr) return;
  if (::munmap(address_ - delta_, size_ + delta_) != 0) {
    const int error = errno;
    CMessage("CFileMapping::CView::_Release - failed unmap file view\n")
        .Field("  address    = ", Formatted("%p", address_))
        .Field("  size       = ", size_)
        .Errno("  error code = ", "  error desc = ", error, {})
        .Throw<fmppExp>(fileCode::releaseView);
  }
  address_ = nullptr;
  size_ = 0;
  delta_ = 0;
}

}  // namespace Qorv
