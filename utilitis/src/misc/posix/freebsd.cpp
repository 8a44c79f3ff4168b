#include <sys/param.h>
// The header above is the one that the next ones build on.
#include <sys/cpuset.h>
#include <sys/disk.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/sysctl.h>
#include <sys/vmmeter.h>
#include <vm/vm_param.h>

#include <fcntl.h>
#include <pthread.h>
#include <pthread_np.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "misc/posix/platform.h"

namespace Qorv::IMPL::platform {
namespace {

template <class T>
bool AskSystem(int first, int second, T* value) noexcept {
  int name[] = {first, second};
  std::size_t length = sizeof(*value);
  return ::sysctl(name, 2, value, &length, nullptr, 0) == 0 && length == sizeof(*value);
}

}  // namespace

std::uint64_t ThreadId() noexcept {
  return static_cast<std::uint64_t>(::pthread_getthreadid_np());
}

unsigned ProcessorCount() noexcept {
  const long configured = ::sysconf(_SC_NPROCESSORS_CONF);
  if (configured > 0) return static_cast<unsigned>(configured);
  int count = 0;
  return AskSystem(CTL_HW, HW_NCPU, &count) && count > 0 ? static_cast<unsigned>(count) : 1;
}

unsigned OnlineProcessorCount() noexcept {
  const long count = ::sysconf(_SC_NPROCESSORS_ONLN);
  return count != -1 ? static_cast<unsigned>(count) : ProcessorCount();
}

int ProcessAffinity(std::span<std::uint64_t, 16> words) noexcept {
  // The system's own set may be larger or smaller than 1024; it says ERANGE where its processors do not fit.
  cpuset_t set;
  CPU_ZERO(&set);
  const auto ask = [&] {
    return ::cpuset_getaffinity(CPU_LEVEL_WHICH, CPU_WHICH_PID, -1, sizeof(set), &set);
  };
  if (RetryOnEintr(ask) < 0) return errno == ERANGE ? EINVAL : errno;
  std::ranges::fill(words, std::uint64_t{0});
  for (int i = 0; i < CPU_SETSIZE && i < 1024; ++i) {
    if (CPU_ISSET(i, &set)) words[static_cast<std::size_t>(i) / 64] |= std::uint64_t{1} << i % 64;
  }
  return 0;
}

int DeviceSectorSize(int descriptor, std::uint32_t* sectorSize) noexcept {
  u_int size = 0;
  if (RetryOnEintr([&] { return ::ioctl(descriptor, DIOCGSECTORSIZE, &size); }) < 0) return errno;
  *sectorSize = size;
  return 0;
}

int VolumeSectorSize(const char* path, std::uint32_t* sectorSize) noexcept {
  struct statfs volume;
  if (RetryOnEintr([&] { return ::statfs(path, &volume); }) < 0) return errno;
  if (std::string_view(volume.f_mntfromname).starts_with("/dev/")) {
    const int descriptor = RetryOnEintr([&] { return ::open(volume.f_mntfromname, O_RDONLY | O_CLOEXEC); });
    if (descriptor >= 0) {
      const int error = DeviceSectorSize(descriptor, sectorSize);
      ::close(descriptor);
      if (error == 0) return 0;
    }
  }
  // Memory and network volumes have no device, and an ordinary user may not open one.
  if (volume.f_bsize == 0) return ENODEV;
  *sectorSize = static_cast<std::uint32_t>(volume.f_bsize);
  return 0;
}

int DirectAccessFlag() noexcept {
  return O_DIRECT;
}

// The system serves direct reads of any address, position and length.
bool LeaveDirectAccess(int /*descriptor*/) noexcept {
  return false;
}

std::uint32_t ProductCode() noexcept {
  return 0x20000002;
}

std::int64_t Uptime() noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_UPTIME, &now);
  return std::int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000;
}

int SetNice(int process, int nice) noexcept {
  return ::setpriority(PRIO_PROCESS, process, nice);
}

const char* CommandLineFile() noexcept {
  return "/proc/curproc/cmdline";
}

char EnvMarker() noexcept {
  return '$';
}

const char* MemoryMapFile() noexcept {
  return "/proc/curproc/map";
}

// Lines are "0xstart 0xend" and ten more fields, the path, and two fields behind it.
std::string_view FindMappedFile(std::string_view map, std::uint64_t address) noexcept {
  char wanted[24];
  const int length =
      std::snprintf(wanted, sizeof(wanted), "0x%llx ", static_cast<unsigned long long>(address));
  while (!map.empty()) {
    std::string_view line = map.substr(0, map.find('\n'));
    map.remove_prefix(std::min(line.size() + 1, map.size()));
    if (!line.starts_with(std::string_view(wanted, static_cast<std::size_t>(length)))) continue;
    for (int field = 0; field < 12; ++field)
      line.remove_prefix(std::min(line.find(' '), line.size() - 1) + 1);
    for (int field = 0; field < 2; ++field)
      line = line.substr(0, line.rfind(' '));
    return line;
  }
  return {};
}

const char* OwnIconvLibrary() noexcept {
  return "libc.so.7";
}

MEMINFO MemoryInfo() noexcept {
  MEMINFO info;
  u_long real = 0;
  if (!AskSystem(CTL_HW, HW_REALMEM, &real)) return info;
  info.totalPhys = real;
  struct vmtotal total;
  const int pageSize = ::getpagesize();
  if (!AskSystem(CTL_VM, VM_TOTAL, &total)) return info;
  const auto bytes = [pageSize](auto pages) {
    return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
  };
  info.freePhys = real - bytes(total.t_arm);
  info.totalVirt = bytes(total.t_vm) + real;
  info.freeVirt = bytes(total.t_vm - total.t_avm) + real;
  return info;
}

}  // namespace Qorv::IMPL::platform
