// A child process on a terminal of its own, with the test at the keyboard and in front of the screen.
#pragma once

#include <sys/types.h>
#include <termios.h>

#include <functional>
#include <string>
#include <string_view>

namespace TestSupport {

class CPtyChild {
 public:
  /// Runs `body` in the child; what it returns, or the failure it throws as "<code>: <message>", comes out of
  /// Result. The terminal has 24 rows and 80 columns.
  explicit CPtyChild(const std::function<std::string()>& body);
  CPtyChild(const CPtyChild&) = delete;
  CPtyChild& operator=(const CPtyChild&) = delete;
  ~CPtyChild();

  /// Waits until `text` has come up on the screen.
  void WaitFor(std::string_view text);
  void Type(std::string_view keys) const;
  /// Takes the terminal away.
  void HangUp();
  /// Waits until the child sleeps in a system call.
  void WaitUntilAsleep() const;
  void Signal(int number) const;
  /// What the child made of it, once it has ended; "signal <number>" if one ended it.
  std::string Result();
  /// Everything that came up on the screen so far.
  const std::string& Screen() const { return screen_; }
  /// The terminal's settings.
  termios Attributes() const;
  int Terminal() const { return terminal_; }

 private:
  bool ReadScreen();

  int terminal_ = -1;
  int results_ = -1;
  pid_t child_ = -1;
  std::string screen_;
};

}  // namespace TestSupport
