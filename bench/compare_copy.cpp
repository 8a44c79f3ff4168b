// Compares the tool with what an operator would take instead, and measures what it promises about memory and
// about the cost of a bad sector. See Usage.
#include <sys/utsname.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <thread>

#include "contest.h"

namespace fs = std::filesystem;
using namespace Bench;

namespace {

constexpr unsigned char fill = 0xEE;
constexpr std::string_view toolName = "tolk";

struct OPTIONS {
  std::vector<std::string> scenarios;  // empty: all
  std::int64_t healthySize = 2048 * mebibyte;
  std::int64_t faultySize = 256 * mebibyte;
  int rounds = 5;
  bool isNewTarget = false;
  fs::path memory = "/dev/shm";
  fs::path disk = "/var/tmp";
};

// Where the shell would find a program; empty if nowhere.
std::string FindProgram(const std::string& name) {
  const char* path = std::getenv("PATH");
  std::istringstream folders(path != nullptr ? path : "/usr/bin:/bin");
  for (std::string folder; std::getline(folders, folder, ':');) {
    const fs::path program = fs::path(folder) / name;
    std::error_code failure;
    if (fs::is_regular_file(program, failure)) return program;
  }
  return {};
}

CONTESTANT Tool(const CGround& ground, const std::vector<std::string>& more = {}) {
  CONTESTANT tool{std::string(toolName),
                  {TOLK_BINARY, "-from:" + ground.Source(), "-to:" + ground.Target(),
                   "-sector:" + std::to_string(sectorSize), "-fill:" + std::to_string(fill),
                   "-logfile:" + (ground.Folder() / "tolk.log").string()}};
  tool.command.insert(tool.command.end(), more.begin(), more.end());
  for (const std::string& option : more)
    tool.name += ' ' + option;
  return tool;
}

// Adds a rival where it is installed. Its name shows the options.
void AddRival(std::vector<CONTESTANT>& contestants, const std::string& program,
              const std::vector<std::string>& options, const std::vector<std::string>& operands) {
  CONTESTANT rival{program, {FindProgram(program)}};
  if (rival.command.front().empty()) {
    std::cerr << program << " is not installed and left out\n";
    return;
  }
  for (const std::string& option : options)
    rival.name += ' ' + option;
  rival.command.insert(rival.command.end(), options.begin(), options.end());
  rival.command.insert(rival.command.end(), operands.begin(), operands.end());
  contestants.push_back(std::move(rival));
}

void AddCopiers(std::vector<CONTESTANT>& contestants, const CGround& ground) {
  const std::vector<std::string> operands = {"if=" + ground.Source(), "of=" + ground.Target(), "conv=notrunc",
                                             "status=none"};
  AddRival(contestants, "dd", {"bs=1M"}, operands);
  AddRival(contestants, "dd", {"bs=1M", "iflag=direct"}, operands);
}

struct RESCUER {
  std::string program;
  std::vector<std::string> options;
};

void AddRescuers(std::vector<CONTESTANT>& contestants, const CGround& ground,
                 const std::vector<RESCUER>& rescuers) {
  for (const RESCUER& rescuer : rescuers)
    AddRival(contestants, rescuer.program, rescuer.options, {ground.Source(), ground.Target()});
}

std::function<std::int64_t(const CONTESTANT&)> Judge(const CGround& ground, const BADSECTORS& bad) {
  return [&ground, bad](const CONTESTANT& contestant) {
    const bool isTool = contestant.name.starts_with(toolName);
    return ground.WrongBytes(bad, isTool ? std::optional(fill) : std::nullopt);
  };
}

// Scenarios

void PrepareTarget(const CGround& ground, const OPTIONS& options) {
  options.isNewTarget ? ground.RemoveTarget() : ground.SpoilTarget();
}

void CompareInMemory(const OPTIONS& options) {
  const CGround ground(options.memory, options.healthySize);
  CONTEST contest{
      {Tool(ground)}, ground.Folder(), [&] { PrepareTarget(ground, options); }, {}, Judge(ground, {})};
  AddCopiers(contest.contestants, ground);
  AddRescuers(contest.contestants, ground,
              {{"ddrescue", {"-f"}}, {"ddrescue", {"-f", "-c", "2048"}}, {"safecopy", {"-b", "1048576"}}});
  PrintScores(std::cout, RunContest(contest, options.rounds));
}

void CompareOnDisk(const OPTIONS& options) {
  const CGround ground(options.disk, options.healthySize);
  CONTEST contest{{Tool(ground)}, ground.Folder(), {}, [&] { ground.SyncTarget(); }, Judge(ground, {})};
  contest.prepare = [&] {
    PrepareTarget(ground, options);
    ground.DropCaches();
  };
  AddCopiers(contest.contestants, ground);
  AddRescuers(contest.contestants, ground,
              {{"ddrescue", {"-f", "-d", "-c", "2048"}}, {"safecopy", {"-b", "1048576", "--sync"}}});
  PrintScores(std::cout, RunContest(contest, options.rounds));
}

void CompareFaulty(const OPTIONS& options, std::int64_t badSectors) {
  const CGround ground(options.memory, options.faultySize);
  const BADSECTORS bad = Scattered(badSectors, ground.Size());
  CONTEST contest{{Tool(ground), Tool(ground, {"-block:64k"})},
                  ground.Folder(),
                  [&] { PrepareTarget(ground, options); },
                  {},
                  Judge(ground, bad)};
  // As they come, and with the options that make each quickest at this without losing good sectors.
  AddRescuers(contest.contestants, ground,
              {{"ddrescue", {"-f"}},
               {"ddrescue", {"-f", "-c", "16"}},
               {"safecopy", {"-b", "512", "-f", "512", "-R", "0", "-Z", "0", "-L", "0"}}});
  for (CONTESTANT& contestant : contest.contestants)
    contestant.environment = ground.Faults("faults", bad);
  PrintScores(std::cout, RunContest(contest, options.rounds));
}

void CompareFewFaults(const OPTIONS& options) {
  CompareFaulty(options, 100);
}
void CompareManyFaults(const OPTIONS& options) {
  CompareFaulty(options, 2000);
}

// "  max. buffer  = 256 blocks" on the screen.
std::int64_t QueueLimit(const std::string& screen) {
  constexpr std::string_view label = "max. buffer  = ";
  const std::size_t found = screen.find(label);
  if (found == std::string::npos) throw std::runtime_error("the tool told no queue limit:\n" + screen);
  return std::stoll(screen.substr(found + label.size()));
}

void MeasureMemory(const OPTIONS& options) {
  const struct {
    std::vector<std::string> queue;  // option
    std::int64_t writeDelay;         // microseconds
    std::int64_t badSectors;
  } rows[] = {{{"-maxbuf:1m"}, 0, 0},
              {{"-maxbuf:1m"}, 15000, 0},
              {{"-maxbuf:16m"}, 15000, 0},
              {{"-maxbuf:16m"}, 1000, 2000},
              {{}, 0, 0},
              {{}, 15000, 0},
              {{}, 0, 2000}};
  const CGround ground(options.memory, 2 * options.faultySize);
  std::cout << "| program | each write takes longer by, ms | bad sectors | peak, MiB | limit, MiB |\n"
               "|---|---|---|---|---|\n";
  for (const auto& row : rows) {
    ground.RemoveTarget();
    CONTESTANT tool = Tool(ground, row.queue);
    const BADSECTORS bad = Scattered(row.badSectors, ground.Size());
    tool.environment = ground.Faults("memory", bad, "slow write " + std::to_string(row.writeDelay));
    const COST cost = RunOnce(tool, ground.Folder());
    if (Judge(ground, bad)(tool) != 0) throw std::runtime_error("the image is wrong");
    const std::int64_t limit = (QueueLimit(cost.screen) + 2) * (mebibyte + sectorSize) + 16 * mebibyte;
    std::cout << "| " << tool.name << " | " << Fixed(static_cast<double>(row.writeDelay) / 1000, 0) << " | "
              << row.badSectors << " | " << Fixed(static_cast<double>(cost.peakMemory) / mebibyte, 1) << " | "
              << Fixed(static_cast<double>(limit) / mebibyte, 1) << " |\n";
  }
  std::cout << std::endl;
}

void MeasureSectorCost(const OPTIONS& options) {
  const CGround ground(options.memory, options.faultySize);
  const struct {
    const char* name;
    BADSECTORS bad;
  } rows[] = {{"healthy", {}},
              {"2000 scattered", Scattered(2000, ground.Size())},
              {"20000 in one run", InOneRun(20000, ground.Size())}};
  std::cout << "| unreadable sectors | wall, s | processor, s | processor for each, microseconds "
               "|\n|---|---|---|---|\n";
  double healthy = 0;
  for (const auto& row : rows) {
    CONTESTANT tool = Tool(ground);
    tool.environment = ground.Faults("cost", row.bad);
    const CONTEST contest{
        {tool}, ground.Folder(), [&] { PrepareTarget(ground, options); }, {}, Judge(ground, row.bad)};
    const SCORE score = RunContest(contest, options.rounds).front();
    if (score.Largest(&COST::wrongBytes) != 0) throw std::runtime_error("the image is wrong");
    const double processor = score.Minimum(&COST::processor);
    std::cout << "| " << row.name << " | " << Fixed(score.Minimum(&COST::wall), 3) << " | "
              << Fixed(processor, 3) << " | ";
    if (row.bad.empty()) {
      healthy = processor;
    } else {
      std::cout << Fixed((processor - healthy) / static_cast<double>(row.bad.size()) * 1e6, 1);
    }
    std::cout << " |\n";
  }
  std::cout << std::endl;
}

struct SCENARIO {
  std::string_view name;
  std::string_view title;
  void (*run)(const OPTIONS&);
};

constexpr SCENARIO scenarios[] = {
    {"memory", "Healthy source, memory file system to memory file system", CompareInMemory},
    {"disk", "Healthy source, disk to disk, nothing cached, in the end the target is on the disk",
     CompareOnDisk},
    {"faulty-100", "100 scattered bad sectors, memory file system to memory file system", CompareFewFaults},
    {"faulty-2000", "2000 scattered bad sectors, memory file system to memory file system",
     CompareManyFaults},
    {"peak", "Peak memory", MeasureMemory},
    {"sector", "Processor time of an unreadable sector", MeasureSectorCost},
};

// Command line

void Usage(std::ostream& out) {
  out << "usage: compare_copy [OPTION]... [SCENARIO]...\n"
         "  --rounds=N      runs that count, for each program (5)\n"
         "  --healthy=MIB   size of a healthy source (2048)\n"
         "  --faulty=MIB    size of a faulty source (256)\n"
         "  --new-target    the target does not exist before; else it does, full of something else\n"
         "  --memory=DIR    a folder in memory (/dev/shm)\n"
         "  --disk=DIR      a folder on a disk (/var/tmp)\n"
         "scenarios, without which all are run:\n";
  for (const SCENARIO& scenario : scenarios)
    out << "  " << scenario.name << std::string(16 - scenario.name.size(), ' ') << scenario.title << '\n';
  out << "Every cell of times has the best and the median run. The last columns divide the tool's best and "
         "median by\n"
         "the rival's: below 1, the tool is better.\n";
}

std::int64_t Number(std::string_view text) {
  std::int64_t value = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (failure != std::errc() || end != text.data() + text.size() || value < 1)
    throw std::invalid_argument("no positive number: " + std::string(text));
  return value;
}

OPTIONS ParseOptions(const std::vector<std::string>& arguments) {
  OPTIONS options;
  for (const std::string& argument : arguments) {
    const std::string name = argument.substr(0, argument.find('='));
    const std::string value = name.size() < argument.size() ? argument.substr(name.size() + 1) : "";
    if (name == "--rounds") {
      options.rounds = static_cast<int>(Number(value));
    } else if (name == "--healthy") {
      options.healthySize = Number(value) * mebibyte;
    } else if (name == "--faulty") {
      options.faultySize = Number(value) * mebibyte;
    } else if (argument == "--new-target") {
      options.isNewTarget = true;
    } else if (name == "--memory") {
      options.memory = value;
    } else if (name == "--disk") {
      options.disk = value;
    } else if (std::ranges::find(scenarios, argument, &SCENARIO::name) != std::end(scenarios)) {
      options.scenarios.push_back(argument);
    } else {
      throw std::invalid_argument("unknown: " + argument);
    }
  }
  return options;
}

void PrintMachine() {
  utsname system{};
  uname(&system);
  std::string load;
  std::ifstream("/proc/loadavg") >> load;
  std::cout << system.sysname << ' ' << system.release << ", " << std::thread::hardware_concurrency()
            << " processors, load " << load << "\n\n";
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (std::ranges::find(arguments, "--help") != arguments.end()) {
    Usage(std::cout);
    return 0;
  }
  OPTIONS options;
  try {
    options = ParseOptions(arguments);
  } catch (const std::exception& failure) {
    std::cerr << "compare_copy: " << failure.what() << '\n';
    Usage(std::cerr);
    return 2;
  }
  try {
    PrintMachine();
    for (const SCENARIO& scenario : scenarios) {
      if (!options.scenarios.empty() &&
          std::ranges::find(options.scenarios, scenario.name) == options.scenarios.end())
        continue;
      std::cout << scenario.title << "\n\n" << std::flush;
      scenario.run(options);
    }
    return 0;
  } catch (const std::exception& failure) {
    std::cerr << "compare_copy: " << failure.what() << '\n';
    return 1;
  }
}
