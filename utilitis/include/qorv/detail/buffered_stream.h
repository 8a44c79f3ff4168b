// Streams over a file that spare small reads and writes the call of the system.
#pragma once

#include <cstddef>
#include <cstdint>

#include <qorv/detail/basic_buffer.h>
#include <qorv/detail/data_object.h>
#include <qorv/detail/sys_file.h>

namespace Qorv {

/// Reads ahead by a buffer of `capacity` bytes. T is CSysFile, of which the source holds a share: descriptor and position
/// are those of the file it was given. Nobody else should move that position while the source reads.
///
/// Failures are those of the file. When reading fails, what was handed out before stays taken: see GetCurrentPos.
template <class T>
class CBufferedSeekableSource : public TSeekableSource {
 public:
  CBufferedSeekableSource(const T& device, std::size_t capacity);
  CBufferedSeekableSource(const CBufferedSeekableSource&) = delete;
  CBufferedSeekableSource& operator=(const CBufferedSeekableSource&) = delete;

  bool IsValid() const override;
  std::uint32_t GetTypeId() const override { return streamKind::buffered; }
  const char* GetTypeName() const override { return "Buffered Seekable Data Source"; }
  bool IsEof() const override;
  /// One call of the system at most, two where a file in direct mode refuses the first. What the buffer cannot give, and is as long as it or longer, is read straight into
  /// `buffer`.
  std::size_t Read(void* buffer, std::size_t size) override;

  /// What was read ahead is dropped by a seek that succeeds. SeekCurrent counts from where the file is, behind what was
  /// read ahead, and not from where the reader is; an offset of 0 moves nothing.
  std::int64_t SeekBegin(const std::int64_t& offset) override;
  std::int64_t SeekCurrent(const std::int64_t& offset) override;
  std::int64_t SeekEnd(const std::int64_t& offset) override;
  /// Where the next byte comes from, whatever was read ahead.
  std::int64_t GetCurrentPos() const override;
  std::int64_t GetSize() const override;

 private:
  std::size_t Left() const noexcept { return buffer_.length() - position_; }
  std::size_t ReadOn(unsigned char* out, std::size_t size);
  void Drop() noexcept;

  T device_;
  std::size_t capacity_;
  basic_buffer<unsigned char> buffer_;
  std::size_t position_ = 0;  // of the next byte in the buffer
};

/// Collects what is written until a buffer of `capacity` bytes is full. T is CSysFile, of which the sink holds a share, as
/// the source does.
///
/// Failures are those of the file; one that takes no more without a failure of its own is sysfileExp, code 9. What the file
/// has not taken stays in the buffer and goes out with the next try. A Write that fails has taken none of its bytes, unless
/// the file took a part of them: GetCurrentPos tells. The destructor writes what is left; a failure of that passes on unless
/// another exception is unwinding, so nothing that forbids exceptions should destroy a sink with bytes in it: flush before
/// that.
template <class T>
class CBufferedSeekableSink : public TSeekableSink {
 public:
  CBufferedSeekableSink(const T& device, std::size_t capacity);
  CBufferedSeekableSink(const CBufferedSeekableSink&) = delete;
  CBufferedSeekableSink& operator=(const CBufferedSeekableSink&) = delete;
  ~CBufferedSeekableSink() noexcept(false) override;

  bool IsValid() const override;
  std::uint32_t GetTypeId() const override { return streamKind::buffered; }
  const char* GetTypeName() const override { return "Buffered Seekable Data Sink"; }
  /// `size`. What is as long as the capacity or longer goes straight to the file, behind what the buffer has.
  std::size_t Write(const void* buffer, std::size_t size) override;
  void Flush() override;
  void FlushBuffer() override;

  /// All seeks, and GetSize, empty the buffer first.
  std::int64_t SeekBegin(const std::int64_t& offset) override;
  std::int64_t SeekCurrent(const std::int64_t& offset) override;
  std::int64_t SeekEnd(const std::int64_t& offset) override;
  /// Where the next byte goes, the bytes in the buffer counted.
  std::int64_t GetCurrentPos() const override;
  std::int64_t GetSize() const override;

 private:
  // GetSize is constant to its caller, and empties the buffer nevertheless.
  mutable T device_;
  std::size_t capacity_;
  mutable basic_buffer<unsigned char> buffer_;

  void Empty() const;
};

extern template class CBufferedSeekableSource<CSysFile>;
extern template class CBufferedSeekableSink<CSysFile>;

}  // namespace Qorv
