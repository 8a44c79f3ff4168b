// The tables of mounted volumes: what is read out of them, from which of them, and which volume holds a path.
#include <gtest/gtest.h>

#include "file/dir_volume_table.h"
#include "file/temp_folder.h"
#include "support/row_name.h"

namespace {

using namespace Qorv::IMPL;
using Qorv::stringEx;

std::string Joined(const std::vector<stringEx>& points) {
  std::string text;
  for (const stringEx& point : points)
    text.append(point.data(), point.length()) += '|';
  return text;
}

struct TableRow {
  const char* name;
  std::vector<stringEx> (*parse)(std::string_view text);
  std::string_view text;
  std::string_view expected;
};

class Table : public testing::TestWithParam<TableRow> {};

TEST_P(Table, IsRead) {
  EXPECT_EQ(GetParam().expected, Joined(GetParam().parse(GetParam().text)));
}

using namespace std::string_view_literals;
const TableRow tables[] = {
    {"Lines", &ParseMountTable, "/dev/sda1 / ext4 rw 0 0\nproc\t/proc  proc rw 0 0", "/|/proc|"},
    {"BlanksInFront", &ParseMountTable, " \t/dev/a  /a x\n", "/a|"},
    {"Escapes", &ParseMountTable, "d /a\\040b\\011c\\012d\\134e\\303\\251 x", "/a b\tc\nd\\e\303\251|"},
    {"NoEscapes", &ParseMountTable, "d /a\\04 x\nd /b\\08x x\nd /c\\400 x\nd /d\\ x\nd /e\\000 x",
     "/a\\04|/b\\08x|/c\\400|/d\\|/e\\000|"},
    {"Comments", &ParseMountTable, "# /a /b\n#x /c\n", ""},
    {"NoPoint", &ParseMountTable, "d\n\nd none x\nd relative/x x\n", ""},
    {"TwoAtOnce", &ParseMountTable, "d1 /a x\nd2 /a x\n", "/a|/a|"},
    {"OutputWithType", &ParseMountOutput, "/dev/sda1 on / type ext4 (rw)\nproc on /proc type proc (rw)\n",
     "/|/proc|"},
    {"OutputWithoutType", &ParseMountOutput, "/dev/ada0p2 on / (ufs, local)\ndevfs on /dev (devfs)\n",
     "/|/dev|"},
    {"OutputWithBlanks", &ParseMountOutput, "a on /m (1) on x (ufs)\nb on /a type b/c (ufs)\n",
     "/m (1) on x|/a type b/c|"},
    {"OutputOfNothing", &ParseMountOutput, "mount: not found\n on \n on x (y)\n on /\n", "/|"},
};
INSTANTIATE_TEST_SUITE_P(Every, Table, testing::ValuesIn(tables), rowName);

struct HoldRow {
  const char* name;
  const char* path;
  const char* expected;
};

class Hold : public testing::TestWithParam<HoldRow> {};

TEST_P(Hold, IsByTheLongestMatch) {
  const std::vector<stringEx> points = {"/a/b", "/a", "/c/", "/a/b/c", "/a"};
  EXPECT_EQ(GetParam().expected, FindMountPoint(points, GetParam().path));
}

const HoldRow holds[] = {
    {"Itself", "/a/b", "/a/b"},
    {"Below", "/a/b/x/y", "/a/b"},
    {"Longest", "/a/b/c/d", "/a/b/c"},
    {"NotByPartOfAName", "/ab", ""},
    {"PartOfAName", "/a/bc", "/a"},
    {"PointWithSlash", "/c/x", "/c/"},
    {"None", "/d", ""},
};
INSTANTIATE_TEST_SUITE_P(Every, Hold, testing::ValuesIn(holds), rowName);

TEST(Root, HoldsEverything) {
  EXPECT_EQ("/", FindMountPoint({"/a", "/"}, "/b"));
  EXPECT_EQ("/", FindMountPoint({"/a", "/"}, "/"));
}

TEST(Sources, TheFirstThereIsCounts) {
  const TestSupport::TempFolder root;
  std::filesystem::create_directories(root.Path("etc"));
  std::filesystem::create_directories(root.Path("proc"));
  const auto points = [&] {
    return Joined(ReadVolumeTable(root.Path(), "echo d on /by/command").mountPoints);
  };
  EXPECT_EQ("/by/command|", points());
  root.Make("etc/mnttab", "d /by/mnttab x");
  EXPECT_EQ("/by/mnttab|", points());
  root.Make("proc/mounts", "d /by/proc x");
  EXPECT_EQ("/by/proc|", points());
  root.Make("etc/mtab", "d /by/mtab x");
  EXPECT_EQ("/by/mtab|", points());
  EXPECT_TRUE(ReadVolumeTable("/none", "exit 1").mountPoints.empty());
}

TEST(Sources, AProcessFileIsReadToItsLimitAndNoLineByHalf) {
  const TestSupport::TempFolder root;
  std::filesystem::create_directories(root.Path("proc"));
  std::string text;
  while (text.size() <= 8192)
    text += "d /0123456 x\n";
  root.Make("proc/mounts", text);
  const VOLUMETABLE table = ReadVolumeTable(root.Path());
  EXPECT_TRUE(table.isCut);
  EXPECT_EQ(8192u / 13, table.mountPoints.size());
  for (const stringEx& point : table.mountPoints)
    EXPECT_EQ("/0123456", point);
  root.Make("proc/mounts", text.substr(0, 8191));
  EXPECT_FALSE(ReadVolumeTable(root.Path()).isCut);
}

}  // namespace
