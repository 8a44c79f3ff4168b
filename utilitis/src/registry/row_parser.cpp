// The buffer under the parsers of rows.
#include <qorv/row_parser.h>

#include <algorithm>
#include <cstring>

#include "error/message.h"

namespace Qorv::IMPL {
namespace {

constexpr std::size_t bufferSize = 8192;

std::string_view TextOf(const byteEx& bytes) noexcept {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.length()};
}

// Not 0 if one of the word's bytes is this one.
std::uint64_t Matches(std::uint64_t word, char byte) noexcept {
  constexpr std::uint64_t ones = 0x0101010101010101;
  const std::uint64_t rest = word ^ (ones * static_cast<unsigned char>(byte));
  return (rest - ones) & ~rest & (ones << 7);
}

// Word by word; a word with a match is gone through byte by byte.
std::size_t RunBefore(std::string_view text, char end, char otherEnd) noexcept {
  std::size_t count = 0;
  for (std::uint64_t word; text.size() - count >= sizeof(word); count += sizeof(word)) {
    std::memcpy(&word, text.data() + count, sizeof(word));
    if ((Matches(word, end) | Matches(word, otherEnd)) != 0) break;
  }
  while (count < text.size() && text[count] != end && text[count] != otherEnd)
    ++count;
  return count;
}

}  // namespace

void CRowParser::Bind(CHandle<TDataSource> source, std::uint64_t quota) {
  quota_ = quota;
  if (source == source_) return;
  source_ = std::move(source);
  buffer_.clear();
  ahead_ = {};
}

// Behind what is ahead. False if the data has ended.
bool CRowParser::ReadOn() {
  if (!source_ || source_->IsEof()) return false;
  buffer_.erase(0, buffer_.length() - ahead_.size());
  buffer_.reserve(buffer_.length() + bufferSize);
  ahead_ = TextOf(buffer_);  // for a source that fails
  std::size_t count = 0;
  buffer_.append_by(bufferSize, [&](unsigned char* room) { return count = source_->Read(room, bufferSize); });
  ahead_ = TextOf(buffer_);
  return count != 0;
}

bool CRowParser::IsNext(std::string_view bytes) {
  while (ahead_.size() < bytes.size())
    if (!bytes.starts_with(ahead_) || !ReadOn()) return false;
  return ahead_.starts_with(bytes);
}

// Of what goes beyond the quota one byte is taken: the next row begins behind it.
void CRowParser::RefuseQuota() {
  ahead_.remove_prefix(left_ + 1);
  CMessage(refusals_->quota).Field("  current quota = ", quota_).Throw<csvExp>(csvCode::rowQuota);
}

void CRowParser::TakeRun(stringEx& field, char end, char otherEnd) {
  for (;;) {
    const std::string_view ahead = Ahead();
    const std::size_t count = RunBefore(ahead, end, otherEnd);
    if (count == 0) return;
    field += ahead.substr(0, count);
    const bool isWhole = count == ahead.size();
    Take(count);
    if (!isWhole) return;
  }
}

void CRowParser::RefuseEnd(const stringEx& field) const {
  CMessage(refusals_->end).Field("  content = ", field).Throw<csvExp>(csvCode::brokenField);
}

void CRowParser::RefuseStatus(unsigned status) const {
  CMessage(refusals_->status).Field("  status = ", status).Throw<csvExp>(csvCode::unknownState);
}

}  // namespace Qorv::IMPL
