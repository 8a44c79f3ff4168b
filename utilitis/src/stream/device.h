// What the devices of streams do under different names.
#pragma once

#include <algorithm>

#include <qorv/detail/byte_io.h>
#include <qorv/detail/sys_file.h>

namespace Qorv::IMPL {

inline bool IsUsable(const CByteIO&) noexcept {
  return true;
}
inline bool IsUsable(const CSysFile& file) noexcept {
  return file.GetSysHandle() != -1;
}

inline std::size_t ReadSome(CByteIO& memory, void* out, std::size_t size) noexcept {
  return memory.Read(out, size);
}
// A file tells a count of 32 bits.
inline std::size_t ReadSome(CSysFile& file, void* out, std::size_t size) {
  return file.Read(out, std::min<std::size_t>(size, 0x7FFFF000));
}

inline bool IsAtEnd(const CByteIO& memory) noexcept {
  return memory.IsEof();
}
inline bool IsAtEnd(const CSysFile& file) {
  return file.GetCurrentPos() >= file.GetSize();
}

inline std::int64_t MoveBegin(CByteIO& memory, std::int64_t offset) noexcept {
  return memory.SeekBegin(offset);
}
inline std::int64_t MoveBegin(CSysFile& file, std::int64_t offset) {
  file.SeekBegin(offset);
  return offset;
}

inline std::int64_t MoveCurrent(CByteIO& memory, std::int64_t offset) noexcept {
  return memory.SeekCurrent(offset);
}
inline std::int64_t MoveCurrent(CSysFile& file, std::int64_t offset) {
  file.SeekCurrent(offset);
  return file.GetCurrentPos();
}

inline std::int64_t MoveEnd(CByteIO& memory, std::int64_t offset) noexcept {
  return memory.SeekEnd(offset);
}
inline std::int64_t MoveEnd(CSysFile& file, std::int64_t offset) {
  file.SeekEnd(offset);
  return file.GetCurrentPos();
}

}  // namespace Qorv::IMPL
