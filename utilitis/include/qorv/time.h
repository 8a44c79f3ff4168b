// Tick counts and time spans.
#pragma once

#include <cstdint>

#include <qorv/string.h>

namespace Qorv {

/// Milliseconds of the system's tick, which no change of the clock disturbs. The raw count wraps with the
/// system's counter. Any thread may call.
std::uint64_t GetTickCount() noexcept;

/// The same, widened so that a wrap of the system's counter does not show, given that it is called at least
/// once in every round of that counter. Throws what FASTKSV_PCLOCK throws.
std::uint64_t GetTickCount64();

/// A length of time: a signed count of microseconds. A value type.
class CTimeSpan {
 public:
  constexpr CTimeSpan() noexcept = default;
  constexpr explicit CTimeSpan(std::int64_t microseconds) noexcept : value_(microseconds) {}

  constexpr std::int64_t GetValue() const noexcept { return value_; }

  /// Appends the span to `out` as `format` says; a negative span shows no sign. "%T" gives the whole span in
  /// one unit, "%P" what is left over of the next larger unit:
  ///
  /// whole span      | rest                      | digits
  /// ----------------|---------------------------|-------------------------------------
  /// %W weeks        |                           | as many as it takes
  /// %TD days        | %PD days of the week      | as many as it takes
  /// %TH, %sTH hours | %PH hours of the day      | %sTH as it takes, others 2 at least
  /// %TM minutes     | %PM minutes of the hour   | whole as it takes, rest 2
  /// %TS seconds     | %PS seconds of the minute | whole as it takes, rest 2
  /// %Tms            | %Pms milliseconds         | whole as it takes, rest 3
  /// %Tus            | %Pus microseconds         | whole as it takes, rest 3
  ///
  /// "%%" gives one percent sign; a percent sign in front of anything else stays, as does other text.
  void Format(stringEx& out, const stringEx& format) const;
  void Format(wstringEx& out, const wstringEx& format) const;

 private:
  std::int64_t value_ = 0;
};

}  // namespace Qorv
