#include <qorv/fatal_handler.h>

#include <signal.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdint>
#include <exception>
#include <new>
#include <string_view>

#include <qorv/log.h>
#include <qorv/process.h>
#include <qorv/thread.h>

#include "misc/posix/platform.h"
#include "process/signal_report.h"
#include "process/unexpected_handler.h"

namespace Qorv {
namespace {

constexpr std::string_view channel = "util.errhnd";

// Plain, and changed without care for other threads: what counts is that the report does not come upon itself.
std::uint32_t installs = 0;
std::int64_t terminates = 0;
std::int64_t unexpecteds = 0;
std::int64_t memoryEnds = 0;
volatile sig_atomic_t hasSignal = 0;

// A process that dies without a log that takes the report would do so without a word.
// Asks for no memory, which may be what there is none of.
void SayOnStandardError(const stringEx& text) {
  char lineEnd = '\n';
  const iovec parts[] = {{const_cast<char*>(text.data()), text.length()}, {&lineEnd, 1}};
  [[maybe_unused]] const ssize_t written =
      IMPL::RetryOnEintr([&parts] { return ::writev(STDERR_FILENO, parts, 2); });
}

void Say(const stringEx& text) {
  const bool isHeard = CLog::Reaches(logLevel::fatal);
  CLog::GFatal(stringEx::view(channel), text);
  if (!isHeard) SayOnStandardError(text);
}

// The system gives no stack trace.
stringEx StackTrace() {
  return {};
}

void SayTrace() {
  stringEx trace = StackTrace();
  if (trace.empty()) return;
  if (trace.ends_with_any("\n")) trace.truncate(trace.length() - 1);
  trace += "\n@ tid = ";
  trace.append_uint(TThread::CurrentThreadId());
  Say(trace);
}

// What the exception in flight says of itself.
stringEx TextInFlight() {
  try {
    throw;
  } catch (const qvExp& failure) {
    return failure.GetMessage();
  } catch (const std::exception& failure) {
    return failure.what();
  } catch (...) {
    return "unknown system error";
  }
}

void SayException(std::string_view what) {
  if (!std::current_exception()) return;
  stringEx text(what);
  text += " has occured (tid=";
  text.append_uint(TThread::CurrentThreadId()) += ")\n@ ";
  Say(text + TextInFlight());
}

// On the thread that faulted and on its stack, whatever that held: the process is going down in any case, and a second
// fault ends it at once. So does an exhausted stack.
void OnSignal(int number, siginfo_t* info, void* context) {
  if (hasSignal == 0) {
    hasSignal = 1;
    try {
      Say("unrecoverable underlaying error ocurred: "_sv + IMPL::DescribeSignal(number, *info, context));
      SayTrace();
    } catch (...) {
    }
  }
  FatalExit(false);
}

[[noreturn]] void OnTerminate() {
  if (++terminates == 1) {
    try {
      Say("process has been terminated in an unexpected way"_sv);
      SayTrace();
      SayException("an uncaught exception");
    } catch (...) {
    }
  }
  FatalExit(false);
}

[[noreturn]] void OnUnexpected() {
  if (++unexpecteds == 1) {
    try {
      SayException("an unexpected exception");
    } catch (...) {
    }
  }
  FatalExit(false);
}

// Does not try again and frees nothing.
[[noreturn]] void OnMemoryEnd() {
  if (++memoryEnds == 1) {
    try {
      Say("not enough memory"_sv);
      SayTrace();
    } catch (...) {
    }
  }
  FatalExit(false);
}

void Handle(int number, const struct sigaction& action) {
  ::sigaction(number, &action, nullptr);
}

void HandleSignals() {
  struct sigaction action {};
  ::sigemptyset(&action.sa_mask);
  action.sa_handler = SIG_IGN;
  for (const int number : {SIGPIPE, SIGURG, SIGTTIN, SIGTTOU, SIGXFSZ, SIGXCPU})
    Handle(number, action);
  action.sa_sigaction = OnSignal;
  action.sa_flags = SA_SIGINFO;
  for (const int number : IMPL::FatalSignals())
    Handle(number, action);
  sigset_t blocked;
  ::sigemptyset(&blocked);
  ::sigaddset(&blocked, IMPL::platform::BlockedSignal());
  ::pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
}

}  // namespace

void ReinstallHandlers() {
  std::set_new_handler(OnMemoryEnd);
  IMPL::SetUnexpectedHandler(OnUnexpected);
  std::set_terminate(OnTerminate);
  HandleSignals();
}

void InstallHandlers() {
  if (++installs == 1) ReinstallHandlers();
}

void FatalExit(bool flush) noexcept {
  if (flush) CLog::GFlushLast();
  ::_exit(-1);
}

}  // namespace Qorv
