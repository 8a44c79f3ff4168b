// What a thread is told and asked apart from its life: scheduling, processors, times.
#include <gtest/gtest.h>

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include <qorv/time.h>

#include "support/failure.h"
#include "support/refusal.h"
#include "support/row_name.h"
#include "thread/probe.h"

namespace {

// What calls of the system answer, where that is set.
struct SYSTEM {
  std::optional<sched_param> priority;  // as read, and whether one that is set is only noted
  int policySet = -1;
  std::optional<int> min;
  std::optional<int> max;
  std::optional<long> online;
  std::optional<long> configured;
};
SYSTEM fake;

}  // namespace

// NOLINTBEGIN
extern "C" int __real_pthread_setschedparam(pthread_t t, int policy, const sched_param* p);
extern "C" int __wrap_pthread_setschedparam(pthread_t t, int policy, const sched_param* p);
extern "C" int __wrap_pthread_setschedparam(pthread_t t, int policy, const sched_param* p) {
  if (TestSupport::IsRefused("pthread_setschedparam")) return TestSupport::refusal.error;
  if (!fake.priority) return __real_pthread_setschedparam(t, policy, p);
  fake.policySet = policy;
  fake.priority = *p;
  return 0;
}
extern "C" int __real_pthread_getschedparam(pthread_t t, int* policy, sched_param* p);
extern "C" int __wrap_pthread_getschedparam(pthread_t t, int* policy, sched_param* p);
extern "C" int __wrap_pthread_getschedparam(pthread_t t, int* policy, sched_param* p) {
  if (TestSupport::IsRefused("pthread_getschedparam")) return TestSupport::refusal.error;
  const int result = __real_pthread_getschedparam(t, policy, p);
  if (fake.priority) *p = *fake.priority;
  return result;
}
extern "C" int __real_sched_get_priority_min(int policy);
extern "C" int __wrap_sched_get_priority_min(int policy);
extern "C" int __wrap_sched_get_priority_min(int policy) {
  return fake.min ? *fake.min : __real_sched_get_priority_min(policy);
}
extern "C" int __real_sched_get_priority_max(int policy);
extern "C" int __wrap_sched_get_priority_max(int policy);
extern "C" int __wrap_sched_get_priority_max(int policy) {
  return fake.max ? *fake.max : __real_sched_get_priority_max(policy);
}
REFUSABLE_BY_ERRNO(sched_getaffinity, (pid_t pid, size_t size, cpu_set_t* set), (pid, size, set))
extern "C" long __real_sysconf(int name);
extern "C" long __wrap_sysconf(int name);
extern "C" long __wrap_sysconf(int name) {
  if (name == _SC_NPROCESSORS_ONLN && fake.online) return *fake.online;
  if (name == _SC_NPROCESSORS_CONF && fake.configured) return *fake.configured;
  return __real_sysconf(name);
}
// NOLINTEND

namespace {

using Qorv::CPUMASK;
using Qorv::CTime;
using Qorv::CTimeSpan;
using Qorv::threadExp;
using Qorv::TThread;
using TestSupport::FailureOf;
using TestSupport::Refuse;
using TestThread::CProbe;
using TestThread::InState;
using namespace Qorv::threadState;

// The real system is back at the end of each test.
template <class Base>
class WithSystem : public Base {
 protected:
  void TearDown() override {
    fake = {};
    Refuse({}, 0, 0);
  }
};

const CPUMASK all = [] {
  CPUMASK mask;
  for (std::uint32_t i = 0; i < CPUMASK::size; ++i)
    mask.Set(i);
  return mask;
}();

const std::string gone =
    "12: CThread_Imp::_GetThreadShcdParam - failed retrive thread's sched info\n  error code = 3\n"
    "  error desc = the value specified by thread does not refer to an existing thread";

std::string Told(bool answer) {
  return answer ? "true" : "false";
}

// The states stay. Where there is no thread object each throws code 4 under its own name.
struct QuestionRow {
  const char* name;
  std::string (*ask)(CProbe&);
  std::string alive;
  std::string killed;
};

const QuestionRow questionRows[] = {
    {"GetPriority", [](CProbe& p) { return std::to_string(p.GetPriority()); }, "3", gone},
    {"GetSchdPolicy", [](CProbe& p) { return std::to_string(p.GetSchdPolicy()); },
     std::to_string(SCHED_OTHER), gone},
    {"GetId", [](CProbe& p) { return Told(p.GetId() != 0 && p.GetId() != TThread::CurrentThreadId()); },
     "true", "true"},
    {"SetSchdPolicy",
     [](CProbe& p) {
       p.SetSchdPolicy(-1000);
       return std::string();
     },
     "", ""},
    {"SetCpuAffinity",
     [](CProbe& p) {
       p.SetCpuAffinity(all, true);
       return std::string();
     },
     "", ""},
    {"SetIdealCpu",
     [](CProbe& p) {
       p.SetIdealCpu(1);
       return std::string();
     },
     "", ""},
    {"SetPriorityBoost",
     [](CProbe& p) {
       p.SetPriorityBoost(true);
       return std::string();
     },
     "", ""},
    {"ShouldBoostPriority", [](CProbe& p) { return Told(p.ShouldBoostPriority()); }, "false", "false"},
    {"HasPendingIo", [](CProbe& p) { return Told(p.HasPendingIo()); }, "false", "false"},
    {"ToSysHandle", [](CProbe& p) { return Told(::pthread_equal(p.ToSysHandle(), ::pthread_self()) == 0); },
     "true", "true"},
    {"GetTimes",
     [](CProbe& p) {
       p.GetTimes(nullptr, nullptr, nullptr);
       return std::string();
     },
     "", ""},
};

class Question : public testing::TestWithParam<std::tuple<QuestionRow, std::uint32_t>> {};

TEST_P(Question, IsAnsweredInEveryState) {
  const QuestionRow& row = std::get<0>(GetParam());
  const std::uint32_t state = std::get<1>(GetParam());
  const std::unique_ptr<CProbe> probe = InState(state);
  std::string answer;
  const std::string failure = FailureOf<threadExp>([&] { answer = row.ask(*probe); });
  if (failure != "no failure") answer = failure;
  const bool hasObject = state != none && state != ended;
  EXPECT_EQ(answer, !hasObject        ? "4: TThread::" + std::string(row.name) + " - invalid thread object"
                    : state == killed ? row.killed
                                      : row.alive);
  EXPECT_EQ(probe->GetState(), state);
}

INSTANTIATE_TEST_SUITE_P(Thread, Question,
                         testing::Combine(testing::ValuesIn(questionRows),
                                          testing::Values(none, suspended, running, stopping, ended, killed)),
                         [](const auto& test) {
                           return std::get<0>(test.param).name + std::to_string(std::get<1>(test.param));
                         });

struct PriorityRow {
  const char* name;
  std::uint32_t state;
  std::string failure;
};

class PriorityState : public WithSystem<testing::TestWithParam<PriorityRow>> {};

TEST_P(PriorityState, DecidesWhetherItIsSet) {
  const std::unique_ptr<CProbe> probe = InState(GetParam().state);
  fake.priority = sched_param{};
  EXPECT_EQ(FailureOf<threadExp>([&] { probe->SetPriority(3); }), GetParam().failure);
  EXPECT_EQ(fake.policySet, GetParam().failure == "no failure" ? SCHED_OTHER : -1);
  EXPECT_EQ(probe->GetState(), GetParam().state);
}

INSTANTIATE_TEST_SUITE_P(
    Thread, PriorityState,
    testing::Values(PriorityRow{"None", none, "3: TThread::SetPriority - invalid state : 0"},
                    PriorityRow{"Suspended", suspended, "no failure"},
                    PriorityRow{"Running", running, "no failure"},
                    PriorityRow{"Stopping", stopping, "no failure"},
                    PriorityRow{"Ended", ended, "3: TThread::SetPriority - invalid state : 4"},
                    PriorityRow{"Killed", killed, "3: TThread::SetPriority - invalid state : 5"}),
    rowName);

struct LevelRow {
  const char* name;
  int min;
  int max;
  std::uint32_t level;
  int priority;         // what the level becomes
  std::uint32_t again;  // what that is read as
};

const LevelRow levelRows[] = {
    {"LowestFromZero", 0, 60, 0, 0, 0},
    {"LowFromZero", 0, 60, 1, 10, 1},
    {"NormalFromZero", 0, 60, 3, 30, 3},
    {"HighFromZero", 0, 60, 5, 50, 5},
    {"HighestIsTheMaximum", 1, 99, 6, 99, 6},
    {"StepIsTruncated", 1, 99, 5, 81, 5},
    {"LowestAboveZeroReadsHigher", 10, 70, 0, 10, 1},
    {"NormalAboveZeroReadsHigher", 10, 70, 3, 40, 4},
    {"OnePriorityAlone", 0, 0, 6, 0, 3},
    {"NoMinimum", -1, 60, 6, 0, 3},
    {"NoMaximum", 1, -1, 6, 0, 3},
};

class Level : public WithSystem<testing::TestWithParam<LevelRow>> {
 protected:
  void SetUp() override {
    fake.priority = sched_param{};
    fake.min = GetParam().min;
    fake.max = GetParam().max;
  }
};

TEST_P(Level, OfAnotherThread) {
  const std::unique_ptr<CProbe> probe = InState(suspended);
  probe->SetPriority(GetParam().level);
  EXPECT_EQ(fake.priority->sched_priority, GetParam().priority);
  EXPECT_EQ(probe->GetPriority(), GetParam().again);
}

TEST_P(Level, OfTheCallingThread) {
  EXPECT_TRUE(TThread::SetCurrentPriority(GetParam().level));
  EXPECT_EQ(fake.priority->sched_priority, GetParam().priority);
  EXPECT_EQ(TThread::GetCurrentPriority(), GetParam().again);
}

INSTANTIATE_TEST_SUITE_P(Thread, Level, testing::ValuesIn(levelRows), rowName);

// With the system's own say.
TEST(Policy, IsChangedAndKeepsTheLevel) {
  const std::unique_ptr<CProbe> probe = InState(running);
  try {
    probe->SetSchdPolicy(SCHED_RR);
  } catch (const threadExp& failure) {
    GTEST_SKIP() << "this user may not change policies: " << failure.GetMessage().data();
  }
  EXPECT_EQ(probe->GetSchdPolicy(), SCHED_RR);
  EXPECT_EQ(probe->GetPriority(), 3U);
  probe->SetPriority(6);
  int policy = 0;
  sched_param parameters{};
  ASSERT_EQ(::pthread_getschedparam(probe->ToSysHandle(), &policy, &parameters), 0);
  EXPECT_EQ(parameters.sched_priority, ::sched_get_priority_max(SCHED_RR));
  probe->SetSchdPolicy(-1000);
  EXPECT_EQ(probe->GetSchdPolicy(), SCHED_RR);
  EXPECT_EQ(probe->GetPriority(), 6U);
}

class CurrentPolicy : public WithSystem<testing::Test> {};

TEST_F(CurrentPolicy, IsChangedWithItsLevel) {
  fake.priority = sched_param{};
  TThread::SetCurrentSchdPolicy(-1000);
  EXPECT_EQ(fake.policySet, -1);
  TThread::SetCurrentSchdPolicy(SCHED_RR);
  EXPECT_EQ(fake.policySet, SCHED_RR);
  const int third = (::sched_get_priority_max(SCHED_RR) - ::sched_get_priority_min(SCHED_RR)) / 6 * 3;
  EXPECT_EQ(fake.priority->sched_priority, ::sched_get_priority_min(SCHED_RR) + third);
}

struct RefusalRow {
  const char* name;
  const char* call;
  int error;
  const char* failure;
  std::int32_t currentPolicy = SCHED_OTHER;
};

const RefusalRow refusalRows[] = {
    {"SetInvalid", "pthread_setschedparam", EINVAL,
     "13: CThread_Imp::_SetThreadShcdParam - failed set thread's sched param\n  sched type = 0\n"
     "  error code = 22\n  error desc = invalid scheduling policy"},
    {"SetUnsupported", "pthread_setschedparam", ENOTSUP,
     "13: CThread_Imp::_SetThreadShcdParam - failed set thread's sched param\n  sched type = 0\n"
     "  error code = 95\n  error desc = unsupport scheduling policy or parameters"},
    {"SetForbidden", "pthread_setschedparam", EPERM,
     "13: CThread_Imp::_SetThreadShcdParam - failed set thread's sched param\n  sched type = 0\n"
     "  error code = 1\n  error desc = permission denied or modify one of the parameters is not allowed"},
    {"SetNoThread", "pthread_setschedparam", ESRCH,
     "13: CThread_Imp::_SetThreadShcdParam - failed set thread's sched param\n  sched type = 0\n"
     "  error code = 3\n  error desc = the value specified by thread does not refer to an existing thread"},
    {"SetUnknown", "pthread_setschedparam", EIO,
     "13: CThread_Imp::_SetThreadShcdParam - failed set thread's sched param\n  sched type = 0\n"
     "  error code = 5\n  error desc = unexpect system error: Input/output error"},
    {"GetNoThread", "pthread_getschedparam", ESRCH,
     "12: CThread_Imp::_GetThreadShcdParam - failed retrive thread's sched info\n  error code = 3\n"
     "  error desc = the value specified by thread does not refer to an existing thread",
     2},
    {"GetUnknown", "pthread_getschedparam", EIO,
     "12: CThread_Imp::_GetThreadShcdParam - failed retrive thread's sched info\n  error code = 5\n"
     "  error desc = unexpect system error: Input/output error",
     2},
};

class SchedulingRefused : public WithSystem<testing::TestWithParam<RefusalRow>> {};

TEST_P(SchedulingRefused, IsTold) {
  const std::unique_ptr<CProbe> probe = InState(running);
  Refuse(GetParam().call, GetParam().error, 5);
  EXPECT_EQ(FailureOf<threadExp>([&] { probe->SetPriority(3); }), GetParam().failure);
  EXPECT_EQ(FailureOf<threadExp>([&] { probe->SetSchdPolicy(0); }), GetParam().failure);
  EXPECT_EQ(FailureOf<threadExp>([&] { TThread::SetCurrentSchdPolicy(0); }), GetParam().failure);
  EXPECT_FALSE(TThread::SetCurrentPriority(3));
  EXPECT_EQ(TThread::GetCurrentSchdPolicy(), GetParam().currentPolicy);
  EXPECT_EQ(probe->GetState(), running);
}

INSTANTIATE_TEST_SUITE_P(Thread, SchedulingRefused, testing::ValuesIn(refusalRows), rowName);

class Affinity : public WithSystem<testing::Test> {};

TEST_F(Affinity, ThatCannotBeReadMattersOnlyToARestrictedMask) {
  Refuse("sched_getaffinity", EPERM, 3);
  const char* const failure =
      "18: CThread_Imp::_SetCpuAffinity - failed retrive system' cpu affinity mask\n"
      "@ CProcess::GetCpuAffinity - failed retrive process' cpu affinity mask\n  error code = 1\n"
      "  error desc = permission denied";
  const std::unique_ptr<CProbe> probe = InState(running);
  EXPECT_EQ(FailureOf<threadExp>([&] { probe->SetCpuAffinity(all, true); }), failure);
  EXPECT_EQ(FailureOf<threadExp>([&] { TThread::SetCurrentCpuAffinity(all, true); }), failure);
  probe->SetCpuAffinity(all, false);
  TThread::SetCurrentCpuAffinity(all, false);
}

struct CountRow {
  const char* name;
  long online;
  long configured;
  std::uint32_t count;
};

class ProcessorCount : public WithSystem<testing::TestWithParam<CountRow>> {};

TEST_P(ProcessorCount, IsTheFirstThatIsKnown) {
  fake.online = GetParam().online;
  fake.configured = GetParam().configured;
  EXPECT_EQ(TThread::GetProcessorCount(), GetParam().count);
}

INSTANTIATE_TEST_SUITE_P(Thread, ProcessorCount,
                         testing::Values(CountRow{"Online", 3, 5, 3}, CountRow{"Configured", -1, 5, 5},
                                         CountRow{"Neither", -1, -1, 1}),
                         rowName);

struct ParsePriorityRow {
  const char* name;
  const char* text;
  std::uint32_t level;
};

const ParsePriorityRow parsePriorityRows[] = {
    {"Idle", "idle", 0},
    {"Low", "low", 1},
    {"Below", "below", 2},
    {"Normal", "normal", 3},
    {"Above", "above", 4},
    {"UpperCase", "HIGH", 5},
    {"Realtime", "realtime", 6},
    {"Empty", "", 3},
    {"Blanks", "  ", 3},
    {"Trimmed", "\t Idle \n", 0},
    {"LongerThanAName", "lowest", 1},
    {"ShorterThanAName", "realtim", 3},
    {"NameNotInFront", "the high", 3},
};

class ParsePriority : public testing::TestWithParam<ParsePriorityRow> {};

TEST_P(ParsePriority, GivesTheLevel) {
  EXPECT_EQ(TThread::ParsePriority(GetParam().text), GetParam().level);
}

INSTANTIATE_TEST_SUITE_P(Thread, ParsePriority, testing::ValuesIn(parsePriorityRows), rowName);

struct ParseMaskRow {
  const char* name;
  const char* text;
  std::vector<std::uint32_t> processors;  // none: all, and false
};

const ParseMaskRow parseMaskRows[] = {
    {"Empty", "", {}},
    {"One", "0", {0}},
    {"RangeAndOne", "3-1,7", {1, 2, 3, 7}},
    {"BlanksAround", " 2 , 4 - 5", {2, 4, 5}},
    {"EmptyPieces", ",,64,", {64}},
    {"EndOfTheMask", "1023-1025", {1023}},
    {"BeyondTheMask", "5000", {}},
    {"BeyondAnyNumber", "99999999999999999999-1022", {1022, 1023}},
    {"OpenAtTheEnd", "6-", {6}},
    {"OpenAtTheStart", "-6", {}},
    {"Negative", "1--3,9", {9}},
    {"ThreeEnds", "1-2-9", {1, 2}},
    {"NoNumber", "all", {}},
    {"NoNumberAmongNumbers", "x,5", {5}},
};

class ParseMask : public testing::TestWithParam<ParseMaskRow> {};

TEST_P(ParseMask, SetsTheProcessors) {
  CPUMASK expected;
  for (const std::uint32_t processor : GetParam().processors)
    expected.Set(processor);
  if (GetParam().processors.empty()) expected = all;
  CPUMASK mask;
  mask.Set(77);
  EXPECT_EQ(TThread::ParseCpuMask(GetParam().text, mask), !GetParam().processors.empty());
  EXPECT_TRUE(mask == expected);
}

INSTANTIATE_TEST_SUITE_P(Thread, ParseMask, testing::ValuesIn(parseMaskRows), rowName);

TEST(Thread, HasItsIdFromTheStart) {
  std::atomic<std::uint64_t> own{0};
  CProbe probe([&](CProbe&) {
    own = TThread::CurrentThreadId();
    return 0U;
  });
  probe.Create(false, 0);
  const std::uint64_t id = probe.GetId();
  probe.Resume();
  EXPECT_TRUE(probe.Wait(Qorv::waitForever));
  EXPECT_EQ(id, own);
}

// In a process of its own: the zone is asked for once.
TEST(ThreadDeathTest, TimesAreThoseOfNoThread) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        ::setenv("TZ", "XYZ-2", 1);
        const std::unique_ptr<CProbe> probe = InState(running);
        CTime creation;
        CTimeSpan kernel(1);
        CTimeSpan user(2);
        probe->GetTimes(&creation, &kernel, &user);
        CTime expected;
        expected.Set(1900, 1, 1, 2, 0, 0, 0, 0);
        std::_Exit(creation == expected && kernel.GetValue() == 0 && user.GetValue() == 0 ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
