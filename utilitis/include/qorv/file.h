// Files and devices, directories, the console terminal.
#pragma once

#include <termios.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <string_view>

#include <qorv/error.h>
#include <qorv/string.h>
#include <qorv/sync.h>

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
/// Failures are sysfileExp with a number of fileCode. The object has no lock: copies may live in different
/// threads, but one object must not be changed while another thread uses it. Positions and sizes are in
/// bytes.
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
  /// The same without making the path absolute.
  void OpenRaw(const stringEx& path, int access, int create, std::uint32_t share, std::uint32_t permissions,
               std::uint32_t options);

  /// Reads up to `length` bytes at the file's position in one system call, repeated only when a signal
  /// interrupts it. Returns the number of bytes read, cut to 32 bits; 0 is the end of the file, and a short
  /// count is a success. Code 7.
  std::uint32_t Read(void* buffer, std::uint64_t length);
  /// Writes up to `length` bytes in one system call, repeated only when a signal interrupts it. Returns what
  /// was written, which may be less. Code 9, for a broken pipe 34.
  std::uint64_t Write(const void* buffer, std::uint64_t length);
  /// Brings what was written to the device. Code 15.
  void Flush();
  /// Lets go of the descriptor, which is closed with the last copy. Code 6.
  void Close();
  /// Moves the position, counted from the start. Code 13.
  void SeekBegin(const std::int64_t& position);
  /// The size, found by a seek to the end, so it serves devices as well; the position stays. Code 17.
  std::int64_t GetSize();
  /// Either pointer may be null. `sectorSize` in bytes: of the device itself for a path below /dev/, of the
  /// volume for any other. Code 35; a failure to find the size is that of GetSize.
  void GetStorageInfo(std::uint32_t* sectorSize, std::int64_t* size);

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
  static void __Close(std::int64_t descriptor);
  std::uint32_t DeviceSectorSize() const;
  std::uint32_t VolumeSectorSize() const;
  int Handle() const noexcept { return static_cast<int>(descriptor_); }
  void Swap(CSysFile& other) noexcept;

  std::int64_t descriptor_ = -1;
  Counter* counter_ = nullptr;  // shared by the copies; absent when nothing is open, or nothing is owned
  stringEx path_;
};

/// Directory and path services. All failures are dirExp.
class CDir {
 public:
  /// What GetStorageTopology tells of a volume, in bytes.
  struct TOPOLOGY {
    std::uint32_t sectorSize = 0;
  };

  /// Makes `path` absolute in place: "~/" is expanded from HOME, where that is set, and a relative path is
  /// joined to the working directory. Nothing else of it changes. Code 1: an empty path, a working directory
  /// that is gone.
  static void ConvToFullPath(stringEx& path);
  /// The top of the volume that holds `path`, as GetStorageTopology takes it. The path need not exist: its
  /// nearest existing parent counts. Code 1.
  static stringEx GetPathVolume(const stringEx& path);
  /// The layout of the volume that holds `volume`, any existing path on it. Where no block device stands
  /// behind the volume the sector size is its smallest unit of allocation. Code 2.
  static TOPOLOGY GetStorageTopology(const stringEx& volume);
};

/// A key as TTerminal::ReadKey fills it.
struct KEYEVENT {
  std::uint16_t code = 0;    ///< 0 for a plain character
  std::uint16_t repeat = 0;  ///< 0 for a plain character
  char ch = 0;
  std::uint32_t state = 0;  ///< 0 for a plain character
};

/// A window's size in character cells.
struct WINDOWSIZE {
  std::uint16_t rows = 0;
  std::uint16_t columns = 0;
};

/// A text terminal. Failures are sysfileExp.
class TTerminal {
 public:
  virtual ~TTerminal() noexcept(false) = default;

  /// A new terminal on the heap, owned by the caller: one like this, and one with the echo as given.
  virtual std::unique_ptr<TTerminal> Clone() const = 0;
  virtual std::unique_ptr<TTerminal> Clone(bool echo) const = 0;
  /// Blocks until a key is pressed. Only the fields that the key has are filled: none when the terminal has
  /// ended meanwhile. On a terminal that has gone before it throws.
  virtual void ReadKey(KEYEVENT& key) = 0;
  /// The same for up to `milliseconds`, without limit for waitForever; true if a key came. Of several keys
  /// that are there the first is given, and the others by the reads that follow.
  virtual bool ReadKey(KEYEVENT& key, std::uint32_t milliseconds) = 0;
  /// Reads a line into `out`, without its line end; characters beyond `limit` are passed over. Back space
  /// takes back the last character. A terminal that ends gives what has been read of the line.
  virtual void ReadLine(stringEx& out, std::uint64_t limit) = 0;
  /// Whether keys are written back when they are read from the terminal. Off at first.
  virtual void SetEcho(bool on) = 0;
  virtual bool GetEcho() const = 0;
  /// ReadLine that writes `eraseText` for each character taken back.
  virtual void ReadLine(stringEx& out, std::uint64_t limit, const stringEx& eraseText) = 0;
  /// All forms of writing return when the whole text is with the system. Wide text goes out in UTF-8.
  virtual void WriteChar(char c) = 0;
  virtual void WriteChar(wchar_t c) = 0;
  virtual void Write(const stringEx& text) = 0;
  virtual void Write(const wstringEx& text) = 0;
  virtual void GetCursorPos(std::uint16_t& row, std::uint16_t& column) = 0;
  virtual void GetCursorPos(WINDOWSIZE& position) = 0;
  virtual void GetWindowSize(WINDOWSIZE& size) = 0;
  virtual void SetWindowSize(const WINDOWSIZE& size) = 0;
  /// Colours of what is written next, numbered 0 to 15: dark and then bright black, blue, green, cyan, red,
  /// magenta, yellow, white. Higher bits of a number are ignored.
  virtual void SetColor(std::uint32_t background, std::uint32_t foreground) = 0;

  virtual TTerminal& operator<<(bool value) = 0;
  virtual TTerminal& operator<<(char value) = 0;
  virtual TTerminal& operator<<(wchar_t value) = 0;
  virtual TTerminal& operator<<(short value) = 0;
  virtual TTerminal& operator<<(unsigned short value) = 0;
  virtual TTerminal& operator<<(int value) = 0;
  virtual TTerminal& operator<<(unsigned int value) = 0;
  virtual TTerminal& operator<<(long value) = 0;
  virtual TTerminal& operator<<(unsigned long value) = 0;
  virtual TTerminal& operator<<(long long value) = 0;
  virtual TTerminal& operator<<(unsigned long long value) = 0;
  virtual TTerminal& operator<<(float value) = 0;
  virtual TTerminal& operator<<(double value) = 0;
  virtual TTerminal& operator<<(long double value) = 0;
  virtual TTerminal& operator<<(const void* value) = 0;
  virtual TTerminal& operator<<(const char* text) = 0;
  virtual TTerminal& operator<<(const wchar_t* text) = 0;
  virtual TTerminal& operator<<(const stringEx& text) = 0;
  virtual TTerminal& operator<<(const wstringEx& text) = 0;
};

/// The process's controlling terminal.
///
/// While an object lives, keys come one at a time and unechoed; Ctrl-C keeps working. The destructor puts
/// back the attributes that the constructor found. Objects may overlap: each puts back what it found, so the
/// user's settings return with the oldest. Reading is guarded by a lock over the keys read ahead; writing
/// takes no lock.
class CConsoleTerm final : public TTerminal {
 public:
  /// Throws sysfileExp where the process has no controlling terminal (code 4), or where the terminal refuses
  /// the attributes (code 35, as for the window's size).
  CConsoleTerm();
  CConsoleTerm(const CConsoleTerm&) = delete;
  CConsoleTerm& operator=(const CConsoleTerm&) = delete;
  ~CConsoleTerm() noexcept override;

  std::unique_ptr<TTerminal> Clone() const override;
  std::unique_ptr<TTerminal> Clone(bool echo) const override;
  void ReadKey(KEYEVENT& key) override;
  bool ReadKey(KEYEVENT& key, std::uint32_t milliseconds) override;
  void ReadLine(stringEx& out, std::uint64_t limit) override;
  void SetEcho(bool on) override;
  bool GetEcho() const override;
  void ReadLine(stringEx& out, std::uint64_t limit, const stringEx& eraseText) override;
  void WriteChar(char c) override;
  void WriteChar(wchar_t c) override;
  void Write(const stringEx& text) override;
  void Write(const wstringEx& text) override;
  /// Not to be had on this platform: both throw code 11.
  void GetCursorPos(std::uint16_t& row, std::uint16_t& column) override;
  void GetCursorPos(WINDOWSIZE& position) override;
  void GetWindowSize(WINDOWSIZE& size) override;
  void SetWindowSize(const WINDOWSIZE& size) override;
  void SetColor(std::uint32_t background, std::uint32_t foreground) override;

  TTerminal& operator<<(bool value) override;
  TTerminal& operator<<(char value) override;
  TTerminal& operator<<(wchar_t value) override;
  TTerminal& operator<<(short value) override;
  TTerminal& operator<<(unsigned short value) override;
  TTerminal& operator<<(int value) override;
  TTerminal& operator<<(unsigned int value) override;
  TTerminal& operator<<(long value) override;
  TTerminal& operator<<(unsigned long value) override;
  TTerminal& operator<<(long long value) override;
  TTerminal& operator<<(unsigned long long value) override;
  TTerminal& operator<<(float value) override;
  TTerminal& operator<<(double value) override;
  TTerminal& operator<<(long double value) override;
  TTerminal& operator<<(const void* value) override;
  TTerminal& operator<<(const char* text) override;
  TTerminal& operator<<(const wchar_t* text) override;
  TTerminal& operator<<(const stringEx& text) override;
  TTerminal& operator<<(const wstringEx& text) override;

 private:
  int Handle() const noexcept { return static_cast<int>(file_.GetSysHandle()); }
  bool TakeKeyAhead(KEYEVENT& key);
  bool ReadByte(char& byte);
  void Put(std::string_view text);

  CSysFile file_;
  std::unique_ptr<termios> savedAttr_;
  bool echo_ = false;
  std::deque<KEYEVENT> keys_ QORV_GUARDED_BY(lock_);
  FASTKSV_PCLOCK lock_;
};

}  // namespace Qorv
