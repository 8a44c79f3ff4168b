// Streams that hand each operation straight to what is behind them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include <qorv/detail/byte_io.h>
#include <qorv/detail/data_object.h>
#include <qorv/detail/sys_file.h>

namespace Qorv {
namespace IMPL {

// What all streams over a device of class T answer alike; Base is the interface that they serve.
template <class Base, class T>
class CDeviceStream : public Base {
 public:
  bool IsValid() const override;
  std::uint32_t GetTypeId() const override { return streamKind::generic; }
  std::int64_t SeekBegin(const std::int64_t& offset) override;
  std::int64_t SeekCurrent(const std::int64_t& offset) override;
  std::int64_t SeekEnd(const std::int64_t& offset) override;
  std::int64_t GetCurrentPos() const override;
  std::int64_t GetSize() const override;

 protected:
  explicit CDeviceStream(const T& device) : device_(device) {}

  T device_;
};

}  // namespace IMPL

/// Streams over a device of class T, which is CSysFile or CByteIO. Each holds a copy of the device it is given: of a file,
/// a share of the same descriptor and position; of memory, a position of its own over the same string.
///
/// Every operation is that of the device, a read or a write over a file one call of the system, which may move less than
/// was asked for; so are the failures. Over a file the end is where the position is at its size or beyond it.
/// As for all streams, one thread at a time.
template <class T>
class CGenericSeekableSource : public IMPL::CDeviceStream<TSeekableSource, T> {
 public:
  explicit CGenericSeekableSource(const T& device) : IMPL::CDeviceStream<TSeekableSource, T>(device) {}

  const char* GetTypeName() const override { return "Generic Seekable Data Source"; }
  bool IsEof() const override;
  std::size_t Read(void* buffer, std::size_t size) override;
};

template <class T>
class CGenericSeekableSink : public IMPL::CDeviceStream<TSeekableSink, T> {
 public:
  explicit CGenericSeekableSink(const T& device) : IMPL::CDeviceStream<TSeekableSink, T>(device) {}

  const char* GetTypeName() const override { return "Generic Seekable Data Sink"; }
  std::size_t Write(const void* buffer, std::size_t size) override;
  void Flush() override;
};

template <class T>
class CGenericSeekableSynth : public IMPL::CDeviceStream<TSeekableSynth, T> {
 public:
  explicit CGenericSeekableSynth(const T& device) : IMPL::CDeviceStream<TSeekableSynth, T>(device) {}

  const char* GetTypeName() const override { return "Generic Seekable Data Synth"; }
  bool IsEof() const override;
  std::size_t Read(void* buffer, std::size_t size) override;
  std::size_t Write(const void* buffer, std::size_t size) override;
  void Flush() override;
};

extern template class IMPL::CDeviceStream<TSeekableSource, CSysFile>;
extern template class IMPL::CDeviceStream<TSeekableSource, CByteIO>;
extern template class IMPL::CDeviceStream<TSeekableSink, CSysFile>;
extern template class IMPL::CDeviceStream<TSeekableSink, CByteIO>;
extern template class IMPL::CDeviceStream<TSeekableSynth, CSysFile>;
extern template class IMPL::CDeviceStream<TSeekableSynth, CByteIO>;
extern template class CGenericSeekableSource<CSysFile>;
extern template class CGenericSeekableSource<CByteIO>;
extern template class CGenericSeekableSink<CSysFile>;
extern template class CGenericSeekableSink<CByteIO>;
extern template class CGenericSeekableSynth<CSysFile>;
extern template class CGenericSeekableSynth<CByteIO>;

/// A source that owns its memory: a share of the string it is given, of a view a copy. The giver may change or drop his.
class CMemSource : public CGenericSeekableSource<CByteIO> {
 public:
  explicit CMemSource(stringEx memory)
      : CGenericSeekableSource<CByteIO>(CByteIO(&memory_)), memory_(std::move(memory)) {
    if (memory_.is_view()) memory_.reserve(memory_.length());
  }
  // The device points into this object.
  CMemSource(const CMemSource&) = delete;
  CMemSource& operator=(const CMemSource&) = delete;

  std::uint32_t GetTypeId() const override { return streamKind::memory; }
  bool GetWholeData(stringEx& out) override {
    out = memory_;
    return true;
  }

 private:
  stringEx memory_;
};

}  // namespace Qorv
