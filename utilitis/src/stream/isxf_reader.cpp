#include <qorv/isxf.h>

#include <algorithm>
#include <array>

#include "error/message.h"

namespace Qorv {
namespace {

using IMPL::CMessage;

// How an item goes on behind its tag: the size of its payload, or one of the two below.
constexpr std::int8_t counted = -1;
constexpr std::int8_t unknown = -2;

struct LAYOUT {
  std::uint8_t tag;
  std::int8_t payload;
};

constexpr LAYOUT layouts[] = {{isxfTag::none, 0},
                              {isxfTag::int8, 1},
                              {isxfTag::int16, 2},
                              {isxfTag::int32, 4},
                              {isxfTag::int64, 8},
                              {isxfTag::singleFloat, 4},
                              {isxfTag::doubleFloat, 8},
                              {isxfTag::longDouble, sizeof(long double)},
                              {isxfTag::boolTrue, 0},
                              {isxfTag::string, counted},
                              {isxfTag::wideString, counted},
                              {isxfTag::blob, counted},
                              {isxfTag::ctrlCode, 1},
                              {isxfTag::segNumber, 2},
                              {isxfTag::enumeration, 4},
                              {isxfTag::id, 4},
                              {isxfTag::size, 4},
                              {isxfTag::bigSize, 8},
                              {isxfTag::command, 4},
                              {isxfTag::bigId, 8},
                              {isxfTag::smallId, 2},
                              {isxfTag::tinyId, 1},
                              {isxfTag::smallEnum, 1},
                              {isxfTag::smallVersion, 1},
                              {isxfTag::version, 2},
                              {isxfTag::eofSegNumber, 0},
                              {isxfTag::bigSegNumber, 4},
                              {isxfTag::eofBigSegNumber, 0},
                              {isxfTag::compactCommand, 2}};

constexpr auto payloads = [] {
  std::array<std::int8_t, 256> table{};
  table.fill(unknown);
  for (const LAYOUT& layout : layouts)
    table[layout.tag] = layout.payload;
  return table;
}();

// What a length may cost before its data has come.
constexpr std::uint32_t pieceBytes = 64 * 1024;

}  // namespace

void CISXFReader::RefuseType(std::uint8_t expected, std::uint8_t real) {
  CMessage("CISXFReader::_GetAndVerifyType - wrong data type\n")
      .Field("  expected = ", expected)
      .Field("  real     = ", real)
      .Throw<isxfExp>(isxfCode::wrongTag);
}

// Behind the `count` bytes that the source has brought of `size`: it may bring the rest in parts, until it brings nothing.
void CISXFReader::ReadOn(void* out, std::size_t size, std::size_t count) {
  for (std::size_t last = count; count < size; count += last) {
    if (last != 0) last = Source().Read(static_cast<unsigned char*>(out) + count, size - count);
    if (last == 0) RefuseEnd(size, count);
  }
}

// What is left, then the rest: straight from the source where that is no less than there is room for.
void CISXFReader::ReadAhead(unsigned char* out, std::size_t size) {
  if (stream_ == nullptr) RefuseEnd(size, Left());
  std::size_t done = Left();
  if (done != 0) std::memcpy(out, next_, done);
  next_ = end_ = room_;
  while (done < size) {
    const std::size_t rest = size - done;
    std::size_t count;
    if (rest >= roomSize_) {
      count = Source().Read(out + done, rest);
    } else {
      const bool isBound = GetCheckBound() != isxfNoBound;
      const std::uint64_t most = isBound ? rest + static_cast<std::uint64_t>(GetCheckBound()) : roomSize_;
      next_ = end_ = room_;
      end_ = room_ + Source().Read(room_, std::min<std::uint64_t>(roomSize_, most));
      count = std::min(rest, Left());
      if (count != 0) std::memcpy(out + done, next_, count);
      next_ += count;
    }
    if (count == 0) RefuseEnd(size, done);
    done += count;
  }
}

void CISXFReader::RefuseVoid(std::string_view refusal) {
  CMessage(refusal).Throw<isxfExp>(isxfCode::wrongTag);
}

std::string_view CISXFReader::ViewCopied(std::uint32_t length, stringEx& scratch) {
  if (stream_ == nullptr) RefuseEnd(length, Left());
  ReadPieces(length, scratch);
  return scratch;
}

void CISXFReader::RefuseEnd(std::size_t expected, std::size_t real) {
  CMessage("CISXFReader::_Read - unexpected end of data\n")
      .Field("  expected size = ", expected)
      .Field("  real size     = ", real)
      .Throw<isxfExp>(isxfCode::broken);
}

std::uint16_t CISXFReader::GetSegNumber() {
  return Structural<std::uint16_t>(isxfTag::segNumber,
                                   "CISXFReader::GetSegNumber - segment number can't be void");
}

std::uint32_t CISXFReader::GetEnum() {
  return Structural<std::uint32_t>(isxfTag::enumeration, "CISXFReader::GetEnum - enumeration can't be void");
}

std::uint32_t CISXFReader::GetID() {
  return Structural<std::uint32_t>(isxfTag::id, "CISXFReader::GetID - identification can't be void");
}

std::uint64_t CISXFReader::GetBigSize() {
  return Structural<std::uint64_t>(isxfTag::bigSize, "CISXFReader::GetBigSize - big size can't be void");
}

std::uint32_t CISXFReader::GetCommand() {
  return Structural<std::uint32_t>(isxfTag::command, "CISXFReader::GetCommand - command code can't be void");
}

std::uint64_t CISXFReader::GetBigID() {
  return Structural<std::uint64_t>(isxfTag::bigId, "CISXFReader::GetBigID - identification can't be void");
}

std::uint16_t CISXFReader::GetSmallID() {
  return Structural<std::uint16_t>(isxfTag::smallId,
                                   "CISXFReader::GetSmallID - small identification can't be void");
}

std::uint8_t CISXFReader::GetTinyID() {
  return Structural<std::uint8_t>(isxfTag::tinyId,
                                  "CISXFReader::GetTinyID - tiny identification can't be void");
}

std::uint8_t CISXFReader::GetSmallVersion() {
  return Structural<std::uint8_t>(isxfTag::smallVersion,
                                  "CISXFReader::GetSmallVersion - small version can't be void");
}

std::uint16_t CISXFReader::GetVersion() {
  return Structural<std::uint16_t>(isxfTag::version, "CISXFReader::GetVersion - version can't be void");
}

void CISXFReader::GetEofSegNumber() {
  Require(isxfTag::eofSegNumber, "CISXFReader::GetEofSegNumber - segment ending number can't be void");
}

std::uint32_t CISXFReader::GetBigSegNumber() {
  return Structural<std::uint32_t>(isxfTag::bigSegNumber,
                                   "CISXFReader::GetBigSegNumber - big segment number can't be void");
}

void CISXFReader::GetEofBigSegNumber() {
  Require(isxfTag::eofBigSegNumber,
          "CISXFReader::GetEofBigSegNumber - big segment ending number can't be void");
}

std::uint16_t CISXFReader::GetCompactCommand() {
  return Structural<std::uint16_t>(isxfTag::compactCommand,
                                   "CISXFReader::GetCompactCommand - compact command code can't be void");
}

void CISXFReader::RefuseFraction(std::uint32_t length) {
  CMessage("CISXFReader::GetWString - not a whole number of characters\n")
      .Field("  length         = ", length)
      .Field("  character size = ", sizeof(wchar_t))
      .Throw<isxfExp>(isxfCode::broken);
}

template <class T>
void CISXFReader::ReadText(std::uint8_t tag, basic_string_ex<T>& out) {
  if (!_GetAndVerifyType(tag)) return out.clear();
  const auto length = Payload<std::uint32_t>();
  _CheckBound(length);
  if (length % sizeof(T) != 0) RefuseFraction(length);
  ReadPieces(length, out);
}

template <class T>
void CISXFReader::ReadPieces(std::uint32_t length, basic_string_ex<T>& out) {
  out.clear();
  for (std::uint32_t left = length; left != 0;) {
    const std::uint32_t bytes = std::min(left, pieceBytes);
    out.append_by(bytes / sizeof(T), [&](T* room) {
      _Read(room, bytes);
      return bytes / sizeof(T);
    });
    left -= bytes;
  }
}

void CISXFReader::GetString(stringEx& out) {
  ReadText(isxfTag::string, out);
}

stringEx CISXFReader::GetString() {
  stringEx text;
  GetString(text);
  return text;
}

void CISXFReader::GetWString(wstringEx& out) {
  ReadText(isxfTag::wideString, out);
}

wstringEx CISXFReader::GetWString() {
  wstringEx text;
  GetWString(text);
  return text;
}

void CISXFReader::GetBlob(byteEx& out) {
  ReadText(isxfTag::blob, out);
}

// T is the element of the buffer: unsigned char for blobs, which get no zero.
template <class T>
std::uint32_t CISXFReader::ReadInto(std::uint8_t tag, std::string_view refusal, T* buffer,
                                    std::uint32_t size) {
  constexpr bool isZeroEnded = !std::is_same_v<T, unsigned char>;
  if (!_GetAndVerifyType(tag)) {
    if (isZeroEnded && buffer != nullptr && size != 0) *buffer = T();
    return 0;
  }
  const auto length = Payload<std::uint32_t>();
  const std::uint64_t room = std::uint64_t{size} * sizeof(T);
  if (buffer != nullptr && length <= room) {  // this way round, as the header says
    CMessage(refusal)
        .Field("  requested size = ", length)
        .Field("  user supplied  = ", room)
        .Throw<isxfExp>(isxfCode::bound);
  }
  _CheckBound(length);
  if (buffer != nullptr && length % sizeof(T) != 0) RefuseFraction(length);
  if (buffer == nullptr) {
    Skip(length);
  } else {
    if (isZeroEnded) buffer[length / sizeof(T)] = T();
    _Read(buffer, length);
  }
  return length / sizeof(T);
}

std::uint32_t CISXFReader::GetString(char* buffer, std::uint32_t size) {
  return ReadInto(isxfTag::string, "CISXFReader::GetString - overflow: buffer too small\n", buffer, size);
}

std::uint32_t CISXFReader::GetWString(wchar_t* buffer, std::uint32_t size) {
  return ReadInto(isxfTag::wideString, "CISXFReader::GetWString - overflow: buffer too small\n", buffer,
                  size);
}

std::uint32_t CISXFReader::GetBlob(void* buffer, std::uint32_t size) {
  return ReadInto(isxfTag::blob, "CISXFReader::GetBlob - overflow: buffer too small\n",
                  static_cast<unsigned char*>(buffer), size);
}

// By reading, so that it works on a source that cannot seek.
void CISXFReader::Skip(std::uint64_t length) {
  unsigned char scratch[384];
  while (length != 0) {
    const std::size_t count = std::min<std::uint64_t>(length, sizeof(scratch));
    _Read(scratch, count);
    length -= count;
  }
}

void CISXFReader::IgnoreNext() {
  const std::uint8_t tag = GetNextType();
  const std::int8_t payload = payloads[tag];
  if (payload == unknown) {
    CMessage("CISXFReader::IgnoreNext - unknown data type\n")
        .Field("  type = ", tag)
        .Throw<isxfExp>(isxfCode::unknownTag);
  }
  peekedType_ = nothingPeeked;
  const std::uint64_t length =
      payload == counted ? Payload<std::uint32_t>() : static_cast<std::uint64_t>(payload);
  _CheckBound(length);
  Skip(length);
}

}  // namespace Qorv
