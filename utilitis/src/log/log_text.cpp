// The printf forms. The level is looked at before all else, so that a record that nobody wants costs no more.
#include <cstdarg>

#include <qorv/log.h>

namespace Qorv {

void CLog::Write(std::int32_t level, const char* channel, const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  WriteText(level, channel, format, arguments);
  va_end(arguments);
}

void CLog::GWrite(std::int32_t level, const char* channel, const char* format, ...) noexcept {
  if (!IsLevelEnabled(level)) return;
  std::va_list arguments;
  va_start(arguments, format);
  GWriteText(level, channel, format, arguments);
  va_end(arguments);
}

void CLog::Debug(const char* channel, const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  WriteText(logLevel::debug, channel, format, arguments);
  va_end(arguments);
}

void CLog::Info(const char* channel, const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  WriteText(logLevel::info, channel, format, arguments);
  va_end(arguments);
}

void CLog::Warning(const char* channel, const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  WriteText(logLevel::warning, channel, format, arguments);
  va_end(arguments);
}

void CLog::Error(const char* channel, const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  WriteText(logLevel::error, channel, format, arguments);
  va_end(arguments);
}

void CLog::Notice(const char* channel, const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  WriteText(logLevel::notice, channel, format, arguments);
  va_end(arguments);
}

void CLog::Fatal(const char* channel, const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  WriteText(logLevel::fatal, channel, format, arguments);
  va_end(arguments);
}

void CLog::GDebug(const char* channel, const char* format, ...) noexcept {
  if (!IsLevelEnabled(logLevel::debug)) return;
  std::va_list arguments;
  va_start(arguments, format);
  GWriteText(logLevel::debug, channel, format, arguments);
  va_end(arguments);
}

void CLog::GInfo(const char* channel, const char* format, ...) noexcept {
  if (!IsLevelEnabled(logLevel::info)) return;
  std::va_list arguments;
  va_start(arguments, format);
  GWriteText(logLevel::info, channel, format, arguments);
  va_end(arguments);
}

void CLog::GWarning(const char* channel, const char* format, ...) noexcept {
  if (!IsLevelEnabled(logLevel::warning)) return;
  std::va_list arguments;
  va_start(arguments, format);
  GWriteText(logLevel::warning, channel, format, arguments);
  va_end(arguments);
}

void CLog::GError(const char* channel, const char* format, ...) noexcept {
  if (!IsLevelEnabled(logLevel::error)) return;
  std::va_list arguments;
  va_start(arguments, format);
  GWriteText(logLevel::error, channel, format, arguments);
  va_end(arguments);
}

void CLog::GNotice(const char* channel, const char* format, ...) noexcept {
  if (!IsLevelEnabled(logLevel::notice)) return;
  std::va_list arguments;
  va_start(arguments, format);
  GWriteText(logLevel::notice, channel, format, arguments);
  va_end(arguments);
}

void CLog::GFatal(const char* channel, const char* format, ...) noexcept {
  if (!IsLevelEnabled(logLevel::fatal)) return;
  std::va_list arguments;
  va_start(arguments, format);
  GWriteText(logLevel::fatal, channel, format, arguments);
  va_end(arguments);
}

}  // namespace Qorv
