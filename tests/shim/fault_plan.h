// What the fault shim does to which file, read from a plan of one rule per line. "#" starts a comment.
//
//   file LABEL PATH                   the rules that follow are about this file; LABEL names it in the log
//   bad FROM TO [ERRNO] [first N]     a read that touches a byte of FROM..TO-1 fails; with "first", N times
//   partial                           a read that starts before a bad range is served up to it
//   fail OP N [COUNT|on] [ERRNO]      the N-th call, COUNT calls from there, or all from there, fail
//   short OP N BYTES                  the N-th read or write moves no more than BYTES
//   shortat POSITION BYTES            a read that starts at POSITION moves no more than BYTES
//   end POSITION                      reads find the end of the file there
//   full BYTES                        writes find the device full after so many bytes in all
//   die OP N HOW                      the N-th call dies: divide, access, abort, or throws: standard, nobody
//   slow OP MICROSECONDS              each call takes so much longer
//   noDirect                          direct access is refused at open
//
// OP is one of open, read, write, seek; calls are counted from 1 for each file. ERRNO is a symbolic name, EIO
// where none is given.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace FaultShim {

enum Op : std::uint8_t { opOpen, opRead, opWrite, opSeek, opCount };

inline constexpr std::array<std::string_view, opCount> opNames = {"open", "read", "write", "seek"};
inline constexpr std::int64_t unlimited = std::numeric_limits<std::int64_t>::max();

/// Ends the calling thread or its call, as a fault of the program itself would.
using Death = void (*)();

/// Calls `first` to `last` of one operation: they fail with `error`, or, where that is 0, move up to `bytes`.
struct CallFault {
  Op op;
  std::int64_t first;
  std::int64_t last;
  int error;
  std::int64_t bytes;
  Death death = nullptr;  // before all that
};

struct BadRange {
  std::int64_t from;
  std::int64_t to;
  int error;
  std::int64_t triesLeft;  // changed by atomic access
};

struct ShortAt {
  std::int64_t position;
  std::int64_t bytes;
};

/// One file of the plan, and how far the calls on it have come. The rules do not change after loading.
struct File {
  std::string label;
  std::string path;
  std::vector<CallFault> callFaults;
  std::vector<BadRange> badRanges;  // sorted, without overlap
  std::vector<ShortAt> shortReads;
  std::array<std::int64_t, opCount> delays{};  // microseconds
  std::int64_t end = unlimited;
  std::int64_t full = unlimited;
  bool partial = false;
  bool noDirect = false;

  std::array<std::atomic<std::int64_t>, opCount> calls{};
  std::atomic<std::int64_t> written = 0;
};

using Plan = std::vector<std::unique_ptr<File>>;

/// Reads the plan at `path`. A plan that cannot be read or understood is told on standard error and ends the
/// process: a fault that silently does not happen would let a test pass.
Plan LoadPlan(const char* path);

}  // namespace FaultShim
