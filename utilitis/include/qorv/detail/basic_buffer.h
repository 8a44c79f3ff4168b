// The copy-on-write buffer behind the strings and behind the payload of queue records.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

namespace Qorv {

/// A counted run of elements. Copying copies four words and increments the count; the last holder frees the
/// elements. Elements are moved by memory copies, so T is a plain type.
///
/// kind         | data          | count | capacity
/// -------------|---------------|-------|----------------------------------
/// empty        | null          | null  | 0
/// owner        | behind count  | heap  | elements of room
/// literal view | constant text | null  | viewCapacity
///
/// A view owns and frees nothing, and a copy of it is another view. It is read-only: reserve does nothing on
/// it, so nobody may write through one.
///
/// Lengths and capacities are in elements. The count is atomic: holders on different threads may read and
/// drop their copies at will; one object must not be changed while another thread uses it.
template <class T>
class basic_buffer {
 public:
  using counter = std::atomic<std::int64_t>;

  static constexpr std::int64_t viewCapacity = -2;

  constexpr basic_buffer() noexcept = default;
  basic_buffer(const basic_buffer& other) noexcept
      : data_(other.data_), count_(other.count_), length_(other.length_), capacity_(other.capacity_) {
    if (count_ != nullptr) count_->fetch_add(1, std::memory_order_relaxed);
  }
  constexpr basic_buffer(basic_buffer&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)),
        count_(std::exchange(other.count_, nullptr)),
        length_(std::exchange(other.length_, 0)),
        capacity_(std::exchange(other.capacity_, 0)) {}
  basic_buffer& operator=(const basic_buffer& other) noexcept {
    basic_buffer(other).swap(*this);
    return *this;
  }
  basic_buffer& operator=(basic_buffer&& other) noexcept {
    if (this != &other) {
      if (count_ != nullptr) Release();
      data_ = std::exchange(other.data_, nullptr);
      count_ = std::exchange(other.count_, nullptr);
      length_ = std::exchange(other.length_, 0);
      capacity_ = std::exchange(other.capacity_, 0);
    }
    return *this;
  }
  constexpr ~basic_buffer() {
    if (count_ != nullptr) Release();
  }

  static constexpr basic_buffer view(const T* data, std::uint64_t length) noexcept {
    basic_buffer result;
    result.data_ =
        const_cast<T*>(data);  // never written: every writer reserves, and reserve leaves a view alone
    result.length_ = length;
    result.capacity_ = viewCapacity;
    return result;
  }

  /// Never null: an empty buffer gives a static empty text.
  const T* data() const noexcept { return data_ != nullptr ? data_ : &emptyText; }
  /// For the one holder of a buffer that reserve has prepared; null if there is no room at all. On a view
  /// this is the constant text itself, which nobody may write to.
  T* writable() noexcept { return data_; }
  std::uint64_t length() const noexcept { return length_; }
  std::int64_t capacity() const noexcept { return capacity_; }
  bool is_view() const noexcept { return capacity_ == viewCapacity; }
  bool is_shared() const noexcept {
    return count_ != nullptr && count_->load(std::memory_order_acquire) != 1;
  }

  /// The element at `position`, below length; otherwise throws utilExp, code 1.
  const T& at(std::uint64_t position) const;

  /// Makes this the only holder of room for at least `capacity` elements. A shared buffer is copied into
  /// max(capacity, length) | 31 elements; room that is too small grows to (capacity | 31) + half of the old
  /// room. A view stays as it is. Throws std::bad_alloc and then leaves the buffer as it was.
  void reserve(std::uint64_t capacity);
  /// The same with room for exactly `capacity` elements, at least the length; for a final size that is known.
  void reserve_exact(std::uint64_t capacity);
  /// The same without keeping the content: the length is 0 afterwards. For assignment. A view is let go.
  void reserve_discard(std::uint64_t capacity);

  /// States how many elements are in use. The caller has reserved and filled them.
  void set_length(std::uint64_t length) noexcept { length_ = length; }

  void swap(basic_buffer& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(count_, other.count_);
    std::swap(length_, other.length_);
    std::swap(capacity_, other.capacity_);
  }

 private:
  static constexpr T emptyText{};

  void Release() noexcept;
  void MoveTo(std::uint64_t capacity, std::uint64_t keep);
  void Resize(std::uint64_t capacity);

  T* data_ = nullptr;
  counter* count_ = nullptr;
  std::uint64_t length_ = 0;
  std::int64_t capacity_ = 0;
};

extern template class basic_buffer<char>;
extern template class basic_buffer<wchar_t>;
extern template class basic_buffer<unsigned char>;

}  // namespace Qorv
