// Failures of directory work: class, code and whole text of each, and what stays when a step fails in the middle.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>

#include <gtest/gtest.h>

#include <qorv/file.h>

#include "file/temp_folder.h"
#include "file/tree_text.h"
#include "support/failure.h"
#include "support/refusal.h"
#include "support/row_name.h"

// NOLINTBEGIN
REFUSABLE_BY_ERRNO(openat, (int dir, const char* path, int flags, mode_t mode), (dir, path, flags, mode))
REFUSABLE_BY_ERRNO(fstatat, (int dir, const char* path, struct stat* status, int flags),
                   (dir, path, status, flags))
REFUSABLE_BY_ERRNO(mkdirat, (int dir, const char* path, mode_t mode), (dir, path, mode))
REFUSABLE_BY_ERRNO(unlinkat, (int dir, const char* path, int flags), (dir, path, flags))
REFUSABLE_BY_ERRNO(symlinkat, (const char* target, int dir, const char* path), (target, dir, path))
REFUSABLE_BY_ERRNO(linkat, (int fromDir, const char* from, int toDir, const char* to, int flags),
                   (fromDir, from, toDir, to, flags))
REFUSABLE_BY_ERRNO(fchmod, (int fd, mode_t mode), (fd, mode))
REFUSABLE_BY_ERRNO(mkdir, (const char* path, mode_t mode), (path, mode))
REFUSABLE_BY_ERRNO(unlink, (const char* path), (path))

// As if all paths were on file systems of their own, while another call fails.
static bool isApart = false;
extern "C" int __real_rename(const char* from, const char* to);
extern "C" int __wrap_rename(const char* from, const char* to);
extern "C" int __wrap_rename(const char* from, const char* to) {
  return isApart ? (errno = EXDEV, -1) : __real_rename(from, to);
}
// NOLINTEND

namespace {

using Qorv::CDir;
using Qorv::dirExp;
using Qorv::stringEx;
using TestSupport::FailureOf;
using TestSupport::Refuse;
using TestSupport::TempFolder;
using TestSupport::Text;
using TestSupport::TreeText;

struct Apart {
  Apart() { isApart = true; }
  ~Apart() { isApart = false; }
};

// A file "f", a directory "d" with a file "x", and a link "loop" to itself.
struct Ground : TempFolder {
  Ground() {
    Make("f", "abc");
    std::filesystem::create_directory(Path("d"));
    Make("d/x", "");
    std::filesystem::create_symlink("loop", Path("loop"));
  }
  stringEx At(std::string_view name) const { return Text(Path(name)); }
};

CDir Opened(const stringEx& path) {
  CDir dir;
  dir.Open(path);
  return dir;
}

void FindIn(const char* folders, const char* name) {
  const std::string old = std::getenv("PATH");
  setenv("PATH", folders, 1);
  try {
    CDir::FindInPath(name);
  } catch (...) {
    setenv("PATH", old.c_str(), 1);
    throw;
  }
}

struct FailureRow {
  const char* name;
  void (*step)(const Ground& ground);
  const char* expected;  // "{}" is the folder
};

class Failure : public testing::TestWithParam<FailureRow> {};

TEST_P(Failure, IsToldInFull) {
  const Ground ground;
  const std::string before = TreeText(ground.Path());
  EXPECT_EQ(ground.Fill(GetParam().expected), FailureOf<dirExp>([&] { GetParam().step(ground); }));
  EXPECT_EQ(before, TreeText(ground.Path()));
}

#define STEP(...) [](const Ground& g [[maybe_unused]]) { __VA_ARGS__; }
const FailureRow emptyPaths[] = {
    {"ConvToFullPath", STEP(CDir::ConvToFullPath(Qorv::wstringEx())),
     "1: CDir::ConvToFullPath - nothing to convert"},
    {"GetPathDir", STEP(CDir::GetPathDir("")), "1: CDir::GetPathDir - nothing to match"},
    {"GetPathFilename", STEP(CDir::GetPathFilename("")), "1: CDir::GetPathFilename - nothing to match"},
    {"FindInPath", STEP(CDir::FindInPath("")), "1: CDir::FindInPath - nothing to search"},
    {"Open", STEP(CDir().Open("")), "3: CDir::Open - nothing to open"},
    {"MakeDir", STEP(CDir::MakeDir("", true)), "4: CDir::MakeDir - nothing to make"},
    {"RemoveDir", STEP(CDir::RemoveDir("")), "5: CDir::RemoveDir - nothing to remove"},
    {"MakeHardLink", STEP(CDir::MakeHardLink("", g.At("h"))), "8: CDir::MakeHardLink - nothing to make"},
    {"MakeHardLinkNowhere", STEP(CDir::MakeHardLink(g.At("f"), "")),
     "8: CDir::MakeHardLink - nothing to make"},
    {"MakeSymbolicLink", STEP(CDir::MakeSymbolicLink("", g.At("h"), "-a")),
     "8: CDir::MakeSymbolicLink - nothing to make"},
    {"MakeSymbolicLinkNowhere", STEP(CDir::MakeSymbolicLink("x", "")),
     "8: CDir::MakeSymbolicLink - nothing to make"},
    {"ReadFile", STEP(CDir::ReadFile("")), "10: CDir::ReadFile - read what ?"},
    {"WriteFile", STEP(CDir::WriteFile("", "x")), "10: CDir::WriteFile - write what ?"},
    {"FilesRegEx", STEP(CDir::GetAllFilesRegEx("", "x")), "11: CDir::GetAllFilesRegEx - nothing to find"},
    {"FilesEmptyRegEx", STEP(CDir::GetAllFilesRegEx(g.At("d"), "")),
     "11: CDir::GetAllFilesRegEx - nothing to find"},
    {"FilesInvalidRegEx", STEP(CDir::GetAllFilesRegEx(g.At("d"), "(")),
     "11: CDir::GetAllFilesRegEx - invalid regex handle"},
    {"SubDirsRegEx", STEP(CDir::GetAllSubDirsRegEx(g.At("d"), "")),
     "11: CDir::_GetAllSubDirsRegEx - nothing to find"},
    {"SubDirsNoHandle", STEP(CDir::GetAllSubDirsRegEx(g.At("d"), Qorv::regexHandle())),
     "11: CDir::_GetAllSubDirsRegEx - invalid regex handle"},
};
INSTANTIATE_TEST_SUITE_P(Nothing, Failure, testing::ValuesIn(emptyPaths), rowName);

#define LOOP "error code = 40\n  error desc = a loop exists in symbolic links, or too many level of links"
const FailureRow failures[] = {
    {"SetPwd", STEP(CDir::SetPwd(g.At("loop"))),
     "1: CDir::SetPwd - failed set current working dir\n  dir to set = {}/loop\n  " LOOP},
    {"FindInPath", STEP(FindIn(g.Path().c_str(), "d")),
     "1: CDir::FindInPath - can't find file in path\n  file to find = d\n  path         = {}"},
    {"OpenOfAFile", STEP(CDir().Open(g.At("f"))),
     "3: CDir::Open - error open dir, not exist\n  dir to open = {}/f\n"
     "  error code  = 20\n  error desc  = path is not a directory"},
    {"MakeDirOnAFile", STEP(CDir::MakeDir(g.At("f/a/b"), true)),
     "4: CDir::MakeDir - failed making directory\n  dir to create = {}/f/a/b\n  is recursive  = yes\n"
     "  error code    = 20\n  error desc    = path prefix is not a valid directory"},
    {"MakeDirThatIsThere", STEP(CDir::MakeDir(g.At("d"))),
     "4: CDir::MakeDir - failed making directory\n  dir to create = {}/d\n  is recursive  = no\n"
     "  error code    = 17\n  error desc    = path already exists"},
    {"MakeDirInPlaceOfAFile", STEP(CDir::MakeDir(g.At("f"), true)),
     "4: CDir::MakeDir - failed making directory\n  dir to create = {}/f\n  is recursive  = yes\n"
     "  error code    = 17\n  error desc    = path already exists"},
    {"RemoveDirThatIsNotEmpty", STEP(CDir::RemoveDir(g.At("d"), true)),
     "5: CDir::RemoveDir - failed remove specified directory\n  dir to remove     = {}/d\n"
     "  remove sub dirs   = yes\n  remove sub files  = no\n  stopped at        = {}/d\n"
     "  dirs removed      = 0\n  files removed     = 0\n"
     "  error code        = 39\n  error desc        = the directory is not empty"},
    {"RemoveDirByDot", STEP(CDir::RemoveDir(g.At("d/."), true, true)),
     "5: CDir::RemoveDir - failed remove specified directory\n  dir to remove     = {}/d/.\n"
     "  remove sub dirs   = yes\n  remove sub files  = yes\n  stopped at        = {}/d/.\n"
     "  dirs removed      = 0\n  files removed     = 0\n"
     "  error code        = 22\n  error desc        = path ends in \".\" or \"..\""},
    {"RemoveFileThatIsADir", STEP(CDir::RemoveFile(g.At("d"))),
     "5: CDir::RemoveFile - failed remove file\n  file path  = {}/d\n"
     "  error code = 21\n  error desc = the path is a directory"},
    {"DuplicateFileOntoAnother", STEP(CDir::DuplicateFile(g.At("d/x"), g.At("f"))),
     "6: CDir::DuplicateFile - error copy file\n  copy from  = {}/d/x\n  copy to    = {}/f\n"
     "  overwrite  = no\n  bytes done = 0\n  error code = 17\n  error desc = target file already exists"},
    {"DuplicateFileOntoItself", STEP(CDir::DuplicateFile(g.At("f"), g.At("d/../f"), true)),
     "6: CDir::DuplicateFile - error copy file\n  copy from  = {}/f\n  copy to    = {}/d/../f\n"
     "  overwrite  = yes\n  bytes done = 0\n  error code = 22\n"
     "  error desc = not a regular file, or source and target are the same file"},
    {"DuplicateFileOfADevice", STEP(CDir::DuplicateFile("/dev/zero", g.At("z"))),
     "6: CDir::DuplicateFile - error copy file\n  copy from  = /dev/zero\n  copy to    = {}/z\n"
     "  overwrite  = no\n  bytes done = 0\n  error code = 22\n"
     "  error desc = not a regular file, or source and target are the same file"},
    {"TransferFileOntoAnother", STEP(CDir::TransferFile(g.At("f"), g.At("d/x"))),
     "7: CDir::TransferFile - error link file to the target path\n  move from  = {}/f\n"
     "  move to    = {}/d/x\n  error code = 17\n  error desc = target file already exists"},
    {"TransferFileAcrossUnallowed",
     STEP(Refuse("linkat", EXDEV), CDir::TransferFile(g.At("f"), g.At("g"), false)),
     "7: CDir::TransferFile - error link file to the target path\n  move from  = {}/f\n  move to    = {}/g\n"
     "  error code = 18\n  error desc = source and target are on different file systems"},
    {"TransferFileCopy", STEP(Refuse("linkat", EXDEV), CDir::TransferFile(g.At("f"), g.At("d/x"))),
     "7: CDir::TransferFile - error copy file to the target\n  move from  = {}/f\n  move to    = {}/d/x\n"
     "  error code = 17\n  error desc = target file already exists"},
    {"TransferFileUnlink", STEP(Refuse("unlink", EBUSY), CDir::TransferFile(g.At("f"), g.At("g"))),
     "7: CDir::TransferFile - error remove (unlink) the source\n  move from  = {}/f\n  move to    = {}/g\n"
     "  error code = 16\n  error desc = the file is being used by the system"},
    {"DuplicateDirOfNothing", STEP(CDir::DuplicateDir("", g.At("e"))),
     "6: CDir::DuplicateDir - source dir doesn't exist\n  dir to copy  = \n  copy to      = {}/e\n"
     "  error code   = 2\n  error desc   = path not exists"},
    {"DuplicateDirOntoAFile", STEP(CDir::DuplicateDir(g.At("d"), g.At("f"))),
     "6: CDir::DuplicateDir - error copy dir\n  dir to copy  = {}/d\n  copy to      = {}/f\n"
     "  stopped at   = {}/d\n  dirs copied  = 0\n  files copied = 0\n"
     "  error code   = 20\n  error desc   = path is not a directory"},
    {"TransferDirOfAFile", STEP(CDir::TransferDir(g.At("f"), g.At("e"))),
     "7: CDir::TransferDir - source dir doesn't exist\n  dir to move  = {}/f\n  move to      = {}/e\n"
     "  error code   = 20\n  error desc   = path is not a directory"},
    {"TransferDirAcrossUnallowed", STEP(Apart(), CDir::TransferDir(g.At("d"), g.At("e"), false)),
     "7: CDir::TransferDir - error move dir\n  dir to move  = {}/d\n  move to      = {}/e\n"
     "  stopped at   = {}/d\n  dirs moved   = 0\n  files moved  = 0\n"
     "  error code   = 18\n  error desc   = source and target are on different file systems"},
    {"MakeHardLink", STEP(CDir::MakeHardLink(g.At("d"), g.At("e"))),
     "8: CDir::MakeHardLink - failed create hard link\n  link path   = {}/e\n  link target = {}/d\n"
     "  error code  = 1\n"
     "  error desc  = the target is a directory, or the file system does not support hard links"},
    {"MakeSymbolicLink", STEP(CDir::MakeSymbolicLink("x", g.At("f"))),
     "8: CDir::MakeSymbolicLink - failed create symbolic link\n  link path   = {}/f\n  link target = x\n"
     "  error code  = 17\n  error desc  = link already exists"},
    {"MakeScript", STEP(CDir::MakeSymbolicLink("x", g.At("f"), "-a", "y")),
     "8: CDir::MakeSymbolicLink - failed create shell script\n  link path   = {}/f\n  link target = x\n"
     "  arguments   = -a\n  working dir = y\n  error code  = 17\n  error desc  = link already exists"},
    {"GetAttributes", STEP(CDir::GetAttributes(g.At("none"))),
     "9: PosixStat - failed retrive the status of giving path\n  path       = {}/none\n"
     "  error code = 2\n  error desc = path not exists"},
    {"SetAttributes", STEP(CDir::SetAttributes(g.At("loop"), {})),
     "9: CDir::SetAttributes - failed set the attributes of giving path\n  path       = {}/loop\n  " LOOP},
    {"GetSpaceInfo", STEP(CDir::GetSpaceInfo(g.At("f/x"))),
     "2: CDir::GetSpaceInfo - failed retrieve space info\n  path       = {}/f/x\n"
     "  error code = 20\n  error desc = path prefix is not a valid directory"},
    {"ReadFileOfAPipe", STEP(CDir::ReadFile("/dev/null")),
     "10: CDir::ReadFile - failed read file\n  file path  = /dev/null\n  bytes done = 0\n"
     "  error code = 22\n  error desc = not a regular file"},
    {"ReadFileUnlisted", STEP(Refuse("openat", EDOM), CDir::ReadFile(g.At("f"))),
     "10: CDir::ReadFile - failed read file\n  file path  = {}/f\n  bytes done = 0\n"
     "  error code = 33\n  error desc = unexpect system error: Numerical argument out of domain"},
    {"WriteFileOfADir", STEP(CDir::WriteFile(g.At("d"), "x")),
     "10: CDir::WriteFile - failed write file\n  file path  = {}/d\n  bytes done = 0\n"
     "  error code = 21\n  error desc = the path is a directory"},
    {"GetAllFiles", STEP(CDir::GetAllFiles(g.At("f"))),
     "11: CDir::GetAllFiles - failed find files\n  dir to search = {}/f\n  stopped at    = .\n"
     "  found so far  = 0\n  error code    = 20\n  error desc    = path is not a directory"},
    {"GetAllSubDirsBelow",
     STEP(Refuse("openat", EACCES, 1, 2), CDir::GetAllSubDirs(g.Path().c_str(), "*", true)),
     "11: CDir::GetAllSubDirs - failed find subdirs\n  dir to search = {}\n  stopped at    = d\n"
     "  found so far  = 1\n  error code    = 13\n  error desc    = permission denied"},
    {"GenTempFileNameOfNothing", STEP(CDir().GenTempFileName()),
     "12: CDir::GenTempFileName - invalid obj, or the base dir has been removed\n  base dir = "},
    {"GenTempFileNameBadPrefix", STEP(Opened(g.At("d")).GenTempFileName("none/x")),
     "12: CDir::GenTempFileName - error generate unique temp file name\n  base dir = {}/d\n"
     "  error    = the directory has been removed"},
    {"GenTempFileNameInSysTempDir", STEP(Refuse("openat", EROFS), CDir::GenTempFileNameInSysTempDir()),
     "12: CDir::GenTempFileNameInSysTempDir - error generate unique temp file name\n  base dir = /tmp/\n"
     "  error    = the file system containing the path is read-only"},
    {"GenTempSubDirOfNothing", STEP(CDir().GenTempSubDir("qorv-test")),
     "12: CDir::GenTempSubDir - failed making directory\n  base dir = \n"
     "  error    = the directory has been removed"},
    {"GenTempSubDirTooOften", STEP(Refuse("mkdir", EEXIST, 1000), Opened(g.At("d")).GenTempSubDir()),
     "12: CDir::GenTempSubDir - failed making directory\n  base dir = {}/d\n  error    = too many retry "
     "time"},
};
INSTANTIATE_TEST_SUITE_P(System, Failure, testing::ValuesIn(failures), rowName);

struct BadPathRow {
  const char* name;
  std::string path;
};

class BadPath : public testing::TestWithParam<BadPathRow> {};

TEST_P(BadPath, IsRefusedByAllAndTouchesNothing) {
  const Ground ground;
  const std::string before = TreeText(ground.Path());
  const stringEx bad = ground.At(GetParam().path);
  const stringEx good = ground.At("d");
  const std::function<void()> steps[] = {
      [&] { CDir::SetPwd(bad); },
      [&] { CDir().Open(bad); },
      [&] { CDir::MakeDir(bad, true); },
      [&] { CDir::RemoveDir(bad, true, true); },
      [&] { CDir::RemoveFile(bad + "/x"); },
      [&] { CDir::DuplicateFile(bad, ground.At("n")); },
      [&] { CDir::DuplicateFile(ground.At("f"), bad); },
      [&] { CDir::TransferFile(ground.At("f"), bad); },
      [&] { CDir::DuplicateDir(good, bad); },
      [&] { CDir::TransferDir(good, bad); },
      [&] { CDir::TransferDir(bad, ground.At("n")); },
      [&] { CDir::MakeHardLink(ground.At("f"), bad); },
      [&] { CDir::MakeSymbolicLink("x", bad); },
      [&] { CDir::MakeSymbolicLink("x", bad, "-a"); },
      [&] { CDir::GetAttributes(bad); },
      [&] { CDir::GetSpaceInfo(bad); },
      [&] { CDir::GetStorageTopology(bad); },
      [&] { CDir::ReadFile(bad); },
      [&] { CDir::WriteFile(bad, ""); },
      [&] { CDir::GetAllFiles(bad); },
      [&] { CDir::BackupFile(bad, 2, 1); },
  };
  for (std::size_t i = 0; i < std::size(steps); ++i)
    EXPECT_THROW(steps[i](), dirExp) << "step " << i;
  EXPECT_EQ(before, TreeText(ground.Path()));
}

const BadPathRow badPaths[] = {
    {"Loop", "loop"},
    {"ThroughAFile", "f/x"},
    {"LongName", std::string(300, 'x')},
    {"LongPath", std::string(5000, '/') + "d"},
    {"ZeroInside", std::string("d\0x", 3)},
};
INSTANTIATE_TEST_SUITE_P(Every, BadPath, testing::ValuesIn(badPaths), rowName);

constexpr const char* treeCalls[] = {"openat",   "fstatat",   "fstat", "mkdirat",
                                     "unlinkat", "symlinkat", "fchmod"};

// Runs `step` on a fresh tree again and again, with each call in turn that fails once, until it meets no failure; judges
// what each failed run leaves.
template <class Step, class Judge>
void LoopOverFaults(Step step, Judge judge) {
  const Apart apart;
  for (const char* const call : treeCalls) {
    bool isClean = false;
    for (int passed = 0; !isClean; ++passed) {
      SCOPED_TRACE(call + std::to_string(passed));
      ASSERT_LT(passed, 100);
      const TempFolder tree;
      std::filesystem::create_directories(tree.Path("a/s"));
      tree.Make("a/1", "one");
      tree.Make("a/s/2", "two");
      std::filesystem::create_symlink("one", tree.Path("a/l"));
      Refuse(call, EIO, 1, passed);
      const std::string failure =
          FailureOf<dirExp>([&] { step(Text(tree.Path("a")), Text(tree.Path("b"))); });
      isClean = TestSupport::refusal.left.exchange(0) != 0;
      EXPECT_EQ(isClean, failure == "no failure") << failure;
      judge(tree, isClean, failure);
    }
  }
}

std::string TextIfAny(const std::string& root) {
  return std::filesystem::exists(root) ? TreeText(root) : "";
}

constexpr std::string_view lines[] = {" 1=one\n", " s/2=two\n", " l>one\n"};

TEST(FaultLoop, ACopyIsWholeOrTellsWhereItStopped) {
  LoopOverFaults(
      [](const stringEx& from, const stringEx& to) { CDir::DuplicateDir(from, to); },
      [](const TempFolder& tree, bool isClean, const std::string& failure) {
        const std::string copy = TextIfAny(tree.Path("b"));
        std::size_t whole = 0;
        for (const std::string_view line : lines) {
          EXPECT_NE(std::string::npos, TreeText(tree.Path("a")).find(line));
          whole += copy.find(line) != std::string::npos;
        }
        EXPECT_TRUE(!isClean || copy == TreeText(tree.Path("a"))) << copy;
        if (isClean || failure.find("stopped at") == std::string::npos) return;
        EXPECT_NE(std::string::npos, failure.find("files copied = " + std::to_string(whole) + "\n"))
            << failure;
        EXPECT_NE(std::string::npos, failure.find(tree.Fill("stopped at   = {}/a")));
      });
}

TEST(FaultLoop, AMoveAcrossFileSystemsLosesNothing) {
  LoopOverFaults([](const stringEx& from, const stringEx& to) { CDir::TransferDir(from, to); },
                 [](const TempFolder& tree, bool isClean, const std::string&) {
                   const std::string source = TextIfAny(tree.Path("a"));
                   const std::string both = source + TextIfAny(tree.Path("b"));
                   for (const std::string_view line : lines)
                     EXPECT_NE(std::string::npos, both.find(line)) << both;
                   EXPECT_EQ(isClean, !std::filesystem::exists(tree.Path("a")));
                 });
}

TEST(FaultLoop, ARemovalTellsWhatIsGone) {
  LoopOverFaults(
      [](const stringEx& from, const stringEx&) { CDir::RemoveDir(from, true, true); },
      [](const TempFolder& tree, bool isClean, const std::string& failure) {
        const std::string left = TextIfAny(tree.Path("a"));
        std::size_t gone = 0;
        for (const std::string_view line : lines)
          gone += left.find(line) == std::string::npos;
        EXPECT_EQ(isClean, !std::filesystem::exists(tree.Path("a")));
        if (isClean) return;
        EXPECT_NE(std::string::npos, failure.find("files removed     = " + std::to_string(gone) + "\n"))
            << failure;
      });
}

}  // namespace
