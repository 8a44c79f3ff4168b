// The escapes of time spans.
#include <iterator>
#include <string_view>

#include <qorv/time.h>

#include "time/escape_key.h"

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
constexpr SpanKey spanRows[] = {
    {"W", week, 0, 1},          {"TD", day, 0, 1},
    {"PD", day, week, 1},       {"TH", hour, 0, 2},
    {"sTH", hour, 0, 1},        {"PH", hour, day, 2},
    {"TM", minute, 0, 1},       {"PM", minute, hour, 2},
    {"TS", second, 0, 1},       {"PS", second, minute, 2},
    {"Tms", millisecond, 0, 1}, {"Pms", millisecond, second, 3},
    {"Tus", microsecond, 0, 1}, {"Pus", microsecond, millisecond, 3},
};
template <class T>
constexpr IMPL::CKeyTable<T, SpanKey, std::size(spanRows)> spanKeys(spanRows);

// What stands behind a marker, `text`, becomes a figure of a span.
template <class T>
class CTimeSpanStrEscapeCmd final : public IStrMatchCmd<T> {
 public:
  explicit CTimeSpanStrEscapeCmd(std::uint64_t magnitude) noexcept : magnitude_(magnitude) {}

  std::int32_t Match(const T& text, T& result) override {
    const SpanKey* const row = keys_->Find(text, length_);
    if (row == nullptr) return matchCode::none;
    const std::uint64_t rest = row->larger != 0 ? magnitude_ % row->larger : magnitude_;
    IMPL::Show(result, text_.Write(rest / row->unit, row->digits));
    return matchCode::replace;
  }

  std::uint64_t TokenLength() const override { return length_; }

 private:
  using element = typename T::value_type;

  const decltype(spanKeys<element>)* keys_ = &spanKeys<element>;
  std::uint64_t magnitude_;  // microseconds
  std::uint64_t length_ = 0;
  IMPL::CFieldText<element> text_;
};

template <class T>
void FormatSpan(T& out, const T& format, std::int64_t value) {
  // Unsigned, since the smallest value has no counterpart.
  const auto bits = static_cast<std::uint64_t>(value);
  CTimeSpanStrEscapeCmd<T> command(value < 0 ? 0 - bits : bits);
  format.expand_append_to(out, '%', command);
}

}  // namespace

void CTimeSpan::Format(stringEx& out, const stringEx& format) const {
  FormatSpan(out, format, value_);
}
void CTimeSpan::Format(wstringEx& out, const wstringEx& format) const {
  FormatSpan(out, format, value_);
}

}  // namespace Qorv
