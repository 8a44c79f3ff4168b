// The console terminal, in child processes on terminals of their own.
#include <fcntl.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <memory>
#include <string_view>

#include <gtest/gtest.h>

#include <qorv/file.h>

#include "file/pty_child.h"
#include "support/failure.h"
#include "support/row_name.h"

namespace {

using namespace std::string_view_literals;
using Qorv::CConsoleTerm;
using Qorv::KEYEVENT;
using Qorv::stringEx;
using TestSupport::CPtyChild;
using TestSupport::FailureOf;

// The settings that the terminal object answers for, by name.
std::string Describe(const termios& attributes) {
  const struct {
    const char* name;
    tcflag_t set;
  } flags[] = {
      {"IGNCR ", attributes.c_iflag & IGNCR},   {"ICRNL ", attributes.c_iflag & ICRNL},
      {"ICANON ", attributes.c_lflag & ICANON}, {"ECHO ", attributes.c_lflag & ECHO},
      {"ECHOE ", attributes.c_lflag & ECHOE},   {"ISIG ", attributes.c_lflag & ISIG},
      {"OPOST ", attributes.c_oflag & OPOST},
  };
  std::string text;
  for (const auto& flag : flags)
    if (flag.set != 0) text += flag.name;
  return text + "min " + std::to_string(attributes.c_cc[VMIN]) + " time " +
         std::to_string(attributes.c_cc[VTIME]);
}

// Those of the calling process's own terminal.
std::string Settings() {
  termios attributes{};
  const int terminal = open("/dev/tty", O_RDWR | O_NOCTTY);
  tcgetattr(terminal, &attributes);
  close(terminal);
  return Describe(attributes);
}

void ChangeSettings(void (*change)(termios&)) {
  termios attributes{};
  const int terminal = open("/dev/tty", O_RDWR | O_NOCTTY);
  tcgetattr(terminal, &attributes);
  change(attributes);
  tcsetattr(terminal, TCSANOW, &attributes);
  close(terminal);
}

// Blocks until so many keys wait to be read.
void WaitForKeys(int count) {
  const int terminal = open("/dev/tty", O_RDWR | O_NOCTTY);
  for (int waiting = 0; waiting < count; sched_yield())
    ioctl(terminal, FIONREAD, &waiting);
  close(terminal);
}

void DropWaitingKeys() {
  const int terminal = open("/dev/tty", O_RDWR | O_NOCTTY);
  tcflush(terminal, TCIFLUSH);
  close(terminal);
}

std::string Fields(const KEYEVENT& key) {
  return std::to_string(key.code) + ' ' + std::to_string(key.repeat) + ' ' + key.ch + ' ' +
         std::to_string(key.state);
}

const char* const usual = "ICRNL ICANON ECHO ECHOE ISIG OPOST min 1 time 0";
const char* const changed = "ISIG OPOST min 1 time 0";

TEST(ConsoleTerm, ChangesTheSettingsAndPutsThemBack) {
  CPtyChild child([] {
    std::string seen = Settings();
    {
      const CConsoleTerm term;
      seen += '\n' + Settings();
    }
    return seen + '\n' + Settings();
  });
  EXPECT_EQ(std::string(usual) + '\n' + changed + '\n' + usual, child.Result());
  EXPECT_EQ(usual, Describe(child.Attributes()));
}

TEST(ConsoleTerm, EachOfTwoPutsBackWhatItFound) {
  CPtyChild child([] {
    ChangeSettings([](termios& attributes) {
      attributes.c_iflag |= IGNCR;
      attributes.c_lflag &= ~tcflag_t{ECHOE};
      attributes.c_cc[VTIME] = 3;
    });
    auto first = std::make_unique<CConsoleTerm>();
    KEYEVENT key;
    first->ReadKey(key, 0);
    std::string seen = Settings();
    {
      const CConsoleTerm second;
      ChangeSettings([](termios& attributes) { attributes.c_lflag |= ECHO; });
    }
    seen += '\n' + Settings();
    first.reset();
    return seen + '\n' + Settings();
  });
  EXPECT_EQ(std::string(changed) + '\n' + changed + "\nIGNCR ICRNL ICANON ECHO ISIG OPOST min 1 time 3",
            child.Result());
}

TEST(ConsoleTerm, ControlCStillEndsTheProcess) {
  CPtyChild child([] {
    CConsoleTerm term;
    term.Write("ready");
    KEYEVENT key;
    term.ReadKey(key);
    return std::string("a key");
  });
  child.WaitFor("ready");
  child.Type("\x03");
  EXPECT_EQ("signal " + std::to_string(SIGINT), child.Result());
}

struct KeyRow {
  const char* name;
  const char* keys;
  std::string (*body)(CConsoleTerm& term);  // runs when all keys wait to be read
  const char* result;
  const char* screen;
};

stringEx Line(CConsoleTerm& term, std::uint64_t limit) {
  stringEx line("old");
  term.ReadLine(line, limit);
  return line;
}

const KeyRow keyRows[] = {
    {"ReadKeyFillsTheCharacterAlone", "x",
     [](CConsoleTerm& term) {
       KEYEVENT key{1, 2, '-', 3};
       term.ReadKey(key);
       return Fields(key);
     },
     "1 2 x 3", ""},
    {"EnterAndNulAreKeys", "\r\n",
     [](CConsoleTerm& term) {
       KEYEVENT first, second;
       term.ReadKey(first);
       term.ReadKey(second);
       return std::to_string(first.ch) + ' ' + std::to_string(second.ch);
     },
     "13 10", ""},
    {"TimedReadKeepsTheRestForLater", "abc",
     [](CConsoleTerm& term) {
       KEYEVENT keys[3] = {{1, 2, '-', 3}, {1, 2, '-', 3}, {1, 2, '-', 3}};
       bool got = term.ReadKey(keys[0], 0);
       DropWaitingKeys();
       term.ReadKey(keys[1]);
       got = term.ReadKey(keys[2], 0) && got;
       KEYEVENT none{1, 2, '-', 3};
       got = !term.ReadKey(none, 0) && got;
       return std::string(got ? "" : "wrong results ") + Fields(keys[0]) + ", " + Fields(keys[1]) + ", " +
              Fields(keys[2]) + ", " + Fields(none);
     },
     "1 2 a 3, 0 0 b 0, 0 0 c 0, 1 2 - 3", ""},
    {"WithoutALimitOfTime", "z",
     [](CConsoleTerm& term) {
       KEYEVENT key;
       const bool got = term.ReadKey(key, Qorv::waitForever);
       return std::string(got ? "" : "no key ") + Fields(key);
     },
     "0 0 z 0", ""},
    {"EchoWritesEachKeyOnce", "abcd",
     [](CConsoleTerm& term) {
       term.SetEcho(true);
       KEYEVENT key;
       term.ReadKey(key);
       term.ReadKey(key, 0);
       term.Write("|");
       term.ReadKey(key);
       return Fields(key);
     },
     "0 0 c 0", "abcd|"},
    {"LineEndsAtEnter", "one\rtwo\n",
     [](CConsoleTerm& term) {
       const std::string first = Line(term, 80).data();
       return first + '+' + Line(term, 80).data();
     },
     "one+two", ""},
    {"LinePassesOverWhatIsBeyondItsLimit", "abcdef\x7f\r",
     [](CConsoleTerm& term) {
       term.SetEcho(true);
       return std::string(Line(term, 3).data());
     },
     "ab", "abc\b \b\r\n"},
    {"LineTakesBackNoMoreThanThereIs", "a\b\x7f\bxy\x7fz\r",
     [](CConsoleTerm& term) {
       term.SetEcho(true);
       stringEx line;
       term.ReadLine(line, 80, "<");
       return std::string(line.data());
     },
     "xz", "a<xy<z\r\n"},
    {"LineStartsWithTheKeysReadAhead", "abc\r",
     [](CConsoleTerm& term) {
       term.SetEcho(true);
       KEYEVENT key;
       term.ReadKey(key, 0);
       return Fields(key) + ' ' + Line(term, 80).data();
     },
     "0 0 a 0 bc", "abc\r"},
};

class ConsoleKeys : public testing::TestWithParam<KeyRow> {};

TEST_P(ConsoleKeys, ComeAsTheyWereTyped) {
  CPtyChild child([] {
    CConsoleTerm term;
    term.Write("go");
    WaitForKeys(static_cast<int>(std::strlen(GetParam().keys)));
    return GetParam().body(term);
  });
  child.WaitFor("go");
  child.Type(GetParam().keys);
  EXPECT_EQ(GetParam().result, child.Result());
  EXPECT_EQ(std::string("go") + GetParam().screen, child.Screen());
}
INSTANTIATE_TEST_SUITE_P(Every, ConsoleKeys, testing::ValuesIn(keyRows), rowName);

struct TextRow {
  const char* name;
  void (*write)(CConsoleTerm& term);
  std::string_view screen;
};

const TextRow textRows[] = {
    {"Bools", [](CConsoleTerm& t) { t << true << false; }, "truefalse"},
    {"Characters", [](CConsoleTerm& t) { t << 'a' << L'b' << L'\u20ac'; }, "ab\xe2\x82\xac"},
    {"WriteChar",
     [](CConsoleTerm& t) {
       t.WriteChar('a');
       t.WriteChar(L'\u00e9');
     },
     "a\xc3\xa9"},
    {"Shorts", [](CConsoleTerm& t) { t << short{-32768} << ' ' << static_cast<unsigned short>(65535); },
     "-32768 65535"},
    {"Ints", [](CConsoleTerm& t) { t << -2147483647 << ' ' << 4294967295u; }, "-2147483647 4294967295"},
    {"Longs", [](CConsoleTerm& t) { t << -9223372036854775807L << ' ' << 18446744073709551615UL; },
     "-9223372036854775807 18446744073709551615"},
    {"LongLongs", [](CConsoleTerm& t) { t << -9223372036854775807LL << ' ' << 18446744073709551615ULL; },
     "-9223372036854775807 18446744073709551615"},
    {"Float", [](CConsoleTerm& t) { t << 0.1f << ' ' << 16777216.0f; }, "0.1 1.677722e+07"},
    {"Double", [](CConsoleTerm& t) { t << 0.1 << ' ' << 1e100 / 3; }, "0.1 3.333333333333333e+99"},
    {"LongDouble", [](CConsoleTerm& t) { t << 0.1L << ' ' << 1e4000L; }, "0.1 1e+4000"},
    {"Pointer", [](CConsoleTerm& t) { t << reinterpret_cast<const void*>(0x1a2b); }, "0x1a2b"},
    {"Texts", [](CConsoleTerm& t) { t << "a" << stringEx("b") << L"c\u00e9" << Qorv::wstringEx(L"d"); },
     "abc\xc3\xa9"
     "d"},
    {"NulInside", [](CConsoleTerm& t) { t << stringEx("a\0b", 3) << ""; }, "a\0b"sv},
    {"DarkColors",
     [](CConsoleTerm& t) {
       for (std::uint32_t i = 0; i < 8; ++i)
         t.SetColor(7 - i, i);
     },
     "\x1b[30;47m\x1b[34;43m\x1b[32;45m\x1b[36;41m\x1b[31;46m\x1b[35;42m\x1b[33;44m\x1b[37;40m"},
    {"BrightColors",
     [](CConsoleTerm& t) {
       for (std::uint32_t i = 8; i < 16; ++i)
         t.SetColor(23 - i, i);
     },
     "\x1b[90;107m\x1b[94;103m\x1b[92;105m\x1b[96;101m\x1b[91;106m\x1b[95;102m\x1b[93;104m\x1b[97;100m"},
};

class ConsoleText : public testing::TestWithParam<TextRow> {};

TEST_P(ConsoleText, ShowsOnTheScreen) {
  CPtyChild child([] {
    CConsoleTerm term;
    GetParam().write(term);
    return std::string();
  });
  child.Result();
  EXPECT_EQ(GetParam().screen, child.Screen());
}
INSTANTIATE_TEST_SUITE_P(Every, ConsoleText, testing::ValuesIn(textRows), rowName);

// A signal makes the terminal take a part of a text only.
TEST(ConsoleTerm, WritesALongTextWholeThoughSignalsCome) {
  const std::string text(200000, 'x');
  CPtyChild child([&] {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    CConsoleTerm term;
    term.Write("go");
    term.Write(stringEx(std::string_view(text)));
    return std::string("written");
  });
  child.WaitFor("go");
  for (int round = 0; round < 3; ++round) {
    child.WaitUntilAsleep();  // the terminal is full
    child.Signal(SIGUSR1);
    child.WaitFor(std::string(static_cast<std::size_t>(round + 1) * 8192, 'x'));
  }
  EXPECT_EQ("written", child.Result());
  EXPECT_EQ(text.size() + 2, child.Screen().size());
  EXPECT_TRUE("go" + text == child.Screen());
}

TEST(ConsoleTerm, WindowSizeIsReadAndSet) {
  CPtyChild child([] {
    CConsoleTerm term;
    Qorv::WINDOWSIZE before, after;
    term.GetWindowSize(before);
    term.SetWindowSize({50, 132});
    term.GetWindowSize(after);
    return std::to_string(before.rows) + 'x' + std::to_string(before.columns) + ' ' +
           std::to_string(after.rows) + 'x' + std::to_string(after.columns);
  });
  EXPECT_EQ("24x80 50x132", child.Result());
  winsize size{};
  ASSERT_EQ(0, ioctl(child.Terminal(), TIOCGWINSZ, &size));
  EXPECT_EQ(50, size.ws_row);
  EXPECT_EQ(132, size.ws_col);
}

TEST(ConsoleTerm, ClonesHaveTheEchoOfTheirMakerOrTheirOwn) {
  CPtyChild child([] {
    CConsoleTerm term;
    std::string seen = term.GetEcho() ? "on " : "off ";
    term.SetEcho(true);
    const auto same = term.Clone();
    const auto other = term.Clone(false);
    *same << "same ";
    *other << "other";
    return seen + (same->GetEcho() ? "on " : "off ") + (other->GetEcho() ? "on" : "off");
  });
  EXPECT_EQ("off on off", child.Result());
  EXPECT_EQ("same other", child.Screen());
}

TEST(ConsoleTerm, TheCursorCannotBeAsked) {
  CPtyChild child([] {
    CConsoleTerm term;
    std::uint16_t row, column;
    Qorv::WINDOWSIZE position;
    return FailureOf<Qorv::sysfileExp>([&] { term.GetCursorPos(row, column); }) + '\n' +
           FailureOf<Qorv::sysfileExp>([&] { term.GetCursorPos(position); });
  });
  const std::string expected = "11: CConsoleTerm::GetCursorPos - unsupport on this platform";
  EXPECT_EQ(expected + '\n' + expected, child.Result());
}

TEST(ConsoleTerm, WithoutATerminalTheMakerGetsTheFailure) {
  CPtyChild child([]() -> std::string {
    // Only a process that leads no group can leave the terminal.
    int ends[2];
    if (pipe(ends) != 0) return "pipe";
    if (const pid_t inner = fork(); inner == 0) {
      setsid();
      const std::string text = FailureOf<Qorv::sysfileExp>([] { CConsoleTerm term; });
      _exit(write(ends[1], text.data(), text.size()) > 0 ? 0 : 1);
    } else {
      waitpid(inner, nullptr, 0);
    }
    char text[1000];
    return {text, static_cast<std::size_t>(read(ends[0], text, sizeof(text)))};
  });
  EXPECT_EQ(
      "4: CSysFile/PosixOpenFile - failed open specified file\n  file path  = /dev/tty\n  error code = 6\n"
      "  error desc = the device associated with this special file does not exist, or fifo opened without "
      "reading "
      "peer",
      child.Result());
}

struct GoneRow {
  const char* name;
  void (*step)(CConsoleTerm& term);
  const char* expected;
};

const char* const noAttributes =
    "35: CConsoleTerm/PosixGetTermAttr - error get terminal's attributes\n  error code = 5\n"
    "  error desc = unexpect system error: Input/output error";

const GoneRow goneRows[] = {
    {"ReadKey",
     [](CConsoleTerm& term) {
       KEYEVENT key;
       for (;;)
         term.ReadKey(key);
     },
     noAttributes},
    {"TimedReadKey",
     [](CConsoleTerm& term) {
       KEYEVENT key;
       while (!term.ReadKey(key, Qorv::waitForever)) {
       }
     },
     noAttributes},
    {"ReadLine",
     [](CConsoleTerm& term) {
       for (;;)
         Line(term, 10);
     },
     noAttributes},
    {"WindowSize",
     [](CConsoleTerm& term) {
       Qorv::WINDOWSIZE size;
       for (;;)
         term.GetWindowSize(size);
     },
     "35: CConsoleTerm/PosixIoCtl - failed execute ioctl command\n  io command   = 21523\n  error number = "
     "5\n"
     "  system desc  = Input/output error"},
    {"Write",
     [](CConsoleTerm& term) {
       for (;;)
         term.Write("x");
     },
     "9: CSysFile::Write - failed writing file\n  file path  = /dev/tty\n  error code = 5\n  error desc = "
     "physical io "
     "error, or background process attempt to write to its console terminal"},
};

class ConsoleGone : public testing::TestWithParam<GoneRow> {};

// Each step goes on for ever unless the terminal's end stops it.
TEST_P(ConsoleGone, EndsEveryLoop) {
  CPtyChild child([] {
    sigset_t hangUp;
    sigemptyset(&hangUp);
    sigaddset(&hangUp, SIGHUP);
    sigprocmask(SIG_BLOCK, &hangUp, nullptr);
    CConsoleTerm term;
    term.Write("ready");
    int number = 0;
    sigwait(&hangUp, &number);
    return FailureOf<Qorv::sysfileExp>([&] { GetParam().step(term); });
  });
  child.WaitFor("ready");
  child.HangUp();
  EXPECT_EQ(GetParam().expected, child.Result());
}
INSTANTIATE_TEST_SUITE_P(Every, ConsoleGone, testing::ValuesIn(goneRows), rowName);

// The blocked read comes back with nothing or with a failure, and then the next one fails.
TEST(ConsoleTerm, ATerminalThatGoesEndsABlockedRead) {
  for (const GoneRow& row : goneRows) {
    if (row.expected != noAttributes) continue;
    CPtyChild child([&] {
      std::signal(SIGHUP, SIG_IGN);
      CConsoleTerm term;
      term.Write("ready");
      return FailureOf<Qorv::sysfileExp>([&] { row.step(term); });
    });
    child.WaitFor("ready");
    child.WaitUntilAsleep();
    child.HangUp();
    const std::string result = child.Result();
    if (result == noAttributes) continue;
    EXPECT_EQ(
        "7: CSysFile::Read - failed reading file\n  file path  = /dev/tty\n  error code = 5\n  error desc = "
        "physical io "
        "error, or background process attempt to read from console terminal",
        result)
        << row.name;
  }
}

}  // namespace
