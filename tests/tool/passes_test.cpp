// The descent over bad places: what the operator reads on the screen, and what stands in the image.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "support/dump_fixture.h"

namespace TestSupport {
namespace {

// Blocks of 8 sectors and middle pieces of 4. The source has 64 sectors, 32768 bytes, where the row names no
// other.
struct PASSCASE {
  const char* name;
  std::vector<std::string> faults = {};     // on the source
  std::vector<std::string> arguments = {};  // in front of the sizes
  std::string reports = {};                 // up to the last line
  std::string rate = "98.44";               // in the last line
  std::vector<BYTES> filled = {{10752, 11264}};
  std::int64_t targetSize = -1;  // where it is not that of the source
  std::int64_t sourceSectors = 64;
};

class PassTest : public DumpTest, public ::testing::WithParamInterface<PASSCASE> {};

// Each report on the screen is a record of the log.
std::string RecordsOf(const std::string& reports) {
  std::string records;
  const std::string_view tag = "## [";
  for (std::size_t at = 0; at < reports.size();) {
    const std::size_t end = std::min(reports.find(tag, at + 1), reports.size());
    std::string report = reports.substr(at + tag.size(), end - at - tag.size());
    const std::size_t colon = report.find("]");
    std::transform(report.begin() + 1, report.begin() + static_cast<std::ptrdiff_t>(colon),
                   report.begin() + 1, [](char c) { return static_cast<char>(std::tolower(c)); });
    records += report.erase(colon, 1);
    if (!records.ends_with('\n')) records += '\n';
    at = end;
  }
  return records;
}

TEST_P(PassTest, ReportsAndRecovers) {
  const PASSCASE& row = GetParam();
  WriteSource(row.sourceSectors);
  for (const std::string& fault : row.faults)
    SourceFault(fault);
  std::vector<std::string> arguments = row.arguments;
  arguments.insert(arguments.end(), {"-sector:512", "-block:4k", "-maxbuf:64k", "-fill:0xE5"});
  Run(arguments);
  ExpectStatus(0);
  ExpectReports(row.reports + "Done, Total recovery rate: " + row.rate + "%, Took time: HH:MM:SS.\n\n");
  ExpectLog("trd.reader", RecordsOf(row.reports));
  ExpectGoodBytes(row.filled, 0xE5, row.targetSize);
}

const std::string badBlock =
    "## [WARNING]: error reading block at byte position: 8192 (Pos.: 25.00%, Rate: 25.00%)\n";
const std::string badMed =
    "## [WARNING]: error reading med at byte position: 10240 (Pos.: 31.25%, Rate: 93.75%)\n";

const PASSCASE cases[] = {
    {.name = "NothingBad", .rate = "100.00", .filled = {}},
    {.name = "OneBadSector",
     .faults = {"bad 10752 11264"},
     .reports =
         badBlock + badMed +
         "## [ERROR]: failed reading sector at byte position: 10752 (Pos.: 32.81%, Rate: 95.31%) with 1 "
         "attempts.\n"},
    {.name = "OneBadByte",
     .faults = {"bad 11263 11264"},
     .reports =
         badBlock + badMed +
         "## [ERROR]: failed reading sector at byte position: 10752 (Pos.: 32.81%, Rate: 95.31%) with 1 "
         "attempts.\n"},
    {.name = "AnotherErrnoIsTheSame",
     .faults = {"bad 10752 11264 ENODATA"},
     .reports =
         badBlock + badMed +
         "## [ERROR]: failed reading sector at byte position: 10752 (Pos.: 32.81%, Rate: 95.31%) with 1 "
         "attempts.\n"},
    {.name = "DeadSectorWithRetries",
     .faults = {"bad 10752 11264"},
     .arguments = {"-retry:3"},
     .reports =
         badBlock + badMed +
         "## [ERROR]: failed reading sector at byte position: 10752 (Pos.: 32.81%, Rate: 95.31%) with 4 "
         "attempts.\n"},
    {.name = "HealsForTheMedPass",
     .faults = {"bad 10752 11264 first 1"},
     .reports = badBlock,
     .rate = "100.00",
     .filled = {}},
    {.name = "HealsForTheSectorPass",
     .faults = {"bad 10752 11264 first 2"},
     .reports = badBlock + badMed,
     .rate = "100.00",
     .filled = {}},
    // The information about a recovered sector has no line end.
    {.name = "RecoversWithRetries",
     .faults = {"bad 10752 11264 first 4"},
     .arguments = {"-retry:3"},
     .reports = badBlock + badMed +
                "## [INFO]: sector at byte position: 10752 successfully recovered with 3 retries.",
     .rate = "100.00",
     .filled = {}},
    {.name = "RecoversWithTheLastRetry",
     .faults = {"bad 10752 11264 first 5", "bad 11264 11776 first 1"},
     .arguments = {"-retry:3"},
     .reports = badBlock + badMed +
                "## [INFO]: sector at byte position: 10752 successfully recovered with 4 retries."
                "## [INFO]: sector at byte position: 11264 successfully recovered with 2 retries.",
     .rate = "100.00",
     .filled = {}},
    // Each pass goes over the whole range before the next one starts.
    {.name = "TwoBadPlaces",
     .faults = {"bad 2560 3072", "bad 20480 20992"},
     .reports =
         "## [WARNING]: error reading block at byte position: 0 (Pos.: 0.00%, Rate: 0.00%)\n"
         "## [WARNING]: error reading block at byte position: 20480 (Pos.: 62.50%, Rate: 50.00%)\n"
         "## [WARNING]: error reading med at byte position: 2048 (Pos.: 6.25%, Rate: 81.25%)\n"
         "## [WARNING]: error reading med at byte position: 20480 (Pos.: 62.50%, Rate: 81.25%)\n"
         "## [ERROR]: failed reading sector at byte position: 2560 (Pos.: 7.81%, Rate: 89.06%) with 1 "
         "attempts.\n"
         "## [ERROR]: failed reading sector at byte position: 20480 (Pos.: 62.50%, Rate: 92.19%) with 1 "
         "attempts.\n",
     .rate = "96.88",
     .filled = {{2560, 3072}, {20480, 20992}}},
    {.name = "AllIsBad",
     .faults = {"fail read 1 on"},
     .reports =
         "## [WARNING]: error reading block at byte position: 0 (Pos.: 0.00%, Rate: 0.00%)\n"
         "## [WARNING]: error reading med at byte position: 0 (Pos.: 0.00%, Rate: 0.00%)\n"
         "## [WARNING]: error reading med at byte position: 2048 (Pos.: 66.67%, Rate: 0.00%)\n"
         "## [ERROR]: failed reading sector at byte position: 0 (Pos.: 0.00%, Rate: 0.00%) with 1 attempts.\n"
         "## [ERROR]: failed reading sector at byte position: 512 (Pos.: 16.67%, Rate: 0.00%) with 1 "
         "attempts.\n"
         "## [ERROR]: failed reading sector at byte position: 1024 (Pos.: 33.33%, Rate: 0.00%) with 1 "
         "attempts.\n"
         "## [ERROR]: failed reading sector at byte position: 1536 (Pos.: 50.00%, Rate: 0.00%) with 1 "
         "attempts.\n"
         "## [ERROR]: failed reading sector at byte position: 2048 (Pos.: 66.67%, Rate: 0.00%) with 1 "
         "attempts.\n"
         "## [ERROR]: failed reading sector at byte position: 2560 (Pos.: 83.33%, Rate: 0.00%) with 1 "
         "attempts.\n",
     .rate = "0.00",
     .filled = {{0, 3072}},
     .sourceSectors = 6},
    // Nothing is tried, or filled, where there is no source.
    {.name = "DeadSourceWithARangeFarBeyondIt",
     .faults = {"fail read 1 on"},
     .arguments = {"-secrange:0-99999999999999"},
     .reports =
         "## [WARNING]: error reading block at byte position: 0 (Pos.: 0.00%, Rate: 0.00%)\n"
         "## [WARNING]: error reading med at byte position: 0 (Pos.: 0.00%, Rate: 0.00%)\n"
         "## [ERROR]: failed reading sector at byte position: 0 (Pos.: 0.00%, Rate: 0.00%) with 1 attempts.\n"
         "## [ERROR]: failed reading sector at byte position: 512 (Pos.: 50.00%, Rate: 0.00%) with 1 "
         "attempts.\n",
     .rate = "0.00",
     .filled = {{0, 1024}},
     .sourceSectors = 2},
    {.name = "LastBlockReachesBeyondTheEnd",
     .faults = {"bad 29696 30208"},
     .reports =
         "## [WARNING]: error reading block at byte position: 28672 (Pos.: 93.33%, Rate: 93.33%)\n"
         "## [WARNING]: error reading med at byte position: 28672 (Pos.: 93.33%, Rate: 93.33%)\n"
         "## [ERROR]: failed reading sector at byte position: 29696 (Pos.: 96.67%, Rate: 96.67%) with 1 "
         "attempts.\n",
     .rate = "98.33",
     .filled = {{29696, 30208}},
     .sourceSectors = 60},
    {.name = "RangeEndsBeforeTheBadPlaceOfItsLastBlock",
     .faults = {"bad 6656 7168"},
     .arguments = {"-secrange:-12"},
     .reports = "## [WARNING]: error reading block at byte position: 4096 (Pos.: 12.50%, Rate: 12.50%)\n",
     .rate = "18.75",
     .filled = {},
     .targetSize = 6144},
    {.name = "RangeEndsInsideAMedPiece",
     .faults = {"bad 4608 5120"},
     .arguments = {"-secrange:-11"},
     .reports =
         "## [WARNING]: error reading block at byte position: 4096 (Pos.: 12.50%, Rate: 12.50%)\n"
         "## [WARNING]: error reading med at byte position: 4096 (Pos.: 12.50%, Rate: 12.50%)\n"
         "## [ERROR]: failed reading sector at byte position: 4608 (Pos.: 14.06%, Rate: 14.06%) with 1 "
         "attempts.\n",
     .rate = "15.62",
     .filled = {{4608, 5120}},
     .targetSize = 5632},
    {.name = "ShortReadIsASuccess", .faults = {"shortat 4096 1000"}, .rate = "100.00", .filled = {}},
    // Behind a short read the blocks stand where it ended, and so do the pieces of a failed one.
    {.name = "BadBlockBehindAShortRead",
     .faults = {"shortat 4096 1000", "bad 6656 7168"},
     .reports =
         "## [WARNING]: error reading block at byte position: 5096 (Pos.: 15.55%, Rate: 15.55%)\n"
         "## [WARNING]: error reading med at byte position: 5096 (Pos.: 15.55%, Rate: 87.50%)\n"
         "## [WARNING]: error reading med at byte position: 7144 (Pos.: 21.80%, Rate: 87.50%)\n"
         "## [ERROR]: failed reading sector at byte position: 6632 (Pos.: 20.24%, Rate: 92.19%) with 1 "
         "attempts.\n"
         "## [ERROR]: failed reading sector at byte position: 7144 (Pos.: 21.80%, Rate: 92.19%) with 1 "
         "attempts.\n",
     .rate = "96.88",
     .filled = {{6632, 7656}}},
    // A disk that serves a read up to its bad sector.
    {.name = "DiskServesUpToTheBadSector",
     .faults = {"partial", "bad 10752 11264"},
     .reports =
         "## [WARNING]: error reading block at byte position: 10752 (Pos.: 32.81%, Rate: 32.81%)\n"
         "## [WARNING]: error reading med at byte position: 10752 (Pos.: 32.81%, Rate: 87.50%)\n"
         "## [ERROR]: failed reading sector at byte position: 10752 (Pos.: 32.81%, Rate: 93.75%) with 1 "
         "attempts.\n"},
    // What a read left of its piece is not lost.
    {.name = "DiskCutsAMedPieceShort",
     .faults = {"partial", "bad 8192 8704", "bad 11264 11776"},
     .reports =
         "## [WARNING]: error reading block at byte position: 8192 (Pos.: 25.00%, Rate: 25.00%)\n"
         "## [WARNING]: error reading med at byte position: 8192 (Pos.: 25.00%, Rate: 87.50%)\n"
         "## [ERROR]: failed reading sector at byte position: 8192 (Pos.: 25.00%, Rate: 90.62%) with 1 "
         "attempts.\n"
         "## [ERROR]: failed reading sector at byte position: 11264 (Pos.: 34.38%, Rate: 95.31%) with 1 "
         "attempts.\n",
     .rate = "96.88",
     .filled = {{8192, 8704}, {11264, 11776}}},
    // What a read has brought of a sector stays, and counts once.
    {.name = "MedPieceIsCutInsideADeadSector",
     .faults = {"bad 8704 9216", "short read 9 512"},
     .arguments = {"-sector:1024"},
     .reports =
         badBlock +
         "## [ERROR]: failed reading sector at byte position: 8192 (Pos.: 25.00%, Rate: 95.31%) with 1 "
         "attempts.\n",
     .filled = {{8704, 9216}}},
    {.name = "MedPieceIsCutInsideASectorThatHeals",
     .faults = {"bad 8704 9216 first 1", "short read 9 512"},
     .arguments = {"-sector:1024"},
     .reports = badBlock,
     .rate = "100.00",
     .filled = {}},
    {.name = "DirectAccessRefused",
     .faults = {"noDirect", "bad 10752 11264 first 1"},
     .reports = badBlock,
     .rate = "100.00",
     .filled = {}},
    // Three seeks measure the source before the run.
    {.name = "SeekBehindABadBlockFails",
     .faults = {"bad 10752 11264 first 1", "fail seek 4"},
     .reports = badBlock +
                "## [ERROR]: error seeking to block at byte position: 12288 (Pos.: 37.50%, Rate: 25.00%)\n",
     .rate = "100.00",
     .filled = {}},
    {.name = "SeekToALastBlockFails",
     .faults = {"bad 24576 25088 first 1", "fail seek 4"},
     .reports = "## [WARNING]: error reading block at byte position: 24576 (Pos.: 75.00%, Rate: 75.00%)\n"
                "## [ERROR]: error seeking to block at byte position: 28672 (Pos.: 87.50%, Rate: 75.00%)\n",
     .rate = "100.00",
     .filled = {}},
    {.name = "SeekToAMedPieceFails",
     .faults = {"bad 10752 11264 first 1", "fail seek 6"},
     .reports = badBlock + badMed,
     .rate = "100.00",
     .filled = {}},
    {.name = "SourceEndsEarly", .faults = {"end 10000"}, .rate = "30.52", .filled = {}, .targetSize = 10000},
    {.name = "SourceEndsInsideABadBlock",
     .faults = {"bad 8704 9216 first 1", "end 10240"},
     .reports = badBlock,
     .rate = "31.25",
     .filled = {},
     .targetSize = 10240},
    {.name = "SourceEndsInsideABadMedPiece",
     .faults = {"bad 10752 11264", "end 11264"},
     .reports =
         badBlock +
         "## [WARNING]: error reading med at byte position: 10240 (Pos.: 31.25%, Rate: 31.25%)\n"
         "## [ERROR]: failed reading sector at byte position: 10752 (Pos.: 32.81%, Rate: 32.81%) with 1 "
         "attempts.\n",
     .rate = "32.81",
     .targetSize = 11264},
};
INSTANTIATE_TEST_SUITE_P(Rows, PassTest, ::testing::ValuesIn(cases), rowName);

class PassOrderTest : public DumpTest {
 protected:
  // Position and length of each read and seek of the source, once it has been measured.
  std::string SourceCalls() const {
    std::string text;
    for (const CALL& call : Calls()) {
      if (call.label != "source" || (call.op != "read" && call.op != "seek")) continue;
      text += call.op + ' ' + std::to_string(call.position) +
              (call.op == "read" ? '+' + std::to_string(call.length) : "") + '\n';
    }
    const std::string measured = "seek 0\nseek 0\nseek 0\n";
    EXPECT_TRUE(text.starts_with(measured)) << text;
    return text.substr(measured.size());
  }
};

TEST_F(PassOrderTest, HealthySourceIsOneStream) {
  WriteSource(24);
  Run({"-sector:512", "-block:4k"});
  EXPECT_EQ(SourceCalls(), "read 0+4096\nread 4096+4096\nread 8192+4096\n");
  EXPECT_TRUE(Calls("target", "seek").empty());
}

TEST_F(PassOrderTest, EachPassGoesOverTheWholeRangeFirst) {
  WriteSource(24);
  BadSector(1);
  HealsAfter(20, 2);
  Run({"-sector:512", "-block:4k", "-retry:1"});
  EXPECT_EQ(SourceCalls(),
            "read 0+4096\nseek 4096\nread 4096+4096\nread 8192+4096\n"
            "seek 0\nread 0+2048\nseek 2048\nread 2048+2048\nseek 8192\nread 8192+2048\nseek 10240\nread "
            "10240+2048\n"
            "seek 0\nread 0+512\nseek 512\nread 512+512\nseek 512\nread 512+512\nseek 1024\nread 1024+512\n"
            "seek 1536\nread 1536+512\n"
            "seek 10240\nread 10240+512\nseek 10752\nread 10752+512\nseek 11264\nread 11264+512\n"
            "seek 11776\nread 11776+512\n");
  ExpectGoodBytes({{512, 1024}});
}

// What a short read of a bad sector leaves out is neither read nor filled.
TEST_F(PassOrderTest, ShortReadOfABadSectorLeavesAGap) {
  WriteSource(64);
  HealsAfter(21, 2);
  SourceFault("shortat 10752 100");
  Run({"-sector:512", "-block:4k", "-fill:0xE5"});
  ExpectScreenHas("Done, Total recovery rate: 98.74%");
  ExpectGoodBytes({{10852, 11264}}, 0);
}

// What an entry of the queue cannot reach does not end the entries behind it.
TEST_F(PassOrderTest, EndOfTheSourceEndsOneEntryOnly) {
  WriteSource(24);
  HealsAfter(8, 1);
  SourceFault("fail read 3");
  SourceFault("end 6000");
  Run({"-sector:512", "-block:4k"});
  const std::string calls = SourceCalls();
  EXPECT_TRUE(
      calls.ends_with("seek 4096\nread 4096+2048\nseek 6144\nread 6144+2048\nseek 8192\nread 8192+2048\n"))
      << calls;
  ExpectTargetSize(6000);
}

// Blocks of 7 sectors, pieces of 3: the last piece of a block reaches into the next one, whose sectors are its own.
TEST_F(PassOrderTest, SectorsOfTheNextBlockAreLeftToIt) {
  WriteSource(14);
  BadSector(6);
  Run({"-sector:512", "-block:3584"});
  const std::string calls = SourceCalls();
  EXPECT_TRUE(calls.ends_with("seek 3072\nread 3072+1536\nseek 3072\nread 3072+512\n")) << calls;
  ExpectGoodBytes({{3072, 3584}});
}

}  // namespace
}  // namespace TestSupport
