#include <algorithm>
#include <iterator>
#include <string_view>

#include <qorv/time.h>

namespace Qorv {
namespace {

constexpr std::uint64_t microsecond = 1;
constexpr std::uint64_t millisecond = 1000 * microsecond;
constexpr std::uint64_t second = 1000 * millisecond;
constexpr std::uint64_t minute = 60 * second;
constexpr std::uint64_t hour = 60 * minute;
constexpr std::uint64_t day = 24 * hour;
constexpr std::uint64_t week = 7 * day;

// One escape: the span in whole `unit`s, less what makes whole `larger` ones.
struct SpanKey {
  std::string_view key;
  std::uint64_t unit;
  std::uint64_t larger;  // 0: nothing is taken away
  std::uint64_t digits;  // at least so many, filled up with zeros
};

// The first key that fits wins.
constexpr SpanKey spanKeys[] = {
    {"W", week, 0, 1},          {"TD", day, 0, 1},
    {"PD", day, week, 1},       {"TH", hour, 0, 2},
    {"sTH", hour, 0, 1},        {"PH", hour, day, 2},
    {"TM", minute, 0, 1},       {"PM", minute, hour, 2},
    {"TS", second, 0, 1},       {"PS", second, minute, 2},
    {"Tms", millisecond, 0, 1}, {"Pms", millisecond, second, 3},
    {"Tus", microsecond, 0, 1}, {"Pus", microsecond, millisecond, 3},
};

template <class T>
void AppendPadded(basic_string_ex<T>& out, std::uint64_t value, std::uint64_t digits) {
  basic_string_ex<T> number;
  number.append_uint(value);
  if (number.length() < digits) out.append(digits - number.length(), T('0'));
  out += number;
}

// Appends the figure that the start of `text`, which stands behind a marker, asks for. Returns the length of
// its key, 0 if there is none.
template <class T>
std::uint64_t ExpandSpanKey(basic_string_ex<T>& out, std::basic_string_view<T> text,
                            std::uint64_t magnitude) {
  const auto fits = [&](const SpanKey& row) {
    return row.key.size() <= text.size() && std::equal(row.key.begin(), row.key.end(), text.begin());
  };
  const auto row = std::find_if(std::begin(spanKeys), std::end(spanKeys), fits);
  if (row == std::end(spanKeys)) return 0;
  const std::uint64_t rest = row->larger != 0 ? magnitude % row->larger : magnitude;
  AppendPadded(out, rest / row->unit, row->digits);
  return row->key.size();
}

template <class T>
void FormatSpan(basic_string_ex<T>& out, const basic_string_ex<T>& format, std::int64_t value) {
  constexpr auto marker = T('%');
  // Unsigned, since the smallest value has no counterpart.
  const auto bits = static_cast<std::uint64_t>(value);
  const std::uint64_t magnitude = value < 0 ? 0 - bits : bits;
  // Holds the text, since `out` may be the format itself.
  const basic_string_ex<T> source(format);  // NOLINT(performance-unnecessary-copy-initialization)
  std::basic_string_view<T> text(source);
  while (!text.empty()) {
    const std::size_t at = std::min(text.find(marker), text.size());
    out += text.substr(0, at);
    text.remove_prefix(at);
    if (text.empty()) return;
    text.remove_prefix(1);
    std::uint64_t used = 0;
    if (!text.starts_with(marker)) used = ExpandSpanKey(out, text, magnitude);
    if (used == 0) {  // a doubled marker, or one without an escape behind it, gives one
      out += marker;
      used = text.starts_with(marker) ? 1 : 0;
    }
    text.remove_prefix(used);
  }
}

}  // namespace

void CTimeSpan::Format(stringEx& out, const stringEx& format) const {
  FormatSpan(out, format, value_);
}
void CTimeSpan::Format(wstringEx& out, const wstringEx& format) const {
  FormatSpan(out, format, value_);
}

}  // namespace Qorv
