// Absolute paths and volumes.
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

TEST(Volume, OfAPathIsWhereItsDeviceBegins) {
  EXPECT_EQ("/proc", CDir::GetPathVolume("/proc/self/status"));
  EXPECT_EQ("/proc", CDir::GetPathVolume("/proc/none/such//file"));
  EXPECT_EQ("/", CDir::GetPathVolume("/"));
  EXPECT_EQ("/", CDir::GetPathVolume("/none"));
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
