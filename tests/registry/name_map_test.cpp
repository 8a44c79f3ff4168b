// The map in blocks against the map of the standard library, over random changes.
#include <gtest/gtest.h>

#include <iterator>
#include <map>
#include <random>
#include <string>

#include "registry/name_map.h"

namespace {

using Qorv::IMPL::CNameMap;
using TWIN = std::map<std::string, int>;

void ExpectSame(const CNameMap<int>& map, const TWIN& twin) {
  ASSERT_EQ(map.size(), twin.size());
  ASSERT_TRUE(std::equal(map.begin(), map.end(), twin.begin(), twin.end(), [](const auto& a, const auto& b) {
    return std::string_view(a.first) == b.first && a.second == b.second;
  }));
  ASSERT_TRUE(std::equal(map.rbegin(), std::reverse_iterator(map.begin()), twin.rbegin(), twin.rend(),
                         [](const auto& a, const auto& b) { return std::string_view(a.first) == b.first; }));
}

// Of up to 18 bytes, more than stand in place, that differ late, by bytes at the ends of their range, or in length alone.
std::string AlikeName(std::mt19937& random) {
  std::string name(random() % 19, 'a');
  for (std::size_t at = name.size() / 8 * 7; at < name.size(); ++at)
    name[at] = "\0a\xFF"[random() % 3];
  return name;
}

// Few names, so that they meet; many, so that blocks are cut and go; ascending ones among them; and ones that are alike.
TEST(NameMap, IsLikeThatOfTheStandardLibrary) {
  for (const unsigned names : {3U, 300U, 20000U, 0U}) {
    SCOPED_TRACE(names);
    std::mt19937 random(names);
    CNameMap<int> map;
    TWIN twin;
    for (int i = 0; i < 20000; ++i) {
      const std::string name = names == 0
                                   ? AlikeName(random)
                                   : std::to_string(i % 3 == 0 ? static_cast<unsigned>(i) : random() % names);
      switch (random() % 5) {
        case 0:
          ASSERT_EQ(map.try_emplace(name, i).second, twin.try_emplace(name, i).second);
          break;
        case 1:
          ASSERT_EQ(map.insert_or_assign(name, i).second, twin.insert_or_assign(name, i).second);
          break;
        case 2: {
          const bool isLast = twin.empty() || twin.rbegin()->first < name;
          int* const value = map.append(5, name);
          ASSERT_EQ(value != nullptr, isLast);
          if (isLast) twin[name] = *value = i;
          break;
        }
        case 3:
          ASSERT_EQ(map.contains(name), twin.contains(name));
          break;
        default:
          if (const auto found = map.find(name); found != map.end()) map.erase(found);
          twin.erase(name);
      }
      if (i % 997 == 0) ExpectSame(map, twin);
    }
    ExpectSame(map, twin);
    const CNameMap<int> copy = map;
    CNameMap<int> other;
    other.swap(map);
    ExpectSame(copy, twin);
    ExpectSame(other, twin);
    ExpectSame(map, {});
    while (!twin.empty()) {
      twin.erase(twin.begin());
      other.erase(other.begin());
      if (twin.size() % 501 == 0) ExpectSame(other, twin);
    }
  }
}

}  // namespace
