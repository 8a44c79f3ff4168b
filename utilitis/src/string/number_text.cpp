// Numbers into text and out of it.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <limits>

#include <qorv/string.h>

namespace Qorv {
namespace {

// One bit for each element of the white space, all of which lie below 64.
constexpr std::uint64_t spaceBits = [] {
  std::uint64_t bits = 0;
  for (const char element : IMPL::whiteSpace<char>)
    bits |= std::uint64_t{1} << element;
  return bits;
}();

template <class T>
constexpr bool IsSpace(T element) noexcept {
  const auto index = static_cast<std::make_unsigned_t<T>>(element);
  return index < 64 && ((spaceBits >> index) & 1) != 0;
}

template <class T>
constexpr bool IsDecimal(T element) noexcept {
  return element >= T('0') && element <= T('9');
}

constexpr std::uint32_t noDigit = 36;

constexpr std::array<std::uint8_t, 128> digitValues = [] {
  std::array<std::uint8_t, 128> values{};
  values.fill(noDigit);
  for (std::uint8_t i = 0; i < noDigit; ++i) {
    values["0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"[i] & 127] = i;
    values["0123456789abcdefghijklmnopqrstuvwxyz"[i] & 127] = i;
  }
  return values;
}();

// The value of a digit of any base up to 36; noDigit for an element that is none.
template <class T>
constexpr std::uint32_t DigitValue(T element) noexcept {
  const auto index = static_cast<std::make_unsigned_t<T>>(element);
  return index < digitValues.size() ? digitValues[index] : noDigit;
}

// A walk over text that knows where it ends.
template <class T>
class CScanner {
 public:
  explicit CScanner(std::basic_string_view<T> text) noexcept
      : begin_(text.data()), at_(begin_), end_(begin_ + text.size()) {}

  bool AtEnd() const noexcept { return at_ == end_; }
  T Peek() const noexcept { return AtEnd() ? T('\f') : *at_; }  // which matches nothing sought here
  T Peek(std::ptrdiff_t ahead) const noexcept { return end_ - at_ > ahead ? at_[ahead] : T('\f'); }
  bool IsLetter(char lower, std::ptrdiff_t ahead) const noexcept {
    return Peek(ahead) == T(lower) || Peek(ahead) == T(lower - 32);
  }
  void Skip(std::ptrdiff_t count = 1) noexcept { at_ += count; }
  std::basic_string_view<T> Rest() const noexcept { return {at_, static_cast<std::size_t>(end_ - at_)}; }
  std::uint64_t Position() const noexcept { return static_cast<std::uint64_t>(at_ - begin_); }

  void SkipSpace() noexcept {
    while (!AtEnd() && IsSpace(Peek()))
      Skip();
  }
  bool TakeSign() noexcept {
    const bool negative = Peek() == T('-');
    if (negative || Peek() == T('+')) Skip();
    return negative;
  }

 private:
  const T* begin_;
  const T* at_;
  const T* end_;
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

// Digits of `base` onto `value`, stopping where it would no longer fit; `overflow` tells of that. Out of line:
// few numbers are long enough to come here, and the short ones need no room for its registers.
template <class T>
[[gnu::noinline]] std::uint64_t TakeCheckedDigits(CScanner<T>& scan, std::uint32_t base, std::uint64_t most,
                                                  std::uint64_t value, bool& overflow) noexcept {
  const std::uint64_t cut = most / base;
  const std::uint64_t lastDigit = most % base;
  for (std::uint32_t digit = 0; (digit = DigitValue(scan.Peek())) < base; scan.Skip()) {
    overflow = value > cut || (value == cut && digit > lastDigit);
    if (overflow) break;
    value = value * base + digit;
  }
  return value;
}

// Digits of `base` as long as their value fits in any case, which as many do in every base.
template <class T>
std::uint64_t TakeSafeDigits(CScanner<T>& scan, std::uint32_t base) noexcept {
  constexpr std::size_t safe = 12;
  const std::basic_string_view<T> rest = scan.Rest().substr(0, safe);
  std::uint64_t value = 0;
  std::size_t count = 0;
  for (std::uint32_t digit = 0; count < rest.size() && (digit = DigitValue(rest[count])) < base; ++count)
    value = value * base + digit;
  scan.Skip(static_cast<std::ptrdiff_t>(count));
  return value;
}

// What a number's digits say: value times 10 to the power of scale.
struct DECIMAL {
  long double value = 0;
  std::int64_t scale = 0;
  int significant = 0;  // digits in value, without zeros in front
};

// Decimal digits onto `number`; true if there was one. When the value has more of them than it can tell
// apart, the others are only counted: it stays finite however many there are.
template <class T>
bool TakeDecimals(CScanner<T>& scan, DECIMAL& number, bool isFraction) noexcept {
  constexpr int enough = 40;
  bool any = false;
  for (; IsDecimal(scan.Peek()); scan.Skip(), any = true) {
    const bool isCounted = number.significant == enough;
    if (!isCounted) {
      number.value = number.value * 10 + static_cast<long double>(scan.Peek() - T('0'));
      if (number.value != 0) ++number.significant;
    }
    number.scale += (isCounted ? 1 : 0) - (isFraction ? 1 : 0);
  }
  return any;
}

// The exponent behind an "e", cut at `enough`. Without a digit the "e" is no part of the number.
template <class T>
std::int64_t TakeExponent(CScanner<T>& scan, std::int64_t enough) noexcept {
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
  CScanner<T> scan(*this);
  scan.SkipSpace();
  bool negative = scan.TakeSign();
  if (scan.AtEnd()) return 0;
  const std::uint32_t radix = base == -1 ? DetectBase(scan) : static_cast<std::uint32_t>(base);
  const std::uint64_t digitsAt = scan.Position();
  std::uint64_t value = TakeSafeDigits(scan, radix);
  if (scan.Position() == digitsAt) return 0;
  if (DigitValue(scan.Peek()) < radix) {
    const std::uint64_t most =
        isUnsigned ? std::numeric_limits<std::uint64_t>::max() : int64Max + (negative ? 1 : 0);
    bool overflow = false;
    value = TakeCheckedDigits(scan, radix, most, value, overflow);
    if (overflow) {
      errno = ERANGE;
      value = most;
      negative = negative && !isUnsigned;
    }
  }
  if (consumed != nullptr) *consumed = scan.Position();
  return static_cast<std::int64_t>(negative ? 0 - value : value);
}

template <class T>
std::int64_t basic_string_ex<T>::to_int64(std::uint64_t position, std::uint64_t length, int base,
                                          std::uint32_t flags, std::uint64_t* consumed) const noexcept {
  return part({position, length}).to_int64(base, flags, consumed);
}

template <class T>
double basic_string_ex<T>::to_double(std::uint64_t position, std::uint64_t length,
                                     std::uint64_t* consumed) const noexcept {
  if (consumed != nullptr) *consumed = 0;
  CScanner<T> scan(part({position, length}));
  // Beyond this exponent a number of so many digits is infinite or zero.
  const auto enough = static_cast<std::int64_t>(100'000 + scan.Rest().size());
  scan.SkipSpace();
  const bool negative = scan.TakeSign();
  DECIMAL number;
  bool any = TakeDecimals(scan, number, false);
  if (scan.Peek() == T('.') && IsDecimal(scan.Peek(1))) {
    scan.Skip();
    any = TakeDecimals(scan, number, true);
  }
  if (!any) return 0;
  auto [value, scale, significant] = number;
  scale += TakeExponent(scan, enough);
  if (consumed != nullptr) *consumed = scan.Position();
  for (; scale > 0 && value != 0 && !std::isinf(value); --scale)
    value *= 10;
  for (; scale < 0 && value != 0 && !std::isinf(value); ++scale)
    value *= 0.1L;
  const auto result = static_cast<double>(negative ? -value : value);
  if (std::isinf(result) || (result == 0 && significant != 0)) errno = ERANGE;
  return result;
}

template class basic_string_ex<char>;
template class basic_string_ex<wchar_t>;
template class basic_string_ex<unsigned char>;

}  // namespace Qorv
