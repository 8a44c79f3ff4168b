// The words for a fatal signal.
#pragma once

#include <signal.h>

#include <span>

#include <qorv/string.h>

namespace Qorv::IMPL {

/// The signals that end a process with a report.
std::span<const int> FatalSignals() noexcept;

/// All that is known of a signal, in several lines without a break at the end. `context` is the third argument of its
/// handler.
stringEx DescribeSignal(int number, const siginfo_t& info, const void* context);

}  // namespace Qorv::IMPL
