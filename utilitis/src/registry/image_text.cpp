#include "registry/image_text.h"

#include <algorithm>

#include <qorv/error.h>

namespace Qorv::IMPL {
namespace {

bool IsCharacter(char32_t code) noexcept {
  return code <= 0x10FFFF && (code < 0xD800 || code >= 0xE000);
}

// False, with `out` in part, at an element that is no character.
bool ToUtf8(const wstringEx& text, stringEx& out) {
  out.clear();
  const auto put = [&out](char32_t byte) { out += static_cast<char>(byte); };
  for (const wchar_t element : text) {
    const auto code = static_cast<char32_t>(element);
    if (!IsCharacter(code)) return false;
    if (code < 0x80) {
      put(code);
      continue;
    }
    unsigned shift = code < 0x800 ? 6 : code < 0x10000 ? 12 : 18;
    put((shift == 6 ? 0xC0 : shift == 12 ? 0xE0 : 0xF0) | (code >> shift));
    while (shift != 0) {
      shift -= 6;
      put(0x80 | ((code >> shift) & 0x3F));
    }
  }
  return true;
}

// False, with `out` in part, for what is no UTF-8 in its one shortest form.
bool FromUtf8(std::string_view text, wstringEx& out) {
  out.clear();
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i++]);
    const unsigned trails = lead < 0x80   ? 0
                            : lead < 0xC2 ? 9
                            : lead < 0xE0 ? 1
                            : lead < 0xF0 ? 2
                            : lead < 0xF5 ? 3
                                          : 9;
    if (trails > text.size() - i) return false;
    char32_t code = trails == 0 ? lead : lead & (0x3FU >> trails);
    for (const std::size_t end = i + trails; i < end; ++i) {
      const auto trail = static_cast<unsigned char>(text[i]);
      if ((trail & 0xC0) != 0x80) return false;
      code = (code << 6) | (trail & 0x3FU);
    }
    if (!IsCharacter(code) || (trails == 2 && code < 0x800) || (trails == 3 && code < 0x10000)) return false;
    out += static_cast<wchar_t>(code);
  }
  return true;
}

// ASCII, less what shifts to other letters in encodings that have such a thing.
bool IsPlain(std::string_view text) noexcept {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return static_cast<signed char>(c) >= 0 && c != '\x7F' && c != '\x0E' && c != '\x0F' && c != '\x1B';
  });
}

}  // namespace

// In the order of their numbers, so that what has a meaning together with what follows does not stand for itself.
CImageText::CImageText() {
  if (TTextConv::IsSysDefUtf8()) return;
  conv_ = &TTextConv::GetThreadConv();
  stringEx ascii;
  wstringEx same;
  for (char c = 0; c < 0x7F; ++c) {
    ascii += c;
    same += static_cast<wchar_t>(c);
  }
  isPlainKept_ = Widens(ascii) && wide_ == same && Narrows() && narrow_ == ascii;
}

bool CImageText::Passes(std::string_view text) const noexcept {
  return text.empty() || (isPlainKept_ && IsPlain(text));
}

bool CImageText::Widens(std::string_view text) {
  try {
    conv_->MBtoWC(wide_, stringEx::view(text));
    return true;
  } catch (const tconvExp&) {
    return false;
  }
}

bool CImageText::Narrows() {
  try {
    conv_->WCtoMB(narrow_, wide_);
    return true;
  } catch (const tconvExp&) {
    return false;
  }
}

std::string_view CImageText::Widened(std::string_view text) {
  if (Passes(text) || !Widens(text) || !Narrows() || narrow_ != text || !ToUtf8(wide_, narrow_)) return text;
  return narrow_;
}

std::string_view CImageText::Narrowed(std::string_view text) {
  if (Passes(text) || !FromUtf8(text, wide_) || !Narrows()) return text;
  proof_.swap(wide_);
  return Widens(narrow_) && wide_ == proof_ ? std::string_view(narrow_) : text;
}

}  // namespace Qorv::IMPL
