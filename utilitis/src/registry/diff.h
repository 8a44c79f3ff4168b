// What diff data is made of. docs/diff.md has the layout.
#pragma once

#include <cstdint>
#include <string_view>

#include <qorv/isxf.h>

#include "registry/image.h"

namespace Qorv::IMPL {

/// What diff data begins with, in the byte order of the machine: "D1". All behind it are items.
inline constexpr std::uint16_t diffMark = 0x3144;

/// The control codes of records.
namespace diffCode {
inline constexpr std::uint8_t updateValue = 0;
inline constexpr std::uint8_t deleteValue = 1;
inline constexpr std::uint8_t addValue = 2;
inline constexpr std::uint8_t changeKey = 3;
inline constexpr std::uint8_t deleteKey = 4;
inline constexpr std::uint8_t addKey = 5;
inline constexpr std::uint8_t remarks = 6;
}  // namespace diffCode

/// Goes through the records of diff data, which outlives it. Items that are no record are passed over.
class CDiffReader {
 public:
  /// Throws regExp, code 3, with one of these where the data does not begin with the mark.
  CDiffReader(const byteEx& data, std::string_view sizeRefusal, std::string_view markRefusal);

  /// To the next record, of which the caller reads as much as he knows; false behind the last one. isxfExp, also of the
  /// operations below.
  bool Next();
  std::uint8_t Code() const noexcept { return code_; }

  /// Valid until the next call.
  std::string_view GetText() { return text_.Get(reader_); }
  /// The names of a path go to `take`.
  template <class Take>
  stringEx GetPath(Take take) {
    return text_.PathFromImage(reader_.ViewString(stored_), take);
  }
  std::uint8_t GetType() { return reader_.GetSmallEnum(); }
  CRegValue GetPayload(std::uint8_t type, std::string_view refusal) {
    CRegValue value;
    IMPL::GetPayload(reader_, text_, type, value, refusal);
    return value;
  }

 private:
  CISXFReader reader_;
  CImageText text_;
  stringEx stored_;
  std::uint8_t code_ = 0;
};

}  // namespace Qorv::IMPL
