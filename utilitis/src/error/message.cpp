#include "error/message.h"

#include <algorithm>
#include <system_error>

namespace Qorv::IMPL {

std::string_view FindErrno(ErrnoTable table, int number, std::string_view other) noexcept {
  const auto row =
      std::find_if(table.begin(), table.end(), [=](const ErrnoText& r) { return r.number == number; });
  return row != table.end() ? row->text : other;
}

stringEx DescribeErrno(ErrnoTable table, int number) {
  if (const std::string_view known = FindErrno(table, number, {}); !known.empty())
    return stringEx::view(known);
  stringEx text("unexpect system error: ");
  text += std::string_view(std::generic_category().message(number));
  return text;
}

CMessage::CMessage(std::string_view heading) : text_(heading) {}

CMessage& CMessage::Field(std::string_view name, std::string_view value) {
  Begin(name);
  text_ += value;
  return *this;
}

CMessage& CMessage::SignedField(std::string_view name, std::int64_t value) {
  Begin(name);
  text_.append_int(value);
  return *this;
}

CMessage& CMessage::UnsignedField(std::string_view name, std::uint64_t value) {
  Begin(name);
  text_.append_uint(value);
  return *this;
}

CMessage& CMessage::Errno(std::string_view numberName, std::string_view textName, int number,
                          ErrnoTable table) {
  return Field(numberName, number).Field(textName, DescribeErrno(table, number));
}

void CMessage::Begin(std::string_view name) {
  if (hasField_) text_ += '\n';
  text_ += name;
  hasField_ = true;
}

}  // namespace Qorv::IMPL
