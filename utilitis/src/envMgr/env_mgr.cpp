#include <qorv/env_mgr.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include <qorv/file.h>

#include "misc/posix/platform.h"

extern char** environ;

namespace Qorv {
namespace {

constexpr std::uint32_t depthLimit = 64;
constexpr std::uint64_t growthLimit = std::uint64_t{16} << 20;
constexpr std::uint64_t wideNameLimit = 4096;

template <class T>
bool IsNameElement(T element) noexcept {
  return (element >= 'a' && element <= 'z') || (element >= 'A' && element <= 'Z') ||
         (element >= '0' && element <= '9') || element == '_';
}

template <class Text>
std::uint64_t NameLength(const Text& text) noexcept {
  std::uint64_t length = 0;
  while (length < text.length() && IsNameElement(text[length]))
    ++length;
  return length;
}

// The value of a variable, null if it is not set. As getenv, but a name that no variable can have finds none, and is not
// copied, nor looked at beyond the longest variable.
const char* Variable(std::string_view name) noexcept {
  if (name.empty() || environ == nullptr) return nullptr;
  for (const char* const* entry = environ; *entry != nullptr; ++entry) {
    if (**entry != name.front()) continue;
    const std::string_view line(*entry);
    if (line.size() <= name.size() || line[name.size()] != '=' || !line.starts_with(name)) continue;
    if (name.find('=') == std::string_view::npos) return *entry + name.size() + 1;
  }
  return nullptr;
}

// A text in the process's encoding. False if that has no place for all of it: what is left might be another name.
bool ToNarrow(const stringEx& text, stringEx& out) {
  out = stringEx::view(text);
  return true;
}
bool ToNarrow(const wstringEx& text, stringEx& out) {
  out = text.to_narrow();
  return out.to_wide() == text;
}

void FromNarrow(stringEx& text, stringEx& out) {
  out.swap(text);
}
void FromNarrow(const stringEx& text, wstringEx& out) {
  out = text.to_wide();
}

bool ReadStore(const CFakeRegistry& store, const stringEx& name, stringEx& value) {
  if (!store.IsValueExist(name)) return false;  // without the price of an exception
  try {
    store.ReadValue(name, value);
    return true;
  } catch (const regExp& failure) {
    if (failure.GetCode() != regCode::notFound && failure.GetCode() != regCode::typeMismatch) throw;
    return false;
  }
}

// What the commands of an expansion have in common: whether any has replaced something, and how much longer the text may get.
template <class Text>
class CEnvCmd : public IStrMatchCmd<Text> {
 public:
  bool hasReplaced = false;
  std::uint64_t room = 0;

 protected:
  // `length` elements of the text give way to the value.
  std::int32_t Replace(std::uint64_t length, stringEx& value, Text& result) {
    FromNarrow(value, result);
    if (result.length() > room + length) return matchCode::stop;
    room = room + length - result.length();
    hasReplaced = true;
    return matchCode::replace;
  }
  // The same by a variable; what is not set is nothing.
  std::int32_t ReplaceByVariable(const Text& name, Text& result) {
    stringEx narrow;
    const char* const variable = HasName(name, narrow) ? Variable(narrow) : nullptr;
    stringEx value = variable != nullptr ? stringEx(variable) : stringEx();
    return Replace(name.length(), value, result);
  }
  // False if nothing can have that name.
  static bool HasName(const Text& name, stringEx& narrow) {
    if (sizeof(name[0]) > 1 && name.length() > wideNameLimit) return false;
    return ToNarrow(name, narrow);
  }
};

// The name that begins the text.
template <class Text>
class CEnvStrAbbrMatchCmd final : public CEnvCmd<Text> {
 public:
  std::int32_t Match(const Text& text, Text& result) override {
    length_ = NameLength(text);
    if (length_ == 0) return matchCode::none;
    return this->ReplaceByVariable(Text::view({text.data(), length_}), result);
  }
  std::uint64_t TokenLength() const override { return length_; }

 private:
  std::uint64_t length_ = 0;
};

// The whole text as a name.
template <class Text>
class CEnvStrRegularMatchCmd final : public CEnvCmd<Text> {
 public:
  std::int32_t Match(const Text& text, Text& result) override {
    return this->ReplaceByVariable(text, result);
  }
};

// From the store, or else from the environment; what is nowhere stays. `isAbbreviated`: the name that begins the text.
template <class Text>
class CEnvStrMatchCmd final : public CEnvCmd<Text> {
 public:
  CEnvStrMatchCmd(const CFakeRegistry& store, bool isAbbreviated)
      : store_(&store), isAbbreviated_(isAbbreviated) {}

  std::int32_t Match(const Text& text, Text& result) override {
    length_ = isAbbreviated_ ? NameLength(text) : text.length();
    stringEx name;
    if (length_ == 0 || !this->HasName(Text::view({text.data(), length_}), name)) return matchCode::none;
    stringEx value;
    if (!ReadStore(*store_, name, value)) {
      const char* const variable = Variable(name);
      if (variable == nullptr || *variable == 0) return matchCode::none;
      value = stringEx(variable);
    }
    return this->Replace(length_, value, result);
  }
  std::uint64_t TokenLength() const override { return length_; }

 private:
  const CFakeRegistry* store_;
  bool isAbbreviated_;
  std::uint64_t length_ = 0;
};

// Replaces references until there are none, or until so many rounds are over.
template <class T>
basic_string_ex<T> Expanded(const basic_string_ex<T>& text, CEnvCmd<basic_string_ex<T>>& abbreviated,
                            CEnvCmd<basic_string_ex<T>>& regular, std::uint32_t depth) {
  using Text = basic_string_ex<T>;
  const T marker = static_cast<T>(IMPL::platform::EnvMarker());
  const T open[] = {marker, '{'};
  const T close[] = {'}'};
  const T doubled[] = {marker, marker};
  Text now = text;
  regular.room = growthLimit;
  do {
    abbreviated.hasReplaced = regular.hasReplaced = false;
    abbreviated.room = regular.room;
    Text next;
    now.expand_append_to(next, marker, abbreviated, true, false, true);
    regular.room = abbreviated.room;
    now.clear();
    next.expand_append_to(now, {open, 2}, {close, 1}, regular, true, false, true);
  } while (depth < depthLimit && ++depth < depthLimit && (abbreviated.hasReplaced || regular.hasReplaced));
  now.replace({doubled, 2}, {&marker, 1});
  return now;
}

template <class Text>
Text ExpandedByEnvironment(const Text& text) {
  CEnvStrAbbrMatchCmd<Text> abbreviated;
  CEnvStrRegularMatchCmd<Text> regular;
  return Expanded(text, abbreviated, regular, 0);
}

template <class Text>
Text ExpandedByStore(const CFakeRegistry& store, const Text& text, std::uint32_t depth) {
  CEnvStrMatchCmd<Text> abbreviated(store, true);
  CEnvStrMatchCmd<Text> regular(store, false);
  return Expanded(text, abbreviated, regular, depth);
}

}  // namespace

stringEx ExpandEnvStr(const stringEx& text) {
  return ExpandedByEnvironment(text);
}

wstringEx ExpandEnvStr(const wstringEx& text) {
  return ExpandedByEnvironment(text);
}

stringEx GetSysEnv(const stringEx& name) {
  const char* const value = Variable(name);
  return value != nullptr ? stringEx(value) : stringEx();
}

wstringEx GetSysEnv(const wstringEx& name) {
  stringEx narrow;
  return ToNarrow(name, narrow) ? GetSysEnv(narrow).to_wide() : wstringEx();
}

// By calls that copy: what putenv takes would be the environment's for ever.
bool SetSysEnv(const stringEx& text) {
  const std::string_view whole = text;
  if (whole.find('\0') != std::string_view::npos) return false;  // it would be cut there
  const std::size_t at = whole.find('=');
  const stringEx name(whole.substr(0, at));
  if (at == std::string_view::npos) return ::unsetenv(name.data()) == 0;
  return ::setenv(name.data(), stringEx(whole.substr(at + 1)).data(), 1) == 0;
}

bool SetSysEnv(const wstringEx& text) {
  stringEx narrow;
  return ToNarrow(text, narrow) && SetSysEnv(narrow);
}

envMgr::envMgr() {
  store_.Clear();  // gives it a key
}

stringEx envMgr::GetTempDir() {
  IMPL::CSafeScopeLock guard(lock_);
  if (tempDir_.empty()) {
    stringEx told = CDir::GetSysTempDir();
    struct stat status;
    const bool isUsable = !told.empty() && ::stat(told.data(), &status) == 0 && S_ISDIR(status.st_mode) &&
                          ::faccessat(AT_FDCWD, told.data(), W_OK | X_OK, AT_EACCESS) == 0;
    tempDir_ = isUsable ? std::move(told) : stringEx("./tmp");
  }
  return tempDir_;
}

bool envMgr::GetEnv(const stringEx& name, stringEx& value) const {
  if (!ReadStore(store_, name, value)) value = GetSysEnv(name);
  return !value.empty();
}

void envMgr::SetEnv(const stringEx& name, const stringEx& value) {
  store_.WriteValue(name, value);
}

void envMgr::RemoveEnv(const stringEx& name) {
  store_.RemoveValue(name);
}

void envMgr::EnumEnv(std::vector<stringEx>& names) const {
  store_.GetAllValues(names);
}

void envMgr::Open(const stringEx& path) {
  CFakeRegistry read;
  read.Open(path);
  store_ = std::move(read);
}

void envMgr::Save(const stringEx& path) {
  store_.Save(path);
}

stringEx envMgr::Expand(const stringEx& text, std::uint32_t depth) const {
  return ExpandedByStore(store_, text, depth);
}

wstringEx envMgr::Expand(const wstringEx& text, std::uint32_t depth) const {
  return ExpandedByStore(store_, text, depth);
}

}  // namespace Qorv
