// Names in the order of their maps: by number, at the ends, and the next of a row.
#include <iterator>

#include "error/message.h"
#include "registry/key.h"

namespace Qorv {
namespace {

using IMPL::CMessage;
using IMPL::CRegGuard;

// More digits than this are no name that anybody counts by.
constexpr std::uint32_t widthLimit = 65536;

template <class Map>
std::uint32_t CountOf(const Map& map) noexcept {
  return static_cast<std::uint32_t>(map.size());
}

// The name of that number, counted from the first or, `reversed`, from the last.
template <class Map>
std::string_view NameAt(const Map& map, std::uint32_t index, bool reversed, std::string_view refusal) {
  const std::uint32_t count = CountOf(map);
  if (index >= count) {
    // Of no names at all the last has the number of all ones.
    CMessage(refusal)
        .Field("  max index       = ", count - 1)
        .Field("  specified index = ", index)
        .template Throw<regExp>(regCode::invalidArgument);
  }
  const std::uint32_t place = reversed ? count - 1 - index : index;
  return map.At(place).first;
}

template <class Map>
std::string_view EndOf(const Map& map, bool isLast, std::string_view refusal) {
  if (map.empty()) throw regExp(stringEx(refusal), regCode::emptyList);
  return isLast ? map.rbegin()->first : map.begin()->first;
}

// The number behind that of the last name that is no name yet; it starts again at 0 behind the largest of 32 bits.
template <class Map>
void CalcNext(const Map& map, const REGTEXTOUT& name, std::uint32_t width, std::string_view refusal) {
  if (width > widthLimit)
    CMessage(refusal).Field("  width = ", width).template Throw<regExp>(regCode::invalidArgument);
  if (map.empty()) return;
  const stringEx last = stringEx::view(map.rbegin()->first);
  auto number = static_cast<std::uint32_t>(last.to_int64(10, numberFlag::isUnsigned));
  stringEx next;
  do {
    next.format("%0*u", static_cast<int>(width), ++number);
  } while (map.contains(std::string_view(next)));
  name.Put(next);
}

template <class Map>
void AppendNames(const Map& map, std::vector<stringEx>& out) {
  out.reserve(out.size() + map.size());
  for (const auto& [name, entry] : map)
    out.emplace_back(std::string_view(name));
}

}  // namespace

std::uint32_t CFakeRegistry::GetValueCount() const {
  return CountOf(CRegGuard(*this, "CFakeRegistry::GetValueCount - invalid object")->values);
}

std::uint32_t CFakeRegistry::GetSubkeyCount() const {
  return CountOf(CRegGuard(*this, "CFakeRegistry::GetSubkeyCount - invalid object")->subkeys);
}

void CFakeRegistry::EnumValue(std::uint32_t index, const REGTEXTOUT& name) const {
  const CRegGuard key(*this, "CFakeRegistry::EnumValue - invalid object");
  name.Put(NameAt(key->values, index, false, "CFakeRegistry::EnumValue - out of index\n"));
}

void CFakeRegistry::ReverseEnumValue(std::uint32_t index, const REGTEXTOUT& name) const {
  const CRegGuard key(*this, "CFakeRegistry::ReverseEnumValue - invalid object");
  name.Put(NameAt(key->values, index, true, "CFakeRegistry::ReverseEnumValue - out of index\n"));
}

stringEx CFakeRegistry::stValueName(std::uint32_t index) const {
  const CRegGuard key(*this, "CFakeRegistry::stValueName - invalid object");
  return stringEx(NameAt(key->values, index, false, "CFakeRegistry::stValueName - out of index\n"));
}

void CFakeRegistry::EnumSubkey(std::uint32_t index, const REGTEXTOUT& name) const {
  const CRegGuard key(*this, "CFakeRegistry::EnumSubkey - invalid object");
  name.Put(NameAt(key->subkeys, index, false, "CFakeRegistry::EnumSubkey - out of index\n"));
}

void CFakeRegistry::ReverseEnumSubkey(std::uint32_t index, const REGTEXTOUT& name) const {
  const CRegGuard key(*this, "CFakeRegistry::ReverseEnumSubkey - invalid object");
  name.Put(NameAt(key->subkeys, index, true, "CFakeRegistry::ReverseEnumSubkey - out of index\n"));
}

void CFakeRegistry::GetFirstValueName(const REGTEXTOUT& name) const {
  const CRegGuard key(*this, "CFakeRegistry::GetFirstValueName - invalid object");
  name.Put(EndOf(key->values, false, "CFakeRegistry::GetFirstValueName - no value"));
}

void CFakeRegistry::GetLastValueName(const REGTEXTOUT& name) const {
  const CRegGuard key(*this, "CFakeRegistry::GetLastValueName - invalid object");
  name.Put(EndOf(key->values, true, "CFakeRegistry::GetLastValueName - no value"));
}

void CFakeRegistry::GetFirstSubkeyName(const REGTEXTOUT& name) const {
  const CRegGuard key(*this, "CFakeRegistry::GetFirstSubkeyName - invalid object");
  name.Put(EndOf(key->subkeys, false, "CFakeRegistry::GetFirstSubkeyName - no subkey"));
}

void CFakeRegistry::GetLastSubkeyName(const REGTEXTOUT& name) const {
  const CRegGuard key(*this, "CFakeRegistry::GetLastSubkeyName - invalid object");
  name.Put(EndOf(key->subkeys, true, "CFakeRegistry::GetLastSubkeyName - no subkey"));
}

void CFakeRegistry::CalcNextSeqValue(const REGTEXTOUT& name, std::uint32_t width) const {
  const CRegGuard key(*this, "CFakeRegistry::CalcNextSeqValue - invalid object");
  CalcNext(key->values, name, width, "CFakeRegistry::CalcNextSeqValue - invalid argument\n");
}

void CFakeRegistry::CalcNextSeqSubkey(const REGTEXTOUT& name, std::uint32_t width) const {
  const CRegGuard key(*this, "CFakeRegistry::CalcNextSeqSubkey - invalid object");
  CalcNext(key->subkeys, name, width, "CFakeRegistry::CalcNextSeqSubkey - invalid argument\n");
}

void CFakeRegistry::GetAllValues(std::vector<stringEx>& out) const {
  AppendNames(CRegGuard(*this, "CFakeRegistry::GetAllValues - invalid object")->values, out);
}

void CFakeRegistry::GetAllSubkeys(std::vector<stringEx>& out) const {
  AppendNames(CRegGuard(*this, "CFakeRegistry::GetAllSubkeys - invalid object")->subkeys, out);
}

}  // namespace Qorv
