// Sets of bytes, to go over text by runs.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace Qorv::IMPL {

class CByteSet {
 public:
  constexpr explicit CByteSet(std::string_view bytes) noexcept {
    for (const char byte : bytes)
      has_[static_cast<unsigned char>(byte)] = true;
  }

  bool Has(char byte) const noexcept { return has_[static_cast<unsigned char>(byte)]; }
  /// How many bytes there are before the first of the set.
  std::size_t RunBefore(std::string_view text) const noexcept {
    std::size_t count = 0;
    while (count < text.size() && !Has(text[count]))
      ++count;
    return count;
  }

 private:
  std::array<bool, 256> has_{};
};

/// Appends the value to the text: runs as they are, and each byte of the set by `put`.
template <class Text, class Put>
void AppendByRuns(Text& text, std::string_view value, const CByteSet& set, Put put) {
  for (;;) {
    const std::size_t run = set.RunBefore(value);
    if (run != 0) text += value.substr(0, run);
    if (run == value.size()) return;
    put(value[run]);
    value.remove_prefix(run + 1);
  }
}

}  // namespace Qorv::IMPL
