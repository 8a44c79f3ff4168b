// A tree of keys in memory against nested maps of the standard library: memory for a value, lookups by path, and how the
// cost of writing, reading, saving and opening grows with the number of values. Each tree is made anew in each round.
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <qorv/registry.h>

namespace {

using Clock = std::chrono::steady_clock;
using namespace Qorv;

struct NODE {
  std::map<std::string, std::variant<std::uint32_t, std::uint64_t, double, bool, std::string>> values;
  std::map<std::string, NODE> subkeys;
};

// A hundred values in each key, keys three deep.
constexpr int valuesPerKey = 100;
constexpr int width = 20;

std::string PathOf(int key) {
  char path[64];
  std::snprintf(path, sizeof(path), "group%03d\\set%03d\\key%05d", key % width, key / width % width, key);
  return path;
}

std::string NameOf(int value) {
  char name[32];
  std::snprintf(name, sizeof(name), "value%05d", value);
  return name;
}

std::vector<std::string> MakePaths(int values) {
  std::vector<std::string> paths;
  for (int key = 0; key < std::max(1, values / valuesPerKey); ++key)
    paths.push_back(PathOf(key));
  return paths;
}

struct NAMES {
  std::vector<std::string> paths;
  std::vector<std::string> values;
};

NAMES MakeNames(int values) {
  NAMES names{MakePaths(values), {}};
  for (int value = 0; value < valuesPerKey; ++value)
    names.values.push_back(NameOf(value));
  return names;
}

void Build(CFakeRegistry& tree, const NAMES& names) {
  for (const std::string& path : names.paths) {
    CFakeRegistry key = tree.GainSubkey(path);
    for (std::uint32_t i = 0; i < names.values.size(); ++i)
      key.WriteValue(names.values[i], i);
  }
}

NODE& Gain(NODE& root, std::string_view path) {
  NODE* node = &root;
  for (;;) {
    const std::size_t end = path.find('\\');
    node = &node->subkeys[std::string(path.substr(0, end))];
    if (end == std::string_view::npos) return *node;
    path.remove_prefix(end + 1);
  }
}

void Build(NODE& root, const NAMES& names) {
  for (const std::string& path : names.paths) {
    NODE& key = Gain(root, path);
    for (std::uint32_t i = 0; i < names.values.size(); ++i)
      key.values[names.values[i]] = i;
  }
}

std::uint32_t Find(CFakeRegistry& tree, const std::string& path, const std::string& name) {
  std::uint32_t value = 0;
  tree.ObtainSubkey(path).ReadValue(name, value);
  return value;
}

std::uint32_t Find(const NODE& root, std::string_view path, const std::string& name) {
  const NODE* node = &root;
  for (;;) {
    const std::size_t end = path.find('\\');
    node = &node->subkeys.find(std::string(path.substr(0, end)))->second;
    if (end == std::string_view::npos) break;
    path.remove_prefix(end + 1);
  }
  return std::get<std::uint32_t>(node->values.find(name)->second);
}

std::size_t HeapBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

template <class Step>
double NanosecondsOf(int count, Step step) {
  const Clock::time_point start = Clock::now();
  step();
  return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / count;
}

struct SCORE {
  double bytes = 0;  // for a value
  double build = 1e9;
  double find = 1e9;
  double save = 1e9;
  double open = 1e9;
};

template <class Tree>
void Run(SCORE& score, const NAMES& names) {
  const int values = static_cast<int>(names.paths.size()) * valuesPerKey;
  const std::size_t before = HeapBytes();
  Tree tree;
  score.build = std::min(score.build, NanosecondsOf(values, [&] { Build(tree, names); }));
  score.bytes = static_cast<double>(HeapBytes() - before) / values;
  constexpr int lookups = 300000;
  std::mt19937 random(3);
  std::uint64_t sum = 0;
  score.find = std::min(score.find, NanosecondsOf(lookups, [&] {
                          for (int i = 0; i < lookups; ++i)
                            sum += Find(tree, names.paths[random() % names.paths.size()],
                                        names.values[random() % valuesPerKey]);
                        }));
  if (sum == 0) std::abort();
  if constexpr (std::is_same_v<Tree, CFakeRegistry>) {
    byteEx image;
    score.save = std::min(score.save, NanosecondsOf(values, [&] { tree.Save(image); }));
    CFakeRegistry again;
    score.open =
        std::min(score.open, NanosecondsOf(values, [&] { again.Open(image.data(), image.length()); }));
  }
}

}  // namespace

int main() {
  std::printf("%10s  %28s  %28s  %20s\n", "", "bytes a value", "ns a value", "ns a lookup by path");
  std::printf("%10s  %8s %8s %10s  %6s %6s %7s %7s  %6s %6s %6s\n", "values", "registry", "maps", "ratio",
              "build", "maps", "save", "open", "ours", "maps", "ratio");
  for (const int values : {1000, 10000, 100000, 1000000, 10000000}) {
    const NAMES names = MakeNames(values);
    SCORE ours;
    SCORE theirs;
    // The least of the rounds counts: a small tree, whose rounds are short, can have more of them.
    const int rounds = values > 1000000 ? 2 : values > 100000 ? 5 : 25;
    for (int round = 0; round < rounds; ++round) {
      Run<CFakeRegistry>(ours, names);
      Run<NODE>(theirs, names);
    }
    std::printf("%10d  %8.1f %8.1f %10.2f  %6.1f %6.1f %7.1f %7.1f  %6.1f %6.1f %6.2f\n", values, ours.bytes,
                theirs.bytes, ours.bytes / theirs.bytes, ours.build, theirs.build, ours.save, ours.open,
                ours.find, theirs.find, ours.find / theirs.find);
  }
  return 0;
}
