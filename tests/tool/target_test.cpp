// The writer's side: where data goes in the target, what becomes of a target from before, and how far the
// reader may run ahead.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/dump_fixture.h"

namespace TestSupport {
namespace {

constexpr std::int64_t oldSize = 50000;

// Of a source with 64 sectors: bytes `from` to `to` arrive at `at`, and nothing else changes in the old
// target.
struct LAYOUTCASE {
  const char* name;
  std::vector<std::string> arguments;
  BYTES copied;
  std::int64_t at;
  std::vector<std::string> seeks;  // of the target
};

class LayoutTest : public DumpTest, public ::testing::WithParamInterface<LAYOUTCASE> {};

TEST_P(LayoutTest, PutsTheRangeInItsPlace) {
  const LAYOUTCASE& row = GetParam();
  WriteSource(64);
  WriteOldTarget(oldSize, 'o');
  std::vector<std::string> arguments = row.arguments;
  arguments.insert(arguments.end(), {"-sector:512", "-block:4k"});
  Run(arguments);
  ExpectStatus(0);
  const std::int64_t length = row.copied.to - row.copied.from;
  ExpectTargetBytes(0, row.at, 'o');
  ExpectCopied(row.at, row.copied.from, length);
  ExpectTargetBytes(row.at + length, oldSize - row.at - length, 'o');
  std::vector<std::string> seeks;
  for (const CALL& call : Calls("target", "seek"))
    seeks.push_back(std::to_string(call.position));
  EXPECT_EQ(seeks, row.seeks);
}

const LAYOUTCASE layouts[] = {
    {"Whole", {}, {0, 32768}, 0, {}},
    {"WholeAligned", {"-aligned"}, {0, 32768}, 0, {}},
    {"FromASector", {"-secrange:10"}, {5120, 32768}, 0, {}},
    {"FromASectorAligned", {"-secrange:10", "-aligned"}, {5120, 32768}, 5120, {"5120"}},
    // The last block of a range is read in full.
    {"ToASector", {"-secrange:-10"}, {0, 8192}, 0, {}},
    {"ToABlock", {"-secrange:-16"}, {0, 8192}, 0, {}},
    {"FromTo", {"-secrange:10-11"}, {5120, 9216}, 0, {}},
    {"FromToAligned", {"-secrange:10-19", "-aligned"}, {5120, 13312}, 5120, {"5120"}},
    {"PercentFromTo", {"-perrange:25-50"}, {8192, 16384}, 0, {}},
    {"PercentAligned", {"-perrange:50.1", "-aligned"}, {16384, 32768}, 16384, {"16384"}},
    {"EmptyRange", {"-secrange:20-20"}, {0, 0}, 0, {}},
};
INSTANTIATE_TEST_SUITE_P(Rows, LayoutTest, ::testing::ValuesIn(layouts), rowName);

class TargetTest : public DumpTest {};

TEST_F(TargetTest, SeeksOnlyWhereThePositionJumps) {
  WriteSource(24);
  BadSector(9);
  Run({"-sector:512", "-block:4k"});
  std::string calls;
  for (const CALL& call : Calls()) {
    if (call.label == "target" && call.op != "open")
      calls += call.op + ' ' + std::to_string(call.position) + '\n';
  }
  EXPECT_EQ(calls,
            "write 0\nseek 8192\nwrite 8192\n"
            "seek 6144\nwrite 6144\n"
            "seek 4096\nwrite 4096\nwrite 4608\nwrite 5120\nwrite 5632\n");
  ExpectGoodBytes({{4608, 5120}});
}

TEST_F(TargetTest, SecondAlignedRunCompletesTheFirst) {
  WriteSource(64);
  Run({"-sector:512", "-block:4k", "-secrange:32-64", "-aligned"});
  ExpectTargetBytes(0, 16384, 0);
  Run({"-sector:512", "-block:4k", "-secrange:-32", "-aligned"});
  ExpectGoodBytes();
}

// The data behind a short write stands short by the missing bytes, up to the next seek.
TEST_F(TargetTest, ShortWriteIsNotNoticed) {
  WriteSource(64);
  TargetFault("short write 2 4000");
  Run({"-sector:512", "-block:4k"});
  ExpectStatus(0);
  ExpectCopied(0, 0, 8096);
  ExpectCopied(8096, 8192, 32768 - 8192);
  ExpectTargetSize(32768 - 96);
}

struct QUEUECASE {
  const char* name;
  const char* maxbuf;
  std::int64_t blocks;
};

class QueueTest : public DumpTest, public ::testing::WithParamInterface<QUEUECASE> {};

// The queue's blocks, one in the hands of each thread, and no more.
TEST_P(QueueTest, ReaderWaitsForTheWriter) {
  const QUEUECASE& row = GetParam();
  WriteSource(320);
  TargetFault("slow write 3000");
  Run({"-sector:512", "-block:4k", row.maxbuf});
  ExpectGoodBytes();
  std::int64_t inMemory = 0;
  std::int64_t most = 0;
  for (const CALL& call : Calls()) {
    if (call.op == "read" && call.result > 0) most = std::max(most, ++inMemory);
    if (call.op == "write") --inMemory;
  }
  EXPECT_EQ(inMemory, 0);
  EXPECT_LE(most, row.blocks + 2);
  EXPECT_GE(most, std::min<std::int64_t>(row.blocks, 2)) << "the reader never ran ahead";
}

const QUEUECASE queues[] = {
    {"OfOne", "-maxbuf:1", 1}, {"OfTwo", "-maxbuf:8k", 2}, {"OfEight", "-maxbuf:32k", 8}};
INSTANTIATE_TEST_SUITE_P(Rows, QueueTest, ::testing::ValuesIn(queues), rowName);

#ifdef TOLK_MEASURES_MEMORY
TEST_F(TargetTest, MemoryStaysWithinTheQueue) {
  constexpr std::int64_t megabyte = 1 << 20;
  constexpr std::int64_t blocks = 8;
  WriteSourceBytes(64 * megabyte);
  TargetFault("slow write 15000");
  Run({"-sector:512", "-maxbuf:8m"});
  ExpectStatus(0);
  EXPECT_LT(Result().peakMemory, (blocks + 2) * (megabyte + sector) + 16 * megabyte);
}
#endif

}  // namespace
}  // namespace TestSupport
