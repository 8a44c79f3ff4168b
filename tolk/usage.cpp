#include "usage.h"

#include <cstdint>
#include <ostream>

namespace {

// 78 "=" characters.
#define RULE "==============================================================================\n"

constexpr std::uint32_t version = 134235115;

// major, minor, build and revision, from the top bit down
constexpr std::uint32_t Bits(std::uint32_t from, std::uint32_t count) {
  return version >> from & ((std::uint32_t{1} << count) - 1);
}

// clang-format off
constexpr char usageText[] =
    "  Try to dump physically damaged disk or files\n"
    "\n"
    "[USAGE]: tolk {-from|-fromdisk} {-to|-todisk} [Options]\n"
    "\n"
    RULE
    "Options:\n"
    "  -from:    - specify the source device or file path.\n"
    "  -to:      - specify the destination device or file path.\n"
    "  -sector:  - specify the sector or stripe size for the storage device.\n"
    "                DEFAULT: auto detect (NOTE: may be faked by driver).\n"
    "  -block:   - specify the maximum size per io operation should be taked.\n"
    "                DEFAULT: 1MB.\n"
    "  -maxbuf:  - specify maximum size of the buffer queue between the reading.\n"
    "              thread and the writing thread.\n"
    "                DEFAULT: smaller one of 256 blocks and one-thirdd of the\n"
    "                current available (free) physical memory.\n"
    "  -retry:   - maximum number of retries for a sector read error, DEFAULT: 0.\n"
    "  -fill:    - specify the fill value for bad sectors, DEFAULT: 0x00.\n"
    "  -secrange:- specify the sector range to dump. format is: [<begin>][-<end>].\n"
    "              the sector number counted from 0.\n"
    "                DEFAULT: dump whole source.\n"
    "  -perrange:- specify the percentage range to dump. format: [<begin>][-<end>].\n"
    "                DEFAULT: '0.00-100.00' (top to tail).\n"
    "  -aligned  - data will be written to the target in alignment with the source\n"
    "              offset position.\n"
    "                DEFAULT: overwrite the target file from the beginning.\n"
    "  -logfile: - write logging to specified logfile.\n"
    "                DEFAULT: use './tolk_YYYYMMDD-hhmm.log'\n"
    "  -loglevel:- specify the lowest logging level, could be:\n"
    "                DebugOnly (Most Detail)\n"
    "                Info (DEFAULT)\n"
    "                Warning\n"
    "                Error\n"
    "                FatalError\n"
    "                Disabled (Close Logging Output)\n"
    "  -priority:- specify the process running priority, can be:\n"
    "                Idle\n"
    "                BelowNormal\n"
    "                Normal (DEFAULT)\n"
    "                AboveNormal\n"
    "                High\n"
    "                Realtime\n"
    "  -cooldown:- specify the duty-cycle for cooling down the device. the format\n"
    "              is 'MM/mm'. e.g.: '30/10' means 10-minute cooling down break \n"
    "              every 30 minutes.\n"
    "                DEFAULT: no cooling down break.\n"
    "  -h or -?  - this screen.\n"
    "  --help    - this screen.\n"
    "\n"
    RULE
    "Windows Only Options:\n"
    "  -fromdisk: - specify the source disk number. '-fromdisk:X' is a shortened\n"
    "               form of '-from:\"\\\\.\\PhysicalDriveX\"', wherein X belongs [0..9].\n"
    "  -todisk:   - specify the source disk number. '-todisk:X' is a shortened form\n"
    "               of '-to:\"\\\\.\\PhysicalDriveX\"', wherein X belongs [0..9].\n"
    "\n"
    RULE
    "Recognized size representaion for '-sector', '-block' and '-maxbuf' options:\n"
    "  Decimal digital with suffix 'm' or 'mb' (case-insensitive):\n"
    "    recognized as megabytes.\n"
    "  Decimal digital with suffix 'k' or 'kb' (case-insensitive):\n"
    "    recognized as kilobytes.\n"
    "  Decimal digital with no or others suffix: recognized as bytes.\n"
    "\n"
    RULE
    "Recognized value representaion for '-fill' option:\n"
    "  Hexadecimal, Prefix: 0x, x (case-insensitive)\n"
    "  Octal,       Prefix: 0\n"
    "  Binary,      Prefix: 0b, b (case-insensitive)\n"
    "  Decimal,     Prefix: NONE (1-9)\n"
    "\n"
    RULE
    "Identify the device name:\n"
    "  On Windows platform, The storage device number could be identified by using\n"
    "  the Disk Manager (right click 'My Computer' and select 'Management').\n"
    "\n"
    "  On linux and other unix like platforms, the device can be found in the /dev\n"
    "  folder.\n"
    "\n"
    RULE
    "Examples:\n"
    "  tolk -from:/dev/sda -to:~/disk.img -logfile:~/tolk-sda.log\n"
    "  tolk -fromdisk:1 -todisk:2 -sector:4k\n"
    "  tolk -fromdisk:1 -to:datapart2.img -sector:4k -perrange:51.45-87.5\n"
    "  tolk -from:\"D:\\My Data\\file.dat\" -to:E:\\rec.dat -retry:3 -fill:B10101010\n"
    "  tolk -fromdisk:1 -to:D:\\disk.img -sector:4k -priority:idle\n"
    "  tolk -from:/dev/sda -to:/data/disk.img -cooldown:20/5\n"
    "  tolk -from:/dev/sda -to:/data/disk.img -perrange:34.25\n"
    "  tolk -from:/dev/sda -to:/data/disk.img -secrange:-11785600\n"
    "\n";
// clang-format on

}  // namespace

Qorv::stringEx GetVersion() {
  const std::uint32_t revision = Bits(0, 11);
  Qorv::stringEx text;
  text.append_uint(Bits(27, 5)).append('.').append_uint(Bits(22, 5)).append('.').append_uint(Bits(11, 11));
  text += revision <= 999 ? "-0" : "-";
  return text.append_uint(revision);
}

void ShowBanner(std::ostream& out) {
  out << "\n" RULE "  Tolk Ver " << GetVersion() << "\n" RULE << std::endl;
}

void ShowUsage(std::ostream& out) {
  out << usageText << std::endl;
}
