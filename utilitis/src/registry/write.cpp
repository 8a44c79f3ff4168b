// Values, written and removed.
#include <cstring>

#include "error/message.h"
#include "registry/key.h"

namespace Qorv {
namespace {

using IMPL::CMessage;
using IMPL::CRegGuard;
using IMPL::CRegValue;

constexpr std::string_view writeInvalid = "CFakeRegistry::WriteValue - invalid object";

void Write(const CFakeRegistry& handle, std::string_view invalid, std::string_view name, CRegValue value) {
  const CRegGuard key(handle, invalid);
  const auto found = key->values.find(name);
  if (found == key->values.end()) {
    key->values.try_emplace(name, std::move(value));
  } else {
    found->second = std::move(value);
  }
  key->hasChanged = true;
}

template <class Text>
CRegValue SetOf(const std::vector<Text>& strings) {
  std::vector<stringEx> narrow;
  std::vector<std::string_view> views;
  narrow.reserve(strings.size());
  views.reserve(strings.size());
  for (const Text& text : strings) {
    narrow.push_back(text.to_narrow());
    views.push_back(narrow.back());
  }
  return IMPL::PackSet(views);
}

[[noreturn]] void RefuseArgument(std::string_view heading, std::string_view name, std::uint32_t type) {
  stringEx told(CFakeRegistry::GetTypeName(type));
  (told += " (").append_uint(type) += ")";
  CMessage(heading)
      .Field("  value name   = ", name)
      .Field("  value's type = ", told)
      .Throw<regExp>(regCode::invalidArgument);
}

template <class Text>
void WriteText(const CFakeRegistry& handle, std::string_view name, const Text& value, std::uint32_t type) {
  if (type != T_STRING && type != T_EXP_STR)
    RefuseArgument("CFakeRegistry::WriteValueEx - invalid argument\n", name, type);
  Write(handle, "CFakeRegistry::WriteValueEx - invalid object", name, CRegValue(type, value.to_narrow()));
}

// The value that these bytes are, if they are one of the type.
template <class T>
bool TakeNumber(std::string_view bytes, T& out) {
  if (bytes.size() != sizeof(out)) return false;
  std::memcpy(&out, bytes.data(), sizeof(out));
  return true;
}

bool FromRaw(std::uint32_t type, std::string_view bytes, CRegValue& value) {
  std::uint32_t dword = 0;
  std::uint64_t qword = 0;
  std::uint8_t flag = 0;
  switch (type) {
    case T_NONE:
      value = CRegValue();
      return bytes.empty();
    case T_DWORD:
      if (!TakeNumber(bytes, dword)) return false;
      value = CRegValue::FromNumber(type, dword);
      return true;
    case T_QWORD:
    case T_FLOAT8:
      if (!TakeNumber(bytes, qword)) return false;
      value = CRegValue::FromNumber(type, qword);
      return true;
    case T_BOOL:
      if (!TakeNumber(bytes, flag)) return false;
      value = CRegValue::FromBool(flag != 0);
      return true;
    case T_STRING_SET:
      if (!IMPL::ForEachInSet(bytes, [](std::string_view) {})) return false;
      [[fallthrough]];
    default:
      value = CRegValue(type, bytes);
      return true;
  }
}

}  // namespace

void CFakeRegistry::WriteValue(const REGTEXT& name, const char* value) {
  Write(*this, writeInvalid, name, CRegValue(T_STRING, value));
}
void CFakeRegistry::WriteValue(const REGTEXT& name, const stringEx& value) {
  Write(*this, writeInvalid, name, CRegValue(T_STRING, value));
}
void CFakeRegistry::WriteValue(const REGTEXT& name, const wchar_t* value) {
  WriteValue(name, wstringEx::view(value));
}
void CFakeRegistry::WriteValue(const REGTEXT& name, const wstringEx& value) {
  WriteValue(name, value.to_narrow());
}
void CFakeRegistry::WriteValue(const REGTEXT& name, const byteEx& value) {
  Write(*this, writeInvalid, name, CRegValue(T_BLOB, REGTEXT(value)));
}
void CFakeRegistry::WriteValue(const REGTEXT& name, std::uint32_t value) {
  Write(*this, writeInvalid, name, CRegValue::FromNumber(T_DWORD, value));
}
void CFakeRegistry::WriteValue(const REGTEXT& name, std::uint64_t value) {
  Write(*this, writeInvalid, name, CRegValue::FromNumber(T_QWORD, value));
}
void CFakeRegistry::WriteValue(const REGTEXT& name, double value) {
  Write(*this, writeInvalid, name, CRegValue::FromDouble(value));
}
void CFakeRegistry::WriteValue(const REGTEXT& name, bool value) {
  Write(*this, writeInvalid, name, CRegValue::FromBool(value));
}
void CFakeRegistry::WriteValue(const REGTEXT& name, const std::vector<stringEx>& value) {
  Write(*this, writeInvalid, name, SetOf(value));
}
void CFakeRegistry::WriteValue(const REGTEXT& name, const std::vector<wstringEx>& value) {
  Write(*this, writeInvalid, name, SetOf(value));
}

void CFakeRegistry::WriteValueEx(const REGTEXT& name, const stringEx& value, std::uint32_t type) {
  WriteText(*this, name, value, type);
}
void CFakeRegistry::WriteValueEx(const REGTEXT& name, const wstringEx& value, std::uint32_t type) {
  WriteText(*this, name, value, type);
}

void CFakeRegistry::WriteRawValue(const REGTEXT& name, std::uint32_t type, const byteEx& value) {
  CRegValue raw;
  if (!FromRaw(type, REGTEXT(value), raw))
    RefuseArgument("CFakeRegistry::WriteRawValue - invalid argument\n", name, type);
  Write(*this, "CFakeRegistry::WriteRawValue - invalid object", name, std::move(raw));
}

void CFakeRegistry::RemoveValue(const REGTEXT& name) {
  const CRegGuard key(*this, "CFakeRegistry::RemoveValue - invalid object");
  const auto found = key->values.find(std::string_view(name));
  if (found == key->values.end()) return;
  key->values.erase(found);
  key->hasChanged = true;
}

void CFakeRegistry::ClearValues() {
  const CRegGuard key(*this, "CFakeRegistry::ClearValues - invalid object");
  key->hasChanged = key->hasChanged || !key->values.empty();
  key->values.clear();
}

}  // namespace Qorv
