#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "misc/posix/linux_files.h"
#include "misc/posix/platform.h"

namespace Qorv::IMPL::platform {

std::uint64_t ThreadId() noexcept {
  return static_cast<std::uint64_t>(::gettid());
}

unsigned ProcessorCount() noexcept {
  const long count = ::sysconf(_SC_NPROCESSORS_CONF);
  return count > 0 ? static_cast<unsigned>(count) : 1;
}

unsigned OnlineProcessorCount() noexcept {
  const long count = ::sysconf(_SC_NPROCESSORS_ONLN);
  return count != -1 ? static_cast<unsigned>(count) : ProcessorCount();
}

int ProcessAffinity(std::span<std::uint64_t, 16> words) noexcept {
  cpu_set_t set;
  static_assert(sizeof(set) == words.size_bytes());
  if (RetryOnEintr([&] { return ::sched_getaffinity(::getpid(), sizeof(set), &set); }) < 0) return errno;
  std::memcpy(words.data(), &set, sizeof(set));
  return 0;
}

int DeviceSectorSize(int descriptor, std::uint32_t* sectorSize) noexcept {
  int size = 0;
  if (RetryOnEintr([&] { return ::ioctl(descriptor, BLKSSZGET, &size); }) < 0) return errno;
  *sectorSize = static_cast<std::uint32_t>(size);
  return 0;
}

int VolumeSectorSize(const char* path, std::uint32_t* sectorSize) noexcept {
  struct stat status;
  if (RetryOnEintr([&] { return ::stat(path, &status); }) < 0) return errno;
  if (SysfsSectorSize("/sys", major(status.st_dev), minor(status.st_dev), sectorSize) == 0) return 0;
  // No block device stands behind memory, overlay and network volumes.
  struct statvfs volume;
  if (RetryOnEintr([&] { return ::statvfs(path, &volume); }) < 0) return errno;
  if (volume.f_frsize == 0) return ENODEV;
  // A network volume tells the size of its transfers, up to a megabyte: far more than one bad place should cost.
  constexpr unsigned long largest = 4096;
  *sectorSize = static_cast<std::uint32_t>(std::min(volume.f_frsize, largest));
  return 0;
}

int DirectAccessFlag() noexcept {
  return O_DIRECT;
}

bool LeaveDirectAccess(int descriptor) noexcept {
  const int flags = RetryOnEintr([&] { return ::fcntl(descriptor, F_GETFL); });
  if (flags < 0 || (flags & O_DIRECT) == 0) return false;
  return RetryOnEintr([&] { return ::fcntl(descriptor, F_SETFL, flags & ~O_DIRECT); }) == 0;
}

std::uint32_t ProductCode() noexcept {
  return 0x20000001;
}

std::int64_t Uptime() noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  return std::int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000;
}

// Here each thread has a value of its own.
int SetNice(int process, int nice) noexcept {
  const int result = ::setpriority(PRIO_PROCESS, static_cast<id_t>(process), nice);
  const int error = errno;
  char path[32];
  std::snprintf(path, sizeof path, "/proc/%d/task", process);
  if (DIR* const folder = ::opendir(path)) {
    while (const dirent* const entry = ::readdir(folder))
      if (const int thread = std::atoi(entry->d_name); thread > 0 && thread != process)
        ::setpriority(PRIO_PROCESS, static_cast<id_t>(thread), nice);
    ::closedir(folder);
  }
  errno = error;
  return result;
}

const char* CommandLineFile() noexcept {
  return "/proc/self/cmdline";
}

char EnvMarker() noexcept {
  return '$';
}

const char* MemoryMapFile() noexcept {
  return "/proc/self/maps";
}

const char* OwnIconvLibrary() noexcept {
  return "libc.so.6";
}

MEMINFO MemoryInfo() noexcept {
  return ReadMemInfo("/proc/meminfo");
}

}  // namespace Qorv::IMPL::platform
