// What opening and reading share about direct access.
#pragma once

#include <qorv/string.h>

namespace Qorv::IMPL {

/// Tells the log that the file goes on without direct access.
void WarnNoDirectAccess(const stringEx& path) noexcept;

}  // namespace Qorv::IMPL
