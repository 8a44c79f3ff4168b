// Failure texts and the exception tree.
#include "error/message.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>

#include <qorv/error.h>

namespace {

using Qorv::stringEx;
using Qorv::IMPL::CMessage;
using Qorv::IMPL::ErrnoText;

constexpr ErrnoText table[] = {{EIO, "physical io error"}, {ENOSPC, "disk full"}};

TEST(Message, JoinsHeadingFieldsAndInnerFailure) {
  const Qorv::sysfileExp inner("inner heading\n  sys error  = 5", Qorv::fileCode::seek);
  struct Row {
    const char* name;
    stringEx text;
    const char* expected;
  };
  const Row rows[] = {
      {"HeadingAlone", CMessage("nothing to do").Take(), "nothing to do"},
      {"OneField", CMessage("heading\n").Field("  file path  = ", "/a b").Take(),
       "heading\n  file path  = /a b"},
      {"InnerAlone", CMessage("heading\n").Inner(inner).Take(), "heading\n@ inner heading\n  sys error  = 5"},
      {"Numbers",
       CMessage("heading\n")
           .Field("  from   = ", std::int64_t{-1})
           .Field("  length = ", ~std::uint64_t{0})
           .Take(),
       "heading\n  from   = -1\n  length = 18446744073709551615"},
      {"FieldsAndInner",
       CMessage("heading\n")
           .Field("  file path = ", "p")
           .Errno("  error code = ", "  error desc = ", ENOSPC, table)
           .Inner(inner)
           .Take(),
       "heading\n  file path = p\n  error code = 28\n  error desc = disk full\n@ inner heading\n  sys error  "
       "= 5"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(row.text, row.expected) << row.name;
}

TEST(Message, UnlistedErrnoHasTheSystemsText) {
  EXPECT_EQ(DescribeErrno(table, EIO), "physical io error");
  const std::string expected = std::string("unexpect system error: ") + std::strerror(EPERM);
  EXPECT_EQ(DescribeErrno(table, EPERM), expected.c_str());
}

// A handler for the base has to see the failure, and nothing else may.
template <class Thrown, class Base>
bool IsCaughtAs() {
  try {
    CMessage("text").Throw<Thrown>(7);
  } catch (const Base& failure) {
    return failure.GetMessage() == "text" && failure.GetCode() == 7;
  } catch (...) {
  }
  return false;
}

TEST(Tree, HandlersSeeTheirBranchOnly) {
  EXPECT_TRUE((IsCaughtAs<Qorv::pipeExp, Qorv::sysfileExp>()));
  EXPECT_TRUE((IsCaughtAs<Qorv::pipeExp, Qorv::ioExp>()));
  EXPECT_TRUE((IsCaughtAs<Qorv::libicuExp, Qorv::tconvExp>()));
  EXPECT_TRUE((IsCaughtAs<Qorv::semExp, Qorv::syncExp>()));
  EXPECT_TRUE((IsCaughtAs<Qorv::csvExp, Qorv::qvExp>()));
  EXPECT_FALSE((IsCaughtAs<Qorv::cfileExp, Qorv::sysfileExp>()));
  EXPECT_FALSE((IsCaughtAs<Qorv::fmppExp, Qorv::syssrvExp>()));
  EXPECT_FALSE((std::is_base_of_v<std::exception, Qorv::qvExp>));
}

TEST(Tree, CopiesShareTheMessage) {
  const Qorv::threadExp failure(stringEx("text of its own"), 3);
  const Qorv::threadExp copy = failure;
  EXPECT_EQ(copy.GetMessage().data(), failure.GetMessage().data());
}

// A step that fails inside a destructor passes on, but gives way to an exception that already unwinds.
struct FailsInDestructor {
  ~FailsInDestructor() noexcept(false) {
    Qorv::IMPL::DropWhileUnwinding([] { throw std::runtime_error("second"); });
  }
};

std::string CaughtFrom(bool throwsFirst) {
  try {
    FailsInDestructor object;
    if (throwsFirst) throw std::runtime_error("first");
  } catch (const std::runtime_error& failure) {
    return failure.what();
  }
  return "none";
}

TEST(DropWhileUnwinding, TheFirstFailureWins) {
  EXPECT_EQ(CaughtFrom(true), "first");
  EXPECT_EQ(CaughtFrom(false), "second");
}

}  // namespace
