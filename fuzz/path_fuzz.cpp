// Any text as a table of volumes and as a path: nothing is read beyond it, what is found is an absolute path, and the parts
// of a path are parts of it.
#include <cstddef>
#include <cstdint>
#include <vector>

#include <qorv/file.h>

#include "file/dir_volume_table.h"
#include "require.h"

namespace {

using Qorv::CDir;
using Qorv::stringEx;

void CheckTable(const std::vector<stringEx>& points, std::string_view path) {
  for (const stringEx& point : points)
    Require(point.starts_with("/"), "a mount point is an absolute path");
  const stringEx found = Qorv::IMPL::FindMountPoint(points, path);
  Require(path.starts_with(found.empty() ? std::string_view() : std::string_view(found).substr(0, 1)),
          "a path lies below its mount point");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<char> bytes(data, data + size);
  const std::string_view text(bytes.data(), bytes.size());
  CheckTable(Qorv::IMPL::ParseMountTable(text), "/usr/share/doc");
  CheckTable(Qorv::IMPL::ParseMountOutput(text), "/usr/share/doc");
  if (text.empty()) return 0;

  const stringEx path = stringEx::view(text);
  const stringEx name = CDir::GetPathFilename(path);
  Require(text.ends_with(name), "the name of a file is the end of its path");
  Require(name.find("/") == Qorv::npos, "a name has no slash");
  Require(!CDir::GetPathDir(path).empty(), "each path has a directory");
  stringEx full{text};
  CDir::ConvToFullPath(full);
  Require(full.starts_with("/"), "a full path starts at the root");
  try {
    CDir::GetPathVolume(path);
  } catch (const Qorv::dirExp&) {
  }
  return 0;
}
