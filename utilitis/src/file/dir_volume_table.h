// The mounted volumes, from the tables in which systems keep them.
#pragma once

#include <string_view>
#include <vector>

#include <qorv/string.h>

namespace Qorv::IMPL {

struct VOLUMETABLE {
  std::vector<stringEx> mountPoints;
  bool isCut = false;  ///< there are more of them
};

/// Mount points of a table of lines "device point ...", blanks and tabs between the fields. "\040" and other octal escapes
/// stand for their bytes; a back slash without three octal digits of a byte stays. Comments, lines without a second field
/// and points that are no absolute path are left out.
std::vector<stringEx> ParseMountTable(std::string_view text);

/// Mount points of what the command "mount" says: "device on point (options)", or "device on point type name (options)".
std::vector<stringEx> ParseMountOutput(std::string_view text);

/// From the first source there is: the files "/etc/mtab", "/proc/mounts", "/etc/mnttab" below `root`, or `command`. Empty
/// if there is none. std::bad_alloc.
VOLUMETABLE ReadVolumeTable(std::string_view root = {}, const char* command = "mount 2>/dev/null");

/// The longest mount point that `path`, absolute and free of links, is or lies below; empty if there is none.
stringEx FindMountPoint(const std::vector<stringEx>& mountPoints, std::string_view path);

}  // namespace Qorv::IMPL
