// Handles: what they share, their locks, and the state of their keys.
#include <chrono>

#include "registry/key.h"

namespace Qorv {
namespace {

using IMPL::CRegGuard;
using IMPL::CRegHandle;
using IMPL::CRegShare;
using IMPL::REGKEY;
using Guard = IMPL::CSafeScopeLock<IMPL::REGLOCK>;

CRegShare ShareOf(const CFakeRegistry& handle) {
  Guard guard(CRegHandle::Lock(handle));
  return CRegShare::Of(CRegHandle::Key(handle));
}

}  // namespace

REGTEXT::REGTEXT(const wstringEx& text) : own_(text.to_narrow()), text_(own_) {
  if (own_.to_wide() != text)
    throw tconvExp(stringEx::view("REGTEXT - name has no place in the process's encoding"),
                   tconvCode::convert);
}

void REGTEXTOUT::Put(std::string_view text) const {
  if (narrow_ != nullptr) narrow_->assign(text);
  if (wide_ != nullptr) *wide_ = stringEx::view(text).to_wide();
  if (bytes_ != nullptr) bytes_->assign({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
}

CFakeRegistry::CFakeRegistry(const CFakeRegistry& other) : key_(ShareOf(other).Detach()) {}

CFakeRegistry::CFakeRegistry(CFakeRegistry&& other) noexcept : key_(std::exchange(other.key_, nullptr)) {}

CFakeRegistry& CFakeRegistry::operator=(const CFakeRegistry& other) {
  CRegShare key = ShareOf(other);
  Guard guard(lock_);
  CRegHandle::SetKey(*this, key.Detach());
  return *this;
}

CFakeRegistry& CFakeRegistry::operator=(CFakeRegistry&& other) {
  if (this != &other) {
    REGKEY* const key = std::exchange(other.key_, nullptr);
    Guard guard(lock_);
    CRegHandle::SetKey(*this, key);
  }
  return *this;
}

CFakeRegistry::~CFakeRegistry() noexcept {
  if (key_ != nullptr) IMPL::ReleaseKey(key_);
}

bool CFakeRegistry::IsValid() const {
  Guard guard(lock_);
  return key_ != nullptr;
}

bool CFakeRegistry::IsSameKey(const CFakeRegistry& other) const {
  return ShareOf(*this).Get() == ShareOf(other).Get();
}

const char* CFakeRegistry::GetTypeName(std::uint32_t type) noexcept {
  constexpr const char* names[] = {
      "none", "string", "expandable string", "blob", "dword", "qword", "string set", "float8", "bool"};
  return type < std::size(names) ? names[type] : "unknown";
}

bool CFakeRegistry::BeginExclusiveAccess(std::int64_t timeout) QORV_NO_THREAD_SAFETY_ANALYSIS {
  using Clock = std::chrono::steady_clock;
  const bool isTimed = timeout > 0 && timeout < 0x7FFFFFFF;
  const auto end = isTimed ? Clock::now() + std::chrono::milliseconds(timeout) : Clock::time_point();
  if (!lock_.TimedEnter(timeout)) return false;
  try {
    if (key_ == nullptr) {
      throw regExp(stringEx::view("CFakeRegistry::BeginExclusiveAccess - invalid object"),
                   regCode::invalidObject);
    }
    if (isTimed) {
      const auto rest = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
      timeout = rest > 0 ? rest : 0;
    }
    if (key_->lock.TimedEnter(timeout)) {
      ++exclusive_;
      return true;
    }
  } catch (...) {
    lock_.Leave();
    throw;
  }
  lock_.Leave();
  return false;
}

void CFakeRegistry::EndExclusiveAccess() QORV_NO_THREAD_SAFETY_ANALYSIS {
  --exclusive_;
  if (key_ != nullptr) key_->lock.Leave();  // an invalid handle may have been assigned meanwhile
  lock_.Leave();
}

bool CFakeRegistry::HasChanged() const {
  return CRegGuard(*this, "CFakeRegistry::HasChanged - invalid object")->hasChanged;
}

void CFakeRegistry::ResetChangeFlag() {
  CRegGuard(*this, "CFakeRegistry::ResetChangeFlag - invalid object")->hasChanged = false;
}

stringEx CFakeRegistry::GetWorkingFile() const {
  return CRegGuard(*this, "CFakeRegistry::GetWorkingFile - invalid object")->workingFile;
}

void CFakeRegistry::SetWorkingFile(const REGTEXT& path) {
  CRegGuard(*this, "CFakeRegistry::SetWorkingFile - invalid object")->workingFile.assign(path);
}

std::int64_t CFakeRegistry::GetQuota() const {
  return CRegGuard(*this, "CFakeRegistry::GetQuota - invalid object")->quota;
}

void CFakeRegistry::SetQuota(std::int64_t size) {
  CRegGuard(*this, "CFakeRegistry::SetQuota - invalid object")->quota = size;
}

}  // namespace Qorv
