// Search, count, replacement and fields against a slow and obvious twin, over all small texts and patterns.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <qorv/string.h>

namespace {

using Places = std::vector<std::size_t>;

bool StandsAt(const std::string& text, const std::string& pattern, std::size_t place) {
  return place + pattern.size() <= text.size() && text.compare(place, pattern.size(), pattern) == 0;
}

Places FromLeft(const std::string& text, const std::string& pattern, std::size_t position) {
  Places places;
  for (std::size_t i = position; !pattern.empty() && i < text.size();) {
    const bool hit = StandsAt(text, pattern, i);
    if (hit) places.push_back(i);
    i += hit ? pattern.size() : 1;
  }
  return places;
}

// From the right means from the left in the reversed text.
Places FromRight(const std::string& text, const std::string& pattern, std::size_t position) {
  const std::string cut = text.substr(0, std::min(text.size(), position + pattern.size()));
  Places places = FromLeft({cut.rbegin(), cut.rend()}, {pattern.rbegin(), pattern.rend()}, 0);
  for (std::size_t& place : places)
    place = cut.size() - place - pattern.size();
  return places;
}

std::string Replaced(const std::string& text, Places places, std::size_t length, const std::string& to) {
  std::sort(places.rbegin(), places.rend());
  std::string result = text;
  for (const std::size_t place : places)
    result.replace(place, length, to);
  return result;
}

template <class T>
T UpperElement(T element) {
  return element >= T('a') && element <= T('z') ? static_cast<T>(element - 32) : element;
}

std::string Upper(std::string text) {
  for (char& c : text)
    c = UpperElement(c);
  return text;
}

// All texts of up to `longest` elements.
std::vector<std::string> AllTexts(std::size_t longest) {
  std::vector<std::string> texts{""};
  for (std::size_t i = 0; i < texts.size() && texts[i].size() < longest; ++i) {
    texts.push_back(texts[i] + 'a');
    texts.push_back(texts[i] + 'b');
  }
  return texts;
}

template <class String>
class Twin : public testing::Test {
 protected:
  using T = typename String::value_type;

  static String Make(const std::string& text) {
    const std::vector<T> elements(text.begin(), text.end());
    return String(elements.data(), elements.size());
  }
  static std::string Text(const String& text) { return {text.begin(), text.end()}; }

  void CheckSearch(const std::string& text, const std::string& pattern) const {
    const String own = Make(text);
    const String sought = Make(pattern);
    const String upper = Make(Upper(pattern));
    EXPECT_EQ(own.count(sought), FromLeft(text, pattern, 0).size());
    for (std::size_t at = 0; at <= text.size() + 1; ++at) {
      const Places left = FromLeft(text, pattern, at);
      const std::uint64_t first = left.empty() ? Qorv::npos : left.front();
      EXPECT_EQ(own.find(sought, at), first) << at;
      EXPECT_EQ(own.find_nocase(upper, at), first) << at;
      const Places right = FromRight(text, pattern, at);
      EXPECT_EQ(own.rfind_nocase(upper, at), right.empty() ? Qorv::npos : right.front()) << at;
    }
  }

  void CheckReplace(const std::string& text, const std::string& pattern, const std::string& to) const {
    for (std::size_t at = 0; at <= text.size(); ++at) {
      for (const bool all : {false, true}) {
        Places left = FromLeft(text, pattern, at);
        Places right = FromRight(text, pattern, at);
        for (Places* places : {&left, &right}) {
          if (!all && !places->empty()) places->erase(places->begin() + 1, places->end());
        }
        String own = Make(text);
        EXPECT_EQ(own.replace(Make(pattern), Make(to), at, all), left.size());
        EXPECT_EQ(Text(own), Replaced(text, left, pattern.size(), to)) << at << all;
        own = Make(text);
        EXPECT_EQ(own.rreplace(Make(pattern), Make(to), at, all), right.size());
        EXPECT_EQ(Text(own), Replaced(text, right, pattern.size(), to)) << at << all;
      }
    }
  }

  void CheckFields(const std::string& text, const std::string& pattern) const {
    const String own = Make(text);
    const String delimiter = Make(pattern);
    const Places left = FromLeft(text, pattern, 0);
    const Places right = FromRight(text, pattern, Qorv::npos / 2);
    for (std::size_t n = 1; n <= left.size() + 1; ++n) {
      const auto nth = static_cast<std::int64_t>(n);
      const bool isThere = n <= left.size();
      const std::size_t l = isThere ? left[n - 1] : text.size();
      EXPECT_EQ(Text(own.left_of(delimiter, nth)), text.substr(0, l)) << n;
      EXPECT_EQ(Text(own.right_of(delimiter, nth)), isThere ? text.substr(l + pattern.size()) : "") << n;
      EXPECT_EQ(Text(own.rleft_of(delimiter, nth)), isThere ? text.substr(0, right[n - 1]) : "") << n;
      EXPECT_EQ(Text(own.rright_of(delimiter, nth)),
                isThere ? text.substr(right[n - 1] + pattern.size()) : text)
          << n;
    }
  }
};

using Strings = testing::Types<Qorv::stringEx, Qorv::wstringEx, Qorv::byteEx>;
TYPED_TEST_SUITE(Twin, Strings);

TYPED_TEST(Twin, AgreesOverAllSmallTexts) {
  for (const std::string& text : AllTexts(6)) {
    for (const std::string& pattern : AllTexts(3)) {
      SCOPED_TRACE("text '" + text + "' pattern '" + pattern + "'");
      this->CheckSearch(text, pattern);
      this->CheckReplace(text, pattern, "");
      this->CheckReplace(text, pattern, "ab-");
      if (!pattern.empty()) this->CheckFields(text, pattern);
      if (this->HasFailure()) return;
    }
  }
}

// Long enough for every way in which elements are compared: with one element changed, no place of it escapes.
TYPED_TEST(Twin, FoldsLongPatternsWhole) {
  using Element = typename TypeParam::value_type;
  std::vector<Element> text;
  for (int i = 0; i < 300; ++i)
    text.push_back(static_cast<Element>(i % 256));
  std::vector<Element> pattern = text;
  for (Element& element : pattern)
    element = UpperElement(element);
  const TypeParam own(text.data(), text.size());
  EXPECT_EQ(own.find_nocase({pattern.data(), pattern.size()}), 0U);
  EXPECT_EQ(own.rfind_nocase({pattern.data() + 7, pattern.size() - 7}), 7U);
  for (Element& element : pattern) {
    const Element before = std::exchange(element, static_cast<Element>(element ^ Element(' ')));
    const bool isSame = UpperElement(element) == UpperElement(before);
    EXPECT_EQ(own.find_nocase({pattern.data(), pattern.size()}), isSame ? 0U : Qorv::npos);
    EXPECT_EQ(own.rfind_nocase({pattern.data(), pattern.size()}), isSame ? 0U : Qorv::npos);
    element = before;
  }
}

TYPED_TEST(Twin, TellsEveryElementOfALargeSet) {
  using Element = typename TypeParam::value_type;
  std::vector<Element> set;
  for (int i = 1; i < 256; i += 2)
    set.push_back(static_cast<Element>(i));
  if (sizeof(Element) > 1) set.push_back(static_cast<Element>(0x1000));
  for (int i = 0; i < 0x2000; ++i) {
    const auto element = static_cast<Element>(i);
    const bool isThere = std::find(set.begin(), set.end(), element) != set.end();
    TypeParam text(&element, 1);
    EXPECT_EQ(text.find_any({set.data(), set.size()}), isThere ? 0U : Qorv::npos) << i;
    text.trim_right({set.data(), set.size()});
    EXPECT_EQ(text.empty(), isThere) << i;
  }
}

}  // namespace
