// Finders, temporary names, backups.
#include <unistd.h>

#include <cstdlib>
#include <set>

#include <gtest/gtest.h>

#include <qorv/file.h>
#include <qorv/log.h>
#include <qorv/regex.h>

#include "file/temp_folder.h"
#include "file/tree_text.h"
#include "log/recorder.h"
#include "support/refusal.h"
#include "support/row_name.h"

namespace {

using Qorv::CDir;
using Qorv::stringEx;
using TestSupport::Text;
using TestSupport::TreeText;

std::string Joined(const std::vector<stringEx>& names) {
  std::string text;
  for (const stringEx& name : names)
    text.append(name.data(), name.length()) += ' ';
  return text;
}

struct FindRow {
  const char* name;
  std::vector<stringEx> (*find)(const stringEx& dir);
  const char* expected;
};

class Find : public testing::TestWithParam<FindRow> {};

TEST_P(Find, GivesWhatFits) {
  const TestSupport::TempFolder tree;
  std::filesystem::create_directories(tree.Path("d/d.txt/e"));
  for (const char* name : {"b.txt", "a.txt", "a.TXT", "*", ".hid", "d/c.txt", "d/d.txt/e/x"})
    tree.Make(name, "");
  std::filesystem::create_symlink("d", tree.Path("linked"));
  std::filesystem::create_symlink("nowhere", tree.Path("lost.txt"));
  EXPECT_EQ(GetParam().expected, Joined(GetParam().find(Text(tree.Path()))));
}

#define FIND(call) [](const stringEx& dir) { return CDir::call; }
const FindRow finds[] = {
    {"Files", FIND(GetAllFiles(dir)), "* .hid a.TXT a.txt b.txt lost.txt "},
    {"AllFiles", FIND(GetAllFiles(dir, "*", true)), "* .hid a.TXT a.txt b.txt d/c.txt d/d.txt/e/x lost.txt "},
    {"SubDirs", FIND(GetAllSubDirs(dir)), "d linked "},
    {"AllSubDirs", FIND(GetAllSubDirs(dir, "*", true)), "d d/d.txt d/d.txt/e linked "},
    {"Wildcard", FIND(GetAllFiles(dir, "?.txt", true)), "a.txt b.txt d/c.txt "},
    {"WildcardQuoted", FIND(GetAllFiles(dir, "\\*")), "* "},
    {"WildcardOfDirs", FIND(GetAllSubDirs(dir, "*.txt", true)), "d/d.txt "},
    {"WildcardForNothing", FIND(GetAllFiles(dir, "")), ""},
    {"RegEx", FIND(GetAllFilesRegEx(dir, "^[ab]\\.")), "a.TXT a.txt b.txt "},
    {"RegExAnywhere", FIND(GetAllFilesRegEx(dir, "x$", true)), "d/d.txt/e/x "},
    {"RegExHandle", FIND(GetAllFilesRegEx(dir, stringEx::compile_regex("TXT$", true), true)),
     "a.TXT a.txt b.txt d/c.txt lost.txt "},
    {"RegExOfDirs", FIND(GetAllSubDirsRegEx(dir, "d", true)), "d d/d.txt linked "},
};
INSTANTIATE_TEST_SUITE_P(Every, Find, testing::ValuesIn(finds), rowName);

TEST(TempName, IsNewEachTimeAndTheOwnersAlone) {
  const TestSupport::TempFolder folder;
  CDir dir;
  dir.Open(Text(folder.Path()));
  std::set<std::string> names;
  for (int i = 0; i < 20; ++i) {
    names.insert(dir.GenTempFileName("pre-").data());
    names.insert(dir.GenTempSubDir().data());
  }
  EXPECT_EQ(40u, names.size());
  for (const std::string& name : names)
    EXPECT_TRUE(name.starts_with(folder.Path() + "/") && name.ends_with(".tmp")) << name;
  EXPECT_EQ(20u, CDir::GetAllFiles(dir.GetPath(), "pre-*.tmp").size());
  EXPECT_EQ(0700u, CDir::GetAttributes(dir.GenTempSubDir()).permissions);
  EXPECT_EQ(0600u, CDir::GetAttributes(dir.GenTempFileName()).permissions);
}

TEST(TempName, GoesWhereTheSystemSays) {
  const TestSupport::TempFolder folder;
  const auto withTempDir = [](const char* value, auto step) {
    const char* const old = std::getenv("TMPDIR");
    const std::string kept = old != nullptr ? old : "";
    value != nullptr ? setenv("TMPDIR", value, 1) : unsetenv("TMPDIR");
    const stringEx result = step();
    old != nullptr ? setenv("TMPDIR", kept.c_str(), 1) : unsetenv("TMPDIR");
    return std::string(result.data());
  };
  EXPECT_EQ(folder.Path(), withTempDir(folder.Path().c_str(), &CDir::GetSysTempDir));
  EXPECT_EQ("/tmp/", withTempDir("", &CDir::GetSysTempDir));
  EXPECT_EQ("/tmp/", withTempDir(nullptr, &CDir::GetSysTempDir));
  const std::string file =
      withTempDir(folder.Path().c_str(), [] { return CDir::GenTempFileNameInSysTempDir("x"); });
  EXPECT_EQ(folder.Path(), std::filesystem::path(file).parent_path());
  EXPECT_TRUE(std::filesystem::is_regular_file(file));
}

// Names of backups have the place of the time in a form that is the same on any day.
std::string Timeless(std::string text) {
  for (std::size_t at = 0; (at = text.find("@2", at)) != std::string::npos; ++at) {
    std::size_t end = at + 1;
    while (end < text.size() && (std::isdigit(static_cast<unsigned char>(text[end])) || text[end] == '_'))
      ++end;
    if (end - at == 16) text.replace(at + 1, 15, "NOW");
  }
  return text;
}

struct BackupRow {
  const char* name;
  const char* file;
  const char* backup;
};

class Backup : public testing::TestWithParam<BackupRow> {};

TEST_P(Backup, StandsBesideItsFileAndRestoresIt) {
  const TestSupport::TempFolder folder;
  const std::string file = folder.Make(GetParam().file, "old");
  const stringEx backup = CDir::BackupFile(Text(file), Qorv::backupMode::copy, 0);
  EXPECT_EQ(folder.Path(GetParam().backup), Timeless(backup.data()));
  folder.Make(GetParam().file, "new");
  EXPECT_TRUE(CDir::RestoreFile(Text(file)));
  EXPECT_EQ("old", folder.Content(GetParam().file));
  EXPECT_TRUE(std::filesystem::exists(backup.data()));
}

const BackupRow backups[] = {
    {"Extension", "a.txt", "a@NOW.txt"},
    {"NoExtension", "a", "a@NOW"},
    {"TwoDots", "a.tar.gz", "a.tar@NOW.gz"},
    {"DotInFront", ".rc", ".rc@NOW"},
    {"DotAtEnd", "a.", "a@NOW."},
    {"Wildcards", "a*?\\.t*t", "a*?\\@NOW.t*t"},
};
INSTANTIATE_TEST_SUITE_P(Every, Backup, testing::ValuesIn(backups), rowName);

TEST(Backups, MoveOrCopyByTheirMode) {
  const TestSupport::TempFolder folder;
  const stringEx file = Text(folder.Make("a", "1"));
  CDir::BackupFile(file, Qorv::backupMode::move, 0);
  EXPECT_EQ("f644 a@NOW=1\n", Timeless(TreeText(folder.Path())));
  for (const char* content : {"2", "3"}) {  // within one second, if the clock is kind
    folder.Make("a", content);
    CDir::BackupFile(file, Qorv::backupMode::moveOver, 1);
    EXPECT_EQ(std::string("f644 a@NOW=") + content + "\n", Timeless(TreeText(folder.Path())));
  }
  CDir::BackupFile(Text(folder.Make("c", "4")), 7, 1);
  EXPECT_EQ("f644 a@NOW=3\nf644 c=4\nf644 c@NOW=4\n", Timeless(TreeText(folder.Path())));
}

TEST(Backups, AreThinnedOldestFirst) {
  const TestSupport::TempFolder folder;
  for (const char* name : {"a@19990101_000000.x", "a@20010101_000000.x", "a@20000101_000000.x",
                           "a@20000101_000000.y", "b@20000101_000000.x", "a@home.x", "a@2000010_0000000.x"})
    folder.Make(name, "");
  std::filesystem::create_directory(folder.Path("a@18880101_000000.x"));
  const stringEx made = CDir::BackupFile(Text(folder.Make("a.x", "")), Qorv::backupMode::move, 2);
  std::filesystem::remove(made.data());
  EXPECT_EQ("a@20000101_000000.y a@2000010_0000000.x a@20010101_000000.x a@home.x b@20000101_000000.x ",
            Joined(CDir::GetAllFiles(Text(folder.Path()))));
}

TEST(Backups, FailuresAreLogged) {
  const TestSupport::TempFolder folder;
  TestLog::CJournal journal;
  {
    const auto log = Qorv::MakeHandle<Qorv::CLog>(Qorv::logLevel::debug, 4096);
    log->PushLogger(Qorv::MakeHandle<TestLog::CRecorder>(journal));
    const TestLog::CAsDefault asDefault(log);
    EXPECT_FALSE(CDir::RestoreFile(Text(folder.Path("a")))) << "there is none";
    folder.Make("a@20000101_000000", "x");
    std::filesystem::create_directory(folder.Path("a"));
    EXPECT_FALSE(CDir::RestoreFile(Text(folder.Path("a"))));
    std::filesystem::remove(folder.Path("a"));
    TestSupport::Refuse("unlink", EBUSY);
    CDir::BackupFile(Text(folder.Make("a", "")), Qorv::backupMode::copy, 1);
  }
  const TestLog::Lines expected = {
      folder.Fill(
          "3 util.dir.restore: failed restore the backup file\n  from = {}/a@20000101_000000\n  to   = {}/a\n"
          "@ CDir::DuplicateFile - error copy file\n  copy from  = {}/a@20000101_000000\n  copy to    = "
          "{}/a\n"
          "  overwrite  = yes\n  bytes done = 0\n  error code = 21\n"
          "  error desc = source or target is a directory"),
      folder.Fill("2 util.dir.backup: failed remove backup file\n@ CDir::RemoveFile - failed remove file\n"
                  "  file path  = {}/a@20000101_000000\n  error code = 16\n"
                  "  error desc = the file is being used by the system"),
      "flush", "gone"};
  EXPECT_EQ(expected, journal.Get());
}

}  // namespace
