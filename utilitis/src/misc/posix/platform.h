// The platform seam: everything that differs between operating systems stands behind these functions, with
// one source file per system, chosen by the build. Nothing here throws; failures are errno values.
#pragma once

#include <cerrno>
#include <cstdint>
#include <span>
#include <string_view>

namespace Qorv::IMPL {

/// Repeats `call`, which returns a negative number and sets errno on failure, while a signal interrupts it.
/// Every call whose failure matters goes through this, except lseek, fstat and utime, which are never
/// repeated.
template <class Call>
auto RetryOnEintr(Call&& call) {
  decltype(call()) result;
  do {
    result = call();
  } while (result < 0 && errno == EINTR);
  return result;
}

namespace platform {

/// The system's id of the calling thread. Not cached.
std::uint64_t ThreadId() noexcept;

/// Number of processors that the machine is configured with; 1 if that cannot be had.
unsigned ProcessorCount() noexcept;

/// Number of processors online; where that cannot be had, as ProcessorCount.
unsigned OnlineProcessorCount() noexcept;

/// The processors that the process may run on: bit n % 64 of word n / 64 stands for processor n. Returns 0 or an errno;
/// EINVAL where the machine may have more than 1024.
int ProcessAffinity(std::span<std::uint64_t, 16> words) noexcept;

/// The signal by which TThread::Kill ends a thread: 66 on the system where the numbers were chosen.
int KillSignal() noexcept;

/// The signal that the fatal handler blocks: 65 on the system where the numbers were chosen.
int BlockedSignal() noexcept;

/// Sets the nice value of all threads of a process. Returns what setpriority does, for the process's first thread.
int SetNice(int process, int nice) noexcept;

/// Code of the system's product, as PLATFORMINFO has it.
std::uint32_t ProductCode() noexcept;

/// Microseconds since the system's start; 0 if that cannot be had.
std::int64_t Uptime() noexcept;

/// Path of the file that holds the process's arguments, each with a zero behind it.
const char* CommandLineFile() noexcept;

/// What begins a reference to a variable of the environment.
char EnvMarker() noexcept;

/// Path of the file that tells what is mapped into the process's memory, and where.
const char* MemoryMapFile() noexcept;

/// The path on the line of such a file's text that begins at `address`; empty if there is none.
std::string_view FindMappedFile(std::string_view map, std::uint64_t address) noexcept;

/// Sector size in bytes of the device behind `descriptor`. Returns 0 or an errno.
int DeviceSectorSize(int descriptor, std::uint32_t* sectorSize) noexcept;

/// Sector size in bytes of the volume that holds `path`, a zero-ended path that exists. Returns 0 or an
/// errno.
int VolumeSectorSize(const char* path, std::uint32_t* sectorSize) noexcept;

/// Open flag for direct (uncached) access.
int DirectAccessFlag() noexcept;

/// Called after a read failed with EINVAL: if `descriptor` is in direct mode, and the system is one that
/// refuses unaligned direct reads, switches direct mode off and returns true: the read is to be repeated.
bool LeaveDirectAccess(int descriptor) noexcept;

/// Name of the system's own library that converts text as libiconv does.
const char* OwnIconvLibrary() noexcept;

/// Bytes of memory. A figure that cannot be had is all ones.
struct MEMINFO {
  std::uint64_t totalPhys = ~std::uint64_t{0};
  std::uint64_t freePhys = ~std::uint64_t{0};
  std::uint64_t totalVirt = ~std::uint64_t{0};
  std::uint64_t freeVirt = ~std::uint64_t{0};
};
MEMINFO MemoryInfo() noexcept;

}  // namespace platform
}  // namespace Qorv::IMPL
