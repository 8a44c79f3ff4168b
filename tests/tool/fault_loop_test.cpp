// Each call of a run fails once, one after the other, and then all from there on fail. Whatever fails, the
// run ends with the right status and the image holds every byte that was read.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/dump_fixture.h"

namespace TestSupport {
namespace {

struct LOOPCASE {
  const char* name;
  bool isSource;
  const char* op;
  bool staysBad;
};

class FaultLoopTest : public DumpTest, public ::testing::WithParamInterface<LOOPCASE> {
 protected:
  static constexpr unsigned char fill = 0xE5;
  static constexpr char old = 'o';
  static constexpr std::int64_t oldSize = 20000;  // longer than the source

  // A source with a dead sector and one that heals, so that each round goes through all passes.
  void PrepareGround() {
    WriteSource(32);
    WriteOldTarget(oldSize, old);
    ForgetFaults();
    BadSector(9);
    HealsAfter(20, 3);
  }

  void RunRound(int number) {
    const LOOPCASE& row = GetParam();
    const std::string rule =
        "fail " + std::string(row.op) + ' ' + std::to_string(number) + (row.staysBad ? " on" : "");
    SCOPED_TRACE((row.isSource ? "source: " : "target: ") + rule);
    PrepareGround();
    row.isSource ? SourceFault(rule) : TargetFault(rule);
    Run({"-sector:512", "-block:4k", "-retry:2", "-fill:0xE5"}, {.splitErrors = true});
    wasReached_ =
        Calls(row.isSource ? "source" : "target", row.op).size() >= static_cast<std::size_t>(number);
    JudgeStatus();
    JudgeImage();
  }

  // Only a failed open, a source that cannot be measured and a failing target end a run early.
  void JudgeStatus() {
    const std::string& errors = Result().errors;
    const std::string& screen = Result().screen;
    const auto has = [](const std::string& text, const char* part) {
      return text.find(part) != std::string::npos;
    };
    // The pieces of two threads' messages may come mixed.
    const bool writerDied = has(screen, "## [FATAL ERROR] (writing thread): ") &&
                            (has(screen, "CSysFile::Write - failed writing file\n") ||
                             has(screen, "CSysFile::SeekBegin - failed seeking in file\n"));
    const bool wasFatal = writerDied || has(errors, "## [FATAL ERROR]: CSysFile");
    const bool wasDone = has(screen, "Done, Total recovery rate: ");
    EXPECT_NE(wasFatal, wasDone) << screen << errors;
    ExpectStatus(wasFatal ? 255 : 0);
    EXPECT_EQ(wasFatal, MustBeFatal()) << screen << errors;
  }

  bool MustBeFatal() const {
    const std::vector<CALL> opens = Calls("source", "open");
    // The first three seeks of the source measure it. An open with direct access is tried again without.
    const std::vector<CALL> seeks = Calls("source", "seek");
    for (std::size_t i = 0; i < seeks.size() && i < 3; ++i) {
      if (seeks[i].result < 0) return true;
    }
    for (std::size_t i = 1; i < opens.size(); ++i) {
      if (opens[i - 1].result < 0 && opens[i].result < 0) return true;
    }
    for (const CALL& call : Calls()) {
      if (call.label == "target" && call.result < 0) return true;
    }
    return false;
  }

  // What was read, and, in a run to the end, nothing but that, the fill byte or, where nothing was given up,
  // what the target held before. After a fatal failure each byte is one of the three.
  void JudgeImage() {
    const std::string target = TargetBytes();
    ASSERT_EQ(static_cast<std::int64_t>(target.size()), oldSize);
    std::vector<bool> wasRead(static_cast<std::size_t>(SourceSize()));
    for (const CALL& call : Calls("source", "read")) {
      for (std::int64_t i = 0; i < call.result; ++i)
        wasRead[static_cast<std::size_t>(call.position + i)] = true;
    }
    const bool wasDone = Result().status == 0;
    for (std::size_t i = 0; i < target.size(); ++i) {
      const bool isSource = i < wasRead.size();
      const auto byte = static_cast<unsigned char>(target[i]);
      const bool isCopy = isSource && byte == SourceByte(static_cast<std::int64_t>(i));
      const bool isFill = isSource && byte == fill;
      const bool isOld = target[i] == old;
      const bool isRight = !isSource    ? isOld
                           : !wasDone   ? isCopy || isFill || isOld
                           : wasRead[i] ? isCopy
                                        : isFill;
      ASSERT_TRUE(isRight) << "byte " << i << " is " << int{byte} << "\n" << Result().screen;
    }
  }

  bool wasReached_ = true;
};

TEST_P(FaultLoopTest, EveryRoundEndsWell) {
  constexpr int muchTooMany = 200;
  int number = 1;
  for (; wasReached_ && number < muchTooMany && !HasFailure(); ++number)
    RunRound(number);
  EXPECT_FALSE(wasReached_);
  EXPECT_GT(number, 2);
  ExpectStatus(0);
}

const LOOPCASE cases[] = {
    {"OneReadFails", true, "read", false},        {"AllReadsFailFromThere", true, "read", true},
    {"OneSeekFails", true, "seek", false},        {"AllSeeksFailFromThere", true, "seek", true},
    {"OneOpenFails", true, "open", false},        {"AllOpensFailFromThere", true, "open", true},
    {"OneWriteFails", false, "write", false},     {"AllWritesFailFromThere", false, "write", true},
    {"OneTargetSeekFails", false, "seek", false}, {"AllTargetSeeksFailFromThere", false, "seek", true},
    {"TargetOpenFails", false, "open", false},
};
INSTANTIATE_TEST_SUITE_P(Calls, FaultLoopTest, ::testing::ValuesIn(cases), rowName);

}  // namespace
}  // namespace TestSupport
