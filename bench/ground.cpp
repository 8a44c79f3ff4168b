#include "ground.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace fs = std::filesystem;

namespace Bench {
namespace {

constexpr std::int64_t spoilStep = std::int64_t{1} << 16;

std::uint64_t Mix(std::uint64_t value) {
  value += 0x9e3779b97f4a7c15;
  value = (value ^ value >> 30) * 0xbf58476d1ce4e5b9;
  value = (value ^ value >> 27) * 0x94d049bb133111eb;
  return value ^ value >> 31;
}

// Of one MiB, so that no run inherits a large peak of memory.
using PIECE = std::vector<std::uint64_t>;

PIECE SourcePiece(std::int64_t number) {
  PIECE piece(mebibyte / sizeof(std::uint64_t));
  auto index = static_cast<std::uint64_t>(number) * piece.size();
  for (std::uint64_t& word : piece)
    word = Mix(index++);
  return piece;
}

std::string_view SectorOf(const PIECE& piece, std::int64_t number) {
  const std::string_view bytes(reinterpret_cast<const char*>(piece.data()), mebibyte);
  return bytes.substr(static_cast<std::size_t>(number * sectorSize), sectorSize);
}

std::int64_t Differences(std::string_view left, std::string_view right) {
  if (left == right) return 0;
  std::int64_t count = 0;
  for (std::size_t i = 0; i < left.size(); ++i)
    count += left[i] != right[i];
  return count;
}

// A file of the system, opened for a few calls.
class CDescriptor {
 public:
  CDescriptor(const std::string& path, int flags)
      : value_(open(path.c_str(), flags | O_CLOEXEC)), path_(path) {
    Check(value_);
  }
  CDescriptor(const CDescriptor&) = delete;
  CDescriptor& operator=(const CDescriptor&) = delete;
  ~CDescriptor() { close(value_); }

  int Get() const { return value_; }
  void Check(std::int64_t result) const {
    if (result < 0) throw std::system_error(errno, std::generic_category(), path_);
  }

 private:
  int value_;
  std::string path_;
};

}  // namespace

BADSECTORS Scattered(std::int64_t count, std::int64_t size) {
  const auto sectors = static_cast<std::uint64_t>(size / sectorSize);
  std::set<std::int64_t> chosen;
  for (std::uint64_t seed = 0; chosen.size() < static_cast<std::size_t>(count); ++seed)
    chosen.insert(static_cast<std::int64_t>(Mix(seed) % sectors));
  return {chosen.begin(), chosen.end()};
}

BADSECTORS InOneRun(std::int64_t count, std::int64_t size) {
  BADSECTORS bad;
  for (std::int64_t sector = (size / sectorSize - count) / 2; count > 0; --count)
    bad.push_back(sector++);
  return bad;
}

CGround::CGround(const fs::path& parent, std::int64_t size)
    : folder_(fs::absolute(parent) / "tolk-bench"), size_(size) {
  fs::create_directories(folder_);
  Lock();
  for (const fs::directory_entry& entry : fs::directory_iterator(folder_))
    fs::remove_all(entry);
  MakeSource();
}

CGround::~CGround() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
  close(lock_);
}

void CGround::Lock() {
  lock_ = open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (lock_ < 0 || flock(lock_, LOCK_EX | LOCK_NB) != 0)
    throw std::system_error(errno, std::generic_category(), folder_.string() + " cannot be had alone");
}

void CGround::MakeSource() const {
  std::ofstream out(Source(), std::ios::binary);
  for (std::int64_t number = 0; number < size_ / mebibyte; ++number)
    out.write(reinterpret_cast<const char*>(SourcePiece(number).data()), mebibyte);
  out.close();
  if (!out) throw std::runtime_error("cannot write " + Source());
}

void CGround::RemoveTarget() const {
  fs::remove(Target());
}

void CGround::SpoilTarget() const {
  const CDescriptor target(Target(), O_WRONLY | O_CREAT);
  const std::string wrong(16, '\x55');
  for (std::int64_t position = 0; position < size_; position += spoilStep)
    target.Check(pwrite(target.Get(), wrong.data(), wrong.size(), position));
}

void CGround::DropCaches() const {
  for (const std::string& path : {Source(), Target()}) {
    if (!fs::exists(path)) continue;
    const CDescriptor file(path, O_RDONLY);
    file.Check(fsync(file.Get()));
    posix_fadvise(file.Get(), 0, 0, POSIX_FADV_DONTNEED);
  }
}

void CGround::SyncTarget() const {
  const CDescriptor target(Target(), O_RDONLY);
  target.Check(fsync(target.Get()));
}

ENVIRONMENT CGround::Faults(const std::string& name, const BADSECTORS& bad, const std::string& rules) const {
  const fs::path path = folder_ / (name + ".plan");
  std::ofstream plan(path);
  plan << "file source " << Source() << '\n';
  for (const std::int64_t sector : bad)
    plan << "bad " << sector * sectorSize << ' ' << (sector + 1) * sectorSize << '\n';
  plan << "file target " << Target() << '\n' << rules << '\n';
  plan.close();
  if (!plan) throw std::runtime_error("cannot write " + path.string());
  return {{"LD_PRELOAD", TOLK_FAULT_SHIM}, {"TOLK_FAULT_PLAN", path}};
}

std::int64_t CGround::WrongBytes(const BADSECTORS& bad, std::optional<unsigned char> fill) const {
  constexpr std::int64_t pieceSectors = mebibyte / sectorSize;
  const std::string filled(sectorSize, static_cast<char>(fill.value_or(0)));
  std::ifstream target(Target(), std::ios::binary);
  PIECE found(mebibyte / sizeof(std::uint64_t));
  std::int64_t wrong = 0;
  auto nextBad = bad.begin();
  for (std::int64_t number = 0; number < size_ / mebibyte; ++number) {
    const PIECE expected = SourcePiece(number);
    if (!target.read(reinterpret_cast<char*>(found.data()), mebibyte))
      return wrong + size_ - number * mebibyte;
    for (std::int64_t sector = 0; sector < pieceSectors; ++sector) {
      if (nextBad == bad.end() || *nextBad != number * pieceSectors + sector) {
        wrong += Differences(SectorOf(found, sector), SectorOf(expected, sector));
        continue;
      }
      ++nextBad;
      if (fill) wrong += Differences(SectorOf(found, sector), filled);
    }
  }
  return wrong;
}

}  // namespace Bench
