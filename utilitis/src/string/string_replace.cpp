// Trimming and replacing.
#include <qorv/string.h>

#include "string/search.h"

namespace Qorv {
namespace {

template <class T>
std::basic_string_view<T> WithoutFirst(std::basic_string_view<T> text, std::basic_string_view<T> set) {
  const IMPL::CElementSet<T> elements(set);
  while (!text.empty() && elements.Has(text.front()))
    text.remove_prefix(1);
  return text;
}

template <class T>
std::basic_string_view<T> WithoutLast(std::basic_string_view<T> text, std::basic_string_view<T> set) {
  const IMPL::CElementSet<T> elements(set);
  while (!text.empty() && elements.Has(text.back()))
    text.remove_suffix(1);
  return text;
}

// The pieces of a replacement are mostly short: up to 16 bytes go by two moves of a fixed size, which may
// overlap, instead of by a call.
template <class T>
void Copy(const T* from, std::uint64_t count, T* to) noexcept {
  const std::size_t bytes = count * sizeof(T);
  const auto copyEnds = [&](auto piece) {
    const std::size_t last = bytes - sizeof(piece);
    auto end = piece;
    std::memcpy(&piece, from, sizeof(piece));
    std::memcpy(&end, reinterpret_cast<const char*>(from) + last, sizeof(piece));
    std::memcpy(to, &piece, sizeof(piece));
    std::memcpy(reinterpret_cast<char*>(to) + last, &end, sizeof(piece));
  };
  if (bytes > 16) {
    std::memcpy(to, from, bytes);
  } else if (bytes >= 8) {
    copyEnds(std::uint64_t{});
  } else if (bytes >= 4) {
    copyEnds(std::uint32_t{});
  } else if constexpr (sizeof(T) == 1) {
    for (std::uint64_t i = 0; i < count; ++i)
      to[i] = from[i];
  }
}

}  // namespace

// Appends `text` with all hits, each of `hitLength` elements, replaced. `nextHit` gives the first one at or
// behind a position, or npos. `dest` may hold both texts; without memory it stays as it was. What is left of
// the text always has room.
template <class T>
template <class NextHit>
std::uint64_t basic_string_ex<T>::AppendReplaced(basic_string_ex& dest, text_view text, text_view to,
                                                 std::uint64_t hitLength, NextHit nextHit) {
  const basic_string_ex holder = IMPL::HolderFor(dest, {text, to});
  const std::uint64_t before = dest.length();
  std::uint64_t used = before;
  // A longer replacement gets an eighth more, which is room enough for most texts: growing copies all.
  const std::uint64_t spare = to.size() > hitLength ? text.size() / 8 : 0;
  T* room = dest.Writable(IMPL::Total(used, text.size() + spare, 1));
  std::uint64_t from = 0;
  std::uint64_t hits = 0;
  try {
    for (std::uint64_t hit; (hit = nextHit(from)) != npos; from = hit + hitLength, ++hits) {
      Copy(text.data() + from, hit - from, room + used);
      used += hit - from;
      const std::uint64_t needed = IMPL::Total(used + text.size() - hit, to.size(), 1);
      if (needed >= static_cast<std::uint64_t>(dest.capacity())) {
        dest.SetLength(used);
        room = dest.Writable(needed);
      }
      Copy(to.data(), to.size(), room + used);
      used += to.size();
    }
  } catch (const std::bad_alloc&) {
    dest.SetLength(before);
    throw;
  }
  Copy(text.data() + from, text.size() - from, room + used);
  dest.SetLength(used + text.size() - from);
  return hits;
}

template <class T>
void basic_string_ex<T>::trim_left(text_view set) {
  erase(0, length() - WithoutFirst<T>(*this, set).size());
}

template <class T>
void basic_string_ex<T>::trim_right(text_view set) {
  truncate(WithoutLast<T>(*this, set).size());
}

template <class T>
basic_string_ex<T> basic_string_ex<T>::trim_left_copy(text_view set) const {
  basic_string_ex copy(*this);
  copy.trim_left(set);
  return copy;
}

template <class T>
basic_string_ex<T> basic_string_ex<T>::trim_right_copy(text_view set) const {
  basic_string_ex copy(*this);
  copy.trim_right(set);
  return copy;
}

template <class T>
void basic_string_ex<T>::trim_left_append_to(basic_string_ex& dest, text_view set) const {
  dest.append(WithoutFirst<T>(*this, set));
}

template <class T>
void basic_string_ex<T>::trim_right_append_to(basic_string_ex& dest, text_view set) const {
  dest.append(WithoutLast<T>(*this, set));
}

template <class T>
std::uint64_t basic_string_ex<T>::replace_append_to(basic_string_ex& dest, text_view from, text_view to,
                                                    std::uint64_t position, bool all) const {
  if (position > length()) return 0;
  const text_view text = *this;
  const basic_string_ex holder = IMPL::HolderFor(dest, {from});
  bool isOver = false;
  return AppendReplaced(dest, text, to, from.size(), [&](std::uint64_t at) {
    const std::uint64_t hit = isOver ? npos : IMPL::FindText(text, from, std::max(at, position));
    isOver = !all;
    return hit;
  });
}

template <class T>
std::uint64_t basic_string_ex<T>::rreplace_append_to(basic_string_ex& dest, text_view from, text_view to,
                                                     std::uint64_t position, bool all) const {
  if (position > length() && position != npos) return 0;
  const text_view text = *this;
  const auto nextHit = [&](std::uint64_t end) {
    return IMPL::RFindText(text.substr(0, end), from, position, IMPL::StartsEqual<T>);
  };
  std::uint64_t hits = 0;
  for (std::uint64_t hit = text.size(); (all || hits == 0) && (hit = nextHit(hit)) != npos;)
    ++hits;
  // The length is known now: the second way from the right can fill the room from its end.
  const basic_string_ex holder = IMPL::HolderFor(dest, {text, from, to});
  const std::uint64_t before = dest.length();
  const std::uint64_t kept = IMPL::Total(before, text.size() - hits * from.size(), 1);
  const std::uint64_t length = IMPL::Total(kept, hits, to.size());
  T* const room = dest.Writable(length);
  T* at = room + length;
  std::uint64_t end = text.size();
  for (std::uint64_t i = 0; i < hits; ++i) {
    const std::uint64_t hit = nextHit(end);
    const text_view behind = text.substr(hit + from.size(), end - hit - from.size());
    Copy(behind.data(), behind.size(), at -= behind.size());
    Copy(to.data(), to.size(), at -= to.size());
    end = hit;
  }
  Copy(text.data(), end, room + before);
  dest.SetLength(length);
  return hits;
}

template <class T>
std::uint64_t basic_string_ex<T>::replace_any_append_to(basic_string_ex& dest, text_view set, text_view to,
                                                        std::uint64_t position) const {
  if (position > length()) return 0;
  const text_view text = *this;
  const basic_string_ex holder = IMPL::HolderFor(dest, {set});
  const IMPL::CElementSet<T> elements(set);
  return AppendReplaced(dest, text, to, 1,
                        [&](std::uint64_t at) { return elements.FindIn(text, std::max(at, position)); });
}

// In place, a text without a hit keeps its buffer, and so does one whose parts stay where they are.
template <class T>
std::uint64_t basic_string_ex<T>::replace(text_view from, text_view to, std::uint64_t position, bool all) {
  std::uint64_t hit = find(from, position);
  if (hit == npos) return 0;
  if (to.size() == from.size()) {
    const basic_string_ex holder = IMPL::HolderFor(*this, {from, to});
    T* const room = Writable(length());
    SetLength(length());
    const text_view text = *this;
    std::uint64_t hits = 0;
    do {
      Copy(to.data(), to.size(), room + hit);
      ++hits;
    } while (all && (hit = IMPL::FindText(text, from, hit + from.size())) != npos);
    return hits;
  }
  basic_string_ex result;
  const std::uint64_t hits = replace_append_to(result, from, to, position, all);
  swap(result);
  return hits;
}

template <class T>
std::uint64_t basic_string_ex<T>::rreplace(text_view from, text_view to, std::uint64_t position, bool all) {
  if (position > length() && position != npos) return 0;
  if (IMPL::RFindText<T>(*this, from, position, IMPL::StartsEqual<T>) == npos) return 0;
  basic_string_ex result;
  const std::uint64_t hits = rreplace_append_to(result, from, to, position, all);
  swap(result);
  return hits;
}

template <class T>
std::uint64_t basic_string_ex<T>::replace_any(text_view set, text_view to, std::uint64_t position) {
  if (find_any(set, position) == npos) return 0;
  basic_string_ex result;
  const std::uint64_t hits = replace_any_append_to(result, set, to, position);
  swap(result);
  return hits;
}

template <class T>
basic_string_ex<T> basic_string_ex<T>::replace_copy(text_view from, text_view to, std::uint64_t position,
                                                    bool all) const {
  if (position > length()) return {};
  basic_string_ex copy(*this);
  copy.replace(from, to, position, all);
  return copy;
}

template <class T>
basic_string_ex<T> basic_string_ex<T>::rreplace_copy(text_view from, text_view to, std::uint64_t position,
                                                     bool all) const {
  if (position > length() && position != npos) return {};
  basic_string_ex copy(*this);
  copy.rreplace(from, to, position, all);
  return copy;
}

template <class T>
basic_string_ex<T> basic_string_ex<T>::replace_any_copy(text_view set, text_view to,
                                                        std::uint64_t position) const {
  if (position > length()) return {};
  basic_string_ex copy(*this);
  copy.replace_any(set, to, position);
  return copy;
}

template class basic_string_ex<char>;
template class basic_string_ex<wchar_t>;
template class basic_string_ex<unsigned char>;

}  // namespace Qorv
