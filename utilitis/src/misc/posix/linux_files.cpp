#include "misc/posix/linux_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <optional>
#include <span>
#include <string_view>

namespace Qorv::IMPL::platform {
namespace {

// Fills `room` with the start of the file and returns what it holds; an errno is left in `error`.
std::string_view ReadStart(const char* path, std::span<char> room, int& error) noexcept {
  error = 0;
  const int descriptor = RetryOnEintr([&] { return ::open(path, O_RDONLY | O_CLOEXEC); });
  if (descriptor < 0) {
    error = errno;
    return {};
  }
  std::size_t filled = 0;
  while (filled < room.size()) {
    const ssize_t count =
        RetryOnEintr([&] { return ::read(descriptor, room.data() + filled, room.size() - filled); });
    if (count < 0) error = errno;
    if (count <= 0) break;
    filled += static_cast<std::size_t>(count);
  }
  ::close(descriptor);
  return {room.data(), filled};
}

template <class T>
std::optional<T> ParseNumber(std::string_view text) noexcept {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  T value{};
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc()) return std::nullopt;
  return value;
}

// The bytes on the line of `name`, which begins a line and ends in a colon; lines give kibibytes.
std::optional<std::uint64_t> MemLine(std::string_view text, std::string_view name) noexcept {
  for (std::size_t at = text.find(name); at != std::string_view::npos; at = text.find(name, at + 1)) {
    if (at != 0 && text[at - 1] != '\n') continue;
    const auto kibibytes = ParseNumber<std::uint64_t>(text.substr(at + name.size()));
    if (kibibytes) return *kibibytes * 1024;
    break;
  }
  return std::nullopt;
}

// Takes `count` fields, and the blanks around them, off the front.
void SkipFields(std::string_view& line, int count) noexcept {
  for (; count > 0; --count) {
    line.remove_prefix(std::min(line.find(' '), line.size()));
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
  }
}

}  // namespace

// Lines are "start-end rights offset device node path", with numbers in hexadecimal.
std::string_view FindMappedFile(std::string_view map, std::uint64_t address) noexcept {
  while (!map.empty()) {
    std::string_view line = map.substr(0, map.find('\n'));
    map.remove_prefix(std::min(line.size() + 1, map.size()));
    std::uint64_t start = 0;
    const auto number = std::from_chars(line.data(), line.data() + line.size(), start, 16);
    if (number.ec != std::errc() || start != address) continue;
    SkipFields(line, 5);
    return line;
  }
  return {};
}

int SysfsSectorSize(const char* sysRoot, unsigned major, unsigned minor, std::uint32_t* sectorSize) noexcept {
  // A partition has no queue of its own: the second place is the disk around it.
  int error = ENOENT;
  for (const char* place : {"", "/.."}) {
    std::array<char, 512> path;
    const int length =
        std::snprintf(path.data(), path.size(), "%s/dev/block/%u:%u%s/queue/logical_block_size", sysRoot,
                      major, minor, place);
    if (length < 0 || static_cast<std::size_t>(length) >= path.size()) return ENAMETOOLONG;
    std::array<char, 32> room;
    const std::string_view text = ReadStart(path.data(), room, error);
    if (error == ENOENT) continue;
    if (error != 0) return error;
    const auto size = ParseNumber<std::uint32_t>(text);
    if (!size || *size == 0) return EINVAL;
    *sectorSize = *size;
    return 0;
  }
  return error;
}

MEMINFO ReadMemInfo(const char* path) noexcept {
  MEMINFO info;
  std::array<char, 8192> room;
  int error = 0;
  const std::string_view text = ReadStart(path, room, error);
  if (error != 0) return info;
  const auto total = MemLine(text, "MemTotal:");
  const auto available = MemLine(text, "MemAvailable:");
  const auto swapTotal = MemLine(text, "SwapTotal:");
  const auto swapFree = MemLine(text, "SwapFree:");
  if (total) info.totalPhys = *total;
  if (available) info.freePhys = *available;
  if (total && swapTotal) info.totalVirt = *total + *swapTotal;
  if (available && swapFree) info.freeVirt = *available + *swapFree;
  return info;
}

}  // namespace Qorv::IMPL::platform
