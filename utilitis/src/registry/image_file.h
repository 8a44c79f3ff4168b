// What Open and Save do alike with a named file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <qorv/file.h>

#include "error/message.h"
#include "file/dir_common.h"

namespace Qorv::IMPL {

inline constexpr std::uint32_t imageFileMode = 0666;

/// Throws regExp with `heading`, the file's name and the failure that ended `step`, if that was one of the system.
template <class Step>
auto WithFile(std::string_view heading, std::uint32_t code, const stringEx& path, Step step) {
  try {
    return step();
  } catch (const ioExp& failure) {
    CMessage(heading).Field("  file name = ", path).Inner(failure).Throw<regExp>(code);
  }
}

/// Makes the folder of the file, with all above it.
inline void MakeFolderOf(const stringEx& path) {
  if (path.empty()) return;
  stringEx full = path;
  CDir::ConvToFullPath(full);
  CDir::MakeDir(ParentPath(full), true);
}

}  // namespace Qorv::IMPL
