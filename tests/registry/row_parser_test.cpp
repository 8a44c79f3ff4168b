// Rows by commas and as arrays: every cell of both tables, in pieces of every size, and back again.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include <qorv/error.h>
#include <qorv/row_parser.h>

#include "support/failure.h"
#include "support/row_name.h"

namespace {

using namespace Qorv;
using TestSupport::FailureOf;

// Brings at most so many bytes at a time.
class Pieces final : public TDataSource {
 public:
  Pieces(std::string text, std::size_t atMost) : text_(std::move(text)), atMost_(atMost) {}
  bool IsValid() const override { return true; }
  bool IsEof() const override { return at_ == text_.size(); }
  std::size_t Read(void* out, std::size_t size) override {
    const std::size_t count = text_.copy(static_cast<char*>(out), std::min(size, atMost_), at_);
    at_ += count;
    return count;
  }

 private:
  std::string text_;
  std::size_t atMost_;
  std::size_t at_ = 0;
};

// "<a><b>/" for each row, and the failure that ended them.
template <class Parser, class... More>
std::string RowsOf(const std::string& text, std::size_t atMost, More... more) {
  Parser parser;
  parser.Open(MakeHandle<Pieces>(text, atMost), more...);
  std::string shown;
  const std::string failure = FailureOf<csvExp>([&] {
    std::vector<stringEx> fields;
    while (parser.GetNextRow(fields)) {
      for (const stringEx& field : fields)
        shown.append("<").append(field.data(), field.length()).append(">");
      shown += "/";
      fields.clear();
    }
  });
  return failure == "no failure" ? shown : shown + failure;
}

constexpr std::size_t pieceSizes[] = {1, 2, 3, 9000};

struct ROWS {
  const char* name;
  std::string text;
  std::string rows;
};

#define UNCLOSED(CLASS, CONTENT) \
  "1: " CLASS "::GetNextRow - the last qouted field is not closed correctly\n  content = " CONTENT

class Csv : public testing::TestWithParam<ROWS> {};

TEST_P(Csv, GivesTheseRowsHoweverTheDataComes) {
  for (const std::size_t atMost : pieceSizes)
    EXPECT_EQ(GetParam().rows, RowsOf<CCsvParser>(GetParam().text, atMost)) << atMost;
}

const ROWS csvRows[] = {
    {"Nothing", "", ""},
    {"Plain", "a,b\nc,d\n", "<a><b>/<c><d>/"},
    {"WithoutTheLastLineEnd", "a,b", "<a><b>/"},
    {"QuotedDelimiter", "a,\"b,c\",d\n", "<a><b,c><d>/"},
    {"QuotedLineEnd", "\"a\nb\",c\n", "<a\nb><c>/"},
    {"DoubledQuote", "\"a\"\"b\"\n", "<a\"b>/"},
    {"EmptyQuoted", "\"\",\"\"\n", "<><>/"},
    {"EmptyBetween", "a,,b\n,c\n", "<a><><b>/<><c>/"},
    {"DelimiterAtTheEnd", "a,\n", "<a>/"},
    {"EmptyLine", "\na\n", "/<a>/"},
    {"QuoteInsideABareField", "a\"b\",c\n", "<a\"b\"><c>/"},
    {"ZeroByte", std::string("a\0b\n", 4), std::string("<a\0b>/", 6)},
    {"QuotedAtTheEnd", "\"a\"", "<a>/"},
    {"Unclosed", "x\n\"a,b\n", "<x>/" UNCLOSED("CCsvParser", "a,b\n")},
    {"UnclosedBehindADoubledQuote", "\"a\"\"", UNCLOSED("CCsvParser", "a\"")},
    {"BehindAQuote", "\"ab\"c,d\n",
     "1: CCsvParser::GetNextRow - delimiter or line end mark not follow by end of qouter\n  char    = c "
     "(0x63)\n"
     "  expect  = , or the line end\n  content = ab"},
};
INSTANTIATE_TEST_SUITE_P(Rows, Csv, testing::ValuesIn(csvRows), rowName);

class Json : public testing::TestWithParam<ROWS> {};

TEST_P(Json, GivesTheseRowsHoweverTheDataComes) {
  for (const std::size_t atMost : pieceSizes)
    EXPECT_EQ(GetParam().rows, RowsOf<CJsonParser>(GetParam().text, atMost)) << atMost;
}

const ROWS jsonRows[] = {
    {"Nothing", "", ""},
    {"BlanksAlone", " \t\r\n", ""},
    {"ArrayOfArrays", "[[\"a\",\"b\"],\n[\"c\"]]\n", "<a><b>/<c>/"},
    {"QuotedAndBare", "[\"a\\nb\",c]", "<a\nb><c>/"},
    {"Escapes", "[\"\\r\\n\\t\\\\\\\"\\/\\u\"]", "<\r\n\t\\\"/u>/"},
    {"LoneComma", "[,]", "<>/"},
    {"CommaBehindABlank", "[\"a\" ,\"b\"]", "<a><><b>/"},
    {"BareWithBlanks", "[ a b ,c ]", "<a b ><c >/"},
    {"BareBackslash", "[a\\n]", "<a\\n>/"},
    {"BracketInQuotes", "[\"]\",\"[\"]", "<]><[>/"},
    {"Empty", "[[]]", "/"},
    {"CommasAround", "],,[\"a\"],,", "<a>/"},
    {"BareAtTheEnd", "[a,b", "<a><b>/"},
    {"QuotedAtTheEnd", "[\"a\"", "<a>/"},
    {"Unclosed", "[\"a\"],[\"b", "<a>/" UNCLOSED("CJsonParser", "b")},
    {"UnclosedEscape", "[\"b\\", UNCLOSED("CJsonParser", "b")},
};
INSTANTIATE_TEST_SUITE_P(Rows, Json, testing::ValuesIn(jsonRows), rowName);

TEST(Rows, HaveElementsToChoose) {
  EXPECT_EQ("<a;b><c\r>/<d>/",
            RowsOf<CCsvParser>("'a;b';c\r\r\nd\r\n", 1, std::uint64_t{99}, '\'', ';', "\r\n"));
}

TEST(Rows, MayBeginLikeTheirLineEnd) {
  EXPECT_EQ("<xa>/<a>/<aac>/", RowsOf<CCsvParser>("xaabaabaac", 1, std::uint64_t{99}, '\'', ';', "ab"));
  EXPECT_EQ(
      "1: CCsvParser::GetNextRow - delimiter or line end mark not follow by end of qouter\n  char    = a "
      "(0x61)\n"
      "  expect  = ; or the line end\n  content = x",
      RowsOf<CCsvParser>("'x'ac", 1, std::uint64_t{99}, '\'', ';', "ab"));
}

TEST(Rows, AreBoundByTheirQuota) {
  const auto csv = [](std::uint64_t quota) {
    return RowsOf<CCsvParser>("ab,c\nab,cd\n\"e\"\n", 9000, quota);
  };
  EXPECT_EQ("<ab><c>/<ab><cd>/<e>/", csv(6));
  EXPECT_EQ("<ab><c>/5: CCsvParser::GetNextRow - out of row length quota\n  current quota = 5", csv(5));
  EXPECT_EQ("5: CCsvParser::GetNextRow - out of row length quota\n  current quota = 0", csv(0));
  const auto json = [](std::uint64_t quota) { return RowsOf<CJsonParser>("[\"ab\"][\"abc\"]", 9000, quota); };
  EXPECT_EQ("<ab>/<abc>/", json(7));
  EXPECT_EQ("<ab>/5: CJsonParser::GetNextRow - out of row length quota\n  current quota = 6", json(6));
}

TEST(Rows, GoOnBehindWhatWasRefused) {
  CCsvParser parser;
  parser.Open(MakeHandle<Pieces>("\"a\"x,b\nc\n", 9000));
  std::vector<stringEx> fields;
  EXPECT_THROW(parser.GetNextRow(fields), csvExp);
  EXPECT_TRUE(parser.GetNextRow(fields));
  EXPECT_TRUE(parser.GetNextRow(fields));
  ASSERT_EQ(3u, fields.size());
  EXPECT_EQ("", std::string(fields[0])) << "the comma behind it";
  EXPECT_EQ("b", std::string(fields[1]));
  EXPECT_EQ("c", std::string(fields[2]));
  EXPECT_EQ(2u, parser.GetLineCount());

  // A new source takes the place of the old one, and of what was read of it.
  parser.Open(MakeHandle<Pieces>("d\n", 9000));
  fields.clear();
  EXPECT_TRUE(parser.GetNextRow(fields));
  EXPECT_EQ("d", std::string(fields.at(0)));
  EXPECT_FALSE(CCsvParser().GetNextRow(fields)) << "without a source there are none";
}

// Fields of all bytes, with many of those that mean something, come back from what the writers make of them.
TEST(Rows, ComeBackAsTheyWere) {
  std::mt19937 random(1);
  for (int round = 0; round < 2000; ++round) {
    std::vector<std::vector<stringEx>> rows(1 + random() % 3);
    for (auto& row : rows) {
      row.resize(random() % 4);
      for (stringEx& field : row)
        for (auto left = random() % 5; left != 0; --left)
          field += random() % 4 == 0 ? static_cast<char>(random()) : "\",\n\r\t\\[] "[random() % 9];
    }
    stringEx csv;
    stringEx json;
    for (const auto& row : rows) {
      CCsvParser().PutRow(csv, row);
      if (&row != &rows.front()) json += ',';
      CJsonParser::PutRow(json, row);
    }
    const auto check = [&](auto parser, const stringEx& text) {
      parser->Open(MakeHandle<Pieces>(std::string(text), 1 + random() % 7));
      for (const auto& row : rows) {
        std::vector<stringEx> fields;
        ASSERT_TRUE(parser->GetNextRow(fields));
        ASSERT_EQ(row, fields) << text.data();
      }
      std::vector<stringEx> none;
      ASSERT_FALSE(parser->GetNextRow(none));
    };
    check(std::make_unique<CCsvParser>(), csv);
    check(std::make_unique<CJsonParser>(), json);
  }
}

}  // namespace
