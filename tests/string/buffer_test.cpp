// The copy-on-write buffer: its growth rule, its sharing, its views.
#include <gtest/gtest.h>

#include <limits>
#include <new>
#include <string_view>
#include <thread>
#include <vector>

#include <qorv/error.h>
#include <qorv/string.h>

#include "support/row_name.h"

namespace {

using Qorv::basic_buffer;
using Buffer = basic_buffer<char>;

Buffer Owner(std::uint64_t room, std::string_view content) {
  Buffer buffer;
  buffer.reserve_exact(room);
  std::copy(content.begin(), content.end(), buffer.writable());
  buffer.set_length(content.size());
  return buffer;
}

std::string_view Text(const Buffer& buffer) {
  return {buffer.data(), buffer.length()};
}

struct GrowthRow {
  const char* name;
  std::uint64_t room;
  bool isShared;
  std::uint64_t wanted;
  std::int64_t expected;
};

class Growth : public testing::TestWithParam<GrowthRow> {};

TEST_P(Growth, GivesTheRoomOfTheRule) {
  const GrowthRow& row = GetParam();
  Buffer buffer = Owner(row.room, "abc");
  const Buffer other = row.isShared ? buffer : Buffer();
  buffer.reserve(row.wanted);
  EXPECT_EQ(buffer.capacity(), row.expected);
  EXPECT_EQ(Text(buffer), "abc");
  EXPECT_FALSE(buffer.is_shared());
  if (row.isShared) {
    EXPECT_EQ(Text(other), "abc");
    EXPECT_FALSE(other.is_shared());
    EXPECT_NE(other.data(), buffer.data());
  }
}

INSTANTIATE_TEST_SUITE_P(Buffer, Growth,
                         testing::Values(GrowthRow{"EnoughRoom", 100, false, 100, 100},
                                         GrowthRow{"OneMore", 100, false, 101, 127 + 50},
                                         GrowthRow{"FarMore", 10, false, 1000, 1023 + 5},
                                         GrowthRow{"SharedKeepsNoSlack", 100, true, 40, 63},
                                         GrowthRow{"SharedCoversItsLength", 100, true, 0, 31}),
                         rowName);

TEST(Buffer, GrowsFromNothing) {
  Buffer buffer;
  buffer.reserve(1);
  EXPECT_EQ(buffer.capacity(), 31);
  EXPECT_EQ(buffer.length(), 0U);
}

TEST(Buffer, ExactReserveGivesJustThatButNeverCutsTheContent) {
  Buffer buffer = Owner(100, "abc");
  buffer.reserve_exact(57);
  EXPECT_EQ(buffer.capacity(), 57);
  buffer.reserve_exact(1);
  EXPECT_EQ(buffer.capacity(), 3);
  EXPECT_EQ(Text(buffer), "abc");
}

TEST(Buffer, DiscardingReserveLeavesTheOtherHoldersContent) {
  Buffer buffer = Owner(10, "abc");
  const Buffer other = buffer;
  buffer.reserve_discard(5);
  EXPECT_EQ(buffer.length(), 0U);
  EXPECT_EQ(Text(other), "abc");
}

TEST(Buffer, ViewIsNeverReservedNorCounted) {
  Buffer view = Buffer::view("constant", 8);
  const Buffer copy = view;
  view.reserve(1000);
  EXPECT_EQ(view.capacity(), Buffer::viewCapacity);
  EXPECT_EQ(view.data(), copy.data());
  EXPECT_FALSE(view.is_shared());
}

TEST(Buffer, EmptyBufferGivesEmptyTextForEveryElement) {
  EXPECT_EQ(*basic_buffer<char>().data(), '\0');
  EXPECT_EQ(*basic_buffer<wchar_t>().data(), L'\0');
  EXPECT_EQ(*basic_buffer<unsigned char>().data(), 0);
}

TEST(Buffer, ImpossibleRoomThrowsAndLeavesAllAsItWas) {
  constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
  for (const std::uint64_t wanted : {most, most - 31, most / 2, most / 8}) {
    basic_buffer<wchar_t> buffer;
    buffer.reserve(4);
    buffer.set_length(1);
    EXPECT_THROW(buffer.reserve(wanted), std::bad_alloc) << wanted;
    EXPECT_EQ(buffer.capacity(), 31);
    EXPECT_EQ(buffer.length(), 1U);
  }
}

TEST(Buffer, AtBeyondTheLengthThrows) {
  const Buffer buffer = Owner(10, "abc");
  EXPECT_EQ(buffer.at(2), 'c');
  try {
    buffer.at(3);
    FAIL();
  } catch (const Qorv::utilExp& failure) {
    EXPECT_EQ(failure.GetMessage(), "basic_buffer::at - offset out of range");
  }
}

TEST(Buffer, HoldersOnManyThreadsDropTheirCopiesAtWill) {
  Buffer buffer = Owner(100, "shared");
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([copy = buffer]() mutable {
      for (int k = 0; k < 2000; ++k) {
        Buffer own = copy;
        own.reserve(10);  // makes it this thread's alone
        own.writable()[0] = 'x';
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(Text(buffer), "shared");
  threads.clear();
  EXPECT_FALSE(buffer.is_shared());
}

}  // namespace
