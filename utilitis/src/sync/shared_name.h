// Names that processes share.
#pragma once

#include <cerrno>
#include <cstdint>

#include <qorv/string.h>

namespace Qorv::IMPL {

/// `name` with a "/" in front, and a zero behind.
inline stringEx SharedName(const stringEx& name) {
  stringEx whole;
  if (!name.starts_with("/")) whole += '/';
  return whole += name;
}

/// The error of opening `whole`: the system may call a name invalid that is only too long.
inline int NameError(const stringEx& whole, int error) noexcept {
  constexpr std::uint64_t longest = 251;  // bytes of a file's name, less what goes in front of it
  return error == EINVAL && whole.length() > longest + 1 ? ENAMETOOLONG : error;
}

}  // namespace Qorv::IMPL
