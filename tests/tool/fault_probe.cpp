// Makes the calls named on its command line on one file and prints what each returned, a failure as minus
// errno:
//   fault_probe PATH (open | direct | read N | pread POSITION N | write N | seek POSITION | dup)...
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <vector>

namespace {

class Arguments {
 public:
  Arguments(int argc, char** argv) : rest_(argv + 1), end_(argv + argc) {}
  bool AtEnd() const { return rest_ == end_; }
  const char* Next() { return AtEnd() ? "" : *rest_++; }
  long Number() { return std::atol(Next()); }

 private:
  char** rest_;
  char** end_;
};

}  // namespace

int main(int argc, char** argv) {
  Arguments arguments(argc, argv);
  const char* path = arguments.Next();
  std::vector<char> buffer(1 << 20);
  const auto size = [&] { return static_cast<size_t>(arguments.Number()); };
  int file = -1;
  while (!arguments.AtEnd()) {
    const std::string_view call = arguments.Next();
    long result = -1;
    errno = ENOSYS;
    if (call == "open") result = file = open(path, O_RDWR);
    if (call == "direct") result = file = open(path, O_RDWR | O_DIRECT);
    if (call == "read") result = read(file, buffer.data(), size());
    if (call == "pread") {
      const long position = arguments.Number();
      result = pread(file, buffer.data(), size(), position);
    }
    if (call == "write") result = write(file, buffer.data(), size());
    if (call == "seek") result = lseek(file, arguments.Number(), SEEK_SET);
    if (call == "dup") result = file = dup(file);
    const bool isDescriptor = call == "open" || call == "direct" || call == "dup";
    std::cout << (result < 0 ? -errno : isDescriptor ? 0 : result) << ' ';
  }
}
