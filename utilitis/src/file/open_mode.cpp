#include "file/open_mode.h"

#include <fcntl.h>

namespace Qorv::IMPL {

std::optional<int> OpenFlags(std::string_view mode) noexcept {
  if (mode.empty()) return {};
  int flags = 0;
  switch (mode.front()) {
    case 'r':
      break;
    case 'w':
      flags = O_CREAT | O_TRUNC;
      break;
    case 'a':
      flags = O_CREAT | O_APPEND;
      break;
    default:
      return {};
  }
  int access = mode.front() == 'r' ? O_RDONLY : O_WRONLY;
  for (const char letter : mode.substr(1)) {
    if (letter == '+')
      access = O_RDWR;
    else if (letter == 'x')
      flags |= O_EXCL;
    else if (letter != 'b' && letter != 't' && letter != 'e')
      return {};
  }
  if ((flags & O_EXCL) != 0 && (flags & O_CREAT) == 0) return {};
  return access | flags;
}

}  // namespace Qorv::IMPL
