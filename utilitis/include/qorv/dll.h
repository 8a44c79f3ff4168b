// Dynamic libraries, loaded while the program runs.
#pragma once

#include <qorv/error.h>
#include <qorv/string.h>

namespace Qorv {

/// A dynamic library for as long as the object lives. Failures are dlllExp. The object may be used from any thread.
class CDllLoader {
 public:
  /// The path is `name`, "." and `extension`, "." and `version`, those that are given; the system searches its folders
  /// for a path without "/". Symbols are bound when they are first used.
  explicit CDllLoader(const stringEx& name, const stringEx& extension = {}, const stringEx& version = {});
  explicit CDllLoader(const wstringEx& name, const wstringEx& extension = {}, const wstringEx& version = {});
  CDllLoader(const CDllLoader&) = delete;
  CDllLoader& operator=(const CDllLoader&) = delete;
  /// A failure to unload is thrown unless another exception is unwinding.
  ~CDllLoader() noexcept(false);

  /// Unloads it now; there are no symbols behind that, and a second time does nothing. Code 3, and it counts as unloaded all
  /// the same.
  void Unload();
  /// The address of a symbol, never null; good until it is unloaded. Code 2.
  void* GetProc(const stringEx& name) const;
  /// True if something else in the process had loaded the library before.
  bool WasLoaded() const noexcept { return wasLoaded_; }

 private:
  stringEx path_;
  bool wasLoaded_;
  void* handle_;
};

}  // namespace Qorv
