// The fault shim itself: what the other tests put under the tool really happens, and nothing else does.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "support/dump_fixture.h"

namespace TestSupport {
namespace {

struct SHIMCASE {
  const char* name;
  std::vector<const char*> rules;
  const char* calls;    // for the probe
  const char* results;  // of each call, as the probe prints them
};

class ShimTest : public DumpTest, public ::testing::WithParamInterface<SHIMCASE> {};

TEST_P(ShimTest, MakesTheCallsFailAsPlanned) {
  const SHIMCASE& row = GetParam();
  WriteSourceBytes(10000);
  for (const char* rule : row.rules)
    SourceFault(rule);
  RunProbe(FAULT_PROBE, row.calls);
  EXPECT_EQ(Result().screen, row.results);
}

const SHIMCASE cases[] = {
    {"NothingPlanned", {}, "open read 4096 seek 9000 read 4096 read 4096 write 5", "0 4096 9000 1000 0 5 "},
    {"BadFromItsFirstByte", {"bad 1000 2000"}, "open pread 999 1 pread 999 2 pread 1000 1", "0 1 -5 -5 "},
    {"BadToItsLastByte", {"bad 1000 2000"}, "open pread 1999 1 pread 2000 1 pread 0 10000", "0 -5 1 -5 "},
    {"BadReadLeavesThePosition", {"bad 1000 2000"}, "open seek 990 read 20 read 10", "0 990 -5 10 "},
    {"BadWithAnErrnoOfItsOwn", {"bad 0 1 ENODATA"}, "open read 1 pread 0 1", "0 -61 -61 "},
    {"BadForTheFirstTries", {"bad 0 512 EIO first 2"}, "open read 512 pread 100 1 read 512", "0 -5 -5 512 "},
    {"SecondRangeShowsWhenTheFirstHasHealed",
     {"bad 512 1024 first 1", "bad 0 512 EIO first 1"},
     "open pread 0 1024 pread 0 1024 pread 0 1024",
     "0 -5 -5 1024 "},
    {"PartialServesUpToTheBadByte", {"partial", "bad 1000 2000"}, "open read 4096 read 4096", "0 1000 -5 "},
    {"OneReadFails", {"fail read 2"}, "open read 1 read 1 read 1", "0 1 -5 1 "},
    {"SomeReadsFail", {"fail read 2 2 ENXIO"}, "open read 1 read 1 pread 0 1 read 1", "0 1 -6 -6 1 "},
    {"ReadsFailFromThere", {"fail read 2 on"}, "open read 1 read 1 read 1", "0 1 -5 -5 "},
    {"EmptyReadsDoNotCount", {"fail read 1"}, "open read 0 read 1", "0 0 -5 "},
    {"ShortByCount", {"short read 2 7"}, "open read 100 read 100 read 100", "0 100 7 100 "},
    {"ShortByPosition", {"shortat 100 7"}, "open read 100 read 100 read 100", "0 100 7 100 "},
    {"EarlyEnd", {"end 150"}, "open read 100 read 100 read 100", "0 100 50 0 "},
    {"SeekFails", {"fail seek 2 ESPIPE"}, "open seek 5 seek 6 seek 7", "0 5 -29 7 "},
    {"WriteFails", {"fail write 1 ENOSPC"}, "open write 5 write 5", "0 -28 5 "},
    {"WriteIsShort", {"short write 1 3"}, "open write 5 write 5", "0 3 5 "},
    {"DeviceFillsUp", {"full 8"}, "open write 5 write 5 write 5", "0 5 3 -28 "},
    {"OpenFails", {"fail open 1 EACCES"}, "open read 1 open read 1", "-13 -9 0 1 "},
    {"DirectAccessIsRefused", {"noDirect"}, "direct open read 1", "-22 0 1 "},
    {"CopiesOfADescriptorAreFollowed", {"fail read 2"}, "open read 1 dup read 1 read 1", "0 1 0 -5 1 "},
};

INSTANTIATE_TEST_SUITE_P(Rules, ShimTest, ::testing::ValuesIn(cases), rowName);

class ShimLogTest : public DumpTest {};

TEST_F(ShimLogTest, TellsEachCallInOrder) {
  WriteSourceBytes(1000);
  SourceFault("fail read 2");
  RunProbe(FAULT_PROBE, "open read 300 read 300 seek 900 pread 50 20 write 5 read 300");
  std::string log;
  for (const CALL& call : Calls()) {
    if (call.op == "open") continue;
    log += call.label + ' ' + call.op + ' ' + std::to_string(call.position) + ' ' +
           std::to_string(call.length) + ' ' + std::to_string(call.result) + '\n';
  }
  EXPECT_EQ(log,
            "source read 0 300 300\n"
            "source read 300 300 -5\n"
            "source seek 900 0 900\n"
            "source read 50 20 20\n"
            "source write 900 5 5\n"
            "source read 905 300 95\n");
}

TEST_F(ShimLogTest, LeavesOtherFilesAlone) {
  WriteSourceBytes(1000);
  TargetFault("fail open 1");
  RunProbe(FAULT_PROBE, "open read 300");
  EXPECT_EQ(Result().screen, "0 300 ");
}

// A rule that is not understood must not turn into a test without its fault.
TEST_F(ShimLogTest, RefusesAPlanItDoesNotUnderstand) {
  for (const char* rule : {"bda 1 2", "bad 1", "fail read on", "fail reda 1", "bad 1 2 EOI",
                           "short read 1 2 3", "bad 0 10\nbad 5 15"}) {
    ForgetFaults();
    SourceFault(rule);
    RunProbe(FAULT_PROBE, "open");
    EXPECT_EQ(Result().status, 125) << rule;
  }
}

}  // namespace
}  // namespace TestSupport
