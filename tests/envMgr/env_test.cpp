// Texts that refer to the environment and to values of one's own.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <qorv/env_mgr.h>
#include <qorv/error.h>

#include "support/failure.h"
#include "support/row_name.h"

namespace {

using namespace Qorv;

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
  EXPECT_EQ("$Q_SELF", std::string(env.Expand("$Q_SELF"_sv, 64)));
}

// Without a bound a value that holds itself twice would ask for 2^64 of it.
TEST(Expand, StopsBeforeTextsOutgrowTheMachine) {
  SetSysEnv("Q_GROWS=xxxxxxxx$Q_GROWS$Q_GROWS"_sv);
  EXPECT_LT(ExpandEnvStr("$Q_GROWS"_sv).length(), std::uint64_t{17} << 20);
}

TEST(SysEnv, SetsAndRemoves) {
  EXPECT_TRUE(SetSysEnv("Q_A=b=c"_sv));
  EXPECT_EQ("b=c", std::string(GetSysEnv("Q_A"_sv)));
  EXPECT_TRUE(SetSysEnv(wstringEx(L"Q_A=wide")));
  EXPECT_EQ(wstringEx(L"wide"), GetSysEnv(wstringEx(L"Q_A")));
  EXPECT_TRUE(SetSysEnv("Q_A"_sv));
  EXPECT_EQ("", std::string(GetSysEnv("Q_A"_sv)));
  EXPECT_FALSE(SetSysEnv("=value"_sv));
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

  // Its key is like any other.
  const byteEx image = env.GetStore().Save();
  envMgr other;
  CFakeRegistry read;
  read.Open(image.data(), image.length());
  other.GetStore().Import(read);
  EXPECT_TRUE(other.GetEnv("a"_sv, value));
  env.RemoveEnv("Q_BOTH"_sv);
  EXPECT_TRUE(env.GetEnv("Q_BOTH"_sv, value));
  env.GetStore().WriteValue("a", std::uint32_t{7});
  EXPECT_FALSE(env.GetEnv("a"_sv, value)) << "no text";
}

TEST(TempDir, IsTheSystemsOrOneBelow) {
  SetSysEnv("TMPDIR=/"_sv);
  envMgr env;
  EXPECT_EQ("/", std::string(env.GetTempDir()));
  SetSysEnv("TMPDIR=/none"_sv);
  EXPECT_EQ("/", std::string(env.GetTempDir())) << "it is kept";
  EXPECT_EQ("./tmp", std::string(envMgr().GetTempDir()));
  SetSysEnv("TMPDIR"_sv);
}

}  // namespace
