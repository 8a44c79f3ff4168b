// A file system with one file, "disk", whose bad sectors answer EIO as those of a real disk do:
//   faulty_fs IMAGE MOUNTPOINT SECTOR_SIZE [BAD_SECTOR...]
// Runs in the foreground, and closes its standard output once the file can be read.
#define FUSE_USE_VERSION 31

#include <fcntl.h>
#include <fuse.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <set>
#include <string_view>

namespace {

constexpr std::string_view diskName = "/disk";

struct Disk {
  int image = -1;
  off_t size = 0;
  off_t sectorSize = 512;
  std::set<off_t> badSectors;
};

Disk disk;

void* Ready(fuse_conn_info*, fuse_config*) {
  close(STDOUT_FILENO);
  return nullptr;
}

int GetAttributes(const char* path, struct stat* out, fuse_file_info*) {
  *out = {};
  out->st_nlink = 1;
  if (path == diskName) {
    out->st_mode = S_IFREG | 0444;
    out->st_size = disk.size;
    return 0;
  }
  out->st_mode = S_IFDIR | 0755;
  return std::string_view(path) == "/" ? 0 : -ENOENT;
}

// Past the page cache, so that every read of the program reaches Read.
int Open(const char* path, fuse_file_info* info) {
  info->direct_io = 1;
  return path == diskName ? 0 : -ENOENT;
}

int Read(const char*, char* buffer, std::size_t size, off_t position, fuse_file_info*) {
  const off_t end = position + static_cast<off_t>(size);
  const auto bad = disk.badSectors.lower_bound(position / disk.sectorSize);
  if (bad != disk.badSectors.end() && *bad * disk.sectorSize < end) return -EIO;
  const ssize_t count = pread(disk.image, buffer, size, position);
  return count < 0 ? -errno : static_cast<int>(count);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return 2;
  disk.image = open(argv[1], O_RDONLY | O_CLOEXEC);
  disk.size = lseek(disk.image, 0, SEEK_END);
  disk.sectorSize = std::atoll(argv[3]);
  if (disk.image < 0 || disk.sectorSize <= 0) return 2;
  for (int i = 4; i < argc; ++i)
    disk.badSectors.insert(std::atoll(argv[i]));

  fuse_operations operations{};
  operations.init = Ready;
  operations.getattr = GetAttributes;
  operations.open = Open;
  operations.read = Read;
  char foreground[] = "-f";
  char singleThread[] = "-s";
  char* arguments[] = {argv[0], foreground, singleThread, argv[2], nullptr};
  return fuse_main(4, arguments, &operations, nullptr);
}
