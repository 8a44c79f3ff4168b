#include <unistd.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <string_view>
#include <vector>

#include <qorv/file.h>

#include "error/message.h"
#include "file/dir_common.h"
#include "file/narrow.h"
#include "file/open_mode.h"
#include "time/arithmetic.h"
#include "time/calendar_fields.h"

namespace Qorv {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view formats[] = {""sv,      "%Y-%M-%d_%H"sv, "%Y-%M-%d"sv,  "%Y-Week%wm"sv,
                                        "%Y-%M"sv, "%Y"sv,          "Century-%Y"sv};
constexpr std::string_view nameForNothing = "Invalid_Period_File_Name"sv;

std::string_view FormatOf(std::uint32_t period) noexcept {
  return period < std::size(formats) ? formats[period] : formats[filePeriod::none];
}

template <class Text>
Text Widen(std::string_view text) {
  Text out;
  for (const char c : text)
    out += static_cast<typename Text::value_type>(c);
  return out;
}

template <class Text>
Text NameOf(CTime time, std::uint32_t period, const Text& prefix, const Text& suffix) {
  Text name;
  name.append(prefix);
  time.Format(name, Widen<Text>(FormatOf(period)));
  name.append(suffix);
  return name.empty() ? Widen<Text>(nameForNothing) : name;
}

// Of all hours or days of the system's zone, counted from 1970.
std::int64_t CountOf(CTime time, std::int64_t length) noexcept {
  const std::int64_t rest =
      IMPL::FloorMod(time.GetValue(), length) + time.GetZone() * IMPL::microsecondsPerMinute;
  return IMPL::FloorDiv(time.GetValue(), length) + IMPL::FloorDiv(rest, length);
}

// A year's weeks have numbers of their own.
bool IsSameCalendarPeriod(CTime a, CTime b, std::uint32_t period) noexcept {
  CALTIME first;
  CALTIME second;
  CTime::Break(a, first);
  CTime::Break(b, second);
  if (period == filePeriod::century) return IMPL::Century(first) == IMPL::Century(second);
  if (first.year != second.year) return false;
  if (period == filePeriod::month) return first.month == second.month;
  return period != filePeriod::week ||
         IMPL::Week(first, IMPL::DaysSinceMonday(first)) == IMPL::Week(second, IMPL::DaysSinceMonday(second));
}

// The part of a path with its last slash.
std::string_view FolderOf(std::string_view path) noexcept {
  return path.substr(0, path.rfind('/') + 1);
}

}  // namespace

CPeriodSysFile::CPeriodSysFile(std::uint32_t period, std::int32_t keep, const stringEx& prefix,
                               const stringEx& suffix, const stringEx& mode)
    : period_(period),
      keep_(keep),
      prefix_(std::string_view(prefix)),
      suffix_(std::string_view(suffix)),
      mode_(std::string_view(mode)) {}

CPeriodSysFile::CPeriodSysFile(std::uint32_t period, std::int32_t keep, const wstringEx& prefix,
                               const wstringEx& suffix, const stringEx& mode)
    : CPeriodSysFile(period, keep, IMPL::NarrowForSystem(prefix), IMPL::NarrowForSystem(suffix), mode) {}

stringEx CPeriodSysFile::MakeName(CTime time, std::uint32_t period, const stringEx& prefix,
                                  const stringEx& suffix) {
  return NameOf(time, period, prefix, suffix);
}

wstringEx CPeriodSysFile::MakeName(CTime time, std::uint32_t period, const wstringEx& prefix,
                                   const wstringEx& suffix) {
  return NameOf(time, period, prefix, suffix);
}

void CPeriodSysFile::Close() {
  current_.reset();
  CSysFile::Close();
}

bool CPeriodSysFile::IsSamePeriod(CTime time) const noexcept {
  switch (period_) {
    case filePeriod::hour:
      return CountOf(time, IMPL::microsecondsPerHour) == CountOf(*current_, IMPL::microsecondsPerHour);
    case filePeriod::day:
      return CountOf(time, IMPL::microsecondsPerDay) == CountOf(*current_, IMPL::microsecondsPerDay);
    case filePeriod::week:
    case filePeriod::month:
    case filePeriod::year:
    case filePeriod::century:
      return IsSameCalendarPeriod(time, *current_, period_);
    default:
      return true;
  }
}

// The time counts from here on even if nothing can be opened: a failure is told once in a period, not with each record.
void CPeriodSysFile::Update(CTime time, bool force) {
  if (!force && current_ && IsSamePeriod(time)) return;
  current_ = time;
  std::exception_ptr closing;  // what the old file has lost is no reason to go without the new one
  try {
    CSysFile::Close();
  } catch (const sysfileExp&) {
    closing = std::current_exception();
  }
  const std::optional<int> flags = IMPL::OpenFlags(mode_);
  if (!flags) {
    IMPL::CMessage("CPeriodSysFile::Update - unknown mode\n")
        .Field("  file mode = ", mode_)
        .Throw<sysfileExp>(fileCode::open);
  }
  Open(MakeName(time, period_, prefix_, suffix_), *flags, 0, fileShare::none, 0666, 0);
  Purge();
  if (closing) std::rethrow_exception(closing);
}

// In the order of their names, which is that of time. The file that is open may be among those that go, after a step
// back into an early period.
void CPeriodSysFile::Purge() const noexcept {
  if (keep_ < 1 || keep_ == std::numeric_limits<std::int32_t>::max()) return;
  try {
    const stringEx folder(FolderOf(GetPath()));
    stringEx series;
    IMPL::AppendQuoted(series, std::string_view(prefix_).substr(FolderOf(prefix_).size()));
    series += '*';
    IMPL::AppendQuoted(series, suffix_);
    const std::vector<stringEx> names = CDir::GetAllFiles(folder, series);
    const std::size_t surplus = names.size() - std::min(names.size(), static_cast<std::size_t>(keep_));
    for (std::size_t i = 0; i < surplus; ++i)
      ::unlink((folder + names[i]).data());
  } catch (...) {  // the names are not to be had: the next period tries again
  }
}

}  // namespace Qorv
