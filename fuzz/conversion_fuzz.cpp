// Any bytes in any encoding become wide text and go back: nothing is read beyond the text, both ways end, and nothing of
// Unicode is lost.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <qorv/error.h>
#include <qorv/textconv.h>

#include "TextConv/lib_iconv.h"
#include "require.h"

namespace {

using Qorv::stringEx;
using Qorv::wstringEx;

constexpr const char* encodings[] = {"UTF-8", "GBK",    "SHIFT_JIS", "UTF-16LE", "ISO-2022-JP", "GB18030",
                                     "UTF-7", "BIG5",   "EUC-KR",    "UTF-16",   "ISO-2022-KR", "KOI8-R",
                                     "ASCII", "EUC-JP", "UCS-4",     "TCVN"};
constexpr std::size_t count = std::size(encodings);

// Null where the system does not have the encoding.
Qorv::TTextConv* Conv(std::size_t index) {
  static std::unique_ptr<Qorv::TTextConv> made[count];
  if (made[index] == nullptr) {
    try {
      made[index] = std::make_unique<Qorv::CTextLibIConv>(stringEx(encodings[index]));
    } catch (const Qorv::libiconvExp&) {
    }
  }
  return made[index].get();
}

}  // namespace

// The first byte chooses the encoding. The text is a view, so that the sanitizer guards its end.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  Qorv::TTextConv* const conv = Conv(data[0] % count);
  if (conv == nullptr) return 0;
  const std::vector<char> bytes(data + 1, data + size);
  const stringEx text = stringEx::view({bytes.data(), bytes.size()});
  wstringEx wide;
  conv->MBtoWC(wide, text);
  Require(wide.length() <= 2 * text.length(), "a byte gives no more than an element and its mark");
  stringEx narrow;
  conv->WCtoMB(narrow, wide);
  wstringEx again;
  conv->MBtoWC(again, narrow);
  const stringEx name = conv->GetEncoding();
  if (name == "UTF-8" || name == "UTF-16LE") Require(wide == again, "Unicode comes back as it went");

  // The same bytes as elements, most of which are no characters.
  std::vector<wchar_t> elements(bytes.size() / sizeof(wchar_t));
  for (std::size_t i = 0; i < elements.size(); ++i)
    elements[i] = static_cast<wchar_t>(static_cast<unsigned char>(bytes[4 * i]) |
                                       static_cast<unsigned char>(bytes[4 * i + 1]) << 8 |
                                       (static_cast<unsigned char>(bytes[4 * i + 2]) & 0x1f) << 16);
  conv->WCtoMB(narrow, wstringEx::view({elements.data(), elements.size()}));
  Qorv::TTextConv plain;
  plain.MBtoWC(wide, text);
  plain.WCtoMB(narrow, wide);
  Require(narrow == text, "the last resort gives every byte back");
  return 0;
}
