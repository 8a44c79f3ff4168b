#include <qorv/isxf.h>

#include "error/message.h"

namespace Qorv {

using IMPL::CMessage;

void CISXFWriter::PutWString(const wchar_t* text, std::uint64_t length) {
  PutText(isxfTag::wideString, "CISXFWriter::PutWString - string too long\n", text, length, sizeof(wchar_t));
}

// A short item goes out in one piece.
void CISXFWriter::PutText(std::uint8_t tag, std::string_view refusal, const void* text, std::uint64_t length,
                          std::size_t elementSize) {
  constexpr std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
  if (length == 0) return PutVoid();
  if (length > most / elementSize) {
    CMessage(refusal)
        .Field("  length   = ", length)
        .Field("  at most  = ", std::uint64_t{most / elementSize})
        .Throw<isxfExp>(isxfCode::broken);
  }
  const auto bytes = static_cast<std::uint32_t>(length * elementSize);
  CheckFar(headSize + std::uint64_t{bytes});
  unsigned char item[headSize + 251];
  Lay(item, tag, bytes);
  if (bytes <= sizeof(item) - headSize) {
    std::memcpy(item + headSize, text, bytes);
    _Write(item, headSize + bytes);
  } else {
    _Write(item, headSize);
    _Write(text, bytes);
  }
}

void CISXFWriter::FlushBuffer() {
  const auto size = static_cast<std::size_t>(next_ - room_);
  CloseWindow();
  next_ = room_;
  if (size != 0) Send(room_, size);
}

// Behind the `count` bytes that the sink has taken of `size`.
void CISXFWriter::WriteOn(const void* data, std::size_t size, std::size_t count) {
  for (std::size_t last = count; count < size; count += last) {
    if (last != 0) last = Sink().Write(static_cast<const unsigned char*>(data) + count, size - count);
    if (last == 0) {
      CMessage("CISXFWriter::_Write - the sink takes no more\n")
          .Field("  expected size = ", size)
          .Field("  real size     = ", count)
          .Throw<isxfExp>(isxfCode::broken);
    }
  }
}

}  // namespace Qorv
