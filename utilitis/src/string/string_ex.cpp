#include <qorv/string.h>

#include <algorithm>
#include <cstring>
#include <ostream>

#include "string/search.h"

namespace Qorv {
// Room of the string's own for `length` elements and the zero behind them. A view becomes a copy first.
template <class T>
T* basic_string_ex<T>::Writable(std::uint64_t length) {
  const std::uint64_t room = IMPL::Total(length, zeroEnded ? 1 : 0, 1);
  if (buffer_.is_view()) {
    basic_buffer<T> own;
    own.reserve(std::max(room, buffer_.length()));
    std::copy_n(buffer_.data(), buffer_.length(), own.writable());
    own.set_length(buffer_.length());
    buffer_.swap(own);
  }
  buffer_.reserve(room);
  return buffer_.writable();
}

template <class T>
void basic_string_ex<T>::reserve(std::uint64_t capacity) {
  Writable(std::max(capacity, length()));
  SetLength(length());
}

template <class T>
void basic_string_ex<T>::truncate(std::uint64_t length) {
  if (length >= this->length()) return;
  Writable(length);
  SetLength(length);
}

// Reduces the string to `part`, if that lies in a buffer of its own: letting go of the buffer would leave the
// part without its text. Nothing tells whose an empty part is: it may lie at the very end.
template <class T>
bool basic_string_ex<T>::KeepPart(text_view part) {
  if (part.empty()) {
    clear();
    return true;
  }
  if (buffer_.capacity() <= 0 || !IMPL::IsInside<T>(part, *this)) return false;
  const auto offset = static_cast<std::uint64_t>(part.data() - data());
  truncate(offset + part.size());
  erase(0, offset);
  return true;
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::assign(text_view text) {
  if (KeepPart(text)) return *this;
  buffer_.reserve_discard(IMPL::Total(text.size(), zeroEnded ? 1 : 0, 1));
  std::copy_n(text.data(), text.size(), buffer_.writable());
  SetLength(text.size());
  return *this;
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::append(text_view text) {
  if (text.empty()) return *this;
  const std::uint64_t before = length();
  const T* const old = data();
  const bool inside = IMPL::IsInside<T>(text, *this);
  const auto offset = inside ? text.data() - old : 0;
  T* const room = Writable(IMPL::Total(before, text.size(), 1));
  std::copy_n(inside ? room + offset : text.data(), text.size(), room + before);
  SetLength(before + text.size());
  return *this;
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::append(std::uint64_t count, T element) {
  if (count == 0) return *this;
  const std::uint64_t before = length();
  std::fill_n(Writable(IMPL::Total(before, count, 1)) + before, count, element);
  SetLength(before + count);
  return *this;
}

template <class T>
basic_string_ex<T>& basic_string_ex<T>::overwrite(std::uint64_t position, text_view text) {
  if (text.empty()) return *this;
  const std::uint64_t before = length();
  const bool inside = IMPL::IsInside<T>(text, *this);
  const auto offset = inside ? text.data() - data() : 0;
  const std::uint64_t after = std::max(before, IMPL::Total(position, text.size(), 1));
  T* const room = Writable(after);
  if (position > before) std::fill(room + before, room + position, T());
  std::memmove(room + position, inside ? room + offset : text.data(), text.size() * sizeof(T));
  SetLength(after);
  return *this;
}

template <class T>
T* basic_string_ex<T>::RoomBehind(std::uint64_t count) {
  return Writable(IMPL::Total(length(), count, 1)) + length();
}

template <class T>
void basic_string_ex<T>::erase(std::uint64_t position, std::uint64_t count) {
  const std::uint64_t before = length();
  if (position >= before || count == 0) return;
  const std::uint64_t end = position + std::min(count, before - position);
  T* const room = Writable(before);
  std::copy(room + end, room + before, room + position);
  SetLength(before - (end - position));
}

template <class T>
void basic_string_ex<T>::to_lower() {
  if (empty()) return;
  T* const room = Writable(length());
  std::transform(room, room + length(), room, IMPL::Fold<T>);
  SetLength(length());
}

std::ostream& operator<<(std::ostream& out, const stringEx& text) {
  return out << std::string_view(text);
}

std::wostream& operator<<(std::wostream& out, const wstringEx& text) {
  return out << std::wstring_view(text);
}

template class basic_string_ex<char>;
template class basic_string_ex<wchar_t>;
template class basic_string_ex<unsigned char>;

}  // namespace Qorv
