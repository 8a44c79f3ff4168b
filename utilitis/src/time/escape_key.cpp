#include "time/escape_key.h"

#include <iterator>

namespace Qorv::IMPL {

template <class T>
typename CFieldText<T>::text_view CFieldText<T>::Write(std::uint64_t magnitude, std::uint64_t width,
                                                       char sign) noexcept {
  T* const end = std::end(room_);
  T* at = end;
  for (; magnitude >= 10; magnitude /= 100) {
    at -= 2;
    std::copy_n(PairOf<T>(static_cast<std::uint32_t>(magnitude % 100)).data(), 2, at);
  }
  // The highest digit of an odd number of them; a lone zero too.
  if (magnitude != 0 || at == end) *--at = static_cast<T>('0' + magnitude);
  const T* const stop = end - (sign != '\0' ? width - 1 : width);
  while (at > stop)
    *--at = T('0');
  if (sign != '\0') *--at = static_cast<T>(sign);
  return {at, static_cast<std::uint64_t>(end - at)};
}

template <class T>
typename CFieldText<T>::text_view CFieldText<T>::Write(std::string_view word) noexcept {
  std::copy(word.begin(), word.end(), room_);
  return {room_, word.size()};
}

template class CFieldText<char>;
template class CFieldText<wchar_t>;

}  // namespace Qorv::IMPL
