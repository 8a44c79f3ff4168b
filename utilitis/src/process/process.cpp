#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>
#include <string_view>
#include <vector>

#include <qorv/process.h>

#include "error/message.h"
#include "misc/posix/platform.h"
#include "process/system_file.h"
#include "thread/system_priority.h"

namespace Qorv {
namespace {

constexpr int niceValues[] = {20, 10, 5, 0, -5, -10, -20};  // by processPriority

bool HasSpace(std::string_view text) noexcept {
  return text.find_first_of(" \t\v\r\n") != std::string_view::npos;
}

}  // namespace

CProcess::CProcess() : pid_(std::make_shared<const pid_t>(::getpid())) {}

int CProcess::SetPriority(std::uint32_t number) {
  if (number >= std::size(niceValues)) {
    errno = EINVAL;
    return -1;
  }
  sched_param present{};
  const int policy = ::sched_getscheduler(*pid_);
  ::sched_getparam(*pid_, &present);
  SetSchedParam(*pid_, policy, number);
  return IMPL::platform::SetNice(*pid_, niceValues[number]);
}

void CProcess::SetSchedParam(pid_t pid, int policy, std::uint32_t number) {
  sched_param parameters{};
  parameters.sched_priority = IMPL::SystemPriority(policy, number);
  if (::sched_setscheduler(pid, policy, &parameters) != -1) return;
  const int error = errno;
  IMPL::CMessage("CProcess/SetSchedParam - failed set process' sched param\n")
      .Field("  process id = ", pid)
      .Field("  sched type = ", policy)
      .Errno("  error code = ", "  error desc = ", error, {})
      .Throw<procExp>(procCode::general);
}

std::uint32_t CProcess::GetCurrentPid() noexcept {
  return static_cast<std::uint32_t>(::getpid());
}

void CProcess::GetCommandLine(stringEx& out) {
  out.clear();
  stringEx line;
  try {
    line = IMPL::ReadSystemFile(IMPL::platform::CommandLineFile(), npos);
  } catch (const sysfileExp&) {
    return;
  }
  line.trim_right('\0');
  if (line.find("\0"_sv) == npos) {
    out = line;
    return;
  }
  std::vector<RANGE> pieces;
  line.split("\0"_sv, pieces);
  for (const RANGE& piece : pieces) {
    const stringEx argument = line.part(piece);
    if (&piece != &pieces.front()) out += ' ';
    const bool isQuoted = HasSpace(argument);
    if (isQuoted) out += '"';
    out += argument;
    if (isQuoted) out += '"';
  }
}

}  // namespace Qorv
