// Bytes and elements written down: in hexadecimal, and as source text.
#include <algorithm>
#include <type_traits>

#include <qorv/string.h>

#include "string/search.h"

namespace Qorv {
namespace {

constexpr std::string_view upperDigits = "0123456789ABCDEF";
constexpr std::string_view lowerDigits = "0123456789abcdef";

template <class T, class Out>
Out* PutDigits(Out* room, T element, std::string_view digits) noexcept {
  const auto bits = static_cast<std::make_unsigned_t<T>>(element);
  for (unsigned shift = 8 * sizeof(T); shift != 0;) {
    shift -= 4;
    *room++ = static_cast<Out>(digits[(bits >> shift) & 15]);
  }
  return room;
}

using BYTES = byteEx::text_view;

template <class T>
BYTES BytesOf(std::basic_string_view<T> text) noexcept {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size() * sizeof(T)};
}

void AppendArray(stringEx& dest, BYTES bytes, std::string_view name, bool isConst) {
  constexpr std::uint64_t rowLength = 12;
  if (name.empty()) return;
  const stringEx holder = IMPL::HolderFor(dest, {bytes, name});
  dest.append(isConst ? "const unsigned char " : "unsigned char ").append(name).append("[] = {\n");
  for (std::uint64_t i = 0; i < bytes.size(); ++i) {
    if (i % rowLength == 0) dest += '\t';
    char digits[2];
    PutDigits(digits, bytes[i], upperDigits);
    dest.append("0X").append(digits, 2);
    const bool isLast = i + 1 == bytes.size();
    if (!isLast) dest += ", ";
    if (isLast || i % rowLength == rowLength - 1) dest += '\n';
  }
  dest += "};\n";
}

}  // namespace

template <class T>
auto basic_string_ex<T>::hex(typename text_string::text_view separator, bool upper) const -> text_string {
  text_string result;
  hex_append_to(result, separator, upper);
  return result;
}

template <class T>
void basic_string_ex<T>::hex_append_to(text_string& dest, typename text_string::text_view separator,
                                       bool upper) const {
  if (empty()) return;
  const text_view source = *this;
  const text_string holder = IMPL::HolderFor(dest, {source, separator});
  const std::uint64_t before = dest.length();
  const std::uint64_t room = IMPL::Total(before + 2, source.size(), 2 * sizeof(T));
  auto* const begin = dest.Writable(IMPL::Total(room, source.size() + 1, separator.size()));
  auto* at = begin + before;
  for (const T element : source) {
    at = PutDigits(at, element, upper ? upperDigits : lowerDigits);
    at = std::copy(separator.begin(), separator.end(), at);
  }
  dest.SetLength(static_cast<std::uint64_t>(at - begin) - separator.size());
}

// Both forms are for byteEx alone, but there are compilers that look at them for every element type.
template <class T>
stringEx basic_string_ex<T>::c_array(std::string_view name,
                                     bool is_const) const requires std::same_as<T, unsigned char> {
  stringEx result;
  AppendArray(result, BytesOf<T>(*this), name, is_const);
  return result;
}

template <class T>
void basic_string_ex<T>::c_array_append_to(stringEx& dest, std::string_view name,
                                           bool is_const) const requires std::same_as<T, unsigned char> {
  AppendArray(dest, BytesOf<T>(*this), name, is_const);
}

template class basic_string_ex<char>;
template class basic_string_ex<wchar_t>;
template class basic_string_ex<unsigned char>;

}  // namespace Qorv
