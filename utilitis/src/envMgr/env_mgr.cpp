#include <qorv/env_mgr.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include <qorv/file.h>

namespace Qorv {
namespace {

constexpr std::uint32_t depthLimit = 64;
constexpr std::uint64_t lengthLimit = std::uint64_t{16} << 20;
constexpr char marker = '$';  // another system may have another

bool IsNameElement(char element) noexcept {
  return (element >= 'a' && element <= 'z') || (element >= 'A' && element <= 'Z') ||
         (element >= '0' && element <= '9') || element == '_';
}

std::uint64_t NameLength(std::string_view text) noexcept {
  std::uint64_t length = 0;
  while (length < text.size() && IsNameElement(text[length]))
    ++length;
  return length;
}

const char* Variable(std::string_view name) {
  return std::getenv(stringEx(name).data());
}

// What the commands of an expansion have in common: whether any has replaced something, and how much longer the text may get.
class CEnvCmd : public IStrMatchCmd<stringEx> {
 public:
  bool hasReplaced = false;
  std::uint64_t room = 0;

 protected:
  std::int32_t Replace(stringEx& result, stringEx value) {
    if (value.length() > room) return matchCode::stop;
    room -= value.length();
    hasReplaced = true;
    result = std::move(value);
    return matchCode::replace;
  }
};

// The name that begins the text; what is not set is nothing.
class CEnvStrAbbrMatchCmd final : public CEnvCmd {
 public:
  std::int32_t Match(const stringEx& text, stringEx& result) override {
    length_ = NameLength(text);
    if (length_ == 0) return matchCode::none;
    const char* const value = Variable(std::string_view(text).substr(0, length_));
    return Replace(result, value != nullptr ? stringEx(value) : stringEx());
  }
  std::uint64_t TokenLength() const override { return length_; }

 private:
  std::uint64_t length_ = 0;
};

// The whole text as a name.
class CEnvStrRegularMatchCmd final : public CEnvCmd {
 public:
  std::int32_t Match(const stringEx& text, stringEx& result) override {
    const char* const value = Variable(text);
    return Replace(result, value != nullptr ? stringEx(value) : stringEx());
  }
};

bool ReadStore(const CFakeRegistry& store, const stringEx& name, stringEx& value) {
  try {
    store.ReadValue(name, value);
    return true;
  } catch (const regExp& failure) {
    if (failure.GetCode() != regCode::notFound && failure.GetCode() != regCode::typeMismatch) throw;
    return false;
  }
}

// From the store, or else from the environment; what is nowhere stays. `isAbbreviated`: the name that begins the text.
class CEnvStrMatchCmd final : public CEnvCmd {
 public:
  CEnvStrMatchCmd(const CFakeRegistry& store, bool isAbbreviated)
      : store_(&store), isAbbreviated_(isAbbreviated) {}

  std::int32_t Match(const stringEx& text, stringEx& result) override {
    length_ = isAbbreviated_ ? NameLength(text) : text.length();
    const stringEx name(std::string_view(text).substr(0, length_));
    if (name.empty()) return matchCode::none;
    stringEx value;
    if (!ReadStore(*store_, name, value)) {
      const char* const variable = Variable(name);
      if (variable == nullptr || *variable == 0) return matchCode::none;
      value = stringEx(variable);
    }
    return Replace(result, std::move(value));
  }
  std::uint64_t TokenLength() const override { return isAbbreviated_ ? length_ : 0; }

 private:
  const CFakeRegistry* store_;
  bool isAbbreviated_;
  std::uint64_t length_ = 0;
};

// Replaces references until there are none, or until so many rounds are over.
stringEx Expanded(const stringEx& text, CEnvCmd& abbreviated, CEnvCmd& regular, std::uint32_t depth) {
  stringEx now = text;
  for (bool goesOn = true; goesOn && depth < depthLimit; ++depth) {
    abbreviated.hasReplaced = regular.hasReplaced = false;
    abbreviated.room = lengthLimit - std::min(now.length(), lengthLimit);
    stringEx next;
    now.expand_append_to(next, marker, abbreviated, true, false, true);
    regular.room = lengthLimit - std::min(next.length(), lengthLimit);
    now.clear();
    next.expand_append_to(now, "${", "}", regular, true, false, true);
    goesOn = abbreviated.hasReplaced || regular.hasReplaced;
  }
  now.replace("$$", "$");
  return now;
}

}  // namespace

stringEx ExpandEnvStr(const stringEx& text) {
  CEnvStrAbbrMatchCmd abbreviated;
  CEnvStrRegularMatchCmd regular;
  return Expanded(text, abbreviated, regular, 0);
}

wstringEx ExpandEnvStr(const wstringEx& text) {
  return ExpandEnvStr(text.to_narrow()).to_wide();
}

stringEx GetSysEnv(const stringEx& name) {
  const char* const value = Variable(name);
  return value != nullptr ? stringEx(value) : stringEx();
}

wstringEx GetSysEnv(const wstringEx& name) {
  return GetSysEnv(name.to_narrow()).to_wide();
}

// By calls that copy: what putenv takes would be the environment's for ever.
bool SetSysEnv(const stringEx& text) {
  const std::uint64_t at = text.find("=");
  const stringEx name(std::string_view(text).substr(0, at));
  if (at == npos) return ::unsetenv(name.data()) == 0;
  const stringEx value(std::string_view(text).substr(at + 1));
  return ::setenv(name.data(), value.data(), 1) == 0;
}

bool SetSysEnv(const wstringEx& text) {
  return SetSysEnv(text.to_narrow());
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
                          ::access(told.data(), W_OK | X_OK) == 0;
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

stringEx envMgr::Expand(const stringEx& text, std::uint32_t depth) const {
  CEnvStrMatchCmd abbreviated(store_, true);
  CEnvStrMatchCmd regular(store_, false);
  return Expanded(text, abbreviated, regular, depth);
}

wstringEx envMgr::Expand(const wstringEx& text, std::uint32_t depth) const {
  return Expand(text.to_narrow(), depth).to_wide();
}

}  // namespace Qorv
