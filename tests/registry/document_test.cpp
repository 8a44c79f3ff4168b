// The worked examples of the documents are what the code writes.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "registry/image_support.h"

namespace {

using namespace Qorv;
using TestSupport::HexOf;

std::string Document(const std::string& name) {
  std::ifstream file(QORV_DOCS "/" + name);
  return {std::istreambuf_iterator<char>(file), {}};
}

bool IsByte(const std::string& word) {
  return word.size() == 2 && word.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

// The bytes at the beginning of each indented line.
std::string ExampleOf(const std::string& document) {
  std::istringstream lines(document.substr(document.find("# A worked example")));
  std::string bytes;
  for (std::string line; std::getline(lines, line) && line.find("# Re") == std::string::npos;) {
    if (!line.starts_with("    ")) continue;
    std::istringstream words(line);
    for (std::string word; words >> word && IsByte(word);) {
      if (!bytes.empty()) bytes += ' ';
      bytes += word;
    }
  }
  return bytes;
}

TEST(Document, ShowsTheImageAsItIs) {
  CFakeRegistry registry;
  registry.Clear();
  registry.WriteValue("on", true);
  registry.WriteValue("size", std::uint32_t{512});
  registry.GainSubkey("disk").WriteValue("name", "sda");
  const byteEx image = registry.Save();
  const std::string document = Document("registry.md");
  EXPECT_EQ(ExampleOf(document), HexOf(image));
  EXPECT_NE(document.find(std::to_string(image.length()) + " bytes:"), std::string::npos);
}

TEST(Document, ShowsTheDifferenceAsItIs) {
  CFakeRegistry before;
  before.GainSubkey("disk").WriteValue("size", std::uint32_t{512});
  before.WriteValue("on", true);
  CFakeRegistry after;
  after.GainSubkey("disk").WriteValue("size", std::uint32_t{1024});
  byteEx data;
  EXPECT_EQ(before._MakeDiff(data, after, "grow"), 5U);
  const std::string document = Document("diff.md");
  EXPECT_EQ(ExampleOf(document), HexOf(data));
  EXPECT_NE(document.find(std::to_string(data.length()) + " bytes:"), std::string::npos);

  stringEx shown;
  CFakeRegistry::ExplainDiff(shown, data);
  std::string indented = "    ";
  for (const char c : shown)
    (indented += c) += c == '\n' ? "    " : "";
  EXPECT_NE(document.find(indented), std::string::npos) << indented;
}

}  // namespace
