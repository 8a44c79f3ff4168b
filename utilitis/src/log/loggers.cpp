#include <qorv/loggers.h>

#include <ostream>

namespace Qorv {
namespace {

using namespace std::string_view_literals;

constexpr std::uint64_t usualLine = 65;  // characters that a file line has room for at once

constexpr std::string_view lineTime = "[%Y-%M-%d %H:%T:%S.%us UTC%Z]["sv;
constexpr std::string_view terminalTime = "[%Y-%M-%d %H:%T:%S.%us UTC%Z]"sv;
constexpr std::string_view microseconds = "%us"sv;

// The last of each table is for what is no level.
constexpr std::string_view tags[] = {"Debug]   ("sv, "Info]    ("sv, "Warning] ("sv, "Error]   ("sv,
                                     "Notice]  ("sv, "Fatal]   ("sv, "Unknown] ("sv};
struct COLORTAG {
  stringEx text;
  std::uint32_t color;
};
constexpr COLORTAG colorTags[] = {{"[Debug]   "_sv, 10}, {"[Info]    "_sv, 9},  {"[Warning] "_sv, 13},
                                  {"[Error]   "_sv, 12}, {"[Notice]  "_sv, 15}, {"[Fatal]   "_sv, 8},
                                  {"[Unknown] "_sv, 14}};
constexpr std::uint32_t background = 6;
constexpr std::uint32_t timeColor = 11;
constexpr std::uint32_t channelColor = 15;
constexpr std::uint32_t messageColor = 7;

template <class Tag, std::size_t count>
constexpr const Tag& TagOf(const Tag (&table)[count], std::int32_t level) noexcept {
  const bool isLevel = level >= logLevel::debug && level <= logLevel::fatal;
  return table[isLevel ? static_cast<std::size_t>(level) : count - 1];
}

void Put(std::ostream& stream, std::string_view text) {
  stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace

namespace IMPL {

CLineTime::CLineTime(std::string_view format) noexcept
    : frontFormat_(stringEx::view(format.substr(0, format.find(microseconds)))),
      backFormat_(stringEx::view(format.substr(format.find(microseconds) + microseconds.size()))) {}

void CLineTime::AppendTo(stringEx& line, CTime time) {
  CTime second = time;
  second.SetMicrosecond(0);
  if (second_ != second) Keep(time, second);
  char digits[6];
  std::uint32_t rest = time.GetMicrosecond();
  for (char* digit = std::end(digits); digit != digits; rest /= 10)
    *--digit = static_cast<char>('0' + rest % 10);
  line.append(front_).append(digits, sizeof digits).append(back_);
}

void CLineTime::Keep(CTime time, CTime second) {
  second_.reset();
  front_.clear();
  time.Format(front_, frontFormat_);
  back_.clear();
  time.Format(back_, backFormat_);
  second_ = second;
}

CFileLine::CFileLine() : time_(lineTime) {
  line_.reserve(usualLine);
}

const stringEx& CFileLine::Make(CTime time, std::int32_t level, const stringEx& channel,
                                const stringEx& message) {
  line_.clear();
  time_.AppendTo(line_, time);
  line_.append(TagOf(tags, level)).append(channel).append(") "sv).append(message).append('\n');
  return line_;
}

}  // namespace IMPL

CStreamLogger::CStreamLogger(std::ostream& stream) : stream_(stream), time_(lineTime) {}

void CStreamLogger::Log(CTime time, std::int32_t level, const stringEx& channel, const stringEx& message) {
  line_.clear();
  time_.AppendTo(line_, time);
  Put(stream_, line_);
  Put(stream_, TagOf(tags, level));
  Put(stream_, channel);
  Put(stream_, ")\n"sv);
  Put(stream_, message);
  Put(stream_, "\n\n"sv);
}

void CStreamLogger::Flush() {
  try {
    stream_.flush();
  } catch (...) {
  }
}

CTermLogger::CTermLogger(TTerminal* terminal) : terminal_(terminal), time_(terminalTime) {}

void CTermLogger::Log(CTime time, std::int32_t level, const stringEx& channel, const stringEx& message) {
  if (terminal_ == nullptr) return;
  bool isBegun = false;
  try {
    line_.clear();
    time_.AppendTo(line_, time);
    WriteAll(level, channel, message, isBegun);
  } catch (...) {
    if (!isBegun) return;
    try {
      terminal_->WriteChar('\n');  // the next record starts at the margin
    } catch (...) {
    }
  }
}

void CTermLogger::WriteAll(std::int32_t level, const stringEx& channel, const stringEx& message,
                           bool& isBegun) {
  const COLORTAG& tag = TagOf(colorTags, level);
  terminal_->SetColor(background, timeColor);
  isBegun = true;
  terminal_->Write(line_);
  terminal_->SetColor(background, tag.color);
  terminal_->Write(tag.text);
  terminal_->SetColor(background, channelColor);
  terminal_->WriteChar('(');
  terminal_->Write(channel);
  terminal_->WriteChar(')');
  terminal_->WriteChar('\n');
  terminal_->SetColor(background, messageColor);
  terminal_->Write(message);
  terminal_->WriteChar('\n');
  terminal_->WriteChar('\n');
}

}  // namespace Qorv
