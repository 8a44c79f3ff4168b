// What the escapes of times and of spans have in common: tables of keys, and digits.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include <qorv/string.h>

namespace Qorv::IMPL {

/// Rows with a `key` each, of one to three ASCII letters, with the keys in elements of T too.
template <class T, class Row, std::size_t count>
class CKeyTable {
 public:
  constexpr explicit CKeyTable(const Row (&rows)[count]) noexcept {
    starts_.fill(count);
    for (std::size_t i = count; i-- > 0;) {
      const std::string_view key = rows[i].key;
      std::copy(key.begin(), key.end(), keys_[i].text);
      keys_[i].length = key.size();
      keys_[i].isLetter = key.size() == 1;
      keys_[i].row = rows[i];
      starts_[static_cast<unsigned char>(key.front())] = static_cast<std::uint8_t>(i);
    }
  }

  /// The first row whose key `text`, which is not empty, starts with, and the length of that key; null if
  /// there is none.
  const Row* Find(std::basic_string_view<T> text, std::uint64_t& length) const noexcept {
    const auto letter = static_cast<std::uint32_t>(text.front());
    if (letter >= starts_.size()) return nullptr;
    const KEY& first = keys_[starts_[letter]];
    // Most keys are single letters. That their length does not come out of memory lets the processor go on to
    // the next marker before it has read the row.
    if (!first.isLetter) return FindLonger(text, &first, length);
    length = 1;
    return &first.row;
  }

 private:
  struct KEY {
    T text[3]{};
    bool isLetter = false;
    std::uint64_t length = 0;
    Row row{};
  };

  // Not inlined, so that the usual way stays short.
  [[gnu::noinline]] const Row* FindLonger(std::basic_string_view<T> text, const KEY* key,
                                          std::uint64_t& length) const noexcept {
    for (; key->length != 0; ++key) {
      if (!text.starts_with(std::basic_string_view<T>(key->text, key->length))) continue;
      length = key->length;
      return &key->row;
    }
    return nullptr;
  }

  std::array<KEY, count + 1> keys_{};       // the last has no key: the end
  std::array<std::uint8_t, 128> starts_{};  // by first letter, where the search for it begins
};

/// "00" to "99" in a row.
template <class T>
inline constexpr auto digitPairs = [] {
  std::array<T, 200> digits{};
  for (std::size_t i = 0; i < digits.size() / 2; ++i) {
    digits[2 * i] = static_cast<T>('0' + i / 10);
    digits[2 * i + 1] = static_cast<T>('0' + i % 10);
  }
  return digits;
}();

/// 0 to 99 in two digits.
template <class T>
constexpr std::basic_string_view<T> PairOf(std::uint32_t value) noexcept {
  return {digitPairs<T>.data() + std::size_t{2} * value, 2};
}

/// Turns one number or word after the other into elements of T. What it gives stands until the next call.
template <class T>
class CFieldText {
 public:
  using text_view = std::basic_string_view<T>;

  /// `magnitude` in decimal with zeros up to `width`, 1 to 20, which counts the sign in: what the printf
  /// formats "%li", "%02hu", "%.6lu" and their like give. Those would cost more than all else does.
  text_view Write(std::uint64_t magnitude, std::uint64_t width, char sign = '\0') noexcept;

  /// At most three letters.
  text_view Write(std::string_view word) noexcept;

 private:
  T room_[21];
};

/// Makes `result` a view of `text`, which has to stand until `result` has been used.
template <class T>
void Show(basic_string_ex<T>& result, std::basic_string_view<T> text) noexcept {
  auto view = basic_string_ex<T>::view(text);
  result.swap(view);
}

extern template class CFieldText<char>;
extern template class CFieldText<wchar_t>;

}  // namespace Qorv::IMPL
