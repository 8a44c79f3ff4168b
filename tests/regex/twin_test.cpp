// The engine against a slow and obvious twin: all small patterns on all small texts, then longer ones drawn
// at random. Both must agree on which patterns are valid, and on the ranges of every match and group.
#include "regex/twin.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include <qorv/regex.h>

#include "regex/describe.h"

namespace {

using Qorv::RANGE;
namespace flag = Qorv::regexFlag;
using Texts = std::vector<std::string>;

// Builds that check themselves are slow and take smaller sets.
#ifdef NDEBUG
constexpr std::size_t more = 1;
#else
constexpr std::size_t more = 0;
#endif

Texts AllTexts(std::string_view alphabet, std::size_t longest) {
  Texts texts{""};
  for (std::size_t i = 0; i < texts.size() && texts[i].size() < longest; ++i)
    for (const char element : alphabet)
      texts.push_back(texts[i] + element);
  return texts;
}

template <class T>
class RegexTwin : public testing::Test {
 protected:
  using Text = std::basic_string<T>;

  // False if the pattern is invalid.
  bool Use(const std::string& pattern, std::uint32_t flags = 0) {
    pattern_ = pattern;
    judge_ = twin::Parse(pattern, flags);
    engine_ = Qorv::CRegex<T>::Compile(Text(pattern.begin(), pattern.end()), flag::advanced | flags);
    const std::size_t groups = engine_ ? engine_.GetGroupCount() + std::size_t{1} : 0;
    EXPECT_EQ(groups, judge_ ? judge_->groupCount : 0) << testing::PrintToString(pattern);
    return judge_ && engine_;
  }

  void Compare(const std::string& text, std::size_t start = 0, std::uint32_t searchFlags = 0) {
    const std::vector<RANGE> expected = twin::Exec(*judge_, text, start, searchFlags);
    std::vector<RANGE> found(judge_->groupCount);
    if (!engine_.Exec(Text(text.begin(), text.end()), start, found.data(), found.size(), searchFlags))
      found.clear();
    if (found != expected)
      ADD_FAILURE() << testing::PrintToString(pattern_) << " with flags " << judge_->flags << " on "
                    << testing::PrintToString(text) << " from " << start << ", search flags " << searchFlags
                    << "\nengine: " << Describe(found) << "\ntwin:   " << Describe(expected);
  }

  // The walk from match to match keeps what it learns of the text on the way.
  void CompareSearch(const std::string& text) {
    const Text own(text.begin(), text.end());
    Qorv::CRegexSearch<T> search(engine_, own);
    std::vector<RANGE> found(judge_->groupCount);
    for (std::size_t at = 0; !found.empty();) {
      if (!search.Next(found.data(), found.size())) found.clear();
      ASSERT_EQ(Describe(found), Describe(twin::Exec(*judge_, text, at, 0)))
          << testing::PrintToString(pattern_) << " on " << testing::PrintToString(text) << " at " << at;
      if (!found.empty()) at = found[0].offset + std::max<std::size_t>(found[0].length, 1);
    }
  }

  // Calls `check` with every sequence of up to `longest` tokens, until a pattern fails. A parenthesis before
  // a question mark would be another token.
  template <class Check>
  void ForAllPatterns(const Texts& tokens, std::size_t longest, const Check& check,
                      const std::string& before = "") {
    for (const std::string& token : tokens) {
      if (this->HasFailure() || (before.ends_with('(') && token.front() == '?')) continue;
      check(before + token);
      if (longest > 1) ForAllPatterns(tokens, longest - 1, check, before + token);
    }
  }

 private:
  std::string pattern_;
  std::optional<twin::Pattern> judge_;
  Qorv::CRegex<T> engine_;
};

using Widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(RegexTwin, Widths);

using RegexTwinNarrow = RegexTwin<char>;

TEST_F(RegexTwinNarrow, AllSmallPatterns) {
  const Texts tokens{"a", "b", "|", "*", "?", "+", "(", ")", ".", "^", "$", "*?", "{1,2}", "\\1", "(?=a)"};
  const Texts texts = AllTexts("ab", 3 + more);
  std::size_t valid = 0;
  ForAllPatterns(tokens, 4 + more, [&](const std::string& pattern) {
    if (!Use(pattern)) return;
    ++valid;
    for (const std::string& text : texts)
      Compare(text);
  });
  EXPECT_GT(valid, more != 0 ? 50000U : 4000U);
}

TEST_F(RegexTwinNarrow, AllSmallRepeatsOfGroups) {
  const Texts tokens{"a", "(", ")", "|", "*", "??", "*?", "+?", "{2}", "{1,}", "{0,2}?"};
  const Texts texts = AllTexts("a", 6);
  ForAllPatterns(tokens, 5 + more, [&](const std::string& pattern) {
    // Before something that decides how much is left, and where the whole text is asked for.
    for (const std::string& whole : {"(" + pattern + ")(a*)", "^(?:" + pattern + ")$"}) {
      if (!Use(whole)) return;
      for (const std::string& text : texts)
        Compare(text);
    }
  });
}

TYPED_TEST(RegexTwin, AllSmallConstraintsInTheMiddleOfLines) {
  const Texts tokens{"a",   "\n",  ".",   "^", "$", "\\A",   "\\Z",   "\\m",
                     "\\M", "\\y", "\\Y", "*", "|", "(?!a)", "(?=\n)"};
  const Texts texts = AllTexts("a\n", 3);
  const std::size_t longest = sizeof(TypeParam) == 1 ? 3 + more : 3;
  this->ForAllPatterns(tokens, longest, [&](const std::string& pattern) {
    for (const std::uint32_t flags : {0U, flag::stopAtNewline, flag::anchorAtNewline}) {
      if (!this->Use(pattern, flags)) return;
      for (const std::string& text : texts)
        for (std::uint32_t start = 0; start <= text.size(); ++start)
          this->Compare(text, start, start % 2 == 0 ? Qorv::searchFlag::notAtBeginning : 0);
    }
  });
}

// Draws patterns that are mostly valid, with a fixed seed.
class CDraw {
 public:
  std::uint32_t Below(std::size_t limit) { return static_cast<std::uint32_t>(random_() % limit); }

  std::string Of(std::string_view alphabet, std::size_t longest) {
    std::string text;
    for (std::size_t left = Below(longest + 1); left != 0; --left)
      text += alphabet[Below(alphabet.size())];
    return text;
  }

  std::string Branches(int depth) {
    std::string text;
    for (std::size_t left = Below(5); left != 0; --left)
      text += Below(8) == 0 ? Constraint(depth) : Atom(depth) + Quantifier();
    return Below(3) == 0 ? text + '|' + Branches(depth) : text;
  }

 private:
  std::string One(const Texts& choices) { return choices[Below(choices.size())]; }

  std::string Atom(int depth) {
    if (depth != 0 && Below(3) == 0) return One({"(", "(", "(?:"}) + Branches(depth - 1) + ')';
    return One({"a", "a", "b", "b", "ab", ".", "A", "\n", "\\1", "\\2"});
  }

  std::string Quantifier() {
    if (Below(2) == 0) return "";
    return One({"*", "+", "?", "{2}", "{1,2}", "{2,}", "{0,3}", "{1,1}", "{0}"}) + One({"", "", "?"});
  }

  std::string Constraint(int depth) {
    if (depth != 0 && Below(2) == 0) return One({"(?=", "(?!"}) + Branches(depth - 1) + ')';
    return One({"^", "$", "\\A", "\\Z", "\\m", "\\M", "\\y", "\\Y"});
  }

  std::mt19937_64 random_{20240229};
};

TYPED_TEST(RegexTwin, LongerPatternsAtRandom) {
  CDraw draw;
  for (std::size_t round = 0; round < 4000 + 16000 * more && !this->HasFailure(); ++round) {
    // A choice of the newline flags, and folding.
    const std::uint32_t flags = draw.Below(4) * flag::stopAtNewline | draw.Below(2) * flag::ignoreCase;
    if (!this->Use("(?:)" + draw.Branches(2), flags)) continue;
    for (int i = 0; i < 12; ++i) {
      const std::string text = draw.Of(i % 2 == 0 ? "ab" : "aabbAB\n ", 7);
      this->Compare(text, draw.Below(4) == 0 ? draw.Below(text.size() + 1) : 0, draw.Below(2));
      if (i % 4 == 0) this->CompareSearch(text);
    }
  }
}

}  // namespace
