// Text on its way into an image and out of one: there it is UTF-8, in memory in the process's encoding.
#pragma once

#include <cstdint>
#include <string_view>

#include <qorv/isxf.h>
#include <qorv/textconv.h>

namespace Qorv::IMPL {

/// Converts for one run over an image. Where the encoding is UTF-8 all text passes as it stands. Otherwise a text that
/// cannot be converted and back again without a loss passes as its bytes, in both directions, so that nothing is dropped
/// from it: bytes that are no text in the process's encoding, letters that it does not have.
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

 private:
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
