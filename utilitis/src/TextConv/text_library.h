// A conversion library that is loaded with its first user and goes with its last.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include <qorv/detail/kill_hold.h>
#include <qorv/dll.h>
#include <qorv/log.h>

#include "TextConv/front.h"
#include "error/message.h"

namespace Qorv::IMPL {

/// `Api` holds the functions of the library. It is made from a loaded library, names in `Failure` the exception class,
/// gives the library by Load, and has the texts of all that can go wrong: earlyFault, notLoaded, notLocated, unknown.
///
/// One object for the process, made constinit and never destroyed. What could not be loaded is not tried again.
template <class Api>
class CTextLibrary {
 public:
  /// The functions, good until the Release that belongs to this call.
  const Api& AddRef() {
    CSafeScopeLock<FASTKSV_PCLOCK> guard(TextConvLock());
    if (users_ == 0) Load();
    ++users_;
    return *api_;
  }

  /// dlllExp where the library cannot be unloaded.
  void Release() {
    CSafeScopeLock<FASTKSV_PCLOCK> guard(TextConvLock());
    if (--users_ != 0) return;
    api_.reset();
    const auto last = std::move(library_);
    last->Unload();  // and not by the destructor, from inside of which nothing may be thrown
  }

 private:
  using Failure = typename Api::Failure;

  void Load() {
    if (isLost_) throw Failure(stringEx::view(Api::earlyFault), tconvCode::load);
    isLost_ = true;
    const char* heading = Api::notLoaded;
    try {
      auto library = Api::Load();
      heading = Api::notLocated;
      api_ = std::make_unique<Api>(*library);
      library_ = std::move(library);
    } catch (const qvExp& failure) {
      CMessage(heading).Inner(failure).template Throw<Failure>(tconvCode::load);
    } catch (...) {
      throw Failure(stringEx::view(Api::unknown), tconvCode::load);
    }
    isLost_ = false;
  }

  bool isLost_ = false;
  std::uint64_t users_ = 0;
  std::unique_ptr<CDllLoader> library_;
  std::unique_ptr<Api> api_;
};

/// One user of a library, for as long as it lives.
template <class Api>
class CLibraryUse {
 public:
  explicit CLibraryUse(CTextLibrary<Api>& library) : library_(library), api_(library.AddRef()) {}
  CLibraryUse(const CLibraryUse&) = delete;
  CLibraryUse& operator=(const CLibraryUse&) = delete;
  ~CLibraryUse() {
    try {
      library_.Release();
    } catch (const qvExp& failure) {
      CLog::GError("util.textconv"_sv, failure.GetMessage());
    }
  }
  const Api* operator->() const noexcept { return &api_; }

 private:
  CTextLibrary<Api>& library_;
  const Api& api_;
};

/// A function of the library as `Function`.
template <class Function>
Function Resolve(const CDllLoader& library, const stringEx& name) {
  return reinterpret_cast<Function>(library.GetProc(name));
}

}  // namespace Qorv::IMPL
