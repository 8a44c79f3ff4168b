// The image of a tree, and the parts of it that differences are made of as well. docs/registry.md has the layout.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <qorv/detail/data_object.h>
#include <qorv/isxf.h>

#include "registry/image_text.h"
#include "registry/key.h"

namespace Qorv::IMPL {

/// What an image begins with, in the byte order of the machine; all behind it are items.
namespace imageMark {
inline constexpr std::uint16_t r1 = 0x5246;  // "FR"
inline constexpr std::uint16_t r2 = 0x3252;  // "R2"
inline constexpr std::uint16_t r3 = 0x3352;  // "R3"
}  // namespace imageMark

/// Of what is read ahead of an image or collected for one, in bytes.
inline constexpr std::size_t imageBufferSize = 8192;

/// Writes the tree below `root`, whose locks the caller holds, in the newest revision. `quota` is a bound for all but the
/// mark. regExp: code 6 for ioExp of the sink and for the quota, code 3 for a type without a name, code 1 for a subkey
/// without a key, code 22 for a circle.
void RegCompile(TDataSink& sink, REGKEY& root, std::int64_t quota);

/// Read an image of any revision into `root`, which nobody else has. `size` is how many bytes there are. regExp: code 3 for
/// a wrong head or type, code 5 for ioExp of the source and for items that are no image. What was read before that stays,
/// except for the value that failed and keys that were not at their end. Neither memory nor time follow what counts and lengths claim.
void RegParse(TDataSource& source, std::int64_t size, REGKEY& root);
/// Of a source from which nobody else reads: is read ahead, though never beyond `size`.
void RegParseAhead(TDataSource& source, std::int64_t size, REGKEY& root);
void RegParse(const void* image, std::size_t size, REGKEY& root);

/// The payload behind a value's type. A type without a name is regExp, code 3: `refusal` and the number.
void PutPayload(CISXFWriter& writer, CImageText& text, const CRegValue& value, std::string_view refusal);
void GetPayload(CISXFReader& reader, CImageText& text, std::uint32_t type, CRegValue& value,
                std::string_view refusal);

/// The values of one key and their number, which are added to `values`, the last of a name in the place of others. A type
/// without a name is regExp, code 3. In the first two revisions the strings of a set were one blob, in the very first there
/// was a number more.
void RegCompileValues_r3(CISXFWriter& writer, const REGVALUES& values, CImageText& text);
void RegParseValues_r3(CISXFReader& reader, REGVALUES& values, CImageText& text);
void RegParseValues_r1r2(CISXFReader& reader, REGVALUES& values, bool isFirst, CImageText& text);

/// Sink and nothing more: behind what the string holds.
class CAppendingSink final : public TDataSink {
 public:
  explicit CAppendingSink(byteEx& target) noexcept : target_(&target) {}
  bool IsValid() const override { return true; }
  std::size_t Write(const void* data, std::size_t size) override {
    target_->append(static_cast<const unsigned char*>(data), size);
    return size;
  }
  void Flush() override {}

 private:
  byteEx* target_;
};

}  // namespace Qorv::IMPL
