// Numbers out of any text: narrow and wide agree, nothing beyond the text is read, and what is written back
// reads as the same number.
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include <qorv/string.h>

#include "require.h"

namespace {

using Qorv::stringEx;
using Qorv::wstringEx;

void CheckInteger(const stringEx& text, const wstringEx& wide, int base, std::uint32_t flags) {
  std::uint64_t consumed = 0;
  std::uint64_t wideConsumed = 0;
  errno = 0;
  const std::int64_t value = text.to_int64(base, flags, &consumed);
  const bool isOverflow = errno == ERANGE;
  Require(consumed <= text.length(), "no more is consumed than there is");
  Require(wide.to_int64(base, flags, &wideConsumed) == value && wideConsumed == consumed,
          "narrow and wide give the same integer");
  Require(isOverflow || text.to_int64(0, consumed, base, flags) == value,
          "what was consumed is the whole number");
  if (base < 2 || base > 36) return;
  const stringEx written = base == 10 && flags == 0
                               ? stringEx().append_int(value, base)
                               : stringEx().append_uint(static_cast<std::uint64_t>(value), base);
  std::uint64_t all = 0;
  Require(written.to_int64(base, base == 10 ? flags : Qorv::numberFlag::isUnsigned, &all) == value &&
              all == written.length(),
          "a number that was written reads as itself");
}

void CheckReal(const stringEx& text, const wstringEx& wide, std::uint64_t position) {
  std::uint64_t consumed = 0;
  std::uint64_t wideConsumed = 0;
  const double value = text.to_double(position, Qorv::npos, &consumed);
  const double wideValue = wide.to_double(position, Qorv::npos, &wideConsumed);
  Require(consumed <= text.length(), "no more is consumed than there is");
  Require(std::memcmp(&value, &wideValue, sizeof value) == 0 && wideConsumed == consumed,
          "narrow and wide give the same real number");
}

}  // namespace

// The first two bytes choose base, flag and position. The text is a view, so that the sanitizer guards its end.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::vector<char> elements(data + 2, data + size);
  const std::vector<wchar_t> wideElements(elements.begin(), elements.end());
  const stringEx text = stringEx::view({elements.data(), elements.size()});
  const wstringEx wide = wstringEx::view({wideElements.data(), wideElements.size()});
  CheckInteger(text, wide, data[0] % 40 - 1, data[1] & Qorv::numberFlag::isUnsigned);
  CheckReal(text, wide, data[1] / 2);
  return 0;
}
