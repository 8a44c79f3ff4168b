#include <qorv/detail/try_in_steps.h>

#include <chrono>
#include <thread>

namespace Qorv::IMPL {

void SleepStep() {
  std::this_thread::sleep_for(std::chrono::milliseconds(stepLength));
}

}  // namespace Qorv::IMPL
