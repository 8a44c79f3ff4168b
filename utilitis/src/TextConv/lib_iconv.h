// Conversion by libiconv, loaded at run time.
#pragma once

#include <cstddef>

#include <qorv/sync.h>
#include <qorv/textconv.h>

#include "TextConv/text_library.h"

namespace Qorv {
namespace IMPL {
struct ICONVAPI;
}

/// Drops what has no place in the other encoding. Failures are libiconvExp: the library or the encoding is not to be had.
class CTextLibIConv final : public TTextConv {
 public:
  explicit CTextLibIConv(const stringEx& encoding);
  explicit CTextLibIConv(std::uint32_t codePage);
  ~CTextLibIConv() override;

  std::unique_ptr<TTextConv> Clone() const override;
  std::unique_ptr<TTextConv> Clone(const stringEx& encoding) const override;
  std::unique_ptr<TTextConv> Clone(std::uint32_t codePage) const override;
  void AppendWCtoMB(stringEx& dest, const wstringEx& source) override;
  void AppendMBtoWC(wstringEx& dest, const stringEx& source) override;
  stringEx GetEncoding() const override { return encoding_; }
  std::uint32_t GetCodePage() const override { return codePage_; }

 private:
  bool OpenBoth();
  template <class Element, class Dest>
  void Convert(void* descriptor, const char* data, std::size_t size, std::size_t unit, Dest& dest);

  const stringEx encoding_;
  const std::uint32_t codePage_;
  const IMPL::CLibraryUse<IMPL::ICONVAPI> api_;
  void* toWide_ = nullptr;
  void* toNarrow_ = nullptr;
  FASTKSV_PCLOCK lock_;
};

}  // namespace Qorv
