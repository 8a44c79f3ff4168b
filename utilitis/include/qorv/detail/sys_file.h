// One descriptor of the operating system.
#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

#include <qorv/error.h>
#include <qorv/string.h>
#include <qorv/time.h>

namespace Qorv {

/// Bits of the `options` of CSysFile::Open.
namespace fileOption {
inline constexpr std::uint32_t direct = 1;       ///< uncached access, where the system grants it
inline constexpr std::uint32_t synchronous = 2;  ///< each write reaches the device before it returns
inline constexpr std::uint32_t reserved = 4;     ///< accepted and without effect
}  // namespace fileOption

/// Values of the `share` of CSysFile::Open: the advisory lock on the whole file, taken without waiting.
namespace fileShare {
inline constexpr std::uint32_t none = 0;
inline constexpr std::uint32_t shared = 1;
inline constexpr std::uint32_t exclusive = 2;
}  // namespace fileShare

/// A value that refers to one descriptor of the operating system; copies share it, and the last one closes
/// it.
///
/// state     | descriptor | counter | comes from                          | its end
/// ----------|------------|---------|-------------------------------------|--------------------------------
/// closed    | -1         | none    | nothing yet, Close                  |
/// owning    | the file's | shared  | Open, ReOpen, Duplicate, Adopt      | closes with the last copy
/// borrowing | the file's | none    | Open of a standard stream, Disclaim | leaves the descriptor open
///
/// Failures are sysfileExp with a number of fileCode. The object has no lock: copies may live in different
/// threads, but one object must not be changed while another thread uses it. Positions, lengths and sizes are
/// in bytes.
///
/// A file opened for direct access on a system that refuses a read by its address, position or length goes
/// over to ordinary access at the first refusal, for all copies and for good, with one warning to the log.
class CSysFile {
 public:
  CSysFile() noexcept = default;
  CSysFile(const CSysFile& other) noexcept;
  CSysFile& operator=(const CSysFile& other);
  /// Releases the descriptor. A failure of closing (code 6) is thrown unless another exception is unwinding.
  ~CSysFile() noexcept(false);

  /// Opens `path`, made absolute first. `access` and `create` are the system's open flags, passed on
  /// together; `share` is one of fileShare; `permissions` is the mode of a file that is created; `options`
  /// are bits of fileOption. On success the descriptor held before is released. On failure the path is empty
  /// and the descriptor held before stays; code 4. Should the release of the old descriptor fail, code 6, the
  /// new one is held all the same, without a path.
  void Open(const stringEx& path, int access, int create, std::uint32_t share, std::uint32_t permissions,
            std::uint32_t options);
  void Open(const wstringEx& path, int access, int create, std::uint32_t share, std::uint32_t permissions,
            std::uint32_t options);
  /// Borrows a standard stream: 0 input, 1 output, 2 error. What was held before is released; the path is
  /// empty. Code 4 for any other number, which leaves the object closed.
  void Open(std::uint32_t consoleType);
  /// The same as with a path without making it absolute.
  void OpenRaw(const stringEx& path, int access, int create, std::uint32_t share, std::uint32_t permissions,
               std::uint32_t options);
  void OpenRaw(const wstringEx& path, int access, int create, std::uint32_t share, std::uint32_t permissions,
               std::uint32_t options);
  /// Opens the path of `source` once more, with a position of its own; mode 0666, should the file be gone and
  /// `access` create it. Code 4, also for a source without a path. `source` stays as it is.
  static CSysFile ReOpen(const CSysFile& source, int access, std::uint32_t share, std::uint32_t options);
  /// Another descriptor for the same open file, which shares its position, with a counter of its own. Code 36.
  static CSysFile Duplicate(const CSysFile& source);

  /// Reads up to `length` bytes at the file's position in one system call, repeated only when a signal
  /// interrupts it. Returns the number of bytes read, cut to 32 bits; 0 is the end of the file, and a short
  /// count is a success. Code 7.
  std::uint32_t Read(void* buffer, std::uint64_t length);
  /// Writes up to `length` bytes in one system call, repeated only when a signal interrupts it. Returns what
  /// was written, which may be less. Code 9, for a broken pipe 34.
  std::uint64_t Write(const void* buffer, std::uint64_t length);
  /// Brings what was written to the device. Code 15.
  void Flush();
  /// Lets go of the descriptor, which is closed with the last copy. The object is closed after it, whether it
  /// owned or borrowed. Code 6.
  void Close();
  /// Gives the descriptor to the caller, who closes it from then on; the object borrows it. Code 37 where the
  /// descriptor is not owned, or shared with a copy: all stays as it was.
  std::int64_t Disclaim();
  /// A file for an open descriptor, which is the file's from then on. It has no path. std::bad_alloc leaves the descriptor
  /// to the caller.
  static CSysFile Adopt(std::int64_t descriptor);

  /// Locks between processes on a range of the file, counted from its start; a length of 0 is all up to the end,
  /// however the file grows. `type` is F_RDLCK or F_WRLCK. The system gives all locks of a process up when the
  /// process closes any descriptor of the file. Lock waits; TryLock is false where another process holds the range.
  /// Code 20, for Unlock 22.
  bool Lock(const std::int64_t& from, const std::int64_t& length, int type);
  bool TryLock(const std::int64_t& from, const std::int64_t& length, int type);
  bool Unlock(const std::int64_t& from, const std::int64_t& length);

  /// Move the position, counted from the start, from where it is, from the end. Code 13.
  void SeekBegin(const std::int64_t& position);
  void SeekCurrent(const std::int64_t& offset);
  void SeekEnd(const std::int64_t& offset);
  /// Code 14.
  std::int64_t GetCurrentPos() const;
  /// Cuts or extends the file to end at the position. Code 23; a failure to find the position is that of
  /// GetCurrentPos.
  void ResizeToCurrentPos();
  /// The size, found by a seek to the end, so it serves devices as well; the position stays. Code 17.
  std::int64_t GetSize() const;
  /// Either pointer may be null. `sectorSize` in bytes: of the device itself for a path below /dev/, of the
  /// volume for any other. Code 35; a failure to find the size is that of GetSize.
  void GetStorageInfo(std::uint32_t* sectorSize, std::int64_t* size);
  /// Times of the file, in whole seconds, less the offset of the system's zone. Any pointer may be null. The time
  /// of creation is not known here: `creation` becomes the unknown time. Code 18.
  void GetTime(CTime* creation, CTime* access, CTime* modification) const;
  /// Sets, by the stored path, what GetTime tells. `creation` is without effect, and a time that is not given stays.
  /// With neither access nor modification nothing is done. Code 19, or that of GetTime.
  void SetTime(const CTime* creation, const CTime* access, const CTime* modification);

  /// True if the stored path begins with "/dev/".
  bool IsDevice() const noexcept;
  /// The path that was opened; empty when nothing is open.
  const stringEx& GetPath() const noexcept { return path_; }
  std::int64_t GetSysHandle() const noexcept { return descriptor_; }

 private:
  using Counter = std::atomic<std::int64_t>;

  static int PosixOpenFile(const stringEx& path, int access, int create, std::uint32_t share,
                           std::uint32_t permissions, std::uint32_t options);
  static void SetShareMode(int descriptor, std::uint32_t mode, const stringEx& path);
  static std::int64_t PosixSeekFile(std::int64_t descriptor, std::int64_t offset, int whence);
  static bool PosixLockFile(std::int64_t descriptor, std::int64_t from, std::int64_t length, int type,
                            bool wait);
  static bool PosixUnlockFile(std::int64_t descriptor, std::int64_t from, std::int64_t length);
  void Seek(std::string_view heading, std::int64_t offset, int whence);
  static void __Close(std::int64_t descriptor);
  std::uint32_t DeviceSectorSize() const;
  std::uint32_t VolumeSectorSize() const;
  int Handle() const noexcept { return static_cast<int>(descriptor_); }
  void Swap(CSysFile& other) noexcept;
  void Release();

  std::int64_t descriptor_ = -1;
  Counter* counter_ = nullptr;  // shared by the copies; absent when nothing is open, or nothing is owned
  stringEx path_;
};

}  // namespace Qorv
