#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>

#include <qorv/process.h>

#include "error/message.h"
#include "misc/posix/platform.h"
#include "process/system_file.h"
#include "thread/system_priority.h"

namespace Qorv {
namespace {

constexpr int niceValues[] = {20, 10, 5, 0, -5, -10, -20};  // by processPriority

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
  try {
    out = IMPL::CommandLineText(IMPL::ReadSystemFile(IMPL::platform::CommandLineFile(), npos));
  } catch (const sysfileExp&) {
  }
}

}  // namespace Qorv
