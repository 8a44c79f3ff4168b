#include "registry/text_form.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>

namespace Qorv::IMPL {
namespace {

constexpr std::uint64_t pieceSize = 65536;

int Digit(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

byteEx BlobOf(std::string_view text) {
  byteEx bytes;
  bytes.append_by(text.size() / 2, [&](unsigned char* room) {
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
      const int high = Digit(text[i]);
      const int low = Digit(text[i + 1]);
      if (high < 0 || low < 0) RefuseText("no blob", text);
      *room++ = static_cast<unsigned char>(high * 16 + low);
    }
    return text.size() / 2;
  });
  if (text.size() % 2 != 0) RefuseText("no blob", text);
  return bytes;
}

std::uint64_t NumberOf(std::string_view text, std::uint64_t most) {
  std::uint64_t number = 0;
  for (const char c : text) {
    const auto digit = static_cast<std::uint64_t>(c - '0');
    if (c < '0' || c > '9' || number > (most - digit) / 10) RefuseText("no number of its type", text);
    number = number * 10 + digit;
  }
  if (text.empty()) RefuseText("no number of its type", text);
  return number;
}

// As "%.16g" does in the "C" locale, whatever the process's is.
void AppendReal(stringEx& text, double value) {
  constexpr int digits = 16;
  char room[digits + 8];  // a sign, a point, an exponent
  const auto result = std::to_chars(room, std::end(room), value, std::chars_format::general, digits);
  text.append({room, static_cast<std::size_t>(result.ptr - room)});
}

double RealOf(std::string_view text) {
  const std::string_view magnitude = text.starts_with('-') ? text.substr(1) : text;
  const double sign = text.starts_with('-') ? -1 : 1;
  if (magnitude == "inf") return sign * std::numeric_limits<double>::infinity();
  if (magnitude == "nan") return std::copysign(std::numeric_limits<double>::quiet_NaN(), sign);
  double value = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  if (text.empty() || result.ptr != end || !std::isfinite(value)) RefuseText("no float", text);
  if (result.ec == std::errc()) return value;
  const bool isSmall = magnitude.find("e-") != magnitude.npos || magnitude[0] == '0';
  return sign * (isSmall ? 0 : std::numeric_limits<double>::infinity());
}

}  // namespace

void RefuseText(std::string_view what, std::string_view content) {
  // Of what is wrong no more than a glance: it may be anything.
  constexpr std::size_t shown = 200;
  stringEx text(what);
  (text += "\n  content = ") += content.substr(0, shown);
  throw csvExp(std::move(text), csvCode::brokenField);
}

void RefuseForm(const TEXTREFUSALS& refusals, const qvExp& failure, std::uint32_t code) {
  // A field that does not end has the whole rest of the text in it.
  constexpr std::uint64_t shown = 4096;
  stringEx inner = failure.GetMessage();
  if (inner.length() > shown) {
    inner.truncate(shown);
    inner += "...";
  }
  CMessage(refusals.failed).Field("\n@ ", inner).Throw<regExp>(code);
}

void RequireName(std::string_view name) {
  if (name.empty() || name.find('\\') != std::string_view::npos)
    RefuseText("subkey can not be named in a path", name);
}

void CTextOut::Advance() {
  if (sink_ == nullptr || own_.length() < pieceSize) return;
  Finish();
}

void CTextOut::Finish() {
  if (sink_ == nullptr) {
    good_ = text_->length();
    return;
  }
  for (std::uint64_t taken = 0; taken < own_.length();) {
    const std::size_t count = sink_->Write(own_.data() + taken, own_.length() - taken);
    if (count == 0) throw ioExp(stringEx::view("the sink takes no more"), fileCode::write);
    taken += count;
  }
  own_.clear();
}

std::string_view WordOf(const CRegValue& value, std::string_view refusal) {
  if (value.Type() < std::size(typeWords)) return typeWords[value.Type()];
  CMessage(refusal).Field("", value.Type()).Throw<regExp>(regCode::damaged);
}

std::optional<std::uint32_t> TypeOf(std::string_view word) noexcept {
  const auto found = std::find(std::begin(typeWords), std::end(typeWords), word);
  if (found == std::end(typeWords)) return {};
  return static_cast<std::uint32_t>(found - std::begin(typeWords));
}

void AppendValueText(stringEx& text, const CRegValue& value) {
  switch (value.Type()) {
    case T_STRING:
    case T_EXP_STR:
      text += value.Text();
      break;
    case T_BLOB:
      byteEx::view(value.Bytes()).hex_append_to(text);
      break;
    case T_DWORD:
    case T_QWORD:
      text.append_uint(value.Number());
      break;
    case T_FLOAT8:
      AppendReal(text, value.Double());
      break;
    case T_BOOL:
      text += value.Number() != 0 ? "yes" : "no";
      break;
    default:
      break;
  }
}

CRegValue ValueOf(std::uint32_t type, std::string_view text) {
  switch (type) {
    case T_STRING:
    case T_EXP_STR:
      return {type, text};
    case T_BLOB:
      return {type, REGTEXT(BlobOf(text))};
    case T_DWORD:
      return CRegValue::FromNumber(type, NumberOf(text, std::numeric_limits<std::uint32_t>::max()));
    case T_QWORD:
      return CRegValue::FromNumber(type, NumberOf(text, std::numeric_limits<std::uint64_t>::max()));
    case T_FLOAT8:
      return CRegValue::FromDouble(RealOf(text));
    case T_BOOL:
      return CRegValue::FromBool(!text.empty() &&
                                 std::string_view("yYtT").find(text[0]) != std::string_view::npos);
    default:
      if (!text.empty()) RefuseText("no value of its type", text);
      return {};
  }
}

stringEx ReadAll(TDataSource& source) {
  stringEx text;
  for (std::size_t count = 1; count != 0;)
    text.append_by(pieceSize, [&](char* room) { return count = source.Read(room, pieceSize); });
  return text;
}

void PutValue(const CFakeRegistry& key, std::string_view name, CRegValue value) {
  const CRegGuard guard(key, "CFakeRegistry::WriteValue - invalid object");
  guard->values.try_emplace(name).first->second = std::move(value);
  guard->hasChanged = true;
}

}  // namespace Qorv::IMPL
