#include <qorv/detail/byte_io.h>

#include <algorithm>
#include <cstring>

namespace Qorv {

std::size_t CByteIO::Read(void* out, std::size_t size) noexcept {
  if (IsEof() || size == 0) return 0;
  const std::size_t count = std::min<std::size_t>(size, buffer_->length() - position_);
  std::memcpy(out, buffer_->data() + position_, count);
  position_ += count;
  return count;
}

std::size_t CByteIO::Write(const void* data, std::size_t size) {
  if (size == 0) return 0;
  buffer_->overwrite(position_, {static_cast<const char*>(data), size});
  position_ += size;
  return size;
}

std::int64_t CByteIO::SeekBegin(const std::int64_t& offset) noexcept {
  position_ = static_cast<std::uint64_t>(offset);
  return offset;
}

std::int64_t CByteIO::SeekCurrent(const std::int64_t& offset) noexcept {
  position_ += static_cast<std::uint64_t>(offset);
  return offset;
}

std::int64_t CByteIO::SeekEnd(const std::int64_t& offset) noexcept {
  position_ = buffer_->length() + static_cast<std::uint64_t>(offset);
  return GetCurrentPos();
}

}  // namespace Qorv
