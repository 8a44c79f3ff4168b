// Views of files: where they lie, what reaches the file, what is refused and in which words.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <limits>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include <qorv/file.h>

#include "file/temp_folder.h"
#include "support/failure.h"
#include "support/refusal.h"
#include "support/row_name.h"

// NOLINTBEGIN
REFUSABLE_BY_ERRNO(munmap, (void* address, std::size_t size), (address, size))
REFUSABLE_BY_ERRNO(msync, (void* address, std::size_t size, int flags), (address, size, flags))
REFUSABLE_BY_ERRNO(close, (int fd), (fd))
// NOLINTEND

namespace {

using namespace Qorv;
using TestSupport::FailureOf;
using TestSupport::Refuse;
using TestSupport::Text;

constexpr std::uint32_t readWrite = PROT_READ | PROT_WRITE;

class FileMapping : public testing::Test {
 protected:
  static std::string_view Bytes(const CFileMapping::CView& view) {
    return {reinterpret_cast<const char*>(view.GetAddress()), view.GetSize()};
  }
  static int OpenDescriptors() {
    int count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
      ++count;
    return count;
  }

  const std::size_t page_ = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  TestSupport::TempFolder folder_;
};

struct RangeRow {
  const char* name;
  std::int64_t pages;  // the offset is this many pages and bytes
  std::int64_t bytes;
  std::uint64_t sizePages;  // and so is the size
  std::int64_t sizeBytes;
};

class Ranges : public FileMapping, public testing::WithParamInterface<RangeRow> {};

// The last byte of a range is there too where the range ends in another page than it would from its page's start.
TEST_P(Ranges, HoldWhatTheFileHasThere) {
  std::string content;
  for (std::size_t i = 0; i < 3 * page_; ++i)
    content += static_cast<char>('a' + i * 7 % 23);
  const stringEx path = Text(folder_.Make("file", content));
  const auto offset = GetParam().pages * static_cast<std::int64_t>(page_) + GetParam().bytes;
  const std::size_t size = GetParam().sizePages * page_ + static_cast<std::size_t>(GetParam().sizeBytes);
  const CFileMapping mapping(path, readWrite);
  CFileMapping::CView view(mapping, offset, size, readWrite);
  EXPECT_EQ(Bytes(view), content.substr(static_cast<std::size_t>(offset), size));
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(view.GetAddress()) % page_,
            static_cast<std::size_t>(offset) % page_);

  std::memset(view.GetAddress(), '!', size);
  view.Flush();
  content.replace(static_cast<std::size_t>(offset), size, size, '!');
  EXPECT_EQ(folder_.Content("file"), content);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Ranges,
    testing::Values(RangeRow{"FromTheStart", 0, 0, 0, 5}, RangeRow{"OddOffset", 0, 5, 0, 100},
                    RangeRow{"OddOffsetWholePage", 0, 5, 1, 0}, RangeRow{"SecondPage", 1, 0, 1, 0},
                    RangeRow{"OverThreePages", 1, -1, 1, 2}, RangeRow{"LastByte", 3, -1, 0, 1}),
    rowName);

TEST_F(FileMapping, PrivateCopyKeepsItsChangesToItself) {
  const stringEx path = Text(folder_.Make("file", "content"));
  const CFileMapping mapping(path, PROT_READ);  // even where the file itself must not be written
  const CFileMapping::CView copy(mapping, 0, 7, mapPrivateCopy);
  std::memcpy(copy.GetAddress(), "private", 7);
  EXPECT_EQ(Bytes(copy), "private");
  EXPECT_EQ(folder_.Content("file"), "content");
}

TEST_F(FileMapping, ViewOutlivesItsMappingAndTheLastClosesTheFile) {
  const int before = OpenDescriptors();
  const stringEx path = Text(folder_.Make("file", "content"));
  {
    std::optional<CFileMapping> mapping(std::in_place, path, readWrite);
    const CFileMapping::CView view(*mapping, 0, 7, readWrite);
    mapping.reset();
    EXPECT_EQ(Bytes(view), "content");
    EXPECT_EQ(OpenDescriptors(), before + 1);
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(FileMapping, DescriptorOfTheCallerStaysHisOwn) {
  const int descriptor = ::open(folder_.Make("file", "content").c_str(), O_RDONLY);
  const CFileMapping mapping(descriptor);
  ::close(descriptor);
  EXPECT_EQ(Bytes(CFileMapping::CView(mapping, 3, 4, PROT_READ)), "tent");
  EXPECT_EQ(FailureOf<fmppExp>([] { CFileMapping{-1}; }),
            "26: CFileMapping::CFileMapping - failed create file mapping\n  error code = 9\n"
            "  error desc = invalid file descriptor");
}

TEST_F(FileMapping, KnowsTheNameOfItsFile) {
  for (const char* const name :
       {"plain", "with a blank", "line\nbreak", "ends in blank ", "plain\\012text"}) {
    const stringEx path = Text(folder_.Make(name, "x"));
    EXPECT_EQ(CFileMapping(path, PROT_READ).GetFileName(), path);
  }
  const stringEx empty = Text(folder_.Make("empty", ""));
  EXPECT_EQ(CFileMapping(empty, PROT_READ).GetFileName(), empty);
  EXPECT_EQ(CFileMapping(empty.to_wide(), PROT_READ).GetFileName(), empty);
}

TEST_F(FileMapping, NameOfWhatIsGoneIsTheMapsOwn) {
  const std::string path = folder_.Make("line\nbreak", "x");
  const CFileMapping mapping(Text(path), PROT_READ);
  ASSERT_EQ(::unlink(path.c_str()), 0);
  EXPECT_EQ(mapping.GetFileName(), Text(path + " (deleted)"));
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  EXPECT_EQ(FailureOf<fmppExp>([&] { CFileMapping(ends[0]).GetFileName(); }).substr(0, 4), "27: ");
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST_F(FileMapping, ViewGoesWhereItIsWanted) {
  const CFileMapping mapping(Text(folder_.Make("file", std::string(2 * page_, 'x'))), PROT_READ);
  void* place = nullptr;
  {
    const CFileMapping::CView view(mapping, 0, page_, PROT_READ);
    place = view.GetAddress();
  }
  const CFileMapping::CView view(mapping, static_cast<std::int64_t>(page_) + 5, 9, PROT_READ, place);
  EXPECT_EQ(view.GetAddress(), static_cast<unsigned char*>(place) + 5);
}

TEST_F(FileMapping, FileThatCannotBeOpenedIsTold) {
  EXPECT_EQ(FailureOf<fmppExp>([this] { CFileMapping(Text(folder_.Path("none")), PROT_READ); }),
            folder_.Fill("25: CFileMapping::CFileMapping - error open file mapping\n  file path = {}/none\n"
                         "@ CSysFile/PosixOpenFile - failed open specified file\n  file path  = {}/none\n"
                         "  error code = 2\n  error desc = file dose not exists or can't be created"));
}

struct RefusedViewRow {
  const char* name;
  std::uint32_t opened;
  std::int64_t offset;
  std::uint64_t size;
  std::uint32_t protection;
  const char* expected;  // behind the heading
};

class RefusedViews : public FileMapping, public testing::WithParamInterface<RefusedViewRow> {};

TEST_P(RefusedViews, AreTold) {
  const RefusedViewRow& row = GetParam();
  const CFileMapping mapping(Text(folder_.Make("file", "content")), row.opened);
  EXPECT_EQ(FailureOf<fmppExp>([&] { CFileMapping::CView(mapping, row.offset, row.size, row.protection); }),
            std::string("27: CSysFile/SetupMapView - failed create file view\n") + row.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedViews,
    testing::Values(
        RefusedViewRow{"Writable", PROT_READ, 0, 7, readWrite,
                       "  size       = 7\n  address    = (nil)\n  offset     = 0\n  protection = 0x3\n"
                       "  flags      = 0x1\n  error code = 13\n  error desc = access denied"},
        RefusedViewRow{"WritableByExecution", PROT_READ | PROT_EXEC, 0, 7, readWrite,
                       "  size       = 7\n  address    = (nil)\n  offset     = 0\n  protection = 0x3\n"
                       "  flags      = 0x1\n  error code = 13\n  error desc = access denied"},
        RefusedViewRow{"OfNothing", readWrite, 5, 0, mapPrivateCopy,
                       "  size       = 0\n  address    = (nil)\n  offset     = 5\n  protection = 0x40000000\n"
                       "  flags      = 0x2\n  error code = 22\n"
                       "  error desc = invalid size, address, or flags argument"},
        RefusedViewRow{"BeforeTheFile", readWrite, -5, 7, PROT_READ,
                       "  size       = 7\n  address    = (nil)\n  offset     = -5\n  protection = 0x1\n"
                       "  flags      = 0x1\n  error code = 75\n  error desc = unexpect system error: Value "
                       "too large for defined data type"},
        RefusedViewRow{"MoreThanThereIs", readWrite, 5, ~std::uint64_t{0}, PROT_READ,
                       "  size       = 18446744073709551615\n  address    = (nil)\n  offset     = 5\n"
                       "  protection = 0x1\n  flags      = 0x1\n  error code = 12\n"
                       "  error desc = insufficient memory"},
        RefusedViewRow{"BehindAllOffsets", readWrite, std::numeric_limits<std::int64_t>::max(), 7, PROT_READ,
                       "  size       = 7\n  address    = (nil)\n  offset     = 9223372036854775807\n"
                       "  protection = 0x1\n  flags      = 0x1\n  error code = 75\n  error desc = "
                       "unexpect system error: Value too large for defined data type"}),
    rowName);

TEST_F(FileMapping, WhatTheSystemSeldomRefusesIsTold) {
  const CFileMapping mapping(Text(folder_.Make("file", "content")), readWrite);
  CFileMapping::CView view(mapping, 5, 2, readWrite);
  char address[32];
  std::snprintf(address, sizeof(address), "%p", static_cast<void*>(view.GetAddress()));
  Refuse("msync", EBUSY);
  EXPECT_EQ(FailureOf<fmppExp>([&] { view.Flush(); }),
            std::string("30: CFileMapping::CView::Flush - failed flush view to file\n  view addr      = ") +
                address +
                "\n  view size      = 2\n  sys error code = 16\n"
                "  sys error desc = some or all of the addresses range are locked");
  Refuse("munmap", EINVAL);
  EXPECT_EQ(FailureOf<fmppExp>([&] { view._Release(); }),
            std::string("28: CFileMapping::CView::_Release - failed unmap file view\n  address    = ") +
                address +
                "\n  size       = 2\n  error code = 22\n"
                "  error desc = unexpect system error: Invalid argument");
  EXPECT_NE(view.GetAddress(), nullptr) << "it is still there";
  EXPECT_NO_THROW(view._Release());
  EXPECT_EQ(view.GetAddress(), nullptr);
  EXPECT_NO_THROW(view._Release());
  EXPECT_NO_THROW(view.Flush());
  Refuse("munmap", EINVAL);
  EXPECT_NO_THROW(CFileMapping::CView(mapping, 5, 2, readWrite)) << "nobody could be told";
  Refuse("dup", EMFILE);
  EXPECT_EQ(FailureOf<fmppExp>([] { CFileMapping{0}; }),
            "26: CFileMapping::CFileMapping - failed create file mapping\n  error code = 24\n"
            "  error desc = the number of file descriptors in use by this process would exceed");
}

TEST_F(FileMapping, ClosingFailsWithTheMappingsOwnClass) {
  const stringEx path = Text(folder_.Make("file", "content"));
  EXPECT_EQ(FailureOf<fmppExp>([&] {
              const CFileMapping mapping(path, PROT_READ);
              Refuse("close", EIO);
            }),
            "29: CSysFile::__Close - error close file descriptor\n  sys error  = 5\n"
            "  error desc = io error occurred");
}

TEST_F(FileMapping, PageThatTheFileHasLostCannotBeTouched) {
  const std::string path = folder_.Make("file", std::string(2 * page_, 'x'));
  const CFileMapping mapping(Text(path), readWrite);
  const CFileMapping::CView view(mapping, 0, 2 * page_, readWrite);
  ASSERT_EQ(::truncate(path.c_str(), 10), 0);
  EXPECT_EQ(view.GetAddress()[9], 'x');
  EXPECT_EQ(view.GetAddress()[10], 0);
  const pid_t child = ::fork();
  if (child == 0) {
    std::signal(SIGBUS, [](int) { ::_exit(7); });
    const_cast<volatile unsigned char&>(view.GetAddress()[page_]) = 1;
    ::_exit(0);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 7);
  const CFileMapping::CView beyond(mapping, static_cast<std::int64_t>(4 * page_), page_, PROT_READ);
  EXPECT_NE(beyond.GetAddress(), nullptr) << "it may be there before the file is";
  ASSERT_EQ(::truncate(path.c_str(), static_cast<off_t>(5 * page_)), 0);
  EXPECT_EQ(beyond.GetAddress()[page_ - 1], 0);
}

}  // namespace
