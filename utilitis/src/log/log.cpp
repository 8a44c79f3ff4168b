#include <qorv/log.h>

namespace Qorv {

// There is no default log yet, and without one every call is quiet.

void CLog::GWrite(std::int32_t, const stringEx&, const stringEx&) noexcept {}
void CLog::GDebug(const stringEx&, const stringEx&) noexcept {}
void CLog::GInfo(const stringEx&, const stringEx&) noexcept {}
void CLog::GWarning(const stringEx&, const stringEx&) noexcept {}
void CLog::GError(const stringEx&, const stringEx&) noexcept {}
void CLog::GNotice(const stringEx&, const stringEx&) noexcept {}
void CLog::GFatal(const stringEx&, const stringEx&) noexcept {}

void CLog::GWrite(std::int32_t, const char*, const char*, ...) noexcept {}
void CLog::GDebug(const char*, const char*, ...) noexcept {}
void CLog::GInfo(const char*, const char*, ...) noexcept {}
void CLog::GWarning(const char*, const char*, ...) noexcept {}
void CLog::GError(const char*, const char*, ...) noexcept {}
void CLog::GNotice(const char*, const char*, ...) noexcept {}
void CLog::GFatal(const char*, const char*, ...) noexcept {}

void CLog::GFlush() noexcept {}
bool CLog::IsLevelEnabled(std::int32_t) noexcept {
  return false;
}

}  // namespace Qorv
