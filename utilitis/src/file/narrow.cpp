#include "file/narrow.h"

namespace Qorv::IMPL {

namespace {

stringEx ToUtf8(const wstringEx& text) {
  stringEx out;
  out.reserve(text.length());
  const auto trail = [&out](char32_t bits) { out += static_cast<char>(0x80 | (bits & 0x3f)); };
  for (const wchar_t element : text) {
    const auto code = static_cast<char32_t>(element);
    if (code < 0x80) {
      out += static_cast<char>(code);
    } else if (code < 0x800) {
      out += static_cast<char>(0xc0 | (code >> 6));
      trail(code);
    } else if (code > 0x10ffff || (code >= 0xd800 && code < 0xe000)) {
      out += '?';
    } else if (code < 0x10000) {
      out += static_cast<char>(0xe0 | (code >> 12));
      trail(code >> 6);
      trail(code);
    } else {
      out += static_cast<char>(0xf0 | (code >> 18));
      trail(code >> 12);
      trail(code >> 6);
      trail(code);
    }
  }
  return out;
}

}  // namespace

stringEx NarrowForSystem(const wstringEx& text) {
  stringEx narrow = text.to_narrow();
  return narrow.to_wide() == text ? narrow : ToUtf8(text);
}

}  // namespace Qorv::IMPL
