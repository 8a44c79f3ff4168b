// Which encoding and which engine serve this process, and each of its threads.
#include "TextConv/front.h"

#include <cstdlib>
#include <memory>
#include <optional>
#include <vector>

#include <qorv/detail/lasting.h>
#include <qorv/textconv.h>

#include "TextConv/iso_conv.h"
#include "TextConv/lib_iconv.h"
#include "TextConv/lib_icu.h"
#include "string/conversion.h"
#include "sync/thread_data.h"

namespace Qorv {
namespace {

using Guard = IMPL::CSafeScopeLock<FASTKSV_PCLOCK>;

// Made once each, under the lock.
struct FRONT {
  FASTKSV_PCLOCK lock;
  std::optional<stringEx> encoding;
  std::optional<stringEx> language;
  std::optional<bool> isUtf8;
  std::optional<std::uint32_t> ignored;
  std::unique_ptr<TTextConv> master;
};
constinit IMPL::CLasting<FRONT> front;

using ThreadConv = IMPL::CThreadData<std::unique_ptr<TTextConv>>;

ThreadConv& ThreadConvs() {
  static auto* const lasting = new ThreadConv;  // threads may outlive all static objects
  return *lasting;
}

stringEx Environment(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? stringEx(value) : stringEx();
}

stringEx Trimmed(stringEx text) {
  text.trim_left();
  text.trim_right();
  return text;
}

// The parts of "language.encoding@modifier".
stringEx LanguagePart(const stringEx& locale) {
  const std::string_view text = std::string_view(locale).substr(0, std::string_view(locale).find('@'));
  return Trimmed(stringEx(text.substr(0, text.find('.'))));
}

stringEx EncodingPart(const stringEx& locale) {
  const std::string_view text = std::string_view(locale).substr(0, std::string_view(locale).find('@'));
  const std::size_t point = text.find('.');
  return point != std::string_view::npos ? Trimmed(stringEx(text.substr(point + 1))) : stringEx();
}

// LC_ALL comes last on purpose, unlike in the system's own order.
stringEx FindEncoding() {
  if (stringEx given = Environment("QORV_DEFAULT_MBCS"); !given.empty()) return Trimmed(given);
  for (const char* name : {"LC_CTYPE", "LANG", "LC_ALL"})
    if (stringEx part = EncodingPart(Environment(name)); !part.empty()) return part;
  return stringEx::view("ASCII");
}

stringEx FindLanguage() {
  for (const char* name : {"LANG", "LC_CTYPE", "LC_ALL"})
    if (stringEx part = LanguagePart(Environment(name)); !part.empty()) return part;
  return stringEx::view("en_US");
}

namespace engine {
constexpr std::uint32_t msw = 1;  // of another system
constexpr std::uint32_t iconv = 2;
constexpr std::uint32_t icu = 4;
constexpr std::uint32_t isoC = 8;
}  // namespace engine

std::uint32_t FindIgnored() {
  static constexpr struct {
    std::string_view name;
    std::uint32_t bit;
  } names[] = {{"MSW", engine::msw}, {"ICONV", engine::iconv}, {"ICU", engine::icu}, {"ISOC", engine::isoC}};
  stringEx list = Environment("QORV_TEXTCONV_IGNORE_LIST");
  for (const std::string_view separator : {";", "/", "|"})
    list.replace(separator, ",");
  std::uint32_t bits = 0;
  std::string_view rest = list;
  for (bool isLast = false; !isLast;) {
    const std::size_t comma = rest.find(',');
    isLast = comma == std::string_view::npos;
    const stringEx name = Trimmed(stringEx(rest.substr(0, comma)));
    for (const auto& row : names)
      if (name.compare_nocase(row.name) == 0) bits |= row.bit;
    if (!isLast) rest.remove_prefix(comma + 1);
  }
  return bits;
}

// The value, made by `find` at the first call.
template <class T, class Find>
const T& Cached(std::optional<T>& place, Find find) {
  if (!place) place = find();
  return *place;
}

// Null where the engine cannot serve the encoding, for whatever reason.
template <class Engine>
std::unique_ptr<TTextConv> TryEngine(const stringEx& encoding) {
  try {
    return std::make_unique<Engine>(encoding);
  } catch (...) {
    return nullptr;
  }
}

std::unique_ptr<TTextConv> MakeMaster() {
  const stringEx encoding = TTextConv::GetSysDefEncoding();
  const std::uint32_t ignored = Cached(front.object.ignored, FindIgnored);
  std::unique_ptr<TTextConv> master;
  if ((ignored & engine::iconv) == 0) master = TryEngine<CTextLibIConv>(encoding);
  if (master == nullptr && (ignored & engine::icu) == 0) master = TryEngine<CTextLibIcu>(encoding);
  if (master != nullptr) return master;
  if ((ignored & engine::isoC) == 0) return std::make_unique<IMPL::CIsoSysDefConv>();
  return std::make_unique<TTextConv>();
}

}  // namespace

FASTKSV_PCLOCK& IMPL::TextConvLock() noexcept {
  return front.object.lock;
}

void IMPL::ReleaseTextConv() {
  ThreadConvs().Release();
}

namespace {

template <class Dest, class Convert>
bool TryAppend(Dest& dest, Convert convert) noexcept {
  const std::uint64_t length = dest.length();
  try {
    convert(TTextConv::GetThreadConv());
    return true;
  } catch (...) {
    dest.truncate(length);
    return false;
  }
}

}  // namespace

bool IMPL::AppendWideByEncoding(wstringEx& dest, const stringEx& source) noexcept {
  return TryAppend(dest, [&](TTextConv& conv) { conv.AppendMBtoWC(dest, source); });
}

bool IMPL::AppendNarrowByEncoding(stringEx& dest, const wstringEx& source) noexcept {
  return TryAppend(dest, [&](TTextConv& conv) { conv.AppendWCtoMB(dest, source); });
}

stringEx TTextConv::GetSysDefEncoding() {
  Guard guard(front.object.lock);
  return Cached(front.object.encoding, FindEncoding);
}

stringEx TTextConv::GetSysDefLanguage() {
  Guard guard(front.object.lock);
  return Cached(front.object.language, FindLanguage);
}

bool TTextConv::IsSysDefUtf8() {
  Guard guard(front.object.lock);
  return Cached(front.object.isUtf8, [] { return GetSysDefEncoding().compare_nocase("UTF-8") == 0; });
}

TTextConv& TTextConv::GetSysConv() {
  Guard guard(front.object.lock);
  if (front.object.master == nullptr) front.object.master = MakeMaster();
  return *front.object.master;
}

TTextConv& TTextConv::GetThreadConv() {
  std::unique_ptr<TTextConv>& own = ThreadConvs().Get();
  if (own == nullptr) {
    Guard guard(front.object.lock);
    own = GetSysConv().Clone();
  }
  return *own;
}

}  // namespace Qorv
