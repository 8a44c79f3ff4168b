// Strings of bytes that are small in memory: names and payloads of values.
#pragma once

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include <qorv/detail/short_copy.h>

namespace Qorv::IMPL {

/// A string of bytes in 16 bytes, of which the first `reserved` are its heir's. Up to 15 less these stand in place, more of
/// them on the heap, once for all copies. It does not change but by assignment; copies on several threads are independent.
///
/// bytes                | in place | on the heap
/// ---------------------|----------|---------------------------------
/// 0 to reserved        | the heir's own
/// reserved             | length   | 255
/// reserved + 1 to 16   | bytes    | the last 8: pointer to the record
template <std::size_t reserved>
class CCompactBytes {
 public:
  CCompactBytes() noexcept = default;
  explicit CCompactBytes(std::string_view bytes) { Put(bytes); }
  /// Of `size` bytes, all of which `fill` writes; it does not throw.
  template <class Fill>
  CCompactBytes(std::size_t size, Fill fill) {
    Put(size, fill);
  }
  CCompactBytes(const CCompactBytes& other) noexcept {
    std::memcpy(room_, other.room_, sizeof(room_));
    if (IsOnHeap()) Record()->count.fetch_add(1, std::memory_order_relaxed);
  }
  CCompactBytes(CCompactBytes&& other) noexcept {
    std::memcpy(room_, other.room_, sizeof(room_));
    other.room_[reserved] = 0;
  }
  CCompactBytes& operator=(CCompactBytes other) noexcept {
    unsigned char room[sizeof(room_)];
    std::memcpy(room, room_, sizeof(room_));
    std::memcpy(room_, other.room_, sizeof(room_));
    std::memcpy(other.room_, room, sizeof(room_));
    return *this;
  }
  ~CCompactBytes() {
    if (IsOnHeap()) Release();
  }

  /// Valid until this changes or is moved.
  std::string_view View() const noexcept {
    if (!IsOnHeap()) return {reinterpret_cast<const char*>(room_ + reserved + 1), room_[reserved]};
    RECORD* const record = Record();
    return {reinterpret_cast<const char*>(record->Bytes()), record->length};
  }

 protected:
  static constexpr std::size_t wordAt = 8;

  bool IsOnHeap() const noexcept { return room_[reserved] == onHeap; }
  void Clear() noexcept {
    if (IsOnHeap()) Release();
    std::memset(room_, 0, sizeof(room_));
  }
  // Into one that is empty.
  template <class Fill>
  void Put(std::size_t size, Fill fill) {
    if (size <= inPlace) {
      fill(room_ + reserved + 1);
      room_[reserved] = static_cast<unsigned char>(size);
      return;
    }
    RECORD* const record = new (::operator new(sizeof(RECORD) + size)) RECORD{size, 1};
    fill(record->Bytes());
    std::memcpy(room_ + wordAt, &record, sizeof(record));
    room_[reserved] = onHeap;
  }
  void Put(std::string_view bytes) {
    Put(bytes.size(), [&](unsigned char* at) { CopyShort(at, bytes.data(), bytes.size()); });
  }

  alignas(std::uint64_t) unsigned char room_[16] = {};  // zero behind what stands in place

 private:
  struct RECORD {
    unsigned char* Bytes() noexcept { return reinterpret_cast<unsigned char*>(this + 1); }

    std::uint64_t length;
    std::atomic<std::uint64_t> count;
  };
  static constexpr std::size_t inPlace = 15 - reserved;
  static constexpr unsigned char onHeap = 0xFF;

  RECORD* Record() const noexcept {
    RECORD* record;
    std::memcpy(&record, room_ + wordAt, sizeof(record));
    return record;
  }
  void Release() noexcept {
    RECORD* const record = Record();
    if (record->count.load(std::memory_order_acquire) != 1 &&
        record->count.fetch_sub(1, std::memory_order_acq_rel) != 1)
      return;
    record->~RECORD();
    ::operator delete(record);
  }
};

/// A name and, for one that stands in place, a number: its bytes, the first one counting most, zero behind the last, and its
/// length. Names are in the order of these numbers.
class CNameProbe {
 public:
  explicit CNameProbe(std::string_view name) noexcept : name_(name) {
    const std::size_t size = name.size();
    const char* const at = name.data();
    std::uint64_t first = 0;   // bytes 0 to 7
    std::uint64_t second = 0;  // bytes 8 to 14
    if (size >= 8) {
      first = Word<std::uint64_t>(at);
      if (size <= inPlace) second = Word<std::uint64_t>(at + size - 8) << 8 * (inPlace - size) << 8;
    } else if (size >= 4) {
      first = Word<std::uint32_t>(at) << 32 | Word<std::uint32_t>(at + size - 4) << 8 * (8 - size);
    } else {
      for (std::size_t i = 0; i < size; ++i)
        first |= std::uint64_t{static_cast<unsigned char>(at[i])} << 8 * (7 - i);
    }
    number_ = NUMBER{first} << 64 | second | (size & 0xFF);
  }

 private:
  friend class CRegName;
  __extension__ using NUMBER = unsigned __int128;
  static constexpr std::size_t inPlace = 15;

  bool IsInPlace() const noexcept { return name_.size() <= inPlace; }
  template <class T>
  static std::uint64_t Word(const char* at) noexcept {
    T word;
    std::memcpy(&word, at, sizeof(word));
    return Turned(word);
  }
  template <class T>
  static T Turned(T word) noexcept {
    if constexpr (std::endian::native == std::endian::big) return word;
    return sizeof(T) == 4 ? static_cast<T>(__builtin_bswap32(static_cast<std::uint32_t>(word)))
                          : static_cast<T>(__builtin_bswap64(word));
  }

  std::string_view name_;
  NUMBER number_;
};

/// The name of a value. Names are in the order of their bytes as unsigned numbers, the shorter first where one begins with
/// the other.
class CRegName : private CCompactBytes<0> {
 public:
  CRegName() noexcept = default;
  explicit CRegName(std::string_view name) : CRegName(CNameProbe(name)) {}
  explicit CRegName(const CNameProbe& name) {
    if (!name.IsInPlace()) {
      static_cast<CCompactBytes&>(*this) = CCompactBytes(name.name_);
      return;
    }
    PutWord(8, static_cast<std::uint64_t>(name.number_) >> 8);  // its first byte is the next one's last
    PutWord(1, static_cast<std::uint64_t>(name.number_ >> 64));
    room_[0] = static_cast<unsigned char>(name.name_.size());
  }

  operator std::string_view() const noexcept { return View(); }  // NOLINT(google-explicit-constructor)

  bool operator<(const CNameProbe& name) const noexcept {
    return HasNumber(name) ? Number() < name.number_ : View() < name.name_;
  }
  bool operator<=(const CNameProbe& name) const noexcept {
    return HasNumber(name) ? Number() <= name.number_ : View() <= name.name_;
  }
  bool operator==(const CNameProbe& name) const noexcept {
    return HasNumber(name) ? Number() == name.number_ : View() == name.name_;
  }

 private:
  bool HasNumber(const CNameProbe& name) const noexcept { return !IsOnHeap() && name.IsInPlace(); }
  // That of a probe of this name.
  CNameProbe::NUMBER Number() const noexcept {
    return CNameProbe::NUMBER{Word(1)} << 64 | Word(8) << 8 | room_[0];
  }
  std::uint64_t Word(std::size_t at) const noexcept {
    return CNameProbe::Word<std::uint64_t>(reinterpret_cast<const char*>(room_ + at));
  }
  void PutWord(std::size_t at, std::uint64_t word) noexcept {
    word = CNameProbe::Turned(word);
    std::memcpy(room_ + at, &word, sizeof(word));
  }
};

}  // namespace Qorv::IMPL
