#include "thread/thread_exit.h"

#include "TextConv/front.h"
#include "string/thread_data.h"

namespace Qorv::IMPL {

void ReleaseThreadData() {
  ReleaseStringData<char>();
  ReleaseStringData<wchar_t>();
  ReleaseTextConv();
}

}  // namespace Qorv::IMPL
