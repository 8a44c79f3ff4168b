// Texts that refer to the environment and to values of one's own.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <qorv/env_mgr.h>
#include <qorv/error.h>

#include "file/temp_folder.h"
#include "support/row_name.h"

namespace {

using namespace Qorv;

// Of the whole program: it is asked for once.
const int encodingIsSet = ::setenv("QORV_DEFAULT_MBCS", "ISO-8859-1", 1);

struct EXPANSION {
  const char* name;
  const char* text;
  const char* byEnvironment;  // by ExpandEnvStr
  const char* byStore;        // by envMgr, where what is nowhere stays
};

class Expansion : public testing::TestWithParam<EXPANSION> {
 protected:
  Expansion() {
    for (const char* const text :
         {"Q_HOME=/home/q", "Q_REF=$Q_HOME/sub", "Q_EMPTY=", "Q_SELF=<$Q_SELF>", "Q_ONE=${Q_TWO}",
          "Q_TWO=${Q_ONE}", "Q_BOTH=environment", "Q_TWICE=$$Q_HOME"})
      EXPECT_TRUE(SetSysEnv(stringEx(text)));
    SetSysEnv("Q_UNSET"_sv);
    env_.SetEnv("Q_BOTH"_sv, "store"_sv);
    env_.SetEnv("Q_OWN"_sv, "${Q_BOTH}!"_sv);
    env_.SetEnv("Q_HIDDEN"_sv, stringEx());
  }

  envMgr env_;
};

TEST_P(Expansion, GivesThis) {
  const stringEx text(GetParam().text);
  EXPECT_EQ(GetParam().byEnvironment, std::string(ExpandEnvStr(text)));
  EXPECT_EQ(stringEx(GetParam().byEnvironment).to_wide(), ExpandEnvStr(text.to_wide()));
  EXPECT_EQ(GetParam().byStore, std::string(env_.Expand(text)));
  EXPECT_EQ(stringEx(GetParam().byStore).to_wide(), env_.Expand(text.to_wide()));
}

const EXPANSION expansions[] = {
    {"NoReference", "plain", "plain", "plain"},
    {"Short", "$Q_HOME/x", "/home/q/x", "/home/q/x"},
    {"InBraces", "${Q_HOME}/x", "/home/q/x", "/home/q/x"},
    {"NameEndsWhereItCannotGoOn", "$Q_HOME-$Q_HOMEx", "/home/q-", "/home/q-$Q_HOMEx"},
    {"Unset", "$Q_UNSET/x${Q_UNSET}", "/x", "$Q_UNSET/x${Q_UNSET}"},
    {"Empty", "[$Q_EMPTY]", "[]", "[$Q_EMPTY]"},
    {"Doubled", "$$Q_HOME", "$Q_HOME", "$Q_HOME"},
    {"DoubledInBraces", "$${Q_HOME}", "${Q_HOME}", "${Q_HOME}"},
    {"DoubledByAValue", "$Q_TWICE", "$Q_HOME", "$Q_HOME"},
    {"ReferenceInAValue", "${Q_REF}", "/home/q/sub", "/home/q/sub"},
    {"CircleOfTwo", "${Q_ONE}", "${Q_ONE}", "${Q_ONE}"},
    {"StoreFirst", "$Q_BOTH", "environment", "store"},
    {"StoreAlone", "$Q_OWN", "", "store!"},
    {"EmptyInTheStore", "[${Q_HIDDEN}]", "[]", "[]"},
    {"LoneMarkers", "$ $- ${", "$ $- ${", "$ $- ${"},
    {"AtTheEnd", "a$", "a$", "a$"},
};
INSTANTIATE_TEST_SUITE_P(Rows, Expansion, testing::ValuesIn(expansions), rowName);

TEST(Expand, EndsACircleAtItsDepth) {
  SetSysEnv("Q_SELF=<$Q_SELF>"_sv);
  const stringEx text = ExpandEnvStr("$Q_SELF"_sv);
  EXPECT_EQ(64u, text.count("<"));
  EXPECT_TRUE(text.find("$Q_SELF") != npos);
  const envMgr env;
  EXPECT_EQ(4u, env.Expand("$Q_SELF"_sv, 60).count("<"));
  EXPECT_EQ("<$Q_SELF>", std::string(env.Expand("$Q_SELF"_sv, 64)));
  EXPECT_EQ("<$Q_SELF>", std::string(env.Expand("$Q_SELF"_sv, ~std::uint32_t{0})));
}

// Without a bound a value that holds itself twice would ask for 2^64 of it.
TEST(Expand, StopsBeforeTextsOutgrowTheMachine) {
  SetSysEnv("Q_GROWS=xxxxxxxx$Q_GROWS$Q_GROWS"_sv);
  EXPECT_LT(ExpandEnvStr("$Q_GROWS"_sv).length(), std::uint64_t{17} << 20);
  SetSysEnv("Q_SAME=1234567"_sv);
  stringEx large;
  for (int i = 0; i < 3'000'000; ++i)
    large.append("$Q_SAME");
  EXPECT_EQ(3'000'000u, ExpandEnvStr(large).count("1234567")) << "it does not grow";
}

// Each of them begins a token that ends at the one brace, and which nothing is called.
TEST(Expand, TakesManyOpenBracesInOneStep) {
  stringEx text;
  for (int i = 0; i < 300'000; ++i)
    text.append("${");
  text.append("}");
  EXPECT_EQ(text, envMgr().Expand(text));
}

// No part of such a name is one.
TEST(Expand, LeavesWideTextAloneThatHasNoPlaceInTheEncoding) {
  SetSysEnv("Q_A=value"_sv);
  const envMgr env;
  EXPECT_EQ(wstringEx(L"\u03b1 value \u03b2"), ExpandEnvStr(wstringEx(L"\u03b1 $Q_A \u03b2")));
  EXPECT_EQ(wstringEx(L"\u03b1 value ${Q_\u03b1A}"), env.Expand(wstringEx(L"\u03b1 ${Q_A} ${Q_\u03b1A}")));
  EXPECT_EQ(wstringEx(), ExpandEnvStr(wstringEx(L"${Q_\u03b1A}")));
  EXPECT_EQ(wstringEx(), GetSysEnv(wstringEx(L"Q_\u03b1A")));
  EXPECT_FALSE(SetSysEnv(wstringEx(L"Q_\u03b1A=other")));
  EXPECT_EQ("value", std::string(GetSysEnv("Q_A"_sv)));
}

TEST(SysEnv, SetsAndRemoves) {
  EXPECT_TRUE(SetSysEnv("Q_A=b=c"_sv));
  EXPECT_EQ("b=c", std::string(GetSysEnv("Q_A"_sv)));
  EXPECT_TRUE(SetSysEnv(wstringEx(L"Q_A=wide")));
  EXPECT_EQ(wstringEx(L"wide"), GetSysEnv(wstringEx(L"Q_A")));
  EXPECT_TRUE(SetSysEnv("Q_A"_sv));
  EXPECT_EQ("", std::string(GetSysEnv("Q_A"_sv)));
  EXPECT_FALSE(SetSysEnv("=value"_sv));
  EXPECT_FALSE(SetSysEnv(stringEx()));
}

// What the system would cut, or take for another variable.
TEST(SysEnv, KnowsNoNameThatCannotBeOne) {
  SetSysEnv("Q_A=b=c"_sv);
  EXPECT_EQ("", std::string(GetSysEnv("Q_A=b"_sv)));
  EXPECT_EQ("", std::string(GetSysEnv(stringEx("Q_A\0x", 5))));
  EXPECT_EQ("", std::string(GetSysEnv(stringEx())));
  EXPECT_FALSE(SetSysEnv(stringEx("Q_A\0=v", 6)));
  EXPECT_FALSE(SetSysEnv(stringEx("Q_A=v\0w", 7)));
  EXPECT_EQ("b=c", std::string(GetSysEnv("Q_A"_sv)));
  EXPECT_EQ("${Q_A=b}", std::string(envMgr().Expand("${Q_A=b}"_sv)));
}

TEST(Store, GoesBeforeTheEnvironment) {
  SetSysEnv("Q_BOTH=environment"_sv);
  envMgr env;
  stringEx value;
  EXPECT_TRUE(env.GetEnv("Q_BOTH"_sv, value));
  EXPECT_EQ("environment", std::string(value));
  env.SetEnv("Q_BOTH"_sv, "store"_sv);
  EXPECT_TRUE(env.GetEnv("Q_BOTH"_sv, value));
  EXPECT_EQ("store", std::string(value));
  env.SetEnv("Q_BOTH"_sv, stringEx());
  EXPECT_FALSE(env.GetEnv("Q_BOTH"_sv, value)) << "it hides the other";
  env.SetEnv("a"_sv, "1"_sv);
  std::vector<stringEx> names;
  env.EnumEnv(names);
  EXPECT_EQ((std::vector<stringEx>{stringEx("Q_BOTH"), stringEx("a")}), names);

  env.RemoveEnv("Q_BOTH"_sv);
  EXPECT_TRUE(env.GetEnv("Q_BOTH"_sv, value));
  env.GetStore().WriteValue("a", std::uint32_t{7});
  EXPECT_FALSE(env.GetEnv("a"_sv, value)) << "no text";
}

TEST(Store, IsSavedAndOpened) {
  const TestSupport::TempFolder folder;
  const stringEx path(folder.Path("store"));
  envMgr env;
  env.SetEnv("Q_KEPT"_sv, "1"_sv);
  env.Save(path);
  envMgr other;
  other.SetEnv("Q_LOST"_sv, "2"_sv);
  other.Open(path);
  stringEx value;
  EXPECT_TRUE(other.GetEnv("Q_KEPT"_sv, value));
  EXPECT_FALSE(other.GetEnv("Q_LOST"_sv, value));
  folder.Make("store", "no registry file");
  EXPECT_THROW(other.Open(path), regExp);
  EXPECT_TRUE(other.GetEnv("Q_KEPT"_sv, value)) << "what is refused changes nothing";
}

TEST(Store, ServesAllThreads) {
  envMgr env;
  env.SetEnv("Q_A"_sv, "x"_sv);
  const stringEx temporary = envMgr().GetTempDir();
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread)
    threads.emplace_back([&, own = stringEx("Q_" + std::to_string(thread))] {
      for (int i = 0; i < 200; ++i) {
        env.SetEnv(own, "$Q_A"_sv);
        EXPECT_EQ("xx", std::string(env.Expand("$Q_A${" + own + "}")));
        env.RemoveEnv(own);
        EXPECT_EQ(temporary, env.GetTempDir());
      }
    });
  for (std::thread& thread : threads)
    thread.join();
}

TEST(TempDir, IsTheSystemsOrOneBelow) {
  const TestSupport::TempFolder folder;
  SetSysEnv(stringEx("TMPDIR=" + folder.Path()));
  envMgr env;
  EXPECT_EQ(folder.Path(), std::string(env.GetTempDir()));
  SetSysEnv("TMPDIR=/none"_sv);
  EXPECT_EQ(folder.Path(), std::string(env.GetTempDir())) << "it is kept";
  EXPECT_EQ("./tmp", std::string(envMgr().GetTempDir()));
  SetSysEnv("TMPDIR"_sv);
}

}  // namespace
