// Names of months, weekdays and zones, read from text.
#include <algorithm>
#include <limits>
#include <span>
#include <string_view>

#include <qorv/time.h>

namespace Qorv {
namespace {

constexpr std::string_view monthNames[] = {"january",   "february", "march",    "april",
                                           "may",       "june",     "july",     "august",
                                           "september", "october",  "november", "december"};
constexpr std::string_view dayNames[] = {"sunday",   "monday", "tuesday", "wednesday",
                                         "thursday", "friday", "saturday"};
constexpr std::size_t shortLength = 3;

constexpr bool IsDigit(auto element) noexcept {
  return element >= '0' && element <= '9';
}

// `first` is the number of the first name.
template <class T>
std::uint32_t ParseName(const basic_string_ex<T>& text, std::span<const std::string_view> names,
                        std::uint32_t first, std::uint32_t none) {
  basic_string_ex<T> word = text.trim_left_copy();
  word.trim_right();
  const std::uint64_t sign = !word.empty() && word[0] == T('+') ? 1 : 0;
  if (word.length() > sign && std::all_of(word.begin() + sign, word.end(), IsDigit<T>)) {
    const std::int64_t number = word.to_int64(10);
    return number <= std::numeric_limits<std::uint32_t>::max() ? static_cast<std::uint32_t>(number) : none;
  }
  word.to_lower();
  const auto fits = [&](std::string_view name) {
    if (word.length() != shortLength && word.length() != name.size()) return false;
    return std::equal(word.begin(), word.end(), name.begin());
  };
  const auto found = std::find_if(names.begin(), names.end(), fits);
  return found == names.end() ? none : first + static_cast<std::uint32_t>(found - names.begin());
}

template <class T>
std::uint32_t ParseMonth(const basic_string_ex<T>& text) {
  return ParseName<T>(text, monthNames, 1, CALTIME{}.month);
}

template <class T>
std::uint32_t ParseDay(const basic_string_ex<T>& text) {
  return ParseName<T>(text, dayNames, 0, CALTIME{}.weekday);
}

}  // namespace

std::uint32_t CTime::ParseMonthName(const stringEx& text) {
  return ParseMonth(text);
}
std::uint32_t CTime::ParseMonthName(const wstringEx& text) {
  return ParseMonth(text);
}
std::uint32_t CTime::ParseDayName(const stringEx& text) {
  return ParseDay(text);
}
std::uint32_t CTime::ParseDayName(const wstringEx& text) {
  return ParseDay(text);
}

std::optional<std::int16_t> ParseZone(const stringEx& text) {
  stringEx word = text.trim_left_copy();
  word.trim_right();
  if (word == "Local") return systemZone;
  if (word == "NOTZ") return std::int16_t{0};
  std::string_view digits(word);
  const bool isWest = digits.starts_with('-');
  if (isWest || digits.starts_with('+')) digits.remove_prefix(1);
  if (digits.empty() || digits.size() > 4 || !std::all_of(digits.begin(), digits.end(), IsDigit<char>))
    return std::nullopt;
  int number = 0;
  for (const char digit : digits)
    number = number * 10 + (digit - '0');
  if (digits.size() <= 2) number *= 100;
  if (number % 100 >= 60) return std::nullopt;
  const int minutes = number / 100 * 60 + number % 100;
  return static_cast<std::int16_t>(isWest ? -minutes : minutes);
}

}  // namespace Qorv
