#include "registry/key.h"

#include <algorithm>
#include <memory>

namespace Qorv::IMPL {

// A list in place of recursion: a tree may be deeper than the stack.
void DestroyKey(REGKEY* key) {
  REGKEY* dead = key;
  while (dead != nullptr) {
    const std::unique_ptr<REGKEY> gone(std::exchange(dead, dead->nextDead));
    for (auto& [name, share] : gone->subkeys) {
      REGKEY* const below = share.Detach();
      if (below == nullptr || AddTo(below->count, std::int64_t{-1}, std::memory_order_acq_rel) != 1) continue;
      below->nextDead = dead;
      dead = below;
    }
  }
}

CFakeRegistry CRegHandle::Share(REGKEY* key) noexcept {
  return CFakeRegistry(CRegShare::Of(key).Detach());
}

void CRegHandle::SetKey(CFakeRegistry& handle, REGKEY* key) QORV_NO_THREAD_SAFETY_ANALYSIS {
  CRegShare old(key);
  // Whoever holds the handle exclusively holds its key: now the new one.
  for (std::uint32_t i = 0; i < handle.exclusive_ && key != nullptr; ++i)
    key->lock.Enter();
  old = CRegShare(std::exchange(handle.key_, old.Detach()));
  for (std::uint32_t i = 0; i < handle.exclusive_ && old.Get() != nullptr; ++i)
    old->lock.Leave();
}

namespace {

REGKEY* Required(REGKEY* key, std::string_view refusal) {
  if (key == nullptr) throw regExp(stringEx(refusal), regCode::invalidObject);
  return key;
}

}  // namespace

CRegGuard::CRegGuard(const CFakeRegistry& handle, std::string_view refusal)
    : handleGuard_(CRegHandle::Lock(handle)),
      key_(Required(CRegHandle::Key(handle), refusal)),
      keyGuard_(key_->lock) {}

std::string_view TakeName(std::string_view& path) noexcept {
  constexpr char separator = '\\';
  path.remove_prefix(std::min(path.find_first_not_of(separator), path.size()));
  const std::string_view name = path.substr(0, path.find(separator));
  path.remove_prefix(name.size());
  return name;
}

// One key locked at a time, and kept alive by a count while no lock holds it; the first one is by the caller.
CRegShare FindKey(REGKEY& start, std::string_view path, bool makes, std::string_view& missing) {
  CRegShare found;
  for (std::string_view name = TakeName(path); !name.empty(); name = TakeName(path)) {
    REGKEY* const key = found.Get() == nullptr ? &start : found.Get();
    CSafeScopeLock<REGLOCK> guard(key->lock);
    auto next = key->subkeys.find(name);
    if (next == key->subkeys.end()) {
      missing = name;
      if (!makes) return {};
      next = key->subkeys.try_emplace(name, CRegShare(new REGKEY)).first;
      key->hasChanged = true;
    }
    CRegShare below = CRegShare::Of(next->second.Get());
    guard.Leave();
    found = std::move(below);
  }
  return found.Get() == nullptr ? CRegShare::Of(&start) : std::move(found);
}

}  // namespace Qorv::IMPL
