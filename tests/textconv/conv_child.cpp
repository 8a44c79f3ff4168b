// Tells which encoding and engine this process has, and converts what it is given in hexadecimal:
//
//   conv_child [wide HEX | narrow HEX | thread | reload]
//
// HIDDEN_LIBRARIES and HIDDEN_SYMBOLS hold parts of names that the system shall not find.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <typeinfo>

#include <qorv/error.h>
#include <qorv/textconv.h>
#include <qorv/thread.h>

#include "TextConv/lib_icu.h"

namespace {

bool IsHidden(const char* variable, const char* name) {
  const char* const hidden = std::getenv(variable);
  return hidden != nullptr && name != nullptr && *hidden != 0 && std::strstr(name, hidden) != nullptr;
}

std::string Bytes(const char* hex) {
  std::string bytes;
  for (; hex[0] != 0 && hex[1] != 0; hex += 2)
    bytes += static_cast<char>(std::stoi(std::string(hex, 2), nullptr, 16));
  return bytes;
}

const char* Engine() {
  const Qorv::TTextConv& conv = Qorv::TTextConv::GetSysConv();
  const std::string name = typeid(conv).name();
  for (const char* known : {"CTextLibIConv", "CTextLibIcu", "CIsoSysDefConv", "TTextConv"})
    if (name.find(known) != std::string::npos) return known;
  return "unknown";
}

// A thread whose conversion object goes with it.
class CConverting : public Qorv::TThread {
 public:
  ~CConverting() noexcept(false) override { Kill(0); }

 private:
  std::uint32_t Run() override {
    const bool isOwn = &Qorv::TTextConv::GetThreadConv() != &Qorv::TTextConv::GetSysConv();
    return isOwn && &Qorv::TTextConv::GetThreadConv() == &Qorv::TTextConv::GetThreadConv() ? 1 : 0;
  }
};

// The library goes with its last user; another version counts from then on, and what was lost once stays lost.
void Reload() {
  const char* const version = std::getenv("QORV_LIBICU_VER");
  const std::string given = version != nullptr ? version : "";
  auto first = std::make_unique<Qorv::CTextLibIcu>(Qorv::stringEx("UTF-8"));
  setenv("QORV_LIBICU_VER", "99", 1);
  std::printf("%u", Qorv::CTextLibIcu(Qorv::stringEx("UTF-8")).GetCodePage());
  first.reset();
  for (int i = 0; i < 2; ++i) {
    try {
      Qorv::CTextLibIcu conv(Qorv::stringEx("UTF-8"));
    } catch (const Qorv::libicuExp& failure) {
      std::printf("|%s", failure.GetMessage().data());
    }
    setenv("QORV_LIBICU_VER", given.c_str(), 1);
  }
}

}  // namespace

// NOLINTBEGIN
extern "C" void* __real_dlopen(const char* name, int flags);
extern "C" void* __wrap_dlopen(const char* name, int flags);
extern "C" void* __wrap_dlopen(const char* name, int flags) {
  return __real_dlopen(IsHidden("HIDDEN_LIBRARIES", name) ? "/none" : name, flags);
}
extern "C" void* __real_dlsym(void* library, const char* name);
extern "C" void* __wrap_dlsym(void* library, const char* name);
extern "C" void* __wrap_dlsym(void* library, const char* name) {
  return __real_dlsym(library, IsHidden("HIDDEN_SYMBOLS", name) ? "no such symbol" : name);
}
// NOLINTEND

int main(int argc, char** argv) {
  using Qorv::TTextConv;
  const std::string task = argc > 1 ? argv[1] : "";
  if (task == "wide") {
    const std::string bytes = Bytes(argv[2]);
    for (const wchar_t element : Qorv::stringEx(std::string_view(bytes)).to_wide())
      std::printf("%x ", static_cast<unsigned>(element));
  } else if (task == "narrow") {
    const Qorv::wstringEx text(reinterpret_cast<const wchar_t*>(Bytes(argv[2]).data()),
                               std::strlen(argv[2]) / 8);
    for (const char byte : text.to_narrow())
      std::printf("%x ", static_cast<unsigned>(static_cast<unsigned char>(byte)));
  } else if (task == "thread") {
    CConverting thread;
    thread.Create(false, 0);
    thread.Resume();
    thread.Wait(Qorv::waitForever);
    std::printf("%u", thread.GetExitCode());
  } else if (task == "reload") {
    Reload();
  } else {
    std::printf("%s %s %d %s %u", TTextConv::GetSysDefEncoding().data(),
                TTextConv::GetSysDefLanguage().data(), TTextConv::IsSysDefUtf8(), Engine(),
                TTextConv::GetSysConv().GetCodePage());
  }
  return 0;
}
