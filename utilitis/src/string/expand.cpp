// Marker expansion.
#include <algorithm>

#include <qorv/string.h>

#include "string/appender.h"
#include "string/search.h"

namespace Qorv {
namespace {

struct EXPANSIONRULES {
  bool keepUnknown;
  bool dropTrailing;
  bool keepDoubled;
};

// One scan over a text. Unless the markers come in pairs, the opening one is a single element, and the command
// says how long the tokens are.
template <class T, bool isPaired>
class CExpansion {
 public:
  using text_view = std::basic_string_view<T>;
  using string = basic_string_ex<T>;

  CExpansion(string& dest, text_view text, text_view open, text_view close, EXPANSIONRULES rules)
      : out_(dest, IMPL::Total(text.size(), text.size() / 8, 1)),
        text_(text),
        open_(open),
        close_(close),
        rules_(rules) {}

  // The number of places changed.
  std::uint64_t Run(IStrMatchCmd<string>& command) {
    string result;  // one for all tokens, for the sake of its room
    while (GoToMarker() && FindToken() && Expand(command, result)) {
    }
    out_.Put(text_.substr(at_));
    return changes_;
  }

 private:
  // Copies up to the next marker; false if there is none.
  bool GoToMarker() {
    while (CopyToFirst()) {
      const text_view rest = text_.substr(at_);
      const bool isSingle = !isPaired || open_.size() == 1;
      const bool isMarker = isSingle || rest.starts_with(open_);
      const bool isDoubled = rest.size() > 1 && rest[1] == rest[0] && (isSingle || !isMarker);
      if (isMarker && !isDoubled) return true;
      out_.Put(rest[0]);
      ++at_;
      if (isDoubled) PassSecond();
    }
    return false;
  }

  // The same for the marker's first element. Mostly it is at hand: markers stand close to each other.
  bool CopyToFirst() {
    for (int near = 2; near > 0 && at_ < text_.size(); --near, ++at_) {
      if (text_[at_] == open_.front()) return true;
      out_.Put(text_[at_]);
    }
    const T* const from = text_.data() + at_;
    const T* const hit = IMPL::FindElement(from, text_.size() - at_, open_.front());
    if (hit == nullptr) return false;
    const auto length = static_cast<std::uint64_t>(hit - from);
    out_.Put(text_view(from, length));
    at_ += length;
    return true;
  }

  void PassSecond() {
    if (rules_.keepDoubled) {
      out_.Put(text_[at_]);
    } else {
      ++changes_;
    }
    ++at_;
  }

  // False if the marker is the last of the text, or nothing closes its token.
  bool FindToken() {
    token_ = at_ + open_.size();
    if (token_ == text_.size()) {
      if (rules_.dropTrailing) Drop(token_);
      return false;
    }
    // A closing marker that ended one token may end the next one as well: each is looked for once.
    if constexpr (!isPaired) {
      tokenEnd_ = text_.size();
    } else if (tokenEnd_ < token_) {
      tokenEnd_ = IMPL::FindText(text_, close_, token_);
    }
    return tokenEnd_ != npos;
  }

  // False if the command has ended the scan.
  bool Expand(IStrMatchCmd<string>& command, string& result) {
    if (result.is_view()) {
      string().swap(result);
    } else {
      result.clear();
    }
    switch (command.Match(string::view(text_.substr(token_, tokenEnd_ - token_)), result)) {
      case matchCode::none:
        if (rules_.keepUnknown) {
          out_.Put(open_);
          at_ = token_;
        } else {
          Drop(isPaired ? tokenEnd_ + close_.size() : token_);
        }
        return true;
      case matchCode::insert:
        out_.Put(open_);
        [[fallthrough]];
      case matchCode::replace:
        out_.Put(result);
        Drop(isPaired ? tokenEnd_ + close_.size()
                      : token_ + std::min(command.TokenLength(), tokenEnd_ - token_));
        return true;
      default:
        return false;
    }
  }

  void Drop(std::uint64_t end) noexcept {
    ++changes_;
    at_ = end;
  }

  IMPL::CAppender<T> out_;
  const text_view text_;
  const text_view open_;
  const text_view close_;
  const EXPANSIONRULES rules_;
  std::uint64_t at_ = 0;        // all before it is done
  std::uint64_t token_ = 0;     // where the token at hand begins
  std::uint64_t tokenEnd_ = 0;  // and ends
  std::uint64_t changes_ = 0;
};

// A table of names as a command.
template <class T>
class CNames final : public IStrMatchCmd<basic_string_ex<T>> {
 public:
  using string = basic_string_ex<T>;
  using text_pair = typename string::text_pair;

  explicit CNames(std::span<const text_pair> names) noexcept : names_(names) {}

  std::int32_t Match(const string& text, string& result) override {
    const auto fits = [&text](const text_pair& row) {
      return !row.first.empty() && text.starts_with(row.first);
    };
    const auto row = std::find_if(names_.begin(), names_.end(), fits);
    if (row == names_.end()) return matchCode::none;
    result = string::view(row->second);
    length_ = row->first.size();
    return matchCode::replace;
  }

  std::uint64_t TokenLength() const override { return length_; }

 private:
  const std::span<const text_pair> names_;
  std::uint64_t length_ = 0;
};

}  // namespace

template <class T>
std::uint64_t basic_string_ex<T>::expand_append_to(basic_string_ex& dest, T marker,
                                                   IStrMatchCmd<basic_string_ex>& command, bool keep_unknown,
                                                   bool drop_trailing, bool keep_doubled) const {
  if (empty()) return 0;
  const text_view text = *this;
  const basic_string_ex holder = IMPL::HolderFor(dest, {text});
  return CExpansion<T, false>(dest, text, {&marker, 1}, {}, {keep_unknown, drop_trailing, keep_doubled})
      .Run(command);
}

template <class T>
std::uint64_t basic_string_ex<T>::expand_append_to(basic_string_ex& dest, text_view open, text_view close,
                                                   IStrMatchCmd<basic_string_ex>& command, bool keep_unknown,
                                                   bool drop_trailing, bool keep_doubled) const {
  if (empty()) return 0;
  const text_view text = *this;
  const basic_string_ex holder = IMPL::HolderFor(dest, {text, open, close});
  if (open.empty() || close.empty()) {
    dest.append(text);
    return 0;
  }
  return CExpansion<T, true>(dest, text, open, close, {keep_unknown, drop_trailing, keep_doubled})
      .Run(command);
}

template <class T>
std::uint64_t basic_string_ex<T>::expand(T marker, std::span<const text_pair> names, bool keep_doubled,
                                         bool strict) {
  CNames<T> command(names);
  basic_string_ex result;
  const std::uint64_t changes = expand_append_to(result, marker, command, !strict, strict, keep_doubled);
  if (changes != 0) swap(result);
  return changes;
}

template class basic_string_ex<char>;
template class basic_string_ex<wchar_t>;
template class basic_string_ex<unsigned char>;

}  // namespace Qorv
