// A library to be preloaded into a program: it makes the files of a plan (TOLK_FAULT_PLAN) fail, and writes
// one line to a log (TOLK_FAULT_LOG) for each call on them: "LABEL OP POSITION LENGTH RESULT", where a seek
// has its whence and an open its flags in the place of the length, and a failure has minus errno as its
// result.
//
// TOLK_CLOCK_RATE makes the system's tick count run so many times as fast from the start of the program on.
//
// It calls the kernel directly, so it needs no other library behind it and works in front of and behind the
// run-time libraries of sanitizers. Files opened by the C library's own streams are not seen.
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/times.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "fault_plan.h"

using namespace FaultShim;

namespace {

constexpr std::int64_t currentPosition = -1;

constinit std::array<std::atomic<File*>, 4096> fileOfDescriptor{};
constinit Plan* thePlan = nullptr;
constinit int logDescriptor = -1;
constinit long clockRate = 1;
constinit long firstTick = 0;

[[gnu::constructor]] void Load() {
  if (const char* rate = std::getenv("TOLK_CLOCK_RATE")) {
    clockRate = std::atol(rate);
    firstTick = syscall(SYS_times, nullptr);
  }
  const char* planPath = std::getenv("TOLK_FAULT_PLAN");
  if (planPath == nullptr) return;
  if (const char* logPath = std::getenv("TOLK_FAULT_LOG")) {
    logDescriptor = static_cast<int>(
        syscall(SYS_openat, AT_FDCWD, logPath, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
  }
  // Never freed: other threads may still read while the process ends.
  thePlan = new Plan(LoadPlan(planPath));
}

File* FileOf(int descriptor) {
  const auto index = static_cast<std::size_t>(descriptor);
  return index < fileOfDescriptor.size() ? fileOfDescriptor[index].load(std::memory_order_acquire) : nullptr;
}

void Follow(int descriptor, File* file) {
  const auto index = static_cast<std::size_t>(descriptor);
  if (index < fileOfDescriptor.size()) fileOfDescriptor[index].store(file, std::memory_order_release);
}

File* FileAt(int folder, const char* path) {
  if (thePlan == nullptr || path == nullptr) return nullptr;
  std::array<char, 4096> absolute;
  if (path[0] != '/' && folder == AT_FDCWD) {
    const long length = syscall(SYS_getcwd, absolute.data(), absolute.size());
    if (length <= 0) return nullptr;
    const auto used = static_cast<std::size_t>(length) - 1;
    std::snprintf(absolute.data() + used, absolute.size() - used, "/%s", path);
    path = absolute.data();
  }
  const auto found =
      std::ranges::find(*thePlan, path, [](const auto& file) { return std::string_view(file->path); });
  return found == thePlan->end() ? nullptr : found->get();
}

long Fail(int error) {
  errno = error;
  return -1;
}

// One line in one call on a descriptor in append mode: lines of different threads do not mix. The call is
// made before the program sees the result, so the log's order holds whatever order the program keeps between
// threads.
long Log(const File& file, Op op, std::int64_t position, std::int64_t length, long result) {
  if (logDescriptor < 0) return result;
  const int error = errno;
  std::array<char, 256> line;
  const int used =
      std::snprintf(line.data(), line.size(), "%s %s %lld %lld %lld\n", file.label.c_str(),
                    opNames[op].data(), static_cast<long long>(position), static_cast<long long>(length),
                    static_cast<long long>(result < 0 ? -error : result));
  syscall(SYS_write, logDescriptor, line.data(), std::min(static_cast<std::size_t>(used), line.size() - 1));
  errno = error;
  return result;
}

// Counts a call, makes it wait and looks up what the plan has for it.
const CallFault* Begin(File& file, Op op) {
  const std::int64_t call = ++file.calls[op];
  if (const std::int64_t delay = file.delays[op]; delay > 0) {
    const timespec time = {delay / 1'000'000, delay % 1'000'000 * 1000};
    syscall(SYS_nanosleep, &time, nullptr);
  }
  for (const CallFault& fault : file.callFaults) {
    if (fault.op != op || call < fault.first || fault.last < call) continue;
    if (fault.death != nullptr) fault.death();
    return &fault;
  }
  return nullptr;
}

// The first range that is still bad and touches the bytes; null if there is none.
BadRange* FindBad(File& file, std::int64_t from, std::int64_t to) {
  auto range = std::ranges::upper_bound(file.badRanges, from, {}, &BadRange::to);
  for (; range != file.badRanges.end() && range->from < to; ++range) {
    if (std::atomic_ref(range->triesLeft).load() > 0) return &*range;
  }
  return nullptr;
}

std::int64_t Where(int descriptor, std::int64_t position) {
  return position == currentPosition ? syscall(SYS_lseek, descriptor, 0, SEEK_CUR) : position;
}

long RawRead(int descriptor, void* buffer, std::int64_t length, std::int64_t position) {
  return position == currentPosition ? syscall(SYS_read, descriptor, buffer, length)
                                     : syscall(SYS_pread64, descriptor, buffer, length, position);
}

// Moves only `allowed` of `length` bytes, but asks the system for all of them: direct access would refuse the
// odd length that no program has asked for.
long ReadPart(int descriptor, void* buffer, std::int64_t length, std::int64_t position,
              std::int64_t allowed) {
  const std::int64_t from = Where(descriptor, position);
  const long result = std::min(RawRead(descriptor, buffer, length, from), allowed);
  if (result > 0 && position == currentPosition) syscall(SYS_lseek, descriptor, from + result, SEEK_SET);
  return result;
}

long RawWrite(int descriptor, const void* buffer, std::int64_t length, std::int64_t position) {
  return position == currentPosition ? syscall(SYS_write, descriptor, buffer, length)
                                     : syscall(SYS_pwrite64, descriptor, buffer, length, position);
}

// What a read of `length` bytes may move; a failure is minus errno.
std::int64_t AllowedRead(File& file, std::int64_t from, std::int64_t length) {
  if (const CallFault* fault = Begin(file, opRead)) {
    if (fault->error != 0) return -fault->error;
    length = std::min(length, fault->bytes);
  }
  for (const ShortAt& shortRead : file.shortReads) {
    if (shortRead.position == from) length = std::min(length, shortRead.bytes);
  }
  length = std::clamp(file.end - from, std::int64_t{0}, length);
  if (BadRange* bad = FindBad(file, from, from + length)) {
    if (file.partial && bad->from > from) return bad->from - from;
    --std::atomic_ref(bad->triesLeft);
    return -bad->error;
  }
  return length;
}

long Read(int descriptor, void* buffer, std::size_t size, std::int64_t position) {
  File* file = FileOf(descriptor);
  const auto length = static_cast<std::int64_t>(size);
  if (file == nullptr || size == 0) return RawRead(descriptor, buffer, length, position);
  const std::int64_t from = Where(descriptor, position);
  const std::int64_t allowed = AllowedRead(*file, from, length);
  const long result = allowed < 0        ? Fail(static_cast<int>(-allowed))
                      : allowed == 0     ? 0
                      : allowed < length ? ReadPart(descriptor, buffer, length, position, allowed)
                                         : RawRead(descriptor, buffer, length, position);
  return Log(*file, opRead, from, length, result);
}

std::int64_t AllowedWrite(File& file, std::int64_t length) {
  if (const CallFault* fault = Begin(file, opWrite)) {
    if (fault->error != 0) return -fault->error;
    length = std::min(length, fault->bytes);
  }
  const std::int64_t room = file.full - file.written;
  return room <= 0 ? -ENOSPC : std::min(length, room);
}

long Write(int descriptor, const void* buffer, std::size_t size, std::int64_t position) {
  File* file = FileOf(descriptor);
  const auto length = static_cast<std::int64_t>(size);
  if (file == nullptr || size == 0) return RawWrite(descriptor, buffer, length, position);
  const std::int64_t from = Where(descriptor, position);
  const std::int64_t allowed = AllowedWrite(*file, length);
  const long result =
      allowed < 0 ? Fail(static_cast<int>(-allowed)) : RawWrite(descriptor, buffer, allowed, position);
  if (result > 0) file->written += result;
  return Log(*file, opWrite, from, length, result);
}

long Seek(int descriptor, std::int64_t offset, int whence) {
  File* file = FileOf(descriptor);
  if (file == nullptr) return syscall(SYS_lseek, descriptor, offset, whence);
  const CallFault* fault = Begin(*file, opSeek);
  const long result = fault != nullptr ? Fail(fault->error) : syscall(SYS_lseek, descriptor, offset, whence);
  return Log(*file, opSeek, offset, whence, result);
}

int Open(int folder, const char* path, int flags, unsigned mode) {
  File* file = FileAt(folder, path);
  if (file == nullptr) return static_cast<int>(syscall(SYS_openat, folder, path, flags, mode));
  const CallFault* fault = Begin(*file, opOpen);
  const int error = fault != nullptr ? fault->error : file->noDirect && (flags & O_DIRECT) != 0 ? EINVAL : 0;
  const long result = error != 0 ? Fail(error) : syscall(SYS_openat, folder, path, flags, mode);
  if (result >= 0) Follow(static_cast<int>(result), file);
  return static_cast<int>(Log(*file, opOpen, 0, flags, result));
}

int FollowCopy(int from, long to) {
  if (to >= 0) Follow(static_cast<int>(to), FileOf(from));
  return static_cast<int>(to);
}

unsigned ModeOf(int flags, va_list arguments) {
  return (flags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(arguments, unsigned) : 0;
}

}  // namespace

// Each operation under all the names that programs reach it by: the plain one, the 64-bit one, and the one
// that a hardened build calls.
#define EXPORTED extern "C" __attribute__((visibility("default")))

#define DEFINE_OPEN(name)                               \
  EXPORTED int name(const char* path, int flags, ...) { \
    va_list arguments;                                  \
    va_start(arguments, flags);                         \
    const unsigned mode = ModeOf(flags, arguments);     \
    va_end(arguments);                                  \
    return Open(AT_FDCWD, path, flags, mode);           \
  }
#define DEFINE_OPENAT(name)                                         \
  EXPORTED int name(int folder, const char* path, int flags, ...) { \
    va_list arguments;                                              \
    va_start(arguments, flags);                                     \
    const unsigned mode = ModeOf(flags, arguments);                 \
    va_end(arguments);                                              \
    return Open(folder, path, flags, mode);                         \
  }

DEFINE_OPEN(open)
DEFINE_OPEN(open64)
DEFINE_OPENAT(openat)
DEFINE_OPENAT(openat64)
EXPORTED int __open_2(const char* path, int flags) {
  return Open(AT_FDCWD, path, flags, 0);
}
EXPORTED int __open64_2(const char* path, int flags) {
  return Open(AT_FDCWD, path, flags, 0);
}
EXPORTED int __openat_2(int folder, const char* path, int flags) {
  return Open(folder, path, flags, 0);
}
EXPORTED int __openat64_2(int folder, const char* path, int flags) {
  return Open(folder, path, flags, 0);
}

EXPORTED ssize_t read(int descriptor, void* buffer, size_t size) {
  return Read(descriptor, buffer, size, currentPosition);
}
EXPORTED ssize_t __read_chk(int descriptor, void* buffer, size_t size, size_t) {
  return Read(descriptor, buffer, size, currentPosition);
}
EXPORTED ssize_t pread(int descriptor, void* buffer, size_t size, off_t position) {
  return Read(descriptor, buffer, size, position);
}
EXPORTED ssize_t pread64(int descriptor, void* buffer, size_t size, off64_t position) {
  return Read(descriptor, buffer, size, position);
}
EXPORTED ssize_t write(int descriptor, const void* buffer, size_t size) {
  return Write(descriptor, buffer, size, currentPosition);
}
EXPORTED ssize_t pwrite(int descriptor, const void* buffer, size_t size, off_t position) {
  return Write(descriptor, buffer, size, position);
}
EXPORTED ssize_t pwrite64(int descriptor, const void* buffer, size_t size, off64_t position) {
  return Write(descriptor, buffer, size, position);
}

EXPORTED off_t lseek(int descriptor, off_t offset, int whence) noexcept {
  return Seek(descriptor, offset, whence);
}
EXPORTED off64_t lseek64(int descriptor, off64_t offset, int whence) noexcept {
  return Seek(descriptor, offset, whence);
}

EXPORTED int close(int descriptor) {
  Follow(descriptor, nullptr);
  return static_cast<int>(syscall(SYS_close, descriptor));
}

EXPORTED int dup(int descriptor) noexcept {
  return FollowCopy(descriptor, syscall(SYS_dup, descriptor));
}
EXPORTED int dup2(int descriptor, int wanted) noexcept {
  return FollowCopy(descriptor, syscall(SYS_dup2, descriptor, wanted));
}
EXPORTED int dup3(int descriptor, int wanted, int flags) noexcept {
  return FollowCopy(descriptor, syscall(SYS_dup3, descriptor, wanted, flags));
}

#define DEFINE_FCNTL(name)                                                     \
  EXPORTED int name(int descriptor, int command, ...) {                        \
    va_list arguments;                                                         \
    va_start(arguments, command);                                              \
    void* argument = va_arg(arguments, void*);                                 \
    va_end(arguments);                                                         \
    const long result = syscall(SYS_fcntl, descriptor, command, argument);     \
    const bool copies = command == F_DUPFD || command == F_DUPFD_CLOEXEC;      \
    return copies ? FollowCopy(descriptor, result) : static_cast<int>(result); \
  }
DEFINE_FCNTL(fcntl)
DEFINE_FCNTL(fcntl64)

EXPORTED clock_t times(tms* used) noexcept {
  return firstTick + (syscall(SYS_times, used) - firstTick) * clockRate;
}

// Would move data past the shim; a program that is refused goes back to reading and writing.
EXPORTED ssize_t copy_file_range(int from, off64_t* fromPosition, int to, off64_t* toPosition, size_t size,
                                 unsigned flags) {
  if (FileOf(from) != nullptr || FileOf(to) != nullptr) return Fail(ENOSYS);
  return syscall(SYS_copy_file_range, from, fromPosition, to, toPosition, size, flags);
}
