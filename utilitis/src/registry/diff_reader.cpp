#include <cstring>

#include "error/message.h"
#include "registry/diff.h"

namespace Qorv::IMPL {
namespace {

constexpr std::size_t markSize = sizeof(diffMark);

CISXFReader ReaderOf(const byteEx& data, std::string_view sizeRefusal, std::string_view markRefusal) {
  if (data.length() < markSize) CMessage(sizeRefusal).Throw<regExp>(regCode::damaged);
  if (std::memcmp(data.data(), &diffMark, markSize) != 0)
    CMessage(markRefusal).Throw<regExp>(regCode::damaged);
  const std::size_t rest = data.length() - markSize;
  return {data.data() + markSize, rest, static_cast<std::int64_t>(rest)};
}

}  // namespace

CDiffReader::CDiffReader(const byteEx& data, std::string_view sizeRefusal, std::string_view markRefusal)
    : reader_(ReaderOf(data, sizeRefusal, markRefusal)) {}

bool CDiffReader::Next() {
  for (; reader_.GetCheckBound() != 0; reader_.IgnoreNext()) {
    if (reader_.GetNextType() != isxfTag::ctrlCode) continue;
    code_ = reader_.GetCtrlCode();
    return true;
  }
  return false;
}

}  // namespace Qorv::IMPL
