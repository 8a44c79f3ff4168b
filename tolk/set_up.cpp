#include "set_up.h"

#include <fcntl.h>

#include <cstdint>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <string_view>

#include <qorv/file.h>
#include <qorv/log.h>
#include <qorv/loggers.h>
#include <qorv/process.h>
#include <qorv/thread.h>
#include <qorv/time.h>

#include "cmd_line.h"
#include "usage.h"

using namespace Qorv::literals;
using Qorv::CLog;
using Qorv::stringEx;

namespace {

constexpr std::uint32_t longestMessage = 4096;  // characters
constexpr std::uint32_t longestQueue = 100000;  // records

struct WORDROW {
  std::string_view word;
  std::int32_t number;
};

constexpr WORDROW levels[] = {
    {"debugonly", Qorv::logLevel::debug},   {"info", Qorv::logLevel::info},
    {"warning", Qorv::logLevel::warning},   {"error", Qorv::logLevel::error},
    {"notice", Qorv::logLevel::notice},     {"fatalerror", Qorv::logLevel::fatal},
    {"disabled", Qorv::logLevel::disabled},
};

constexpr WORDROW priorities[] = {
    {"belownormal", Qorv::processPriority::belowNormal},
    {"idle", Qorv::processPriority::idle},
    {"normal", Qorv::processPriority::normal},
    {"abovenormal", Qorv::processPriority::aboveNormal},
    {"high", Qorv::processPriority::high},
    {"realtime", Qorv::processPriority::realtime},
};

template <std::size_t count>
std::optional<std::int32_t> NumberOf(const WORDROW (&rows)[count], const stringEx& word) {
  for (const WORDROW& row : rows)
    if (word == row.word) return row.number;
  return std::nullopt;
}

std::int32_t LevelOf(const CCmdLineArgs& args) {
  stringEx word = args.GetValue("loglevel");
  word.to_lower();
  return NumberOf(levels, word).value_or(Qorv::logLevel::info);
}

// Two runs within a minute share a name, and the second starts the file anew. That is meant.
stringEx LogFileName(const CCmdLineArgs& args) {
  if (args.Has("logfile")) return args.GetValue("logfile");
  stringEx name;
  Qorv::CTime::Now().Format(name, "tolk_%Y%M%d-%H%T.log"_sv);
  return name;
}

void AddLogFile(CLog& log, const stringEx& name) {
  try {
    Qorv::CSysFile file;
    file.Open(name, O_WRONLY, O_CREAT | O_TRUNC, Qorv::fileShare::shared, 0666, 0);
    log.PushLogger(Qorv::LoggerHandle(std::make_unique<Qorv::CFileLogger<Qorv::CSysFile>>(file)));
  } catch (...) {
    std::cerr << "## [ERROR]: error open log file: " << name << "\n";
  }
}

}  // namespace

// A log without loggers is installed all the same, and takes in what goes nowhere, unless there is another.
void SetupLogging(const CCmdLineArgs& args) {
  const std::int32_t level = LevelOf(args);
  if (level == Qorv::logLevel::disabled) return;
  const Qorv::LogHandle log(std::make_unique<CLog>(level, longestMessage));
  AddLogFile(*log, LogFileName(args));
  if (!log->HasLoggers() && CLog::GetDefault()) return;
  log->EnableThread(true, longestQueue);
  CLog::SetDefault(log);
}

void LogStart(const CCmdLineArgs& args) {
  stringEx commandLine;
  Qorv::CProcess::GetCommandLine(commandLine);
  if (commandLine.empty()) args.Rebuild(commandLine);
  stringEx text("app start, version = ");
  (text += GetVersion()) += ", pid = ";
  text.append_uint(Qorv::CProcess::GetCurrentPid());
  text.format_append(", main tid = %p\n", reinterpret_cast<void*>(Qorv::TThread::CurrentThreadId()));
  ((text += "  cmd line = '") += commandLine) += "'\n@ ";
  CLog::GNotice("main"_sv, text + Qorv::CPlatform::Report());
}

void SetupPriority(const CCmdLineArgs& args) {
  if (!args.Has("priority")) return;
  stringEx word = args.GetValue("priority");
  word.trim_left();
  word.trim_right();
  word.to_lower();
  if (const auto number = NumberOf(priorities, word))
    Qorv::CProcess().SetPriority(static_cast<std::uint32_t>(*number));
}
