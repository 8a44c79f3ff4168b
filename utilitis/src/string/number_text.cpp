// Numbers into text and out of it.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <limits>

#include <qorv/string.h>

namespace Qorv {
namespace {

template <class T>
constexpr bool IsNumberSpace(T element) noexcept {
  return element == T('\0') || (element >= T('\t') && element <= T('\r') && element != T('\f')) ||
         element == T(' ');
}

template <class T>
constexpr bool IsDecimal(T element) noexcept {
  return element >= T('0') && element <= T('9');
}

// The value of a digit of any base up to 36; 36 for an element that is none.
template <class T>
constexpr std::uint32_t DigitValue(T element) noexcept {
  if (IsDecimal(element)) return static_cast<std::uint32_t>(element - T('0'));
  if (element >= T('A') && element <= T('Z')) return static_cast<std::uint32_t>(element - T('A')) + 10;
  if (element >= T('a') && element <= T('z')) return static_cast<std::uint32_t>(element - T('a')) + 10;
  return 36;
}

// A walk over text that knows where it ends.
template <class T>
class CScanner {
 public:
  CScanner(std::basic_string_view<T> text, std::uint64_t position) noexcept
      : text_(text), position_(std::min<std::uint64_t>(position, text.size())) {}

  bool AtEnd() const noexcept { return position_ == text_.size(); }
  T Peek(std::uint64_t ahead = 0) const noexcept {
    return position_ + ahead < text_.size() ? text_[position_ + ahead]
                                            : T('\f');  // matches nothing sought here
  }
  bool IsLetter(char lower, std::uint64_t ahead) const noexcept {
    return Peek(ahead) == T(lower) || Peek(ahead) == T(lower - 32);
  }
  void Skip(std::uint64_t count = 1) noexcept { position_ += count; }
  std::uint64_t Position() const noexcept { return position_; }

  void SkipSpace() noexcept {
    while (!AtEnd() && IsNumberSpace(Peek()))
      Skip();
  }
  bool TakeSign() noexcept {
    const bool negative = Peek() == T('-');
    if (negative || Peek() == T('+')) Skip();
    return negative;
  }

 private:
  std::basic_string_view<T> text_;
  std::uint64_t position_;
};

// Base of the number at hand. A prefix is skipped only if a digit of its base follows; "0x" alone is the
// number 0.
template <class T>
std::uint32_t DetectBase(CScanner<T>& scan) noexcept {
  if (scan.Peek() != T('0')) return 10;
  for (const auto& [letter, base] : {std::pair('x', 16U), std::pair('b', 2U)}) {
    if (scan.IsLetter(letter, 1)) {
      if (DigitValue(scan.Peek(2)) < base) scan.Skip(2);
      return base;
    }
  }
  return 8;
}

// Digits of `base`, stopping where the value would no longer fit; `overflow` tells of that.
template <class T>
std::uint64_t TakeDigits(CScanner<T>& scan, std::uint32_t base, std::uint64_t most, bool& overflow) noexcept {
  std::uint64_t value = 0;
  for (std::uint32_t digit; !scan.AtEnd() && (digit = DigitValue(scan.Peek())) < base; scan.Skip()) {
    if (value > (most - digit) / base) {
      overflow = true;
      return value;
    }
    value = value * base + digit;
  }
  return value;
}

// Decimal digits onto `value`; true if there was one.
template <class T>
bool TakeDecimals(CScanner<T>& scan, long double& value, std::int64_t* scale) noexcept {
  bool any = false;
  for (; IsDecimal(scan.Peek()); scan.Skip(), any = true) {
    value = value * 10 + static_cast<long double>(scan.Peek() - T('0'));
    if (scale != nullptr) --*scale;
  }
  return any;
}

// The exponent behind an "e", cut at a size beyond which every number is infinite or zero. Without a digit
// the "e" is no part of the number.
template <class T>
std::int64_t TakeExponent(CScanner<T>& scan) noexcept {
  constexpr std::int64_t enough = 100'000;
  if (!scan.IsLetter('e', 0)) return 0;
  CScanner<T> ahead = scan;
  ahead.Skip();
  const bool negative = ahead.TakeSign();
  if (!IsDecimal(ahead.Peek())) return 0;
  std::int64_t value = 0;
  for (; IsDecimal(ahead.Peek()); ahead.Skip())
    value = std::min(value * 10 + (ahead.Peek() - T('0')), enough);
  scan = ahead;
  return negative ? -value : value;
}

}  // namespace

template <class T>
basic_string_ex<T>& basic_string_ex<T>::AppendNumber(std::uint64_t magnitude, bool negative, int base) {
  if (base < 2 || base > 36) return append(T('0'));
  T digits[65];
  T* first = std::end(digits);
  do {
    *--first =
        static_cast<T>("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"[magnitude % static_cast<unsigned>(base)]);
    magnitude /= static_cast<unsigned>(base);
  } while (magnitude != 0);
  if (negative) *--first = T('-');
  return append(text_view(first, static_cast<std::size_t>(std::end(digits) - first)));
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::append_int(std::int64_t value, int base) {
  const auto bits = static_cast<std::uint64_t>(value);
  return AppendNumber(value < 0 ? 0 - bits : bits, value < 0 && base == 10, base);
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::append_uint(std::uint64_t value, int base) {
  return AppendNumber(value, false, base);
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::assign_int(std::int64_t value, int base) {
  clear();
  return append_int(value, base);
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::assign_uint(std::uint64_t value, int base) {
  clear();
  return append_uint(value, base);
}

template <class T>
std::int64_t basic_string_ex<T>::to_int64(int base, std::uint32_t flags,
                                          std::uint64_t* consumed) const noexcept {
  constexpr auto int64Max = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  const bool isUnsigned = (flags & numberFlag::isUnsigned) != 0;
  if (consumed != nullptr) *consumed = 0;
  if (base != -1 && (base < 2 || base > 36)) return 0;
  CScanner<T> scan(*this, 0);
  scan.SkipSpace();
  const bool negative = scan.TakeSign();
  if (scan.AtEnd()) return 0;
  const std::uint32_t radix = base == -1 ? DetectBase(scan) : static_cast<std::uint32_t>(base);
  const std::uint64_t digitsAt = scan.Position();
  const std::uint64_t most =
      isUnsigned ? std::numeric_limits<std::uint64_t>::max() : int64Max + (negative ? 1 : 0);
  bool overflow = false;
  std::uint64_t value = TakeDigits(scan, radix, most, overflow);
  if (scan.Position() == digitsAt) return 0;
  if (consumed != nullptr) *consumed = scan.Position();
  if (overflow) {
    errno = ERANGE;
    value = most;
    if (isUnsigned) return -1;
  }
  return static_cast<std::int64_t>(negative ? 0 - value : value);
}

template <class T>
double basic_string_ex<T>::to_double(std::uint64_t position, std::uint64_t* consumed) const noexcept {
  if (consumed != nullptr) *consumed = 0;
  CScanner<T> scan(*this, position);
  scan.SkipSpace();
  const bool negative = scan.TakeSign();
  long double value = 0;
  std::int64_t scale = 0;
  bool any = TakeDecimals(scan, value, nullptr);
  if (scan.Peek() == T('.') && (any || IsDecimal(scan.Peek(1)))) {
    scan.Skip();
    any |= TakeDecimals(scan, value, &scale);
  }
  if (!any) return 0;
  scale += TakeExponent(scan);
  if (consumed != nullptr) *consumed = scan.Position();
  const bool isZero = value == 0;
  for (; scale > 0 && !std::isinf(value); --scale)
    value *= 10;
  for (; scale < 0 && value != 0; ++scale)
    value /= 10;
  const auto result = static_cast<double>(negative ? -value : value);
  if (std::isinf(result) || (result == 0 && !isZero)) errno = ERANGE;
  return result;
}

template class basic_string_ex<char>;
template class basic_string_ex<wchar_t>;
template class basic_string_ex<unsigned char>;

}  // namespace Qorv
