// Runs programs in turn on the same work and compares what they cost.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "ground.h"

namespace Bench {

/// One program with its options.
struct CONTESTANT {
  std::string name;
  std::vector<std::string> command;  ///< the program's path first
  ENVIRONMENT environment = {};      ///< on top of our own
};

/// What one run has cost.
struct COST {
  double wall = 0;              ///< seconds
  double processor = 0;         ///< seconds, in user and in system mode
  std::int64_t peakMemory = 0;  ///< bytes
  std::int64_t wrongBytes = 0;  ///< of the image
  std::string screen;
};

struct CONTEST {
  std::vector<CONTESTANT> contestants;                   ///< first the one that the others are compared with
  std::filesystem::path folder;                          ///< working directory of all runs
  std::function<void()> prepare;                         ///< before each run
  std::function<void()> finish = {};                     ///< if set, the last part of each run's wall time
  std::function<std::int64_t(const CONTESTANT&)> judge;  ///< wrong bytes of the image that a run has left
};

struct SCORE {
  std::string name;
  std::vector<COST> costs;  ///< of each round

  double Minimum(double COST::*field) const;
  double Median(double COST::*field) const;
  /// The largest of all rounds.
  std::int64_t Largest(std::int64_t COST::*field) const;
};

/// One run on a terminal of its own, on which the tool's prompt is answered; without judgement of the image.
/// Throws std::runtime_error if the program does not end, or ends with another status than 0 and 1.
COST RunOnce(const CONTESTANT& contestant, const std::filesystem::path& folder);

/// Every contestant once in each round; before them a round that does not count, in which memory and caches
/// get touched. Odd rounds go backwards, so that nobody always follows the same rival.
std::vector<SCORE> RunContest(const CONTEST& contest, int rounds);

/// A table in Markdown. The last columns tell the first contestant's cost as a part of each other's.
void PrintScores(std::ostream& out, const std::vector<SCORE>& scores);

/// `value` with a fixed number of digits behind the point.
std::string Fixed(double value, int digits);

}  // namespace Bench
