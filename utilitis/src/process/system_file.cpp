#include "process/system_file.h"

#include <fcntl.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include <qorv/file.h>

namespace Qorv::IMPL {
namespace {

bool HasSpace(std::string_view text) noexcept {
  return text.find_first_of(" \t\v\r\n") != std::string_view::npos;
}

}  // namespace

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

stringEx CommandLineText(stringEx line) {
  line.trim_right('\0');
  if (line.find("\0"_sv) == npos) return line;
  std::vector<RANGE> pieces;
  line.split("\0"_sv, pieces);
  stringEx text;
  for (const RANGE& piece : pieces) {
    const stringEx argument = line.part(piece);
    if (&piece != &pieces.front()) text += ' ';
    const bool isQuoted = HasSpace(argument);
    if (isQuoted) text += '"';
    text += argument;
    if (isQuoted) text += '"';
  }
  return text;
}

}  // namespace Qorv::IMPL
