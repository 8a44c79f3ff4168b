// Memory that processes share by its name.
#pragma once

#include <sys/types.h>

#include <cstdint>

#include <qorv/error.h>
#include <qorv/string.h>

namespace Qorv {

/// A block of memory that all processes which give the same name see, zeros when it is new.
///
/// Exactly one opener finds the block new: IsCreated tells it so. Until it calls SetReady, all others wait in their
/// constructors, so that nobody sees a block half-made. Should it let go, or its process die, before that, the next one takes
/// its place, and finds a new block.
///
/// The opener that found it new removes the name when it lets go, if it still is that of this block, and not in a child that
/// was forked off; who has the block keeps it, and who gives the name later gets a new one. So the process that lives longest
/// should be the first. A name whose first opener was killed stays with what the block held, until Remove or the system's end.
///
/// A "/" is put in front of a name that has none. Failures are shmemExp with a number of fileCode. One thread at a time uses
/// the object; what the threads and processes do inside the block is theirs to order.
class CShMem {
 public:
  /// `size` in bytes; a block that is there already may be larger. `access` is O_RDWR, or O_RDONLY for a block that others
  /// make: its opener waits while it is made, and up to a second for one, and fails with ENOENT. Memory of that name that is
  /// none of this class is refused. Code 4, for memory that cannot be had 23, for addresses 27.
  CShMem(const stringEx& name, std::uint64_t size, int access, std::uint32_t permissions = 0666);
  CShMem(const wstringEx& name, std::uint64_t size, int access, std::uint32_t permissions = 0666);
  CShMem(const CShMem&) = delete;
  CShMem& operator=(const CShMem&) = delete;
  /// Lets go; a failure is thrown unless another exception is unwinding.
  ~CShMem() noexcept(false);

  /// The block, at an address of its own in each process; null behind Release.
  void* GetPointer() const noexcept { return block_; }
  std::uint64_t GetSize() const noexcept { return size_; }
  const stringEx& GetName() const noexcept { return name_; }
  bool IsCreated() const noexcept { return isCreated_; }

  /// For the one that found the block new: lets the others in.
  void SetReady() noexcept;
  /// Lets go now. A second time does nothing. Code 28, and it is let go of all the same.
  void Release();
  /// Removes a name, whoever has the block. False if there is none. Code 6.
  static bool Remove(const stringEx& name);

 protected:
  // For what has a second name, which belongs to the first one: whether or not the block is new, all others wait, until
  // SetReady is called.
  struct ALONE {};
  CShMem(ALONE, const stringEx& name, std::uint64_t size);
  // Make openers wait until this object, or the descriptor, goes: they find both names then, or none. False, or -1, if there
  // is no such name, or it is not this object's to be removed.
  bool BeginRemoval() noexcept;
  static int LockName(const stringEx& name) noexcept;

 private:
  struct HEAD;

  void Open(int access, std::uint32_t permissions, bool isAlone);
  bool TryOpen(int access, std::uint32_t permissions, bool isAlone);
  void SetSize(int descriptor) const;
  void EndMaking() noexcept;
  [[noreturn]] void Refuse(const char* heading, int error, std::uint32_t code) const;

  stringEx name_;
  std::uint64_t size_;
  HEAD* head_ = nullptr;
  void* block_ = nullptr;
  bool isCreated_ = false;
  int maker_ = -1;  // the locked file, as long as others are to wait
  pid_t owner_ = 0;
  ino_t file_ = 0;
};

}  // namespace Qorv
