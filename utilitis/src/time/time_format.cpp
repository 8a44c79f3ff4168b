// The escapes of calendar times.
#include <iterator>
#include <string_view>

#include <qorv/time.h>

#include "time/calendar_fields.h"
#include "time/escape_key.h"

namespace Qorv {
namespace {

using IMPL::Century;
using IMPL::DaysSinceMonday;
using IMPL::Week;

constexpr std::string_view monthNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                           "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::string_view dayNames[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

constexpr std::int32_t ShortYear(const CALTIME& time) noexcept {
  return time.year >= 1970 && time.year <= 2038 ? time.year % 100 : time.year;
}

constexpr std::int32_t HourOf12(const CALTIME& time) noexcept {
  return time.hour % 12 == 0 ? 12 : time.hour % 12;
}

// Hours and minutes side by side: four digits or more.
constexpr std::int32_t HoursAndMinutes(std::int32_t zone) noexcept {
  return zone / 60 * 100 + zone % 60;
}

using Number = std::int32_t (*)(const CALTIME&) noexcept;
using Text = std::string_view (*)(const CALTIME&) noexcept;

// One escape: a number with zeros up to `width`, the sign counted in, or a text.
struct CalendarKey {
  std::string_view key{};
  std::uint8_t width = 0;
  bool isSigned = false;  // with a plus where there is no minus
  Number number = nullptr;
  Text text = nullptr;
};

constexpr CalendarKey Figure(std::string_view key, std::uint8_t width, Number number) {
  return {key, width, false, number};
}
constexpr CalendarKey Word(std::string_view key, Text text) {
  return {key, 0, false, nullptr, text};
}

// The first key that fits wins.
constexpr CalendarKey calendarRows[] = {
    Figure("Y", 1, [](const CALTIME& t) noexcept { return t.year; }),
    Figure("y", 2, ShortYear),
    Figure("M", 2, [](const CALTIME& t) noexcept { return static_cast<std::int32_t>(t.month); }),
    Word("A", [](const CALTIME& t) noexcept { return monthNames[t.month - 1]; }),
    Figure("d", 2, [](const CALTIME& t) noexcept { return std::int32_t{t.day}; }),
    Figure("D", 3, [](const CALTIME& t) noexcept { return std::int32_t{t.dayOfYear}; }),
    Figure("W", 1, [](const CALTIME& t) noexcept { return DaysSinceMonday(t) + 1; }),
    Word("B", [](const CALTIME& t) noexcept { return dayNames[t.weekday]; }),
    Figure("wm", 2, [](const CALTIME& t) noexcept { return Week(t, DaysSinceMonday(t)); }),
    Figure("ws", 2, [](const CALTIME& t) noexcept { return Week(t, static_cast<std::int32_t>(t.weekday)); }),
    Figure("H", 2, [](const CALTIME& t) noexcept { return std::int32_t{t.hour}; }),
    Figure("h", 1, HourOf12),
    Figure("T", 2, [](const CALTIME& t) noexcept { return std::int32_t{t.minute}; }),
    Figure("S", 2, [](const CALTIME& t) noexcept { return std::int32_t{t.second}; }),
    Figure("ms", 3,
           [](const CALTIME& t) noexcept { return static_cast<std::int32_t>(t.microsecond / 1000); }),
    Figure("us", 6, [](const CALTIME& t) noexcept { return static_cast<std::int32_t>(t.microsecond); }),
    Word("P", [](const CALTIME& t) noexcept { return std::string_view(t.hour < 12 ? "AM" : "PM"); }),
    Word("p", [](const CALTIME& t) noexcept { return std::string_view(t.hour < 12 ? "am" : "pm"); }),
    CalendarKey{"Z", 5, true, [](const CALTIME& t) noexcept { return HoursAndMinutes(t.zone); }},
    Figure("z", 1, [](const CALTIME& t) noexcept { return std::int32_t{t.zone}; }),
    Figure("C", 1, Century),
};

template <class T>
constexpr IMPL::CKeyTable<T, CalendarKey, std::size(calendarRows)> calendarKeys(calendarRows);

// What stands behind a marker, `text`, becomes a field of a time.
template <class T>
class CTimeStrEscapeCmd final : public IStrMatchCmd<T> {
 public:
  CTimeStrEscapeCmd(CTime time, std::int16_t zone) noexcept { CTime::Break(time, time_, zone); }

  std::int32_t Match(const T& text, T& result) override {
    const CalendarKey* const row = keys_->Find(text, length_);
    if (row == nullptr) return matchCode::none;
    IMPL::Show(result, Field(*row));
    return matchCode::replace;
  }

  std::uint64_t TokenLength() const override { return length_; }

 private:
  using element = typename T::value_type;
  using element_view = std::basic_string_view<element>;

  element_view Field(const CalendarKey& row) noexcept {
    if (row.number == nullptr) return text_.Write(row.text(time_));
    const std::int32_t value = row.number(time_);
    // The usual case, without a digit written.
    if (row.width == 2 && value >= 0 && value < 100)
      return IMPL::PairOf<element>(static_cast<std::uint32_t>(value));
    return Figures(value, row);
  }

  element_view Figures(std::int64_t value, const CalendarKey& row) noexcept {
    const char sign = value < 0 ? '-' : row.isSigned ? '+' : '\0';
    return text_.Write(static_cast<std::uint64_t>(value < 0 ? -value : value), row.width, sign);
  }

  const decltype(calendarKeys<element>)* keys_ = &calendarKeys<element>;
  CALTIME time_;
  std::uint64_t length_ = 0;
  IMPL::CFieldText<element> text_;
};

template <class T>
void FormatTime(T& out, const T& format, CTime time, std::int16_t zone) {
  CTimeStrEscapeCmd<T> command(time, zone);
  format.expand_append_to(out, '%', command);
}

}  // namespace

void CTime::Format(stringEx& out, const stringEx& format, std::int16_t zone) const {
  FormatTime(out, format, *this, zone);
}
void CTime::Format(wstringEx& out, const wstringEx& format, std::int16_t zone) const {
  FormatTime(out, format, *this, zone);
}

}  // namespace Qorv
