#include <qorv/detail/generic_stream.h>

#include "stream/device.h"

namespace Qorv {
namespace IMPL {

template <class Base, class T>
bool CDeviceStream<Base, T>::IsValid() const {
  return IsUsable(device_);
}

template <class Base, class T>
std::int64_t CDeviceStream<Base, T>::SeekBegin(const std::int64_t& offset) {
  return MoveBegin(device_, offset);
}

template <class Base, class T>
std::int64_t CDeviceStream<Base, T>::SeekCurrent(const std::int64_t& offset) {
  return MoveCurrent(device_, offset);
}

template <class Base, class T>
std::int64_t CDeviceStream<Base, T>::SeekEnd(const std::int64_t& offset) {
  return MoveEnd(device_, offset);
}

template <class Base, class T>
std::int64_t CDeviceStream<Base, T>::GetCurrentPos() const {
  return device_.GetCurrentPos();
}

template <class Base, class T>
std::int64_t CDeviceStream<Base, T>::GetSize() const {
  return device_.GetSize();
}

}  // namespace IMPL

template <class T>
bool CGenericSeekableSource<T>::IsEof() const {
  return IMPL::IsAtEnd(this->device_);
}

template <class T>
std::size_t CGenericSeekableSource<T>::Read(void* buffer, std::size_t size) {
  return IMPL::ReadSome(this->device_, buffer, size);
}

template <class T>
std::size_t CGenericSeekableSink<T>::Write(const void* buffer, std::size_t size) {
  return this->device_.Write(buffer, size);
}

template <class T>
void CGenericSeekableSink<T>::Flush() {
  this->device_.Flush();
}

template <class T>
bool CGenericSeekableSynth<T>::IsEof() const {
  return IMPL::IsAtEnd(this->device_);
}

template <class T>
std::size_t CGenericSeekableSynth<T>::Read(void* buffer, std::size_t size) {
  return IMPL::ReadSome(this->device_, buffer, size);
}

template <class T>
std::size_t CGenericSeekableSynth<T>::Write(const void* buffer, std::size_t size) {
  return this->device_.Write(buffer, size);
}

template <class T>
void CGenericSeekableSynth<T>::Flush() {
  this->device_.Flush();
}

template class IMPL::CDeviceStream<TSeekableSource, CSysFile>;
template class IMPL::CDeviceStream<TSeekableSource, CByteIO>;
template class IMPL::CDeviceStream<TSeekableSink, CSysFile>;
template class IMPL::CDeviceStream<TSeekableSink, CByteIO>;
template class IMPL::CDeviceStream<TSeekableSynth, CSysFile>;
template class IMPL::CDeviceStream<TSeekableSynth, CByteIO>;
template class CGenericSeekableSource<CSysFile>;
template class CGenericSeekableSource<CByteIO>;
template class CGenericSeekableSink<CSysFile>;
template class CGenericSeekableSink<CByteIO>;
template class CGenericSeekableSynth<CSysFile>;
template class CGenericSeekableSynth<CByteIO>;

}  // namespace Qorv
