// What the conversion front and its engines share.
#pragma once

#include <qorv/sync.h>

namespace Qorv::IMPL {

/// Guards the front's caches, its master object and the loaded libraries; always there.
FASTKSV_PCLOCK& TextConvLock() noexcept;

/// Frees the calling thread's conversion object. tlsExp, code 3.
void ReleaseTextConv();

}  // namespace Qorv::IMPL
