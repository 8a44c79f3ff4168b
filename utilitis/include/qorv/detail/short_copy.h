// A copy of few bytes, whose number the compiler does not know.
#pragma once

#include <cstddef>
#include <cstring>

namespace Qorv::IMPL {

/// As std::memcpy, without its call where there are few bytes. Both may be null for none.
inline void CopyShort(unsigned char* to, const void* from, std::size_t size) noexcept {
  const auto* const bytes = static_cast<const unsigned char*>(from);
  if (size > 16) {
    std::memcpy(to, bytes, size);
  } else if (size >= 8) {
    std::memcpy(to, bytes, 8);
    std::memcpy(to + size - 8, bytes + size - 8, 8);
  } else if (size >= 4) {
    std::memcpy(to, bytes, 4);
    std::memcpy(to + size - 4, bytes + size - 4, 4);
  } else {
    for (std::size_t i = 0; i < size; ++i)
      to[i] = bytes[i];
  }
}

}  // namespace Qorv::IMPL
