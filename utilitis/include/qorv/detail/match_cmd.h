// What marker expansion asks about each marked token of a text.
#pragma once

#include <cstdint>

namespace Qorv {

/// What IStrMatchCmd::Match may answer.
namespace matchCode {
inline constexpr std::int32_t none = 0;     ///< unknown: the marker stays, the scan goes on behind it
inline constexpr std::int32_t replace = 1;  ///< the result takes the place of marker and token
inline constexpr std::int32_t insert = 2;   ///< the marker stays, the result takes the place of the token
inline constexpr std::int32_t stop = 3;     ///< as any other number: the rest of the text stays as it is
}  // namespace matchCode

/// Decides what the marked tokens of a text become; see basic_string_ex::expand_append_to, which owns
/// nothing of it and calls it from one thread. T is stringEx, wstringEx or byteEx.
template <class T>
class IStrMatchCmd {
 public:
  virtual ~IStrMatchCmd() = default;

  /// `text` is a view, valid during the call: of all that follows the marker, at least one element, or, where
  /// a closing marker ends the token, of the token, which may be empty. No zero element need stand behind it.
  /// `result` is empty; the text that the command puts there, or makes it a view of, must last until the next
  /// call, and must not lie in the string that the expansion appends to. What is thrown from here passes
  /// through.
  virtual std::int32_t Match(const T& text, T& result) = 0;
  /// How many elements of its text the last Match has consumed; more than there are count as all. Asked for
  /// after matchCode::replace and insert, and only where no closing marker ends the token.
  virtual std::uint64_t TokenLength() const { return 0; }

 protected:
  IStrMatchCmd() = default;
  IStrMatchCmd(const IStrMatchCmd&) = default;
  IStrMatchCmd& operator=(const IStrMatchCmd&) = default;
};

}  // namespace Qorv
