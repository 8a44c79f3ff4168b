#include "process/signal_report.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <string_view>

#include <qorv/thread.h>

namespace Qorv::IMPL {
namespace {

struct REASONROW {
  int code;
  std::string_view text;
};
using ReasonTable = std::span<const REASONROW>;

constexpr REASONROW illegalReasons[] = {
    {ILL_ILLOPC, "Illegal opcode"},          {ILL_ILLOPN, "Illegal operand"},
    {ILL_ILLADR, "Illegal addressing mode"}, {ILL_ILLTRP, "Illegal trap"},
    {ILL_PRVOPC, "Privileged opcode"},       {ILL_PRVREG, "Privileged register"},
    {ILL_COPROC, "Coprocessor error"},       {ILL_BADSTK, "Internal stack error"},
};

// A division by zero in floating point is not here: it is told as unknown. That is meant.
constexpr REASONROW arithmeticReasons[] = {
    {FPE_INTOVF, "Integer overflow"},
    {FPE_INTDIV, "Integer divide by zero"},
    {FPE_FLTOVF, "Floating-point overflow"},
    {FPE_FLTUND, "Floating-point underflow"},
    {FPE_FLTRES, "Floating-point inexact result"},
    {FPE_FLTINV, "Invalid floating-point operation"},
    {FPE_FLTSUB, "Subscript out of range"},
};

constexpr REASONROW busReasons[] = {
    {BUS_ADRALN, "Invalid address alignment"},
    {BUS_ADRERR, "Nonexistent physical address"},
};

constexpr REASONROW segmentReasons[] = {
    {SEGV_MAPERR, "Address not mapped to object"},
    {SEGV_ACCERR, "Invalid permissions for mapped object"},
};

struct SIGNALROW {
  int number;
  std::string_view description;
  std::string_view name;
  ReasonTable reasons;  // none: the signal has no reasons
};

constexpr SIGNALROW signalRows[] = {
    {SIGILL, "illegal instruction", " (SIGILL)", illegalReasons},
    {SIGTRAP, "a breakpoint has reached", " (SIGTRAP)", {}},
    {SIGABRT, "program aborted", " (SIGABRT)", {}},
    {SIGFPE, "arithmetic exception", " (SIGFPE)", arithmeticReasons},
    {SIGBUS, "hardware fault", " (SIGBUS)", busReasons},
    {SIGSEGV, "invalid memory reference", " (SIGSEGV)", segmentReasons},
    {SIGSYS, "invalid system call", " (SIGSYS)", {}},
};

std::string_view ReasonOf(ReasonTable reasons, int code) noexcept {
  if (reasons.empty()) return "none";
  const auto row = std::ranges::find(reasons, code, &REASONROW::code);
  return row != reasons.end() ? row->text : "Unknown Reason";
}

}  // namespace

std::span<const int> FatalSignals() noexcept {
  static constexpr auto numbers = [] {
    std::array<int, std::size(signalRows)> result{};
    std::ranges::transform(signalRows, result.begin(), &SIGNALROW::number);
    return result;
  }();
  return numbers;
}

stringEx DescribeSignal(int number, const siginfo_t& info, const void* context) {
  const auto row = std::ranges::find(signalRows, number, &SIGNALROW::number);
  const bool isKnown = row != std::end(signalRows);
  stringEx text(isKnown ? row->description : "unknown system error");
  text += "\n  signal number   = ";
  text.append_int(number);
  if (isKnown) {
    text += row->name;
    text += "\n  reason code     = ";
    text += ReasonOf(row->reasons, info.si_code);
    text += " (";
    text.append_int(info.si_code) += ")\n";
  } else {
    text += "\n  reason code     = unknown\n";
  }
  text += "  pid             = ";
  text.append_int(::getpid());
  text += "\n  tid             = ";
  text.append_uint(TThread::CurrentThreadId());
  text += "\n  error number    = ";
  text += std::strerror(info.si_errno);
  text += " (";
  text.append_int(info.si_errno) += ")\n";
  text.format_append("  roughly address = %p\n", info.si_addr);
  text.format_append("  thread context  = %p", context);
  return text;
}

}  // namespace Qorv::IMPL
