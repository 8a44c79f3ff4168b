// Reading a file of 1 GiB through views of a mapping, by CSysFile::Read into a buffer, and by the system's mmap. Each way sums
// up all words of the file, which the system has in memory; the least of a few rounds, in turns.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include <qorv/file.h>

namespace {

using namespace Qorv;

constexpr std::int64_t fileSize = 1 << 30;
constexpr std::int64_t viewSize = 64 << 20;
constexpr std::size_t bufferSize = 1 << 20;
constexpr int rounds = 8;

std::uint64_t SumOf(const unsigned char* data, std::int64_t size) {
  std::uint64_t sum = 0;
  for (std::int64_t at = 0; at < size; at += 8) {
    std::uint64_t word;
    std::memcpy(&word, data + at, sizeof(word));
    sum += word;
  }
  return sum;
}

std::uint64_t ByViews(const stringEx& path) {
  const CFileMapping mapping(path, PROT_READ);
  std::uint64_t sum = 0;
  for (std::int64_t at = 0; at < fileSize; at += viewSize)
    sum += SumOf(CFileMapping::CView(mapping, at, viewSize, PROT_READ).GetAddress(), viewSize);
  return sum;
}

std::uint64_t ByOneView(const stringEx& path) {
  const CFileMapping mapping(path, PROT_READ);
  return SumOf(CFileMapping::CView(mapping, 0, fileSize, PROT_READ).GetAddress(), fileSize);
}

std::uint64_t ByReading(const stringEx& path) {
  CSysFile file;
  file.OpenRaw(path, O_RDONLY, 0, 0, 0, 0);
  std::vector<unsigned char> buffer(bufferSize);
  std::uint64_t sum = 0;
  while (const std::size_t count = file.Read(buffer.data(), buffer.size()))
    sum += SumOf(buffer.data(), static_cast<std::int64_t>(count));
  return sum;
}

std::uint64_t ByMmap(const stringEx& path) {
  const int descriptor = open(path.data(), O_RDONLY | O_CLOEXEC);
  void* const start = mmap(nullptr, fileSize, PROT_READ, MAP_SHARED, descriptor, 0);
  if (start == MAP_FAILED) std::abort();
  const std::uint64_t sum = SumOf(static_cast<const unsigned char*>(start), fileSize);
  munmap(start, fileSize);
  close(descriptor);
  return sum;
}

}  // namespace

int main() {
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("mapping_bench." + std::to_string(getpid()));
  const stringEx name(std::string_view(path.native()));
  {
    CSysFile file;
    file.OpenRaw(name, O_WRONLY, O_CREAT | O_TRUNC, 0, 0600, 0);
    std::vector<unsigned char> piece(bufferSize);
    for (std::int64_t at = 0; at < fileSize; at += static_cast<std::int64_t>(piece.size())) {
      std::memset(piece.data(), static_cast<int>(at >> 20), piece.size());
      file.Write(piece.data(), piece.size());
    }
  }
  const struct {
    const char* name;
    std::uint64_t (*sum)(const stringEx& path);
  } ways[] = {
      {"views of 64 MiB", ByViews}, {"one view", ByOneView}, {"Read, 1 MiB", ByReading}, {"mmap", ByMmap}};
  double least[std::size(ways)];
  std::fill(std::begin(least), std::end(least), 1e9);
  const std::uint64_t expected = ByMmap(name);
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t turn = 0; turn < std::size(ways); ++turn) {
      const std::size_t way = (turn + static_cast<std::size_t>(round)) % std::size(ways);
      const auto start = std::chrono::steady_clock::now();
      if (ways[way].sum(name) != expected) std::abort();
      const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
      least[way] = std::min(least[way], taken.count());
    }
  }
  std::filesystem::remove(path);
  std::printf("1 GiB from the system's memory, ms, and in parts of mmap\n");
  for (std::size_t way = 0; way < std::size(ways); ++way)
    std::printf("%-16s %7.1f  %5.2f\n", ways[way].name, least[way], least[way] / least[std::size(ways) - 1]);
  return 0;
}
