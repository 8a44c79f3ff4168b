// How a process dies: status and whole report of a child that dies in every way.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

#include <qorv/string.h>

#include "support/row_name.h"

namespace {

struct DEATH {
  int status = 0;
  std::string text;  // with numbers that differ from run to run as N
};

std::string Neutral(const std::string& text) {
  const char* const varying[] = {"(pid {13}= )\\d+", "(tid {13}= )\\d+", "(tid=)\\d+",
                                 "(roughly address = )(0x[0-9a-f]+|\\(nil\\))",
                                 "(thread context  = )0x[0-9a-f]+"};
  Qorv::stringEx result(text.c_str());
  for (const char* const pattern : varying)
    result.regex_replace(pattern, "\\1N");
  return result.data();
}

DEATH Die(const std::vector<std::string>& arguments) {
  int ends[2];
  if (::pipe(ends) != 0) return {-1, "no pipe"};
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(ends[1], STDERR_FILENO);
    ::close(ends[0]);
    ::close(ends[1]);
    std::vector<char*> texts{const_cast<char*>(QORV_FATAL_CHILD)};
    for (const std::string& argument : arguments)
      texts.push_back(const_cast<char*>(argument.c_str()));
    texts.push_back(nullptr);
    ::execv(texts[0], texts.data());
    ::_exit(99);
  }
  ::close(ends[1]);
  DEATH death;
  char chunk[512];
  for (ssize_t count = 0; (count = ::read(ends[0], chunk, sizeof(chunk))) > 0;)
    death.text.append(chunk, static_cast<std::size_t>(count));
  ::close(ends[0]);
  ::waitpid(child, &death.status, 0);
  death.text = Neutral(death.text);
  return death;
}

int ExitOf(const DEATH& death) {
  return WIFEXITED(death.status) ? WEXITSTATUS(death.status) : -WTERMSIG(death.status);
}

struct SignalRow {
  const char* name;
  int number;
  int code;
  const char* description;
  const char* symbol;
  const char* reason;
};

const SignalRow signalRows[] = {
    {"IllOpcode", SIGILL, ILL_ILLOPC, "illegal instruction", "SIGILL", "Illegal opcode"},
    {"IllOperand", SIGILL, ILL_ILLOPN, "illegal instruction", "SIGILL", "Illegal operand"},
    {"IllAddressing", SIGILL, ILL_ILLADR, "illegal instruction", "SIGILL", "Illegal addressing mode"},
    {"IllTrap", SIGILL, ILL_ILLTRP, "illegal instruction", "SIGILL", "Illegal trap"},
    {"IllPrivilegedOpcode", SIGILL, ILL_PRVOPC, "illegal instruction", "SIGILL", "Privileged opcode"},
    {"IllPrivilegedRegister", SIGILL, ILL_PRVREG, "illegal instruction", "SIGILL", "Privileged register"},
    {"IllCoprocessor", SIGILL, ILL_COPROC, "illegal instruction", "SIGILL", "Coprocessor error"},
    {"IllStack", SIGILL, ILL_BADSTK, "illegal instruction", "SIGILL", "Internal stack error"},
    {"FpeOverflow", SIGFPE, FPE_INTOVF, "arithmetic exception", "SIGFPE", "Integer overflow"},
    {"FpeDivision", SIGFPE, FPE_INTDIV, "arithmetic exception", "SIGFPE", "Integer divide by zero"},
    {"FpeFloatDivision", SIGFPE, FPE_FLTDIV, "arithmetic exception", "SIGFPE", "Unknown Reason"},
    {"FpeFloatOverflow", SIGFPE, FPE_FLTOVF, "arithmetic exception", "SIGFPE", "Floating-point overflow"},
    {"FpeFloatUnderflow", SIGFPE, FPE_FLTUND, "arithmetic exception", "SIGFPE", "Floating-point underflow"},
    {"FpeInexact", SIGFPE, FPE_FLTRES, "arithmetic exception", "SIGFPE", "Floating-point inexact result"},
    {"FpeInvalid", SIGFPE, FPE_FLTINV, "arithmetic exception", "SIGFPE", "Invalid floating-point operation"},
    {"FpeSubscript", SIGFPE, FPE_FLTSUB, "arithmetic exception", "SIGFPE", "Subscript out of range"},
    {"BusAlignment", SIGBUS, BUS_ADRALN, "hardware fault", "SIGBUS", "Invalid address alignment"},
    {"BusAddress", SIGBUS, BUS_ADRERR, "hardware fault", "SIGBUS", "Nonexistent physical address"},
    {"SegvUnmapped", SIGSEGV, SEGV_MAPERR, "invalid memory reference", "SIGSEGV",
     "Address not mapped to object"},
    {"SegvForbidden", SIGSEGV, SEGV_ACCERR, "invalid memory reference", "SIGSEGV",
     "Invalid permissions for mapped object"},
    {"SegvUnknown", SIGSEGV, 77, "invalid memory reference", "SIGSEGV", "Unknown Reason"},
    {"Trap", SIGTRAP, TRAP_BRKPT, "a breakpoint has reached", "SIGTRAP", "none"},
    {"Sys", SIGSYS, 1, "invalid system call", "SIGSYS", "none"},
};

class FatalSignal : public testing::TestWithParam<SignalRow> {};

TEST_P(FatalSignal, IsReported) {
  const SignalRow& row = GetParam();
  const DEATH death = Die({"signal", std::to_string(row.number), std::to_string(row.code)});
  EXPECT_EQ(ExitOf(death), 255);
  EXPECT_EQ(death.text,
            std::string("unrecoverable underlaying error ocurred: ") + row.description +
                "\n  signal number   = " + std::to_string(row.number) + " (" + row.symbol +
                ")\n  reason code     = " + row.reason + " (" + std::to_string(row.code) +
                ")\n  pid             = N\n  tid             = N\n"
                "  error number    = Success (0)\n  roughly address = N\n  thread context  = N\n");
}

INSTANTIATE_TEST_SUITE_P(Fatal, FatalSignal, testing::ValuesIn(signalRows), rowName);

const char* const aborted =
    "unrecoverable underlaying error ocurred: program aborted\n  signal number   = 6 (SIGABRT)\n"
    "  reason code     = none (-6)\n  pid             = N\n  tid             = N\n"
    "  error number    = Success (0)\n  roughly address = N\n  thread context  = N\n";
const std::string terminated = "process has been terminated in an unexpected way\n";

struct EndRow {
  const char* name;
  std::vector<std::string> arguments;
  std::string text;
};

const EndRow endRows[] = {
    {"Abort", {"abort"}, aborted},
    {"OfTheLibrary",
     {"throw", "library"},
     terminated + "an uncaught exception has occured (tid=N)\n@ first line\nsecond line\n"},
    {"OfTheStandard",
     {"throw", "standard"},
     terminated + "an uncaught exception has occured (tid=N)\n@ of the standard\n"},
    {"OfNobody",
     {"throw", "nobody"},
     terminated + "an uncaught exception has occured (tid=N)\n@ unknown system error\n"},
    {"NoException", {"terminate"}, terminated},
    {"FaultInTheReport", {"throw", "faulty"}, terminated + aborted},
    {"MemoryExhausted", {"memory"}, "not enough memory\n"},
    {"SettingsTakenBack", {"settings"}, aborted},
    {"Wanted", {"exit"}, ""},
};

class End : public testing::TestWithParam<EndRow> {};

TEST_P(End, HasItsStatusAndItsWords) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  if (GetParam().arguments[0] == "memory") GTEST_SKIP() << "a sanitizer's allocator asks no handler";
#endif
  const DEATH death = Die(GetParam().arguments);
  EXPECT_EQ(ExitOf(death), 255);
  EXPECT_EQ(death.text, GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Fatal, End, testing::ValuesIn(endRows), rowName);

TEST(Fatal, DivisionInAWorkerEndsTheProcess) {
  const DEATH death = Die({"worker"});
  EXPECT_EQ(ExitOf(death), 255);
  EXPECT_NE(death.text.find("  reason code     = Integer divide by zero (1)\n"), std::string::npos)
      << death.text;
}

TEST(Fatal, WriteToAClosedPipeIsAFailureOfTheCall) {
  EXPECT_EQ(ExitOf(Die({"pipe"})), 0);
}

}  // namespace
