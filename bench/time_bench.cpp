// A log line's time by the library and by the C library, each as the quickest of many rounds, and the ratio.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <iterator>
#include <limits>

#include <qorv/time.h>

namespace {

constexpr int linesPerRound = 100000;
constexpr int rounds = 40;
constexpr std::int64_t start = 1700000000000000;
constexpr std::int64_t step = 1234567;

std::size_t written = 0;  // keeps the work from being dropped

void Library() {
  const Qorv::stringEx format = Qorv::stringEx::view("[%Y-%M-%d %H:%T:%S.%us UTC%Z][");
  Qorv::stringEx line;
  for (int i = 0; i < linesPerRound; ++i) {
    line.clear();
    Qorv::CTime(start + i * step).Format(line, format);
    written += line.length();
  }
}

tm Local(std::int64_t time) {
  const std::time_t seconds = time / 1000000;
  tm fields;
  localtime_r(&seconds, &fields);
  return fields;
}

// Without the microseconds, which strftime does not know.
void System() {
  char line[64];
  for (int i = 0; i < linesPerRound; ++i) {
    const tm fields = Local(start + i * step);
    written += std::strftime(line, sizeof(line), "[%Y-%m-%d %H:%M:%S UTC%z][", &fields);
  }
}

// The same text as the library's.
void SystemWithMicroseconds() {
  char line[64];
  for (int i = 0; i < linesPerRound; ++i) {
    const std::int64_t time = start + i * step;
    const tm fields = Local(time);
    std::size_t used = std::strftime(line, sizeof(line), "[%Y-%m-%d %H:%M:%S", &fields);
    used += static_cast<std::size_t>(
        std::snprintf(line + used, sizeof(line) - used, ".%06d", static_cast<int>(time % 1000000)));
    written += used + std::strftime(line + used, sizeof(line) - used, " UTC%z][", &fields);
  }
}

double Nanoseconds(void (*work)()) {
  const auto before = std::chrono::steady_clock::now();
  work();
  const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - before;
  return taken.count() / linesPerRound;
}

}  // namespace

int main() {
  const struct {
    const char* name;
    void (*work)();
  } contestants[] = {{"CTime::Format", Library},
                     {"localtime_r, strftime, whole seconds", System},
                     {"localtime_r, strftime, snprintf, the same text", SystemWithMicroseconds}};
  double quickest[std::size(contestants)];
  std::fill(std::begin(quickest), std::end(quickest), std::numeric_limits<double>::max());
  for (int round = 0; round < rounds; ++round)  // in turns, so that all see the same machine
    for (std::size_t i = 0; i < std::size(contestants); ++i)
      quickest[i] = std::min(quickest[i], Nanoseconds(contestants[i].work));
  for (std::size_t i = 0; i < std::size(contestants); ++i)
    std::printf("%-48s %7.1f ns  %5.2f times the first\n", contestants[i].name, quickest[i],
                quickest[i] / quickest[0]);
  return written == 0 ? 1 : 0;
}
