#include <dlfcn.h>

#include <utility>

#include <qorv/dll.h>

#include "error/message.h"
#include "file/narrow.h"

namespace Qorv {
namespace {

using IMPL::CMessage;

stringEx Compose(const stringEx& name, const stringEx& extension, const stringEx& version) {
  stringEx path(std::string_view{name});
  for (const stringEx* part : {&extension, &version})
    if (!part->empty()) (path += '.') += *part;
  return path;
}

bool IsLoaded(const stringEx& path) noexcept {
  void* const present = ::dlopen(path.data(), RTLD_LAZY | RTLD_NOLOAD);
  if (present != nullptr) ::dlclose(present);
  ::dlerror();  // that it is not there is no failure
  return present != nullptr;
}

std::string_view SystemError() noexcept {
  const char* const text = ::dlerror();
  return text != nullptr ? text : "unknwon system error";
}

}  // namespace

CDllLoader::CDllLoader(const stringEx& name, const stringEx& extension, const stringEx& version)
    : path_(Compose(name, extension, version)),
      wasLoaded_(IsLoaded(path_)),
      handle_(::dlopen(path_.data(), RTLD_LAZY)) {
  if (handle_ != nullptr) return;
  const stringEx error(SystemError());
  CMessage("CDllLoader::CDllLoader - error loading dynamic library\n")
      .Field("  dll path       = ", path_)
      .Field("  path hex code  = ", path_.hex())
      .Field("  sys error desc = ", error)
      .Throw<dlllExp>(dlllCode::load);
}

CDllLoader::CDllLoader(const wstringEx& name, const wstringEx& extension, const wstringEx& version)
    : CDllLoader(IMPL::NarrowForSystem(name), IMPL::NarrowForSystem(extension),
                 IMPL::NarrowForSystem(version)) {}

CDllLoader::~CDllLoader() noexcept(false) {
  IMPL::DropWhileUnwinding([this] { Unload(); });
}

void CDllLoader::Unload() {
  void* const handle = std::exchange(handle_, nullptr);
  if (handle == nullptr || ::dlclose(handle) == 0) return;
  const stringEx error(SystemError());
  CMessage("CDllLoader::~CDllLoader - error unloading dynamic library\n")
      .Field("  dll path       = ", path_)
      .Field("  path hex code  = ", path_.hex())
      .Field("  sys error desc = ", error)
      .Throw<dlllExp>(dlllCode::unload);
}

void* CDllLoader::GetProc(const stringEx& name) const {
  const stringEx zeroEnded(std::string_view{name});
  // Without a library the system would look among the program's own symbols.
  if (void* const address = handle_ != nullptr ? ::dlsym(handle_, zeroEnded.data()) : nullptr) return address;
  const stringEx error(SystemError());
  CMessage("CDllLoader::GetProc - error locating procedure in dynamic library\n")
      .Field("  dll path       = ", path_)
      .Field("  path hex code  = ", path_.hex())
      .Field("  proc name      = ", name)
      .Field("  sys error desc = ", error)
      .Throw<dlllExp>(dlllCode::symbol);
}

}  // namespace Qorv
