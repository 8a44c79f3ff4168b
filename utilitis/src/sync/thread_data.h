// Working data that each thread has for itself.
#pragma once

#include <iterator>
#include <list>

#include <qorv/detail/kill_hold.h>
#include <qorv/sync.h>

namespace Qorv::IMPL {

/// One `Value` for each thread that asks for it, default-made on its first call. A thread frees its own with
/// Release; that of a thread that ends without doing so stays until the process ends, and can be told from a
/// leak, since all of them hang on one list. Meant for objects that are never destroyed: threads and static
/// objects may outlive any other.
template <class Value>
class CThreadData {
 public:
  /// The calling thread's value. std::bad_alloc, tlsExp of code 3, and what making a Value throws.
  Value& Get() {
    if (void* const present = slot_.GetValue()) return static_cast<RECORD*>(present)->value;
    CSafeScopeLock<FASTKSV_PCLOCK> guard(lock_);
    records_.emplace_front();
    try {
      slot_.SetValue(&records_.front());
    } catch (...) {
      records_.pop_front();
      throw;
    }
    records_.front().place = records_.begin();
    return records_.front().value;
  }

  /// Frees the calling thread's value, if it has one. tlsExp of code 3.
  void Release() {
    void* const present = slot_.GetValue();
    if (present == nullptr) return;
    std::list<RECORD> gone;  // dies last: its destructor may come here again
    CSafeScopeLock<FASTKSV_PCLOCK> guard(lock_);
    gone.splice(gone.begin(), records_, static_cast<RECORD*>(present)->place);
    slot_.SetValue(nullptr);
  }

 private:
  struct RECORD {
    Value value;
    typename std::list<RECORD>::iterator place;
  };

  CTlsSlot slot_;
  FASTKSV_PCLOCK lock_;
  std::list<RECORD> records_ QORV_GUARDED_BY(lock_);
};

}  // namespace Qorv::IMPL
