#include <signal.h>

#include "misc/posix/platform.h"

namespace Qorv::IMPL::platform {

int KillSignal() noexcept {
  return SIGRTMIN + 1;
}

int BlockedSignal() noexcept {
  return SIGRTMIN;
}

}  // namespace Qorv::IMPL::platform
