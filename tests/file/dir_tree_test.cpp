// Directories, trees and links: what they become.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include <gtest/gtest.h>

#include <qorv/file.h>

#include "file/temp_folder.h"
#include "file/tree_text.h"
#include "support/failure.h"
#include "support/row_name.h"

namespace {

using Qorv::CDir;
using Qorv::dirExp;
using Qorv::stringEx;
using TestSupport::FailureOf;
using TestSupport::Text;
using TestSupport::TreeText;

struct Tree : TestSupport::TempFolder, testing::Test {
  stringEx At(std::string_view name) const { return Text(Path(name)); }
  std::string All() const { return TreeText(Path()); }
  void Folder(std::string_view name, mode_t mode = 0755) const {
    std::filesystem::create_directories(Path(name));
    chmod(Path(name).c_str(), mode);
  }
  void File(std::string_view name, std::string_view content, mode_t mode = 0644) const {
    Make(name, content);
    chmod(Path(name).c_str(), mode);
  }
  void Link(std::string_view target, std::string_view name) const {
    std::filesystem::create_symlink(target, Path(name));
  }
};

TEST_F(Tree, DirectoriesAreMadeWithTheirParents) {
  const mode_t mask = umask(022);
  CDir::MakeDir(At("a"));
  CDir::MakeDir(At("a/b//c/"), true);
  CDir::MakeDir(At("x/../y"), true);
  CDir::MakeDir(At("a/b"), true);
  const std::string folder = Path("a/");
  CDir::MakeDir(Qorv::wstringEx((std::wstring(folder.begin(), folder.end()) + L'\u00e9').c_str()));
  umask(mask);
  EXPECT_EQ("d755 a\nd755 a/b\nd755 a/b/c\nd755 a/\xc3\xa9\nd755 x\nd755 y\n", All());
}

TEST_F(Tree, TheHomeDirectoryIsMeantByTilde) {
  const std::string home = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
  setenv("HOME", Path().c_str(), 1);
  CDir::MakeDir("~/a");
  CDir::WriteFile("~/a/f", "x");
  CDir::DuplicateFile("~/a/f", "~/g");
  setenv("HOME", home.c_str(), 1);
  EXPECT_EQ("x", Content("a/f"));
  EXPECT_EQ("x", Content("g"));
}

struct RemoveRow {
  const char* name;
  bool dirs;
  bool files;
  const char* left;  // of a tree with d/f, d/s/f, and d/s/t; null: refused and untouched
};

class Remove : public Tree, public testing::WithParamInterface<RemoveRow> {};

TEST_P(Remove, TakesWhatItMay) {
  const RemoveRow& row = GetParam();
  Folder("outside");
  File("outside/f", "kept");
  Folder("files");
  File("files/f", "");
  Link("../outside", "files/l");
  Folder("dirs/s/t");
  Folder("both/s");
  File("both/f", "");
  File("both/s/f", "");
  for (const char* name : {"files", "dirs", "both"}) {
    try {
      CDir::RemoveDir(At(name), row.dirs, row.files);
    } catch (const dirExp&) {
    }
  }
  EXPECT_EQ(std::string(row.left) + "d755 outside\nf644 outside/f=kept\n", All());
}

#define BOTH "d755 both\nf644 both/f=\nd755 both/s\nf644 both/s/f=\n"
#define DIRS "d755 dirs\nd755 dirs/s\nd755 dirs/s/t\n"
#define FILES "d755 files\nf644 files/f=\nl files/l>../outside\n"
const RemoveRow removals[] = {
    {"Nothing", false, false, BOTH DIRS FILES},
    {"Dirs", true, false, BOTH FILES},
    {"Files", false, true, BOTH DIRS},
    {"Both", true, true, ""},
};
INSTANTIATE_TEST_SUITE_P(Every, Remove, testing::ValuesIn(removals), rowName);

TEST_F(Tree, CopiesAreExact) {
  Folder("outside");
  File("outside/secret", "s");
  Folder("a", 0750);
  Folder("a/empty", 01777);
  Folder("a/sub", 0500);
  File("a/sub/exe", "#!", 0755);
  File("a/private", std::string(300000, 'x'), 0400);
  File("a/lent", "", 04755);
  Link("../outside", "a/link");
  Link("nowhere", "a/dangling");
  mkfifo(Path("a/pipe").c_str(), 0600);
  chmod(Path("a/pipe").c_str(), 0620);
  CDir::DuplicateDir(At("a/"), At("b"));
  EXPECT_TRUE(TreeText(Path("a")) == TreeText(Path("b"))) << TreeText(Path("b")).substr(0, 200);
  EXPECT_EQ(0750u, CDir::GetAttributes(At("b")).permissions);
}

TEST_F(Tree, CopiesGoIntoADirectoryThatIsThere) {
  Folder("a/s");
  File("a/s/new", "1");
  File("a/s/old", "2", 0600);
  Link("x", "a/s/link");
  Folder("outside");
  Folder("b/s", 0700);
  File("b/s/old", "longer than before");
  File("b/s/other", "o");
  CDir::RemoveFile(At("a/s/link"));
  EXPECT_NE("no failure", FailureOf<dirExp>([&] { CDir::DuplicateDir(At("a"), At("b")); }));
  EXPECT_EQ("longer than before", Content("b/s/old"));
  Link("x", "a/s/link");
  Link("y", "b/s/link");
  CDir::DuplicateDir(At("a"), At("b"), true);
  EXPECT_EQ("d700 s\nl s/link>x\nf644 s/new=1\nf600 s/old=2\nf644 s/other=o\n", TreeText(Path("b")));
}

TEST_F(Tree, ALinkInTheTargetLeadsNoCopyOut) {
  Folder("outside");
  File("outside/f", "kept");
  Folder("a/s");
  File("a/s/f", "copied");
  File("a/t", "copied");
  Folder("b");
  Link("../outside", "b/s");
  EXPECT_NE("no failure", FailureOf<dirExp>([&] { CDir::DuplicateDir(At("a"), At("b"), true); }));
  unlink(Path("b/s").c_str());
  Link("../outside/f", "b/t");
  EXPECT_NE("no failure", FailureOf<dirExp>([&] { CDir::DuplicateDir(At("a"), At("b"), true); }));
  EXPECT_EQ("kept", Content("outside/f"));
}

struct NestedRow {
  const char* name;
  const char* target;
};

class Nested : public Tree, public testing::WithParamInterface<NestedRow> {};

TEST_P(Nested, TargetsAreRefused) {
  Folder("a/s");
  Folder("b");
  Link("../a/s", "b/l");
  const std::string before = All();
  const std::string target = Path(GetParam().target);
  const auto expected = [&](const char* operation, const char* from, const char* to) {
    return Fill(std::string(operation) + " - dir nesting found in recursive copy mode\n" + from + "{}/a\n" +
                to) +
           target;
  };
  EXPECT_EQ(expected("6: CDir::DuplicateDir", "  dir to copy  = ", "  copy to      = "),
            FailureOf<dirExp>([&] { CDir::DuplicateDir(At("a"), Text(target)); }));
  EXPECT_EQ(expected("7: CDir::TransferDir", "  dir to move  = ", "  move to      = "),
            FailureOf<dirExp>([&] { CDir::TransferDir(At("a"), Text(target)); }));
  EXPECT_EQ(before, All());
}

const NestedRow nested[] = {
    {"Itself", "a"},         {"ItselfWithSlash", "a/"},     {"Below", "a/new"},
    {"FarBelow", "a/s/new"}, {"ByParent", "b/../a/s/new"},  {"ThroughALink", "b/l/new"},
    {"ByALink", "b/l"},      {"BelowWhatIsNot", "a/x/y/z"},
};
INSTANTIATE_TEST_SUITE_P(Every, Nested, testing::ValuesIn(nested), rowName);

TEST_F(Tree, ANameThatBeginsAsTheSourceIsNotInside) {
  Folder("a");
  CDir::DuplicateDir(At("a"), At("ab"));
  EXPECT_EQ("d755 a\nd755 ab\n", All());
}

TEST_F(Tree, FilesAreCopiedAndMoved) {
  File("a", "1", 0640);
  File("b", "longer", 0600);
  Link("a", "l");
  CDir::DuplicateFile(At("l"), At("c"));
  CDir::DuplicateFile(At("a"), At("b"), true);
  CDir::TransferFile(At("l"), At("m"));
  CDir::TransferFile(At("c"), At("d"), false);
  EXPECT_EQ("f640 a=1\nf640 b=1\nf640 d=1\nl m>a\n", All());
  CDir::MakeHardLink(At("a"), At("h"));
  EXPECT_NE("no failure", FailureOf<dirExp>([&] { CDir::DuplicateFile(At("a"), At("h"), true); }));
  EXPECT_EQ("1", Content("a")) << "a file is not copied over itself";
}

TEST_F(Tree, TreesAreMovedOntoNothingOrAnEmptyDirectory) {
  Folder("a/s");
  File("a/s/f", "1");
  Folder("b");
  CDir::TransferDir(At("a"), At("b/"));
  EXPECT_EQ("d755 b\nd755 b/s\nf644 b/s/f=1\n", All());
  CDir::TransferDir(At("b/s"), At("c"));
  EXPECT_EQ("d755 b\nd755 c\nf644 c/f=1\n", All());
}

TEST_F(Tree, DeepTreesAreCopiedAndRemovedOrRefused) {
  const std::filesystem::path here = std::filesystem::current_path();
  std::filesystem::current_path(Path());
  const auto dig = [](int levels) {
    for (int i = 0; i < levels; ++i) {
      mkdir("0123456789", 0700);
      ASSERT_EQ(0, chdir("0123456789"));
    }
  };
  dig(450);  // longer than a path may be
  std::filesystem::current_path(Path());
  CDir::DuplicateDir("0123456789", "copy");
  EXPECT_EQ(450u, CDir::GetAllSubDirs(Text("."), "0123456789", true).size() / 2 + 1);
  CDir::RemoveDir("copy", true, false);
  dig(1040);
  std::filesystem::current_path(Path());
  const std::string failure = FailureOf<dirExp>([&] { CDir::RemoveDir("0123456789", true, true); });
  EXPECT_TRUE(failure.find("dirs removed      = 0\n") != std::string::npos) << failure;
  EXPECT_EQ(0, std::system("rm -rf 0123456789"));
  std::filesystem::current_path(here);
}

TEST_F(Tree, WholeFilesAreReadAndWritten) {
  std::string content(200000, 'x');
  content[5] = '\0';
  CDir::WriteFile(At("f"), content);
  EXPECT_EQ(content, std::string_view(CDir::ReadFile(At("f"))));
  CDir::WriteFile(At("f"), "short");
  EXPECT_EQ("short", CDir::ReadFile(At("f")));
  EXPECT_NE("", CDir::ReadFile("/proc/self/status")) << "a file without a size of its own";
}

struct ShortcutRow {
  const char* name;
  const char* arguments;
  const char* folder;
  const char* expected;
};

class Shortcut : public Tree, public testing::WithParamInterface<ShortcutRow> {};

TEST_P(Shortcut, RunsItsTarget) {
  Folder("it's");
  File("it's/tell", "#!/bin/sh\n(pwd; for a; do echo \"[$a]\"; done) > \"$OUT\"\n", 0755);
  const std::string folder = GetParam().folder;
  CDir::MakeSymbolicLink(At("it's/tell"), At("run"), GetParam().arguments,
                         folder.empty() ? stringEx() : At(folder));
  setenv("OUT", Path("out").c_str(), 1);
  const std::filesystem::path here = std::filesystem::current_path();
  std::filesystem::current_path(Path());
  ASSERT_EQ(0, std::system("./run 'own arg' '$x'"));
  std::filesystem::current_path(here);
  EXPECT_EQ(Fill(GetParam().expected), Content("out"));
}

const ShortcutRow shortcuts[] = {
    {"ALink", "", "", "{}\n[own arg]\n[$x]\n"},
    {"Arguments", "-a 'b c'", "", "{}\n[-a]\n[b c]\n[own arg]\n[$x]\n"},
    {"Folder", "", "it's", "{}/it's\n[own arg]\n[$x]\n"},
    {"Both", "-a", "it's", "{}/it's\n[-a]\n[own arg]\n[$x]\n"},
};
INSTANTIATE_TEST_SUITE_P(Every, Shortcut, testing::ValuesIn(shortcuts), rowName);

TEST_F(Tree, AttributesFollowLinks) {
  File("f", "abc", 0600);
  Folder("d", 0700);
  mkfifo(Path("p").c_str(), 0600);
  Link("f", "l");
  CDir::SetAttributes(At("l"), {.permissions = 04751});
  const CDir::ATTRIBUTES file = CDir::GetAttributes(At("l"));
  EXPECT_EQ(Qorv::fileType::file, file.type);
  EXPECT_EQ(04751u, file.permissions);
  EXPECT_EQ(3u, file.size);
  EXPECT_EQ(Qorv::fileType::directory, CDir::GetAttributes(At("d")).type);
  EXPECT_EQ(Qorv::fileType::other, CDir::GetAttributes(At("p")).type);
  const CDir::SPACEINFO space = CDir::GetSpaceInfo(At("d"));
  EXPECT_EQ(std::filesystem::space(Path()).capacity, space.total);
  EXPECT_LE(space.available, space.free);
  EXPECT_LE(space.free, space.total);
}

}  // namespace
