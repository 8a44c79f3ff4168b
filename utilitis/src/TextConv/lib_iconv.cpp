#include "TextConv/lib_iconv.h"

#include <algorithm>
#include <cctype>
#include <cerrno>

#include <qorv/detail/lasting.h>
#include <qorv/log.h>

#include "TextConv/encodings.h"
#include "misc/posix/platform.h"

namespace Qorv {

struct IMPL::ICONVAPI {
  using Failure = libiconvExp;
  static constexpr const char* earlyFault =
      "CTextLibIConv::__AddRef - libiconv could not be loaded (early fault)";
  static constexpr const char* notLoaded = "failed load dynamic library\n";
  static constexpr const char* notLocated = "failed locate iconv api\n";
  static constexpr const char* unknown = "CTextLibIConv::__AddRef - unknwon error";

  // Where there is none, the system's own library may have what it takes.
  static std::unique_ptr<CDllLoader> Load() {
    try {
      return std::make_unique<CDllLoader>("libiconv"_sv, "so"_sv);
    } catch (const dlllExp&) {
      return std::make_unique<CDllLoader>(stringEx::view(IMPL::platform::OwnIconvLibrary()));
    }
  }

  explicit ICONVAPI(const CDllLoader& library) {
    try {
      Locate(library, "libiconv_open"_sv, "libiconv"_sv, "libiconv_close"_sv);
    } catch (const dlllExp&) {
      Locate(library, "iconv_open"_sv, "iconv"_sv, "iconv_close"_sv);
      isSystems = true;
    }
  }

  // The system's own functions (glibc 2.36) read on beyond a text in this encoding that is not valid. They also take its name
  // with blanks and with what follows a slash, and an empty one for the locale's encoding.
  bool Serves(std::string_view encoding) const {
    stringEx letters;
    for (const char element : encoding.substr(0, encoding.find('/')))
      if (std::isalnum(static_cast<unsigned char>(element)) != 0) letters += element;
    return !letters.empty() && (!isSystems || letters.compare_nocase("ISO2022CNEXT") != 0);
  }

  void Locate(const CDllLoader& library, const stringEx& openName, const stringEx& convertName,
              const stringEx& closeName) {
    open = Resolve<decltype(open)>(library, openName);
    convert = Resolve<decltype(convert)>(library, convertName);
    close = Resolve<decltype(close)>(library, closeName);
  }

  void* (*open)(const char* to, const char* from);
  std::size_t (*convert)(void* descriptor, char** in, std::size_t* inLeft, char** out, std::size_t* outLeft);
  int (*close)(void* descriptor);
  bool isSystems = false;
};

namespace {

constinit IMPL::CLasting<IMPL::CTextLibrary<IMPL::ICONVAPI>> library;

constexpr auto failed = static_cast<std::size_t>(-1);
constexpr std::size_t roomSize = 512;  // bytes

[[noreturn]] void Refuse(std::string_view name, const stringEx& value) {
  IMPL::CMessage("CTextLibIConv::CTextLibIConv - failed init encoding convertion\n")
      .Field(name, value)
      .Throw<libiconvExp>(tconvCode::open);
}

}  // namespace

CTextLibIConv::CTextLibIConv(const stringEx& encoding)
    : encoding_(std::string_view(encoding)), codePage_(IMPL::PageOfEncoding(encoding)), api_(library.object) {
  if (OpenBoth()) return;
  stringEx value(std::string_view{encoding_});
  (value += " (").append_uint(codePage_) += ")";
  Refuse("  encoding name = ", value);
}

CTextLibIConv::CTextLibIConv(std::uint32_t codePage)
    : encoding_(CPToEnc(codePage)), codePage_(codePage), api_(library.object) {
  if (OpenBoth()) return;
  Refuse("  code page     = ", stringEx().append_uint(codePage));
}

// Both, or none.
bool CTextLibIConv::OpenBoth() {
  if (!api_->Serves(encoding_)) return false;
  const auto none = reinterpret_cast<void*>(-1);
  const stringEx target = encoding_ + "//IGNORE";
  toWide_ = api_->open("UCS-4LE//IGNORE", encoding_.data());
  if (toWide_ == none) return false;
  toNarrow_ = api_->open(target.data(), "UCS-4LE");
  if (toNarrow_ != none) return true;
  api_->close(toWide_);
  return false;
}

CTextLibIConv::~CTextLibIConv() {
  bool isReleased = true;
  for (void* const descriptor : {toWide_, toNarrow_})
    isReleased = api_->close(descriptor) == 0 && isReleased;
  if (!isReleased) {
    CLog::GError("util.textconv"_sv,
                 "CTextLibIConv::~CTextLibIConv - failed release lib iconv's convertion descriptor"_sv);
  }
}

std::unique_ptr<TTextConv> CTextLibIConv::Clone() const {
  return Clone(encoding_);
}

std::unique_ptr<TTextConv> CTextLibIConv::Clone(const stringEx& encoding) const {
  return std::make_unique<CTextLibIConv>(encoding);
}

std::unique_ptr<TTextConv> CTextLibIConv::Clone(std::uint32_t codePage) const {
  return std::make_unique<CTextLibIConv>(codePage);
}

// The library gets no more at a time than has room on the other side as a rule: running out of room costs it what it has
// done ahead. What it stops at although it was told to go on is passed over, a unit at a time; what is cut off at the end
// is dropped. `unit` and `size` are bytes.
template <class Element, class Dest>
void CTextLibIConv::Convert(void* descriptor, const char* data, std::size_t size, std::size_t unit,
                            Dest& dest) {
  if (size == 0) return;
  IMPL::CSafeScopeLock<FASTKSV_PCLOCK> guard(lock_);
  Element room[roomSize / sizeof(Element)];
  const std::size_t piece = sizeof(Element) == 1 ? roomSize / 2 : std::size(room);
  const auto run = [&](char** in, std::size_t* left) {
    char* out = reinterpret_cast<char*>(room);
    std::size_t space = sizeof room;
    const int error = api_->convert(descriptor, in, left, &out, &space) == failed ? errno : 0;
    const std::uint64_t count = (sizeof room - space) / sizeof(Element);
    const std::uint64_t wanted = dest.length() + count;
    if (wanted > static_cast<std::uint64_t>(dest.capacity()))
      dest.reserve(std::max<std::uint64_t>(wanted, 2 * dest.length()));
    dest.append(room, count);
    return error;
  };
  api_->convert(descriptor, nullptr, nullptr, nullptr, nullptr);
  char* in = const_cast<char*>(data);
  for (std::size_t left = size; left != 0;) {
    const std::size_t given = std::min(piece, left);
    std::size_t rest = given;
    const int error = run(&in, &rest);
    if (rest > given) break;  // it has lost its way, and read beyond the text
    std::size_t taken = given - rest;
    if (taken == 0) {
      if (error == EINVAL && given == left) break;
      taken = std::min(unit, left);
      in += taken;
    }
    left -= taken;
  }
  run(nullptr, nullptr);  // what ends a text in encodings that shift
}

void CTextLibIConv::AppendWCtoMB(stringEx& dest, const wstringEx& source) {
  Convert<char>(toNarrow_, reinterpret_cast<const char*>(source.data()), source.length() * sizeof(wchar_t),
                sizeof(wchar_t), dest);
}

void CTextLibIConv::AppendMBtoWC(wstringEx& dest, const stringEx& source) {
  Convert<wchar_t>(toWide_, source.data(), source.length(), 1, dest);
}

}  // namespace Qorv
