#include <qorv/row_parser.h>

#include <algorithm>

#include "error/message.h"

namespace Qorv {
namespace {

using IMPL::CMessage;

constexpr std::size_t bufferSize = 8192;

std::string_view TextOf(const byteEx& bytes) noexcept {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.length()};
}

[[noreturn]] void RefuseEnd(const char* heading, const stringEx& field) {
  CMessage(heading).Field("  content = ", field).Throw<csvExp>(csvCode::brokenField);
}

[[noreturn]] void RefuseRow(const char* heading, std::uint64_t quota) {
  CMessage(heading).Field("  current quota = ", quota).Throw<csvExp>(csvCode::rowQuota);
}

}  // namespace

// --- the buffer ------------------------------------------------------------------------------------------------------

void IMPL::CRowParser::Bind(CHandle<TDataSource> source, std::uint64_t quota) {
  source_ = std::move(source);
  quota_ = quota;
  buffer_.clear();
  position_ = 0;
}

// Behind what is ahead. False if the data has ended.
bool IMPL::CRowParser::ReadOn() {
  if (!source_ || source_->IsEof()) return false;
  buffer_.erase(0, position_);
  position_ = 0;
  std::size_t count = 0;
  buffer_.append_by(bufferSize, [&](unsigned char* room) { return count = source_->Read(room, bufferSize); });
  return count != 0;
}

std::string_view IMPL::CRowParser::Ahead() {
  if (position_ == buffer_.length()) ReadOn();
  return TextOf(buffer_).substr(position_);
}

bool IMPL::CRowParser::IsNext(std::string_view bytes) {
  while (buffer_.length() - position_ < bytes.size()) {
    const std::string_view have = TextOf(buffer_).substr(position_);
    if (!bytes.starts_with(have) || !ReadOn()) return false;
  }
  return TextOf(buffer_).substr(position_).starts_with(bytes);
}

void IMPL::CRowParser::Take(std::size_t count) {
  const std::uint64_t room = quota_ - std::min(rowLength_, quota_);
  position_ += std::min<std::uint64_t>(count, room + 1);
  rowLength_ += count;
  if (count > room) RefuseQuota(quota_);
}

// --- by commas -------------------------------------------------------------------------------------------------------

void CCsvParser::Open(CHandle<TDataSource> source, std::uint64_t quota, char quote, char delimiter,
                      std::string_view lineEnd) {
  Bind(std::move(source), quota);
  quote_ = quote;
  delimiter_ = delimiter;
  lineEnd_.assign(lineEnd.empty() ? "\n" : lineEnd);
  lines_ = 0;
}

void CCsvParser::RefuseQuota(std::uint64_t quota) const {
  RefuseRow("CCsvParser::GetNextRow - out of row length quota\n", quota);
}

bool CCsvParser::TakeLineEnd() {
  if (!IsNext(lineEnd_)) return false;
  Take(lineEnd_.length());
  ++lines_;
  return true;
}

bool CCsvParser::GetNextRow(std::vector<stringEx>& fields) {
  BeginRow();
  for (;;) {
    const std::string_view ahead = Ahead();
    if (ahead.empty()) return HasBegun();
    stringEx field;
    if (ahead.front() == quote_) {
      TakeQuoted(field);
    } else if (ahead.front() == delimiter_) {
      Take(1);
      fields.emplace_back();
      continue;
    } else if (TakeLineEnd()) {
      return true;
    } else {
      TakeBare(field);
    }
    fields.push_back(std::move(field));
    // Behind a field: its delimiter, or the row's end.
    if (const std::string_view behind = Ahead(); !behind.empty() && behind.front() == delimiter_) {
      Take(1);
    } else {
      if (!behind.empty()) TakeLineEnd();
      return true;
    }
  }
}

// Up to what ends it. The first element is one whatever it begins: a part of a line end is none.
void CCsvParser::TakeBare(stringEx& field) {
  const char ends[] = {delimiter_, lineEnd_[0]};
  for (std::string_view ahead = Ahead(); !ahead.empty(); ahead = Ahead()) {
    std::size_t count = std::min(ahead.find_first_of({ends, sizeof(ends)}), ahead.size());
    if (count == 0) {
      if (ahead.front() == delimiter_ || IsNext(lineEnd_)) return;
      ahead = Ahead();  // it may have moved
      count = 1;
    }
    field.append(ahead.substr(0, count));
    Take(count);
  }
}

void CCsvParser::TakeQuoted(stringEx& field) {
  Take(1);
  for (std::string_view ahead = Ahead(); !ahead.empty(); ahead = Ahead()) {
    const std::size_t count = std::min(ahead.find(quote_), ahead.size());
    field.append(ahead.substr(0, count));
    Take(count);
    if (count == ahead.size()) continue;
    Take(1);
    const std::string_view behind = Ahead();
    if (behind.empty() || behind.front() == delimiter_) return;
    if (behind.front() == quote_) {
      field += quote_;
      Take(1);
    } else if (IsNext(lineEnd_)) {
      return;
    } else {
      const char element = Ahead().front();
      Take(1);
      RefuseElement(element, field);
    }
  }
  RefuseEnd("CCsvParser::GetNextRow - the last qouted field is not closed correctly\n", field);
}

void CCsvParser::RefuseElement(char element, const stringEx& field) const {
  stringEx told(&element, 1);
  told.format_append(" (%#x)", static_cast<unsigned>(static_cast<unsigned char>(element)));
  stringEx expected(&delimiter_, 1);
  expected += " or the line end";
  CMessage("CCsvParser::GetNextRow - delimiter or line end mark not follow by end of qouter\n")
      .Field("  char    = ", told)
      .Field("  expect  = ", expected)
      .Field("  content = ", field)
      .Throw<csvExp>(csvCode::brokenField);
}

void CCsvParser::PutRow(stringEx& target, std::span<const stringEx> fields) const {
  const char special[] = {quote_, delimiter_, lineEnd_[0]};
  bool isFirst = true;
  for (const stringEx& field : fields) {
    if (!isFirst) target += delimiter_;
    isFirst = false;
    if (!field.empty() && std::string_view(field).find_first_of({special, sizeof(special)}) == npos) {
      target += field;
      continue;
    }
    target += quote_;
    const char doubled[] = {quote_, quote_};
    field.replace_append_to(target, {&quote_, 1}, {doubled, sizeof(doubled)});
    target += quote_;
  }
  target += lineEnd_;
}

// --- as arrays -------------------------------------------------------------------------------------------------------

void CJsonParser::Open(CHandle<TDataSource> source, std::uint64_t quota) {
  Bind(std::move(source), quota);
}

void CJsonParser::RefuseQuota(std::uint64_t quota) const {
  RefuseRow("CJsonParser::GetNextRow - out of row length quota\n", quota);
}

bool CJsonParser::GetNextRow(std::vector<stringEx>& fields) {
  BeginRow();
  bool isOpen = false;
  bool hasField = false;
  for (;;) {
    const std::string_view ahead = Ahead();
    if (ahead.empty()) return isOpen || hasField;
    const char element = ahead.front();
    stringEx field;
    bool endsRow = false;
    switch (element) {
      case ' ':
      case '\t':
      case '\n':
      case '\r':
        Take(1);
        continue;
      case '[':
        Take(1);
        isOpen = true;
        continue;
      case ']':
        Take(1);
        if (isOpen || hasField) return true;
        continue;
      case ',':
        Take(1);
        if (isOpen) fields.emplace_back();
        hasField = hasField || isOpen;
        continue;
      case '"':
        endsRow = TakeQuoted(field);
        break;
      default:
        endsRow = TakeBare(field);
    }
    fields.push_back(std::move(field));
    hasField = true;
    if (endsRow) return true;
  }
}

// True if the row ends with the field.
bool CJsonParser::TakeBare(stringEx& field) {
  for (std::string_view ahead = Ahead(); !ahead.empty(); ahead = Ahead()) {
    const std::size_t count = std::min(ahead.find_first_of(",]"), ahead.size());
    const bool isEnd = count < ahead.size();
    const bool endsRow = isEnd && ahead[count] == ']';
    field.append(ahead.substr(0, count));
    Take(isEnd ? count + 1 : count);
    if (isEnd) return endsRow;
  }
  return true;
}

bool CJsonParser::TakeQuoted(stringEx& field) {
  Take(1);
  for (;;) {
    const std::string_view ahead = Ahead();
    const std::size_t count = std::min(ahead.find_first_of("\"\\"), ahead.size());
    field.append(ahead.substr(0, count));
    const bool isEscape = count < ahead.size() && ahead[count] == '\\';
    const bool isEnd = count < ahead.size() && !isEscape;
    if (ahead.empty()) break;
    Take(isEscape || isEnd ? count + 1 : count);
    if (isEnd) return TakeBehindQuote();
    if (!isEscape) continue;
    const std::string_view escaped = Ahead();
    if (escaped.empty()) break;
    const char element = escaped.front();
    field += element == 'r' ? '\r' : element == 'n' ? '\n' : element == 't' ? '\t' : element;
    Take(1);
  }
  RefuseEnd("CJsonParser::GetNextRow - the last qouted field is not closed correctly\n", field);
}

// The byte behind a field is taken with it, whatever it is.
bool CJsonParser::TakeBehindQuote() {
  const std::string_view behind = Ahead();
  if (behind.empty()) return true;
  const bool endsRow = behind.front() == ']';
  Take(1);
  return endsRow;
}

void CJsonParser::PutRow(stringEx& target, std::span<const stringEx> fields) {
  target += '[';
  for (const stringEx& field : fields) {
    if (&field != fields.data()) target += ',';
    target += '"';
    for (const char element : field) {
      switch (element) {
        case '\r':
          target += "\\r";
          break;
        case '\n':
          target += "\\n";
          break;
        case '\t':
          target += "\\t";
          break;
        case '"':
        case '\\':
          target += '\\';
          [[fallthrough]];
        default:
          target += element;
      }
    }
    target += '"';
  }
  target += ']';
}

}  // namespace Qorv
