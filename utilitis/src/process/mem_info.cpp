#include <unistd.h>

#include <qorv/process.h>

#include "misc/posix/platform.h"

namespace Qorv {
namespace {

constexpr std::uint64_t unknown = IMPL::platform::MEMINFO{}.totalPhys;

std::uint64_t CountedPhys() noexcept {
  const long pages = ::sysconf(_SC_PHYS_PAGES);
  const long pageSize = ::sysconf(_SC_PAGESIZE);
  if (pages < 0 || pageSize < 0) return unknown;
  return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
}

}  // namespace

void CProcess::GetSysMemInfo(std::uint64_t* totalPhys, std::uint64_t* freePhys, std::uint64_t* totalVirt,
                             std::uint64_t* freeVirt) noexcept {
  if (totalPhys == nullptr && freePhys == nullptr && totalVirt == nullptr && freeVirt == nullptr) return;
  const auto info = IMPL::platform::MemoryInfo();
  if (totalPhys != nullptr) *totalPhys = info.totalPhys != unknown ? info.totalPhys : CountedPhys();
  if (freePhys != nullptr) *freePhys = info.freePhys;
  if (totalVirt != nullptr) *totalVirt = info.totalVirt;
  if (freeVirt != nullptr) *freeVirt = info.freeVirt;
}

}  // namespace Qorv
