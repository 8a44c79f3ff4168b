// The handler of exceptions that a function did not announce, a thing of older C++.
#pragma once

namespace Qorv {
namespace IMPL {

void SetUnexpectedHandler(void (*handler)());

}  // namespace IMPL
}  // namespace Qorv
