// Conversion by the system's own library, in the process's locale.
#pragma once

#include <qorv/textconv.h>

namespace Qorv::IMPL {

/// Stops with a tconvExp at what is no character of the locale.
class CIsoSysDefConv final : public TTextConv {
 public:
  std::unique_ptr<TTextConv> Clone() const override;
  std::unique_ptr<TTextConv> Clone(const stringEx& encoding) const override;
  std::unique_ptr<TTextConv> Clone(std::uint32_t codePage) const override;
  void AppendWCtoMB(stringEx& dest, const wstringEx& source) override;
  void AppendMBtoWC(wstringEx& dest, const stringEx& source) override;
  stringEx GetEncoding() const override { return GetSysDefEncoding(); }
  std::uint32_t GetCodePage() const override;
};

}  // namespace Qorv::IMPL
