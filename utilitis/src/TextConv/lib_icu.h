// Conversion by ICU, loaded at run time.
#pragma once

#include <qorv/sync.h>
#include <qorv/textconv.h>

#include "TextConv/text_library.h"

namespace Qorv {
namespace IMPL {
struct ICUAPI;
}

/// Failures are libicuExp: the library or the encoding is not to be had, or a text cannot be converted. The version of the
/// library is that of QORV_LIBICU_VER, or 38.
class CTextLibIcu final : public TTextConv {
 public:
  explicit CTextLibIcu(const stringEx& encoding);
  explicit CTextLibIcu(std::uint32_t codePage);
  ~CTextLibIcu() override;

  std::unique_ptr<TTextConv> Clone() const override;
  std::unique_ptr<TTextConv> Clone(const stringEx& encoding) const override;
  std::unique_ptr<TTextConv> Clone(std::uint32_t codePage) const override;
  void AppendWCtoMB(stringEx& dest, const wstringEx& source) override;
  void AppendMBtoWC(wstringEx& dest, const stringEx& source) override;
  stringEx GetEncoding() const override { return encoding_; }
  std::uint32_t GetCodePage() const override { return codePage_; }

 private:
  void OpenConverter(std::string_view fieldName, const stringEx& fieldValue);
  [[noreturn]] void Refuse(std::string_view heading, int error) const;

  const stringEx encoding_;
  const std::uint32_t codePage_;
  const bool isByPage_;
  const IMPL::CLibraryUse<IMPL::ICUAPI> api_;
  void* converter_ = nullptr;
  FASTKSV_PCLOCK lock_;
};

}  // namespace Qorv
