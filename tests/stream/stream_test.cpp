// Streams over memory and files, and what a buffered one asks of the system.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <qorv/error.h>
#include <qorv/stream.h>

#include "file/temp_folder.h"
#include "support/failure.h"

namespace {

// The sizes that the system was asked for since a test began to watch, and what they are to do.
struct SYSTEM {
  std::vector<std::size_t> reads;
  std::vector<std::size_t> writes;
  std::size_t writeAtMost = SIZE_MAX;
  std::size_t writesLeft = SIZE_MAX;  // before the disk is full
  std::size_t readsLeft = SIZE_MAX;   // before it is bad
};
SYSTEM* watched = nullptr;

}  // namespace

extern "C" {
ssize_t __real_read(int descriptor, void* data, std::size_t length);         // NOLINT
ssize_t __real_write(int descriptor, const void* data, std::size_t length);  // NOLINT
ssize_t __wrap_read(int descriptor, void* data, std::size_t length);         // NOLINT
ssize_t __wrap_write(int descriptor, const void* data, std::size_t length);  // NOLINT

ssize_t __wrap_read(int descriptor, void* data, std::size_t length) {  // NOLINT
  if (watched != nullptr) {
    watched->reads.push_back(length);
    if (watched->readsLeft == 0) {
      errno = EIO;
      return -1;
    }
    --watched->readsLeft;
  }
  return __real_read(descriptor, data, length);
}

ssize_t __wrap_write(int descriptor, const void* data, std::size_t length) {  // NOLINT
  if (watched == nullptr) return __real_write(descriptor, data, length);
  if (watched->writesLeft == 0) {
    errno = ENOSPC;
    return -1;
  }
  --watched->writesLeft;
  watched->writes.push_back(length);
  return __real_write(descriptor, data, std::min(length, watched->writeAtMost));
}
}

namespace {

using namespace Qorv;
using TestSupport::FailureOf;
using Sizes = std::vector<std::size_t>;

std::string Numbered(std::size_t size) {
  std::string bytes;
  for (std::size_t i = 0; i < size; ++i)
    bytes += static_cast<char>(i * 7 + i / 256);
  return bytes;
}

std::string ReadFrom(TDataSource& source, std::size_t size) {
  std::string bytes(size, '?');
  bytes.resize(source.Read(bytes.data(), size));
  return bytes;
}

class Streams : public testing::Test {
 protected:
  ~Streams() override { watched = nullptr; }

  CSysFile Open(const std::string& content) {
    CSysFile file;
    file.Open(stringEx(folder_.Make("f", content)), O_RDWR, 0, fileShare::none, 0, 0);
    return file;
  }
  std::string Content() const { return folder_.Content("f"); }
  void Watch() { watched = &system_; }
  Sizes TakeReads() { return std::exchange(system_.reads, {}); }
  Sizes TakeWrites() { return std::exchange(system_.writes, {}); }

  TestSupport::TempFolder folder_;
  SYSTEM system_;
};

TEST_F(Streams, EachKindHasItsNameAndNumber) {
  stringEx text;
  const CByteIO memory(&text);
  const CSysFile file = Open("");
  const CSysFile closed;
  CGenericSeekableSource<CByteIO> source(memory);
  CGenericSeekableSink<CByteIO> sink(memory);
  CGenericSeekableSynth<CByteIO> synth(memory);
  CGenericSeekableSource<CSysFile> closedSource(closed);
  CBufferedSeekableSource<CSysFile> bufferedSource(file, 1);
  CBufferedSeekableSink<CSysFile> bufferedSink(closed, 1);
  CMemSource memorySource(stringEx("whole"));
  const struct {
    IDataObject& object;
    std::uint32_t type;
    const char* name;
    bool valid;
  } rows[] = {
      {source, 1, "Generic Seekable Data Source", true},
      {sink, 1, "Generic Seekable Data Sink", true},
      {static_cast<TDataSource&>(synth), 1, "Generic Seekable Data Synth", true},
      {static_cast<TDataSink&>(synth), 1, "Generic Seekable Data Synth", true},
      {closedSource, 1, "Generic Seekable Data Source", false},
      {bufferedSource, 4, "Buffered Seekable Data Source", true},
      {bufferedSink, 4, "Buffered Seekable Data Sink", false},
      {memorySource, 6, "Generic Seekable Data Source", true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.type, row.object.GetTypeId());
    EXPECT_STREQ(row.name, row.object.GetTypeName());
    EXPECT_EQ(row.valid, row.object.IsValid());
    EXPECT_NE(row.valid, !row.object);
    stringEx out("before");
    EXPECT_EQ(&row.object == &memorySource, row.object.GetWholeData(out));
    EXPECT_EQ(stringEx(&row.object == &memorySource ? "whole" : "before"), out);
  }
}

TEST_F(Streams, MemoryIsReadAndWrittenAtAnyPosition) {
  stringEx text("abcdef");
  const stringEx share = text;
  CGenericSeekableSynth<CByteIO> synth{CByteIO(&text)};
  EXPECT_EQ(2, synth.SeekBegin(2));
  EXPECT_EQ(3u, synth.Write("XYZ", 3));
  EXPECT_EQ("f", ReadFrom(synth, 9)) << "a write moves the next read, and a read is cut";
  EXPECT_TRUE(synth.IsEof());
  EXPECT_EQ("", ReadFrom(synth, 9));
  EXPECT_EQ("", ReadFrom(synth, 0));
  EXPECT_EQ(8, synth.SeekEnd(2));
  EXPECT_EQ(0u, synth.Write("", 0));
  EXPECT_EQ(6, synth.GetSize()) << "nothing written fills no gap";
  EXPECT_EQ(5, synth.SeekCurrent(5)) << "the offset, not the position";
  EXPECT_EQ(13, synth.GetCurrentPos());
  EXPECT_EQ(8, synth.SeekBegin(8));
  EXPECT_EQ(1u, synth.Write("!", 1));
  EXPECT_EQ(stringEx("abXYZf\0\0!", 9), text);
  EXPECT_EQ(stringEx("abcdef"), share) << "who shares the text keeps it";
  EXPECT_EQ(2, synth.SeekBegin(2));
  EXPECT_EQ(3u, synth.Write(text.data(), 3)) << "a part of itself";
  EXPECT_EQ(stringEx("ababXf\0\0!", 9), text);
  EXPECT_EQ(-4, synth.SeekBegin(-4));
  EXPECT_TRUE(synth.IsEof());
  EXPECT_EQ("", ReadFrom(synth, 9)) << "before the start is no byte either";
  EXPECT_THROW(synth.Write("x", 1), std::bad_alloc);
  EXPECT_EQ(9u, text.length());
}

TEST_F(Streams, AGenericStreamOverAFileIsTheFile) {
  CSysFile file = Open("0123456789");
  CGenericSeekableSynth<CSysFile> synth(file);
  EXPECT_EQ(4, synth.SeekBegin(4));
  EXPECT_EQ(4, file.GetCurrentPos()) << "one position for all shares";
  EXPECT_EQ("45", ReadFrom(synth, 2));
  EXPECT_EQ(7, synth.SeekCurrent(1));
  EXPECT_EQ(2u, synth.Write("ab", 2));
  EXPECT_FALSE(synth.IsEof());
  EXPECT_EQ(12, synth.SeekEnd(2));
  EXPECT_TRUE(synth.IsEof());
  EXPECT_EQ(10, synth.GetSize());
  synth.Flush();
  EXPECT_EQ("0123456ab9", Content());
  CGenericSeekableSource<CSysFile> closed{CSysFile()};
  EXPECT_THROW(ReadFrom(closed, 1), ioExp);
}

TEST_F(Streams, ABufferedSourceReadsAheadByItsCapacity) {
  const std::string content = Numbered(150000);
  CBufferedSeekableSource<CSysFile> source(Open(content), 8192);
  Watch();
  EXPECT_EQ(content.substr(0, 100000), ReadFrom(source, 100000));
  EXPECT_EQ(Sizes{100000}, TakeReads()) << "long reads go past the empty buffer";
  std::string small;
  while (small.size() < 8190)
    small += ReadFrom(source, 9);
  EXPECT_EQ(content.substr(100000, 8190), small);
  EXPECT_EQ(Sizes{8192}, TakeReads()) << "one call for all of them";
  EXPECT_EQ(108190, source.GetCurrentPos());
  EXPECT_EQ(content.substr(108190, 8193), ReadFrom(source, 8193));
  EXPECT_EQ(Sizes{8192}, TakeReads()) << "what is left of a read is refilled";
  EXPECT_EQ(content.substr(116383, 8192), ReadFrom(source, 8192))
      << "one byte from the buffer, then a refill";
  EXPECT_EQ(Sizes{8192}, TakeReads());
  EXPECT_EQ(content.substr(124575), ReadFrom(source, 50000)) << "short at the end";
  EXPECT_TRUE(source.IsEof());
  EXPECT_EQ("", ReadFrom(source, 1));
}

TEST_F(Streams, SeeksOfABufferedSourceDropWhatWasReadAhead) {
  const std::string content = Numbered(100);
  CBufferedSeekableSource<CSysFile> source(Open(content), 10);
  EXPECT_EQ(content.substr(0, 3), ReadFrom(source, 3));
  EXPECT_EQ(3, source.SeekCurrent(0));
  EXPECT_EQ(content.substr(3, 2), ReadFrom(source, 2));
  EXPECT_EQ(12, source.SeekCurrent(2)) << "counted from the file's position";
  EXPECT_EQ(content.substr(12, 1), ReadFrom(source, 1));
  EXPECT_THROW(source.SeekBegin(-1), sysfileExp);
  EXPECT_EQ(content.substr(13, 1), ReadFrom(source, 1)) << "a refused seek drops nothing";
  EXPECT_EQ(50, source.SeekBegin(50));
  EXPECT_EQ(content.substr(50, 1), ReadFrom(source, 1));
  EXPECT_EQ(98, source.SeekEnd(-2));
  EXPECT_EQ(content.substr(98, 1), ReadFrom(source, 1));
  EXPECT_FALSE(source.IsEof()) << "the file is at its end, the reader is not";
  EXPECT_EQ(content.substr(99), ReadFrom(source, 5));
  EXPECT_TRUE(source.IsEof());
  EXPECT_EQ(100, source.GetSize());
}

TEST_F(Streams, ABufferedSinkWritesOncePerBuffer) {
  const std::string content = Numbered(30000);
  CBufferedSeekableSink<CSysFile> sink(Open(""), 8192);
  Watch();
  std::size_t at = 0;
  const auto write = [&](std::size_t size) {
    EXPECT_EQ(size, sink.Write(content.data() + at, size));
    at += size;
  };
  write(8191);
  EXPECT_EQ(Sizes{}, TakeWrites());
  EXPECT_EQ(8191, sink.GetCurrentPos()) << "with what the file has not seen";
  write(1);
  EXPECT_EQ(Sizes{8192}, TakeWrites());
  write(10);
  write(8192);
  EXPECT_EQ((Sizes{10, 8192}), TakeWrites()) << "long writes go past the emptied buffer";
  for (int i = 0; i < 910; ++i)
    write(9);
  EXPECT_EQ(Sizes{}, TakeWrites());
  write(9);
  EXPECT_EQ(Sizes{8199}, TakeWrites()) << "all that is in the buffer";
  write(5);
  EXPECT_EQ(24598, sink.GetSize());
  EXPECT_EQ(Sizes{5}, TakeWrites());
  write(1);
  sink.FlushBuffer();
  sink.Flush();
  EXPECT_EQ(Sizes{1}, TakeWrites()) << "nothing is left for the second";
  EXPECT_EQ(content.substr(0, 24599), Content());
}

TEST_F(Streams, EachSeekOfABufferedSinkWritesFirst) {
  {
    CBufferedSeekableSink<CSysFile> sink(Open(""), 100);
    sink.Write("abcdef", 6);
    EXPECT_EQ(2, sink.SeekBegin(2));
    sink.Write("XY", 2);
    EXPECT_EQ(5, sink.SeekCurrent(1));
    sink.Write("!", 1);
    EXPECT_EQ(8, sink.SeekEnd(2));
    sink.Write("end", 3);
  }
  EXPECT_EQ(std::string("abXYe!\0\0end", 11), Content()) << "the destructor writes the rest";
}

TEST_F(Streams, WhatTheSystemTakesInPartsIsWrittenOnce) {
  const std::string content = Numbered(25);
  CBufferedSeekableSink<CSysFile> sink(Open(""), 10);
  Watch();
  system_.writeAtMost = 4;
  sink.Write(content.data(), 9);
  EXPECT_EQ(16u, sink.Write(content.data() + 9, 16));
  EXPECT_EQ((Sizes{9, 5, 1, 16, 12, 8, 4}), TakeWrites());
  EXPECT_EQ(content, Content());
}

TEST_F(Streams, ABufferedSinkKeepsWhatTheSystemRefused) {
  CBufferedSeekableSink<CSysFile> sink(Open(""), 10);
  Watch();
  system_.writeAtMost = 4;
  system_.writesLeft = 1;
  sink.Write("012345678", 9);
  EXPECT_THROW(sink.Write("9", 1), sysfileExp);
  EXPECT_EQ("0123", Content());
  EXPECT_EQ(9, sink.GetCurrentPos()) << "a write that fails has taken nothing";
  EXPECT_THROW(sink.FlushBuffer(), sysfileExp);
  EXPECT_THROW(sink.SeekBegin(0), sysfileExp) << "and it does not move away from what waits";
  for (int i = 0; i < 100; ++i)
    EXPECT_THROW(sink.Write("xxxxxxxx", 8), sysfileExp);
  EXPECT_THROW(sink.Write("xxxxxxxxxxxxxxxx", 16), sysfileExp);
  EXPECT_EQ(9, sink.GetCurrentPos());
  system_.writesLeft = SIZE_MAX;
  sink.Write("9", 1);
  sink.FlushBuffer();
  EXPECT_EQ("0123456789", Content()) << "nothing twice, nothing lost";
}

TEST_F(Streams, AFileThatTakesNoMoreIsAFailure) {
  CBufferedSeekableSink<CSysFile> sink(Open(""), 10);
  Watch();
  system_.writeAtMost = 0;
  sink.Write("abc", 3);
  const std::string expected =
      "9: CBufferedSeekableSink/WriteAll - the file takes no more\n  expected size = 3\n  real size     = 0";
  EXPECT_EQ(expected, FailureOf<sysfileExp>([&] { sink.Flush(); }));
  EXPECT_EQ(expected, FailureOf<sysfileExp>([&] { sink.SeekEnd(0); }));
  EXPECT_EQ(expected, FailureOf<sysfileExp>([&] { sink.Write("0123456789", 10); }));
  system_.writeAtMost = SIZE_MAX;
  sink.Flush();
  EXPECT_EQ("abc", Content());
}

TEST_F(Streams, AFailedReadLeavesTheReaderWhereItIs) {
  CBufferedSeekableSource<CSysFile> source(Open(Numbered(40)), 10);
  EXPECT_EQ(Numbered(40).substr(0, 7), ReadFrom(source, 7));
  Watch();
  system_.readsLeft = 0;
  EXPECT_THROW(ReadFrom(source, 5), sysfileExp);  // three of them were there
  EXPECT_EQ(10, source.GetCurrentPos());
  EXPECT_FALSE(source.IsEof());
  system_.readsLeft = SIZE_MAX;
  EXPECT_EQ(Numbered(40).substr(10, 25), ReadFrom(source, 25));
}

TEST_F(Streams, MemoryOutlivesTheViewItWasGiven) {
  std::string text = "whole";
  CMemSource source(stringEx::view(text));
  text = "other";
  EXPECT_EQ("whole", ReadFrom(source, 9));
  stringEx shared;
  ASSERT_TRUE(source.GetWholeData(shared));
  EXPECT_TRUE(shared.is_shared());
}

TEST_F(Streams, PositionsAtTheEndsOfTheRangeAreNoTrap) {
  constexpr std::int64_t far = std::numeric_limits<std::int64_t>::max();
  stringEx text("abc");
  CByteIO memory(&text);
  for (const std::int64_t position : {far, std::numeric_limits<std::int64_t>::min(), std::int64_t{-1}}) {
    memory.SeekBegin(position);
    char byte = 0;
    EXPECT_EQ(0u, memory.Read(&byte, 1));
    EXPECT_THROW(memory.Write("x", 1), std::bad_alloc);
    EXPECT_EQ(position, memory.GetCurrentPos());
  }
  EXPECT_EQ("abc", std::string(text));
}

TEST_F(Streams, ADestructorTellsOfItsFailureUnlessAnotherIsUnderWay) {
  const auto lose = [&](bool other) {
    CBufferedSeekableSink<CSysFile> sink(Open(""), 10);
    sink.Write("abc", 3);
    Watch();
    system_.writesLeft = 0;
    if (other) throw timeExp(stringEx("the first"), 77);
  };
  EXPECT_EQ("77: the first", FailureOf<timeExp>([&] { lose(true); }));
  watched = nullptr;
  EXPECT_EQ(0u, FailureOf<sysfileExp>([&] { lose(false); }).find("9: CSysFile::Write"));
}

}  // namespace
