#include <signal.h>

#include <algorithm>
#include <iterator>

#include "misc/posix/platform.h"

namespace Qorv::IMPL::platform {
namespace {

struct NamedSignal {
  int number;
  std::string_view name;
};

constexpr NamedSignal signals[] = {
    {SIGHUP, "SIGHUP"},       {SIGINT, "SIGINT"},   {SIGQUIT, "SIGQUIT"},   {SIGILL, "SIGILL"},
    {SIGTRAP, "SIGTRAP"},     {SIGABRT, "SIGABRT"}, {SIGBUS, "SIGBUS"},     {SIGFPE, "SIGFPE"},
    {SIGKILL, "SIGKILL"},     {SIGUSR1, "SIGUSR1"}, {SIGSEGV, "SIGSEGV"},   {SIGUSR2, "SIGUSR2"},
    {SIGPIPE, "SIGPIPE"},     {SIGALRM, "SIGALRM"}, {SIGTERM, "SIGTERM"},   {SIGCHLD, "SIGCHLD"},
    {SIGCONT, "SIGCONT"},     {SIGSTOP, "SIGSTOP"}, {SIGTSTP, "SIGTSTP"},   {SIGTTIN, "SIGTTIN"},
    {SIGTTOU, "SIGTTOU"},     {SIGURG, "SIGURG"},   {SIGXCPU, "SIGXCPU"},   {SIGXFSZ, "SIGXFSZ"},
    {SIGVTALRM, "SIGVTALRM"}, {SIGPROF, "SIGPROF"}, {SIGWINCH, "SIGWINCH"}, {SIGIO, "SIGIO"},
    {SIGSYS, "SIGSYS"},
};

}  // namespace

std::string_view SignalName(int number) noexcept {
  const auto row = std::ranges::find(signals, number, &NamedSignal::number);
  return row != std::end(signals) ? row->name : std::string_view();
}

int KillSignal() noexcept {
  return SIGRTMIN + 1;
}

}  // namespace Qorv::IMPL::platform
