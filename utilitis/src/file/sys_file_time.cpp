// Times of a file.
#include <sys/stat.h>
#include <utime.h>

#include <qorv/file.h>

#include "error/message.h"
#include "misc/posix/platform.h"
#include "time/arithmetic.h"

namespace Qorv {
namespace {

using IMPL::CMessage;
using IMPL::microsecondsPerMinute;
using IMPL::microsecondsPerSecond;

constexpr IMPL::ErrnoText getTimeTexts[] = {
    {EBADF, "invalid file descriptor"},
    {EOVERFLOW, "some fields cannot be represented correctly in the structure"},
    {EIO, "io error occurred while reading from the file system"},
};

constexpr IMPL::ErrnoText setTimeTexts[] = {
    {EPERM, "the calling process does not have the appropriate privileges"},
    {ENOENT, "file not exists"},
    {EACCES, "permission is denied"},
    {ENOTDIR, "path prefix is not a valid directory"},
    {EROFS, "the file system containing the file is read-only"},
    {ELOOP, "a loop exists in the symbolic links or links level is too deep"},
    {ENAMETOOLONG, "pathname is too long"},
};

std::int64_t ZoneOffset() noexcept {
  static const std::int64_t offset = CTime().GetZone() * microsecondsPerMinute;
  return offset;
}

// Less the zone, though a CTime is UTC: what reads these times counts on it, and setting adds the zone again.
CTime FromFile(std::time_t seconds) noexcept {
  return CTime(IMPL::Join(seconds, microsecondsPerSecond, -ZoneOffset()));
}

std::time_t ToFile(CTime time) noexcept {
  const std::int64_t rest = IMPL::FloorMod(time.GetValue(), microsecondsPerSecond) + ZoneOffset();
  return IMPL::FloorDiv(time.GetValue(), microsecondsPerSecond) + IMPL::FloorDiv(rest, microsecondsPerSecond);
}

}  // namespace

void CSysFile::GetTime(CTime* creation, CTime* access, CTime* modification) const {
  struct stat status;
  if (::fstat(Handle(), &status) < 0) {
    const int error = errno;
    CMessage("CSysFile::GetTime - failed retrive the file status\n")
        .Field("  file path  = ", path_)
        .Errno("  error code = ", "  error desc = ", error, getTimeTexts)
        .Throw<sysfileExp>(fileCode::getTime);
  }
  if (creation != nullptr) *creation = CTime(CTime::smallest);
  if (access != nullptr) *access = FromFile(status.st_atime);
  if (modification != nullptr) *modification = FromFile(status.st_mtime);
}

void CSysFile::SetTime(const CTime*, const CTime* access, const CTime* modification) {
  if (access == nullptr && modification == nullptr) return;
  CTime newAccess;
  CTime newModification;
  if (access == nullptr || modification == nullptr) GetTime(nullptr, &newAccess, &newModification);
  if (access != nullptr) newAccess = *access;
  if (modification != nullptr) newModification = *modification;
  const utimbuf times{ToFile(newAccess), ToFile(newModification)};
  if (::utime(path_.data(), &times) >= 0) return;
  const int error = errno;
  CMessage("CSysFile::SetTime - error setting the file time\n")
      .Field("  file path  = ", path_)
      .Errno("  error code = ", "  error desc = ", error, setTimeTexts)
      .Throw<sysfileExp>(fileCode::setTime);
}

}  // namespace Qorv
