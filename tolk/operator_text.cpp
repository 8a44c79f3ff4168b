#include "operator_text.h"

#include <algorithm>
#include <string_view>

using Qorv::stringEx;

namespace {

constexpr std::uint64_t widest = 4096;

// Length of the run of characters of `set` that `text` starts with.
std::size_t RunOf(std::string_view text, std::string_view set) {
  return std::min(text.find_first_not_of(set), text.size());
}

// A directive taken apart: "%", flags, width, precision, length modifier, conversion.
struct DIRECTIVE {
  std::string_view whole;
  std::string_view shape;  // all in front of the length modifier
  char conversion = '\0';  // zero where the text ends too early

  explicit DIRECTIVE(std::string_view text) {
    std::size_t end = 1 + RunOf(text.substr(1), "-+ #0");
    const bool fits = TakeNumber(text, end) && (text.substr(end, 1) != "." || TakeNumber(text, ++end));
    shape = text.substr(0, end);
    end += RunOf(text.substr(end), "hlqjzt");
    if (fits && end < text.size()) conversion = text[end];
    whole = text.substr(0, end + 1);
  }

  bool TakesInteger() const {
    return conversion != '\0' && std::string_view("diouxXc").find(conversion) != std::string_view::npos;
  }

 private:
  static bool TakeNumber(std::string_view text, std::size_t& end) {
    const std::size_t length = RunOf(text.substr(end), "0123456789");
    const std::int64_t value = stringEx::view(text.substr(end, length)).to_int64(10);
    end += length;
    return value <= static_cast<std::int64_t>(widest);
  }
};

}  // namespace

stringEx ExpandOperatorText(const stringEx& text, std::uint64_t argument) {
  stringEx result;
  bool isServed = false;
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t plain = std::min(rest.find('%'), rest.size());
    result += rest.substr(0, plain);
    rest.remove_prefix(plain);
    if (rest.empty()) break;
    const DIRECTIVE directive(rest);
    if (directive.whole == "%%") {
      result += '%';
    } else if (directive.TakesInteger() && !isServed) {
      stringEx format(directive.shape);
      if (directive.conversion == 'c') {
        result.format_append(2 * widest, (format += 'c').data(), static_cast<int>(argument));
      } else {
        ((format += "ll") += directive.conversion);
        result.format_append(2 * widest, format.data(), argument);
      }
      isServed = true;
    } else {
      result += directive.whole;
    }
    rest.remove_prefix(directive.whole.size());
  }
  return result;
}
