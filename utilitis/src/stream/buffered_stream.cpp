#include <qorv/detail/buffered_stream.h>

#include <algorithm>
#include <cstring>

#include <qorv/error.h>

#include "error/message.h"
#include "stream/device.h"

namespace Qorv {
namespace {

// Writes on where the system took less than it was given, and counts in `taken` what it took. What takes no more without a
// failure of its own fails here: bytes that wait would go out later, wherever the file is then.
template <class T>
void WriteAll(T& device, const unsigned char* data, std::size_t size, std::size_t& taken) {
  while (taken < size) {
    const std::size_t count = device.Write(data + taken, size - taken);
    if (count == 0) {
      IMPL::CMessage("CBufferedSeekableSink/WriteAll - the file takes no more\n")
          .Field("  expected size = ", size)
          .Field("  real size     = ", taken)
          .Throw<sysfileExp>(fileCode::write);
    }
    taken += count;
  }
}

}  // namespace

template <class T>
CBufferedSeekableSource<T>::CBufferedSeekableSource(const T& device, std::size_t capacity)
    : device_(device), capacity_(capacity) {
  buffer_.reserve_exact(capacity);
}

template <class T>
bool CBufferedSeekableSource<T>::IsValid() const {
  return IMPL::IsUsable(device_);
}

template <class T>
bool CBufferedSeekableSource<T>::IsEof() const {
  return Left() == 0 && IMPL::IsAtEnd(device_);
}

template <class T>
std::size_t CBufferedSeekableSource<T>::Read(void* buffer, std::size_t size) {
  const std::size_t left = Left();
  if (size <= left) {
    if (size == 1) {  // the most frequent size: the tags of items
      *static_cast<unsigned char*>(buffer) = buffer_.data()[position_++];
      return 1;
    }
    if (size != 0) std::memcpy(buffer, buffer_.data() + position_, size);
    position_ += size;
    return size;
  }
  std::memcpy(buffer, buffer_.data() + position_, left);
  position_ += left;
  return left + ReadOn(static_cast<unsigned char*>(buffer) + left, size - left);
}

// What the empty buffer cannot give.
template <class T>
std::size_t CBufferedSeekableSource<T>::ReadOn(unsigned char* out, std::size_t size) {
  if (size >= capacity_) return IMPL::ReadSome(device_, out, size);
  Drop();
  buffer_.set_length(IMPL::ReadSome(device_, buffer_.writable(), capacity_));
  position_ = std::min<std::size_t>(size, buffer_.length());
  std::memcpy(out, buffer_.data(), position_);
  return position_;
}

template <class T>
void CBufferedSeekableSource<T>::Drop() noexcept {
  buffer_.set_length(0);
  position_ = 0;
}

template <class T>
std::int64_t CBufferedSeekableSource<T>::SeekBegin(const std::int64_t& offset) {
  const std::int64_t position = IMPL::MoveBegin(device_, offset);
  Drop();
  return position;
}

template <class T>
std::int64_t CBufferedSeekableSource<T>::SeekCurrent(const std::int64_t& offset) {
  if (offset == 0) return GetCurrentPos();
  const std::int64_t position = IMPL::MoveCurrent(device_, offset);
  Drop();
  return position;
}

template <class T>
std::int64_t CBufferedSeekableSource<T>::SeekEnd(const std::int64_t& offset) {
  const std::int64_t position = IMPL::MoveEnd(device_, offset);
  Drop();
  return position;
}

template <class T>
std::int64_t CBufferedSeekableSource<T>::GetCurrentPos() const {
  return device_.GetCurrentPos() - static_cast<std::int64_t>(Left());
}

template <class T>
std::int64_t CBufferedSeekableSource<T>::GetSize() const {
  return device_.GetSize();
}

template <class T>
CBufferedSeekableSink<T>::CBufferedSeekableSink(const T& device, std::size_t capacity)
    : device_(device), capacity_(capacity) {
  buffer_.reserve_exact(capacity);
}

template <class T>
CBufferedSeekableSink<T>::~CBufferedSeekableSink() noexcept(false) {
  IMPL::DropWhileUnwinding([this] { Empty(); });
}

template <class T>
bool CBufferedSeekableSink<T>::IsValid() const {
  return IMPL::IsUsable(device_);
}

template <class T>
std::size_t CBufferedSeekableSink<T>::Write(const void* buffer, std::size_t size) {
  const auto* const data = static_cast<const unsigned char*>(buffer);
  if (size >= capacity_) {
    std::size_t taken = 0;
    Empty();
    WriteAll(device_, data, size, taken);
    return taken;
  }
  if (size == 0) return 0;
  const std::size_t fill = buffer_.length();
  if (size > static_cast<std::uint64_t>(buffer_.capacity()) - fill) buffer_.reserve(fill + size);
  std::memcpy(buffer_.writable() + fill, data, size);
  buffer_.set_length(fill + size);
  if (fill + size < capacity_) return size;
  try {
    Empty();
  } catch (...) {
    // What the file has taken is gone from the front: are the new bytes still whole?
    if (buffer_.length() >= size) buffer_.set_length(buffer_.length() - size);
    throw;
  }
  return size;
}

// Whether the file takes all or fails half way, what it took leaves the buffer, and is never written twice.
template <class T>
void CBufferedSeekableSink<T>::Empty() const {
  std::size_t taken = 0;
  const auto keepRest = [&] {
    const std::size_t left = buffer_.length() - taken;
    if (taken != 0 && left != 0) std::memmove(buffer_.writable(), buffer_.writable() + taken, left);
    buffer_.set_length(left);
  };
  try {
    WriteAll(device_, buffer_.data(), buffer_.length(), taken);
  } catch (...) {
    keepRest();
    throw;
  }
  keepRest();
}

template <class T>
void CBufferedSeekableSink<T>::FlushBuffer() {
  Empty();
}

template <class T>
void CBufferedSeekableSink<T>::Flush() {
  Empty();
  device_.Flush();
}

template <class T>
std::int64_t CBufferedSeekableSink<T>::SeekBegin(const std::int64_t& offset) {
  Empty();
  return IMPL::MoveBegin(device_, offset);
}

template <class T>
std::int64_t CBufferedSeekableSink<T>::SeekCurrent(const std::int64_t& offset) {
  Empty();
  return IMPL::MoveCurrent(device_, offset);
}

template <class T>
std::int64_t CBufferedSeekableSink<T>::SeekEnd(const std::int64_t& offset) {
  Empty();
  return IMPL::MoveEnd(device_, offset);
}

template <class T>
std::int64_t CBufferedSeekableSink<T>::GetCurrentPos() const {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(device_.GetCurrentPos()) + buffer_.length());
}

template <class T>
std::int64_t CBufferedSeekableSink<T>::GetSize() const {
  Empty();
  return device_.GetSize();
}

template class CBufferedSeekableSource<CSysFile>;
template class CBufferedSeekableSink<CSysFile>;

}  // namespace Qorv
