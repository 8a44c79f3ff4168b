#include "terminal_run.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace TestSupport {
namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned nobody = 65534;

[[noreturn]] void ThrowErrno(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

class Descriptor {
 public:
  explicit Descriptor(int value = -1) : value_(value) {}
  Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  ~Descriptor() { Close(); }

  int Get() const { return value_; }
  void Close() {
    if (value_ >= 0) close(std::exchange(value_, -1));
  }

 private:
  int value_;
};

struct Pipe {
  Descriptor read;
  Descriptor write;
};

Pipe MakePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) ThrowErrno("pipe2");
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

// The program's side and the test's side of one run. Without output processing the screen is what was
// written.
class CTerminalRun {
 public:
  explicit CTerminalRun(const RUNSPEC& spec) : spec_(spec) {
    if (spec.hasTerminal) {
      OpenTerminal();
    } else {
      Pipe output = MakePipe();
      screen_ = std::move(output.read);
      output_ = std::move(output.write);
    }
    if (spec.splitErrors || !spec.hasTerminal) errors_ = MakePipe();
  }

  RUNRESULT Run() {
    if (spec_.hasTerminal) tcgetattr(screen_.Get(), &result_.before);
    child_ = fork();
    if (child_ < 0) ThrowErrno("fork");
    if (child_ == 0) BecomeProgram();
    output_.Close();
    errors_.write.Close();
    CollectOutput();
    Reap();
    if (spec_.hasTerminal) tcgetattr(screen_.Get(), &result_.after);
    return std::move(result_);
  }

 private:
  void OpenTerminal() {
    int master = -1;
    int slave = -1;
    const winsize size = {spec_.rows, spec_.columns, 0, 0};
    if (openpty(&master, &slave, nullptr, nullptr, &size) != 0) ThrowErrno("openpty");
    screen_ = Descriptor(master);
    output_ = Descriptor(slave);
    fcntl(master, F_SETFD, FD_CLOEXEC);
    termios settings{};
    if (tcgetattr(slave, &settings) != 0) ThrowErrno("tcgetattr");
    settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    if (tcsetattr(slave, TCSANOW, &settings) != 0) ThrowErrno("tcsetattr");
  }

  [[noreturn]] void BecomeProgram() {
    setsid();
    if (spec_.hasTerminal) ioctl(output_.Get(), TIOCSCTTY, 0);
    const int errors = errors_.write.Get() >= 0 ? errors_.write.Get() : output_.Get();
    dup2(spec_.hasTerminal ? output_.Get() : open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    dup2(output_.Get(), STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    if (output_.Get() > STDERR_FILENO) close(output_.Get());
    for (const auto& [name, value] : spec_.environment)
      setenv(name.c_str(), value.c_str(), 1);
    if (!spec_.workingDirectory.empty() && chdir(spec_.workingDirectory.c_str()) != 0) _exit(126);
    if (spec_.unprivileged && (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0))
      _exit(126);
    std::vector<char*> arguments;
    for (const std::string& argument : spec_.command)
      arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(127);
  }

  // Until the program has let go of all its outputs.
  void CollectOutput() {
    const Clock::time_point deadline = Clock::now() + spec_.limit;
    while (screenOpen_ || errors_.read.Get() >= 0) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
      std::array<pollfd, 2> waiting = {pollfd{screenOpen_ ? screen_.Get() : -1, POLLIN, 0},
                                       pollfd{errors_.read.Get(), POLLIN, 0}};
      const int ready =
          left.count() <= 0 ? 0 : poll(waiting.data(), waiting.size(), static_cast<int>(left.count()));
      if (ready < 0 && errno == EINTR) continue;
      if (ready <= 0) {
        result_.timedOut = true;
        kill(-child_, SIGKILL);
        return;
      }
      if (waiting[0].revents != 0) TakeScreen();
      if (waiting[1].revents != 0 && !TakeInto(result_.errors, errors_.read.Get())) errors_.read.Close();
      AnswerPrompts();
    }
  }

  void TakeScreen() {
    const std::size_t seen = result_.screen.size();
    screenOpen_ = TakeInto(result_.screen, screen_.Get());
    if (spec_.onScreen) spec_.onScreen(std::string_view(result_.screen).substr(seen));
  }

  static bool TakeInto(std::string& text, int descriptor) {
    std::array<char, 65536> bytes;
    const ssize_t count = read(descriptor, bytes.data(), bytes.size());
    if (count > 0) text.append(bytes.data(), static_cast<std::size_t>(count));
    return count > 0 || (count < 0 && errno == EINTR);
  }

  void AnswerPrompts() {
    while (answered_ < spec_.answers.size()) {
      const ANSWER& answer = spec_.answers[answered_];
      const std::size_t found = result_.screen.find(answer.waitFor, searchFrom_);
      if (found == std::string::npos) return;
      searchFrom_ = found + answer.waitFor.size();
      if (answer.columns != 0) {
        const winsize size = {spec_.rows, answer.columns, 0, 0};
        if (ioctl(screen_.Get(), TIOCSWINSZ, &size) != 0) ThrowErrno("ioctl");
      }
      if (write(screen_.Get(), answer.keys.data(), answer.keys.size()) < 0) ThrowErrno("write");
      ++answered_;
    }
  }

  void Reap() {
    int status = 0;
    rusage usage{};
    while (wait4(child_, &status, 0, &usage) < 0) {
      if (errno != EINTR) ThrowErrno("wait4");
    }
    result_.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result_.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    result_.peakMemory = usage.ru_maxrss * 1024;
  }

  const RUNSPEC& spec_;
  RUNRESULT result_;
  Descriptor screen_;
  Descriptor output_;
  Pipe errors_;
  pid_t child_ = -1;
  bool screenOpen_ = true;
  std::size_t answered_ = 0;
  std::size_t searchFrom_ = 0;
};

}  // namespace

RUNRESULT RunOnTerminal(const RUNSPEC& spec) {
  return CTerminalRun(spec).Run();
}

}  // namespace TestSupport
