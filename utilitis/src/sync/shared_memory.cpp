#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <new>
#include <utility>

#include <qorv/detail/shared_memory.h>

#include "error/message.h"
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

// For what only a dead process leaves waiting, and for a reader whose writer has yet to start.
constexpr int patience = 1000;

void Pause() noexcept {
  ::usleep(1000);
}

// How many blocks this process is making.
constinit std::atomic<int> makers{0};

// A number that is this process's own may be that of one that died before it.
bool IsAtWork(std::int64_t process) noexcept {
  if (process == ::getpid()) return makers.load() != 0;
  return ::kill(static_cast<pid_t>(process), 0) == 0 || errno != ESRCH;
}

class CDescriptor {
 public:
  explicit CDescriptor(int number) noexcept : number_(number) {}
  CDescriptor(const CDescriptor&) = delete;
  CDescriptor& operator=(const CDescriptor&) = delete;
  ~CDescriptor() { ::close(number_); }
  operator int() const noexcept { return number_; }  // NOLINT(google-explicit-constructor)

 private:
  int number_;
};

}  // namespace

// In front of the block; its size keeps the block aligned for anything.
struct CShMem::HEAD {
  static constexpr std::int64_t raw = 0;
  static constexpr std::int64_t ready = -1;
  static constexpr std::uint64_t size = 64;

  std::atomic<std::int64_t> state;  // raw, ready, or the process that makes it
};

CShMem::CShMem(const stringEx& name, std::uint64_t size, int access, std::uint32_t permissions)
    : name_(IMPL::SharedName(name)), size_(size) {
  static_assert(std::atomic<std::int64_t>::is_always_lock_free, "a lock of one process is none for others");
  constexpr const char* heading = "CShMem::CShMem - failed open shared memory\n";
  const std::uint64_t whole = size + HEAD::size;
  if (whole < size || whole > static_cast<std::uint64_t>(INT64_MAX)) Refuse(heading, EFBIG, fileCode::resize);
  const CDescriptor descriptor(OpenOrCreate(access, permissions));
  if (AwaitSize(descriptor, access) < whole) Refuse(heading, EEXIST, fileCode::open);
  const int protection = access == O_RDONLY ? PROT_READ : PROT_READ | PROT_WRITE;
  void* const start = ::mmap(nullptr, whole, protection, MAP_SHARED, descriptor, 0);
  if (start == MAP_FAILED) Refuse("CShMem::CShMem - failed map shared memory\n", errno, fileCode::createView);
  head_ = static_cast<HEAD*>(start);
  block_ = static_cast<unsigned char*>(start) + HEAD::size;
  if (access == O_RDONLY) {
    for (int left = patience; head_->state.load(std::memory_order_acquire) != HEAD::ready; --left) {
      if (left == 0) {
        ::munmap(start, whole);
        Refuse(heading, ENOENT, fileCode::open);
      }
      Pause();
    }
  } else if (TakeOrAwait()) {
    isCreated_ = true;
    std::memset(block_, 0, size_);
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

// The name may come and go between two looks at it.
int CShMem::OpenOrCreate(int access, std::uint32_t permissions) {
  const auto mode = static_cast<mode_t>(permissions);
  for (int left = patience;; --left) {
    const int create = access == O_RDONLY ? 0 : O_CREAT;
    const int descriptor = RetryOnEintr([&] { return ::shm_open(name_.data(), access | create, mode); });
    if (descriptor >= 0) return descriptor;
    if (access != O_RDONLY || errno != ENOENT || left == 0)
      Refuse("CShMem::CShMem - failed open shared memory\n", errno, fileCode::open);
    Pause();
  }
}

// The size of what is there. New memory has none: whoever may write gives it the size that he wants, and where two do so at
// once, the larger stays.
std::uint64_t CShMem::AwaitSize(int descriptor, int access) const {
  constexpr const char* heading = "CShMem::CShMem - failed set size of shared memory\n";
  for (int left = patience;; --left) {
    struct stat status;
    if (::fstat(descriptor, &status) != 0) Refuse(heading, errno, fileCode::resize);
    if (status.st_size != 0 || (access == O_RDONLY && left == 0))
      return static_cast<std::uint64_t>(status.st_size);
    if (access == O_RDONLY) {
      Pause();
      continue;
    }
    // Memory that is there for sure: to write where there is none would end the process.
    const int error = ::posix_fallocate(descriptor, 0, static_cast<off_t>(size_ + HEAD::size));
    if (error != 0 && error != EINTR) Refuse(heading, error, fileCode::resize);
  }
}

// True if it is this one that has to make the block.
bool CShMem::TakeOrAwait() const {
  for (;;) {
    std::int64_t state = head_->state.load(std::memory_order_acquire);
    if (state == HEAD::ready) return false;
    if (state == HEAD::raw || !IsAtWork(state)) {
      makers.fetch_add(1);
      if (head_->state.compare_exchange_strong(state, ::getpid())) return true;
      makers.fetch_sub(1);
    }
    Pause();
  }
}

void CShMem::SetReady() noexcept {
  EndMaking(HEAD::ready);
}

// Nothing, if it has ended.
void CShMem::EndMaking(std::int64_t state) noexcept {
  std::int64_t self = ::getpid();
  if (isCreated_ && head_->state.compare_exchange_strong(self, state)) makers.fetch_sub(1);
}

void CShMem::Release() {
  if (block_ == nullptr) return;
  if (isCreated_) {
    EndMaking(HEAD::raw);        // not made: the next one will
    ::shm_unlink(name_.data());  // it may be gone
  }
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
