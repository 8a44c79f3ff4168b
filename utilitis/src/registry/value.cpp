#include "registry/key.h"

namespace Qorv::IMPL {

CRegValue CRegValue::FromDouble(double value) noexcept {
  return FromNumber(T_FLOAT8, std::bit_cast<std::uint64_t>(value));
}

CRegValue CRegValue::FromBool(bool value) noexcept {
  return FromNumber(T_BOOL, value ? 1 : 0);
}

CRegValue CRegValue::FromText(std::uint32_t type, std::string_view text) {
  return {type, byteEx(reinterpret_cast<const unsigned char*>(text.data()), text.size())};
}

bool operator==(const CRegValue& a, const CRegValue& b) noexcept {
  if (a.type_ != b.type_) return false;
  return CRegValue::HasBytes(a.type_) ? a.bytes_ == b.bytes_ : a.number_ == b.number_;
}

byteEx PackSet(std::span<const std::string_view> strings) {
  std::size_t size = sizeof(std::uint32_t);
  for (const std::string_view text : strings)
    size += sizeof(std::uint32_t) + text.size() + 1;
  byteEx packed;
  packed.append_by(size, [&](unsigned char* at) {
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
    return size;
  });
  return packed;
}

}  // namespace Qorv::IMPL
