#include "dump_fixture.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <system_error>

namespace fs = std::filesystem;

namespace TestSupport {
namespace {

constexpr std::string_view progress = "Recovery Rate: ";
constexpr std::string_view prompt = "\n\ncontinue? press [y/N]:";

std::uint64_t Mix(std::uint64_t value) {
  value += 0x9e3779b97f4a7c15;
  value = (value ^ value >> 30) * 0xbf58476d1ce4e5b9;
  value = (value ^ value >> 27) * 0x94d049bb133111eb;
  return value ^ value >> 31;
}

fs::path MakeFolder(const fs::path& parent) {
  std::string name = parent / "tolk-test-XXXXXX";
  if (mkdtemp(name.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "mkdtemp " + name);
  }
  fs::permissions(name, fs::perms(0755));
  return name;
}

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// One position and the two bytes there say more than a dump of two images.
void ExpectSame(const std::string& expected, const std::string& actual) {
  const auto [left, right] = std::ranges::mismatch(expected, actual);
  if (left == expected.end() && right == actual.end()) return;
  const auto position = left - expected.begin();
  const auto text = [](auto at, const std::string& bytes) {
    return at == bytes.end() ? std::string("the end") : std::to_string(static_cast<unsigned char>(*at));
  };
  ADD_FAILURE() << "at byte " << position << " (sector " << position / 512 << "): expected "
                << text(left, expected) << ", found " << text(right, actual) << "; sizes " << expected.size()
                << " and " << actual.size();
}

std::string SystemFailure(std::string_view heading, const std::string& path, int number,
                          std::string_view description) {
  std::ostringstream text;
  text << heading << "\n  file path  = " << path << "\n  error code = " << number
       << "\n  error desc = " << description;
  return text.str();
}

}  // namespace

unsigned char SourceByte(std::int64_t position) {
  const auto index = static_cast<std::uint64_t>(position);
  return static_cast<unsigned char>(Mix(index / 8) >> index % 8 * 8);
}

std::string SourceBytes(std::int64_t position, std::int64_t length) {
  std::string bytes(static_cast<std::size_t>(length), '\0');
  for (char& byte : bytes)
    byte = static_cast<char>(SourceByte(position++));
  return bytes;
}

// How long a run took, and when it was, is nobody's to expect.
std::string Neutral(std::string text) {
  static const std::pair<std::regex, const char*> rules[] = {
      {std::regex("\\d\\d+:\\d\\d:\\d\\d"), "HH:MM:SS"},
      {std::regex("\\d{4}-\\d\\d-\\d\\d (HH:MM:SS) UTC[+-]\\d{4}"), "DATE $1"},
      {std::regex("\\b((?:tid|pid) *= ?)\\d+"), "$1N"},
      {std::regex("(address = |context  = )(0x[0-9a-f]+|\\(nil\\))"), "$1N"}};
  for (const auto& [pattern, replacement] : rules)
    text = std::regex_replace(text, pattern, replacement);
  return text;
}

std::string OpenFailure(const std::string& path, int number, std::string_view description) {
  return SystemFailure("CSysFile/PosixOpenFile - failed open specified file", path, number, description);
}

std::string ReadFailure(const std::string& path, int number, std::string_view description) {
  return SystemFailure("CSysFile::Read - failed reading file", path, number, description);
}

std::string WriteFailure(const std::string& path, int number, std::string_view description) {
  return SystemFailure("CSysFile::Write - failed writing file", path, number, description);
}

DumpTest::DumpTest() : folder_(MakeFolder(fs::temp_directory_path())) {}

DumpTest::~DumpTest() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

void DumpTest::UseFolderBelow(const fs::path& parent) {
  fs::remove_all(folder_);
  folder_ = MakeFolder(parent);
}

// In pieces, so that the test's own memory stays small: the tool inherits its peak.
void DumpTest::WriteSourceBytes(std::int64_t bytes) {
  constexpr std::int64_t piece = 1 << 18;
  std::ofstream out(Source(), std::ios::binary | std::ios::trunc);
  for (std::int64_t position = 0; position < bytes; position += piece) {
    out << SourceBytes(position, std::min(piece, bytes - position));
  }
  sourceSize_ = bytes;
}

void DumpTest::WriteOldTarget(std::int64_t bytes, char content) {
  std::ofstream(Target(), std::ios::binary | std::ios::trunc)
      << std::string(static_cast<std::size_t>(bytes), content);
}

void DumpTest::BadBytes(std::int64_t from, std::int64_t to) {
  SourceFault("bad " + std::to_string(from) + ' ' + std::to_string(to));
}

void DumpTest::HealsAfter(std::int64_t number, int tries) {
  SourceFault("bad " + std::to_string(number * sector) + ' ' + std::to_string((number + 1) * sector) +
              " first " + std::to_string(tries));
}

void DumpTest::ForgetFaults() {
  sourceRules_.clear();
  targetRules_.clear();
  logRules_.clear();
}

void DumpTest::WriteFaultPlan() const {
  std::ofstream plan(folder_ / "faults.plan", std::ios::trunc);
  plan << "file source " << Source() << '\n'
       << sourceRules_ << "file target " << Target() << '\n'
       << targetRules_;
  if (!logRules_.empty()) plan << "file log " << LogFile() << '\n' << logRules_;
  fs::remove(FaultLog());
}

void DumpTest::Run(std::vector<std::string> arguments, const RUNOPTIONS& options) {
  const auto isGiven = [&](std::string_view option) {
    return std::ranges::any_of(arguments,
                               [&](const std::string& argument) { return argument.starts_with(option); });
  };
  if (!isGiven("-logfile")) arguments.insert(arguments.begin(), "-logfile:" + LogFile());
  if (!isGiven("-to:")) arguments.insert(arguments.begin(), "-to:" + Target());
  if (!isGiven("-from:")) arguments.insert(arguments.begin(), "-from:" + Source());
  RunBare(arguments, options);
}

void DumpTest::RunBare(const std::vector<std::string>& arguments, const RUNOPTIONS& options) {
  RUNSPEC spec;
  spec.command = {TOLK_BINARY};
  spec.command.insert(spec.command.end(), arguments.begin(), arguments.end());
  spec.answers = {{std::string(prompt), options.key}};
  spec.answers.insert(spec.answers.end(), options.answers.begin(), options.answers.end());
  spec.columns = options.columns;
  spec.hasTerminal = options.hasTerminal;
  spec.splitErrors = options.splitErrors;
  spec.unprivileged = options.unprivileged;
  spec.onScreen = options.onScreen;
  Launch(spec, options);
}

void DumpTest::RunProbe(const std::string& probe, const std::string& calls) {
  RUNSPEC spec;
  spec.command = {probe, Source()};
  std::istringstream words(calls);
  for (std::string word; words >> word;)
    spec.command.push_back(word);
  Launch(spec, {});
}

void DumpTest::Launch(RUNSPEC& spec, const RUNOPTIONS& options) {
  spec.workingDirectory = folder_;
  // A size that no memory holds is the tool's to survive, not the sanitizer's to report; and a program that dies of
  // a fault asks for memory inside the signal knowingly: it has nothing left to lose.
  const auto added = [](const char* name, const char* more) {
    const char* const given = std::getenv(name);
    return given != nullptr ? std::string(given) + ':' + more : std::string(more);
  };
  spec.environment = {
      {"ASAN_OPTIONS", added("ASAN_OPTIONS", "allocator_may_return_null=1")},
      {"TSAN_OPTIONS",
       added("TSAN_OPTIONS", "allocator_may_return_null=1:atexit_sleep_ms=0:report_signal_unsafe=0")}};
  if (spec.unprivileged) {
    fs::permissions(folder_, fs::perms::all);
    spec.environment["GCOV_PREFIX"] = folder_;
  }
  if (options.hasFaults) {
    WriteFaultPlan();
    spec.environment["TOLK_CLOCK_RATE"] = std::to_string(options.clockRate);
    spec.environment["LD_PRELOAD"] = std::string(TOLK_PRELOAD_FIRST) + TOLK_FAULT_SHIM;
    spec.environment["TOLK_FAULT_PLAN"] = folder_ / "faults.plan";
    spec.environment["TOLK_FAULT_LOG"] = FaultLog();
  }
  result_ = RunOnTerminal(spec);
  EXPECT_FALSE(result_.timedOut) << "the program did not end\n" << result_.screen;
  EXPECT_EQ(result_.signal, options.signal) << "another signal ended the program\n"
                                            << result_.screen << result_.errors;
}

void DumpTest::ExpectStatus(int status) const {
  EXPECT_EQ(result_.status, status) << result_.screen << result_.errors;
}

std::string DumpTest::Screen() const {
  static constexpr std::string_view wipe = "\b \b";
  std::string seen;
  for (std::size_t i = 0; i < result_.screen.size(); ++i) {
    if (!seen.empty() && result_.screen.compare(i, wipe.size(), wipe) == 0) {
      seen.pop_back();
      i += wipe.size() - 1;
    } else {
      seen += result_.screen[i];
    }
  }
  // A run that dies may leave its progress line.
  const std::size_t last = seen.rfind('\n') + 1;
  if (seen.compare(last, progress.size(), progress) == 0) seen.erase(last);
  return Neutral(seen);
}

void DumpTest::ExpectReports(const std::string& text) const {
  const std::string screen = Screen();
  const std::size_t found = screen.find(prompt);
  ASSERT_NE(found, std::string::npos) << screen;
  EXPECT_EQ(screen.substr(found + prompt.size()), "\n" + text);
}

void DumpTest::ExpectScreenHas(const std::string& text) const {
  EXPECT_NE(Screen().find(text), std::string::npos) << "wanted: " << text << "\non the screen: " << Screen();
}

void DumpTest::ExpectErrors(const std::string& text) const {
  EXPECT_EQ(result_.errors, text);
}

std::string DumpTest::TargetBytes() const {
  return ReadFile(Target());
}

void DumpTest::ExpectGoodBytes(const std::vector<BYTES>& filled, unsigned char fill,
                               std::int64_t size) const {
  std::string expected = SourceBytes(0, size < 0 ? sourceSize_ : size);
  for (const BYTES& range : filled) {
    std::fill(expected.begin() + range.from, expected.begin() + range.to, static_cast<char>(fill));
  }
  ExpectSame(expected, TargetBytes());
}

void DumpTest::ExpectCopied(std::int64_t targetPosition, std::int64_t sourcePosition,
                            std::int64_t length) const {
  const std::string target = TargetBytes();
  const auto from = std::min(static_cast<std::size_t>(targetPosition), target.size());
  ExpectSame(SourceBytes(sourcePosition, length), target.substr(from, static_cast<std::size_t>(length)));
}

void DumpTest::ExpectTargetBytes(std::int64_t position, std::int64_t length, unsigned char byte) const {
  const std::string target = TargetBytes();
  const auto from = std::min(static_cast<std::size_t>(position), target.size());
  ExpectSame(std::string(static_cast<std::size_t>(length), static_cast<char>(byte)),
             target.substr(from, static_cast<std::size_t>(length)));
}

void DumpTest::ExpectTargetSize(std::int64_t bytes) const {
  std::error_code failure;
  const auto size = fs::file_size(Target(), failure);
  ASSERT_FALSE(failure) << failure.message();
  EXPECT_EQ(static_cast<std::int64_t>(size), bytes);
}

// A record has as many lines as its channel and its text.
std::vector<RECORD> DumpTest::Log() const {
  static const std::regex start(R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{6} UTC[+-]\d{4}\]\[.*)");
  static const std::regex parts(R"(\[[^\]]*\]\[(\w+)\] +\(([^)]*)\) ([^]*))");
  std::vector<std::string> texts;
  std::istringstream in(ReadFile(LogFile()));
  for (std::string line; std::getline(in, line);) {
    if (texts.empty() || std::regex_match(line, start))
      texts.push_back(line);
    else
      texts.back() += '\n' + line;
  }
  std::vector<RECORD> records;
  for (const std::string& text : texts) {
    std::smatch match;
    if (std::regex_match(text, match, parts))
      records.push_back({match[1], match[2], match[3]});
    else
      ADD_FAILURE() << "no record: " << text;
  }
  return records;
}

void DumpTest::ExpectLog(std::string_view channel, const std::string& records) const {
  std::string found;
  for (const RECORD& record : Log())
    if (record.channel == channel) found += record.level + ": " + Neutral(record.text) + '\n';
  EXPECT_EQ(found, records);
}

std::vector<CALL> DumpTest::Calls() const {
  std::vector<CALL> calls;
  std::ifstream in(FaultLog());
  for (CALL call; in >> call.label >> call.op >> call.position >> call.length >> call.result;)
    calls.push_back(call);
  return calls;
}

std::vector<CALL> DumpTest::Calls(std::string_view label, std::string_view op) const {
  std::vector<CALL> calls = Calls();
  std::erase_if(calls, [&](const CALL& call) { return call.label != label || call.op != op; });
  return calls;
}

}  // namespace TestSupport
