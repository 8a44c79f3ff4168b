// What stands when memory runs out in the middle of an operation, wherever that is.
#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <qorv/error.h>
#include <qorv/registry.h>

#include "registry/tree_support.h"
#include "support/memory.h"
#include "support/row_name.h"

namespace {

using namespace Qorv;
using TestSupport::TreeText;

const stringEx longText("a text that is too long to stand in the place of a value or a name");

// What the operations work with besides the tree itself.
struct MATERIAL {
  CFakeRegistry other = TestSupport::RandomTree(2, 6);
  byteEx image = other.Save();
  byteEx diff;
  stringEx ini, xml, csv, json;

  MATERIAL() {
    CFakeRegistry tree = TestSupport::RandomTree(1, 6);
    tree._MakeDiff(diff, other);
    other.ExportIni(ini);
    other.ExportXml(xml);
    other.ExportCsv(csv);
    other.ExportJson(json);
  }
};

struct OPERATION {
  const char* name;
  std::function<void(CFakeRegistry& tree, const MATERIAL& material)> run;
};

template <class T>
auto ExportTo(void (CFakeRegistry::*operation)(T&) const) {
  return [operation](CFakeRegistry& tree, const MATERIAL&) {
    T out;
    (tree.*operation)(out);
  };
}

const OPERATION operations[] = {
    {"WritesNew", [](auto& tree, const auto&) { tree.WriteValue(longText, longText); }},
    {"WritesIntoAFullBlock",
     [](auto& tree, const auto&) {
       for (int i = 0; i < 70; ++i)
         tree.WriteValue(std::to_string(i % 7 * 100 + i), longText);
     }},
    {"WritesInPlaceOfAnother",
     [](auto& tree, const auto&) {
       tree.WriteValue("one", std::uint32_t{1});
       tree.WriteValue("one", longText);
     }},
    {"WritesASet",
     [](auto& tree, const auto&) {
       tree.WriteValue("set", std::vector<stringEx>{longText, longText});
     }},
    {"ReadsASet",
     [](auto& tree, const auto&) {
       tree.WriteValue("set", std::vector<stringEx>{longText});
       std::vector<stringEx> out;
       tree.ReadValue("set", out);
     }},
    {"GainsAPath", [](auto& tree, const auto&) { tree.GainSubkey("a\\b\\" + longText + "\\d"); }},
    {"Inserts", [](auto& tree, const auto& material) { tree.Insert("in\\" + longText, material.other); }},
    {"Unshares",
     [](auto& tree, const auto&) {
       CFakeRegistry copy = tree;
       copy.Unshare(false);
     }},
    {"Updates", [](auto& tree, const auto& material) { tree.Update(material.other); }},
    {"Imports", [](auto& tree, const auto& material) { tree.Import(material.other); }},
    {"Exports",
     [](auto& tree, const auto&) {
       CFakeRegistry to;
       to.Clear();
       tree.Export(to);
     }},
    {"Replaces", [](auto& tree, const auto& material) { tree.Replace(material.other); }},
    {"Finds",
     [](auto& tree, const auto&) {
       std::vector<stringEx> out;
       tree.FindValuesWildCard(out, "*");
       tree.FindSubkeysRegEx(out, ".*");
     }},
    {"LooksForCircles", [](auto& tree, const auto&) { tree.CheckCircularReferernce(); }},
    {"Saves", [](auto& tree, const auto&) { tree.Save(); }},
    {"Opens",
     [](auto& tree, const auto& material) { tree.Open(material.image.data(), material.image.length()); }},
    {"MakesADiff",
     [](auto& tree, const auto& material) {
       byteEx data;
       tree._MakeDiff(data, material.other);
     }},
    {"AppliesADiff", [](auto& tree, const auto& material) { tree.ApplyDiff(material.diff); }},
    {"ExplainsADiff",
     [](auto&, const auto& material) {
       stringEx text;
       CFakeRegistry::ExplainDiff(text, material.diff);
     }},
    {"ExportsIni", ExportTo<stringEx>(&CFakeRegistry::ExportIni)},
    {"ExportsXml", ExportTo<stringEx>(&CFakeRegistry::ExportXml)},
    {"ExportsCsv",
     [](auto& tree, const auto&) {
       stringEx out;
       tree.ExportCsv(out, true);
     }},
    {"ExportsJson",
     [](auto& tree, const auto&) {
       stringEx out;
       tree.ExportJson(out, true);
     }},
    {"ImportsIni", [](auto& tree, const auto& material) { tree.ImportIni(material.ini); }},
    {"ImportsXml", [](auto& tree, const auto& material) { tree.ImportXml(material.xml); }},
    {"ImportsCsv", [](auto& tree, const auto& material) { tree.ImportCsv(material.csv); }},
    {"ImportsJson", [](auto& tree, const auto& material) { tree.ImportJson(material.json); }},
};

class OutOfMemory : public testing::TestWithParam<OPERATION> {
 protected:
  // A lock that a failure has left would hold others up.
  static void ExpectFree(const CFakeRegistry& root) {
    std::vector<CFakeRegistry> open{root};
    while (!open.empty()) {
      CFakeRegistry key = open.back();
      open.pop_back();
      bool isFree = false;
      std::thread([&] {
        isFree = key.BeginExclusiveAccess(0);
        if (isFree) key.EndExclusiveAccess();
      }).join();
      ASSERT_TRUE(isFree);
      std::vector<stringEx> names;
      key.GetAllSubkeys(names);
      for (const stringEx& name : names)
        if (!name.empty() && name.find("\\") == npos) open.push_back(key.ObtainSubkey(name));
    }
  }
};

TEST_P(OutOfMemory, LeavesATreeThatCanBeUsed) {
  const MATERIAL material;
  CFakeRegistry expected = TestSupport::RandomTree(1, 6);
  GetParam().run(expected, material);
  for (long times = 0;; ++times) {
    CFakeRegistry tree = TestSupport::RandomTree(1, 6);
    bool isDone = false;
    try {
      const TestSupport::CMemoryIsOut memoryIsOut(times);
      GetParam().run(tree, material);
      isDone = true;
    } catch (const std::bad_alloc&) {
    }
    if (isDone) {
      EXPECT_EQ(TreeText(tree), TreeText(expected)) << times;
      EXPECT_GT(times, 0);
      return;
    }
    ASSERT_NO_FATAL_FAILURE(ExpectFree(tree)) << times;
    ASSERT_NO_THROW(tree.CheckCircularReferernce());
    ASSERT_NO_THROW(tree.Save());
    ASSERT_NO_THROW(GetParam().run(tree, material)) << times;
    ASSERT_EQ(TreeText(tree), TreeText(expected)) << "behind a second try, " << times;
  }
}

INSTANTIATE_TEST_SUITE_P(Operations, OutOfMemory, testing::ValuesIn(operations), rowName);

}  // namespace
