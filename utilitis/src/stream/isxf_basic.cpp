#include <qorv/isxf.h>

#include "error/message.h"

namespace Qorv {

void CISXFBasic::RefuseBound(std::uint64_t size, std::int64_t left) {
  checkBound_ = 0;
  IMPL::CMessage("CISXFBasic::_CheckBound - buffer overflow\n")
      .Field("  expected size = ", size)
      .Field("  check bound   = ", left)
      .Throw<isxfExp>(isxfCode::bound);
}

}  // namespace Qorv
