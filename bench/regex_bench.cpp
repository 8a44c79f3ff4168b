// All matches in ten megabytes of log text, by the library's patterns and by other engines, each as the
// quickest of several rounds, and how they compare. Engines that were not there when this was built are left
// out.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <limits>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include <qorv/regex.h>

#ifdef BENCH_RE2
#include <re2/re2.h>
#endif
#ifdef BENCH_PCRE2
#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>
#endif
#ifdef BENCH_HYPERSCAN
#include <hs/hs.h>
#endif

namespace {

using Qorv::RANGE;

constexpr std::size_t textLength = 10 << 20;

const char* const words[] = {
    "accept",  "block",  "buffer", "cache",   "channel", "client", "close",  "connect", "copy",   "cursor",
    "daemon",  "device", "disk",   "driver",  "event",   "failed", "fetch",  "file",    "flush",  "handle",
    "header",  "image",  "index",  "input",   "kernel",  "lock",   "memory", "message", "module", "mount",
    "network", "output", "packet", "page",    "parser",  "plugin", "queue",  "read",    "record", "request",
    "retry",   "sector", "server", "session", "signal",  "socket", "stream", "thread",  "volume", "write"};

// Lines as a server writes them: a time, a place, some words. One line in ten tells of an error, one in
// twenty names an address.
std::string MakeLog() {
  std::mt19937 random(7);  // NOLINT(cert-msc51-cpp): every run shall measure the same
  const auto below = [&random](std::uint32_t limit) { return static_cast<std::uint32_t>(random() % limit); };
  std::string log;
  while (log.size() < textLength) {
    char head[64];
    std::snprintf(head, sizeof(head), "2026-11-22 %02u:%02u:%02u.%03u node%u[%u]: ", below(24), below(60),
                  below(60), below(1000), below(40), below(32768));
    log += head;
    for (std::uint32_t i = 4 + below(8); i > 0; --i) {
      log += "the ";
      for (std::uint32_t letters = 3 + below(7); letters > 0; --letters)
        log += static_cast<char>('a' + below(26));
      log += ' ';
    }
    if (below(10) == 0) log += "error 5 ";
    if (below(20) == 0) log += "from someone@example.com ";
    if (below(8) == 0) log += words[below(std::size(words))];
    log += '\n';
  }
  return log;
}

struct Case {
  const char* name;
  std::string pattern;
  bool byLine;
};

struct Engine {
  const char* name;
  std::size_t share;  // only one part in so many of the text is searched, and the time counted as often
  std::function<std::uint64_t(const Case&, const std::string&)> count;
};

std::uint64_t CountOurs(const Case& test, const std::string& text) {
  const Qorv::regexHandle regex = Qorv::regexHandle::Compile(
      test.pattern, Qorv::regexFlag::advanced | (test.byLine ? Qorv::regexFlag::newline : 0));
  Qorv::CRegexSearch<char> search(regex, text);
  std::uint64_t count = 0;
  for (RANGE match; search.Next(&match, 1);)
    count += match.length;
  return count;
}

std::uint64_t CountStandard(const Case& test, const std::string& text) {
  auto flags = std::regex::ECMAScript | std::regex::optimize;
  if (test.byLine) flags |= std::regex::multiline;
  const std::regex regex(test.pattern, flags);
  std::uint64_t count = 0;
  for (std::cregex_iterator at(text.data(), text.data() + text.size(), regex), end; at != end; ++at)
    count += static_cast<std::uint64_t>(at->length());
  return count;
}

#ifdef BENCH_RE2
std::uint64_t CountRe2(const Case& test, const std::string& text) {
  re2::RE2::Options options(re2::RE2::Latin1);
  options.set_longest_match(true);
  options.set_posix_syntax(false);
  if (test.byLine) options.set_never_nl(false);
  const re2::RE2 regex((test.byLine ? "(?m)(" : "(") + test.pattern + ")", options);
  re2::StringPiece rest(text);
  std::uint64_t count = 0;
  for (re2::StringPiece match; re2::RE2::FindAndConsume(&rest, regex, &match);)
    count += match.size();
  return count;
}
#endif

#ifdef BENCH_PCRE2
std::uint64_t CountPcre2(const Case& test, const std::string& text) {
  int error = 0;
  PCRE2_SIZE place = 0;
  pcre2_code* const code =
      pcre2_compile(reinterpret_cast<PCRE2_SPTR>(test.pattern.data()), test.pattern.size(),
                    test.byLine ? PCRE2_MULTILINE : 0, &error, &place, nullptr);
  pcre2_jit_compile(code, PCRE2_JIT_COMPLETE);
  pcre2_match_data* const data = pcre2_match_data_create(1, nullptr);
  const PCRE2_SIZE* const range = pcre2_get_ovector_pointer(data);
  std::uint64_t count = 0;
  for (PCRE2_SIZE start = 0;
       pcre2_match(code, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), start, 0, data, nullptr) > 0;
       start = range[1])
    count += range[1] - range[0];
  pcre2_match_data_free(data);
  pcre2_code_free(code);
  return count;
}
#endif

#ifdef BENCH_HYPERSCAN
// Tells of every end of every match. The longest of those with one start are counted, where the others count
// all.
std::uint64_t CountHyperscan(const Case& test, const std::string& text) {
  struct Last {
    unsigned long long from = 0;
    unsigned long long to = 0;
    std::uint64_t count = 0;
  } last;
  hs_database_t* database = nullptr;
  hs_compile_error_t* error = nullptr;
  const unsigned flags = HS_FLAG_SOM_LEFTMOST | (test.byLine ? HS_FLAG_MULTILINE : 0U);
  if (hs_compile(test.pattern.c_str(), flags, HS_MODE_BLOCK, nullptr, &database, &error) != HS_SUCCESS)
    return 0;
  hs_scratch_t* scratch = nullptr;
  hs_alloc_scratch(database, &scratch);
  const auto note = [](unsigned, unsigned long long from, unsigned long long to, unsigned, void* context) {
    Last& known = *static_cast<Last*>(context);
    if (from >= known.to) {
      known.count += to - from;
      known.from = from;
      known.to = to;
    } else if (from == known.from) {
      known.count += to - known.to;
      known.to = to;
    }
    return 0;
  };
  hs_scan(database, text.data(), static_cast<unsigned>(text.size()), 0, scratch, note, &last);
  hs_free_scratch(scratch);
  hs_free_database(database);
  return last.count;
}
#endif

double Milliseconds(const std::function<void()>& work) {
  const auto before = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - before).count();
}

void Run(const Case& test, const std::string& text, const std::vector<Engine>& engines) {
  constexpr int rounds = 5;
  std::vector<double> quickest(engines.size(), std::numeric_limits<double>::max());
  std::vector<std::uint64_t> found(engines.size());
  for (int round = 0; round < rounds; ++round) {  // in turns, so that all see the same machine
    for (std::size_t i = 0; i < engines.size(); ++i) {
      const std::string part = text.substr(0, text.size() / engines[i].share);
      const double taken = Milliseconds([&] { found[i] = engines[i].count(test, part); });
      quickest[i] = std::min(quickest[i], taken * static_cast<double>(engines[i].share));
    }
  }
  std::printf("%s\n", test.name);
  for (std::size_t i = 0; i < engines.size(); ++i)
    std::printf("  %-12s %9.1f ms  %7.2f times the first  %9llu elements matched%s\n", engines[i].name,
                quickest[i], quickest[i] / quickest[0], static_cast<unsigned long long>(found[i]),
                engines[i].share == 1 ? "" : " in the part searched");
}

}  // namespace

int main() {
  std::string anyWord;
  for (const char* const word : words)
    anyWord.append(anyWord.empty() ? "" : "|").append(word);
  const Case cases[] = {{"address: [a-z]+@[a-z]+\\.com", "[a-z]+@[a-z]+\\.com", false},
                        {"one of 50 words", anyWord, false},
                        {"lines: ^.*error.*$", "^.*error.*$", true}};
  const std::vector<Engine> engines = {
      {"Qorv", 1, CountOurs},
      {"std::regex", 10, CountStandard},
#ifdef BENCH_RE2
      {"RE2", 1, CountRe2},
#endif
#ifdef BENCH_PCRE2
      {"PCRE2 (JIT)", 1, CountPcre2},
#endif
#ifdef BENCH_HYPERSCAN
      {"Hyperscan", 1, CountHyperscan},
#endif
  };
  const std::string text = MakeLog();
  for (const Case& test : cases)
    Run(test, text, engines);
}
