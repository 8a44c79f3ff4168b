// Escapes for html, xml and json, and what all escapes and restorers have in common.
#include "string/escapes.h"

#include <array>
#include <cstdint>
#include <type_traits>

#include <qorv/string.h>

#include "string/appender.h"
#include "string/search.h"

namespace Qorv {
namespace {

// For each ASCII element the text that stands for it, or none.
class CEscapeTable {
 public:
  constexpr explicit CEscapeTable(std::span<const IMPL::ESCAPE> escapes) noexcept {
    for (const IMPL::ESCAPE& row : escapes)
      texts_[static_cast<std::size_t>(row.element)] = row.text;
  }

  template <class T>
  std::string_view Find(T element) const noexcept {
    const auto code = static_cast<std::make_unsigned_t<T>>(element);
    return code < texts_.size() ? texts_[code] : std::string_view();
  }

 private:
  std::array<std::string_view, 128> texts_{};
};

constexpr CEscapeTable htmlTable(IMPL::htmlEscapes);
constexpr CEscapeTable xmlTable(IMPL::xmlEscapes);
constexpr CEscapeTable jsonTable(IMPL::jsonEscapes);

template <class T>
std::uint64_t AppendEscaped(basic_string_ex<T>& dest, std::basic_string_view<T> text,
                            const CEscapeTable& table) {
  if (text.empty()) return 0;
  const basic_string_ex<T> holder = IMPL::HolderFor(dest, {text});
  IMPL::CAppender<T> out(dest, text.size());
  std::uint64_t done = 0;
  std::uint64_t hits = 0;
  for (std::uint64_t at = 0; at < text.size(); ++at) {
    const std::string_view escape = table.Find(text[at]);
    if (escape.empty()) continue;
    out.Put(text.substr(done, at - done));
    out.PutAscii(escape);
    done = at + 1;
    ++hits;
  }
  out.Put(text.substr(done));
  return hits;
}

}  // namespace

template <class T>
std::uint64_t basic_string_ex<T>::html_escape_append_to(basic_string_ex& dest) const {
  return AppendEscaped<T>(dest, *this, htmlTable);
}

template <class T>
std::uint64_t basic_string_ex<T>::xml_escape_append_to(basic_string_ex& dest) const {
  return AppendEscaped<T>(dest, *this, xmlTable);
}

template <class T>
std::uint64_t basic_string_ex<T>::json_escape_append_to(basic_string_ex& dest) const {
  return AppendEscaped<T>(dest, *this, jsonTable);
}

// A text with nothing to change keeps its buffer.
template <class T>
std::uint64_t basic_string_ex<T>::ChangeBy(APPENDFORM form) {
  basic_string_ex result;
  const std::uint64_t changes = (this->*form)(result);
  if (changes != 0) swap(result);
  return changes;
}

template <class T>
basic_string_ex<T> basic_string_ex<T>::ChangedBy(APPENDFORM form) const {
  basic_string_ex copy(*this);
  copy.ChangeBy(form);
  return copy;
}

template class basic_string_ex<char>;
template class basic_string_ex<wchar_t>;
template class basic_string_ex<unsigned char>;

}  // namespace Qorv
