// One pointer for each thread.
#pragma once

#include <pthread.h>

#include <qorv/error.h>

namespace Qorv {

/// A place that holds one pointer for each thread, on one system key (pthread_key_t). Null until the thread sets it.
///
/// The slot owns nothing: the pointer stays its setter's, and is not freed when the thread ends. The library frees
/// its own data at the end of every TThread and in TThread::ExitCurrent; a thread made otherwise keeps what it has until
/// the process ends.
///
/// Each thread sees its own pointer alone, so all operations may be called from any thread at once. Failures are
/// tlsExp: code 1 creating, 3 setting, 4 destroying.
class CTlsSlot {
 public:
  CTlsSlot();
  CTlsSlot(const CTlsSlot&) = delete;
  CTlsSlot& operator=(const CTlsSlot&) = delete;
  /// A failure is thrown (code 4) unless another exception is unwinding.
  ~CTlsSlot() noexcept(false);

  void* GetValue() const noexcept { return ::pthread_getspecific(key_); }
  void SetValue(void* value);

 private:
  pthread_key_t key_;
};

}  // namespace Qorv
