// Work and rest of a drive that gets too hot.
#pragma once

#include <cstdint>

/// Tells when the time for a rest or for work has come. Without a limit in either phase it never is. Times are
/// microseconds of the tick count.
class CDutyCycle {
 public:
  CDutyCycle(std::uint32_t workMinutes, std::uint32_t restMinutes, std::int64_t now) noexcept
      : isEnabled_(workMinutes != 0 && restMinutes != 0),
        workSpan_(workMinutes * perMinute),
        restSpan_(restMinutes * perMinute),
        lastSwitch_(now) {}

  bool IsEnabled() const noexcept { return isEnabled_; }
  /// True if the present phase is over; the next then starts now.
  bool IsWorkOver(std::int64_t now) noexcept { return isEnabled_ && IsOver(workSpan_, now); }
  bool IsRestOver(std::int64_t now) noexcept { return isEnabled_ && IsOver(restSpan_, now); }

 private:
  static constexpr std::int64_t perMinute = 60'000'000;

  bool IsOver(std::int64_t span, std::int64_t now) noexcept {
    if (now - lastSwitch_ < span) return false;
    lastSwitch_ = now;
    return true;
  }

  const bool isEnabled_;
  const std::int64_t workSpan_;
  const std::int64_t restSpan_;
  std::int64_t lastSwitch_;
};
