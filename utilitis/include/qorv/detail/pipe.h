// Pipes: unnamed, by name, and to a command.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

#include <qorv/detail/sys_file.h>

namespace Qorv {

/// One or both ends of a pipe. Both ends of an unnamed one serve a child of the process, or two of its threads; an end that
/// only others use is to be closed here, or its fellow never meets the end of the data.
///
/// state   | ends held       | comes from         | Close
/// --------|-----------------|--------------------|---------------------------
/// closed  | none            | nothing yet, Close | does nothing, gives 0
/// unnamed | both            | Create             | closes them, gives 0
/// named   | one, or both    | Open               | closes them, gives 0
/// command | one             | Run                | closes it, waits for the command, gives its status
///
/// Failures are pipeExp with a number of fileCode. One thread may read while another writes; other operations, with moves
/// among them, are for one thread at a time. A write to a pipe that nobody reads is a failure, and no signal.
class CPipe {
 public:
  CPipe() noexcept = default;
  CPipe(CPipe&& other) noexcept;
  CPipe& operator=(CPipe&& other);
  /// Closes, and waits for a command; a failure is thrown unless another exception is unwinding.
  ~CPipe() noexcept(false);

  /// A pipe without a name. Code 3.
  void Create();
  /// The pipe at `path`, which is made, with these permissions, where nothing stands there. `access` is O_RDONLY, O_WRONLY or
  /// O_RDWR; the first two wait until somebody has the other end, but not with O_NONBLOCK, where the writer
  /// fails instead. With the third both ends are one descriptor, which never meets the end of the data. Something else than a pipe at the path is refused. The name stays until it is removed. Code 4.
  void Open(const stringEx& path, int access, std::uint32_t permissions = 0666);
  void Open(const wstringEx& path, int access, std::uint32_t permissions = 0666);
  /// Starts a command of the shell, with no signal blocked or ignored, with its output to be read here, or, with `writes`, its input to be written. Code 3.
  void Run(const stringEx& command, bool writes = false);

  /// Up to `size` bytes; waits for the first. 0 when all writers are gone. Code 3.
  std::size_t Read(void* buffer, std::size_t size);
  /// All of `size` bytes; waits for room. Code 9, where nobody reads 34; a part may have been taken.
  void Write(const void* data, std::size_t size);
  void CloseReadEnd();
  void CloseWriteEnd();
  /// What waitpid tells of a command, or 0. Code 6.
  int Close();

  /// Descriptors; -1 where the end is not held.
  std::int64_t GetReadHandle() const noexcept { return read_.GetSysHandle(); }
  std::int64_t GetWriteHandle() const noexcept { return write_.GetSysHandle(); }

 private:
  CSysFile read_;
  CSysFile write_;
  pid_t command_ = 0;
};

}  // namespace Qorv
