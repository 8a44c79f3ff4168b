#include <cstring>

#include "registry/key.h"

namespace Qorv::IMPL {

CRegValue PackSet(std::span<const std::string_view> strings) {
  std::size_t size = sizeof(std::uint32_t);
  for (const std::string_view text : strings)
    size += sizeof(std::uint32_t) + text.size() + 1;
  return {T_STRING_SET, size, [strings](unsigned char* at) {
            const auto put = [&at](const void* data, std::size_t count) {
              if (count != 0) std::memcpy(at, data, count);
              at += count;
            };
            const auto number = [&put](std::size_t length) {
              const auto stored = static_cast<std::uint32_t>(length);
              put(&stored, sizeof(stored));
            };
            number(strings.size());
            for (const std::string_view text : strings) {
              number(text.size());
              put(text.data(), text.size());
              put("", 1);
            }
          }};
}

}  // namespace Qorv::IMPL
