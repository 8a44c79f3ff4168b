#include "contest.h"

#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <stdexcept>

#include "support/terminal_run.h"

namespace Bench {
namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Of all programs that were run and have ended.
double ProcessorSeconds() {
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

COST RunAndJudge(const CONTEST& contest, const CONTESTANT& contestant) {
  contest.prepare();
  COST cost = RunOnce(contestant, contest.folder);
  if (contest.finish) {
    const Clock::time_point start = Clock::now();
    contest.finish();
    cost.wall += SecondsSince(start);
  }
  cost.wrongBytes = contest.judge(contestant);
  cost.screen = {};
  return cost;
}

}  // namespace

std::string Fixed(double value, int digits) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(digits) << value;
  return text.str();
}

double SCORE::Minimum(double COST::*field) const {
  return std::ranges::min(costs, {}, field).*field;
}

double SCORE::Median(double COST::*field) const {
  std::vector<double> values;
  for (const COST& cost : costs)
    values.push_back(cost.*field);
  std::ranges::sort(values);
  return (values[(values.size() - 1) / 2] + values[values.size() / 2]) / 2;
}

std::int64_t SCORE::Largest(std::int64_t COST::*field) const {
  return std::ranges::max(costs, {}, field).*field;
}

COST RunOnce(const CONTESTANT& contestant, const std::filesystem::path& folder) {
  TestSupport::RUNSPEC spec;
  spec.command = contestant.command;
  spec.answers = {{"continue? press [y/N]:", "y"}};
  spec.environment = contestant.environment;
  spec.workingDirectory = folder;
  spec.limit = std::chrono::seconds(1800);

  // A new process inherits our peak of memory, so what earlier screens took is given back.
  malloc_trim(0);
  COST cost;
  const double processorBefore = ProcessorSeconds();
  const Clock::time_point start = Clock::now();
  TestSupport::RUNRESULT result = TestSupport::RunOnTerminal(spec);
  cost.wall = SecondsSince(start);
  cost.processor = ProcessorSeconds() - processorBefore;
  cost.peakMemory = result.peakMemory;
  cost.screen = std::move(result.screen);
  // Status 1 is also how a rescue program tells of bad sectors; the image tells which it is.
  if (result.timedOut || result.status < 0 || result.status > 1) {
    throw std::runtime_error(contestant.name + (result.timedOut ? " did not end\n" : " failed\n") +
                             cost.screen);
  }
  return cost;
}

std::vector<SCORE> RunContest(const CONTEST& contest, int rounds) {
  std::vector<SCORE> scores;
  for (const CONTESTANT& contestant : contest.contestants) {
    RunAndJudge(contest, contestant);
    scores.push_back({contestant.name, {}});
  }
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t turn = 0; turn < scores.size(); ++turn) {
      const std::size_t index = round % 2 == 0 ? turn : scores.size() - 1 - turn;
      scores[index].costs.push_back(RunAndJudge(contest, contest.contestants[index]));
    }
  }
  return scores;
}

void PrintScores(std::ostream& out, const std::vector<SCORE>& scores) {
  const SCORE& first = scores.front();
  const auto seconds = [](const SCORE& score, double COST::*field) {
    return Fixed(score.Minimum(field), 3) + " / " + Fixed(score.Median(field), 3);
  };
  const auto part = [&](const SCORE& score, double COST::*field) {
    return Fixed(first.Minimum(field) / score.Minimum(field), 2) + " / " +
           Fixed(first.Median(field) / score.Median(field), 2);
  };
  out << "| program | wall, s | processor, s | peak, MiB | wrong bytes | " << first.name << "'s wall | "
      << first.name << "'s processor |\n|---|---|---|---|---|---|---|\n";
  for (const SCORE& score : scores) {
    out << "| " << score.name << " | " << seconds(score, &COST::wall) << " | "
        << seconds(score, &COST::processor) << " | "
        << Fixed(static_cast<double>(score.Largest(&COST::peakMemory)) / mebibyte, 1) << " | "
        << score.Largest(&COST::wrongBytes) << " | " << part(score, &COST::wall) << " | "
        << part(score, &COST::processor) << " |\n";
  }
  out << std::endl;
}

}  // namespace Bench
