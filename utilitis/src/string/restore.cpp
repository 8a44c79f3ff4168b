// The way back from the escapes of html, xml and json.
#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

#include <qorv/string.h>

#include "string/escapes.h"

namespace Qorv {
namespace {

template <class T>
bool AreSame(std::basic_string_view<T> key, std::string_view name) noexcept {
  return key.size() == name.size() &&
         std::equal(key.begin(), key.end(), name.begin(), [](T a, char b) { return a == static_cast<T>(b); });
}

// The names of entities as a command.
template <class T>
class CEntityRestorer : public IStrMatchCmd<basic_string_ex<T>> {
 public:
  using string = basic_string_ex<T>;

  explicit CEntityRestorer(std::span<const IMPL::ESCAPE> entities) noexcept : entities_(entities) {}

  std::int32_t Match(const string& key, string& result) override {
    for (const IMPL::ESCAPE& row : entities_) {
      if (!AreSame<T>(key, row.text.substr(1, row.text.size() - 2))) continue;
      result += static_cast<T>(row.element);
      return matchCode::replace;
    }
    return matchCode::none;
  }

 private:
  const std::span<const IMPL::ESCAPE> entities_;
};

}  // namespace

template <class T>
std::uint64_t basic_string_ex<T>::html_restore_append_to(basic_string_ex& dest) const {
  class CHtmlRestorer final : public CEntityRestorer<T> {
   public:
    CHtmlRestorer() noexcept : CEntityRestorer<T>(IMPL::htmlEscapes) {}
  };
  CHtmlRestorer command;
  static constexpr T open = T('&');
  static constexpr T close = T(';');
  return expand_append_to(dest, {&open, 1}, {&close, 1}, command);
}

template <class T>
std::uint64_t basic_string_ex<T>::xml_restore_append_to(basic_string_ex& dest) const {
  class CXmlRestorer final : public CEntityRestorer<T> {
   public:
    CXmlRestorer() noexcept : CEntityRestorer<T>(IMPL::xmlEscapes) {}
  };
  CXmlRestorer command;
  static constexpr T open = T('&');
  static constexpr T close = T(';');
  return expand_append_to(dest, {&open, 1}, {&close, 1}, command);
}

template <class T>
std::uint64_t basic_string_ex<T>::json_restore_append_to(basic_string_ex& dest) const {
  class CJsonRestorer final : public IStrMatchCmd<basic_string_ex> {
   public:
    std::int32_t Match(const basic_string_ex& text, basic_string_ex& result) override {
      for (const IMPL::ESCAPE& row : IMPL::jsonEscapes) {
        if (text[0] != static_cast<T>(row.text[1])) continue;
        result += static_cast<T>(row.element);
        return matchCode::replace;
      }
      return matchCode::none;
    }
    std::uint64_t TokenLength() const override { return 1; }
  };
  CJsonRestorer command;
  return expand_append_to(dest, T('\\'), command);
}

template class basic_string_ex<char>;
template class basic_string_ex<wchar_t>;
template class basic_string_ex<unsigned char>;

}  // namespace Qorv
