// Where another thread stands, as the system sees it.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <thread>

namespace TestSupport {

/// Returns when the thread of this process with this system id is blocked in the system.
inline void AwaitAsleep(std::uint64_t thread) {
  for (std::string line;;) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::getline(file, line);
    const std::size_t name = line.rfind(')');
    if (name != std::string::npos && line.substr(name, 3) == ") S") return;
    std::this_thread::yield();
  }
}

}  // namespace TestSupport
