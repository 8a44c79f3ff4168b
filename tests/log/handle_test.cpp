// Counted handles.
#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include <qorv/detail/handle.h>

namespace {

using Qorv::CHandle;
using Qorv::MakeHandle;

struct Other {
  virtual ~Other() = default;
  int filler = 1;
};
struct Base {
  virtual ~Base() = default;
};
// The base is not where the object starts.
struct Derived : Other, Base {
  explicit Derived(int& count) : living(count) { ++living; }
  ~Derived() override { --living; }
  int& living;
};

TEST(Handle, LastOfAllCopiesDeletes) {
  int living = 0;
  {
    CHandle<Base> base;
    {
      const CHandle<Derived> first = MakeHandle<Derived>(living);
      CHandle<Derived> copy(first);
      CHandle<Derived> moved(std::move(copy));
      base = moved;
      EXPECT_TRUE(base == CHandle<Base>(first));
      CHandle<Derived>& alias = moved;
      moved = alias;
      EXPECT_TRUE(moved == first);
    }
    EXPECT_EQ(living, 1);
    EXPECT_TRUE(base);
  }
  EXPECT_EQ(living, 0);
}

TEST(Handle, AssignmentLetsTheOldObjectGo) {
  int living = 0;
  CHandle<Derived> handle = MakeHandle<Derived>(living);
  const CHandle<Derived> other = MakeHandle<Derived>(living);
  EXPECT_FALSE(handle == other);
  handle = other;
  EXPECT_EQ(living, 1);
  handle = {};
  EXPECT_FALSE(handle);
  EXPECT_FALSE(CHandle<Derived>(std::unique_ptr<Derived>()));
  EXPECT_EQ(living, 1);
}

}  // namespace
