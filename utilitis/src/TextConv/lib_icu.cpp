#include "TextConv/lib_icu.h"

#include <cstdlib>
#include <limits>
#include <string>

#include <qorv/detail/lasting.h>

#include "TextConv/encodings.h"

namespace Qorv {
namespace {

stringEx Version() {
  const char* const given = std::getenv("QORV_LIBICU_VER");
  return given != nullptr && *given != 0 ? stringEx(given) : stringEx::view("38");
}

}  // namespace

struct IMPL::ICUAPI {
  using Failure = libicuExp;
  static constexpr const char* earlyFault =
      "CTextLibIcu::__AddRef - libicu could not be loaded (early fault)";
  static constexpr const char* notLoaded = "failed load dynamic library\n";
  static constexpr const char* notLocated = "failed locate icu api\n";
  static constexpr const char* unknown = "CTextLibIcu::__AddRef - unknwon error";

  static std::unique_ptr<CDllLoader> Load() {
    try {
      return std::make_unique<CDllLoader>("icuuc"_sv, "so"_sv, Version());
    } catch (const dlllExp&) {
      return std::make_unique<CDllLoader>("libicuuc"_sv, "so"_sv, Version());
    }
  }

  // Names end in "_72", and up to version 4.8 in "_4_8".
  explicit ICUAPI(const CDllLoader& library) {
    const stringEx version = Version();
    try {
      Locate(library, "_"_sv + version);
    } catch (const dlllExp&) {
      if (version.length() != 2) throw;
      stringEx suffix;
      for (const char digit : version)
        (suffix += '_') += digit;
      Locate(library, suffix);
    }
    if (library.WasLoaded()) cleanup = nullptr;  // it serves others too, who would lose what they have
  }
  ICUAPI(const ICUAPI&) = delete;
  ICUAPI& operator=(const ICUAPI&) = delete;
  // The library keeps converters for later, which nobody could free once it is unloaded.
  ~ICUAPI() {
    if (cleanup != nullptr) cleanup();
  }

  void Locate(const CDllLoader& library, const stringEx& suffix) {
    open = Resolve<decltype(open)>(library, "ucnv_open"_sv + suffix);
    close = Resolve<decltype(close)>(library, "ucnv_close"_sv + suffix);
    fromUChars = Resolve<decltype(fromUChars)>(library, "ucnv_fromUChars"_sv + suffix);
    toUChars = Resolve<decltype(toUChars)>(library, "ucnv_toUChars"_sv + suffix);
    errorName = Resolve<decltype(errorName)>(library, "u_errorName"_sv + suffix);
    try {
      cleanup = Resolve<decltype(cleanup)>(library, "u_cleanup"_sv + suffix);
    } catch (const dlllExp&) {
    }
  }

  void* (*open)(const char* name, int* error);
  void (*close)(void* converter);
  std::int32_t (*fromUChars)(void* converter, char* dest, std::int32_t capacity, const char16_t* source,
                             std::int32_t length, int* error);
  std::int32_t (*toUChars)(void* converter, char16_t* dest, std::int32_t capacity, const char* source,
                           std::int32_t length, int* error);
  const char* (*errorName)(int error);
  void (*cleanup)() = nullptr;  // may be missing
};

namespace {

constinit IMPL::CLasting<IMPL::CTextLibrary<IMPL::ICUAPI>> library;

// Warnings are below 0.
constexpr int noError = 0;
constexpr int tooLong = 8;
constexpr int overflow = 15;

constexpr std::uint64_t longest = std::numeric_limits<std::int32_t>::max();
constexpr char16_t replacement = 0xFFFD;  // for an element that is no character

std::u16string ToUtf16(const wstringEx& text) {
  std::u16string units;
  units.reserve(text.length());
  for (const wchar_t element : text) {
    const auto code = static_cast<char32_t>(element);
    if (code >= 0x10000 && code <= 0x10FFFF) {
      units += static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
      units += static_cast<char16_t>(0xDC00 + (code & 0x3FF));
    } else {
      const bool isNone = code > 0x10FFFF || (code >= 0xD800 && code < 0xE000);
      units += isNone ? replacement : static_cast<char16_t>(code);
    }
  }
  return units;
}

void AppendUtf16(wstringEx& dest, const std::u16string& units) {
  const auto isBetween = [&](std::size_t i, char16_t from, char16_t to) {
    return i < units.size() && units[i] >= from && units[i] < to;
  };
  dest.reserve(dest.length() + units.size());
  for (std::size_t i = 0; i < units.size(); ++i) {
    if (isBetween(i, 0xD800, 0xDC00) && isBetween(i + 1, 0xDC00, 0xE000)) {
      const char32_t high = units[i++];
      dest += static_cast<wchar_t>(0x10000 + ((high - 0xD800) << 10) + (units[i] - 0xDC00U));
    } else {
      dest += static_cast<wchar_t>(isBetween(i, 0xD800, 0xE000) ? replacement : units[i]);
    }
  }
}

}  // namespace

CTextLibIcu::CTextLibIcu(const stringEx& encoding)
    : encoding_(std::string_view(encoding)),
      codePage_(IMPL::PageOfEncoding(encoding)),
      isByPage_(false),
      api_(library.object) {
  stringEx value(std::string_view{encoding_});
  (value += " (").append_uint(codePage_) += ")";
  OpenConverter("  encoding name = ", value);
}

CTextLibIcu::CTextLibIcu(std::uint32_t codePage)
    : encoding_(stringEx("windows-").append_uint(codePage)),
      codePage_(codePage),
      isByPage_(true),
      api_(library.object) {
  OpenConverter("  code page     = ", stringEx().append_uint(codePage));
}

void CTextLibIcu::OpenConverter(std::string_view fieldName, const stringEx& fieldValue) {
  int error = noError;
  // What is named by its page first goes by the name that the library has for that.
  if (!isByPage_ && encoding_.compare_nocase(0, 2, "CP") == 0 && codePage_ != 0) {
    converter_ = api_->open(stringEx("windows-").append_uint(codePage_).data(), &error);
    if (error <= noError) return;
    error = noError;
  }
  converter_ = api_->open(encoding_.data(), &error);
  if (error <= noError) return;
  IMPL::CMessage("CTextLibIcu::CTextLibIcu - failed init encoding convertion\n")
      .Field(fieldName, fieldValue)
      .Field("  error number  = ", error)
      .Field("  error desc    = ", api_->errorName(error))
      .Throw<libicuExp>(tconvCode::open);
}

CTextLibIcu::~CTextLibIcu() {
  api_->close(converter_);
}

std::unique_ptr<TTextConv> CTextLibIcu::Clone() const {
  return isByPage_ ? Clone(codePage_) : Clone(encoding_);
}

std::unique_ptr<TTextConv> CTextLibIcu::Clone(const stringEx& encoding) const {
  return std::make_unique<CTextLibIcu>(encoding);
}

std::unique_ptr<TTextConv> CTextLibIcu::Clone(std::uint32_t codePage) const {
  return std::make_unique<CTextLibIcu>(codePage);
}

void CTextLibIcu::Refuse(std::string_view heading, int error) const {
  IMPL::CMessage(heading)
      .Field("  error code = ", error)
      .Field("  error desc = ", api_->errorName(error))
      .Throw<libicuExp>(tconvCode::convert);
}

// Asks for the size first, and is told that nothing does not hold it.
void CTextLibIcu::AppendWCtoMB(stringEx& dest, const wstringEx& source) {
  if (source.empty()) return;
  const std::u16string units = ToUtf16(source);
  if (units.size() > longest) Refuse("CTextLibIcu::WCtoMB - failed retrive dest size\n", tooLong);
  const auto length = static_cast<std::int32_t>(units.size());
  IMPL::CSafeScopeLock<FASTKSV_PCLOCK> guard(lock_);
  int error = noError;
  const std::int32_t size = api_->fromUChars(converter_, nullptr, 0, units.data(), length, &error);
  if (error > noError && error != overflow) Refuse("CTextLibIcu::WCtoMB - failed retrive dest size\n", error);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  error = noError;
  api_->fromUChars(converter_, bytes.data(), size, units.data(), length, &error);
  // Named like the other direction; whoever looks for the text knows it so.
  if (error > noError) Refuse("CTextLibIcu::MBtoWC - failed converting string\n", error);
  dest.append(bytes.data(), bytes.size());
}

void CTextLibIcu::AppendMBtoWC(wstringEx& dest, const stringEx& source) {
  if (source.empty()) return;
  if (source.length() > longest) Refuse("CTextLibIcu::AppendMBtoWC - failed retrive dest size\n", tooLong);
  const auto length = static_cast<std::int32_t>(source.length());
  std::u16string units;
  {
    IMPL::CSafeScopeLock<FASTKSV_PCLOCK> guard(lock_);
    int error = noError;
    const std::int32_t size = api_->toUChars(converter_, nullptr, 0, source.data(), length, &error);
    if (error > noError && error != overflow)
      Refuse("CTextLibIcu::AppendMBtoWC - failed retrive dest size\n", error);
    units.resize(static_cast<std::size_t>(size));
    error = noError;
    api_->toUChars(converter_, units.data(), size, source.data(), length, &error);
    if (error > noError) Refuse("CTextLibIcu::AppendMBtoWC - failed converting string\n", error);
  }
  AppendUtf16(dest, units);
}

}  // namespace Qorv
