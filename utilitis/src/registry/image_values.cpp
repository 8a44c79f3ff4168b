#include "registry/image.h"

#include <algorithm>
#include <array>
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
  CRegValue Take() {
    bytes_.overwrite(0, NumberBytes(count_));
    return {T_STRING_SET, {reinterpret_cast<const char*>(bytes_.data()), bytes_.length()}};
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
  return packer.Take();
}

// Each string is ended by a zero byte, the last one not always.
CRegValue GetOldSet(CISXFReader& reader, CImageText& text) {
  CSetPacker packer;
  for (std::string_view rest = text.GetBytes(reader); !rest.empty();) {
    const std::size_t zero = std::min(rest.find('\0'), rest.size());
    packer.Add(text.FromImage(rest.substr(0, zero)));
    rest.remove_prefix(std::min(zero + 1, rest.size()));
  }
  return packer.Take();
}

void PutSet(CISXFWriter& writer, CImageText& text, const CRegValue& value) {
  std::vector<std::string_view> strings;
  ForEachInSet(value.Text(), [&](std::string_view string) { strings.push_back(string); });
  writer.PutInt32(static_cast<std::int32_t>(strings.size()));
  for (const std::string_view string : strings)
    text.Put(writer, string);
}

// The data items of the types whose payload is a number.
struct NUMBERITEM {
  std::uint8_t tag;
  std::uint8_t size;
};
constexpr auto numberItems = [] {
  std::array<NUMBERITEM, T_BOOL + 1> items{};
  items[T_DWORD] = {isxfTag::int32, 4};
  items[T_QWORD] = {isxfTag::int64, 8};
  items[T_FLOAT8] = {isxfTag::doubleFloat, 8};
  items[T_BOOL] = {isxfTag::boolTrue, 0};
  return items;
}();

}  // namespace

// By a table, as one type after the other cannot be foreseen.
void PutPayload(CISXFWriter& writer, CImageText& text, const CRegValue& value, std::string_view refusal) {
  const std::uint32_t type = value.Type();
  if (!CRegValue::HasBytes(type)) {
    if (type == T_NONE) return;
    const std::uint64_t number = value.Number();
    const std::uint64_t bits = type == T_FLOAT8 ? number << 1 : number;  // a negative zero is zero
    return writer.PutNumber(numberItems[type].tag, number, numberItems[type].size, bits == 0);
  }
  switch (type) {
    case T_STRING:
    case T_EXP_STR:
      return text.Put(writer, value.Text());
    case T_BLOB:
      return writer.PutBlob(value.Text().data(), value.Text().size());
    case T_STRING_SET:
      return PutSet(writer, text, value);
    default:
      RefuseType(refusal, type);
  }
}

// In place: a value that is made elsewhere is waited for on its way.
void GetPayload(CISXFReader& reader, CImageText& text, std::uint32_t type, CRegValue& value,
                std::string_view refusal) {
  if (!CRegValue::HasBytes(type)) {
    const NUMBERITEM& item = numberItems[type];
    return value.Assign(type, type == T_NONE ? 0 : reader.GetNumber(item.tag, item.size));
  }
  switch (type) {
    case T_STRING:
    case T_EXP_STR:
      return value.Assign(type, text.Get(reader));
    case T_BLOB:
      return value.Assign(type, text.GetBytes(reader));
    case T_STRING_SET:
      value = GetSet(reader, text);
      return;
    default:
      RefuseType(refusal, type);
  }
}

namespace {

// The values of one key. `get` reads a payload into a value.
template <class Get>
void ParseValues(CISXFReader& reader, REGVALUES& values, CImageText& text, std::uint32_t count, Get get) {
  for (std::uint32_t left = count; left != 0; --left) {
    const std::string_view read = text.Get(reader);
    if (CRegValue* const value = values.append(left, read)) {
      try {
        get(reader.GetSmallEnum(), *value);
      } catch (...) {
        values.pop_back();
        throw;
      }
    } else {
      const CRegName name(read);
      CRegValue late;
      get(reader.GetSmallEnum(), late);
      values.insert_or_assign(name, std::move(late));
    }
  }
}

}  // namespace

void RegCompileValues_r3(CISXFWriter& writer, const REGVALUES& values, CImageText& text) {
  writer.PutSize(static_cast<std::uint32_t>(values.size()));
  values.ForEach([&](const auto& entry) {
    text.Put(writer, entry.first);
    writer.PutSmallEnum(static_cast<std::uint8_t>(entry.second.Type()));
    PutPayload(writer, text, entry.second, "RegCompileValues_r3 - invalid type : ");
  });
}

void RegParseValues_r3(CISXFReader& reader, REGVALUES& values, CImageText& text) {
  ParseValues(reader, values, text, reader.GetSize(), [&](std::uint8_t type, CRegValue& value) {
    GetPayload(reader, text, type, value, "RegParseValues_r3 - invalid type : ");
  });
}

void RegParseValues_r1r2(CISXFReader& reader, REGVALUES& values, bool isFirst, CImageText& text) {
  const std::uint32_t count = reader.GetSize();
  if (isFirst) reader.GetInt64();  // means nothing any more
  ParseValues(reader, values, text, count, [&](std::uint8_t type, CRegValue& value) {
    if (type != T_STRING_SET)
      return GetPayload(reader, text, type, value, "RegParseValues_r1r2 - invalid type : ");
    value = GetOldSet(reader, text);
  });
}

}  // namespace Qorv::IMPL
