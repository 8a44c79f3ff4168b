// Names that fit.
#include <qorv/regex.h>

#include "error/message.h"
#include "registry/key.h"

namespace Qorv {
namespace {

using IMPL::CRegGuard;

constexpr auto holds = [](std::string_view text) {
  return [text](std::string_view name) { return name.find(text) != std::string_view::npos; };
};

constexpr auto fits = [](std::string_view pattern) {
  return
      [pattern](std::string_view name) { return stringEx::view(name).match_wildcard(pattern, 0, '?', '*'); };
};

// Searches by a pattern, which must be one.
auto Matches(std::string_view pattern, std::string_view refusal) {
  CRegex<char> regex = stringEx::compile_regex(pattern);
  if (!regex) IMPL::CMessage(refusal).Field("  pattern = ", pattern).Throw<regExp>(regCode::invalidArgument);
  return [regex = std::move(regex)](std::string_view name) {
    std::vector<RANGE> ranges;
    return stringEx::view(name).regex_search(regex, ranges, 1) != 0;
  };
}

template <class Fits>
void FindIn(const IMPL::REGVALUES& values, std::vector<stringEx>& out, std::uint32_t type,
            const Fits& isHit) {
  for (const auto& [name, value] : values)
    if ((type == regAnyType || type == value.Type()) && isHit(name)) out.emplace_back(std::string_view(name));
}

template <class Fits>
void FindIn(const IMPL::REGSUBKEYS& subkeys, std::vector<stringEx>& out, const Fits& isHit) {
  for (const auto& [name, key] : subkeys)
    if (isHit(name)) out.emplace_back(std::string_view(name));
}

}  // namespace

void CFakeRegistry::FindValues(std::vector<stringEx>& out, const REGTEXT& text, std::uint32_t type) const {
  FindIn(CRegGuard(*this, "CFakeRegistry::FindValues - invalid object")->values, out, type, holds(text));
}

void CFakeRegistry::FindValuesWildCard(std::vector<stringEx>& out, const REGTEXT& pattern,
                                       std::uint32_t type) const {
  FindIn(CRegGuard(*this, "CFakeRegistry::FindValuesWildCard - invalid object")->values, out, type,
         fits(pattern));
}

void CFakeRegistry::FindValuesRegEx(std::vector<stringEx>& out, const REGTEXT& pattern,
                                    std::uint32_t type) const {
  const CRegGuard key(*this, "CFakeRegistry::FindValuesRegEx - invalid object");
  FindIn(key->values, out, type, Matches(pattern, "CFakeRegistry::FindValuesRegEx - invalid argument\n"));
}

void CFakeRegistry::FindSubkeys(std::vector<stringEx>& out, const REGTEXT& text) const {
  FindIn(CRegGuard(*this, "CFakeRegistry::FindSubkeys - invalid object")->subkeys, out, holds(text));
}

void CFakeRegistry::FindSubkeysWildCard(std::vector<stringEx>& out, const REGTEXT& pattern) const {
  FindIn(CRegGuard(*this, "CFakeRegistry::FindSubkeysWildCard - invalid object")->subkeys, out,
         fits(pattern));
}

void CFakeRegistry::FindSubkeysRegEx(std::vector<stringEx>& out, const REGTEXT& pattern) const {
  const CRegGuard key(*this, "CFakeRegistry::FindSubkeysRegEx - invalid object");
  FindIn(key->subkeys, out, Matches(pattern, "CFakeRegistry::FindSubkeysRegEx - invalid argument\n"));
}

}  // namespace Qorv
