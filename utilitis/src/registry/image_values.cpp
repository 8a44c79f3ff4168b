#include "registry/image.h"

#include <algorithm>
#include <string>
#include <vector>

#include "error/message.h"

namespace Qorv::IMPL {
namespace {

[[noreturn]] void RefuseType(std::string_view refusal, std::uint32_t type) {
  CMessage(refusal).Field("", type).Throw<regExp>(regCode::damaged);
}

// The packed form of a set, string by string: there may be more of them than their image has bytes to spare for a list.
class CSetPacker {
 public:
  CSetPacker() { AppendNumber(0); }

  void Add(std::string_view text) {
    ++count_;
    AppendNumber(static_cast<std::uint32_t>(text.size()));
    bytes_.append(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    bytes_.append(0);
  }
  byteEx Take() {
    bytes_.overwrite(0, NumberBytes(count_));
    return byteEx(bytes_.data(), bytes_.length());
  }

 private:
  static byteEx::text_view NumberBytes(const std::uint32_t& number) {
    return {reinterpret_cast<const unsigned char*>(&number), sizeof(number)};
  }
  void AppendNumber(std::uint32_t number) { bytes_.append(NumberBytes(number)); }

  byteEx bytes_;
  std::uint32_t count_ = 0;
};

CRegValue GetSet(CISXFReader& reader, CImageText& text) {
  CSetPacker packer;
  for (auto left = static_cast<std::uint32_t>(reader.GetInt32()); left != 0; --left)
    packer.Add(text.Get(reader));
  return {T_STRING_SET, packer.Take()};
}

// Each string is ended by a zero byte, the last one not always.
CRegValue GetOldSet(CISXFReader& reader, CImageText& text) {
  CSetPacker packer;
  for (std::string_view rest = text.GetBytes(reader); !rest.empty();) {
    const std::size_t zero = std::min(rest.find('\0'), rest.size());
    packer.Add(text.FromImage(rest.substr(0, zero)));
    rest.remove_prefix(std::min(zero + 1, rest.size()));
  }
  return {T_STRING_SET, packer.Take()};
}

void PutSet(CISXFWriter& writer, CImageText& text, const CRegValue& value) {
  std::vector<std::string_view> strings;
  ForEachInSet(value.Bytes(), [&](std::string_view string) { strings.push_back(string); });
  writer.PutInt32(static_cast<std::int32_t>(strings.size()));
  for (const std::string_view string : strings)
    text.Put(writer, string);
}

}  // namespace

void PutPayload(CISXFWriter& writer, CImageText& text, const CRegValue& value, std::string_view refusal) {
  switch (value.Type()) {
    case T_NONE:
      break;
    case T_STRING:
    case T_EXP_STR:
      text.Put(writer, value.Text());
      break;
    case T_BLOB:
      writer.PutBlob(value.Bytes());
      break;
    case T_DWORD:
      writer.PutInt32(static_cast<std::int32_t>(value.Number()));
      break;
    case T_QWORD:
      writer.PutInt64(static_cast<std::int64_t>(value.Number()));
      break;
    case T_STRING_SET:
      PutSet(writer, text, value);
      break;
    case T_FLOAT8:
      writer.PutDouble(value.Double());
      break;
    case T_BOOL:
      writer.PutBool(value.Number() != 0);
      break;
    default:
      RefuseType(refusal, value.Type());
  }
}

CRegValue GetPayload(CISXFReader& reader, CImageText& text, std::uint32_t type, std::string_view refusal) {
  switch (type) {
    case T_NONE:
      return {};
    case T_STRING:
    case T_EXP_STR:
      return CRegValue::FromText(type, text.Get(reader));
    case T_BLOB:
      return CRegValue::FromText(type, text.GetBytes(reader));
    case T_DWORD:
      return CRegValue::FromNumber(type, static_cast<std::uint32_t>(reader.GetInt32()));
    case T_QWORD:
      return CRegValue::FromNumber(type, static_cast<std::uint64_t>(reader.GetInt64()));
    case T_STRING_SET:
      return GetSet(reader, text);
    case T_FLOAT8:
      return CRegValue::FromDouble(reader.GetDouble());
    case T_BOOL:
      return CRegValue::FromBool(reader.GetBool());
    default:
      RefuseType(refusal, type);
  }
}

namespace {

// The values of one key. `get` reads a payload.
template <class Get>
void ParseValues(CISXFReader& reader, REGVALUES& values, CImageText& text, std::uint32_t count, Get get) {
  for (std::uint32_t left = count; left != 0; --left) {
    std::string name(text.Get(reader));
    const std::uint8_t type = reader.GetSmallEnum();
    CRegValue value = get(type);
    if (!values.append(left, std::move(name), std::move(value)))
      values.insert_or_assign(std::move(name), std::move(value));
  }
}

}  // namespace

void RegCompileValues_r3(CISXFWriter& writer, const REGVALUES& values, CImageText& text) {
  writer.PutSize(static_cast<std::uint32_t>(values.size()));
  for (const auto& [name, value] : values) {
    text.Put(writer, name);
    writer.PutSmallEnum(static_cast<std::uint8_t>(value.Type()));
    PutPayload(writer, text, value, "RegCompileValues_r3 - invalid type : ");
  }
}

void RegParseValues_r3(CISXFReader& reader, REGVALUES& values, CImageText& text) {
  ParseValues(reader, values, text, reader.GetSize(), [&](std::uint8_t type) {
    return GetPayload(reader, text, type, "RegParseValues_r3 - invalid type : ");
  });
}

void RegParseValues_r1r2(CISXFReader& reader, REGVALUES& values, bool isFirst, CImageText& text) {
  const std::uint32_t count = reader.GetSize();
  if (isFirst) reader.GetInt64();  // means nothing any more
  ParseValues(reader, values, text, count, [&](std::uint8_t type) {
    return type == T_STRING_SET ? GetOldSet(reader, text)
                                : GetPayload(reader, text, type, "RegParseValues_r1r2 - invalid type : ");
  });
}

}  // namespace Qorv::IMPL
