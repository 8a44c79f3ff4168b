#include "file/pty_child.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <stdexcept>

#include <qorv/error.h>

namespace TestSupport {
namespace {

[[noreturn]] void RunChild(const std::function<std::string()>& body, int results) {
  std::string result;
  try {
    result = body();
  } catch (const Qorv::qvExp& failure) {
    result = std::to_string(failure.GetCode()) + ": " + failure.GetMessage().data();
  }
  const ssize_t written = write(results, result.data(), result.size());
  _exit(written == static_cast<ssize_t>(result.size()) ? 0 : 1);
}

}  // namespace

CPtyChild::CPtyChild(const std::function<std::string()>& body) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe2");
  std::fflush(nullptr);  // or the child might write what the test has buffered
  winsize size{};
  size.ws_row = 24;
  size.ws_col = 80;
  child_ = forkpty(&terminal_, nullptr, nullptr, &size);
  if (child_ < 0) throw std::runtime_error("forkpty");
  if (child_ == 0) RunChild(body, ends[1]);
  close(ends[1]);
  results_ = ends[0];
}

CPtyChild::~CPtyChild() {
  HangUp();
  if (child_ > 0) {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
  }
  close(results_);
}

// False when the child has left the terminal.
bool CPtyChild::ReadScreen() {
  char bytes[4096];
  const ssize_t count = read(terminal_, bytes, sizeof(bytes));
  if (count > 0) screen_.append(bytes, static_cast<std::size_t>(count));
  return count > 0;
}

void CPtyChild::WaitFor(std::string_view text) {
  while (screen_.find(text) == std::string::npos)
    if (!ReadScreen())
      throw std::runtime_error("the screen ends without " + std::string(text) + ": " + screen_);
}

void CPtyChild::Type(std::string_view keys) const {
  if (write(terminal_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) {
    throw std::runtime_error("typing");
  }
}

void CPtyChild::HangUp() {
  if (terminal_ >= 0) close(terminal_);
  terminal_ = -1;
}

void CPtyChild::WaitUntilAsleep() const {
  std::string line;
  while (line.find(") S ") == std::string::npos) {
    std::ifstream in("/proc/" + std::to_string(child_) + "/stat");
    std::getline(in, line);
  }
}

void CPtyChild::Signal(int number) const {
  kill(child_, number);
}

std::string CPtyChild::Result() {
  std::string result;
  bool open = true;
  while (open) {
    pollfd sources[] = {{results_, POLLIN, 0}, {terminal_, POLLIN, 0}};
    poll(sources, 2, -1);
    if ((sources[1].revents & POLLIN) != 0) ReadScreen();
    if (sources[0].revents == 0) continue;
    char bytes[4096];
    const ssize_t count = read(results_, bytes, sizeof(bytes));
    open = count > 0;
    if (open) result.append(bytes, static_cast<std::size_t>(count));
  }
  int status = 0;
  waitpid(child_, &status, 0);
  child_ = -1;
  if (terminal_ >= 0)
    while (ReadScreen()) {
    }
  return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status)) : result;
}

termios CPtyChild::Attributes() const {
  termios attributes{};
  if (tcgetattr(terminal_, &attributes) != 0) throw std::runtime_error("tcgetattr");
  return attributes;
}

}  // namespace TestSupport
