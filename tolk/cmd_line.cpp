#include "cmd_line.h"

#include <utility>

using Qorv::stringEx;

namespace {

// A double quote inside gets a backslash before it; a backslash at the end is doubled, so that it does not
// take the closing quote with it.
void AppendQuoted(stringEx& out, const stringEx& text) {
  if (text.find_any(" \t'\"") == Qorv::npos) {
    out += text;
    return;
  }
  out += '"';
  for (const char c : text) {
    if (c == '"') out += '\\';
    out += c;
  }
  if (text[text.length() - 1] == '\\') out += '\\';
  out += '"';
}

}  // namespace

CCmdLineArgs::CCmdLineArgs(stringEx prefixes, stringEx separators, std::size_t first)
    : prefixes_(std::move(prefixes)), separators_(std::move(separators)), first_(first) {}

void CCmdLineArgs::Parse(int argc, const char* const* argv) {
  arguments_.clear();
  optionCount_ = 0;
  for (int i = 0; i < argc; ++i) {
    arguments_.push_back({stringEx(argv[i]), {}, {}});
    if (arguments_.size() > first_) ParseOne(arguments_.back());
  }
}

void CCmdLineArgs::ParseOne(CMDARG& argument) {
  const stringEx& raw = argument.raw;
  if (!raw.starts_with_any(prefixes_) || raw.length() == 1) return;
  const std::uint64_t separator = raw.find_any(separators_, 1);
  const std::uint64_t end = separator == Qorv::npos ? raw.length() : separator;
  argument.name.append(raw.data() + 1, end - 1);
  if (separator != Qorv::npos) argument.value.append(raw.data() + end + 1, raw.length() - end - 1);
  ++optionCount_;
}

template <class Equals>
std::int64_t CCmdLineArgs::FindBy(const stringEx& key, std::uint32_t nth, Equals equals) const noexcept {
  if (key.empty()) return -1;
  for (std::size_t i = first_; i < arguments_.size(); ++i) {
    if (equals(arguments_[i].name, key) && nth-- == 0) return static_cast<std::int64_t>(i);
  }
  return -1;
}

std::int64_t CCmdLineArgs::Find(const stringEx& key, std::uint32_t nth) const noexcept {
  return FindBy(key, nth, [](const stringEx& a, const stringEx& b) { return a.compare_nocase(b) == 0; });
}

std::int64_t CCmdLineArgs::FindExact(const stringEx& key, std::uint32_t nth) const noexcept {
  return FindBy(key, nth, [](const stringEx& a, const stringEx& b) { return a == b; });
}

stringEx CCmdLineArgs::GetValue(const stringEx& key, std::uint32_t nth) const {
  const std::int64_t index = Find(key, nth);
  return index < 0 ? stringEx() : arguments_[static_cast<std::size_t>(index)].value;
}

void CCmdLineArgs::Rebuild(stringEx& out) const {
  bool isFirst = true;
  for (std::size_t i = first_; i < arguments_.size(); ++i) {
    const CMDARG& argument = arguments_[i];
    if (argument.name.empty()) continue;
    if (!std::exchange(isFirst, false)) out += ' ';
    out += prefixes_[0];
    AppendQuoted(out, argument.name);
    if (argument.value.empty()) continue;
    out += separators_[0];
    AppendQuoted(out, argument.value);
  }
}
