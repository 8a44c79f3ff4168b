// A block of memory that is read and written like a file.
#pragma once

#include <cstddef>
#include <cstdint>

#include <qorv/string.h>

namespace Qorv {

/// A string of bytes, which somebody else owns, and a position in it. Copies have positions of their own over the same
/// string, which outlives them all.
///
/// Positions, offsets and sizes are in bytes. No seek looks at its range: a position beyond the end, a negative one
/// included, is read as the end. Only what is written there makes the string longer. Only exhausted memory
/// (std::bad_alloc) is thrown, and leaves string and position as they were. One thread at a time uses the object, and the
/// string with it.
class CByteIO {
 public:
  explicit CByteIO(stringEx* buffer) noexcept : buffer_(buffer) {}

  bool IsEof() const noexcept { return position_ >= buffer_->length(); }
  /// Up to `size` bytes; 0 at the end.
  std::size_t Read(void* out, std::size_t size) noexcept;
  /// All of `size` bytes, over what is there. Zero bytes fill the gap between the end and a position beyond it.
  std::size_t Write(const void* data, std::size_t size);
  void Flush() noexcept {}
  void FlushBuffer() noexcept {}

  /// The first and the last return the new position, SeekCurrent the offset that it was given.
  std::int64_t SeekBegin(const std::int64_t& offset) noexcept;
  std::int64_t SeekCurrent(const std::int64_t& offset) noexcept;
  std::int64_t SeekEnd(const std::int64_t& offset) noexcept;
  std::int64_t GetCurrentPos() const noexcept { return static_cast<std::int64_t>(position_); }
  std::int64_t GetSize() const noexcept { return static_cast<std::int64_t>(buffer_->length()); }

 private:
  stringEx* buffer_;
  std::uint64_t position_ = 0;  // unsigned, so that what is negative lies beyond the end
};

}  // namespace Qorv
