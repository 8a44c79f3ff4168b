// What the system's answers mean for mutexes and events, those of one process and those that processes share.
#pragma once

#include <cerrno>

#include "error/message.h"

namespace Qorv::IMPL {

inline constexpr ErrnoText attributeTexts[] = {
    {ENOMEM, "insufficient memory exists to initialize the attrs"}};
inline constexpr ErrnoText typeTexts[] = {{EINVAL, "attr's type value is invalid"}};
inline constexpr ErrnoText sharedTexts[] = {{EINVAL, "the process-shared attribute is invalid"}};
inline constexpr ErrnoText releaseTexts[] = {{EINVAL, "the value specified by attr is invalid"}};

inline constexpr ErrnoText createTexts[] = {
    {EAGAIN, "the system lacked the necessary resources"},
    {ENOMEM, "insufficient memory"},
    {EBUSY, "attempt to reinitialize the mutex"},
    {EINVAL, "invalid attr object"},
};

inline constexpr ErrnoText destroyTexts[] = {
    // of a mutex
    {EBUSY, "attempt to destroy a locked mutex"},
    {EINVAL, "the value specified by mutex is invalid"},
};

inline constexpr ErrnoText lockTexts[] = {
    {EINVAL, "mutex object does not correctly initialized"},
    {EAGAIN, "maximum number of recursive locks has been exceeded"},
    {EDEADLK, "deadlock detected"},
};

inline constexpr ErrnoText unlockTexts[] = {
    {EINVAL, "mutex object does not correctly initialized"},
    {EAGAIN, "maximum number of recursive locks has been exceeded"},
    {EPERM, "the current thread does not own the mutex"},
};

inline constexpr ErrnoText waitTexts[] = {
    {EINVAL, "the value specified by cond or mutex is invalid"},
    {EPERM, "the mutex was not owned by the current thread at the time of the call"},
};

inline constexpr ErrnoText timedWaitTexts[] = {
    {EINVAL, "the value specified by cond, mutex or timeout is invalid"},
    {EPERM, "the mutex was not owned by the current thread at the time of the call"},
};

inline constexpr ErrnoText raiseTexts[] = {{EINVAL, "the value specified by cond is invalid"}};

/// The failure of one step, if `error` is not 0.
template <class Failure>
[[noreturn]] void RefuseStep(int error, std::string_view heading, ErrnoTable texts, std::uint32_t code) {
  CMessage(heading).Errno("  error code = ", "  error desc = ", error, texts).template Throw<Failure>(code);
}
template <class Failure>
inline void CheckStep(int error, std::string_view heading, ErrnoTable texts, std::uint32_t code) {
  if (error != 0) RefuseStep<Failure>(error, heading, texts, code);
}

}  // namespace Qorv::IMPL
