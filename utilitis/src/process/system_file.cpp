#include "process/system_file.h"

#include <fcntl.h>

#include <algorithm>

#include <qorv/file.h>

namespace Qorv::IMPL {

stringEx ReadSystemFile(const char* path, std::uint64_t limit) {
  char chunk[1024];
  CSysFile file;
  file.OpenRaw(stringEx(path), O_RDONLY, 0, 0, 0666, 0);
  stringEx content;
  while (content.length() < limit) {
    const std::uint32_t count =
        file.Read(chunk, std::min<std::uint64_t>(sizeof(chunk), limit - content.length()));
    if (count == 0) break;
    content.append(chunk, count);
  }
  return content;
}

}  // namespace Qorv::IMPL
