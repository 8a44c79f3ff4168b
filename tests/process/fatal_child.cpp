// Dies in the way that its argument names, with the fatal handler and without a log.
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>
#include <string_view>

#include <qorv/fatal_handler.h>
#include <qorv/file.h>
#include <qorv/process.h>
#include <qorv/thread.h>

// The report is made inside a signal's handler on purpose.
extern "C" const char* __tsan_default_options() {  // NOLINT
  return "report_signal_unsafe=0";
}

namespace {

using namespace std::string_view_literals;

// A signal as the system itself would send it, with a reason.
void Send(int number, int code) {
  siginfo_t info{};
  info.si_signo = number;
  info.si_code = code;
  ::syscall(SYS_rt_tgsigqueueinfo, ::getpid(), ::gettid(), number, &info);
}

__attribute__((noinline, no_sanitize("undefined"))) int Divide(volatile int* by) {
  return 12345 / *by;
}

class CFaulty : public Qorv::TThread {
 public:
  ~CFaulty() noexcept(false) override { Kill(0); }

 protected:
  std::uint32_t Run() override {
    volatile int zero = 0;
    return static_cast<std::uint32_t>(Divide(&zero));
  }
};

struct CFaultsWhenRead : std::exception {
  const char* what() const noexcept override { std::abort(); }
};

[[noreturn]] void ThrowUncaught(std::string_view kind) {
  if (kind == "library"sv) throw Qorv::threadExp("first line\nsecond line", 1);
  if (kind == "standard"sv) throw std::runtime_error("of the standard");
  if (kind == "faulty"sv) throw CFaultsWhenRead();
  throw 1;
}

// A write that the system refuses, by a signal unless that is ignored.
int WriteToNobody() {
  int ends[2];
  if (::pipe(ends) != 0) return 2;
  ::close(ends[0]);
  return ::write(ends[1], "x", 1) == -1 && errno == EPIPE ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
  const std::string_view way = arguments[1];
  const std::string_view kind = count > 2 ? arguments[2] : "";
  if (way == "signal"sv) Send(std::atoi(arguments[2]), std::atoi(arguments[3]));
  if (way == "abort"sv) std::abort();
  if (way == "throw"sv) ThrowUncaught(kind);
  if (way == "terminate"sv) std::terminate();
  if (way == "memory"sv) {
    void* volatile room = ::operator new (~std::size_t{0} >> 2);
    ::operator delete(room);
  }
  if (way == "worker"sv) {
    CFaulty thread;
    thread.Create(false, 0);
    thread.Resume();
    thread.Wait(Qorv::waitForever);
  }
  if (way == "pipe"sv) return WriteToNobody();
  if (way == "settings"sv) {  // another's settings, and back
    std::signal(SIGABRT, SIG_DFL);
    Qorv::InstallHandlers();  // does nothing any more
    struct sigaction action {};
    ::sigaction(SIGABRT, nullptr, &action);
    if (action.sa_handler != SIG_DFL) return 1;
    Qorv::ReinstallHandlers();
    std::abort();
  }
  if (way == "exit"sv) Qorv::FatalExit(true);
  return 0;
}
