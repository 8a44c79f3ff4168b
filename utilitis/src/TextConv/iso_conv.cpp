#include "TextConv/iso_conv.h"

#include <climits>
#include <cwchar>

#include <qorv/error.h>

#include "TextConv/encodings.h"
#include "error/message.h"

namespace Qorv::IMPL {
namespace {

constexpr auto failed = static_cast<std::size_t>(-1);
constexpr auto unfinished = static_cast<std::size_t>(-2);

[[noreturn]] void Refuse(std::string_view heading, std::uint64_t position) {
  CMessage(heading).Field("  position = ", position).Throw<tconvExp>(tconvCode::convert);
}

}  // namespace

std::unique_ptr<TTextConv> CIsoSysDefConv::Clone() const {
  return std::make_unique<CIsoSysDefConv>();
}

// The locale is the only encoding it has.
std::unique_ptr<TTextConv> CIsoSysDefConv::Clone(const stringEx&) const {
  return Clone();
}

std::unique_ptr<TTextConv> CIsoSysDefConv::Clone(std::uint32_t) const {
  return Clone();
}

void CIsoSysDefConv::AppendWCtoMB(stringEx& dest, const wstringEx& source) {
  std::mbstate_t state{};
  char bytes[MB_LEN_MAX];
  for (std::uint64_t position = 0; position < source.length(); ++position) {
    const std::size_t count = std::wcrtomb(bytes, source.data()[position], &state);
    if (count == failed) Refuse("CIsoSysDefConv::AppendWCtoMB - failed converting string\n", position);
    dest.append(bytes, count);
  }
}

void CIsoSysDefConv::AppendMBtoWC(wstringEx& dest, const stringEx& source) {
  std::mbstate_t state{};
  for (std::uint64_t position = 0; position < source.length();) {
    wchar_t element = 0;
    const std::size_t count =
        std::mbrtowc(&element, source.data() + position, source.length() - position, &state);
    if (count == failed || count == unfinished)
      Refuse("CIsoSysDefConv::AppendMBtoWC - failed converting string\n", position);
    dest += element;
    position += count != 0 ? count : 1;  // a zero byte is a character
  }
}

std::uint32_t CIsoSysDefConv::GetCodePage() const {
  return PageOfEncoding(GetSysDefEncoding());
}

}  // namespace Qorv::IMPL
