// What logging costs the caller and the logging thread: posting a record, dropping one, a file line and its time; beside
// what one would take instead, each as the quickest of many rounds.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <qorv/loggers.h>

#if defined(BENCH_SPDLOG)
#include <spdlog/async.h>
#include <spdlog/sinks/null_sink.h>
#endif

namespace {

using Qorv::CLog;
using Qorv::CTime;
using Qorv::stringEx;
using Qorv::operator""_sv;

constexpr int rounds = 15;
constexpr std::uint32_t queueLength = 100'000;
constexpr int posts = 60'000;  // in all, so that nobody waits at a full queue
constexpr int calls = 200'000;

using Clock = std::chrono::steady_clock;

double NanosecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

struct CONTESTANT {
  std::string name;
  std::function<double()> round;  // nanoseconds of one record
};

// In turns, so that all see the same machine.
void Contest(const char* title, const std::vector<CONTESTANT>& contestants) {
  std::vector<double> quickest(contestants.size(), std::numeric_limits<double>::max());
  for (int round = 0; round < rounds; ++round)
    for (std::size_t i = 0; i < contestants.size(); ++i)
      quickest[i] = std::min(quickest[i], contestants[i].round());
  std::printf("%s\n", title);
  for (std::size_t i = 0; i < contestants.size(); ++i)
    std::printf("  %-44s %8.1f ns  %5.2f times the first\n", contestants[i].name.c_str(), quickest[i],
                quickest[i] / quickest[0]);
}

// From the first post to the last, all threads together.
template <class Post>
double TimePosts(int threads, Post post) {
  const auto start = Clock::now();
  {
    std::vector<std::jthread> crowd;
    for (int i = 1; i < threads; ++i)
      crowd.emplace_back([=] { post(posts / threads); });
    post(posts / threads);
  }
  return NanosecondsSince(start) / posts;
}

class CNullLogger : public Qorv::ILogger {
  void Log(CTime, std::int32_t, const stringEx&, const stringEx&) override {}
};

// Until all is delivered where `drains`, or until all is posted.
template <class Post>
double LibraryPosts(int threads, bool drains, Post post) {
  const auto log = std::make_unique<CLog>(Qorv::logLevel::info, 4096);
  log->PushLogger(Qorv::MakeHandle<CNullLogger>());
  log->EnableThread(true, queueLength);
  const auto start = Clock::now();
  const double posting = TimePosts(threads, [&, post](int count) {
    for (int i = 0; i < count; ++i)
      post(*log, i);
  });
  log->Flush();
  return drains ? NanosecondsSince(start) / posts : posting;
}

#if defined(BENCH_SPDLOG)
template <class Post>
double OtherPosts(int threads, bool drains, Post post) {
  const auto pool = std::make_shared<spdlog::details::thread_pool>(131'072, 1);
  const auto log =
      std::make_shared<spdlog::async_logger>("trd.reader", std::make_shared<spdlog::sinks::null_sink_mt>(),
                                             pool, spdlog::async_overflow_policy::block);
  const auto start = Clock::now();
  const double posting = TimePosts(threads, [&, post](int count) {
    for (int i = 0; i < count; ++i)
      post(*log, i);
  });
  while (pool->queue_size() != 0)
    std::this_thread::yield();
  return drains ? NanosecondsSince(start) / posts : posting;
}
#endif

void ContestOfPosts(int threads, bool drains, bool isFormatted) {
  const auto plain = [](CLog& log, int) {
    log.Info("trd.reader"_sv, "a record of usual length, without numbers"_sv);
  };
  const auto formatted = [](CLog& log, int i) {
    log.Info("trd.reader", "a record of usual length, number %d", i);
  };
  std::vector<CONTESTANT> contestants{{"library", [=] {
                                         return isFormatted ? LibraryPosts(threads, drains, formatted)
                                                            : LibraryPosts(threads, drains, plain);
                                       }}};
#if defined(BENCH_SPDLOG)
  const auto otherPlain = [](spdlog::async_logger& log, int) {
    log.info("a record of usual length, without numbers");
  };
  const auto otherFormatted = [](spdlog::async_logger& log, int i) {
    log.info("a record of usual length, number {}", i);
  };
  contestants.push_back({"spdlog, asynchronous", [=] {
                           return isFormatted ? OtherPosts(threads, drains, otherFormatted)
                                              : OtherPosts(threads, drains, otherPlain);
                         }});
#endif
  const std::string title = std::string(drains ? "post and deliver " : "post ") +
                            (isFormatted ? "a formatted record, " : "a plain record, ") +
                            std::to_string(threads) + " threads";
  Contest(title.c_str(), contestants);
}

template <class Call>
double TimeCalls(Call call) {
  const auto start = Clock::now();
  for (int i = 0; i < calls; ++i)
    call(i);
  return NanosecondsSince(start) / calls;
}

void ContestOfDrops() {
  const auto text = [] { return TimeCalls([](int) { CLog::GDebug("trd.reader"_sv, "dropped"_sv); }); };
  const auto formatted = [] { return TimeCalls([](int i) { CLog::GDebug("trd.reader", "dropped %d", i); }); };
  const auto asked = [] { return TimeCalls([](int) { (void)CLog::IsLevelEnabled(Qorv::logLevel::debug); }); };
  Contest("a record without a default log", {{"text", text}, {"formatted", formatted}});
  const auto log = Qorv::MakeHandle<CLog>(Qorv::logLevel::info, 4096U);
  log->PushLogger(Qorv::MakeHandle<CNullLogger>());
  CLog::SetDefault(log);
  Contest("a record below the level", {{"text", text}, {"formatted", formatted}, {"IsLevelEnabled", asked}});
  CLog::SetDefault({});
}

constexpr std::int64_t startTime = 1'700'000'000'000'000;
constexpr std::int64_t timeStep = 37;  // microseconds from record to record

double LibraryStamps() {
  Qorv::IMPL::CLineTime stamp("[%Y-%M-%d %H:%T:%S.%us UTC%Z][");
  stringEx line;
  return TimeCalls([&](int i) {
    line.clear();
    stamp.AppendTo(line, CTime(startTime + i * timeStep));
  });
}

double FormatStamps() {
  stringEx line;
  return TimeCalls([&](int i) {
    line.clear();
    CTime(startTime + i * timeStep).Format(line, "[%Y-%M-%d %H:%T:%S.%us UTC%Z]["_sv);
  });
}

double SystemStamps() {
  char line[64];
  return TimeCalls([&](int i) {
    const std::int64_t time = startTime + i * timeStep;
    const std::time_t seconds = time / 1'000'000;
    tm fields;
    localtime_r(&seconds, &fields);
    std::size_t used = std::strftime(line, sizeof line, "[%Y-%m-%d %H:%M:%S", &fields);
    used += static_cast<std::size_t>(
        std::snprintf(line + used, sizeof line - used, ".%06d", static_cast<int>(time % 1'000'000)));
    std::strftime(line + used, sizeof line - used, " UTC%z][", &fields);
  });
}

void ContestOfLines() {
  const stringEx message(std::string(60, 'm').c_str());
  const std::string line(60 + 69, 'm');
  Qorv::CSysFile file;
  file.Open("/dev/null", O_WRONLY, 0, 0, 0, 0);
  Qorv::CFileLogger<Qorv::CSysFile> logger(file);
  Contest("a line of a file, without the file system",
          {{"library",
            [&] {
              return TimeCalls([&](int i) {
                logger.Log(CTime(startTime + i * timeStep), Qorv::logLevel::info, "trd.reader"_sv, message);
              });
            }},
           {"the system call alone", [&] {
              return TimeCalls([&](int) {
                if (::write(static_cast<int>(file.GetSysHandle()), line.data(), line.size()) < 0)
                  std::abort();
              });
            }}});
}

}  // namespace

int main() {
  for (const bool isFormatted : {false, true})
    for (const bool drains : {false, true})
      for (const int threads : {1, 4})
        ContestOfPosts(threads, drains, isFormatted);
  ContestOfDrops();
  Contest("the time of a line", {{"kept by the second", LibraryStamps},
                                 {"CTime::Format", FormatStamps},
                                 {"localtime_r, strftime", SystemStamps}});
  ContestOfLines();
}
