// Counted shared pointers.
#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

namespace Qorv {

/// Shares an object with its copies; the last of them deletes it. Two words: the object, and its count, which stands for
/// itself. Empty as made. A handle on an object is one on its bases as well, and then deletes by the base's virtual
/// destructor.
///
/// Different handles on one object may be used by different threads at will; one handle must not be changed while
/// another thread uses it.
template <class T>
class CHandle {
 public:
  constexpr CHandle() noexcept = default;
  /// Takes the object over. std::bad_alloc; the object is gone then.
  explicit CHandle(std::unique_ptr<T> object) {
    if (object == nullptr) return;
    count_ = new std::atomic<std::int64_t>(1);
    object_ = object.release();
  }

  CHandle(const CHandle& other) noexcept : CHandle(other.object_, other.count_) { Share(); }
  template <std::derived_from<T> Derived>
  CHandle(const CHandle<Derived>& other) noexcept : CHandle(other.object_, other.count_) {  // NOLINT
    static_assert(std::has_virtual_destructor_v<T>);
    Share();
  }
  CHandle(CHandle&& other) noexcept
      : CHandle(std::exchange(other.object_, nullptr), std::exchange(other.count_, nullptr)) {}
  CHandle& operator=(CHandle other) noexcept {
    std::swap(object_, other.object_);
    std::swap(count_, other.count_);
    return *this;
  }
  ~CHandle() {
    if (count_ == nullptr || count_->fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    delete count_;
    delete object_;
  }

  T* Get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }
  /// True for handles on one and the same object.
  friend bool operator==(const CHandle& a, const CHandle& b) noexcept { return a.object_ == b.object_; }

 private:
  template <class>
  friend class CHandle;

  CHandle(T* object, std::atomic<std::int64_t>* count) noexcept : object_(object), count_(count) {}
  void Share() noexcept {
    if (count_ != nullptr) count_->fetch_add(1, std::memory_order_relaxed);
  }

  T* object_ = nullptr;
  std::atomic<std::int64_t>* count_ = nullptr;
};

/// A handle on a new object.
template <class T, class... Arguments>
CHandle<T> MakeHandle(Arguments&&... arguments) {
  return CHandle<T>(std::make_unique<T>(std::forward<Arguments>(arguments)...));
}

}  // namespace Qorv
