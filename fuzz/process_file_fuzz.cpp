// Any text as the system's table of memory, as a map of memory and as a command line: nothing is read beyond it, figures are
// whole kibibytes, and an argument comes back as it was but for its quotes.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <qorv/process.h>

#include "misc/posix/linux_files.h"
#include "process/system_file.h"
#include "require.h"

namespace {

using Qorv::stringEx;

void CheckMemInfo(const std::uint8_t* data, std::size_t size) {
  static const int file = ::memfd_create("meminfo", 0);
  static const std::string path = "/proc/self/fd/" + std::to_string(file);
  Require(::ftruncate(file, 0) == 0, "the file can be emptied");
  Require(::pwrite(file, data, size, 0) == static_cast<ssize_t>(size), "the file can be filled");
  const Qorv::IMPL::platform::MEMINFO info = Qorv::IMPL::platform::ReadMemInfo(path.c_str());
  constexpr std::uint64_t unknown = Qorv::IMPL::platform::MEMINFO().totalPhys;
  for (const std::uint64_t figure : {info.totalPhys, info.freePhys, info.totalVirt, info.freeVirt})
    Require(figure == unknown || figure % 1024 == 0, "figures are in kibibytes");
  Require(info.totalPhys != unknown || info.totalVirt == unknown, "a sum needs both its parts");
  Require(info.freePhys != unknown || info.freeVirt == unknown, "a sum needs both its parts");
}

void CheckMemoryMap(std::string_view map) {
  const std::string_view path = Qorv::IMPL::platform::FindMappedFile(map, 0x7f0000001000);
  Require(path.empty() || (path.data() > map.data() && path.data() + path.size() <= map.data() + map.size()),
          "a path is a part of its map");
  Require(path.find('\n') == std::string_view::npos, "a path is a part of its line");
}

void CheckCommandLine(std::string_view line) {
  const stringEx text = Qorv::IMPL::CommandLineText(stringEx(line));
  const std::size_t end = line.find_last_not_of('\0') + 1;
  Require(text.length() >= end && text.length() <= 3 * end, "arguments gain quotes, and lose nothing");
  const bool isOne = line.substr(0, end).find('\0') == std::string_view::npos;
  Require(!isOne || std::string_view(text) == line.substr(0, end), "one text stays as it is");
  Require(text.find(std::string_view("\0", 1)) == Qorv::npos, "ends of arguments do not stay");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CheckMemInfo(data, size);
  const std::string_view text{reinterpret_cast<const char*>(data), size};
  CheckMemoryMap(text);
  CheckCommandLine(text);
  return 0;
}
