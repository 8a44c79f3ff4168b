// The base of all engines, and the table of encodings as users see it.
#include <qorv/textconv.h>

#include <charconv>
#include <optional>

#include <qorv/error.h>

#include "TextConv/encodings.h"
#include "error/message.h"

namespace Qorv {
namespace {

using namespace std::string_view_literals;
using IMPL::CMessage;
using IMPL::ENCODING;
using IMPL::Family;
using IMPL::FindEncoding;

constexpr std::string_view familyDefaults[] = {"ISO-8859-1"sv, "ISO-8859-6"sv, "ISO-8859-8"sv, "GBK"sv,
                                               "BIG5"sv,       "EUC-KR"sv,     "SHIFT_JIS"sv,  "VISCII"sv,
                                               "TIS-620"sv,    "ISCII-DE"sv,   "UTF-8"sv};

void Tell(const ENCODING& row, ENCODINGINFO& info) {
  info = {row.codePage, stringEx::view(row.description), row.IsRightToLeft()};
}

// The number of "CP1252".
std::optional<std::uint32_t> NumberedPage(const stringEx& name) {
  constexpr std::uint64_t prefix = 2;
  if (name.compare_nocase(0, prefix, "CP") != 0 || name.length() == prefix) return {};
  std::uint32_t page = 0;
  const char* const end = name.data() + name.length();
  const auto [rest, error] = std::from_chars(name.data() + prefix, end, page);
  if (error != std::errc() || rest != end) return {};
  return page;
}

std::optional<std::uint32_t> FindPage(const stringEx& name) {
  if (const auto page = NumberedPage(name)) return page;
  const ENCODING* const row = FindEncoding(std::string_view(name));
  return row != nullptr ? std::optional(row->codePage) : std::nullopt;
}

}  // namespace

std::unique_ptr<TTextConv> TTextConv::Clone() const {
  return std::make_unique<TTextConv>();
}

std::unique_ptr<TTextConv> TTextConv::Clone(const stringEx&) const {
  return std::make_unique<TTextConv>();
}

std::unique_ptr<TTextConv> TTextConv::Clone(std::uint32_t) const {
  return std::make_unique<TTextConv>();
}

void TTextConv::AppendWCtoMB(stringEx& dest, const wstringEx& source) {
  for (const wchar_t element : source)
    dest += static_cast<char>(element);
}

void TTextConv::AppendMBtoWC(wstringEx& dest, const stringEx& source) {
  for (const char byte : source)
    dest += static_cast<wchar_t>(static_cast<unsigned char>(byte));
}

stringEx TTextConv::GetEncoding() const {
  return stringEx::view("ASCII");
}

std::uint32_t TTextConv::GetCodePage() const {
  return 437;
}

void TTextConv::WCtoMB(stringEx& dest, const wstringEx& source) {
  dest.clear();
  AppendWCtoMB(dest, source);
}

void TTextConv::MBtoWC(wstringEx& dest, const stringEx& source) {
  dest.clear();
  AppendMBtoWC(dest, source);
}

std::uint32_t IMPL::PageOfEncoding(const stringEx& name) noexcept {
  return FindPage(name).value_or(0);
}

std::uint32_t TTextConv::EncToCP(const stringEx& name) {
  if (const auto page = FindPage(name)) return *page;
  CMessage("TTextConv::EncToCP - can't convert the encoding to codepage\n")
      .Field("  encoding name = ", name)
      .Throw<tconvExp>(tconvCode::unknown);
}

stringEx TTextConv::CPToEnc(std::uint32_t codePage) {
  const ENCODING* const row = FindEncoding(codePage);
  return row != nullptr ? stringEx::view(row->name) : stringEx();
}

void TTextConv::GetEncInfo(const stringEx& name, ENCODINGINFO& info) {
  if (const ENCODING* const row = FindEncoding(std::string_view(name))) return Tell(*row, info);
  CMessage("TTextConv::GetEncInfo - can't retrieve the encoding's infomation\n")
      .Field("  encoding name = ", name)
      .Throw<tconvExp>(tconvCode::unknown);
}

void TTextConv::GetEncInfo(std::uint32_t codePage, ENCODINGINFO& info) {
  if (const ENCODING* const row = FindEncoding(codePage)) return Tell(*row, info);
  CMessage("TTextConv::GetEncInfo - can't retrieve the encoding's infomation\n")
      .Field("  code page     = ", codePage)
      .Throw<tconvExp>(tconvCode::unknown);
}

bool TTextConv::FirstEncoding(EncodingIterator& iterator, stringEx& name, ENCODINGINFO& info) {
  iterator = MakeHandle<ENCODINGPLACE>();
  return NextEncoding(iterator, name, info);
}

bool TTextConv::NextEncoding(const EncodingIterator& iterator, stringEx& name, ENCODINGINFO& info) {
  const auto rows = IMPL::Encodings();
  if (!iterator || iterator->next >= rows.size()) return false;
  const ENCODING& row = rows[iterator->next++];
  name = stringEx::view(row.name);
  Tell(row, info);
  return true;
}

bool TTextConv::IsSameFamily(const stringEx& left, const stringEx& right) {
  const ENCODING* const first = FindEncoding(std::string_view(left));
  const ENCODING* const second = FindEncoding(std::string_view(right));
  return first != nullptr && second != nullptr && first->family == second->family;
}

stringEx TTextConv::GetFamilyDefault(const stringEx& name) {
  const ENCODING* const row = FindEncoding(std::string_view(name));
  return row != nullptr ? stringEx::view(familyDefaults[static_cast<std::size_t>(row->family)]) : stringEx();
}

}  // namespace Qorv
