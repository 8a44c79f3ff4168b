#include "file/dir_volume_table.h"

#include <qorv/file.h>

#include "file/dir_common.h"
#include "process/system_file.h"

namespace Qorv::IMPL {
namespace {

constexpr std::string_view blanks = " \t";
constexpr std::uint64_t processFileLimit = 8192;
constexpr std::uint64_t tableLimit = std::uint64_t{16} << 20;

template <class Use>
void ForEachLine(std::string_view text, Use use) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    use(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

// Takes the first field off the line; empty if there is none.
std::string_view TakeField(std::string_view& line) noexcept {
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  const std::string_view field = line.substr(0, line.find_first_of(blanks));
  line.remove_prefix(field.size());
  return field;
}

bool IsOctal(char c) noexcept {
  return c >= '0' && c <= '7';
}

stringEx Unescaped(std::string_view field) {
  stringEx text;
  for (std::size_t at = 0; at < field.size(); ++at) {
    const std::string_view digits = field.substr(at + 1, 3);
    // A zero is no part of a path.
    if (field[at] == '\\' && digits.size() == 3 && digits[0] >= '0' && digits[0] <= '3' &&
        IsOctal(digits[1]) && IsOctal(digits[2]) && digits != "000") {
      text += static_cast<char>((digits[0] - '0') * 64 + (digits[1] - '0') * 8 + (digits[2] - '0'));
      at += 3;
    } else {
      text += field[at];
    }
  }
  return text;
}

stringEx ReadOutput(const char* command) {
  stringEx output;
  try {
    CPipe pipe;
    pipe.Run(stringEx(command));
    char chunk[1024];
    while (output.length() < tableLimit) {
      const std::size_t count = pipe.Read(chunk, sizeof(chunk));
      if (count == 0) break;
      output.append(chunk, count);
    }
  } catch (const pipeExp&) {  // what came is what there is
  }
  return output;
}

// False if there is no such file.
bool ReadTable(const stringEx& path, std::uint64_t limit, VOLUMETABLE& table) {
  stringEx text;
  try {
    text = ReadSystemFile(path.data(), limit);
  } catch (const qvExp&) {
    return false;
  }
  table.isCut = text.length() == limit;
  std::string_view whole = text;
  if (table.isCut) whole = whole.substr(0, whole.rfind('\n') + 1);
  table.mountPoints = ParseMountTable(whole);
  return true;
}

}  // namespace

std::vector<stringEx> ParseMountTable(std::string_view text) {
  std::vector<stringEx> mountPoints;
  ForEachLine(text, [&](std::string_view line) {
    const std::string_view device = TakeField(line);
    const std::string_view point = TakeField(line);
    if (!device.starts_with('#') && point.starts_with('/')) mountPoints.push_back(Unescaped(point));
  });
  return mountPoints;
}

std::vector<stringEx> ParseMountOutput(std::string_view text) {
  constexpr std::string_view before = " on ";
  constexpr std::string_view typeMark = " type ";
  std::vector<stringEx> mountPoints;
  ForEachLine(text, [&](std::string_view line) {
    const std::size_t begin = line.find(before);
    if (begin == std::string_view::npos) return;
    line.remove_prefix(begin + before.size());
    line = line.substr(0, line.rfind(" ("));
    const std::size_t type = line.rfind(typeMark);
    // A name behind it that is no type belongs to the path.
    if (type != std::string_view::npos &&
        line.find_first_of(" /", type + typeMark.size()) == std::string_view::npos)
      line = line.substr(0, type);
    if (line.starts_with('/') && line.find('\0') == std::string_view::npos) mountPoints.emplace_back(line);
  });
  return mountPoints;
}

VOLUMETABLE ReadVolumeTable(std::string_view root, const char* command) {
  struct SOURCE {
    std::string_view path;
    std::uint64_t limit;
  };
  constexpr SOURCE sources[] = {
      {"/etc/mtab", tableLimit}, {"/proc/mounts", processFileLimit}, {"/etc/mnttab", tableLimit}};
  VOLUMETABLE table;
  for (const SOURCE& source : sources) {
    if (ReadTable(stringEx(root) + source.path, source.limit, table)) return table;
  }
  const stringEx output = ReadOutput(command);
  table.isCut = output.length() >= tableLimit;
  table.mountPoints = ParseMountOutput(output);
  return table;
}

stringEx FindMountPoint(const std::vector<stringEx>& mountPoints, std::string_view path) {
  const stringEx* longest = nullptr;
  std::size_t length = 0;
  for (const stringEx& point : mountPoints) {
    const std::string_view text = WithoutEndSlashes(point);
    const bool holds =
        path.starts_with(text) && (text == "/" || path.size() == text.size() || path[text.size()] == '/');
    if (!holds || text.size() < length) continue;
    longest = &point;
    length = text.size();
  }
  return longest == nullptr ? stringEx() : *longest;
}

}  // namespace Qorv::IMPL
