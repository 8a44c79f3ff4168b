// What stands behind the handles of the registry: keys, values, and the one walk through a tree.
#pragma once

#include <atomic>
#include <bit>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include <qorv/detail/kill_hold.h>
#include <qorv/detail/one_thread.h>
#include <qorv/error.h>
#include <qorv/registry.h>

#include "registry/name_map.h"

namespace Qorv::IMPL {

/// A type number and a payload: bytes for texts, blobs, sets and types without a name, a number for the others.
class CRegValue : private CCompactBytes<sizeof(std::uint32_t)> {
 public:
  CRegValue() noexcept = default;
  CRegValue(std::uint32_t type, std::string_view bytes) : CCompactBytes(bytes) { PutType(type); }
  template <class Fill>
  CRegValue(std::uint32_t type, std::size_t size, Fill fill) : CCompactBytes(size, fill) {
    PutType(type);
  }

  static CRegValue FromNumber(std::uint32_t type, std::uint64_t number) noexcept {  // T_DWORD, T_QWORD
    CRegValue value;
    value.Assign(type, number);
    return value;
  }
  static CRegValue FromDouble(double value) noexcept {
    return FromNumber(T_FLOAT8, std::bit_cast<std::uint64_t>(value));
  }
  static CRegValue FromBool(bool value) noexcept { return FromNumber(T_BOOL, value ? 1 : 0); }

  void Assign(std::uint32_t type, std::uint64_t number) noexcept {
    Clear();
    PutType(type);
    std::memcpy(room_ + wordAt, &number, sizeof(number));
  }
  void Assign(std::uint32_t type, std::string_view bytes) {
    Clear();
    Put(bytes);
    PutType(type);
  }
  std::uint32_t Type() const noexcept {
    std::uint32_t type;
    std::memcpy(&type, room_, sizeof(type));
    return type;
  }
  /// True for the types whose payload is bytes.
  static constexpr bool HasBytes(std::uint32_t type) noexcept {
    constexpr std::uint32_t without =
        1U << T_NONE | 1U << T_DWORD | 1U << T_QWORD | 1U << T_FLOAT8 | 1U << T_BOOL;
    return type > T_BOOL || (without >> type & 1) == 0;
  }
  /// The payload of those types.
  std::string_view Text() const noexcept { return View(); }
  byteEx::text_view Bytes() const noexcept {
    const std::string_view text = View();
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
  }
  std::uint64_t Number() const noexcept {  // T_DWORD, T_QWORD, T_BOOL
    std::uint64_t number;
    std::memcpy(&number, room_ + wordAt, sizeof(number));
    return number;
  }
  double Double() const noexcept { return std::bit_cast<double>(Number()); }

  /// Same type, and the same payload byte for byte.
  friend bool operator==(const CRegValue& a, const CRegValue& b) noexcept {
    if (a.Type() != b.Type()) return false;
    return HasBytes(a.Type()) ? a.View() == b.View() : a.Number() == b.Number();
  }

 private:
  void PutType(std::uint32_t type) noexcept { std::memcpy(room_, &type, sizeof(type)); }
};

/// The packed form of a set: a 32-bit count, then for each string a 32-bit length, its bytes and a zero byte.
CRegValue PackSet(std::span<const std::string_view> strings);
/// Calls `take` with each string of a packed set, in its order. False, behind those that were well, if the bytes are none.
template <class Take>
bool ForEachInSet(std::string_view packed, Take take);

struct REGKEY;

/// Gives one count back; with the last one the key goes.
void ReleaseKey(REGKEY* key);

/// One count of a key.
class CRegShare {
 public:
  CRegShare() noexcept = default;
  /// Takes over a count.
  explicit CRegShare(REGKEY* key) noexcept : key_(key) {}
  CRegShare(CRegShare&& other) noexcept : key_(other.Detach()) {}
  CRegShare& operator=(CRegShare&& other) noexcept {
    std::swap(key_, other.key_);
    return *this;
  }
  ~CRegShare() noexcept(false) {
    if (key_ != nullptr) ReleaseKey(key_);
  }
  static CRegShare Of(REGKEY* key) noexcept;

  REGKEY* Get() const noexcept { return key_; }
  REGKEY* operator->() const noexcept { return key_; }
  REGKEY* Detach() noexcept { return std::exchange(key_, nullptr); }

 private:
  REGKEY* key_ = nullptr;
};

using REGVALUES = CNameMap<CRegValue>;
using REGSUBKEYS = CNameMap<CRegShare>;

/// A key. The lock guards all but the count.
struct REGKEY {
  REGVALUES values;
  REGSUBKEYS subkeys;
  stringEx workingFile;
  bool hasChanged = false;
  std::int64_t quota = regDefaultQuota;
  mutable REGLOCK lock;
  std::atomic<std::int64_t> count{1};
  REGKEY* nextDead = nullptr;  // while a tree is destroyed
};

/// Destroys a key without counts, and all below it that nobody else holds, however deep.
void DestroyKey(REGKEY* key);

inline void ReleaseKey(REGKEY* key) {
  if (AddTo(key->count, std::int64_t{-1}, std::memory_order_acq_rel) == 1) DestroyKey(key);
}

inline CRegShare CRegShare::Of(REGKEY* key) noexcept {
  if (key != nullptr) AddTo(key->count, std::int64_t{1}, std::memory_order_relaxed);
  return CRegShare(key);
}

/// The inside of handles, for the files of this folder.
class CRegHandle {
 public:
  static REGKEY* Key(const CFakeRegistry& handle) noexcept { return handle.key_; }
  static REGLOCK& Lock(const CFakeRegistry& handle) noexcept { return handle.lock_; }
  /// A handle that takes over one count of `key`, or that shares it.
  static CFakeRegistry Adopt(REGKEY* key) noexcept { return CFakeRegistry(key); }
  static CFakeRegistry Share(REGKEY* key) noexcept;
  static std::uint32_t Exclusive(const CFakeRegistry& handle) noexcept { return handle.exclusive_; }
  /// Gives the handle, whose lock the caller holds, this key, one count of which it takes over, in place of its own.
  static void SetKey(CFakeRegistry& handle, REGKEY* key);
};

/// Both locks of a handle, for the time of one operation. Throws regExp, code 1, with `refusal` if there is no key.
class CRegGuard {
 public:
  CRegGuard(const CFakeRegistry& handle, std::string_view refusal);

  REGKEY& Key() const noexcept { return *key_; }
  REGKEY* operator->() const noexcept { return key_; }

 private:
  CSafeScopeLock<REGLOCK> handleGuard_;
  REGKEY* key_;
  CSafeScopeLock<REGLOCK> keyGuard_;
};

/// Takes the first name off a path; empty behind the last one. A backslash at an end, or behind another, is passed over: no
/// name of a path is empty.
std::string_view TakeName(std::string_view& path) noexcept;

/// The key at `path` below `start`; null, with the name that is missing, if there is none, unless `makes`.
CRegShare FindKey(REGKEY& start, std::string_view path, bool makes, std::string_view& missing);

/// Goes through a tree depth first, a key before its subkeys, in the order of the maps, without using the stack for it.
/// Each key is locked from its `enter` to its `leave`, and all above it are. A key that is met below itself is regExp,
/// code 22. After a failure the locks are given back by the destructor.
///
///   CTreeWalk walk(root, "Class::Operation - invalid object", "Class::Operation - circular reference\n");
///   while (walk.Next()) { if (walk.IsEnter()) ... walk.Name(), walk.Key(), walk.Depth() ... }
class CTreeWalk {
 public:
  /// `invalid` is the refusal of a subkey without a key, `circle` that of a circle, to which "  subkey = " is added.
  CTreeWalk(REGKEY& root, std::string_view invalid, std::string_view circle);
  CTreeWalk(const CTreeWalk&) = delete;
  CTreeWalk& operator=(const CTreeWalk&) = delete;
  ~CTreeWalk() noexcept(false);

  /// To the next key that is entered or left, the root first and last; false behind the end.
  bool Next();
  bool IsEnter() const noexcept { return isEnter_; }
  REGKEY& Key() const noexcept { return *chain_.back().key; }
  /// Empty for the root. Valid until the next step.
  std::string_view Name() const noexcept { return chain_.back().name; }
  /// 0 for the root.
  std::size_t Depth() const noexcept { return chain_.size() - 1; }

 private:
  struct PLACE {
    REGKEY* key;
    std::string_view name;
    REGSUBKEYS::iterator next;
  };

  void Enter(REGKEY& key, std::string_view name);
  void Leave();

  std::string_view invalid_;
  std::string_view circle_;
  REGKEY* root_;
  std::vector<PLACE> chain_;
  std::unordered_set<const REGKEY*> onChain_;
  bool isEnter_ = false;
};

template <class Take>
bool ForEachInSet(std::string_view packed, Take take) {
  std::string_view rest = packed;
  const auto number = [&rest](std::uint32_t& out) {
    if (rest.size() < sizeof(out)) return false;
    std::memcpy(&out, rest.data(), sizeof(out));
    rest.remove_prefix(sizeof(out));
    return true;
  };
  std::uint32_t left = 0;
  if (!number(left)) return false;
  for (; left != 0; --left) {
    std::uint32_t length = 0;
    if (!number(length) || length >= rest.size() || rest[length] != 0) return false;
    take(rest.substr(0, length));
    rest.remove_prefix(std::size_t{length} + 1);
  }
  return rest.empty();
}

}  // namespace Qorv::IMPL
