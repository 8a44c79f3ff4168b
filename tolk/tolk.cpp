// The tool: the two workers and the entry.
//
// One thread reads the source in large blocks, another writes the target, with a bounded queue between them.
// What fails at block size is read again at a middle size once the whole range is through, and what fails
// there is read sector by sector with retries. What stays unreadable is replaced by the fill byte.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <deque>
#include <iostream>
#include <limits>
#include <new>

#include <qorv/error.h>
#include <qorv/fatal_handler.h>
#include <qorv/file.h>
#include <qorv/log.h>
#include <qorv/misc.h>
#include <qorv/sync.h>
#include <qorv/thread.h>
#include <qorv/time.h>

#include "cmd_line.h"
#include "console_line.h"
#include "duty_cycle.h"
#include "plan.h"
#include "set_up.h"
#include "usage.h"

using namespace Qorv::literals;
using Qorv::CLog;
using Qorv::stringEx;

namespace {

constexpr std::int64_t int64Max = std::numeric_limits<std::int64_t>::max();

// Figures

double RateOf(std::int64_t part, std::int64_t whole) {
  return static_cast<double>(part) / static_cast<double>(whole) * 100.0;
}

std::int64_t TickMicroseconds() {
  return static_cast<std::int64_t>(Qorv::GetTickCount64()) * 1000;
}

// Of the plain count, by which rests are timed.
std::int64_t PlainTickMicroseconds() {
  return static_cast<std::int64_t>(Qorv::GetTickCount()) * 1000;
}

stringEx TimeStamp() {
  stringEx text;
  Qorv::CTime::Now().Format(text, "%Y-%M-%d %H:%T:%S UTC%Z"_sv);
  return text;
}

// Positions end where their numbers end.
std::int64_t Advance(std::int64_t position, std::uint64_t size) {
  std::int64_t sum = 0;
  return __builtin_add_overflow(position, size, &sum) ? int64Max : sum;
}

// Reports

// The text of the exception in flight, for an operator.
stringEx DescribeException() {
  try {
    throw;
  } catch (const Qorv::qvExp& failure) {
    return failure.GetMessage();
  } catch (const std::exception& failure) {
    return failure.what();
  } catch (...) {
    return "unknown system error"_sv;
  }
}

// For the handler around everything that the main thread does. Returns the process status.
int ReportFatal() {
  stringEx text;
  try {
    throw;
  } catch (const Qorv::qvExp& failure) {
    text = failure.GetMessage();
    CLog::GFatal("main", "underlayer error:\n@ %s", text.data());
  } catch (const std::exception& failure) {
    text = failure.what();
    CLog::GFatal("main", "vc runtime error:\n@ %s", text.data());
  } catch (...) {
    text = "unknown system error"_sv;
  }
  std::cerr << "## [FATAL ERROR]: " << text << "\n";
  return -1;
}

// Without a controlling terminal there is no run, and no log and no entry yet to report that.
CConsoleLine MakeConsole() {
  try {
    return CConsoleLine();
  } catch (...) {
    _exit(ReportFatal());
  }
}

CConsoleLine console = MakeConsole();

void ReportToConsole(const stringEx& tag, const stringEx& message) {
  console.WriteGuarded(tag);
  console.WriteGuarded(message);
  console.WriteGuarded("\n"_sv);
}

// What a worker that an exception has ended leaves behind. The thread then ends the process.
void ReportUncaught(const char* channel, const stringEx& tag) {
  const stringEx text = DescribeException();
  CLog::GFatal(channel, "uncaught underlayer exception\n@ %s", text.data());
  ReportToConsole(tag, text);
}

using Buffer = Qorv::basic_buffer<unsigned char>;

// Buffers that the writer is done with and the reader fills again. Fresh memory costs a page fault for each
// page of it, and memory that was used long ago is in no cache. So, once it has enough buffers under way, the
// reader gives the writer a moment to hand one back before it takes another: a target that keeps pace then
// sees a short queue of warm buffers, and one that has stalled still gets its queue filled. There are never
// more buffers than were once in use together.
//
// A ring between one taker, the reader, and one giver, the writer.
class CSpareBuffers {
 public:
  // A buffer with room for `size` bytes.
  Buffer Take(std::uint64_t size) {
    Buffer buffer = std::move(kept_);
    if (buffer.capacity() == 0) {
      const std::uint64_t eager = std::clamp<std::uint64_t>(eagerBytes / size, 4, places / 2);
      if (count_.TimedP(made_ < eager ? 0 : patience)) {
        const std::uint64_t place = taken_.load(std::memory_order_relaxed);
        buffer = std::move(ring_[place % places]);
        taken_.store(place + 1, std::memory_order_release);
      } else {
        ++made_;
      }
    }
    if (static_cast<std::uint64_t>(buffer.capacity()) < size) buffer.reserve_discard(size);
    return buffer;
  }

  // For the taker, who had no use for the buffer after all.
  void Keep(Buffer&& buffer) { kept_ = std::move(buffer); }

  // What the ring has no place for is freed.
  void Give(Buffer&& buffer) {
    Buffer own = std::move(buffer);
    if (given_ - taken_.load(std::memory_order_acquire) == places) return;
    ring_[given_++ % places] = std::move(own);
    count_.V(1);
  }

 private:
  static constexpr std::uint64_t places = 64;
  static constexpr std::uint64_t eagerBytes = 4U << 20;
  static constexpr std::uint32_t patience = 2;  // milliseconds

  std::array<Buffer, places> ring_;
  Qorv::CSem count_{0, places};  // of buffers in the ring
  std::atomic<std::uint64_t> taken_{0};
  std::uint64_t given_ = 0;
  std::uint64_t made_ = 0;
  Buffer kept_;
};

// Owns the target and writes what it is told where it is told.
class CWriter final : public Qorv::TThread {
 public:
  // One piece of data.
  struct WRTCMD {
    Buffer data;               // its length is that of the payload, counted from offset
    std::uint64_t offset = 0;  // where the payload starts in the buffer
    std::int64_t pos = 0;      // where it stands in the source; stopPos for the command that ends the writer
  };

  static constexpr std::int64_t stopPos = Qorv::invalidInt64;

  CWriter(const DUMPPARAM& param, CSpareBuffers& spares);
  // Whoever resumed the thread has its data written first.
  ~CWriter() noexcept(false) override;

  void Push(WRTCMD&& command) { queue_.Push(std::move(command)); }
  bool TryStop() override;

 private:
  std::uint32_t Run() override;
  bool OnUncaught() override;

  Qorv::CMessageQueue<WRTCMD, Qorv::FASTKSV_PCLOCK, std::deque<WRTCMD>> queue_;
  Qorv::CSysFile target_;
  const std::int64_t baseOffset_;  // the source position that goes to offset 0 of the target
  CSpareBuffers& spares_;
};

CWriter::CWriter(const DUMPPARAM& param, CSpareBuffers& spares)
    : queue_(param.maxBuffer), baseOffset_(param.aligned ? 0 : param.beginPos), spares_(spares) {
  target_.Open(param.to, O_WRONLY, O_CREAT, Qorv::fileShare::shared, 0666, 0);
  Create(false, 0);
}

CWriter::~CWriter() noexcept(false) {
  if (!TryStop()) Wait(Qorv::waitForever);
}

bool CWriter::TryStop() {
  if (GetState() == Qorv::threadState::stopping) return false;
  if (TThread::TryStop()) return true;
  Push({{}, 0, stopPos});
  return false;
}

std::uint32_t CWriter::Run() {
  CLog::GDebug("trd.writer", "begin of writing worker thread, tid=%u",
               static_cast<unsigned>(CurrentThreadId()));
  std::int64_t nextPos = 0;
  WRTCMD command;
  for (;;) {
    queue_.Pop(command);
    if (command.pos == stopPos) break;
    const std::int64_t targetPos = command.pos - baseOffset_;
    if (targetPos != nextPos) target_.SeekBegin(targetPos);
    // The count is not looked at: a short write leaves the data behind it short by the missing bytes. That is
    // meant.
    target_.Write(command.data.data() + command.offset, command.data.length());
    nextPos = targetPos + static_cast<std::int64_t>(command.data.length());
    spares_.Give(std::move(command.data));
  }
  if (command.data.length() != 0) {
    CLog::GError("trd.writer"_sv, "stop command received, but io data not empty"_sv);
  }
  CLog::GDebug("trd.writer"_sv, "stop command received, exit thread..."_sv);
  return 0;
}

bool CWriter::OnUncaught() {
  ReportUncaught("trd.writer", "## [FATAL ERROR] (writing thread): "_sv);
  return false;
}

// Reads the source and decides what becomes of a failed read: it is skipped at once and only come back to, in
// ever smaller pieces, when everything of its size has been read.
class CReader final : public Qorv::TThread, private DUMPPARAM {
 public:
  explicit CReader(const DUMPPARAM& param);
  ~CReader() noexcept(false) override;

  // The progress line, with a speed over the bytes since the last call, which took `seconds`.
  stringEx FormatProgress(double seconds);
  // The last line of a run.
  stringEx FormatFinal() const;

 private:
  struct PIECE {
    std::int64_t begin;
    std::int64_t end;
    std::int64_t goodEnd;  // what stands before has been read already, although its sector is gone over
  };

  std::uint32_t Run() override;
  bool OnUncaught() override;

  bool Work(bool& isBlockPass);
  void Rest(CDutyCycle& cycle);
  bool ReadBlock();
  bool SkipBlock(const Qorv::sysfileExp& failure);
  void MedPass(std::int64_t start);
  void SectorPass(const PIECE& piece);
  bool ReadSector(CWriter::WRTCMD& command, std::int64_t pos, std::uint64_t known);
  void GiveUpSector(CWriter::WRTCMD& command, std::int64_t pos, std::uint64_t known, std::uint64_t attempts,
                    const Qorv::sysfileExp& failure);

  CWriter::WRTCMD MakeCommand(std::uint64_t size);
  std::uint32_t ReadAt(CWriter::WRTCMD& command, std::int64_t pos, std::uint64_t size);
  void Deliver(CWriter::WRTCMD& command, std::uint64_t size, std::int64_t pos);
  void DeliverRead(CWriter::WRTCMD& command, std::uint64_t size, std::int64_t pos);
  void ReportRecovered(std::int64_t pos, std::uint64_t reads) const;
  void EndRange(CWriter::WRTCMD& unused);
  void ReportFailure(std::int32_t level, const stringEx& tag, stringEx message,
                     const Qorv::sysfileExp& failure) const;
  stringEx MessageAt(std::string_view text, std::int64_t pos) const;
  stringEx ElapsedText(const stringEx& format) const;

  Qorv::CSysFile source_;
  std::int64_t position_ = 0;  // of the next block read
  std::atomic<std::int64_t> goodBytes_{0};
  std::atomic<std::int64_t> tickBytes_{0};  // read since the progress line last took the value
  std::atomic<std::int64_t> bytesToGo_{0};
  const std::int64_t startTime_;  // microseconds
  // Where the work on failed reads ends. A range may reach beyond the source as far as the operator likes,
  // but there is nothing to come back to there, and nothing to fill.
  const std::int64_t faultEnd_;
  std::deque<std::int64_t> medQueue_;
  std::deque<PIECE> sectorQueue_;
  CSpareBuffers spares_;
  CWriter writer_;
};

CReader::CReader(const DUMPPARAM& param)
    : DUMPPARAM(param),
      startTime_(TickMicroseconds()),
      faultEnd_(param.hasSize ? std::min(param.endPos, param.sourceSize) : param.endPos),
      writer_(param, spares_) {
  OpenSource(source_, from);
  bytesToGo_ = beginPos == 0 && endPos == sourceSize ? sourceSize : endPos - beginPos;
  if (beginPos != 0) {
    source_.SeekBegin(beginPos);
    position_ = beginPos;
  }
  writer_.Resume();
  Qorv::CScopeLock<Qorv::FASTKSV_PCLOCK> guard(StateLock());
  Create(false, 0);
  Resume();
}

CReader::~CReader() noexcept(false) {
  if (!TryStop()) Wait(Qorv::waitForever);
}

std::uint32_t CReader::Run() {
  CLog::GDebug("trd.reader", "begin of reading worker thread, tid=%u",
               static_cast<unsigned>(CurrentThreadId()));
  CDutyCycle cycle(coolWorkMinutes, coolRestMinutes, PlainTickMicroseconds());
  bool isBlockPass = true;
  while (!TestStop()) {
    if (Work(isBlockPass)) {
      if (cycle.IsEnabled() && cycle.IsWorkOver(PlainTickMicroseconds())) Rest(cycle);
    } else if (writer_.TryStop() || writer_.Wait(500)) {
      break;
    }
  }
  return 0;
}

// One unit of work. False if there is none left.
bool CReader::Work(bool& isBlockPass) {
  if (isBlockPass) {
    isBlockPass = ReadBlock();
  } else if (!medQueue_.empty()) {
    MedPass(medQueue_.front());
    medQueue_.pop_front();
  } else if (!sectorQueue_.empty()) {
    SectorPass(sectorQueue_.front());
    sectorQueue_.pop_front();
  } else {
    return false;
  }
  return true;
}

// Leaves the drive alone. The writer goes on meanwhile.
void CReader::Rest(CDutyCycle& cycle) {
  CLog::GInfo("trd.reader"_sv, "cooling down"_sv);
  ReportToConsole("## [INFO]: cooling down - "_sv, TimeStamp());
  do {
    if (TestStop()) return;
    Sleep(500);
  } while (!cycle.IsRestOver(PlainTickMicroseconds()));
  CLog::GInfo("trd.reader"_sv, "return to work"_sv);
  ReportToConsole("## [INFO]: return to work - "_sv, TimeStamp());
}

bool CReader::OnUncaught() {
  ReportUncaught("trd.reader", "## [FATAL ERROR] (reading thread): "_sv);
  return false;
}

// Room for a payload of `size` bytes that starts on a sector boundary in memory, as direct access needs.
CWriter::WRTCMD CReader::MakeCommand(std::uint64_t size) {
  if (size > std::numeric_limits<std::uint64_t>::max() - sectorSize) throw std::bad_alloc();
  CWriter::WRTCMD command;
  command.data = spares_.Take(sectorSize + size);
  command.offset = sectorSize - reinterpret_cast<std::uintptr_t>(command.data.data()) % sectorSize;
  return command;
}

std::uint32_t CReader::ReadAt(CWriter::WRTCMD& command, std::int64_t pos, std::uint64_t size) {
  source_.SeekBegin(pos);
  return source_.Read(command.data.writable() + command.offset, size);
}

void CReader::Deliver(CWriter::WRTCMD& command, std::uint64_t size, std::int64_t pos) {
  command.data.set_length(size);
  command.pos = pos;
  writer_.Push(std::move(command));
}

void CReader::DeliverRead(CWriter::WRTCMD& command, std::uint64_t size, std::int64_t pos) {
  Deliver(command, size, pos);
  const auto count = static_cast<std::int64_t>(size);
  goodBytes_ += count;
  tickBytes_ += count;
  bytesToGo_ -= count;
}

stringEx CReader::MessageAt(std::string_view text, std::int64_t pos) const {
  stringEx message(text);
  message.append_int(pos);
  return message.format_append(" (Pos.: %.2f%%, Rate: %.2f%%)", RateOf(pos, sourceSize),
                               RateOf(goodBytes_, sourceSize));
}

// The screen shows the short form; the log has the cause at its most detailed level.
void CReader::ReportFailure(std::int32_t level, const stringEx& tag, stringEx message,
                            const Qorv::sysfileExp& failure) const {
  ReportToConsole(tag, message);
  if (CLog::IsLevelEnabled(Qorv::logLevel::debug)) (message += "\n@ ") += failure.GetMessage();
  CLog::GWrite(level, "trd.reader"_sv, message);
}

void CReader::EndRange(CWriter::WRTCMD& unused) {
  CLog::GDebug("trd.reader"_sv, "reaching the disk ending"_sv);
  spares_.Keep(std::move(unused.data));
}

// Reads on from the file's own position, so that a healthy disk sees one sequential stream. The last block of
// a range is read in full. Returns whether there is more to read.
bool CReader::ReadBlock() {
  if (position_ >= endPos) return false;
  CWriter::WRTCMD command = MakeCommand(blockSize);
  std::uint32_t size = 0;
  try {
    size = source_.Read(command.data.writable() + command.offset, blockSize);
  } catch (const Qorv::sysfileExp& failure) {
    spares_.Keep(std::move(command.data));
    return SkipBlock(failure);
  }
  if (size == 0) {
    spares_.Keep(std::move(command.data));
    return false;
  }
  DeliverRead(command, size, position_);
  position_ = Advance(position_, size);
  return position_ < endPos;
}

bool CReader::SkipBlock(const Qorv::sysfileExp& failure) {
  ReportFailure(Qorv::logLevel::warning, "## [WARNING]: "_sv,
                MessageAt("error reading block at byte position: ", position_), failure);
  for (;;) {
    medQueue_.push_back(position_);
    position_ = Advance(position_, blockSize);
    if (position_ >= faultEnd_) return false;
    try {
      source_.SeekBegin(position_);
      return true;
    } catch (const Qorv::sysfileExp& seekFailure) {
      ReportFailure(Qorv::logLevel::error, "## [ERROR]: "_sv,
                    MessageAt("error seeking to block at byte position: ", position_), seekFailure);
    }
  }
}

// Goes over one failed block. What lies behind a read of nothing is left unfilled.
//
// A short read is a success, and the next piece starts where it would have started anyway. Systems cut a read
// at a bad place as well as at the source's end: unless the end shows next, what the read left of its piece
// goes to the sector pass. Where the block is no multiple of the piece, the last piece is read beyond it, but
// its sectors belong to the block behind.
void CReader::MedPass(std::int64_t start) {
  const std::int64_t end = std::min(Advance(start, blockSize), faultEnd_);
  PIECE rest{};  // of the piece before
  const auto leaveToSectors = [this](const PIECE& piece) {
    if (piece.begin < piece.end) sectorQueue_.push_back(piece);
  };
  for (std::int64_t pos = start; pos < end; pos = Advance(pos, medSize)) {
    const std::int64_t pieceEnd = std::min(Advance(pos, medSize), end);
    CWriter::WRTCMD command = MakeCommand(medSize);
    std::uint32_t size = 0;
    try {
      size = ReadAt(command, pos, medSize);
    } catch (const Qorv::sysfileExp& failure) {
      spares_.Keep(std::move(command.data));
      ReportFailure(Qorv::logLevel::warning, "## [WARNING]: "_sv,
                    MessageAt("error reading med at byte position: ", pos), failure);
      leaveToSectors(std::exchange(rest, {}));
      leaveToSectors({pos, pieceEnd, pos});
      continue;
    }
    if (size == 0) return EndRange(command);
    DeliverRead(command, size, pos);
    leaveToSectors(rest);
    const std::int64_t goodEnd = Advance(pos, size);
    rest = {goodEnd < pieceEnd ? Advance(pos, size / sectorSize * sectorSize) : pieceEnd, pieceEnd, goodEnd};
  }
  leaveToSectors(rest);
}

// Goes over what is left of one med-size piece. A sector that reads short keeps a gap: that is meant.
void CReader::SectorPass(const PIECE& piece) {
  for (std::int64_t pos = piece.begin; pos < piece.end; pos = Advance(pos, sectorSize)) {
    CWriter::WRTCMD command = MakeCommand(sectorSize);
    const std::int64_t known =
        std::clamp<std::int64_t>(piece.goodEnd - pos, 0, static_cast<std::int64_t>(sectorSize));
    if (!ReadSector(command, pos, static_cast<std::uint64_t>(known))) return EndRange(command);
  }
}

// Tries one sector as often as allowed and delivers what came of it, but for the bytes at its head that are known from
// before. False at the end of the source.
bool CReader::ReadSector(CWriter::WRTCMD& command, std::int64_t pos, std::uint64_t known) {
  for (std::uint32_t attempts = 0;; ++attempts) {
    std::uint32_t size = 0;
    try {
      size = ReadAt(command, pos, sectorSize);
    } catch (const Qorv::sysfileExp& failure) {
      if (attempts >= maxRetries) {
        GiveUpSector(command, pos, known, std::uint64_t{attempts} + 1, failure);
        return true;
      }
      if (CLog::IsLevelEnabled(Qorv::logLevel::debug)) {
        CLog::GDebug("trd.reader"_sv, MessageAt("retrying read sector at byte position: ", pos));
      }
      continue;
    }
    if (size == 0) return false;
    command.offset += known;
    if (size > known)
      DeliverRead(command, size - known, Advance(pos, known));
    else
      spares_.Keep(std::move(command.data));
    if (attempts != 0) ReportRecovered(pos, std::uint64_t{attempts} + 1);
    return true;
  }
}

// `reads` counts the reads in all, the failed ones and the good one. The message ends without a line break,
// so that the next progress line stands behind it.
void CReader::ReportRecovered(std::int64_t pos, std::uint64_t reads) const {
  stringEx message("sector at byte position: ");
  (message.append_int(pos) += " successfully recovered with ").append_uint(reads) += " retries.";
  CLog::GInfo("trd.reader"_sv, message);
  console.WriteGuarded("## [INFO]: "_sv);
  console.WriteGuarded(message);
}

void CReader::GiveUpSector(CWriter::WRTCMD& command, std::int64_t pos, std::uint64_t known,
                           std::uint64_t attempts, const Qorv::sysfileExp& failure) {
  stringEx message = MessageAt("failed reading sector at byte position: ", pos);
  (message += " with ").append_uint(attempts) += " attempts.";
  ReportFailure(Qorv::logLevel::error, "## [ERROR]: "_sv, message, failure);
  const std::uint64_t lost = sectorSize - known;
  command.offset += known;
  std::fill_n(command.data.writable() + command.offset, lost, fillByte);
  Deliver(command, lost, Advance(pos, known));
  bytesToGo_ -= static_cast<std::int64_t>(lost);
}

stringEx CReader::ElapsedText(const stringEx& format) const {
  stringEx text;
  Qorv::CTimeSpan(TickMicroseconds() - startTime_).Format(text, format);
  return text;
}

stringEx CReader::FormatProgress(double seconds) {
  constexpr double megabyte = 0x1p20;
  stringEx line;
  line.format("Recovery Rate: %.2f%% [%.2fMB/s, ", RateOf(goodBytes_, sourceSize),
              static_cast<double>(tickBytes_) / megabyte / seconds);
  tickBytes_ = 0;  // what comes in between is lost to the speed, but not to the rate
  const std::int64_t toGo = bytesToGo_;
  const auto exact = static_cast<double>(toGo);
  if (toGo >= 0x20000000000) {
    line.format_append("%.2fTB to go, ", exact / 0x1p40);
  } else if (toGo > 0x7fffffff) {
    line.format_append("%.2fGB to go, ", exact / 0x1p30);
  } else {
    line.format_append("%.2fMB to go, ", exact / megabyte);
  }
  return line += ElapsedText("%TH:%PM:%PS elapsed]"_sv);
}

stringEx CReader::FormatFinal() const {
  stringEx line;
  line.format("Done, Total recovery rate: %.2f%%, Took time: ", RateOf(goodBytes_, sourceSize));
  return line += ElapsedText("%TH:%PM:%PS."_sv);
}

// The foreground

bool WantsUsage(const CCmdLineArgs& args) {
  return !args.Has("from") || !args.Has("to") || args.FindExact("?") >= 0 || args.Has("h") ||
         args.Has("-help");
}

// Shows the plan and waits for one key.
bool Confirm(const stringEx& summary) {
  Qorv::CConsoleTerm term;
  term << summary << "\n\ncontinue? press [y/N]:";
  Qorv::KEYEVENT key;
  term.ReadKey(key);
  const bool isYes = key.ch == 'y' || key.ch == 'Y';
  if (!isYes && CLog::IsLevelEnabled(Qorv::logLevel::notice)) {
    CLog::GNotice("main"_sv, "user abort:\n"_sv + summary);
  }
  std::cerr << "\n";
  return isYes;
}

void Dump(const DUMPPARAM& param) {
  CReader reader(param);
  while (!reader.Wait(1000))
    console.ShowProgress(reader.FormatProgress(1));
  const stringEx line = reader.FormatFinal();
  CLog::GNotice("main"_sv, line);
  console.WriteGuarded(line);
  console.WriteGuarded("\n"_sv);
  console.WriteGuarded("\n"_sv);
}

int HandleCommand(int argc, char** argv) {
  ShowBanner(std::cout);
  CCmdLineArgs args("-", ":=");
  args.Parse(argc, argv);
  if (WantsUsage(args)) {
    ShowUsage(std::cout);
    return 0;
  }
  SetupLogging(args);
  LogStart(args);
  SetupPriority(args);
  const DUMPPARAM param = MakePlan(args);
  const stringEx summary = MakeSummary(param);
  if (!Confirm(summary)) return 0;
  CLog::GInfo("main", "recovery start\n%s", summary.data());
  Dump(param);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return HandleCommand(argc, argv);
  } catch (...) {
    return ReportFatal();
  }
}
