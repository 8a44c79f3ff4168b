// The table of encodings.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include <qorv/string.h>

namespace Qorv::IMPL {

/// Languages that share their encodings.
enum class Family : std::uint8_t {
  european,
  arabic,
  hebrew,
  simplifiedChinese,
  traditionalChinese,
  korean,
  japanese,
  vietnamese,
  thai,
  indic,
  unicode
};

struct ENCODING {
  std::string_view name;
  std::uint32_t codePage;
  std::string_view description;
  Family family;

  constexpr bool IsRightToLeft() const noexcept {
    return family == Family::arabic || family == Family::hebrew;
  }
};

/// All rows in the order of their names, by which they are also found; case does not count. Made by the compiler.
std::span<const ENCODING> Encodings() noexcept;

/// Null where there is none.
const ENCODING* FindEncoding(std::string_view name) noexcept;
/// What TTextConv::EncToCP tells of the name; 0 where that fails.
std::uint32_t PageOfEncoding(const stringEx& name) noexcept;
/// The first by name with this code page.
const ENCODING* FindEncoding(std::uint32_t codePage) noexcept;

}  // namespace Qorv::IMPL
