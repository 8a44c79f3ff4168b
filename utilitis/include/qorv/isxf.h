// ISXF, a serial format that describes itself: items of a one-byte tag and a payload. docs/isxf.md has the layout.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <type_traits>

#include <qorv/detail/data_object.h>
#include <qorv/detail/short_copy.h>
#include <qorv/misc.h>
#include <qorv/string.h>

namespace Qorv {

/// The tags. In place of a data item with the value zero, or without content, stands `none` (void); the structural items,
/// from controlCode on, have no void. Every other number is invalid, 4 among them.
namespace isxfTag {
inline constexpr std::uint8_t none = 0x00;
inline constexpr std::uint8_t int8 = 0x01;
inline constexpr std::uint8_t int16 = 0x02;
inline constexpr std::uint8_t int32 = 0x03;
inline constexpr std::uint8_t int64 = 0x05;
inline constexpr std::uint8_t singleFloat = 0x06;
inline constexpr std::uint8_t doubleFloat = 0x07;
inline constexpr std::uint8_t longDouble = 0x08;
inline constexpr std::uint8_t boolTrue = 0x09;
inline constexpr std::uint8_t string = 0x0A;
inline constexpr std::uint8_t wideString = 0x0B;
inline constexpr std::uint8_t blob = 0x0C;
inline constexpr std::uint8_t ctrlCode = 0x80;
inline constexpr std::uint8_t segNumber = 0x81;
inline constexpr std::uint8_t enumeration = 0x82;
inline constexpr std::uint8_t id = 0x83;
inline constexpr std::uint8_t size = 0x84;
inline constexpr std::uint8_t bigSize = 0x85;
inline constexpr std::uint8_t command = 0x86;
inline constexpr std::uint8_t bigId = 0x87;
inline constexpr std::uint8_t smallId = 0x88;
inline constexpr std::uint8_t tinyId = 0x89;
inline constexpr std::uint8_t smallEnum = 0x8A;
inline constexpr std::uint8_t smallVersion = 0x8B;
inline constexpr std::uint8_t version = 0x8C;
inline constexpr std::uint8_t eofSegNumber = 0x8D;
inline constexpr std::uint8_t bigSegNumber = 0x8E;
inline constexpr std::uint8_t eofBigSegNumber = 0x8F;
inline constexpr std::uint8_t compactCommand = 0x90;
}  // namespace isxfTag

/// The bound that is none.
inline constexpr std::int64_t isxfNoBound = invalidInt64;

/// What reader and writer share: a stream, which outlives them and is not owned, and a bound, the number of bytes that may
/// still pass. Each access takes its bytes off the bound first; one that would bring it below zero is refused with isxfExp,
/// code 2, before the stream is touched, and leaves a bound of 0, so that all that follow are refused as well.
///
/// One thread at a time. A failure of the stream passes on unchanged.
class CISXFBasic {
 public:
  /// Bytes that may still pass, or isxfNoBound.
  std::int64_t GetCheckBound() const noexcept {
    return checkBound_ == isxfNoBound ? isxfNoBound : checkBound_ + static_cast<std::int64_t>(Window());
  }

 protected:
  CISXFBasic(IDataObject* stream, std::int64_t bound) noexcept : stream_(stream), checkBound_(bound) {}
  ~CISXFBasic() = default;

  // The window is what lies in memory from `next_` on and is off the bound already. It is opened, as far as it can be, where
  // an item begins, and closed by what goes beyond it: none is open then until the end of that item.
  std::size_t Window() const noexcept {
    return windowEnd_ > next_ ? static_cast<std::size_t>(windowEnd_ - next_) : 0;
  }
  void OpenWindow(const unsigned char* end) noexcept {
    const bool isBound = checkBound_ != isxfNoBound;
    const auto count =
        isBound ? std::min<std::int64_t>(end - next_, std::max<std::int64_t>(checkBound_, 0)) : end - next_;
    windowEnd_ = next_ + count;
    if (isBound) checkBound_ -= count;
  }
  void CloseWindow() noexcept {
    checkBound_ = GetCheckBound();
    windowEnd_ = nullptr;
  }
  void _CheckBound(std::uint64_t size) {  // of one access, and so far from any overflow
    if (size <= Window()) return;
    CloseWindow();
    if (checkBound_ == isxfNoBound) return;
    const auto left = static_cast<std::int64_t>(static_cast<std::uint64_t>(checkBound_) - size);
    if (left < 0 || checkBound_ < 0) RefuseBound(size, left);
    checkBound_ = left;
  }

  IDataObject* stream_;            // null for a reader of memory
  unsigned char* next_ = nullptr;  // in memory

 private:
  [[noreturn]] void RefuseBound(std::uint64_t size, std::int64_t left);

  const unsigned char* windowEnd_ = nullptr;
  std::int64_t checkBound_;  // beyond the window
};

/// Reads items from a source or from memory, one after the other.
///
/// Failures are isxfExp with a number of isxfCode: code 1 for another item than the one asked for, or for void where a
/// structural item is; 2 for the bound; 3 from IgnoreNext for a tag that stands for nothing; 4 where the data ends within
/// an item, or at a tag, and for a wide string, read as text, whose bytes make no whole number of characters. Nothing is rolled back:
/// what was taken stays taken, a wrong tag included.
///
/// A typed read of a data item gives zero, false or an empty text for void.
class CISXFReader : public CISXFBasic {
 public:
  explicit CISXFReader(TDataSource& source, std::int64_t bound = isxfNoBound) noexcept
      : CISXFBasic(&source, bound) {}
  /// Over memory, which outlives the reader: without a stream, and so without a call for each of the small items.
  CISXFReader(const void* memory, std::size_t size, std::int64_t bound = isxfNoBound) noexcept
      : CISXFBasic(nullptr, bound) {
    next_ = const_cast<unsigned char*>(static_cast<const unsigned char*>(memory));  // never written
    end_ = next_ + size;
    OpenWindow(end_);
  }
  /// Over a source of which nobody else reads: takes up to `size` bytes ahead, though no more than the bound allows, into
  /// `room`, which outlives the reader.
  CISXFReader(TDataSource& source, void* room, std::size_t size, std::int64_t bound) noexcept
      : CISXFBasic(&source, bound), room_(static_cast<unsigned char*>(room)), roomSize_(size) {}

  /// True if no further item can come, wherever the bound is.
  bool IsEof() const { return Left() == 0 && (stream_ == nullptr || Source().IsEof()); }

  std::int8_t GetInt8() { return Data<std::int8_t>(isxfTag::int8); }
  std::int16_t GetInt16() { return Data<std::int16_t>(isxfTag::int16); }
  std::int32_t GetInt32() { return Data<std::int32_t>(isxfTag::int32); }
  std::int64_t GetInt64() { return Data<std::int64_t>(isxfTag::int64); }
  float GetFloat() { return Data<float>(isxfTag::singleFloat); }
  double GetDouble() { return Data<double>(isxfTag::doubleFloat); }
  long double GetLongDouble() { return Data<long double>(isxfTag::longDouble); }
  /// A data item of up to 8 bytes, of a tag and a size that only the data tells: the value in the low bytes, 0 for void. Size
  /// 0 is that of boolTrue, whose value is 1.
  std::uint64_t GetNumber(std::uint8_t tag, std::size_t size) {
    std::uint64_t value = 0;
    if (Window() >= 1 + sizeof(value) && peekedType_ == nothingPeeked &&
        (*next_ == tag || *next_ == isxfTag::none)) {
      const bool isVoid = *next_ == isxfTag::none;
      std::memcpy(&value, next_ + 1, sizeof(value));
      next_ += 1 + (isVoid ? 0 : size);
      return isVoid ? 0 : LowBytes(value, size);
    }
    if (!_GetAndVerifyType(tag)) return 0;
    _CheckBound(size);
    _Read(&value, size);
    return LowBytes(value, size);
  }
  bool GetBool() { return _GetAndVerifyType(isxfTag::boolTrue); }

  /// These grow their target with the data: its memory never goes far beyond what has come, whatever length the item
  /// claims. A refusal of tag, length or bound leaves the target as it was; behind that it holds a part of what came.
  void GetString(stringEx& out);
  stringEx GetString();
  void GetWString(wstringEx& out);
  wstringEx GetWString();
  void GetBlob(byteEx& out);
  /// The content of a string or a blob as bytes, where it lies if it lies in memory; otherwise it is read into `scratch`, as
  /// above. Valid until the next item is read; over memory as long as that stays.
  std::string_view ViewString(stringEx& scratch) { return View(isxfTag::string, scratch); }
  std::string_view ViewBlob(stringEx& scratch) { return View(isxfTag::blob, scratch); }

  /// DANGER: these forms trust the data. With a buffer, an item passes only if it is LONGER than the size that is given
  /// here, and is then written to the buffer in full, behind its end; an item of up to that size is refused with code 2.
  /// The length is whatever the data claims, up to 4 GiB, and a terminating zero is stored behind it before anything is
  /// read. So the memory behind `buffer` must have room for all that the data brings (and for the zero, except for blobs),
  /// which only a caller who has written the data himself can know; for any other data use the forms above.
  /// That sense of the test is part of the interface, and stays as it is.
  ///
  /// Sizes and results are in elements: bytes, for GetWString characters. For void the result is 0, and a string's buffer
  /// of a size other than 0 gets a terminating zero. A null buffer throws the item away, which is safe with any data.
  std::uint32_t GetString(char* buffer, std::uint32_t size);
  std::uint32_t GetWString(wchar_t* buffer, std::uint32_t size);
  std::uint32_t GetBlob(void* buffer, std::uint32_t size);

  std::uint8_t GetCtrlCode() {
    return Structural<std::uint8_t>(isxfTag::ctrlCode,
                                    "CISXFReader::GetCtrlCode - control code can't be void");
  }
  std::uint16_t GetSegNumber();
  std::uint32_t GetEnum();
  std::uint32_t GetID();
  std::uint32_t GetSize() {
    return Structural<std::uint32_t>(isxfTag::size, "CISXFReader::GetSize - size can't be void");
  }
  std::uint64_t GetBigSize();
  std::uint32_t GetCommand();
  std::uint64_t GetBigID();
  std::uint16_t GetSmallID();
  std::uint8_t GetTinyID();
  std::uint8_t GetSmallEnum() {
    return Structural<std::uint8_t>(isxfTag::smallEnum,
                                    "CISXFReader::GetSmallEnum - small enumeration can't be void");
  }
  std::uint8_t GetSmallVersion();
  std::uint16_t GetVersion();
  void GetEofSegNumber();
  std::uint32_t GetBigSegNumber();
  void GetEofBigSegNumber();
  std::uint16_t GetCompactCommand();

  /// The tag of the next item, which stays to be read, whatever it is: its byte is taken from source and bound only once.
  std::uint8_t GetNextType() {
    if (peekedType_ == nothingPeeked) peekedType_ = TakeTag();
    return static_cast<std::uint8_t>(peekedType_);
  }
  /// True if the next item is of this type or void.
  bool IsNextType(std::uint8_t tag) {
    const std::uint8_t next = GetNextType();
    return next == tag || next == isxfTag::none;
  }
  /// Skips one item of any type, by reading. At a tag that stands for nothing it fails with code 3, and stays there.
  void IgnoreNext();

 private:
  static constexpr std::int32_t nothingPeeked = -1;

  static std::uint64_t LowBytes(std::uint64_t value, std::size_t size) noexcept {
    if (size == 0) return 1;
    const std::size_t unused = 64 - 8 * size;
    return std::endian::native == std::endian::big ? value >> unused : value << unused >> unused;
  }
  // True if an item of this tag comes next, with so many bytes at least, all in the window.
  bool IsNear(std::uint8_t tag, std::size_t size) const noexcept {
    return size <= Window() && peekedType_ == nothingPeeked && *next_ == tag;
  }
  template <class T>
  T TakeNear() noexcept {
    T value;
    std::memcpy(&value, next_ + 1, sizeof(T));
    next_ += 1 + sizeof(T);
    return value;
  }

  // False for void.
  bool _GetAndVerifyType(std::uint8_t expected) {
    std::uint8_t tag;
    if (peekedType_ == nothingPeeked) {
      tag = TakeTag();
    } else {
      tag = static_cast<std::uint8_t>(peekedType_);
      peekedType_ = nothingPeeked;
    }
    if (tag == expected) return true;
    if (tag != isxfTag::none) RefuseType(expected, tag);
    return false;
  }
  std::uint8_t TakeTag() {
    std::uint8_t tag;
    if (Window() == 0) OpenWindow(end_);
    _CheckBound(1);
    _Read(&tag, 1);
    return tag;
  }
  void _Read(void* out, std::size_t size) {
    if (size <= Left()) {
      if (size != 0) std::memcpy(out, next_, size);
      next_ += size;
    } else if (room_ == nullptr && stream_ != nullptr) {
      const std::size_t count = Source().Read(out, size);
      if (count != size) ReadOn(out, size, count);
    } else {
      ReadAhead(static_cast<unsigned char*>(out), size);
    }
  }
  template <class T>
  T Payload() {
    T value;
    _CheckBound(sizeof(T));
    _Read(&value, sizeof(T));
    return value;
  }
  template <class T>
  T Data(std::uint8_t tag) {
    if (IsNear(tag, 1 + sizeof(T))) return TakeNear<T>();
    return _GetAndVerifyType(tag) ? Payload<T>() : T();
  }

  TDataSource& Source() const noexcept { return static_cast<TDataSource&>(*stream_); }
  std::size_t Left() const noexcept { return static_cast<std::size_t>(end_ - next_); }
  void ReadOn(void* out, std::size_t size, std::size_t count);
  void ReadAhead(unsigned char* out, std::size_t size);
  void Require(std::uint8_t tag, std::string_view refusal) {
    if (!_GetAndVerifyType(tag)) RefuseVoid(refusal);
  }
  template <class T>
  T Structural(std::uint8_t tag, std::string_view refusal) {
    if (IsNear(tag, 1 + sizeof(T))) return TakeNear<T>();
    Require(tag, refusal);
    return Payload<T>();
  }
  template <class T>
  void ReadText(std::uint8_t tag, basic_string_ex<T>& out);
  template <class T>
  void ReadPieces(std::uint32_t length, basic_string_ex<T>& out);
  std::string_view View(std::uint8_t tag, stringEx& scratch) {
    const bool isNear = IsNear(tag, 1 + sizeof(std::uint32_t));
    if (!isNear && !_GetAndVerifyType(tag)) return {};
    const auto length = isNear ? TakeNear<std::uint32_t>() : Payload<std::uint32_t>();
    _CheckBound(length);
    if (length > Left()) return ViewCopied(length, scratch);
    next_ += length;
    return {reinterpret_cast<const char*>(next_ - length), length};
  }
  std::string_view ViewCopied(std::uint32_t length, stringEx& scratch);
  template <class T>
  std::uint32_t ReadInto(std::uint8_t tag, std::string_view refusal, T* buffer, std::uint32_t size);
  void Skip(std::uint64_t length);
  [[noreturn]] static void RefuseEnd(std::size_t expected, std::size_t real);
  [[noreturn]] static void RefuseFraction(std::uint32_t length);
  [[noreturn]] static void RefuseVoid(std::string_view refusal);
  [[noreturn]] static void RefuseType(std::uint8_t expected, std::uint8_t real);

  unsigned char* end_ = nullptr;   // of the memory, or of what was read ahead
  unsigned char* room_ = nullptr;  // for reading ahead
  std::size_t roomSize_ = 0;
  std::int32_t peekedType_ = nothingPeeked;  // a tag that was taken from the source, and is yet to be read
};

/// Writes items to a sink. An item goes to the bound as a whole before its first byte: one that is refused leaves nothing
/// behind. Zero, false and empty values of data items become void; a float that is equal to zero does, so a negative zero
/// loses its sign.
///
/// Failures are isxfExp: code 2 for the bound; 4 for a content of 4 GiB or more, and for a sink that takes no more without
/// a failure of its own, which leaves an item cut short.
class CISXFWriter : public CISXFBasic {
 public:
  explicit CISXFWriter(TDataSink& sink, std::int64_t bound = isxfNoBound) noexcept
      : CISXFBasic(&sink, bound) {}
  /// Collects items in `room`, of `size` bytes, which outlives the writer, and gives it to the sink when it is full; what is
  /// in it at the end goes out by FlushBuffer alone.
  CISXFWriter(TDataSink& sink, void* room, std::size_t size, std::int64_t bound) noexcept
      : CISXFBasic(&sink, bound), room_(static_cast<unsigned char*>(room)), end_(room_ + size) {
    next_ = room_;
  }
  void FlushBuffer();

  void PutVoid() { PutTag(isxfTag::none); }
  void PutInt8(std::int8_t value) { Data(isxfTag::int8, value); }
  void PutInt16(std::int16_t value) { Data(isxfTag::int16, value); }
  void PutInt32(std::int32_t value) { Data(isxfTag::int32, value); }
  void PutInt64(std::int64_t value) { Data(isxfTag::int64, value); }
  void PutFloat(float value) { Data(isxfTag::singleFloat, value); }
  void PutDouble(double value) { Data(isxfTag::doubleFloat, value); }
  void PutLongDouble(long double value) { Data(isxfTag::longDouble, value); }
  /// As GetNumber: a value whose low bytes are these, or void if `isVoid`.
  void PutNumber(std::uint8_t tag, std::uint64_t value, std::size_t size, bool isVoid) {
    if constexpr (std::endian::native == std::endian::big) value <<= size == 0 ? 0 : 64 - 8 * size;
    unsigned char item[1 + sizeof(value)];
    const bool isNear = sizeof(item) <= Window();
    unsigned char* const at = isNear ? next_ : item;
    Lay(at, isVoid ? isxfTag::none : tag, value);
    const std::size_t count = 1 + (isVoid ? 0 : size);
    if (isNear) {
      next_ += count;
    } else {
      PutFar(item, count);
    }
  }
  void PutBool(bool value) { PutTag(value ? isxfTag::boolTrue : isxfTag::none); }

  void PutString(const stringEx& text) { PutString(text.data(), text.length()); }
  void PutString(const byteEx& bytes) {
    PutString(reinterpret_cast<const char*>(bytes.data()), bytes.length());
  }
  void PutString(const char* text, std::uint64_t length) {
    PutBytes(isxfTag::string, "CISXFWriter::PutString - string too long\n", text, length);
  }
  void PutWString(const wstringEx& text) { PutWString(text.data(), text.length()); }
  /// `length` in characters.
  void PutWString(const wchar_t* text, std::uint64_t length);
  void PutBlob(const byteEx& bytes) { PutBlob(bytes.data(), bytes.length()); }
  void PutBlob(const void* bytes, std::uint64_t length) {
    PutBytes(isxfTag::blob, "CISXFWriter::PutBlob - blob too long\n", bytes, length);
  }

  void PutCtrlCode(std::uint8_t value) { PutItem(isxfTag::ctrlCode, value); }
  void PutSegNumber(std::uint16_t value) { PutItem(isxfTag::segNumber, value); }
  void PutEofSegNumber() { PutTag(isxfTag::eofSegNumber); }
  void PutBigSegNumber(std::uint32_t value) { PutItem(isxfTag::bigSegNumber, value); }
  void PutEofBigSegNumber() { PutTag(isxfTag::eofBigSegNumber); }
  void PutEnum(std::uint32_t value) { PutItem(isxfTag::enumeration, value); }
  void PutSmallEnum(std::uint8_t value) { PutItem(isxfTag::smallEnum, value); }
  void PutID(std::uint32_t value) { PutItem(isxfTag::id, value); }
  void PutSmallID(std::uint16_t value) { PutItem(isxfTag::smallId, value); }
  void PutTinyID(std::uint8_t value) { PutItem(isxfTag::tinyId, value); }
  void PutBigID(std::uint64_t value) { PutItem(isxfTag::bigId, value); }
  void PutSize(std::uint32_t value) { PutItem(isxfTag::size, value); }
  void PutBigSize(std::uint64_t value) { PutItem(isxfTag::bigSize, value); }
  void PutCommand(std::uint32_t value) { PutItem(isxfTag::command, value); }
  void PutCompactCommand(std::uint16_t value) { PutItem(isxfTag::compactCommand, value); }
  void PutVersion(std::uint16_t value) { PutItem(isxfTag::version, value); }
  void PutSmallVersion(std::uint8_t value) { PutItem(isxfTag::smallVersion, value); }

 private:
  static constexpr std::size_t headSize = 1 + sizeof(std::uint32_t);  // of a text

  // An extended float has bytes that belong to no value; they are written as zeros.
  template <class T>
  static constexpr std::size_t valueBytes = std::is_same_v<T, long double>&& std::numeric_limits<T>::digits ==
                                                    64
                                                ? 10
                                                : sizeof(T);

  void PutTag(std::uint8_t tag) {
    if (Window() == 0) return PutFar(&tag, 1);
    *next_++ = tag;
  }
  template <class T>
  void PutItem(std::uint8_t tag, T value) {
    constexpr std::size_t size = 1 + sizeof(T);
    if (size <= Window()) {
      Lay(next_, tag, value);
      next_ += size;
    } else {
      unsigned char item[size];
      Lay(item, tag, value);
      PutFar(item, size);
    }
  }
  template <class T>
  static void Lay(unsigned char* item, std::uint8_t tag, T value) {
    *item = tag;
    if constexpr (valueBytes<T> != sizeof(T)) std::memset(item + 1, 0, sizeof(T));
    std::memcpy(item + 1, &value, valueBytes<T>);
  }
  std::size_t Room() const noexcept { return static_cast<std::size_t>(end_ - next_); }
  template <class T>
  void Data(std::uint8_t tag, T value) {
    if (value == T()) {
      PutVoid();
    } else {
      PutItem(tag, value);
    }
  }
  // Items that are not within the window.
  void CheckFar(std::uint64_t size) {
    if (Window() == 0) OpenWindow(end_);
    _CheckBound(size);
  }
  void PutFar(const unsigned char* item, std::size_t size) {
    CheckFar(size);
    _Write(item, size);
  }
  void PutBytes(std::uint8_t tag, std::string_view refusal, const void* bytes, std::uint64_t length) {
    constexpr std::uint64_t shortSize = 1024;
    if (length - 1 >= shortSize || headSize + length > Window())
      return PutText(tag, refusal, bytes, length, 1);
    Lay(next_, tag, static_cast<std::uint32_t>(length));
    IMPL::CopyShort(next_ + headSize, bytes, length);
    next_ += headSize + length;
  }
  void PutText(std::uint8_t tag, std::string_view refusal, const void* text, std::uint64_t length,
               std::size_t elementSize);
  void _Write(const void* data, std::size_t size) {
    if (size <= Room()) {
      std::memcpy(next_, data, size);
      next_ += size;
    } else {
      if (room_ != nullptr) FlushBuffer();
      Send(data, size);
    }
  }
  void Send(const void* data, std::size_t size) {
    const std::size_t count = Sink().Write(data, size);
    if (count != size) WriteOn(data, size, count);
  }
  TDataSink& Sink() const noexcept { return static_cast<TDataSink&>(*stream_); }
  void WriteOn(const void* data, std::size_t size, std::size_t count);

  unsigned char* room_ = nullptr;  // what was collected, up to `next_`
  unsigned char* end_ = nullptr;
};

}  // namespace Qorv
