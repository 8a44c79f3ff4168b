#include "plan.h"

#include <fcntl.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <system_error>
#include <vector>

#include <qorv/error.h>
#include <qorv/log.h>
#include <qorv/process.h>

#include "cmd_line.h"
#include "operator_text.h"

using namespace Qorv::literals;
using Qorv::CLog;
using Qorv::RANGE;
using Qorv::stringEx;

namespace {

constexpr std::int64_t int64Max = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t minSectorSize = 16;
constexpr std::uint64_t fallbackSectorSize = 512;
constexpr std::uint64_t defaultBlockSize = 0x100000;
constexpr std::uint64_t defaultMaxBuffer = 256;
constexpr stringEx diskPrefix = "/dev/"_sv;

// The four warnings about sizes carry their sentence in the channel's place, unexpanded, and as their message
// the operator's own text as a format with the used size as its argument. That is meant.
void WarnSize(const stringEx& sentence, const stringEx& operatorText, std::uint64_t used) {
  CLog::GWarning(sentence.data(), "%s", ExpandOperatorText(operatorText, used).data());
}

// "4k", "1MB": a decimal number, shifted by the suffix that the whole text ends in.
std::uint64_t ParseSize(const stringEx& text) {
  const auto value = static_cast<std::uint64_t>(text.to_int64(10, Qorv::numberFlag::isUnsigned));
  const auto endsIn = [&](std::string_view suffix) {
    return text.length() >= suffix.size() &&
           text.part({text.length() - suffix.size(), suffix.size()}).compare_nocase(suffix) == 0;
  };
  if (endsIn("m") || endsIn("mb")) return value << 20;
  if (endsIn("k") || endsIn("kb")) return value << 10;
  return value;
}

std::uint32_t ParseNumber(const stringEx& text) {
  return static_cast<std::uint32_t>(text.to_int64(10));
}

// As a number of detected base, where a "b" or an "x" in front of the digits tells the base as well.
std::uint8_t ParseFill(stringEx text) {
  text.trim_left();
  stringEx number = text.starts_with("-") ? "-"_sv : ""_sv;
  if (text.starts_with_any("+-")) text.erase(0, 1);
  if (text.starts_with_any("bBxX")) number += '0';
  number += text;
  return static_cast<std::uint8_t>(text.starts_with_any("0123456789bBxX") ? number.to_int64(-1) : 0);
}

// The field before and the field behind the first `delimiter` (up to the second one); absent fields are
// empty.
struct FIELDS {
  stringEx first;
  stringEx second;

  FIELDS(const stringEx& text, std::string_view delimiter) {
    std::vector<RANGE> ranges;
    text.split(delimiter, ranges);
    first.append(text.part(ranges[0]));
    if (ranges.size() > 1) second.append(text.part(ranges[1]));
  }
};

// A product that does not fit stays at the end of the number range: beyond any source, as the operator asked.
std::int64_t MultiplySaturated(std::int64_t count, std::uint64_t size) {
  std::int64_t product = 0;
  return __builtin_mul_overflow(count, size, &product) ? int64Max : product;
}

std::int64_t PercentPosition(const stringEx& percent, const DUMPPARAM& param) {
  const double exact = percent.to_double() / 100.0 * static_cast<double>(param.sourceSize);
  // 2 to the power 63 is the first double that no signed 64-bit number can hold
  const std::int64_t position = exact >= 0x1p63   ? int64Max
                                : exact < -0x1p63 ? -int64Max
                                                  : static_cast<std::int64_t>(exact);
  if (param.sectorSize > static_cast<std::uint64_t>(int64Max)) return 0;
  const auto sector = static_cast<std::int64_t>(param.sectorSize);
  return position / sector * sector;
}

void PlanPaths(const CCmdLineArgs& args, DUMPPARAM& param) {
  param.from = args.Has("from") ? args.GetValue("from") : diskPrefix + args.GetValue("fromdisk");
  param.to = args.Has("to") ? args.GetValue("to") : diskPrefix + args.GetValue("todisk");
}

void PlanSector(const CCmdLineArgs& args, DUMPPARAM& param) {
  if (!args.Has("sector")) return;
  param.sectorSize = ParseSize(args.GetValue("sector"));
  if (param.sectorSize < minSectorSize) {
    param.sectorSize = minSectorSize;
    WarnSize(
        "mainthe minimum sector size is 16 bytes.\n"
        "  size specified = %s\n"
        "  size used      = %u bytes"_sv,
        args.GetValue("sector"), param.sectorSize);
  }
}

void QueryStorage(DUMPPARAM& param) {
  Qorv::CSysFile source;
  OpenSource(source, param.from);
  source.GetStorageInfo(nullptr, &param.sourceSize);
  // A directory opens and has a size, on some file systems one without end, but no read of it can ever
  // succeed. A read of nothing says so before the dump would try it block by block.
  source.Read(nullptr, 0);
  if (param.sectorSize == 0) {
    try {
      std::uint32_t detected = 0;
      source.GetStorageInfo(&detected, nullptr);
      param.sectorSize = detected;
    } catch (...) {
      param.sectorSize = fallbackSectorSize;
      CLog::GWarning("main"_sv, "failed retrive sector size of the source device."_sv);
    }
  }
  param.hasSize = param.sourceSize != 0;
  if (!param.hasSize) param.sourceSize = MultiplySaturated(1, param.sectorSize);
}

void PlanRange(const CCmdLineArgs& args, DUMPPARAM& param) {
  if (args.Has("secrange")) {
    const FIELDS fields(args.GetValue("secrange"), "-");
    param.beginPos = MultiplySaturated(fields.first.to_int64(10), param.sectorSize);
    param.endPos = MultiplySaturated(fields.second.to_int64(10), param.sectorSize);
  } else if (args.Has("perrange")) {
    const FIELDS fields(args.GetValue("perrange"), "-");
    param.beginPos = PercentPosition(fields.first, param);
    param.endPos = PercentPosition(fields.second, param);
  }
  if (param.endPos == 0) param.endPos = param.sourceSize;
}

void PlanBlock(const CCmdLineArgs& args, DUMPPARAM& param) {
  param.blockSize = defaultBlockSize;
  if (args.Has("block")) {
    param.blockSize = ParseSize(args.GetValue("block"));
    if (param.blockSize < param.sectorSize) {
      param.blockSize = param.sectorSize;
      WarnSize(
          "mainio block could not smaller then current sector size.\n"
          "  size specified = %s\n"
          "  size used      = %u bytes"_sv,
          args.GetValue("block"), param.sectorSize);
    }
  }
  if (param.blockSize % param.sectorSize != 0) {
    // A sector above the default block would round down to blocks of nothing, and so to an empty image; one
    // sector is the smallest block there is.
    param.blockSize = std::max(param.blockSize / param.sectorSize, std::uint64_t{1}) * param.sectorSize;
    CLog::GInfo("main", "adjust io block size to %llu bytes.",
                static_cast<unsigned long long>(param.blockSize));
  }
}

// Half-way between sector and block on a scale of powers of two.
void PlanMed(DUMPPARAM& param) {
  std::uint32_t shift = 0;
  if (param.sectorSize < param.blockSize) {
    while (param.blockSize >> shift > param.sectorSize)
      ++shift;
    shift /= 2;
  }
  param.medSize = (param.blockSize >> shift) / param.sectorSize * param.sectorSize;
}

void PlanQueue(const CCmdLineArgs& args, DUMPPARAM& param) {
  if (args.Has("maxbuf")) {
    param.maxBuffer = static_cast<std::uint32_t>(ParseSize(args.GetValue("maxbuf")) / param.blockSize);
    if (param.maxBuffer == 0) {
      param.maxBuffer = 1;
      WarnSize(
          "mainmax. buffer queue size could not smaller then the io block size.\n"
          "  size specified = %s\n"
          "  size used      = %u bytes"_sv,
          args.GetValue("maxbuf"), param.blockSize);
    }
    return;
  }
  std::uint64_t freePhys = 0;
  Qorv::CProcess::GetSysMemInfo(nullptr, &freePhys, nullptr, nullptr);
  const std::uint64_t blocks = freePhys / 3 / param.blockSize;
  param.maxBuffer = static_cast<std::uint32_t>(std::min(blocks, defaultMaxBuffer));
  if (param.maxBuffer == 0) {
    param.maxBuffer = 1;
    WarnSize(
        "mainlow memory for current io block size.\n"
        "  system available physical memory = %s bytes\n"
        "  io block size                    = %u bytes"_sv,
        stringEx().append_uint(freePhys), param.blockSize);
  }
}

void PlanRest(const CCmdLineArgs& args, DUMPPARAM& param) {
  param.maxRetries = ParseNumber(args.GetValue("retry"));
  param.fillByte = ParseFill(args.GetValue("fill"));
  const FIELDS minutes(args.GetValue("cooldown"), "/");
  param.coolWorkMinutes = ParseNumber(minutes.first);
  param.coolRestMinutes = ParseNumber(minutes.second);
  param.aligned = args.Has("aligned");
}

double PercentOf(std::int64_t position, const DUMPPARAM& param) {
  return static_cast<double>(position) / static_cast<double>(param.sourceSize) * 100.0;
}

// Whole sectors below a position, which may be negative.
std::int64_t SectorsOf(std::int64_t position, const DUMPPARAM& param) {
  if (param.sectorSize > static_cast<std::uint64_t>(int64Max)) return 0;
  return position / static_cast<std::int64_t>(param.sectorSize);
}

}  // namespace

void OpenSource(Qorv::CSysFile& source, const stringEx& path) {
  // A pipe cannot be sought in, but opening one would wait for its other end, for ever if need be, before it
  // is seen.
  std::error_code ignored;
  const int access = std::filesystem::is_fifo(path.data(), ignored) ? O_RDONLY | O_NONBLOCK : O_RDONLY;
  source.Open(path, access, 0, Qorv::fileShare::none, 0666,
              Qorv::fileOption::direct | Qorv::fileOption::reserved);
}

DUMPPARAM MakePlan(const CCmdLineArgs& args) {
  DUMPPARAM param;
  PlanPaths(args, param);
  PlanSector(args, param);
  QueryStorage(param);
  PlanRange(args, param);
  PlanBlock(args, param);
  PlanMed(param);
  PlanQueue(args, param);
  PlanRest(args, param);
  return param;
}

stringEx MakeSummary(const DUMPPARAM& param) {
  stringEx text("  from         = '");
  ((text += param.from) += "'\n  to           = '") += param.to;
  (text += "'\n  sector size  = ").append_uint(param.sectorSize) += " bytes\n";
  (text += "  block size   = ").append_uint(param.blockSize) += " bytes\n";
  (text += "  med. size    = ").append_uint(param.medSize) += " bytes\n";
  (text += "  max. buffer  = ").append_uint(param.maxBuffer) += " blocks\n";
  (text += "  max. retries = ").append_uint(param.maxRetries) += "\n";
  text += "  alignment    = ";
  text += param.aligned ? "align with source" : "write from beginning";
  (text += "\n  fill with    = ").format_append("0x%02X", unsigned{param.fillByte});
  if (param.IsCooling()) {
    (text += "\n  cool down    = ").append_uint(param.coolWorkMinutes) += '/';
    text.append_uint(param.coolRestMinutes);
  }
  if (param.beginPos != 0 || param.endPos != param.sourceSize) {
    (text += "\n  range        = Sec. ").append_int(SectorsOf(param.beginPos, param)) += " - ";
    text.append_int(SectorsOf(param.endPos, param));
    text.format_append(" (%.2f%% - %.2f%%)", PercentOf(param.beginPos, param),
                       std::min(PercentOf(param.endPos, param), 100.0));
  }
  return text;
}
