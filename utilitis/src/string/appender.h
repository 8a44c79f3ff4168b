// Text put together piece by piece at the end of a string.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include <qorv/string.h>

#include "string/search.h"

namespace Qorv::IMPL {

/// Appends to `dest` without a look at length, sharing and room for each piece. Until this object goes, `dest`
/// must not be used otherwise; then it has all that was put, also when an exception ended the work. Pieces
/// must not lie in `dest` itself, unless somebody else holds its buffer as well.
template <class T>
class CAppender {
 public:
  using text_view = std::basic_string_view<T>;

  /// Makes room for `expected` more elements.
  CAppender(basic_string_ex<T>& dest, std::uint64_t expected) : dest_(dest) { MakeRoom(expected); }
  CAppender(const CAppender&) = delete;
  CAppender& operator=(const CAppender&) = delete;
  ~CAppender() { Settle(); }

  void Put(T element) {
    if (at_ == end_) Grow(1);
    *at_++ = element;
  }

  void Put(text_view text) {
    if (text.size() > static_cast<std::uint64_t>(end_ - at_)) Grow(text.size());
    if (text.size() > 4) {
      std::memcpy(at_, text.data(), text.size() * sizeof(T));
      at_ += text.size();
    } else {  // so short that a call costs more than it does
      for (const T element : text)
        *at_++ = element;
    }
  }

  /// ASCII text in elements of T.
  void PutAscii(std::string_view text) {
    for (const char element : text)
      Put(static_cast<T>(element));
  }

 private:
  void Settle() noexcept { dest_.SetLength(static_cast<std::uint64_t>(at_ - begin_)); }

  void Grow(std::uint64_t count) {
    Settle();
    MakeRoom(count);
  }

  // Gives no address of this object away, so that its fields may live in registers.
  void MakeRoom(std::uint64_t count) {
    constexpr int terminator = basic_string_ex<T>::zeroEnded ? 1 : 0;
    begin_ = dest_.Writable(Total(dest_.length(), count, 1));
    at_ = begin_ + dest_.length();
    end_ = begin_ + (dest_.capacity() - terminator);
  }

  basic_string_ex<T>& dest_;
  T* begin_;
  T* at_;
  T* end_;
};

}  // namespace Qorv::IMPL
