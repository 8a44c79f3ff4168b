// Runs a program on a terminal of its own, as an operator would, and keeps what came of it.
#pragma once

#include <termios.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace TestSupport {

/// What the operator does once a text has come up on the screen: presses keys, and gives the window another width.
struct ANSWER {
  std::string waitFor;
  std::string keys;
  std::uint16_t columns = 0;  ///< 0: as it was
};

struct RUNSPEC {
  std::vector<std::string> command;                ///< the program's path first
  std::vector<ANSWER> answers;                     ///< in the order of their texts on the screen
  std::map<std::string, std::string> environment;  ///< on top of the test's own
  std::string workingDirectory;                    ///< empty: the test's own
  std::function<void(std::string_view)> onScreen;  ///< if set, sees each piece of the screen as it comes
  std::uint16_t rows = 24;
  std::uint16_t columns = 80;
  bool hasTerminal = true;          ///< without one, what goes to standard output is the screen
  bool splitErrors = false;         ///< standard error goes to `errors` instead of the screen
  bool unprivileged = false;        ///< runs as nobody; for a test that runs as root
  std::chrono::seconds limit{120};  ///< then the program is killed
};

struct RUNRESULT {
  std::string screen;  ///< byte for byte as the program wrote it
  std::string errors;
  int status = -1;  ///< exit status; -1 if a signal ended it
  int signal = 0;
  bool timedOut = false;
  std::int64_t peakMemory = 0;  ///< bytes
  termios before{};             ///< the terminal's settings as the program found and as it left them
  termios after{};
};

/// Throws std::system_error if the run cannot be started.
RUNRESULT RunOnTerminal(const RUNSPEC& spec);

}  // namespace TestSupport
