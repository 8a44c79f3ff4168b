// Whole trees: made private, and brought into one another.
#include "error/message.h"
#include "registry/key.h"

namespace Qorv {
namespace {

using IMPL::CRegGuard;
using IMPL::CRegHandle;
using IMPL::CRegShare;
using IMPL::CTreeWalk;
using IMPL::REGKEY;
using IMPL::REGSUBKEYS;
using Guard = IMPL::CSafeScopeLock<IMPL::REGLOCK>;

// A key of its own with the same values and the same subkeys as one that is locked.
CRegShare CopyOf(const REGKEY& key) {
  CRegShare copy(new REGKEY);
  copy->values = key.values;
  for (const auto& [name, below] : key.subkeys)
    copy->subkeys.try_emplace(name, CRegShare::Of(below.Get()));
  return copy;
}

bool IsShared(const REGKEY& key) noexcept {
  return key.count.load(std::memory_order_acquire) > 1;
}

// Gives all handles below a key keys that nobody else has, with a list in place of recursion. Each key is locked until all
// below it is done.
class CUnsharing {
 public:
  explicit CUnsharing(REGKEY& top) { Enter(top); }
  CUnsharing(const CUnsharing&) = delete;
  CUnsharing& operator=(const CUnsharing&) = delete;
  ~CUnsharing() noexcept(false) {
    IMPL::DropWhileUnwinding([this] {
      while (!chain_.empty())
        Leave();
    });
  }

  void Run() {
    while (!chain_.empty()) {
      PLACE& place = chain_.back();
      if (place.next == place.key->subkeys.end()) {
        Leave();
      } else {
        Enter(*PrivateKey((place.next++)->second));
      }
    }
  }

 private:
  struct PLACE {
    REGKEY* key;
    REGSUBKEYS::iterator next;
  };

  // Under the lock of the parent.
  static REGKEY* PrivateKey(CRegShare& entry) {
    if (!IsShared(*entry.Get())) return entry.Get();
    Guard guard(entry->lock);
    CRegShare copy = CopyOf(*entry.Get());
    guard.Leave();
    entry = std::move(copy);
    return entry.Get();
  }

  void Enter(REGKEY& key) QORV_NO_THREAD_SAFETY_ANALYSIS {
    chain_.push_back({&key, {}});
    try {
      key.lock.Enter();
    } catch (...) {
      chain_.pop_back();
      throw;
    }
    chain_.back().next = key.subkeys.begin();
  }

  void Leave() QORV_NO_THREAD_SAFETY_ANALYSIS {
    REGKEY& key = *chain_.back().key;
    chain_.pop_back();
    key.lock.Leave();
  }

  IMPL::CKillHold hold_;
  std::vector<PLACE> chain_;
};

// What an operation takes from another tree, as a tree of nobody else's. So no two trees are locked at once, in whatever
// order, and it does not matter if one lies within the other.
CRegShare Snapshot(const CFakeRegistry& other, std::string_view invalid, std::string_view circle) {
  CFakeRegistry copy = other;
  if (!copy.IsValid()) throw regExp(stringEx(invalid), regCode::invalidArgument);
  {
    const CRegGuard key(copy, invalid);
    CTreeWalk walk(key.Key(), invalid, circle);
    while (walk.Next()) {
    }
  }
  copy.Unshare(false);
  return CRegShare::Of(CRegHandle::Key(copy));
}

// A pair of keys: where something comes to, and what comes, which nobody else has.
struct PAIR {
  CRegShare target;
  REGKEY* source;
};

void TakeValues(REGKEY& target, REGKEY& source, bool overwrites) {
  for (auto& [name, value] : source.values) {
    const auto [entry, isNew] = target.values.try_emplace(name, value);
    if (!isNew && overwrites) entry->second = value;
    target.hasChanged = target.hasChanged || isNew || overwrites;
  }
}

// Goes on into the subkeys that both have.
void AppendCommon(std::vector<PAIR>& pairs, REGKEY& target, REGKEY& source) {
  for (const auto& [name, below] : source.subkeys)
    if (const auto found = target.subkeys.find(name); found != target.subkeys.end())
      pairs.push_back({CRegShare::Of(found->second.Get()), below.Get()});
}

// Shares the subkeys that the target lacks with it.
void AddMissing(REGKEY& target, const REGKEY& source) {
  for (const auto& [name, below] : source.subkeys)
    if (target.subkeys.try_emplace(name, CRegShare::Of(below.Get())).second) target.hasChanged = true;
}

struct MERGE {
  bool overwrites;  // values that are there
  bool adds;        // subkeys that are not
  bool recursive;
};

void Merge(REGKEY& target, CRegShare source, MERGE how) {
  std::vector<PAIR> pairs;
  pairs.push_back({CRegShare::Of(&target), source.Get()});
  while (!pairs.empty()) {
    PAIR pair = std::move(pairs.back());
    pairs.pop_back();
    Guard guard(pair.target->lock);
    TakeValues(*pair.target.Get(), *pair.source, how.overwrites);
    if (how.recursive) AppendCommon(pairs, *pair.target.Get(), *pair.source);
    if (how.adds) AddMissing(*pair.target.Get(), *pair.source);
  }
}

// The target's key as long as it is the handle's, under the handle's lock.
void MergeInto(const CFakeRegistry& handle, std::string_view invalid, CRegShare source, MERGE how) {
  Guard guard(CRegHandle::Lock(handle));
  REGKEY* const key = CRegHandle::Key(handle);
  if (key == nullptr) throw regExp(stringEx(invalid), regCode::invalidObject);
  Merge(*key, std::move(source), how);
}

void Require(const CFakeRegistry& handle, std::string_view invalid) {
  if (!handle.IsValid()) throw regExp(stringEx(invalid), regCode::invalidObject);
}

}  // namespace

void CFakeRegistry::Unshare(bool keepTop) {
  constexpr std::string_view invalid = "CFakeRegistry::Unshare - invalid object";
  Guard guard(lock_);
  if (key_ == nullptr) throw regExp(stringEx(invalid), regCode::invalidObject);
  {
    CTreeWalk walk(*key_, invalid, "CFakeRegistry::Unshare - circular reference\n");
    while (walk.Next()) {
    }
  }
  if (!keepTop && IsShared(*key_)) {
    Guard keyGuard(key_->lock);
    CRegShare copy = CopyOf(*key_);
    keyGuard.Leave();
    CRegHandle::SetKey(*this, copy.Detach());
  }
  CUnsharing(*key_).Run();
}

void CFakeRegistry::Update(const CFakeRegistry& other, bool recursive) {
  constexpr std::string_view invalid = "CFakeRegistry::Update - invalid object";
  Require(*this, invalid);
  if (IsSameKey(other)) return;
  CRegShare source = Snapshot(other, "CFakeRegistry::Update - invalid argument",
                              "CFakeRegistry::Update - circular reference\n");
  MergeInto(*this, invalid, std::move(source), {true, false, recursive});
}

void CFakeRegistry::Export(CFakeRegistry& other, bool recursive) const {
  Require(*this, "CFakeRegistry::Export - invalid object");
  if (IsSameKey(other)) return;
  constexpr std::string_view invalid = "CFakeRegistry::Export - invalid argument";
  if (!other.IsValid()) throw regExp(stringEx(invalid), regCode::invalidArgument);
  CRegShare source = Snapshot(*this, invalid, "CFakeRegistry::Export - circular reference\n");
  MergeInto(other, invalid, std::move(source), {true, false, recursive});
}

void CFakeRegistry::Import(const CFakeRegistry& other, bool overwrite, bool recursive) {
  constexpr std::string_view invalid = "CFakeRegistry::Import - invalid object";
  Require(*this, invalid);
  if (IsSameKey(other)) return;
  CRegShare source = Snapshot(other, "CFakeRegistry::Import - invalid argument",
                              "CFakeRegistry::Import - circular reference\n");
  MergeInto(*this, invalid, std::move(source), {overwrite, true, recursive});
}

void CFakeRegistry::Replace(const CFakeRegistry& other, bool recursive) {
  constexpr std::string_view invalid = "CFakeRegistry::Replace - invalid object";
  Require(*this, invalid);
  if (IsSameKey(other)) return;
  CRegShare source = Snapshot(other, "CFakeRegistry::Replace - invalid argument",
                              "CFakeRegistry::Replace - circular reference\n");
  // Behind the locks, with all that goes with them.
  std::vector<CRegShare> dropped;
  IMPL::REGVALUES values;
  REGSUBKEYS subkeys;
  const CRegGuard key(*this, invalid);
  values.swap(key->values);
  subkeys.swap(key->subkeys);
  key->values.swap(source->values);
  key->subkeys.swap(source->subkeys);
  if (!recursive) {
    for (const auto& [name, below] : key->subkeys) {
      dropped.emplace_back(new REGKEY);
      dropped.back()->subkeys.swap(below->subkeys);
    }
  }
  key->hasChanged = true;
}

}  // namespace Qorv
