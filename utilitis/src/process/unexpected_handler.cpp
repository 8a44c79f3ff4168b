// This file is compiled as C++14, the last standard that has this handler: code of that time, linked into a program of
// today, still calls it.
#include "process/unexpected_handler.h"

#include <exception>

namespace Qorv {
namespace IMPL {

void SetUnexpectedHandler(void (*handler)()) {
  std::set_unexpected(handler);
}

}  // namespace IMPL
}  // namespace Qorv
