// Markup made harmless by an element that nobody sees.
#include <algorithm>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include <qorv/string.h>

#include "string/appender.h"
#include "string/search.h"

namespace Qorv {
namespace {

// U+200C, the zero-width non-joiner.
template <class T>
void PutJoiner(IMPL::CAppender<T>& out) {
  if constexpr (std::is_same_v<T, wchar_t>) {
    out.Put(L'\u200c');
  } else {
    for (const int byte : {0xe2, 0x80, 0x8c})
      out.Put(static_cast<T>(byte));
  }
}

template <class T>
bool OpensTag(std::basic_string_view<T> behind) noexcept {
  if (behind.empty()) return false;
  const T next = IMPL::Fold(behind.front());
  return (next >= T('a') && next <= T('z')) || next == T('/') || next == T('!');
}

template <class T>
bool EndsInNocase(std::basic_string_view<T> text, std::string_view lower) noexcept {
  return text.size() >= lower.size() &&
         std::equal(lower.rbegin(), lower.rend(), text.rbegin(),
                    [](char a, T b) { return static_cast<T>(a) == IMPL::Fold(b); });
}

}  // namespace

template <class T>
std::uint64_t basic_string_ex<T>::html_sanitise_append_to(basic_string_ex& dest) const {
  static constexpr T stops[] = {T('<'), T(':')};
  if (empty()) return 0;
  const text_view text = *this;
  const basic_string_ex holder = IMPL::HolderFor(dest, {text});
  IMPL::CAppender<T> out(dest, text.size());
  std::uint64_t done = 0;
  std::uint64_t joiners = 0;
  const auto joinAt = [&](std::uint64_t place) {
    out.Put(text.substr(done, place - done));
    PutJoiner(out);
    done = place;
    ++joiners;
  };
  for (std::uint64_t at = 0; (at = text.find_first_of(stops, at, std::size(stops))) != npos; ++at) {
    if (text[at] == T('<')) {
      if (OpensTag(text.substr(at + 1))) joinAt(at + 1);
    } else if (EndsInNocase(text.substr(0, at), "javascript") || EndsInNocase(text.substr(0, at), "data")) {
      joinAt(at);
    }
  }
  out.Put(text.substr(done));
  return joiners;
}

template class basic_string_ex<char>;
template class basic_string_ex<wchar_t>;
template class basic_string_ex<unsigned char>;

}  // namespace Qorv
