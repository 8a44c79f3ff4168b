#include "faulty_disk.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <sched.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;

namespace TestSupport {
namespace {

[[noreturn]] void ThrowErrno(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// Once for the process: what is mounted from then on is seen by it and its children alone.
void LeaveSharedMounts() {
  static const bool isDone = [] {
    if (unshare(CLONE_NEWNS) != 0) ThrowErrno("unshare");
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) ThrowErrno("mount");
    return true;
  }();
  static_cast<void>(isDone);
}

}  // namespace

std::optional<std::string> WhyNoFaultyDisk() {
  if (std::string_view(TOLK_FAULTY_FS).empty()) return "built without libfuse3";
  if (geteuid() != 0) return "needs root";
  for (const char* device : {"/dev/fuse", "/dev/loop-control"}) {
    const int descriptor = open(device, O_RDWR | O_CLOEXEC);
    if (descriptor < 0) return std::string("needs ") + device;
    close(descriptor);
  }
  return std::nullopt;
}

CFaultyDisk::CFaultyDisk(const fs::path& image, const fs::path& mountPoint,
                         const std::set<std::int64_t>& badSectors, std::uint32_t sectorSize)
    : mountPoint_(mountPoint), sectorSize_(sectorSize) {
  LeaveSharedMounts();
  fs::create_directory(mountPoint_);
  Mount(image, badSectors);
  AttachDevice();
}

CFaultyDisk::~CFaultyDisk() {
  if (deviceDescriptor_ >= 0) close(deviceDescriptor_);
  umount2(mountPoint_.c_str(), MNT_DETACH);
  if (server_ < 0) return;
  kill(server_, SIGKILL);
  waitpid(server_, nullptr, 0);
}

void CFaultyDisk::Mount(const fs::path& image, const std::set<std::int64_t>& badSectors) {
  std::vector<std::string> arguments = {TOLK_FAULTY_FS, image, mountPoint_, std::to_string(sectorSize_)};
  for (const std::int64_t number : badSectors)
    arguments.push_back(std::to_string(number));
  std::vector<char*> pointers;
  for (std::string& argument : arguments)
    pointers.push_back(argument.data());
  pointers.push_back(nullptr);

  std::array<int, 2> ready{};
  if (pipe2(ready.data(), O_CLOEXEC) != 0) ThrowErrno("pipe2");
  server_ = fork();
  if (server_ < 0) ThrowErrno("fork");
  if (server_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(ready[1], STDOUT_FILENO);
    execv(pointers[0], pointers.data());
    _exit(127);
  }
  close(ready[1]);
  char nothing = 0;
  while (read(ready[0], &nothing, 1) != 0) {
  }
  close(ready[0]);
  if (!fs::exists(File())) ThrowErrno("mount of " + File());
}

// The device detaches itself when the last descriptor on it is closed. Another process may take the free
// number first; then the next one is asked for.
void CFaultyDisk::AttachDevice() {
  const int control = open("/dev/loop-control", O_RDWR | O_CLOEXEC);
  const int file = open(File().c_str(), O_RDONLY | O_CLOEXEC);
  if (control < 0 || file < 0) ThrowErrno("loop device");
  loop_config config{};
  config.fd = static_cast<unsigned>(file);
  config.block_size = sectorSize_;
  config.info.lo_flags = LO_FLAGS_READ_ONLY | LO_FLAGS_AUTOCLEAR | LO_FLAGS_DIRECT_IO;
  bool isTaken = true;
  while (isTaken) {
    const int number = ioctl(control, LOOP_CTL_GET_FREE);
    if (number < 0) ThrowErrno("LOOP_CTL_GET_FREE");
    device_ = "/dev/loop" + std::to_string(number);
    deviceDescriptor_ = open(device_.c_str(), O_RDONLY | O_CLOEXEC);
    isTaken = deviceDescriptor_ >= 0 && ioctl(deviceDescriptor_, LOOP_CONFIGURE, &config) != 0;
    if (deviceDescriptor_ < 0 || (isTaken && errno != EBUSY)) ThrowErrno("LOOP_CONFIGURE " + device_);
    if (isTaken) close(deviceDescriptor_);
  }
  close(file);
  close(control);
}

}  // namespace TestSupport
