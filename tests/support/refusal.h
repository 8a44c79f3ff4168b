// One call of the system that is to fail, in tests that are linked with --wrap for it.
#pragma once

#include <atomic>
#include <cerrno>
#include <string_view>

namespace TestSupport {

struct REFUSAL {
  std::string_view call;
  int error = 0;
  std::atomic<int> left{0};
  std::atomic<int> passed{0};  // calls that are let through first
};
inline REFUSAL refusal;

/// The next `times` calls of this name fail, behind the first `passed`.
inline void Refuse(std::string_view call, int error, int times = 1, int passed = 0) {
  refusal.left = 0;
  refusal.passed = passed;
  refusal.call = call;
  refusal.error = error;
  refusal.left = times;
}

inline bool IsRefused(std::string_view call) {
  if (refusal.left.load() <= 0 || call != refusal.call) return false;
  if (refusal.passed.load() > 0 && refusal.passed.fetch_sub(1) > 0) return false;
  return refusal.left.fetch_sub(1) > 0;
}

}  // namespace TestSupport

// Calls that return their error, and calls that set errno. NOLINTBEGIN
#define REFUSABLE(call, parameters, arguments) \
  REFUSABLE_WITH(call, parameters, arguments, TestSupport::refusal.error)
#define REFUSABLE_BY_ERRNO(call, parameters, arguments) \
  REFUSABLE_WITH(call, parameters, arguments, (errno = TestSupport::refusal.error, -1))
#define REFUSABLE_WITH(call, parameters, arguments, refused)                  \
  extern "C" int __real_##call parameters;                                    \
  extern "C" int __wrap_##call parameters;                                    \
  extern "C" int __wrap_##call parameters {                                   \
    return TestSupport::IsRefused(#call) ? refused : __real_##call arguments; \
  }
// NOLINTEND
