// The process's environment, values that go before it, and texts that refer to both.
#pragma once

#include <vector>

#include <qorv/registry.h>
#include <qorv/string.h>
#include <qorv/sync.h>

namespace Qorv {

/// `text` with each $NAME and ${NAME} replaced by the environment's variable: NAME is all letters, digits and underscores that
/// follow, or all up to the brace. What is not set gives nothing. Values may refer to others, up to 64 deep, so a circle
/// ends without an error. A doubled $ gives one, which refers to nothing.
///
/// A text that would grow by more than 16 Mi elements is left there, with the references that it has. Nothing but
/// std::bad_alloc is thrown. These functions do not guard the environment: nobody should change it at the same time. The wide
/// forms convert names and values by the process's encoding; a name that has no place there, or has more than 4096 elements,
/// is not set.
stringEx ExpandEnvStr(const stringEx& text);
wstringEx ExpandEnvStr(const wstringEx& text);

/// The variable of the environment; empty if it is not set.
stringEx GetSysEnv(const stringEx& name);
wstringEx GetSysEnv(const wstringEx& name);
/// Sets a variable by a text "NAME=value", which is copied; without "=" it removes NAME. False if the system refuses that, or
/// the text has no name, a zero element, or no place in the process's encoding.
bool SetSysEnv(const stringEx& text);
bool SetSysEnv(const wstringEx& text);

/// Named values that go before the environment. They stand in a key of their own: see GetStore.
///
/// Any thread may call any operation. Failures are those of the key: regExp.
class envMgr {
 public:
  envMgr();
  envMgr(const envMgr&) = delete;
  envMgr& operator=(const envMgr&) = delete;
  ~envMgr() noexcept = default;

  /// The directory for temporary files: the system's, or "./tmp" where that cannot be used. Each object asks once.
  stringEx GetTempDir();

  /// True, and the value, if it is in the store or else in the environment, and not empty. A name in the store hides the
  /// variable of that name, even with an empty value.
  bool GetEnv(const stringEx& name, stringEx& value) const;
  /// Into the store.
  void SetEnv(const stringEx& name, const stringEx& value);
  /// Out of the store.
  void RemoveEnv(const stringEx& name);
  /// Appends the names in the store, in the order of their bytes.
  void EnumEnv(std::vector<stringEx>& names) const;
  /// The store's key, to be read and written as any other, until Open gives the store another. Values that are no text have
  /// their names here, but count as not set.
  CFakeRegistry GetStore() const { return store_; }
  /// Gives the store the values of a registry file, in place of its own, which it keeps behind a failure. As
  /// CFakeRegistry::Open and Save.
  void Open(const stringEx& path);
  void Save(const stringEx& path);

  /// `text` with its references replaced, as by ExpandEnvStr, but from the store first; what is neither there nor in the
  /// environment, or empty in the latter, stays in the text as it stands. `depth` is the number of
  /// the first round, of which the last is 63.
  stringEx Expand(const stringEx& text, std::uint32_t depth = 0) const;
  wstringEx Expand(const wstringEx& text, std::uint32_t depth = 0) const;

 private:
  CFakeRegistry store_;
  stringEx tempDir_;  // empty until it is asked for
  IMPL::CFastLock<IMPL::CFixedSpin<512>> lock_;
};

}  // namespace Qorv
