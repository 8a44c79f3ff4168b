// Images for tests: in hexadecimal, of the old revisions, and with changes in every place.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <qorv/isxf.h>
#include <qorv/registry.h>
#include <qorv/stream.h>

namespace TestSupport {

/// The bytes of pairs of hexadecimal digits; blanks count for nothing.
inline Qorv::byteEx Bytes(std::string_view hex) {
  const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'A' + 10; };
  Qorv::byteEx bytes;
  std::string digits;
  for (const char c : hex)
    if (c != ' ') digits += c;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
    bytes += static_cast<unsigned char>(digit(digits[i]) * 16 + digit(digits[i + 1]));
  return bytes;
}

/// As Bytes takes it.
inline std::string HexOf(const Qorv::byteEx& bytes) {
  return bytes.hex(" ").data();
}

inline Qorv::CFakeRegistry Opened(const Qorv::byteEx& image) {
  Qorv::CFakeRegistry registry;
  registry.Open(image.data(), image.length());
  return registry;
}

/// The strings of a packed set, each with a zero byte behind it: the form of the old revisions.
inline Qorv::stringEx OldSet(const Qorv::byteEx& packed) {
  Qorv::stringEx out;
  for (std::uint64_t at = sizeof(std::uint32_t); at < packed.length();) {
    std::uint32_t length;
    std::memcpy(&length, packed.data() + at, sizeof(length));
    at += sizeof(length);
    out.append(reinterpret_cast<const char*>(packed.data() + at), length + 1);
    at += length + 1;
  }
  return out;
}

/// Writes the tree as the first two revisions did. In `mixed` every other level is of the newest. Strings of a set have no
/// zero bytes in them.
class OldImage {
 public:
  explicit OldImage(int revision, bool mixed = false) : revision_(revision), mixed_(mixed) {}

  Qorv::byteEx Of(const Qorv::CFakeRegistry& key, int depth = 0) const {
    Qorv::stringEx image;
    if (mixed_ && depth % 2 == 1) {
      Qorv::CFakeRegistry copy = key;
      return copy.Save();
    }
    {
      Qorv::CGenericSeekableSink<Qorv::CByteIO> sink{Qorv::CByteIO(&image)};
      sink.Write(revision_ == 1 ? "FR" : "R2", 2);
      Qorv::CISXFWriter writer(sink);
      PutValues(writer, key);
      std::vector<Qorv::stringEx> names;
      key.GetAllSubkeys(names);
      writer.PutSize(static_cast<std::uint32_t>(names.size()));
      for (const Qorv::stringEx& name : names) {
        writer.PutString(name);
        writer.PutBlob(Of(key.ObtainSubkey(name), depth + 1));
      }
    }
    return {reinterpret_cast<const unsigned char*>(image.data()), image.length()};
  }

 private:
  void PutValues(Qorv::CISXFWriter& writer, const Qorv::CFakeRegistry& key) const {
    std::vector<Qorv::stringEx> names;
    key.GetAllValues(names);
    writer.PutSize(static_cast<std::uint32_t>(names.size()));
    if (revision_ == 1) writer.PutInt64(7);
    for (const Qorv::stringEx& name : names) {
      std::uint32_t type = 0;
      Qorv::byteEx raw;
      key.ReadRawValue(name, type, raw);
      writer.PutString(name);
      writer.PutSmallEnum(static_cast<std::uint8_t>(type));
      PutPayload(writer, type, raw);
    }
  }

  static void PutPayload(Qorv::CISXFWriter& writer, std::uint32_t type, const Qorv::byteEx& raw) {
    std::uint64_t number = 0;
    std::memcpy(&number, raw.data(), std::min<std::uint64_t>(sizeof(number), raw.length()));
    double real = 0;
    switch (type) {
      case Qorv::T_STRING:
      case Qorv::T_EXP_STR:
        return writer.PutString(raw);
      case Qorv::T_BLOB:
        return writer.PutBlob(raw);
      case Qorv::T_DWORD:
        return writer.PutInt32(static_cast<std::int32_t>(number));
      case Qorv::T_QWORD:
        return writer.PutInt64(static_cast<std::int64_t>(number));
      case Qorv::T_STRING_SET: {
        const Qorv::stringEx old = OldSet(raw);
        return writer.PutBlob(old.data(), old.length());
      }
      case Qorv::T_FLOAT8:
        std::memcpy(&real, raw.data(), sizeof(real));
        return writer.PutDouble(real);
      case Qorv::T_BOOL:
        return writer.PutBool(number != 0);
      default:
        return;
    }
  }

  int revision_;
  bool mixed_;
};

/// Calls `judge` with each part of `good` from its beginning, and with `good` where one byte is another: each of its bits
/// turned, and a few values that mean something.
template <class Judge>
void ForEachDamage(const Qorv::byteEx& good, Judge judge) {
  for (std::uint64_t length = 0; length < good.length(); ++length)
    judge(Qorv::byteEx(good.data(), length));
  std::vector<unsigned char> bytes(good.begin(), good.end());
  for (unsigned char& byte : bytes) {
    const unsigned char was = byte;
    for (unsigned bit = 1; bit < 0x100; bit <<= 1) {
      byte = static_cast<unsigned char>(was ^ bit);
      judge(Qorv::byteEx(bytes.data(), bytes.size()));
    }
    for (const int other : {0x00, 0x0A, 0x84, 0xFF}) {
      byte = static_cast<unsigned char>(other);
      judge(Qorv::byteEx(bytes.data(), bytes.size()));
    }
    byte = was;
  }
}

}  // namespace TestSupport
