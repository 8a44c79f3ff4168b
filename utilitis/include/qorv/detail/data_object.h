// The interfaces of streams.
#pragma once

#include <cstddef>
#include <cstdint>

#include <qorv/string.h>

namespace Qorv {

/// Kinds of streams, as GetTypeId tells them. 2, 3 and 5 are free.
namespace streamKind {
inline constexpr std::uint32_t unknown = 0xFFFFFFFF;
inline constexpr std::uint32_t generic = 1;
inline constexpr std::uint32_t buffered = 4;
inline constexpr std::uint32_t memory = 6;
}  // namespace streamKind

/// The root of all streams. The order of the virtual operations is fixed, here and in the classes below.
///
/// Whoever builds a stream destroys it; users hold a reference and never own. A stream has no lock: one thread uses it at
/// a time. Failures of reading, writing, seeking and flushing are ioExp or of a class below it. An invalid stream is not
/// refused: what is behind it reports that.
class IDataObject {
 public:
  virtual ~IDataObject() noexcept(false) = default;
  /// True if the stream can be used: over a file, that it has one; over memory, always.
  virtual bool IsValid() const = 0;
  virtual bool operator!() const { return !IsValid(); }
  virtual void Reserved4() {}
  virtual void Reserved5() {}
  /// One of streamKind.
  virtual std::uint32_t GetTypeId() const { return streamKind::unknown; }
  /// The name of the kind, for reports; static text.
  virtual const char* GetTypeName() const { return "Unknown Data Object"; }
  virtual void Reserved8() {}
  /// True if `out` has become a share of the whole content, without a copy; false, and `out` untouched, if this stream
  /// has no such thing.
  virtual bool GetWholeData(stringEx& out) {
    (void)out;
    return false;
  }
};

/// Positions, offsets and sizes in bytes.
class ISeekableObj {
 public:
  virtual ~ISeekableObj() noexcept(false) = default;
  /// From the start, from the present position, from the end; each returns the position.
  virtual std::int64_t SeekBegin(const std::int64_t& offset) = 0;
  virtual std::int64_t SeekCurrent(const std::int64_t& offset) = 0;
  virtual std::int64_t SeekEnd(const std::int64_t& offset) = 0;
  virtual std::int64_t GetCurrentPos() const = 0;
  /// Of the whole.
  virtual std::int64_t GetSize() const = 0;
};

/// What is read in sequence.
class TDataSource : public IDataObject {
 public:
  const char* GetTypeName() const override { return "Unknown Data Source"; }
  /// True if no further byte can be read.
  virtual bool IsEof() const = 0;
  /// Reads up to `size` bytes and returns how many came. A short count is no failure, nor is 0 at the end.
  virtual std::size_t Read(void* buffer, std::size_t size) = 0;
};

/// What is written in sequence.
class TDataSink : public IDataObject {
 public:
  const char* GetTypeName() const override { return "Unknown Data Sink"; }
  /// Returns the number of bytes taken.
  virtual std::size_t Write(const void* buffer, std::size_t size) = 0;
  /// Brings all that was written down to what is behind the stream, and through it.
  virtual void Flush() = 0;
  /// Brings all that the stream itself holds down to what is behind it.
  virtual void FlushBuffer() {}
};

class TSeekableSource : public TDataSource, public ISeekableObj {
 public:
  const char* GetTypeName() const override { return "Unknown Seekable Data Source"; }
  // Behind what a source has, and so below: the order is fixed here.
  std::int64_t SeekBegin(const std::int64_t& offset) override = 0;
  std::int64_t SeekCurrent(const std::int64_t& offset) override = 0;
  std::int64_t SeekEnd(const std::int64_t& offset) override = 0;
  std::int64_t GetCurrentPos() const override = 0;
  std::int64_t GetSize() const override = 0;
};

class TSeekableSink : public TDataSink, public ISeekableObj {
 public:
  const char* GetTypeName() const override { return "Unknown Seekable Data Sink"; }
  std::int64_t SeekBegin(const std::int64_t& offset) override = 0;
  std::int64_t SeekCurrent(const std::int64_t& offset) override = 0;
  std::int64_t SeekEnd(const std::int64_t& offset) override = 0;
  std::int64_t GetCurrentPos() const override = 0;
  std::int64_t GetSize() const override = 0;
};

/// Source and sink over one position: what is written moves the next read. It holds each of the roots twice and answers
/// for both alike.
class TSeekableSynth : public TSeekableSource, public TSeekableSink {
 public:
  bool IsValid() const override = 0;
  bool operator!() const override { return !IsValid(); }
  std::uint32_t GetTypeId() const override { return streamKind::unknown; }
  const char* GetTypeName() const override { return "Unknown Seekable Data Synth"; }
  bool GetWholeData(stringEx& out) override { return TSeekableSource::GetWholeData(out); }
  std::int64_t SeekBegin(const std::int64_t& offset) override = 0;
  std::int64_t SeekCurrent(const std::int64_t& offset) override = 0;
  std::int64_t SeekEnd(const std::int64_t& offset) override = 0;
  std::int64_t GetCurrentPos() const override = 0;
  std::int64_t GetSize() const override = 0;
  std::size_t Write(const void* buffer, std::size_t size) override = 0;
  void Flush() override = 0;
};

}  // namespace Qorv
