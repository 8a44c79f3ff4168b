#include <qorv/detail/basic_buffer.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include <qorv/error.h>

namespace Qorv {
namespace {

std::size_t BytesOf(std::uint64_t elements, std::size_t elementSize) {
  constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max()) - 64;
  if (elements > most / elementSize) throw std::bad_alloc();
  return static_cast<std::size_t>(elements) * elementSize;
}

}  // namespace

template <class T>
const T& basic_buffer<T>::at(std::uint64_t position) const {
  if (position >= length_) {
    throw utilExp(stringEx::view("basic_buffer::at - offset out of range"), utilCode::outOfRange);
  }
  return data_[position];
}

template <class T>
void basic_buffer<T>::reserve(std::uint64_t capacity) {
  if (is_shared()) {
    MoveTo(std::max(capacity, length_) | 31, length_);
  } else if (capacity > static_cast<std::uint64_t>(capacity_)) {  // a view's capacity is huge here
    const std::uint64_t half = static_cast<std::uint64_t>(capacity_) / 2;
    const std::uint64_t base = capacity | 31;
    if (base > std::numeric_limits<std::uint64_t>::max() - half) throw std::bad_alloc();
    Resize(base + half);
  }
}

template <class T>
void basic_buffer<T>::reserve_exact(std::uint64_t capacity) {
  if (is_view()) return;
  const std::uint64_t wanted = std::max(capacity, length_);
  if (is_shared()) {
    MoveTo(wanted, length_);
  } else if (wanted != static_cast<std::uint64_t>(capacity_)) {
    Resize(wanted);
  }
}

template <class T>
void basic_buffer<T>::reserve_discard(std::uint64_t capacity) {
  if (is_view() || is_shared() || capacity > static_cast<std::uint64_t>(capacity_)) MoveTo(capacity | 31, 0);
  length_ = 0;
}

// Replaces the content by a copy of its first `keep` elements in new room of the buffer's own.
template <class T>
void basic_buffer<T>::MoveTo(std::uint64_t capacity, std::uint64_t keep) {
  basic_buffer fresh;
  fresh.Resize(capacity);
  if (keep != 0) std::memcpy(fresh.data_, data_, keep * sizeof(T));
  fresh.length_ = keep;
  swap(fresh);
}

// Gives the one holder exactly this much room, in one block behind the count. A failure leaves all as it was.
template <class T>
void basic_buffer<T>::Resize(std::uint64_t capacity) {
  static_assert(alignof(T) <= sizeof(counter));
  const std::size_t bytes = BytesOf(capacity, sizeof(T));
  void* const block = std::realloc(static_cast<void*>(count_), sizeof(counter) + bytes);
  if (block == nullptr) throw std::bad_alloc();
  count_ = new (block) counter(1);
  data_ = reinterpret_cast<T*>(count_ + 1);
  capacity_ = static_cast<std::int64_t>(capacity);
}

template <class T>
void basic_buffer<T>::Release() noexcept {
  if (count_->fetch_sub(1, std::memory_order_acq_rel) == 1) std::free(count_);
}

template class basic_buffer<char>;
template class basic_buffer<wchar_t>;
template class basic_buffer<unsigned char>;

}  // namespace Qorv
