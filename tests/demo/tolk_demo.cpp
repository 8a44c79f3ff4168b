// Shows the tool's main job on a damaged disk of our own making, and judges the image byte by byte:
//
//   tolk_demo TOOL FAULT_SHIM FOLDER
//
// The exit status is 0 if everything came out as planned. What the run made stays in FOLDER.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

#include "support/terminal_run.h"

namespace fs = std::filesystem;

namespace {

constexpr std::int64_t sectorSize = 512;
constexpr std::int64_t blockSize = 1 << 20;
constexpr std::int64_t diskSize = 64 * blockSize;
constexpr std::int64_t sectors = diskSize / sectorSize;
constexpr std::int64_t blockSectors = blockSize / sectorSize;
constexpr unsigned char fill = 0xEE;
constexpr int never = 0;

// Sectors `first` to `last` - 1 are bad until `failures` reads have touched them.
struct DAMAGE {
  const char* what;
  std::int64_t first;
  std::int64_t last;
  int failures;

  bool IsLost() const { return failures == never; }
};

constexpr DAMAGE damages[] = {
    {"the first sector", 0, 1, never},
    {"a sector alone", 5000, 5001, never},
    {"a run of sectors", 20000, 20012, never},
    {"both sides of a block's edge", 30 * blockSectors - 2, 30 * blockSectors + 2, never},
    {"heals when its block has failed", 40 * blockSectors + 7, 40 * blockSectors + 8, 1},
    {"heals on its second try alone", 50 * blockSectors + 900, 50 * blockSectors + 901, 3},
    {"the last sector", sectors - 1, sectors, never},
};

// What the disk holds: never the fill byte, so that a byte tells by itself where it comes from.
unsigned char DiskByte(std::int64_t position) {
  auto mixed = static_cast<std::uint64_t>(position) * 0x9E3779B97F4A7C15u;
  mixed = (mixed ^ mixed >> 29) * 0xBF58476D1CE4E5B9u;
  const auto byte = static_cast<unsigned char>(mixed >> 56);
  return byte == fill ? 0 : byte;
}

class CDemo {
 public:
  CDemo(const char* tool, const char* shim, const char* folder)
      : tool_(fs::absolute(tool)), shim_(fs::absolute(shim)), folder_(fs::absolute(folder)) {}

  bool Show() {
    MakeDisk();
    return RunTool() && ShowLog() && JudgeImage();
  }

 private:
  fs::path Disk() const { return folder_ / "disk"; }
  fs::path Image() const { return folder_ / "image"; }
  fs::path Log() const { return folder_ / "tolk.log"; }
  fs::path Plan() const { return folder_ / "faults.plan"; }

  void MakeDisk() const {
    fs::remove_all(folder_);
    fs::create_directories(folder_);
    std::string content(diskSize, '\0');
    for (std::int64_t position = 0; position < diskSize; ++position)
      content[static_cast<std::size_t>(position)] = static_cast<char>(DiskByte(position));
    std::ofstream disk(Disk(), std::ios::binary);
    disk << content;
    std::ofstream plan(Plan());
    // Slow enough for the progress line to be seen.
    plan << "file disk " << Disk().string() << "\nslow read 4000\n";
    for (const DAMAGE& damage : damages) {
      plan << "bad " << damage.first * sectorSize << ' ' << damage.last * sectorSize;
      if (!damage.IsLost()) plan << " first " << damage.failures;
      plan << '\n';
    }
    disk.close();
    plan.close();
    if (!disk || !plan) throw std::runtime_error("cannot write to " + folder_.string());
  }

  bool RunTool() const {
    TestSupport::RUNSPEC run;
    run.command = {tool_,
                   "-from:" + Disk().string(),
                   "-to:" + Image().string(),
                   "-sector:512",
                   "-retry:1",
                   "-fill:0xEE",
                   "-cooldown:1/1",
                   "-logfile:" + Log().string()};
    run.answers = {{"continue? press [y/N]:", "y"}};
    run.environment = {{"LD_PRELOAD", shim_}, {"TOLK_FAULT_PLAN", Plan()}, {"TOLK_CLOCK_RATE", "20"}};
    run.onScreen = [](std::string_view bytes) { std::cout << bytes << std::flush; };

    std::cout << "A disk of 64 MiB with bad sectors, and what the operator sees; the prompt is answered with "
                 "\"y\". After each minute of work the disk gets a minute's rest; here a minute is over in a "
                 "second.\n\n$";
    for (const std::string& word : run.command)
      std::cout << ' ' << word;
    std::cout << '\n' << std::flush;
    const TestSupport::RUNRESULT result = TestSupport::RunOnTerminal(run);
    if (result.timedOut)
      std::cout << "\nWRONG: the tool did not end\n";
    else if (result.signal != 0)
      std::cout << "\nWRONG: signal " << result.signal << " ended the tool\n";
    else if (result.status != 0)
      std::cout << "\nWRONG: the tool's exit status is " << result.status << '\n';
    return !result.timedOut && result.status == 0;
  }

  bool ShowLog() const {
    const std::string log = Content(Log());
    std::cout << "The log of the run:\n" << log;
    std::int64_t lost = 0;
    for (const DAMAGE& damage : damages)
      if (damage.IsLost()) lost += damage.last - damage.first;
    std::int64_t told = 0;
    for (std::size_t at = 0; (at = log.find("failed reading sector", at)) != std::string::npos; ++at)
      ++told;
    return Verdict("it tells of each lost sector", told == lost);
  }

  bool JudgeImage() const {
    std::cout << "The image, byte by byte:\n";
    const std::string image = Content(Image());
    bool isGood = Verdict("its size is the disk's", static_cast<std::int64_t>(image.size()) == diskSize);
    if (!isGood) return false;
    std::int64_t healthyFrom = 0;
    std::int64_t healthyWrong = 0;
    for (const DAMAGE& damage : damages) {
      healthyWrong += WrongBytes(image, healthyFrom, damage.first, false);
      healthyFrom = damage.last;
      const std::string text = std::string(damage.what) + ", " + Name(damage) + ": " +
                               (damage.IsLost() ? "the fill byte, and nothing else" : "read in the end");
      isGood &= Verdict(text, WrongBytes(image, damage.first, damage.last, damage.IsLost()) == 0);
    }
    healthyWrong += WrongBytes(image, healthyFrom, sectors, false);
    isGood &= Verdict("everything else equals the disk", healthyWrong == 0);
    const std::string disk = Content(Disk());
    isGood &= Verdict("the disk itself is as it was",
                      disk.size() == image.size() && WrongBytes(disk, 0, sectors, false) == 0);
    std::cout << (isGood ? "All as planned." : "NOT as planned.") << " What the run made stays in "
              << folder_.string() << '\n';
    return isGood;
  }

  static std::string Name(const DAMAGE& damage) {
    if (damage.last - damage.first == 1) return "sector " + std::to_string(damage.first);
    return "sectors " + std::to_string(damage.first) + " to " + std::to_string(damage.last - 1);
  }

  static bool Verdict(const std::string& what, bool isGood) {
    std::cout << (isGood ? "  ok     " : "  WRONG  ") << what << '\n';
    return isGood;
  }

  static std::string Content(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // Bytes of sectors `first` to `last` - 1 that are not what they should be.
  static std::int64_t WrongBytes(const std::string& image, std::int64_t first, std::int64_t last,
                                 bool isLost) {
    std::int64_t wrong = 0;
    for (std::int64_t position = first * sectorSize; position < last * sectorSize; ++position) {
      const auto byte = static_cast<unsigned char>(image[static_cast<std::size_t>(position)]);
      wrong += byte != (isLost ? fill : DiskByte(position));
    }
    return wrong;
  }

  fs::path tool_;
  fs::path shim_;
  fs::path folder_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: tolk_demo TOOL FAULT_SHIM FOLDER\n";
    return 2;
  }
  try {
    return CDemo(argv[1], argv[2], argv[3]).Show() ? 0 : 1;
  } catch (const std::exception& failure) {
    std::cerr << "tolk_demo: " << failure.what() << '\n';
    return 1;
  }
}
