// The one maker of failure texts, and the tables that turn errno values into words.
#pragma once

#include <concepts>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include <qorv/error.h>

namespace Qorv::IMPL {

/// One row of an errno table: a number by its symbolic name, and its description for one operation.
struct ErrnoText {
  int number;
  std::string_view text;
};

using ErrnoTable = std::span<const ErrnoText>;

/// The description of `number` in the table, or `other` where it has none.
std::string_view FindErrno(ErrnoTable table, int number, std::string_view other) noexcept;

/// The description of `number`: that of the table, or "unexpect system error: " and the system's own text.
stringEx DescribeErrno(ErrnoTable table, int number);

/// Builds a failure text: a heading that ends in a line break, then fields, then optionally "@ " and the text
/// of an inner failure. Headings and field names are whole literals ("  file path  = "), so that what a
/// screen shows is found by grep. Take errno before you start: building a text may change it.
class CMessage {
 public:
  explicit CMessage(std::string_view heading);

  CMessage& Field(std::string_view name, std::string_view value);
  template <std::signed_integral T>
  CMessage& Field(std::string_view name, T value) {
    return SignedField(name, value);
  }
  template <std::unsigned_integral T>
  CMessage& Field(std::string_view name, T value) {
    return UnsignedField(name, value);
  }
  /// The two fields of a failed system call: the number in decimal and its description.
  CMessage& Errno(std::string_view numberName, std::string_view textName, int number, ErrnoTable table);
  CMessage& Inner(const qvExp& failure) { return Field("@ ", failure.GetMessage()); }

  stringEx Take() { return std::move(text_); }
  template <class Failure>
  [[noreturn]] void Throw(std::uint32_t code) {
    throw Failure(Take(), code);
  }

 private:
  CMessage& SignedField(std::string_view name, std::int64_t value);
  CMessage& UnsignedField(std::string_view name, std::uint64_t value);
  void Begin(std::string_view name);

  stringEx text_;
  bool hasField_ = false;
};

}  // namespace Qorv::IMPL
