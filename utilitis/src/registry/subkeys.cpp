// Keys below a key: found, made, hung in, removed.
#include "error/message.h"
#include "registry/key.h"

namespace Qorv {
namespace {

using IMPL::CMessage;
using IMPL::CRegGuard;
using IMPL::CRegHandle;
using IMPL::CRegShare;
using IMPL::REGKEY;
using IMPL::REGSUBKEYS;
using Guard = IMPL::CSafeScopeLock<IMPL::REGLOCK>;

// The last name of a path, taken off it with what is around it.
std::string_view TakeLastName(std::string_view& path) noexcept {
  constexpr char separator = '\\';
  path = path.substr(0, path.find_last_not_of(separator) + 1);
  const std::string_view name = path.substr(path.rfind(separator) + 1);
  path.remove_suffix(name.size());
  return name;
}

bool IsEmpty(REGKEY& key) {
  Guard guard(key.lock);
  return key.values.empty() && key.subkeys.empty();
}

}  // namespace

CFakeRegistry CFakeRegistry::ObtainSubkey(const REGTEXT& path) const {
  Guard guard(lock_);
  if (key_ == nullptr)
    throw regExp(stringEx::view("CFakeRegistry::ObtainSubkey - invalid object"), regCode::invalidObject);
  std::string_view missing;
  CRegShare found = IMPL::FindKey(*key_, path, false, missing);
  if (found.Get() == nullptr) {
    CMessage("CFakeRegistry::ObtainSubkey - can not find specified subkey\n")
        .Field("  next subkey = ", missing)
        .Field("  full path   = ", path)
        .Throw<regExp>(regCode::notFound);
  }
  return CRegHandle::Adopt(found.Detach());
}

CFakeRegistry CFakeRegistry::GainSubkey(const REGTEXT& path) {
  Guard guard(lock_);
  if (key_ == nullptr) CRegHandle::SetKey(*this, new REGKEY);
  std::string_view missing;
  return CRegHandle::Adopt(IMPL::FindKey(*key_, path, true, missing).Detach());
}

void CFakeRegistry::RemoveSubkey(const REGTEXT& path, bool recursive) {
  Guard guard(lock_);
  if (key_ == nullptr)
    throw regExp(stringEx::view("CFakeRegistry::RemoveSubkey - invalid object"), regCode::invalidObject);
  std::string_view above = path;
  const std::string_view name = TakeLastName(above);
  std::string_view missing;
  CRegShare parent = IMPL::FindKey(*key_, above, false, missing);
  if (parent.Get() == nullptr) return;
  CRegShare removed;  // goes behind the lock: all that is below it may go with it
  Guard parentGuard(parent->lock);
  const auto found = parent->subkeys.find(name);
  if (name.empty() || found == parent->subkeys.end()) return;
  if (!recursive && !IsEmpty(*found->second.Get())) {
    CMessage(
        "CFakeRegistry::RemoveSubkey - failed remove subkey, trying to removing a not empty subkey with out "
        "recursive\n")
        .Field("  subkey name = ", name)
        .Throw<regExp>(regCode::notEmpty);
  }
  removed = std::move(found->second);
  parent->subkeys.erase(found);
  parent->hasChanged = true;
}

void CFakeRegistry::ClearSubkeys() {
  REGSUBKEYS removed;  // goes behind the locks
  const CRegGuard key(*this, "CFakeRegistry::ClearSubkeys - invalid object");
  key->hasChanged = key->hasChanged || !key->subkeys.empty();
  removed.swap(key->subkeys);
}

void CFakeRegistry::Clear() {
  IMPL::REGVALUES values;
  REGSUBKEYS subkeys;
  Guard guard(lock_);
  if (key_ == nullptr) CRegHandle::SetKey(*this, new REGKEY);
  Guard keyGuard(key_->lock);
  key_->hasChanged = key_->hasChanged || !key_->values.empty() || !key_->subkeys.empty();
  values.swap(key_->values);
  subkeys.swap(key_->subkeys);
}

void CFakeRegistry::Insert(const REGTEXT& path, const CFakeRegistry& other) {
  CFakeRegistry share = other;
  Guard guard(lock_);
  if (key_ == nullptr)
    throw regExp(stringEx::view("CFakeRegistry::Insert - invalid object"), regCode::invalidObject);
  std::string_view above = path;
  const std::string_view name = TakeLastName(above);
  if (share.key_ == nullptr || name.empty())
    throw regExp(stringEx::view("CFakeRegistry::Insert - invalid argument"), regCode::invalidArgument);
  std::string_view missing;
  CRegShare parent = IMPL::FindKey(*key_, above, true, missing);
  CRegShare replaced;
  Guard parentGuard(parent->lock);
  CRegShare& entry = parent->subkeys.try_emplace(name).first->second;
  replaced = CRegShare(std::exchange(share.key_, nullptr));
  std::swap(entry, replaced);
  parent->hasChanged = true;
}

void CFakeRegistry::CheckCircularReferernce() const {
  const CRegGuard key(*this, "CFakeRegistry::CheckCircularReferernce - invalid object");
  IMPL::CTreeWalk walk(key.Key(), "CFakeRegistry::CheckCircularReferernce - invalid object",
                       "CFakeRegistry::CheckCircularReferernce - found circular reference\n");
  while (walk.Next()) {
  }
}

}  // namespace Qorv
