// The console terminal.
#pragma once

#include <termios.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <string_view>

#include <qorv/detail/sys_file.h>
#include <qorv/sync.h>

namespace Qorv {

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
