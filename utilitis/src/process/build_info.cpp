// What the library was built with and for, as the compiler tells it.
#include <atomic>
#include <bit>
#include <climits>

#include <qorv/process.h>

namespace Qorv {
namespace {

#ifdef __clang__
#define QORV_TEXT_OF(number) QORV_TEXT(number)
#define QORV_TEXT(number) #number
constexpr auto compiler = "CLANG[" QORV_TEXT_OF(__clang_major__) "." QORV_TEXT_OF(
    __clang_minor__) "." QORV_TEXT_OF(__clang_patchlevel__) "; ";
#else
constexpr auto compiler = "GCC[" __VERSION__ "; ";
#endif
#ifdef _LIBCPP_VERSION
constexpr auto standardLibrary = "LLVMSTL; ";
#else
constexpr auto standardLibrary = "GCCSTL; ";
#endif
#ifdef NDEBUG
constexpr bool isRelease = true;
#else
constexpr bool isRelease = false;
#endif

}  // namespace

stringEx CPlatform::CompilerText() {
  return stringEx(compiler) + standardLibrary + "]; ";
}

stringEx CPlatform::BuildOptionText() {
  stringEx text(isRelease ? "REL; " : "");
  text += "MBCS; REGEX; LPKIDX; BYTESZ=";
  text.append_uint(CHAR_BIT) += "; WCHAR; WCHARSZ=";
  text.append_uint(sizeof(wchar_t)) += "; TRD; PROC; AIO; ";
  if (std::endian::native == std::endian::little) text += "LE; ";
  text += "TIT; TPS; TEI; VRD; NLL; ";
  text += std::atomic<std::uint64_t>::is_always_lock_free ? "ATM64-GCC; " : "ATM32-GCC; ";
  return text;
}

}  // namespace Qorv
