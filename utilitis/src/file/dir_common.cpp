#include "file/dir_common.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "misc/posix/platform.h"

namespace Qorv::IMPL {

stringEx PathForSystem(const stringEx& path) {
  const std::string_view text = path;
  if (text.find('\0') != std::string_view::npos) return {};
  if (text.starts_with("~/")) {
    const char* const home = std::getenv("HOME");
    if (home != nullptr && *home != 0) return JoinPath(home, text.substr(2));
  }
  return stringEx(text);
}

stringEx JoinPath(std::string_view dir, std::string_view name) {
  stringEx path(dir);
  if (!dir.ends_with('/')) path += '/';
  return std::move(path += name);
}

std::string_view WithoutEndSlashes(std::string_view path) noexcept {
  while (path.size() > 1 && path.ends_with('/'))
    path.remove_suffix(1);
  return path;
}

stringEx ParentPath(const stringEx& path) {
  const std::string_view text = path;
  const std::size_t nameEnd = text.find_last_not_of('/');
  if (nameEnd == std::string_view::npos) return {};
  const std::size_t slash = text.find_last_of('/', nameEnd);
  if (slash == std::string_view::npos) return {};
  return stringEx(WithoutEndSlashes(text.substr(0, slash + 1)));
}

void AppendQuoted(stringEx& wildcard, std::string_view text) {
  for (const char c : text) {
    if (c == '*' || c == '?' || c == '\\') wildcard += '\\';
    wildcard += c;
  }
}

bool IsFolder(const char* path) noexcept {
  struct stat status;
  return RetryOnEintr([&] { return ::stat(path, &status); }) == 0 && S_ISDIR(status.st_mode);
}

bool IsSameFile(const struct stat& a, const struct stat& b) noexcept {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

std::string_view YesNo(bool flag) noexcept {
  return flag ? "yes" : "no";
}

int CDescriptor::Open(int dir, const char* path, int flags, mode_t mode) noexcept {
  Close();
  descriptor_ = RetryOnEintr([&] { return ::openat(dir, path, flags | O_CLOEXEC, mode); });
  return descriptor_ < 0 ? errno : 0;
}

// What a signal interrupts has closed the descriptor all the same.
int CDescriptor::Close() noexcept {
  const int descriptor = std::exchange(descriptor_, -1);
  return descriptor < 0 || ::close(descriptor) == 0 || errno == EINTR ? 0 : errno;
}

int OpenRegular(CDescriptor& file, int dir, const char* path, int flags, struct stat& status) noexcept {
  if (const int error = file.Open(dir, path, flags | O_NONBLOCK, 0666); error != 0) return error;
  if (::fstat(file.Get(), &status) < 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  return S_ISREG(status.st_mode) ? 0 : EINVAL;
}

int WriteAll(int descriptor, std::string_view bytes, std::uint64_t& done) noexcept {
  while (!bytes.empty()) {
    const ssize_t count = RetryOnEintr([&] { return ::write(descriptor, bytes.data(), bytes.size()); });
    if (count < 0) return errno;
    done += static_cast<std::uint64_t>(count);
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

int ListNames(int folder, std::vector<std::string>& names) {
  // The stream closes its descriptor, and has a position of its own.
  const int own = RetryOnEintr([=] { return ::openat(folder, ".", openFolder | O_CLOEXEC); });
  if (own < 0) return errno;
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(::fdopendir(own), &::closedir);
  if (stream == nullptr) {
    const int error = errno;
    ::close(own);
    return error;
  }
  while (true) {
    errno = 0;
    const dirent* const entry = ::readdir(stream.get());
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  const int error = errno;
  std::sort(names.begin(), names.end());
  return error;
}

}  // namespace Qorv::IMPL
