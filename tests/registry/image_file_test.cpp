// Open and Save: files, offsets, streams, and what ends them.
#include <gtest/gtest.h>

#include <fcntl.h>

#include <filesystem>
#include <string>

#include <qorv/error.h>
#include <qorv/file.h>

#include "file/temp_folder.h"
#include "registry/image_support.h"
#include "registry/tree_support.h"
#include "support/failure.h"
#include "support/row_name.h"

namespace {

using namespace Qorv;
using TestSupport::Bytes;
using TestSupport::FailureOf;
using TestSupport::HexOf;
using TestSupport::Text;
using TestSupport::TreeText;

// One value "on", true: 20 bytes behind the mark.
const std::string smallImage("R3\x84\1\0\0\0\x0A\2\0\0\0on\x8A\10\11\x84\0\0\0\0", 22);

class RegistryFile : public testing::Test {
 protected:
  RegistryFile() { registry_.WriteValue("on", true); }
  ~RegistryFile() noexcept override {}
  CFakeRegistry Clean() {
    CFakeRegistry fresh;
    fresh.Clear();
    fresh.WriteValue("on", true);
    return fresh;
  }
  stringEx Path(std::string_view name) const { return Text(folder_.Path(name)); }

  TestSupport::TempFolder folder_;
  CFakeRegistry registry_ = CFakeRegistry().GainSubkey("");
};

TEST_F(RegistryFile, IsMadeWithItsFolders) {
  CFakeRegistry opened;
  opened.Open(Path("a/b/new"));
  EXPECT_TRUE(std::filesystem::is_empty(folder_.Path("a/b/new")));
  EXPECT_TRUE(opened.IsValid());
  EXPECT_FALSE(opened.HasChanged());
  EXPECT_EQ(opened.GetWorkingFile(), Path("a/b/new"));

  registry_.Save(Path("c/d/saved"));
  EXPECT_EQ(folder_.Content("c/d/saved"), smallImage);
  EXPECT_FALSE(registry_.HasChanged());
  EXPECT_EQ(registry_.GetWorkingFile(), Path("c/d/saved"));
}

TEST_F(RegistryFile, IsNamedInFullInTheKey) {
  const stringEx before = CDir::GetPwd();
  CDir::SetPwd(Path(""));
  registry_.Save("relative");
  CFakeRegistry opened;
  opened.Open("relative");
  CDir::SetPwd(before);
  EXPECT_EQ(registry_.GetWorkingFile(), Path("relative"));
  EXPECT_EQ(opened.GetWorkingFile(), Path("relative"));
}

TEST_F(RegistryFile, IsCutBeforeItIsWritten) {
  folder_.Make("f", std::string(1000, 'x'));
  registry_.Save(Path("f"));
  EXPECT_EQ(folder_.Content("f"), smallImage);
}

TEST_F(RegistryFile, OpenDropsWhatTheHandleHadAndLeavesItToOthers) {
  CFakeRegistry other = registry_;
  folder_.Make("f", "");
  registry_.Open(Path("f"));
  EXPECT_FALSE(registry_.IsValueExist("on"));
  EXPECT_TRUE(other.IsValueExist("on"));
}

TEST_F(RegistryFile, LargerThanTheBufferComesBack) {
  for (int i = 0; i < 3000; ++i)
    registry_.GainSubkey(stringEx("key").append_int(i % 50)).WriteValue(stringEx("v").append_int(i), "text");
  registry_.WriteValue("large", stringEx().append(20000, 'x'));
  registry_.Save(Path("f"));
  CFakeRegistry opened;
  opened.Open(Path("f"));
  EXPECT_EQ(TreeText(opened), TreeText(registry_));
}

struct OFFSET {
  const char* name;
  std::int32_t offset;
  std::string file;
};

const OFFSET offsets[] = {
    {"FromTheStart", 7, "1234567" + smallImage},
    {"FromTheStartWithMoreBehind", 1, "1" + smallImage + "more"},
    {"FromTheEnd", -22, "12345" + smallImage},
    {"FromTheEndWithMoreBehind", -25, smallImage + "..."},
};

class Offset : public RegistryFile, public testing::WithParamInterface<OFFSET> {};

TEST_P(Offset, FindsTheImageAndNamesNoFile) {
  folder_.Make("f", GetParam().file);
  CFakeRegistry opened;
  opened.Open(Path("f"), GetParam().offset);
  EXPECT_EQ(TreeText(opened), TreeText(registry_));
  EXPECT_EQ(opened.GetWorkingFile(), "");
}

INSTANTIATE_TEST_SUITE_P(Rows, Offset, testing::ValuesIn(offsets), rowName);

TEST_F(RegistryFile, OffsetAtTheEndIsAnEmptyTree) {
  folder_.Make("f", "1234");
  for (const std::int32_t offset : {4, 5}) {
    registry_.Open(Path("f"), offset);
    EXPECT_EQ(registry_.GetValueCount(), 0U);
  }
}

TEST_F(RegistryFile, SaveAtAnOffsetLeavesZerosAndForgetsTheFile) {
  registry_.SetWorkingFile("x");
  registry_.Save(Path("f"), 3);
  EXPECT_EQ(folder_.Content("f"), std::string(3, '\0') + smallImage);
  EXPECT_EQ(registry_.GetWorkingFile(), "");
}

struct FAULT {
  const char* name;
  void (*step)(CFakeRegistry&, const std::string& folder);
  const char* failure;  // "{}" is the folder
};

const FAULT faults[] = {
    {"OpenBelowAFile", [](CFakeRegistry& r, const std::string& f) { r.Open(Text(f + "/file/a/f")); },
     "5: CFakeRegistry::Open - unable to create the path folder\n  file name = {}/file/a/f\n@ ?"},
    {"SaveBelowAFile", [](CFakeRegistry& r, const std::string& f) { r.Save(Text(f + "/file/a/f")); },
     "6: CFakeRegistry::Save - failed manipulate file path\n  file name = {}/file/a/f"},
    {"OpenFolder", [](CFakeRegistry& r, const std::string& f) { r.Open(Text(f)); },
     "5: CFakeRegistry::Open - failed open file\n  file name = {}\n@ ?"},
    {"SaveFolder", [](CFakeRegistry& r, const std::string& f) { r.Save(Text(f)); },
     "6: CFakeRegistry::Save - failed open file\n  file name = {}\n@ ?"},
    {"OpenNoName", [](CFakeRegistry& r, const std::string&) { r.Open(""); },
     "5: CFakeRegistry::Open - failed open file\n  file name = \n@ ?"},
    {"OpenBeforeTheStart", [](CFakeRegistry& r, const std::string& f) { r.Open(Text(f + "/file"), -2); },
     "5: CFakeRegistry::Open - failed open file\n  file name = {}/file\n@ CSysFile::SeekEnd - ?"},
    {"OneByte", [](CFakeRegistry& r, const std::string& f) { r.Open(Text(f + "/file")); },
     "3: RegParse - invalid header size"},
    {"SaveBeforeTheStart", [](CFakeRegistry& r, const std::string& f) { r.Save(Text(f + "/file"), -1); },
     "6: CFakeRegistry::Save - failed writing data sink\n\n@ CSysFile::SeekEnd - ?"},
    {"DiskFull", [](CFakeRegistry& r, const std::string&) { r.Save("/dev/full"); },
     "6: CFakeRegistry::Save - failed writing data sink\n\n@ CSysFile::Write - failed writing file\n"
     "  file path  = /dev/full\n  error code = 28\n?"},
    {"DiskFullWhileCompiling",
     [](CFakeRegistry& r, const std::string&) {
       r.WriteValue("x", stringEx().append(9000, 'x'));
       r.Save("/dev/full");
     },
     "6: RegCompile - io failed when trying compile fake registry\n@ CSysFile::Write - failed writing file\n"
     "  file path  = /dev/full\n  error code = 28\n?"},
    {"OpenClosedFile",
     [](CFakeRegistry& r, const std::string&) {
       CSysFile file;
       r.Open(file);
     },
     "5: CFakeRegistry::Open - failed open file\n  file name = \n@ CSysFile::GetSize - ?"},
    {"QuotaInAFile",
     [](CFakeRegistry& r, const std::string& f) {
       r.SetQuota(19);
       r.Save(Text(f + "/file"));
     },
     "6: RegCompile - io failed when trying compile fake registry\n@ CISXFBasic::_CheckBound - buffer "
     "overflow\n"
     "  expected size = 5\n  check bound   = -1"},
    {"QuotaInAStream",
     [](CFakeRegistry& r, const std::string&) {
       r.SetQuota(19);
       stringEx bytes;
       CGenericSeekableSink<CByteIO> sink{CByteIO(&bytes)};
       r.Save(sink);
     },
     "6: CFakeRegistry::Save - failed writing data sink\n\n"
     "@ RegCompile - io failed when trying compile fake registry\n@ CISXFBasic::_CheckBound - buffer "
     "overflow\n"
     "  expected size = 5\n  check bound   = -1"},
    {"UnknownType",
     [](CFakeRegistry& r, const std::string&) {
       r.WriteRawValue("x", 256 + T_BOOL, {});
       r.Save();
     },
     "3: RegCompileValues_r3 - invalid type : 264"},
    {"Circle",
     [](CFakeRegistry& r, const std::string&) {
       r.Insert("a\\b", r);
       r.Save();
     },
     "22: RegCompile - circular reference\n  subkey = b"},
};

class Fault : public RegistryFile, public testing::WithParamInterface<FAULT> {};

// "?" in the expected text is any rest. The change flag stays as it was.
TEST_P(Fault, IsTold) {
  folder_.Make("file", "x");
  std::string expected = folder_.Fill(GetParam().failure);
  std::string failure = FailureOf<regExp>([&] { GetParam().step(registry_, folder_.Path()); });
  if (expected.back() == '?') {
    expected.pop_back();
    failure.resize(std::min(failure.size(), expected.size()));
  }
  EXPECT_EQ(failure, expected);
  if (expected.find("Save") != std::string::npos || expected.find("Compile") != std::string::npos) {
    EXPECT_TRUE(registry_.HasChanged());
  }
  registry_.ClearSubkeys();  // a circle never goes by itself
}

INSTANTIATE_TEST_SUITE_P(Rows, Fault, testing::ValuesIn(faults), rowName);

TEST_F(RegistryFile, QuotaOfJustTheSizeIsEnoughAndOneLessCutsTheFile) {
  folder_.Make("f", "old");
  registry_.SetQuota(19);
  EXPECT_THROW(registry_.Save(Path("f")), regExp);
  EXPECT_LT(folder_.Content("f").size(), smallImage.size());
  EXPECT_TRUE(smallImage.starts_with(folder_.Content("f")));
  registry_.SetQuota(20);
  registry_.Save(Path("f"));
  EXPECT_EQ(folder_.Content("f"), smallImage);
}

TEST_F(RegistryFile, OpenFileIsUsedFromItsPosition) {
  CSysFile file;
  file.Open(Path("f"), O_RDWR, O_CREAT, fileShare::none, 0600, 0);
  file.Write("head", 4);
  registry_.SetWorkingFile("kept");
  registry_.Save(file);
  EXPECT_EQ(folder_.Content("f"), "head" + smallImage);
  EXPECT_EQ(registry_.GetWorkingFile(), "kept");
  EXPECT_FALSE(registry_.HasChanged());

  file.SeekBegin(4);
  CFakeRegistry opened;
  opened.Open(file);
  EXPECT_EQ(TreeText(opened), TreeText(Clean()));
  opened.Open(file);  // now at its end
  EXPECT_EQ(opened.GetValueCount(), 0U);
}

TEST_F(RegistryFile, MemoryIsAppendedToOrLeftAsItWas) {
  byteEx image = Bytes("FF");
  registry_.Save(image);
  EXPECT_EQ(image.length(), 1 + smallImage.size());
  EXPECT_EQ(image[0], 0xFF);
  EXPECT_FALSE(registry_.HasChanged());
  registry_.SetQuota(19);
  const byteEx before = image;
  EXPECT_THROW(registry_.Save(image), regExp);
  EXPECT_EQ(image, before);
}

// Without a size; some bring nothing.
TEST_F(RegistryFile, StreamThatCannotSeekIsReadUpToItsEnd) {
  class Stream : public TDataSource {
   public:
    explicit Stream(std::string bytes) : memory_(stringEx(std::string_view(bytes))) {}
    bool IsValid() const override { return true; }
    bool IsEof() const override { return memory_.IsEof(); }
    std::size_t Read(void* out, std::size_t size) override { return memory_.Read(out, size); }

   private:
    CMemSource memory_;
  };
  CFakeRegistry opened;
  Stream whole(smallImage);
  opened.Open(whole);
  EXPECT_EQ(TreeText(opened), TreeText(Clean()));
  Stream withoutSubkeys(smallImage.substr(0, smallImage.size() - 5));
  opened.Open(withoutSubkeys);
  EXPECT_EQ(TreeText(opened), TreeText(Clean()));
  Stream nothing("");
  opened.Open(nothing);
  EXPECT_EQ(opened.GetValueCount(), 0U);
  Stream cut(smallImage.substr(0, 6));
  EXPECT_EQ(FailureOf<regExp>([&] { opened.Open(cut); }),
            "5: RegParse - io failed when trying parsing fake registry\n\n"
            "@ CISXFReader::_Read - unexpected end of data\n  expected size = 4\n  real size     = 3");
  Stream one("R");
  EXPECT_EQ(FailureOf<regExp>([&] { opened.Open(one); }), "3: RegParse - invalid header size");
}

TEST_F(RegistryFile, IsSavedIntoAStreamAsIntoMemory) {
  stringEx stored;
  {
    CGenericSeekableSink<CByteIO> sink{CByteIO(&stored)};
    registry_.Save(sink);
  }
  EXPECT_EQ(std::string(stored), smallImage);
  EXPECT_FALSE(registry_.HasChanged());
}

TEST_F(RegistryFile, NamesMayBeLiteralsOfBothKinds) {
  const std::string path = folder_.Path("file");
  registry_.Save(path.c_str(), 5);
  CFakeRegistry opened;
  opened.Open(path.c_str(), 5);
  EXPECT_TRUE(opened.IsValueExist("on"));
  CFakeRegistry again;
  again.Open(Text(path).to_wide().data(), 5);
  EXPECT_TRUE(again.IsValueExist(L"on"));
}

TEST_F(RegistryFile, FolderOfAFileIsByTheSystemsSeparatorAlone) {
  registry_.Save(Path("a\\b"));
  EXPECT_EQ(folder_.Content("a\\b"), smallImage);
  EXPECT_FALSE(std::filesystem::exists(folder_.Path("a")));
}

// One behind the other, and each larger than what is read ahead.
TEST_F(RegistryFile, NestedImagesComeFromAFile) {
  CFakeRegistry tree = Clean();
  const std::string large(20000, 'x');
  for (const char* const name : {"one", "two\\below", "three"})
    tree.GainSubkey(name).WriteValue("v", stringEx(std::string_view(large)));
  const byteEx image = TestSupport::OldImage(2).Of(tree);
  CFakeRegistry opened;
  opened.Open(Text(folder_.Make("old", {reinterpret_cast<const char*>(image.data()), image.length()})));
  EXPECT_EQ(TreeText(opened), TreeText(tree));
}

TEST(InvalidRegistry, IsNotSaved) {
  CFakeRegistry invalid;
  byteEx image;
  EXPECT_EQ(FailureOf<regExp>([&] { invalid.Save(image); }), "1: CFakeRegistry::Save - invalid object");
  EXPECT_EQ(FailureOf<regExp>([&] { invalid.Save("/nowhere/at/all"); }),
            "1: CFakeRegistry::Save - invalid object");
}

}  // namespace
