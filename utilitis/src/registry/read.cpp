// Values, read.
#include "error/message.h"
#include "registry/key.h"

namespace Qorv {
namespace {

using IMPL::CMessage;
using IMPL::CRegGuard;
using IMPL::CRegValue;

constexpr std::string_view readInvalid = "CFakeRegistry::ReadValue - invalid object";
constexpr std::string_view readExInvalid = "CFakeRegistry::ReadValueEx - invalid object";
constexpr std::string_view readMismatch = "CFakeRegistry::ReadValue - value type mismatch\n";
constexpr std::string_view readExMismatch = "CFakeRegistry::ReadValueEx - value type mismatch\n";

// What each type of target takes: the types of values, their line in a report, and how a value comes into it.
struct TEXTTAKER {
  static constexpr std::string_view expected = "  expect type  = T_STRING or T_EXP_STR\n";
  static bool Takes(std::uint32_t type) { return type == T_STRING || type == T_EXP_STR; }
};
template <class T>
struct TAKER;
template <>
struct TAKER<stringEx> : TEXTTAKER {
  static void Take(const CRegValue& value, stringEx& out) { out.assign(value.Text()); }
};
template <>
struct TAKER<wstringEx> : TEXTTAKER {
  static void Take(const CRegValue& value, wstringEx& out) { out = stringEx::view(value.Text()).to_wide(); }
};
template <>
struct TAKER<byteEx> {
  static constexpr std::string_view expected = "  expect type  = T_BLOB\n";
  static bool Takes(std::uint32_t type) { return type == T_BLOB; }
  static void Take(const CRegValue& value, byteEx& out) { out.assign(value.Bytes()); }
};
template <>
struct TAKER<std::uint32_t> {
  static constexpr std::string_view expected = "  expect type  = T_DWORD\n";
  static bool Takes(std::uint32_t type) { return type == T_DWORD; }
  static void Take(const CRegValue& value, std::uint32_t& out) {
    out = static_cast<std::uint32_t>(value.Number());
  }
};
template <>
struct TAKER<std::uint64_t> {
  static constexpr std::string_view expected = "  expect type  = T_QWORD\n";
  static bool Takes(std::uint32_t type) { return type == T_QWORD; }
  static void Take(const CRegValue& value, std::uint64_t& out) { out = value.Number(); }
};
template <>
struct TAKER<double> {
  static constexpr std::string_view expected = "  expect type  = T_FLOAT8\n";
  static bool Takes(std::uint32_t type) { return type == T_FLOAT8; }
  static void Take(const CRegValue& value, double& out) { out = value.Double(); }
};
template <>
struct TAKER<bool> {
  static constexpr std::string_view expected = "  expect type  = T_BOOL\n";
  static bool Takes(std::uint32_t type) { return type == T_BOOL; }
  static void Take(const CRegValue& value, bool& out) { out = value.Number() != 0; }
};
struct SETTAKER {
  static constexpr std::string_view expected = "  expect type  = T_STRING_SET\n";
  static bool Takes(std::uint32_t type) { return type == T_STRING_SET; }
};
template <>
struct TAKER<std::vector<stringEx>> : SETTAKER {
  static void Take(const CRegValue& value, std::vector<stringEx>& out) {
    std::vector<stringEx> strings;
    IMPL::ForEachInSet(value.Text(), [&](std::string_view text) { strings.emplace_back(text); });
    out = std::move(strings);
  }
};
template <>
struct TAKER<std::vector<wstringEx>> : SETTAKER {
  static void Take(const CRegValue& value, std::vector<wstringEx>& out) {
    std::vector<wstringEx> strings;
    IMPL::ForEachInSet(value.Text(),
                       [&](std::string_view text) { strings.push_back(stringEx::view(text).to_wide()); });
    out = std::move(strings);
  }
};

[[noreturn]] void RefuseType(std::string_view mismatch, std::string_view name, std::string_view expected,
                             std::uint32_t type) {
  stringEx real(CFakeRegistry::GetTypeName(type));
  (real += " (").append_uint(type) += ")";
  // The line of the type that was expected stands whole, for who looks for it.
  stringEx text(mismatch);
  ((((text += "  value name   = ") += name) += '\n') += expected) += "  value's type = ";
  throw regExp(text += real, regCode::typeMismatch);
}

// False if there is no such value.
template <class T>
bool Find(const CRegGuard& key, std::string_view name, T& out, std::string_view mismatch) {
  const auto found = key->values.find(std::string_view(name));
  if (found == key->values.end()) return false;
  const CRegValue& value = found->second;
  if (!TAKER<T>::Takes(value.Type())) RefuseType(mismatch, name, TAKER<T>::expected, value.Type());
  TAKER<T>::Take(value, out);
  return true;
}

template <class T>
void __ReadInternalValue(const CRegGuard& key, std::string_view name, T& out, std::string_view mismatch) {
  if (Find(key, name, out, mismatch)) return;
  CMessage("CFakeRegistry::__ReadInternalValue - failed found specified value\n")
      .Field("  value name = ", name)
      .Throw<regExp>(regCode::notFound);
}

template <class T>
void Read(const CFakeRegistry& handle, std::string_view name, T& out) {
  __ReadInternalValue(CRegGuard(handle, readInvalid), name, out, readMismatch);
}

template <class T, class Default>
void Read(const CFakeRegistry& handle, std::string_view name, T& out, const Default& value) {
  if (!Find(CRegGuard(handle, readInvalid), name, out, readMismatch)) out = value;
}

}  // namespace

void CFakeRegistry::ReadValue(const REGTEXT& name, stringEx& out) const {
  Read(*this, name, out);
}
void CFakeRegistry::ReadValue(const REGTEXT& name, wstringEx& out) const {
  Read(*this, name, out);
}
void CFakeRegistry::ReadValue(const REGTEXT& name, byteEx& out) const {
  Read(*this, name, out);
}
void CFakeRegistry::ReadValue(const REGTEXT& name, std::uint32_t& out) const {
  Read(*this, name, out);
}
void CFakeRegistry::ReadValue(const REGTEXT& name, std::uint64_t& out) const {
  Read(*this, name, out);
}
void CFakeRegistry::ReadValue(const REGTEXT& name, std::vector<stringEx>& out) const {
  Read(*this, name, out);
}
void CFakeRegistry::ReadValue(const REGTEXT& name, std::vector<wstringEx>& out) const {
  Read(*this, name, out);
}

void CFakeRegistry::ReadValueEx(const REGTEXT& name, double& out) const {
  __ReadInternalValue(CRegGuard(*this, readExInvalid), name, out, readExMismatch);
}
void CFakeRegistry::ReadValueEx(const REGTEXT& name, bool& out) const {
  __ReadInternalValue(CRegGuard(*this, readExInvalid), name, out, readExMismatch);
}

void CFakeRegistry::ReadValue(const REGTEXT& name, stringEx& out, const stringEx& value) const {
  Read(*this, name, out, value);
}
void CFakeRegistry::ReadValue(const REGTEXT& name, wstringEx& out, const wstringEx& value) const {
  Read(*this, name, out, value);
}
void CFakeRegistry::ReadValue(const REGTEXT& name, byteEx& out, const byteEx& value) const {
  Read(*this, name, out, value);
}
void CFakeRegistry::ReadValue(const REGTEXT& name, std::uint32_t& out, std::uint32_t value) const {
  Read(*this, name, out, value);
}
void CFakeRegistry::ReadValue(const REGTEXT& name, std::uint64_t& out, std::uint64_t value) const {
  Read(*this, name, out, value);
}
void CFakeRegistry::ReadValue(const REGTEXT& name, double& out, double value) const {
  Read(*this, name, out, value);
}
void CFakeRegistry::ReadValue(const REGTEXT& name, bool& out, bool value) const {
  Read(*this, name, out, value);
}
void CFakeRegistry::ReadValue(const REGTEXT& name, std::vector<stringEx>& out,
                              const std::vector<stringEx>& value) const {
  Read(*this, name, out, value);
}
void CFakeRegistry::ReadValue(const REGTEXT& name, std::vector<wstringEx>& out,
                              const std::vector<wstringEx>& value) const {
  Read(*this, name, out, value);
}

void CFakeRegistry::ReadRawValue(const REGTEXT& name, std::uint32_t& type, byteEx& out) const {
  const CRegGuard key(*this, "CFakeRegistry::ReadRawValue - invalid object");
  const auto found = key->values.find(std::string_view(name));
  if (found == key->values.end()) {
    CMessage("CFakeRegistry::ReadRawValue - failed found specified value\n")
        .Field("  value name = ", name)
        .Throw<regExp>(regCode::notFound);
  }
  const CRegValue& value = found->second;
  const std::uint64_t number = CRegValue::HasBytes(value.Type()) ? 0 : value.Number();
  switch (value.Type()) {
    case T_NONE:
      out.clear();
      break;
    case T_DWORD: {
      const auto small = static_cast<std::uint32_t>(number);
      out = byteEx(reinterpret_cast<const unsigned char*>(&small), sizeof(small));
      break;
    }
    case T_QWORD:
    case T_FLOAT8:
      out = byteEx(reinterpret_cast<const unsigned char*>(&number), sizeof(number));
      break;
    case T_BOOL:
      out.clear();
      out += static_cast<unsigned char>(number);
      break;
    default:
      out.assign(value.Bytes());
  }
  type = value.Type();
}

std::uint32_t CFakeRegistry::GetValueType(const REGTEXT& name) const {
  const CRegGuard key(*this, "CFakeRegistry::GetValueType - invalid object");
  const auto found = key->values.find(std::string_view(name));
  if (found == key->values.end()) {
    CMessage("CFakeRegistry::GetValueType - failed found specified value\n")
        .Field("  value name = ", name)
        .Throw<regExp>(regCode::notFound);
  }
  return found->second.Type();
}

bool CFakeRegistry::IsValueExist(const REGTEXT& name) const {
  return CRegGuard(*this, "CFakeRegistry::IsValueExist - invalid object")
      ->values.contains(std::string_view(name));
}

}  // namespace Qorv
