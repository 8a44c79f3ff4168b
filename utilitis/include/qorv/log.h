// The front through which the library and its users log.
#pragma once

#include <cstdint>

#include <qorv/string.h>

namespace Qorv {

/// Levels of records, ordered by number. A record passes when its level is at or above the current one.
namespace logLevel {
inline constexpr std::int32_t debug = 0;
inline constexpr std::int32_t info = 1;
inline constexpr std::int32_t warning = 2;
inline constexpr std::int32_t error = 3;
inline constexpr std::int32_t notice = 4;
inline constexpr std::int32_t fatal = 5;
inline constexpr std::int32_t disabled = 6;
}  // namespace logLevel

/// The static calls work on the default log of the process. While there is none each is a quiet no-op. None
/// ever throws, and any thread may call them; making the texts of the first form is the caller's business.
///
/// Each exists in two forms: channel and text, and channel with a printf format and its arguments.
class CLog {
 public:
  static void GWrite(std::int32_t level, const stringEx& channel, const stringEx& message) noexcept;
  static void GDebug(const stringEx& channel, const stringEx& message) noexcept;
  static void GInfo(const stringEx& channel, const stringEx& message) noexcept;
  static void GWarning(const stringEx& channel, const stringEx& message) noexcept;
  static void GError(const stringEx& channel, const stringEx& message) noexcept;
  static void GNotice(const stringEx& channel, const stringEx& message) noexcept;
  static void GFatal(const stringEx& channel, const stringEx& message) noexcept;

  [[gnu::format(printf, 3, 4)]] static void GWrite(std::int32_t level, const char* channel,
                                                   const char* format, ...) noexcept;
  [[gnu::format(printf, 2, 3)]] static void GDebug(const char* channel, const char* format, ...) noexcept;
  [[gnu::format(printf, 2, 3)]] static void GInfo(const char* channel, const char* format, ...) noexcept;
  [[gnu::format(printf, 2, 3)]] static void GWarning(const char* channel, const char* format, ...) noexcept;
  [[gnu::format(printf, 2, 3)]] static void GError(const char* channel, const char* format, ...) noexcept;
  [[gnu::format(printf, 2, 3)]] static void GNotice(const char* channel, const char* format, ...) noexcept;
  [[gnu::format(printf, 2, 3)]] static void GFatal(const char* channel, const char* format, ...) noexcept;

  /// Waits until every accepted record of the default log is written, and flushes its loggers.
  static void GFlush() noexcept;
  /// Whether a record of this level would pass; false while there is no default log. For callers that want to
  /// skip the building of a costly message.
  static bool IsLevelEnabled(std::int32_t level) noexcept;
};

}  // namespace Qorv
