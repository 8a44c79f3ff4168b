// The end of a thread, as the rest of the library sees it.
#pragma once

namespace Qorv::IMPL {

/// Frees all that the library keeps for the calling thread. Failures are tlsExp of code 3; what comes behind the
/// one that failed then stays until the process ends.
void ReleaseThreadData();

}  // namespace Qorv::IMPL
