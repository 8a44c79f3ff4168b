// Modes of opening in the manner of stdio.
#pragma once

#include <optional>
#include <string_view>

namespace Qorv::IMPL {

/// Flags of the system for `mode`; nothing where it is no mode.
std::optional<int> OpenFlags(std::string_view mode) noexcept;

}  // namespace Qorv::IMPL
