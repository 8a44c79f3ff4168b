// What a thread is told and asked apart from its life: scheduling, processors, times.
#include <sched.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include <qorv/time.h>

#include "misc/posix/platform.h"
#include "thread/thread_imp.h"

namespace Qorv {
namespace {

using Guard = IMPL::CSafeScopeLock<FASTKSV_PCLOCK>;

constexpr std::int32_t keepPolicy = -1000;
// The answer where the calling thread's policy cannot be had: this number, whatever the system calls by it.
constexpr std::int32_t unknownPolicy = 2;

constexpr std::int64_t notANumber = -1;

// The decimal number that the text begins with.
std::int64_t ParseNumber(const stringEx& text) noexcept {
  std::uint64_t consumed = 0;
  const std::int64_t number = text.to_int64(10, 0, &consumed);
  return consumed != 0 && number >= 0 ? number : notANumber;
}

// "3", or "1-3" with the ends in either order. What is neither adds nothing.
void AddPiece(const stringEx& piece, CPUMASK& mask) noexcept {
  const std::uint64_t dash = piece.find("-");
  std::int64_t first = ParseNumber(piece.part({0, std::min(dash, piece.length())}));
  std::int64_t last = first;
  if (dash != npos && dash + 1 < piece.length())
    last = ParseNumber(piece.part({dash + 1, piece.length() - dash - 1}));
  if (first > last) std::swap(first, last);
  if (first == notANumber) return;
  for (; first <= std::min<std::int64_t>(last, CPUMASK::size - 1); ++first)
    mask.Set(static_cast<std::uint32_t>(first));
}

}  // namespace

CThread_Imp& TThread::RequireImp(std::string_view message) {
  if (imp_ == nullptr) throw threadExp(stringEx::view(message), threadCode::noThread);
  return *imp_;
}

std::uint32_t TThread::GetPriority() {
  Guard guard(lock_);
  std::uint32_t level = 0;
  RequireImp("TThread::GetPriority - invalid thread object").GetScheduling(nullptr, &level);
  return level;
}

std::uint64_t TThread::GetId() {
  Guard guard(lock_);
  return RequireImp("TThread::GetId - invalid thread object").GetId();
}

std::int32_t TThread::GetSchdPolicy() {
  Guard guard(lock_);
  std::int32_t policy = 0;
  RequireImp("TThread::GetSchdPolicy - invalid thread object").GetScheduling(&policy, nullptr);
  return policy;
}

void TThread::SetSchdPolicy(std::int32_t policy) {
  Guard guard(lock_);
  CThread_Imp& imp = RequireImp("TThread::SetSchdPolicy - invalid thread object");
  if (policy == keepPolicy) return;
  std::uint32_t level = 0;
  imp.GetScheduling(nullptr, &level);
  imp.SetScheduling(policy, level);
}

void TThread::SetPriority(std::uint32_t level) {
  Guard guard(lock_);
  if (!IMPL::IsAlive(GetState())) {
    IMPL::ThrowInvalidState("TThread::SetPriority - invalid state : ", GetState());
  }
  std::int32_t policy = 0;
  imp_->GetScheduling(&policy, nullptr);
  imp_->SetScheduling(policy, level);
}

void TThread::SetCpuAffinity(const CPUMASK& mask, bool restricts) {
  Guard guard(lock_);
  const CThread_Imp& imp = RequireImp("TThread::SetCpuAffinity - invalid thread object");
  CThread_Imp::_SetCpuAffinity(imp.GetHandle(), mask, restricts);
}

void TThread::SetIdealCpu(std::uint32_t /*processor*/) {
  Guard guard(lock_);
  RequireImp("TThread::SetIdealCpu - invalid thread object");
}

void TThread::SetPriorityBoost(bool /*boosts*/) {
  Guard guard(lock_);
  RequireImp("TThread::SetPriorityBoost - invalid thread object");
}

bool TThread::ShouldBoostPriority() {
  Guard guard(lock_);
  RequireImp("TThread::ShouldBoostPriority - invalid thread object");
  return false;
}

bool TThread::HasPendingIo() {
  Guard guard(lock_);
  RequireImp("TThread::HasPendingIo - invalid thread object");
  return false;
}

pthread_t TThread::ToSysHandle() {
  Guard guard(lock_);
  return RequireImp("TThread::ToSysHandle - invalid thread object").GetHandle();
}

void TThread::GetTimes(CTime* creation, CTimeSpan* kernel, CTimeSpan* user) {
  Guard guard(lock_);
  RequireImp("TThread::GetTimes - invalid thread object");
  if (creation != nullptr) creation->Set(1900, 1, 1, 0, CTime().GetZone(), 0, 0, 0);
  if (kernel != nullptr) *kernel = CTimeSpan();
  if (user != nullptr) *user = CTimeSpan();
}

std::uint32_t TThread::GetCurrentPriority() {
  std::uint32_t level = 0;
  CThread_Imp::_GetThreadShcdParam(::pthread_self(), nullptr, &level);
  return level;
}

bool TThread::SetCurrentPriority(std::uint32_t level) {
  try {
    std::int32_t policy = 0;
    CThread_Imp::_GetThreadShcdParam(::pthread_self(), &policy, nullptr);
    CThread_Imp::_SetThreadShcdParam(::pthread_self(), &policy, &level);
    return true;
  } catch (const threadExp&) {
    return false;
  }
}

std::int32_t TThread::GetCurrentSchdPolicy() {
  try {
    std::int32_t policy = 0;
    CThread_Imp::_GetThreadShcdParam(::pthread_self(), &policy, nullptr);
    return policy;
  } catch (const threadExp&) {
    return unknownPolicy;
  }
}

void TThread::SetCurrentSchdPolicy(std::int32_t policy) {
  if (policy == keepPolicy) return;
  const std::uint32_t level = GetCurrentPriority();
  CThread_Imp::_SetThreadShcdParam(::pthread_self(), &policy, &level);
}

void TThread::SetCurrentCpuAffinity(const CPUMASK& mask, bool restricts) {
  CThread_Imp::_SetCpuAffinity(::pthread_self(), mask, restricts);
}

void TThread::Yield() noexcept {
  ::sched_yield();
}

std::uint32_t TThread::GetProcessorCount() noexcept {
  return IMPL::platform::OnlineProcessorCount();
}

std::uint32_t TThread::ParsePriority(const stringEx& text) {
  struct LEVEL {
    std::string_view name;
    std::uint32_t level;
  };
  static constexpr LEVEL levels[] = {
      {"idle", threadPriority::idle},   {"low", threadPriority::low},
      {"below", threadPriority::below}, {"above", threadPriority::above},
      {"high", threadPriority::high},   {"realtime", threadPriority::realtime},
  };
  const stringEx trimmed = text.trim_left_copy();
  for (const LEVEL& row : levels) {
    if (trimmed.compare_nocase(0, row.name.length(), row.name) == 0) return row.level;
  }
  return threadPriority::normal;
}

bool TThread::ParseCpuMask(const stringEx& text, CPUMASK& mask) {
  mask = {};
  std::vector<RANGE> pieces;
  text.split(",", pieces);
  for (const RANGE& piece : pieces)
    AddPiece(text.part(piece), mask);
  if (mask != CPUMASK()) return true;
  std::ranges::fill(mask.words, ~std::uint64_t{0});
  return false;
}

}  // namespace Qorv
