#include "error/message.h"
#include "registry/key.h"

namespace Qorv::IMPL {

CTreeWalk::CTreeWalk(REGKEY& root, std::string_view invalid, std::string_view circle)
    : invalid_(invalid), circle_(circle), root_(&root) {}

CTreeWalk::~CTreeWalk() noexcept(false) {
  DropWhileUnwinding([this] {
    while (!chain_.empty())
      Leave();
  });
}

void CTreeWalk::Enter(REGKEY& key, std::string_view name) QORV_NO_THREAD_SAFETY_ANALYSIS {
  if (!onChain_.insert(&key).second)
    CMessage(circle_).Field("  subkey = ", name).Throw<regExp>(regCode::circular);
  chain_.push_back({&key, name, {}});
  try {
    key.lock.Enter();
  } catch (...) {
    chain_.pop_back();
    throw;
  }
  chain_.back().next = key.subkeys.begin();
  isEnter_ = true;
}

void CTreeWalk::Leave() QORV_NO_THREAD_SAFETY_ANALYSIS {
  REGKEY& key = *chain_.back().key;
  chain_.pop_back();
  onChain_.erase(&key);
  key.lock.Leave();
}

bool CTreeWalk::Next() {
  if (REGKEY* const root = std::exchange(root_, nullptr)) {
    Enter(*root, {});
    return true;
  }
  if (!isEnter_ && !chain_.empty()) Leave();
  if (chain_.empty()) return false;
  PLACE& place = chain_.back();
  isEnter_ = false;
  if (place.next == place.key->subkeys.end()) return true;
  const auto& [name, below] = *place.next++;
  if (below.Get() == nullptr) throw regExp(stringEx(invalid_), regCode::invalidObject);
  Enter(*below.Get(), name);
  return true;
}

}  // namespace Qorv::IMPL
