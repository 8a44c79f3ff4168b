#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <limits>
#include <system_error>

#include <qorv/detail/kill_hold.h>
#include <qorv/file.h>

#include "error/message.h"
#include "file/narrow.h"
#include "misc/posix/platform.h"

namespace Qorv {
namespace {

using IMPL::CMessage;
using IMPL::RetryOnEintr;

constexpr IMPL::ErrnoText attributeTexts[] = {
    {ENOTTY, "the file is not a terminal"},
    {EBADF, "invalid file descriptor"},
    {EINVAL, "unsupport action"},
};

termios PosixGetTermAttr(int descriptor) {
  termios attributes;
  if (RetryOnEintr([&] { return ::tcgetattr(descriptor, &attributes); }) < 0) {
    const int error = errno;
    CMessage("CConsoleTerm/PosixGetTermAttr - error get terminal's attributes\n")
        .Errno("  error code = ", "  error desc = ", error, attributeTexts)
        .Throw<sysfileExp>(fileCode::control);
  }
  return attributes;
}

void PosixSetTermAttr(int descriptor, const termios& attributes) {
  if (RetryOnEintr([&] { return ::tcsetattr(descriptor, TCSANOW, &attributes); }) < 0) {
    const int error = errno;
    CMessage("CConsoleTerm/PosixSetTermAttr - error set terminal's attributes\n")
        .Errno("  error code = ", "  error desc = ", error, attributeTexts)
        .Throw<sysfileExp>(fileCode::control);
  }
}

void PosixIoCtl(int descriptor, unsigned long command, winsize* argument) {
  if (RetryOnEintr([&] { return ::ioctl(descriptor, command, argument); }) < 0) {
    const int error = errno;
    CMessage("CConsoleTerm/PosixIoCtl - failed execute ioctl command\n")
        .Field("  io command   = ", command)
        .Field("  error number = ", error)
        .Field("  system desc  = ", std::generic_category().message(error))
        .Throw<sysfileExp>(fileCode::control);
  }
}

// Makes a read come back after one key.
void PrepareForKeys(int descriptor) {
  termios attributes = PosixGetTermAttr(descriptor);
  attributes.c_cc[VMIN] = 1;
  attributes.c_cc[VTIME] = 0;
  PosixSetTermAttr(descriptor, attributes);
}

// The time left until `deadline` in the form of poll, which takes no more than an int.
int LeftUntil(std::chrono::steady_clock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<int>::max()));
}

// True when a read would not block, which it does not on a terminal that has gone either.
bool WaitForInput(int descriptor, std::uint32_t milliseconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  int ready = 0;
  do {
    ready = RetryOnEintr([&] {
      pollfd wanted{descriptor, POLLIN, 0};
      return ::poll(&wanted, 1, milliseconds == waitForever ? -1 : LeftUntil(deadline));
    });
  } while (ready == 0 && LeftUntil(deadline) > 0);
  if (ready < 0) {
    const int error = errno;
    CMessage("CConsoleTerm/PosixPoll - failed wait for a key\n")
        .Errno("  error code = ", "  error desc = ", error, {})
        .Throw<sysfileExp>(fileCode::read);
  }
  return ready > 0;
}

}  // namespace

CConsoleTerm::CConsoleTerm() {
  char path[L_ctermid];
  file_.OpenRaw(::ctermid(path), O_RDWR, 0, fileShare::none, 0666, 0);
  savedAttr_ = std::make_unique<termios>(PosixGetTermAttr(Handle()));
  termios attributes = PosixGetTermAttr(Handle());
  attributes.c_iflag &= ~static_cast<tcflag_t>(IGNCR | ICRNL);
  attributes.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ECHOE);
  PosixSetTermAttr(Handle(), attributes);
}

// A terminal that has gone needs no attributes, and there is nobody left to tell.
CConsoleTerm::~CConsoleTerm() noexcept {
  try {
    PosixSetTermAttr(Handle(), *savedAttr_);
  } catch (...) {
  }
  try {
    file_ = CSysFile();
  } catch (...) {
  }
}

std::unique_ptr<TTerminal> CConsoleTerm::Clone() const {
  return Clone(echo_);
}

std::unique_ptr<TTerminal> CConsoleTerm::Clone(bool echo) const {
  auto clone = std::make_unique<CConsoleTerm>();
  clone->SetEcho(echo);
  return clone;
}

bool CConsoleTerm::TakeKeyAhead(KEYEVENT& key) {
  IMPL::CSafeScopeLock<FASTKSV_PCLOCK> guard(lock_);
  if (keys_.empty()) return false;
  key = keys_.front();
  keys_.pop_front();
  return true;
}

// False at the end of the terminal.
bool CConsoleTerm::ReadByte(char& byte) {
  PrepareForKeys(Handle());
  return file_.Read(&byte, 1) == 1;
}

void CConsoleTerm::ReadKey(KEYEVENT& key) {
  if (TakeKeyAhead(key) || !ReadByte(key.ch)) return;
  if (echo_) WriteChar(key.ch);
}

bool CConsoleTerm::ReadKey(KEYEVENT& key, std::uint32_t milliseconds) {
  if (TakeKeyAhead(key)) return true;
  PrepareForKeys(Handle());
  if (!WaitForInput(Handle(), milliseconds)) return false;
  char bytes[64];
  const std::uint32_t count = file_.Read(bytes, sizeof(bytes));
  if (count == 0) return false;
  if (echo_) Put({bytes, count});
  IMPL::CSafeScopeLock<FASTKSV_PCLOCK> guard(lock_);
  for (std::uint32_t i = 1; i < count; ++i)
    keys_.push_back(KEYEVENT{.ch = bytes[i]});
  key.ch = bytes[0];
  return true;
}

void CConsoleTerm::ReadLine(stringEx& out, std::uint64_t limit) {
  ReadLine(out, limit, "\b \b"_sv);
}

void CConsoleTerm::ReadLine(stringEx& out, std::uint64_t limit, const stringEx& eraseText) {
  out.clear();
  for (;;) {
    KEYEVENT key;
    const bool ahead = TakeKeyAhead(key);
    if (!ahead && !ReadByte(key.ch)) return;
    const bool echo = echo_ && !ahead;  // keys read ahead were written back when they came
    if (key.ch == '\r' || key.ch == '\n') {
      if (echo) WriteChar('\n');
      return;
    }
    if (key.ch == '\b' || key.ch == '\x7f') {
      if (out.empty()) continue;
      out.truncate(out.length() - 1);
      if (echo) Write(eraseText);
    } else if (out.length() < limit) {
      out += key.ch;
      if (echo) WriteChar(key.ch);
    }
  }
}

void CConsoleTerm::SetEcho(bool on) {
  echo_ = on;
}
bool CConsoleTerm::GetEcho() const {
  return echo_;
}

// A terminal may take a text in parts, when a signal comes between.
void CConsoleTerm::Put(std::string_view text) {
  while (!text.empty()) {
    const std::uint64_t count = file_.Write(text.data(), text.size());
    if (count == 0) return;
    text.remove_prefix(count);
  }
}

void CConsoleTerm::WriteChar(char c) {
  Put({&c, 1});
}
void CConsoleTerm::WriteChar(wchar_t c) {
  Write(wstringEx::view({&c, 1}));
}
void CConsoleTerm::Write(const stringEx& text) {
  Put(text);
}
void CConsoleTerm::Write(const wstringEx& text) {
  Put(IMPL::NarrowForSystem(text));
}

void CConsoleTerm::GetCursorPos(std::uint16_t& /*row*/, std::uint16_t& /*column*/) {
  throw sysfileExp("CConsoleTerm::GetCursorPos - unsupport on this platform"_sv, fileCode::unsupported);
}
void CConsoleTerm::GetCursorPos(WINDOWSIZE& position) {
  GetCursorPos(position.rows, position.columns);
}

void CConsoleTerm::GetWindowSize(WINDOWSIZE& size) {
  winsize cells{};
  PosixIoCtl(Handle(), TIOCGWINSZ, &cells);
  size = {cells.ws_row, cells.ws_col};
}

void CConsoleTerm::SetWindowSize(const WINDOWSIZE& size) {
  winsize cells{};
  cells.ws_row = size.rows;
  cells.ws_col = size.columns;
  PosixIoCtl(Handle(), TIOCSWINSZ, &cells);
}

void CConsoleTerm::SetColor(std::uint32_t background, std::uint32_t foreground) {
  // The terminal counts red, green, blue from the low bit up, the numbers here blue, green, red.
  const auto hue = [](std::uint32_t color) { return (color & 1) << 2 | (color & 2) | (color & 4) >> 2; };
  const std::uint32_t front = ((foreground & 8) != 0 ? 90 : 30) + hue(foreground);
  const std::uint32_t back = ((background & 8) != 0 ? 100 : 40) + hue(background);
  stringEx sequence;
  Put(sequence.format("\x1b[%u;%um", front, back));
}

TTerminal& CConsoleTerm::operator<<(bool value) {
  return *this << (value ? "true"_sv : "false"_sv);
}
TTerminal& CConsoleTerm::operator<<(char value) {
  return *this << stringEx::view({&value, 1});
}
TTerminal& CConsoleTerm::operator<<(wchar_t value) {
  return *this << wstringEx::view({&value, 1});
}
TTerminal& CConsoleTerm::operator<<(short value) {
  return *this << stringEx().append_int(value);
}
TTerminal& CConsoleTerm::operator<<(unsigned short value) {
  return *this << stringEx().append_uint(value);
}
TTerminal& CConsoleTerm::operator<<(int value) {
  return *this << stringEx().append_int(value);
}
TTerminal& CConsoleTerm::operator<<(unsigned int value) {
  return *this << stringEx().append_uint(value);
}
TTerminal& CConsoleTerm::operator<<(long value) {
  return *this << stringEx().append_int(value);
}
TTerminal& CConsoleTerm::operator<<(unsigned long value) {
  return *this << stringEx().append_uint(value);
}
TTerminal& CConsoleTerm::operator<<(long long value) {
  return *this << stringEx().append_int(value);
}
TTerminal& CConsoleTerm::operator<<(unsigned long long value) {
  return *this << stringEx().append_uint(value);
}
TTerminal& CConsoleTerm::operator<<(float value) {
  return *this << stringEx().format("%.7g", static_cast<double>(value));
}
TTerminal& CConsoleTerm::operator<<(double value) {
  return *this << stringEx().format("%.16g", value);
}
TTerminal& CConsoleTerm::operator<<(long double value) {
  return *this << stringEx().format("%.16Lg", value);
}
TTerminal& CConsoleTerm::operator<<(const void* value) {
  return *this << stringEx().format("%p", value);
}
TTerminal& CConsoleTerm::operator<<(const char* text) {
  return *this << stringEx::view(text);
}
TTerminal& CConsoleTerm::operator<<(const wchar_t* text) {
  return *this << wstringEx::view(text);
}
TTerminal& CConsoleTerm::operator<<(const stringEx& text) {
  Write(text);
  return *this;
}
TTerminal& CConsoleTerm::operator<<(const wstringEx& text) {
  Write(text);
  return *this;
}

}  // namespace Qorv
