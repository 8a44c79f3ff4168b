#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include <qorv/detail/shared_memory.h>

#include "error/message.h"
#include "file/dir_common.h"
#include "file/narrow.h"
#include "misc/posix/platform.h"
#include "sync/shared_name.h"

namespace Qorv {
namespace {

using IMPL::CMessage;
using IMPL::RetryOnEintr;

constexpr IMPL::ErrnoText openTexts[] = {
    {EACCES, "access denied"},
    {EINVAL, "unsupport name or size"},
    {ENAMETOOLONG, "shared memory name is too long"},
    {ENOENT, "the shared memory does not exist"},
    {EEXIST, "the shared memory is smaller than that"},
    {EMFILE, "too many file descriptors are currently open in this process"},
    {ENFILE, "too many files are currently open in the system"},
    {ENOMEM, "insufficient memory"},
    {ENOSPC, "insufficient memory"},
    {EFBIG, "size too big"},
};

// How long an opener that only reads waits for one who makes the memory.
constexpr std::chrono::milliseconds patience{1000};

void Pause() noexcept {
  std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

struct stat StatusOf(int descriptor) noexcept {
  struct stat status {};
  ::fstat(descriptor, &status);
  return status;
}

}  // namespace

// In front of the block; its size keeps the block aligned for anything.
struct CShMem::HEAD {
  static constexpr std::uint64_t ready = 0x51564d4d54534852;
  static constexpr std::uint64_t size = 64;

  std::atomic<std::uint64_t> state;  // 0 until it is ready
};

// Whoever makes the block holds a lock of the system on its file, which goes with the process however that ends; so does each
// opener, while he looks.
CShMem::CShMem(const stringEx& name, std::uint64_t size, int access, std::uint32_t permissions)
    : name_(IMPL::SharedName(name)), size_(size) {
  Open(access, permissions, false);
}

CShMem::CShMem(ALONE, const stringEx& name, std::uint64_t size) : name_(IMPL::SharedName(name)), size_(size) {
  Open(O_RDWR, 0666, true);
}

void CShMem::Open(int access, std::uint32_t permissions, bool isAlone) {
  static_assert(std::atomic<std::uint64_t>::is_always_lock_free, "a lock of one process is none for others");
  const std::uint64_t whole = size_ + HEAD::size;
  if (whole < size_ || whole > static_cast<std::uint64_t>(INT64_MAX))
    Refuse("CShMem::CShMem - failed open shared memory\n", EFBIG, fileCode::resize);
  const auto end = std::chrono::steady_clock::now() + patience;
  while (!TryOpen(access, permissions, isAlone)) {
    if (access == O_RDONLY && std::chrono::steady_clock::now() >= end)
      Refuse("CShMem::CShMem - failed open shared memory\n", ENOENT, fileCode::open);
    if (access == O_RDONLY) Pause();
  }
}

CShMem::CShMem(const wstringEx& name, std::uint64_t size, int access, std::uint32_t permissions)
    : CShMem(IMPL::NarrowForSystem(name), size, access, permissions) {}

CShMem::~CShMem() noexcept(false) {
  IMPL::DropWhileUnwinding([this] { Release(); });
}

void CShMem::Refuse(const char* heading, int error, std::uint32_t code) const {
  CMessage(heading)
      .Field("  memory name = ", name_)
      .Field("  memory size = ", size_)
      .Errno("  error code  = ", "  error desc  = ", IMPL::NameError(name_, error), openTexts)
      .Throw<shmemExp>(code);
}

// False if the name has gone meanwhile, or there is nothing yet to be read.
bool CShMem::TryOpen(int access, std::uint32_t permissions, bool isAlone) {
  constexpr const char* heading = "CShMem::CShMem - failed open shared memory\n";
  const bool readsOnly = access == O_RDONLY;
  IMPL::CDescriptor descriptor(RetryOnEintr([&] {
    return ::shm_open(name_.data(), readsOnly ? access : access | O_CREAT, static_cast<mode_t>(permissions));
  }));
  if (descriptor.Get() < 0) {
    if (readsOnly && errno == ENOENT) return false;
    Refuse(heading, errno, fileCode::open);
  }
  if (RetryOnEintr([&] { return ::flock(descriptor.Get(), readsOnly ? LOCK_SH : LOCK_EX); }) != 0)
    Refuse(heading, errno, fileCode::open);
  const struct stat found = StatusOf(descriptor.Get());
  if (found.st_nlink == 0) return false;
  std::uint64_t state = 0;
  const bool hasHead = ::pread(descriptor.Get(), &state, sizeof(state), 0) == sizeof(state);
  const bool isReady = hasHead && state == HEAD::ready;
  if (!isReady && readsOnly) return false;
  if (state != 0 && !isReady) Refuse(heading, EINVAL, fileCode::open);  // somebody else's
  const std::uint64_t whole = size_ + HEAD::size;
  if (isReady && static_cast<std::uint64_t>(found.st_size) < whole) Refuse(heading, EEXIST, fileCode::open);
  if (!isReady) SetSize(descriptor.Get());
  const int protection = readsOnly ? PROT_READ : PROT_READ | PROT_WRITE;
  void* const start = ::mmap(nullptr, whole, protection, MAP_SHARED, descriptor.Get(), 0);
  if (start == MAP_FAILED) {
    const int error = errno;
    if (!isReady) ::shm_unlink(name_.data());
    Refuse("CShMem::CShMem - failed map shared memory\n", error, fileCode::createView);
  }
  head_ = static_cast<HEAD*>(start);
  block_ = static_cast<unsigned char*>(start) + HEAD::size;
  if (!isReady) {
    isCreated_ = true;
    file_ = found.st_ino;
  }
  owner_ = ::getpid();
  if (!isReady || isAlone) {
    maker_ = descriptor.Disclaim();
  } else {
    ::flock(descriptor.Get(), LOCK_UN);  // the mapping would keep it
  }
  return true;
}

// Of new memory, or of what a dead maker has left. Memory that is there for sure: to write where there is none would end the
// process. By pieces, as a signal makes the system begin anew.
void CShMem::SetSize(int descriptor) const {
  constexpr std::uint64_t piece = 1 << 20;
  const std::uint64_t whole = size_ + HEAD::size;
  int error = RetryOnEintr([&] { return ::ftruncate(descriptor, 0); }) == 0 ? 0 : errno;
  for (std::uint64_t at = 0; at < whole && error == 0; at += piece) {
    do {
      error = ::posix_fallocate(descriptor, static_cast<off_t>(at),
                                static_cast<off_t>(std::min(piece, whole - at)));
    } while (error == EINTR);
  }
  if (error == 0) return;
  ::shm_unlink(name_.data());
  Refuse("CShMem::CShMem - failed set size of shared memory\n", error, fileCode::resize);
}

void CShMem::SetReady() noexcept {
  if (maker_ < 0) return;
  head_->state.store(HEAD::ready, std::memory_order_release);
  EndMaking();
}

void CShMem::EndMaking() noexcept {
  if (maker_ < 0) return;
  if (owner_ == ::getpid()) ::flock(maker_, LOCK_UN);  // a child that was forked off shares the lock
  ::close(std::exchange(maker_, -1));
}

// Waits no longer than an opener needs: one who is stopped must not stop the end as well.
int CShMem::LockName(const stringEx& name) noexcept {
  const int descriptor = RetryOnEintr([&] { return ::shm_open(name.data(), O_RDONLY, 0); });
  const auto end = std::chrono::steady_clock::now() + patience;
  while (descriptor >= 0 && ::flock(descriptor, LOCK_EX | LOCK_NB) != 0 &&
         std::chrono::steady_clock::now() < end)
    Pause();
  return descriptor;
}

// Only of the name of this very memory, and by the process that made it: a child that was forked off has the object as well.
bool CShMem::BeginRemoval() noexcept {
  if (!isCreated_ || owner_ != ::getpid()) return false;
  if (maker_ < 0) maker_ = LockName(name_);
  if (maker_ < 0) return false;
  const struct stat status = StatusOf(maker_);
  return status.st_ino == file_ && status.st_nlink != 0;
}

void CShMem::Release() {
  if (block_ == nullptr) return;
  if (BeginRemoval()) ::shm_unlink(name_.data());
  EndMaking();  // if it is not made, whoever waits begins anew
  block_ = nullptr;
  if (::munmap(std::exchange(head_, nullptr), size_ + HEAD::size) != 0)
    Refuse("CShMem::Release - failed unmap shared memory\n", errno, fileCode::releaseView);
}

bool CShMem::Remove(const stringEx& name) {
  const stringEx whole = IMPL::SharedName(name);
  if (::shm_unlink(whole.data()) == 0) return true;
  const int error = errno;
  if (error == ENOENT) return false;
  CMessage("CShMem::Remove - failed remove shared memory\n")
      .Field("  memory name = ", whole)
      .Errno("  error code  = ", "  error desc  = ", error, openTexts)
      .Throw<shmemExp>(fileCode::close);
}

}  // namespace Qorv
