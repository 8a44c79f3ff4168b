// How the registry takes and gives text: narrow, wide or as bytes, with each operation written once.
#pragma once

#include <string>
#include <string_view>

#include <qorv/string.h>

namespace Qorv {

/// A name or a path as an argument. Wide text is converted to the process's encoding where it comes in; what has no place
/// there is tconvExp, code 4, for without it the name would be another. The other two kinds pass as their bytes. Refers to
/// the text it was made from: for parameters only.
class REGTEXT {
 public:
  REGTEXT(const char* text) noexcept : text_(text) {}               // NOLINT(google-explicit-constructor)
  REGTEXT(std::string_view text) noexcept : text_(text) {}          // NOLINT(google-explicit-constructor)
  REGTEXT(const std::string& text) noexcept : text_(text) {}        // NOLINT(google-explicit-constructor)
  REGTEXT(const stringEx& text) noexcept : text_(text) {}           // NOLINT(google-explicit-constructor)
  REGTEXT(const wchar_t* text) : REGTEXT(wstringEx::view(text)) {}  // NOLINT(google-explicit-constructor)
  REGTEXT(const wstringEx& text);                                   // NOLINT(google-explicit-constructor)
  REGTEXT(const byteEx& text)
  noexcept  // NOLINT(google-explicit-constructor)
      : text_(reinterpret_cast<const char*>(text.data()), text.length()) {}
  REGTEXT(const REGTEXT&) = delete;
  REGTEXT& operator=(const REGTEXT&) = delete;

  operator std::string_view() const noexcept { return text_; }  // NOLINT(google-explicit-constructor)

 private:
  stringEx own_;
  std::string_view text_;
};

/// Where a name goes: a string of any of the three kinds, which outlives this. For parameters only.
class REGTEXTOUT {
 public:
  REGTEXTOUT(stringEx& target) noexcept : narrow_(&target) {}  // NOLINT(google-explicit-constructor)
  REGTEXTOUT(wstringEx& target) noexcept : wide_(&target) {}   // NOLINT(google-explicit-constructor)
  REGTEXTOUT(byteEx& target) noexcept : bytes_(&target) {}     // NOLINT(google-explicit-constructor)
  REGTEXTOUT(const REGTEXTOUT&) = delete;
  REGTEXTOUT& operator=(const REGTEXTOUT&) = delete;

  void Put(std::string_view text) const;

 private:
  stringEx* narrow_ = nullptr;
  wstringEx* wide_ = nullptr;
  byteEx* bytes_ = nullptr;
};

}  // namespace Qorv
