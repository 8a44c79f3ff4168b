// What the machine is, and the report of it.
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <iterator>

#include <qorv/process.h>
#include <qorv/sync.h>
#include <qorv/time.h>

#include "misc/posix/platform.h"

namespace Qorv {
namespace {

struct NAMEROW {
  std::uint32_t code;
  const char* name;
};

constexpr std::uint32_t unixFamily = 4;

constexpr NAMEROW families[] = {
    {1, "MS DOS"},
    {2, "MS Windows"},
    {unixFamily, "UNIX like (POSIX)"},
    {8, "IBM OS/2"},
    {16, "Apple Mac OS 9 or earlier"},
    {32, "Plan 9 from Bell Labs"},
};

constexpr NAMEROW products[] = {
    {2, "<NONE>"},
    {0x10000001, "Windows 3.x"},
    {0x10000002, "Win32s on Win3.1"},
    {0x10000004, "Windows 9x/ME"},
    {0x10000008, "Windows NT"},
    {0x10000010, "Windows Emu on un*x/linux"},
    {0x10000020, "Windows CE / Windows Mobile"},
    {0x20000001, "Linux"},
    {0x20000002, "FreeBSD"},
    {0x20000004, "OpenBSD"},
    {0x20000008, "NetBSD"},
    {0x20000010, "Darwin / Mac OS X"},
    {0x20000020, "KYLIN"},
    {0x20000040, "Sun Solaris / OpenSolaris"},
    {0x20000080, "SCO UNIX (SCO OpenServer / UnixWare)"},
    {0x20000100, "BeOS"},
    {0x20000200, "HP-UX"},
    {0x20000400, "SGI IRIX"},
    {0x20000800, "IBM AIX"},
    {0x20001000, "HP OpenVMS"},
    {0x20002000, "GNU/Hurd"},
    {0x20004000, "QNX"},
    {0x20008000, "MINIX"},
    {0x20010000, "eCos"},
    {0x20020000, "DragonFly BSD"},
    {0x20040000, "INTEGRITY"},
    {0x20080000, "LynxOS"},
    {0x20100000, "Cygwin"},
    {0x20200000, "Interix (Microsoft SFU)"},
    {0x20400000, "Google Native Client"},
};

constexpr NAMEROW editions[] = {{1, "Server"}, {2, "Station"}};

constexpr NAMEROW processors[] = {
    {1, "x86"}, {2, "ia64"}, {3, "ppc"}, {4, "alpha"}, {5, "arm"}, {6, "mips"}, {7, "sparc"}, {8, "llvm-ir"},
};

template <std::size_t count>
const char* NameOf(const NAMEROW (&rows)[count], std::uint32_t code) noexcept {
  const auto row = std::ranges::find(rows, code, &NAMEROW::code);
  return row != std::end(rows) ? row->name : "<Unknown>";
}

// The name that the system gives its machine, by the start of it.
struct MACHINEROW {
  const char* start;
  std::uint32_t processor;
};
constexpr MACHINEROW machines[] = {
    {"x86", 1},  {"amd64", 1},   {"i386", 1}, {"i486", 1},    {"i586", 1},
    {"i686", 1}, {"ia64", 2},    {"ppc", 3},  {"powerpc", 3}, {"alpha", 4},
    {"arm", 5},  {"aarch64", 5}, {"mips", 6}, {"sparc", 7},   {"sun4", 7},
};

std::uint32_t ProcessorOf(const stringEx& machine) noexcept {
  const auto row = std::ranges::find_if(machines, [&machine](const MACHINEROW& known) {
    return machine.starts_with(std::string_view(known.start));
  });
  return row != std::end(machines) ? row->processor : 0;
}

// The numbers that a text such as "6.1.0-18-amd64" begins with: two of the system, two of its service level.
void ReadVersion(const stringEx& text, PLATFORMINFO& info) noexcept {
  std::uint32_t* const numbers[] = {&info.version[0], &info.version[1], &info.serviceLevel[0],
                                    &info.serviceLevel[1]};
  std::uint64_t at = 0;
  for (std::uint32_t* const number : numbers) {
    std::uint64_t consumed = 0;
    const std::int64_t value = text.to_int64(at, npos, 10, 0, &consumed);
    if (consumed == 0 || value < 0) return;
    *number = static_cast<std::uint32_t>(value);
    at += consumed;
    if (at >= text.length() || (text[at] != '.' && text[at] != '-')) return;
    ++at;
  }
}

PLATFORMINFO AskPlatform() {
  PLATFORMINFO info;
  info.family = unixFamily;
  info.product = IMPL::platform::ProductCode();
  info.isMultiProcessor = IMPL::platform::ProcessorCount() > 1;
  if (const long size = ::sysconf(_SC_PAGESIZE); size > 0) info.pageSize = static_cast<std::uint32_t>(size);
  utsname system;
  if (::uname(&system) < 0) return info;
  info.versionText = system.release;
  ReadVersion(info.versionText, info);
  const stringEx machine(system.machine);
  info.processor = ProcessorOf(machine);
  info.systemWidth = std::max(machine.find("64") != npos ? 64U : 32U, CPlatform::GetTargetWidth());
  return info;
}

constexpr auto rule = "  ----------------------------------------";

}  // namespace

const PLATFORMINFO& CPlatform::GetInfo() {
  static const PLATFORMINFO info = AskPlatform();
  return info;
}

const char* CPlatform::FamilyName(std::uint32_t code) noexcept {
  return NameOf(families, code);
}
const char* CPlatform::ProductName(std::uint32_t code) noexcept {
  return NameOf(products, code);
}
const char* CPlatform::EditionName(std::uint32_t code) noexcept {
  return NameOf(editions, code);
}
const char* CPlatform::ProcessorName(std::uint32_t code) noexcept {
  return NameOf(processors, code);
}

std::uint32_t CPlatform::GetTargetWidth() noexcept {
  return sizeof(void*) * CHAR_BIT;
}

std::int64_t CPlatform::GetUptime() noexcept {
  return IMPL::platform::Uptime();
}

stringEx CPlatform::Report() {
  const PLATFORMINFO& info = GetInfo();
  stringEx text("Platform information:\n");
  const auto add = [&text](const char* name, const auto&... values) {
    text += name;
    ((text += values), ...);
    text += "\n";
  };
  const auto number = [](std::uint32_t value) { return stringEx().append_uint(value); };
  const auto pair = [&](const std::uint32_t(&values)[2]) {
    return number(values[0]) + "." + number(values[1]);
  };
  stringEx uptime;
  CTimeSpan(GetUptime()).Format(uptime, "%TD Days %PH:%PM:%PS.%Pms"_sv);
  const stringEx edition = info.edition != 0 ? stringEx(" (") + EditionName(info.edition) + ")" : stringEx();

  add(rule);
  add("  Type of OS = ", FamilyName(info.family));
  add("  OS product = ", ProductName(info.product), edition);
  add("  OS version = ", pair(info.version));
  add("  SP version = ", pair(info.serviceLevel));
  add("  Page size  = ", number(info.pageSize), " bytes");
  add("  Uptime     = ", uptime);
  add(rule);
  add("  Processor type    = ", ProcessorName(info.processor));
  add("  System width      = ", number(info.systemWidth), " bits");
  add("  Target width      = ", number(GetTargetWidth()), " bits");
  add("  Actual byte-order = ", std::endian::native == std::endian::little ? "LE" : "BE");
  add("  Multi-processor   = ", info.isMultiProcessor ? "true" : "false");
  add(rule);
  add("  Compiler info = ", CompilerText());
  add("  Build options = ", BuildOptionText());
  text += rule;
  return text;
}

}  // namespace Qorv
