// Path text, the working directory, volumes.
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdlib>

#include <gtest/gtest.h>

#include <qorv/file.h>

#include "file/temp_folder.h"
#include "support/failure.h"
#include "support/row_name.h"

namespace {

using Qorv::CDir;
using Qorv::stringEx;
using TestSupport::FailureOf;
using TestSupport::Text;

// Sets HOME (null: away with it) and the working directory, and puts both back.
class Surroundings {
 public:
  Surroundings(const char* home, const std::string& folder) : folder_(std::filesystem::current_path()) {
    if (const char* old = std::getenv("HOME")) home_ = old;
    home != nullptr ? setenv("HOME", home, 1) : unsetenv("HOME");
    std::filesystem::current_path(folder);
  }
  ~Surroundings() {
    setenv("HOME", home_.c_str(), 1);
    std::filesystem::current_path(folder_);
  }

 private:
  std::string home_;
  std::filesystem::path folder_;
};

struct PathRow {
  const char* name;
  const char* home;
  const char* path;
  const char* expected;  // "{}" is the working directory
};

class FullPath : public testing::TestWithParam<PathRow>, public TestSupport::TempFolder {};

TEST_P(FullPath, IsMadeInPlace) {
  const Surroundings surroundings(GetParam().home, Path());
  stringEx path(GetParam().path);
  CDir::ConvToFullPath(path);
  EXPECT_EQ(Text(Fill(GetParam().expected)), path);
}

const PathRow paths[] = {
    {"Absolute", "/home/x", "/a/../b", "/a/../b"},
    {"Relative", "/home/x", "a/b", "{}/a/b"},
    {"ParentOfHere", "/home/x", "../b", "{}/../b"},
    {"Home", "/home/x", "~/a", "/home/x/a"},
    {"HomeWithSlash", "/home/x/", "~/a", "/home/x/a"},
    {"HomeItself", "/home/x", "~/", "/home/x/"},
    {"RelativeHome", "sub", "~/a", "{}/sub/a"},
    {"EmptyHome", "", "~/a", "{}/~/a"},
    {"NoHome", nullptr, "~/a", "{}/~/a"},
    {"OtherUser", "/home/x", "~other/a", "{}/~other/a"},
    {"TildeAlone", "/home/x", "~", "{}/~"},
};
INSTANTIATE_TEST_SUITE_P(Every, FullPath, testing::ValuesIn(paths), rowName);

TEST(FullPathFromRoot, HasOneSlash) {
  const Surroundings surroundings("/home/x", "/");
  stringEx path("a");
  CDir::ConvToFullPath(path);
  EXPECT_EQ("/a", path);
}

TEST(FullPathFailure, AWorkingDirectoryThatIsGone) {
  TestSupport::TempFolder folder;
  const Surroundings surroundings("/home/x", folder.Path());
  std::filesystem::remove(folder.Path());
  const char* const inner =
      "CDir::GetPwd - failed getting current working dir\n  error code = 2\n"
      "  error desc = the working dir has been removed";
  stringEx path("a");
  EXPECT_EQ(std::string("1: ") + inner, FailureOf<Qorv::dirExp>([&] { CDir::ConvToFullPath(path); }));
  Qorv::CSysFile file;
  EXPECT_EQ(
      std::string("4: CSysFile::Open - failed determine the file path to open\n  file name  = a\n@ ") + inner,
      FailureOf<Qorv::sysfileExp>([&] { file.Open(path, 0, 0, 0, 0, 0); }));
}

TEST(FullPathOfWideText, IsInUtf8) {
  const Surroundings surroundings("/home/x", "/");
  EXPECT_EQ("/home/x/\xc3\xa9", CDir::ConvToFullPath(Qorv::wstringEx(L"~/\u00e9")));
}

struct PartRow {
  const char* name;
  const char* path;
  const char* folder;
  const char* file;
};

class Part : public testing::TestWithParam<PartRow>, public TestSupport::TempFolder {};

TEST_P(Part, OfAPathIsFound) {
  std::filesystem::create_directories(Path("d/e"));
  Make("d/f", "");
  const Surroundings surroundings(Path().c_str(), Path());
  EXPECT_EQ(GetParam().folder, CDir::GetPathDir(GetParam().path));
  EXPECT_EQ(GetParam().file, CDir::GetPathFilename(GetParam().path));
}

const PartRow parts[] = {
    {"Bare", "f", ".", "f"},
    {"File", "d/f", "d", "f"},
    {"NoSuchFile", "/none/x/y.z", "/none/x", "y.z"},
    {"BelowRoot", "/none", "/", "none"},
    {"Root", "/", "/", ""},
    {"SlashesBetween", "none//x", "none", "x"},
    {"SlashAtEnd", "none/", "none", ""},
    {"Dir", "d/e", "d/e", ""},
    {"DirWithSlash", "d/e/", "d/e/", ""},
    {"DirOfHome", "~/d", "~/d", ""},
    {"Parent", "..", "..", ""},
    {"BackSlashes", "none\\x\\y", "none/x", "none\\x\\y"},
    {"BackSlashedDir", "d\\e", "d/e", "d\\e"},
};
INSTANTIATE_TEST_SUITE_P(Every, Part, testing::ValuesIn(parts), rowName);

TEST(WorkingDirectory, IsSetAndTold) {
  const TestSupport::TempFolder folder;
  const Surroundings surroundings("/home/x", "/");
  CDir::SetPwd(Text(folder.Path()));
  EXPECT_EQ(Text(std::filesystem::canonical(folder.Path()).string()), CDir::GetPwd());
  CDir dir;
  dir.Open(".");
  EXPECT_EQ(CDir::GetPwd() + "/.", dir.GetPath());
  EXPECT_THROW(dir.Open("none"), Qorv::dirExp);
  EXPECT_EQ(CDir::GetPwd() + "/.", dir.GetPath()) << "a failure leaves it";
}

TEST(SearchPath, GivesTheFirstFile) {
  const TestSupport::TempFolder folder;
  for (const char* name : {"a", "b", "here"})
    std::filesystem::create_directory(folder.Path(name));
  std::filesystem::create_directory(folder.Path("a/x"));
  folder.Make("b/x", "");
  folder.Make("here/x", "");
  folder.Make("here/y", "");
  const Surroundings surroundings("/home/x", folder.Path("here"));
  const std::string old = std::getenv("PATH");
  setenv("PATH", folder.Fill("/none:{}/a:{}/b/::{}/here").c_str(), 1);
  const stringEx x = CDir::FindInPath("x");
  const stringEx y = CDir::FindInPath("y");
  setenv("PATH", old.c_str(), 1);
  EXPECT_EQ(Text(folder.Path("b/x")), x) << "a directory of that name is no file";
  EXPECT_EQ("./y", y) << "an empty part is the working directory";
}

TEST(Volume, OfAPathIsWhereItsDeviceBegins) {
  EXPECT_EQ("/proc", CDir::GetPathVolume("/proc/self/status"));
  EXPECT_EQ("/proc", CDir::GetPathVolume("/proc/none/such//file"));
  EXPECT_EQ("/", CDir::GetPathVolume("/"));
  EXPECT_EQ("/", CDir::GetPathVolume("/none"));
  const TestSupport::TempFolder folder;
  std::filesystem::create_symlink("/proc/self", folder.Path("link"));
  EXPECT_EQ("/proc", CDir::GetPathVolume(Text(folder.Path("link/none")))) << "links are followed";
}

TEST(Volume, WithoutDeviceGivesItsUnitOfAllocation) {
  struct statvfs status;
  ASSERT_EQ(0, statvfs("/proc", &status));
  EXPECT_EQ(status.f_frsize, CDir::GetStorageTopology("/proc").sectorSize);
}

TEST(Volume, FailuresAreReportedInFull) {
  EXPECT_EQ("1: CDir::GetPathVolume - path is empty",
            FailureOf<Qorv::dirExp>([] { CDir::GetPathVolume(""); }));
  EXPECT_EQ(
      "2: CDir::GetStorageTopology - failed retrieve storage's topology info\n  volume     = /none\n"
      "  error code = 2\n  error desc = volume not exists",
      FailureOf<Qorv::dirExp>([] { CDir::GetStorageTopology("/none"); }));
}

}  // namespace
