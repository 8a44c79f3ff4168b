// Scheduling of system threads.
#include <sched.h>

#include <cerrno>

#include "error/message.h"
#include "misc/posix/platform.h"
#include "thread/system_priority.h"
#include "thread/thread_imp.h"

namespace Qorv {
namespace {

using IMPL::CMessage;

constexpr IMPL::ErrnoText setTexts[] = {
    {EINVAL, "invalid scheduling policy"},
    {ENOTSUP, "unsupport scheduling policy or parameters"},
    {EPERM, "permission denied or modify one of the parameters is not allowed"},
    {ESRCH, "the value specified by thread does not refer to an existing thread"},
};

constexpr IMPL::ErrnoText getTexts[] = {
    {ESRCH, "the value specified by thread does not refer to an existing thread"},
};

constexpr IMPL::ErrnoText affinityTexts[] = {
    {EINVAL, "the machine has more processors than a mask has room for"},
    {EPERM, "permission denied"},
};

void CheckSet(int error, std::int32_t policy) {
  if (error == 0) return;
  CMessage("CThread_Imp::_SetThreadShcdParam - failed set thread's sched param\n")
      .Field("  sched type = ", policy)
      .Errno("  error code = ", "  error desc = ", error, setTexts)
      .Throw<threadExp>(threadCode::setScheduling);
}

void CheckGet(int error) {
  if (error == 0) return;
  CMessage("CThread_Imp::_GetThreadShcdParam - failed retrive thread's sched info\n")
      .Errno("  error code = ", "  error desc = ", error, getTexts)
      .Throw<threadExp>(threadCode::getScheduling);
}

// The priorities of a policy, and how far apart the levels are among them.
struct PRIORITIES {
  explicit PRIORITIES(std::int32_t policy)
      : min(::sched_get_priority_min(policy)), max(::sched_get_priority_max(policy)) {}

  bool IsKnown() const noexcept { return min != -1 && max != -1; }
  int Step() const noexcept { return (max - min) / static_cast<int>(threadPriority::realtime); }

  int min;
  int max;
};

// Compares with the steps alone, without the least priority: so a level that was set may read one higher.
std::uint32_t LevelOf(std::int32_t policy, int priority) {
  const PRIORITIES range(policy);
  if (!range.IsKnown() || range.min == range.max) return threadPriority::normal;
  if (priority == range.max) return threadPriority::realtime;
  std::uint32_t level = threadPriority::high;
  while (level > threadPriority::idle && priority < static_cast<int>(level) * range.Step())
    --level;
  return level;
}

}  // namespace

int IMPL::SystemPriority(std::int32_t policy, std::uint32_t level) {
  const PRIORITIES range(policy);
  if (!range.IsKnown()) return 0;
  if (level == threadPriority::realtime) return range.max;
  // A level that there is not gives a priority that there is not; the system refuses it.
  return static_cast<int>(static_cast<std::uint32_t>(range.min) +
                          static_cast<std::uint32_t>(range.Step()) * level);
}

void CThread_Imp::_SetThreadShcdParam(pthread_t handle, const std::int32_t* policy,
                                      const std::uint32_t* level) {
  sched_param parameters{};
  parameters.sched_priority = IMPL::SystemPriority(*policy, *level);
  CheckSet(::pthread_setschedparam(handle, *policy, &parameters), *policy);
}

void CThread_Imp::_GetThreadShcdParam(pthread_t handle, std::int32_t* policy, std::uint32_t* level) {
  int present = 0;
  sched_param parameters{};
  CheckGet(::pthread_getschedparam(handle, &present, &parameters));
  if (policy != nullptr) *policy = present;
  if (level != nullptr) *level = LevelOf(present, parameters.sched_priority);
}

void CThread_Imp::_SetCpuAffinity(pthread_t /*handle*/, const CPUMASK& /*mask*/, bool restricts) {
  if (!restricts) return;
  CPUMASK ofProcess;
  const int error = IMPL::platform::ProcessAffinity(ofProcess.words);
  if (error == 0) return;
  const procExp inner(CMessage("CProcess::GetCpuAffinity - failed retrive process' cpu affinity mask\n")
                          .Errno("  error code = ", "  error desc = ", error, affinityTexts)
                          .Take(),
                      0);
  CMessage("CThread_Imp::_SetCpuAffinity - failed retrive system' cpu affinity mask\n")
      .Inner(inner)
      .Throw<threadExp>(threadCode::times);
}

void CThread_Imp::GetScheduling(std::int32_t* policy, std::uint32_t* level) {
  IMPL::CSafeScopeLock<CMutex> guard(systemLock_);
  CheckGet(isGone_ ? ESRCH : 0);
  _GetThreadShcdParam(handle_, policy, level);
}

void CThread_Imp::SetScheduling(std::int32_t policy, std::uint32_t level) {
  IMPL::CSafeScopeLock<CMutex> guard(systemLock_);
  CheckSet(isGone_ ? ESRCH : 0, policy);
  _SetThreadShcdParam(handle_, &policy, &level);
}

}  // namespace Qorv
