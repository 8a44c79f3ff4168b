// Streams of the C library: modes, lines, push-back, buffers, and each refusal in its words.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include <qorv/file.h>

#include "file/temp_folder.h"
#include "support/failure.h"
#include "support/row_name.h"
#include "support/timer_signals.h"

namespace {

using namespace Qorv;
using TestSupport::FailureOf;
using TestSupport::Text;

class CFile : public testing::Test {
 protected:
  stringEx Path(std::string_view name) const { return Text(folder_.Path(name)); }

  TestSupport::TempFolder folder_;
};

struct ModeRow {
  const char* name;
  const char* mode;
  const char*
      after;  // of a file "content", behind writing "ab" and closing; "refused" where that is not to be
};

class Modes : public CFile, public testing::WithParamInterface<ModeRow> {};

TEST_P(Modes, DoWhatTheySay) {
  const stringEx path = Text(folder_.Make("file", "content"));
  std::string after;
  try {
    CCFile file;
    file.Open(path, Text(GetParam().mode));
    file.Write(Text("ab"));
    file.Close();
    after = folder_.Content("file");
  } catch (const cfileExp&) {
    after = "refused";
    EXPECT_EQ(folder_.Content("file"), "content");
  }
  EXPECT_EQ(after, GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(Rows, Modes,
                         testing::Values(ModeRow{"Read", "r", "refused"}, ModeRow{"Update", "r+b", "abntent"},
                                         ModeRow{"Write", "w", "ab"}, ModeRow{"WriteBoth", "wb+", "ab"},
                                         ModeRow{"Append", "a", "contentab"},
                                         ModeRow{"AppendBoth", "a+t", "contentab"},
                                         ModeRow{"New", "wx", "refused"}, ModeRow{"None", "", "refused"},
                                         ModeRow{"Unknown", "rw", "refused"},
                                         ModeRow{"OldAndNew", "rx", "refused"}),
                         rowName);

TEST_F(CFile, ReadsLinesHoweverLongAndWhateverIsInThem) {
  const std::string longLine(1000, 'x');
  const std::string lastLines("b\0c\nlast", 8);
  CCFile file;
  file.Open(Text(folder_.Make("file", "a\n\n" + longLine + "\n" + lastLines)), Text("r"));
  std::vector<std::string> lines;
  for (stringEx line; file.ReadLine(line);)
    lines.emplace_back(line.data(), line.length());
  EXPECT_EQ(lines, (std::vector<std::string>{"a", "", longLine, lastLines.substr(0, 3), "last"}));
}

TEST_F(CFile, WhatIsPushedBackComesFirst) {
  CCFile file;
  file.Open(Text(folder_.Make("file", "bc")), Text("r"));
  EXPECT_EQ(file.ReadByte(), 'b');
  file.PushBack('a');
  EXPECT_FALSE(file.IsEof());
  char bytes[8] = {};
  EXPECT_EQ(file.Read(bytes, sizeof(bytes)), 2u);
  EXPECT_STREQ(bytes, "ac");
  EXPECT_TRUE(file.IsEof());
  EXPECT_EQ(file.ReadByte(), EOF);
}

TEST_F(CFile, CountsPositionsAndSizesWithWhatWaitsInTheBuffer) {
  CCFile file;
  file.Open(Path("file"), Text("w+"));
  file.Print("%s=%d\n", "value", 7);
  EXPECT_EQ(folder_.Content("file"), "");
  EXPECT_EQ(file.GetCurrentPos(), 8);
  EXPECT_EQ(file.GetSize(), 8);
  file.SeekBegin(6);
  file.SeekCurrent(-1);
  EXPECT_EQ(file.ReadByte(), '=');
  file.SeekEnd(-2);
  EXPECT_EQ(file.ReadByte(), '7');
  EXPECT_EQ(FailureOf<cfileExp>([&] { file.SeekBegin(-1); }),
            folder_.Fill("13: CCFile::SeekBegin - failed seeking in file\n  file path  = {}/file\n"
                         "  error code = 22\n"
                         "  error desc = invalid argument, or the resulting position would be negative"));
}

// On a named pipe, where each of these waits for the other side.
TEST_F(CFile, SignalsBreakNothingOff) {
  const stringEx path = Path("pipe");
  ASSERT_EQ(::mkfifo(path.data(), 0600), 0);
  const TestSupport::TimerSignals signals;
  {
    const TestSupport::Later later([&] {
      CCFile writer;
      writer.Open(path, Text("w"));
      ::usleep(50'000);
      writer.Write(Text("late\n"));
    });
    CCFile reader;
    reader.Open(path, Text("r"));
    stringEx line;
    EXPECT_TRUE(reader.ReadLine(line));
    EXPECT_EQ(std::string(line), "late");
    EXPECT_TRUE(reader.IsEof());
  }
  std::string got;
  {
    const TestSupport::Later later([&] {
      CCFile reader;
      reader.Open(path, Text("r"));
      ::usleep(50'000);
      char piece[4096];
      while (const std::size_t count = reader.Read(piece, sizeof(piece)))
        got.append(piece, count);
    });
    CCFile writer;
    writer.Open(path, Text("w"));
    const std::string sent(200'000, 'x');  // more than a pipe holds
    writer.Write(sent.data(), sent.size());
    writer.Write(Text("end"));
    writer.Close();
  }
  EXPECT_EQ(got.size(), 200'003u);
  EXPECT_GT(signals.Count(), 50);
}

TEST_F(CFile, BrokenPipeIsAFailureAndNoSignal) {
  const stringEx path = Path("pipe");
  ASSERT_EQ(::mkfifo(path.data(), 0600), 0);
  for (int step = 0; step < 3; ++step) {
    const int reader = ::open(path.data(), O_RDONLY | O_NONBLOCK);
    CCFile writer;
    writer.Open(path, Text("w"));
    ::close(reader);
    const std::string failure = FailureOf<cfileExp>([&] {
      if (step == 0) writer.Write(std::string(100'000, 'x').data(), 100'000);
      writer.Write(Text("x"));
      if (step == 1) writer.Flush();
      writer.Close();
    });
    EXPECT_EQ(failure.substr(0, 4), "34: ") << failure;
  }
}

TEST_F(CFile, RefusedOpenDoesNotCutTheFile) {
  const stringEx path = Text(folder_.Make("file", "content"));
  CCFile holder;
  holder.Open(path, Text("r+"), fileShare::exclusive);
  EXPECT_THROW(CCFile().Open(path, Text("w"), fileShare::exclusive), cfileExp);
  EXPECT_EQ(folder_.Content("file"), "content");
  holder.Close();
  CCFile().Open(path, Text("w"), fileShare::exclusive);
  EXPECT_EQ(folder_.Content("file"), "");
}

TEST_F(CFile, BufferHasItsSize) {
  CCFile file;
  file.Open(Path("file"), Text("w"));
  file.SetBuffer(streamBuffer::full, 50'000);
  file.Write(std::string(40'000, 'x').data(), 40'000);
  EXPECT_EQ(folder_.Content("file"), "");
  CCFile moved = std::move(file);
  moved.Close();
  EXPECT_EQ(folder_.Content("file").size(), 40'000u);
}

TEST_F(CFile, WithoutABufferEachWriteArrives) {
  CCFile file;
  file.Open(Path("file"), Text("w"));
  file.SetBuffer(streamBuffer::none, 0);
  file.Write(Text("at once"));
  EXPECT_EQ(folder_.Content("file"), "at once");
  EXPECT_EQ(FailureOf<cfileExp>([&] { file.SetBuffer(77, 5); }),
            folder_.Fill("16: CCFile::SetBuffer - failed set stream buffer\n  file path  = {}/file\n"
                         "  error code = 22\n"
                         "  error desc = invalid argument, or the resulting position would be negative"));
}

TEST_F(CFile, StreamsOnAnOpenFileShareItsPositionAndLeaveItOpen) {
  CSysFile under;
  under.OpenRaw(Text(folder_.Make("file", "content")), O_RDWR, 0, 0, 0, 0);
  under.SeekBegin(3);
  {
    CCFile file;
    file.Open(under, Text("r+"));
    EXPECT_EQ(file.ReadByte(), 't');
    CCFile moved = std::move(file);
    EXPECT_FALSE(file.IsOpen());  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(moved.ReadByte(), 'e');
  }
  under.SeekBegin(0);
  char byte = 0;
  EXPECT_EQ(under.Read(&byte, 1), 1u);
  EXPECT_EQ(FailureOf<cfileExp>([] { CCFile().Open(CSysFile(), Text("r")); }),
            "4: CCFile::Open - failed open a stream of file\n  file path = \n  open mode = r\n"
            "@ CSysFile::Duplicate - failed duplicate file descriptor\n  file path  = \n  error code = 9\n"
            "  error desc = invalid file descriptor");
}

TEST_F(CFile, FileThatCannotBeOpenedIsToldAndTheOldOneStays) {
  CCFile file;
  file.Open(Text(folder_.Make("file", "content")), Text("r"));
  EXPECT_EQ(FailureOf<cfileExp>([&] { file.Open(Path("none"), Text("r")); }),
            folder_.Fill("4: CCFile::Open - failed open file\n  file path = {}/none\n  open mode = r\n"
                         "@ CSysFile/PosixOpenFile - failed open specified file\n  file path  = {}/none\n"
                         "  error code = 2\n  error desc = file dose not exists or can't be created"));
  EXPECT_EQ(FailureOf<cfileExp>([&] { file.Open(Path("file"), Text("rw")); }),
            folder_.Fill("4: CCFile::Open - failed open file\n  file path = {}/file\n  open mode = rw\n"
                         "  error desc = unknown open mode"));
  EXPECT_EQ(file.ReadByte(), 'c');
}

struct ClosedRow {
  const char* name;
  void (*step)(CCFile&);
  const char* expected;
};

class Closed : public testing::TestWithParam<ClosedRow> {};

TEST_P(Closed, StreamServesNothing) {
  CCFile file;
  EXPECT_EQ(
      FailureOf<cfileExp>([&] { GetParam().step(file); }),
      std::string(GetParam().expected) +
          "\n  file path  = \n  error code = 9\n  error desc = the stream is not open, or not for this");
  EXPECT_NO_THROW(file.Close());
}

INSTANTIATE_TEST_SUITE_P(Rows, Closed,
                         testing::Values(ClosedRow{"Read", [](CCFile& file) { file.ReadByte(); },
                                                   "7: CCFile::Read - failed reading file"},
                                         ClosedRow{"Write", [](CCFile& file) { file.Write("x", 1); },
                                                   "9: CCFile::Write - failed writing file"},
                                         ClosedRow{"PushBack", [](CCFile& file) { file.PushBack('x'); },
                                                   "12: CCFile::PushBack - no room to push back"},
                                         ClosedRow{"Flush", [](CCFile& file) { file.Flush(); },
                                                   "15: CCFile::Flush - failed flush the file"},
                                         ClosedRow{"Position", [](CCFile& file) { file.GetCurrentPos(); },
                                                   "14: CCFile::GetCurrentPos - failed get current position"},
                                         ClosedRow{"Size", [](CCFile& file) { file.GetSize(); },
                                                   "17: CCFile::GetSize - failed retrive file size"}),
                         rowName);

TEST_F(CFile, FullDiskIsToldByWhoeverMeetsIt) {
  const std::string full =
      "\n  file path  = /dev/full\n  error code = 28\n"
      "  error desc = there was no free space remaining on the device containing the file";
  CCFile file;
  file.Open(Text("/dev/full"), Text("w"));
  file.Write(Text("waits"));
  EXPECT_EQ(FailureOf<cfileExp>([&] { file.Flush(); }), "15: CCFile::Flush - failed flush the file" + full);
  EXPECT_EQ(FailureOf<cfileExp>([&] { file.Write(std::string(100'000, 'x').data(), 100'000); }),
            "9: CCFile::Write - failed writing file" + full);
  CCFile other;
  other.Open(Text("/dev/full"), Text("w"));
  other.Write(Text("waits"));
  EXPECT_EQ(FailureOf<cfileExp>([&] { other.Close(); }), "6: CCFile::Close - error close file stream" + full);
  EXPECT_FALSE(other.IsOpen());
  EXPECT_EQ(FailureOf<cfileExp>([&] {
              CCFile folder;
              folder.Open(Text("/"), Text("r"));
              folder.ReadByte();
            }),
            "7: CCFile::Read - failed reading file\n  file path  = /\n  error code = 21\n"
            "  error desc = the file refers to a directory");
}

}  // namespace
