// The places of the fast reader-writer locks in each thread's counts.
#pragma once

#include <cstdint>

namespace Qorv::IMPL {

/// A place that no other living lock has, for the lock whose state is at `block`. In every thread the count there is
/// 0, if whoever had it before was held by nobody when it went. rwlExp, code 1, when all are taken; failures of
/// CSem and std::bad_alloc when threads meet here.
std::uint32_t AllocIndex(const void* block);
void FreeIndex(std::uint32_t index);

}  // namespace Qorv::IMPL
