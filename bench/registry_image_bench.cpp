// A tree of a million values in ten thousand keys to its image and back, in memory and in a file, against the same content
// written as JSON from a library's own tree and parsed into one. Each tree is made anew in each round and goes outside the
// time taken.
#include <unistd.h>

#ifdef BENCH_RAPIDJSON
#include <rapidjson/document.h>
#include <rapidjson/filereadstream.h>
#include <rapidjson/filewritestream.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#endif
#ifdef BENCH_SIMDJSON
#include <simdjson.h>
#endif

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <qorv/registry.h>

namespace {

using Clock = std::chrono::steady_clock;
using namespace Qorv;

constexpr int keyCount = 10000;
constexpr int valuesPerKey = 100;
constexpr int rounds = 10;

enum class KIND { dword, qword, real, flag, text };

struct VALUE {
  std::string name;
  KIND kind;
  std::uint64_t number;
  double real;
  std::string text;
};

struct KEY {
  std::string name;
  std::vector<VALUE> values;
};

std::string Name(const char* kind, int number) {
  char name[32];
  std::snprintf(name, sizeof(name), "%s%05d", kind, number);
  return name;
}

std::vector<KEY> MakeContent() {
  std::mt19937_64 random(1);
  std::vector<KEY> keys(keyCount);
  for (int k = 0; k < keyCount; ++k) {
    keys[static_cast<std::size_t>(k)].name = Name("key", k);
    for (int v = 0; v < valuesPerKey; ++v) {
      VALUE value{Name("value", v), static_cast<KIND>(random() % 5), random(), 0, {}};
      value.real = static_cast<double>(random() % 1000000) / 1000;
      value.text.assign(1 + random() % 24, 'x');
      keys[static_cast<std::size_t>(k)].values.push_back(value);
    }
  }
  return keys;
}

CFakeRegistry OurTree(const std::vector<KEY>& content) {
  CFakeRegistry tree;
  for (const KEY& key : content) {
    CFakeRegistry subkey = tree.GainSubkey(std::string_view(key.name));
    for (const VALUE& value : key.values) {
      const std::string_view name = value.name;
      switch (value.kind) {
        case KIND::dword:
          subkey.WriteValue(name, static_cast<std::uint32_t>(value.number));
          break;
        case KIND::qword:
          subkey.WriteValue(name, value.number);
          break;
        case KIND::real:
          subkey.WriteValue(name, value.real);
          break;
        case KIND::flag:
          subkey.WriteValue(name, value.number % 2 == 0);
          break;
        case KIND::text:
          subkey.WriteValue(name, stringEx(std::string_view(value.text)));
          break;
      }
    }
  }
  return tree;
}

double MillisecondsOf(const std::function<void()>& step) {
  const Clock::time_point start = Clock::now();
  step();
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

struct TIMES {
  double write = 1e9;
  double read = 1e9;
  double Sum() const { return write + read; }
};

void Take(double& least, const std::function<void()>& step) {
  least = std::min(least, MillisecondsOf(step));
}

void Check(bool isWell, const char* what) {
  if (!isWell) throw std::runtime_error(what);
}

struct SCORES {
  TIMES memory;
  TIMES file;
  std::size_t bytes = 0;
};

void Print(const char* name, const SCORES& scores) {
  std::printf(
      "%-10s %5.1f MB   memory: write %6.1f  read %6.1f  both %6.1f   file: write %6.1f  read %6.1f  both "
      "%6.1f\n",
      name, static_cast<double>(scores.bytes) / 1e6, scores.memory.write, scores.memory.read,
      scores.memory.Sum(), scores.file.write, scores.file.read, scores.file.Sum());
}

void RunOurs(SCORES& scores, CFakeRegistry& tree, const stringEx& path) {
  byteEx image;
  Take(scores.memory.write, [&] { tree.Save(image); });
  scores.bytes = image.length();
  {
    CFakeRegistry read;
    Take(scores.memory.read, [&] { read.Open(image.data(), image.length()); });
    Check(read.GetSubkeyCount() == keyCount, "the tree has other keys");
  }
  Take(scores.file.write, [&] { tree.Save(path); });
  CFakeRegistry read;
  Take(scores.file.read, [&] { read.Open(path); });
  Check(read.GetSubkeyCount() == keyCount, "the tree has other keys");
}

#ifdef BENCH_RAPIDJSON
rapidjson::Value TheirText(const std::string& text, rapidjson::Document& tree) {
  return rapidjson::Value(text.data(), static_cast<rapidjson::SizeType>(text.size()), tree.GetAllocator());
}

rapidjson::Value TheirValue(const VALUE& value, rapidjson::Document& tree) {
  switch (value.kind) {
    case KIND::dword:
      return rapidjson::Value(static_cast<std::uint32_t>(value.number));
    case KIND::qword:
      return rapidjson::Value(value.number);
    case KIND::real:
      return rapidjson::Value(value.real);
    case KIND::flag:
      return rapidjson::Value(value.number % 2 == 0);
    case KIND::text:
      break;
  }
  return TheirText(value.text, tree);
}

void BuildTheirs(rapidjson::Document& tree, const std::vector<KEY>& content) {
  tree.SetObject();
  for (const KEY& key : content) {
    rapidjson::Value object(rapidjson::kObjectType);
    for (const VALUE& value : key.values)
      object.AddMember(TheirText(value.name, tree), TheirValue(value, tree), tree.GetAllocator());
    tree.AddMember(TheirText(key.name, tree), object, tree.GetAllocator());
  }
}

// From memory the quicker of its two ways: over the text itself, which it spoils.
void RunRapidJson(SCORES& scores, const rapidjson::Document& tree, const std::string& path) {
  rapidjson::StringBuffer text;
  Take(scores.memory.write, [&] {
    rapidjson::Writer<rapidjson::StringBuffer> writer(text);
    tree.Accept(writer);
  });
  scores.bytes = text.GetSize();
  {
    std::string copy(text.GetString(), text.GetSize());
    rapidjson::Document read;
    Take(scores.memory.read, [&] { read.ParseInsitu(copy.data()); });
    Check(!read.HasParseError() && read.MemberCount() == keyCount, "the JSON tree has other keys");
  }
  std::vector<char> buffer(65536);
  Take(scores.file.write, [&] {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    rapidjson::FileWriteStream stream(file, buffer.data(), buffer.size());
    rapidjson::Writer<rapidjson::FileWriteStream> writer(stream);
    tree.Accept(writer);
    stream.Flush();
    fsync(fileno(file));  // as Save does
    std::fclose(file);
  });
  rapidjson::Document read;
  Take(scores.file.read, [&] {
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    rapidjson::FileReadStream stream(file, buffer.data(), buffer.size());
    read.ParseStream(stream);
    std::fclose(file);
  });
  Check(!read.HasParseError() && read.MemberCount() == keyCount, "the JSON tree has other keys");
}
#endif

}  // namespace

int main() {
  const std::vector<KEY> content = MakeContent();
  const std::string path =
      std::filesystem::temp_directory_path() / ("registry_image_bench." + std::to_string(getpid()));
  SCORES ours;
  CFakeRegistry tree = OurTree(content);
#ifdef BENCH_RAPIDJSON
  SCORES rapid;
  rapidjson::Document theirs;
  BuildTheirs(theirs, content);
#endif
#if defined(BENCH_SIMDJSON) && defined(BENCH_RAPIDJSON)
  double simdRead = 1e9;
  rapidjson::StringBuffer text;
  rapidjson::Writer<rapidjson::StringBuffer> writer(text);
  theirs.Accept(writer);
#endif
  for (int round = 0; round < rounds; ++round) {
    RunOurs(ours, tree, stringEx(std::string_view(path)));
#ifdef BENCH_RAPIDJSON
    RunRapidJson(rapid, theirs, path);
#endif
#if defined(BENCH_SIMDJSON) && defined(BENCH_RAPIDJSON)
    const simdjson::padded_string padded(text.GetString(), text.GetSize());
    simdjson::dom::parser parser;
    Take(simdRead, [&] { Check(parser.parse(padded).error() == simdjson::SUCCESS, "no JSON"); });
#endif
  }
  std::filesystem::remove(path);
  std::printf("%d values in %d keys, least of %d rounds, ms\n", keyCount * valuesPerKey, keyCount, rounds);
  Print("registry", ours);
#ifdef BENCH_RAPIDJSON
  Print("rapidjson", rapid);
#ifdef BENCH_SIMDJSON
  std::printf("simdjson              memory:               read %6.1f  (it only reads)\n", simdRead);
#endif
  std::printf("rapidjson's time in parts of the registry's: memory %.2f  file %.2f\n",
              rapid.memory.Sum() / ours.memory.Sum(), rapid.file.Sum() / ours.file.Sum());
#endif
  return 0;
}
