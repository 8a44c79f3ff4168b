// Text on its way into an image and out of one: there it is UTF-8, in memory in the process's encoding.
#pragma once

#include <cstdint>
#include <string_view>

#include <qorv/isxf.h>
#include <qorv/textconv.h>

#include "registry/key.h"

namespace Qorv::IMPL {

/// Converts for one run over an image. Where the encoding is UTF-8 all text passes as it stands. Otherwise a text that
/// cannot be converted and back again without a loss passes as its bytes, in both directions, so that nothing is dropped
/// from it: bytes that are no text in the process's encoding, letters that it does not have. What passes so and looks like
/// a text of the other side is taken for one there: it comes back as another, and two names may become one.
class CImageText {
 public:
  CImageText();
  CImageText(const CImageText&) = delete;
  CImageText& operator=(const CImageText&) = delete;

  void Put(CISXFWriter& writer, std::string_view text) {
    const std::string_view stored = ToImage(text);
    writer.PutString(stored.data(), stored.size());
  }
  /// These are valid until the next call, the bytes of a blob even over FromImage.
  std::string_view Get(CISXFReader& reader) { return FromImage(reader.ViewString(scratch_)); }
  std::string_view GetBytes(CISXFReader& reader) { return reader.ViewBlob(scratch_); }
  std::string_view FromImage(std::string_view text) { return conv_ == nullptr ? text : Narrowed(text); }
  std::string_view ToImage(std::string_view text) { return conv_ == nullptr ? text : Widened(text); }

  /// A path name by name, as its separator is a backslash on both sides, whatever that byte is in the encoding. `take` gets
  /// each name that comes out, and may refuse it.
  template <class Take>
  stringEx PathFromImage(std::string_view path, Take take) {
    return ByNames(path, take, [this](std::string_view name) { return FromImage(name); });
  }
  template <class Take>
  stringEx PathToImage(std::string_view path, Take take) {
    return ByNames(path, take, [this](std::string_view name) { return ToImage(name); });
  }

 private:
  template <class Take, class Convert>
  static stringEx ByNames(std::string_view path, Take take, Convert convert) {
    stringEx out;
    for (std::string_view name = TakeName(path); !name.empty(); name = TakeName(path)) {
      const std::string_view converted = convert(name);
      take(converted);
      if (!out.empty()) out += '\\';
      out += converted;
    }
    return out;
  }

  std::string_view Narrowed(std::string_view text);
  std::string_view Widened(std::string_view text);
  bool Passes(std::string_view text) const noexcept;
  bool Widens(std::string_view text);
  bool Narrows();

  TTextConv* conv_ = nullptr;  // none where all text passes
  bool isPlainKept_ = false;   // plain ASCII is the same in both
  stringEx scratch_;           // what comes from a stream
  wstringEx wide_;
  wstringEx proof_;
  stringEx narrow_;
};

}  // namespace Qorv::IMPL
