// The strings against what their time is set by: the system's scan for an element, and the standard parser.
#include <benchmark/benchmark.h>

#include <charconv>
#include <cstring>
#include <string>
#include <vector>

#include <qorv/string.h>

namespace {

using Qorv::RANGE;
using Qorv::stringEx;

// A megabyte with a comma after every `field` elements.
stringEx Fields(std::int64_t field) {
  stringEx text;
  text.append(1 << 20, 'x');
  std::string copy(text);
  for (std::size_t i = static_cast<std::size_t>(field); i < copy.size();
       i += static_cast<std::size_t>(field) + 1)
    copy[i] = ',';
  return stringEx(copy);
}

void BM_Copy(benchmark::State& state) {
  stringEx text;
  text.append(static_cast<std::uint64_t>(state.range(0)), 'x');
  for (auto _ : state) {
    stringEx copy(text);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_Copy)->Arg(10)->Arg(1 << 20);

// What split and replace are measured by: the same hits, found by the bare scan.
void BM_Scan(benchmark::State& state) {
  const stringEx text = Fields(state.range(0));
  for (auto _ : state) {
    const char* at = text.begin();
    while ((at = static_cast<const char*>(std::memchr(at, ',', static_cast<std::size_t>(text.end() - at))))) {
      benchmark::DoNotOptimize(at);
      ++at;
    }
  }
}

void BM_Split(benchmark::State& state) {
  const stringEx text = Fields(state.range(0));
  std::vector<RANGE> ranges;
  for (auto _ : state) {
    text.split(",", ranges);
    benchmark::DoNotOptimize(ranges.data());
  }
}

// By a text as long, on a string with a buffer of its own.
void BM_Replace(benchmark::State& state) {
  stringEx text = Fields(state.range(0));
  char from = ',';
  char to = ';';
  for (auto _ : state) {
    text.replace({&from, 1}, {&to, 1});
    std::swap(from, to);
    benchmark::DoNotOptimize(text.data());
  }
}

// By a longer and a shorter text, on a shared string.
void BM_ReplaceLonger(benchmark::State& state) {
  const stringEx text = Fields(state.range(0));
  for (auto _ : state)
    benchmark::DoNotOptimize(text.replace_copy(",", "::"));
}

void BM_ReplaceShorter(benchmark::State& state) {
  const stringEx text = Fields(state.range(0));
  for (auto _ : state)
    benchmark::DoNotOptimize(text.replace_copy(",", ""));
}

BENCHMARK(BM_Scan)->Arg(8)->Arg(64)->Arg(1024)->Arg(1 << 21);
BENCHMARK(BM_Split)->Arg(8)->Arg(64)->Arg(1024)->Arg(1 << 21);
BENCHMARK(BM_Replace)->Arg(8)->Arg(64)->Arg(1024)->Arg(1 << 21);
BENCHMARK(BM_ReplaceLonger)->Arg(8)->Arg(64)->Arg(1024)->Arg(1 << 21);
BENCHMARK(BM_ReplaceShorter)->Arg(8)->Arg(64)->Arg(1024)->Arg(1 << 21);

// By the number of digits.
void BM_ToInt64(benchmark::State& state) {
  const stringEx text(std::string(static_cast<std::size_t>(state.range(0)), '7'));
  for (auto _ : state)
    benchmark::DoNotOptimize(text.to_int64(10));
}

void BM_FromChars(benchmark::State& state) {
  const stringEx text(std::string(static_cast<std::size_t>(state.range(0)), '7'));
  for (auto _ : state) {
    std::int64_t value = 0;
    std::from_chars(text.begin(), text.end(), value);
    benchmark::DoNotOptimize(value);
  }
}

BENCHMARK(BM_ToInt64)->Arg(1)->Arg(6)->Arg(12)->Arg(18);
BENCHMARK(BM_FromChars)->Arg(1)->Arg(6)->Arg(12)->Arg(18);

}  // namespace

BENCHMARK_MAIN();
