// The four text forms: how they look, that they give the same tree back, and what they refuse.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include <qorv/error.h>
#include <qorv/registry.h>
#include <qorv/stream.h>

#include "registry/tree_support.h"
#include "support/failure.h"
#include "support/row_name.h"

namespace {

using namespace Qorv;
using TestSupport::DeepTree;
using TestSupport::FailureOf;
using TestSupport::RandomTree;
using TestSupport::TreeText;

struct FORM {
  const char* name;
  const char* importName;  // in refusals
  stringEx (*put)(const CFakeRegistry& tree);
  void (*take)(CFakeRegistry& tree, const stringEx& text);
  void (*putSink)(const CFakeRegistry& tree, TDataSink& sink);
  const char* exportRefusal;
  const char* importRefusal;
};

#define QORV_FORM(NAME, EXPORT, IMPORT)                                             \
  {                                                                                 \
#NAME, "Import" #NAME,                                                            \
        [](const CFakeRegistry& tree) {                                               \
          stringEx text;                                                              \
          tree.Export##NAME(text);                                                    \
          return text;                                                                \
        },                                                                            \
        [](CFakeRegistry& tree, const stringEx& text) { tree.Import##NAME(text); },   \
        [](const CFakeRegistry& tree, TDataSink& sink) { tree.Export##NAME(sink); },  \
        "CFakeRegistry::Export" #NAME EXPORT, "CFakeRegistry::Import" #NAME IMPORT \
  }

const FORM forms[] = {
    QORV_FORM(Ini, " - failed export to ini\n", " - failed import from ini\n"),
    QORV_FORM(Xml, " - failed export to xml data\n", " - failed import from xml data\n"),
    QORV_FORM(Csv, " - failed export to csv\n", " - failed import from csv\n"),
    QORV_FORM(Json, " - failed export to json array\n", " - failed import from csv\n"),
};

CFakeRegistry Fresh() {
  CFakeRegistry key;
  key.Clear();
  return key;
}

CFakeRegistry Sample() {
  CFakeRegistry root = Fresh();
  root.WriteValue("#x", "a~b\r\n");
  root.WriteValue("b:c", std::uint32_t{7});
  root.WriteRawValue("none", T_NONE, {});
  CFakeRegistry key = root.GainSubkey("k\\l<&>");
  key.WriteValueEx("", stringEx("\"$HOME\""), T_EXP_STR);
  key.WriteValue("blob", byteEx(reinterpret_cast<const unsigned char*>("\xff\x01"), 2));
  key.WriteValue("bool", true);
  key.WriteValue("float", 0.1);
  key.WriteValue("qword", ~std::uint64_t{0});
  key.WriteValue("set", std::vector<stringEx>{stringEx("a|b"), stringEx(), stringEx("c,\"d")});
  key.WriteValue("set0", std::vector<stringEx>{});
  key.WriteValue("set1", std::vector<stringEx>{stringEx()});
  return root;
}

const char* const sampleTexts[] = {
    "[]\n~#x:STRING=a~~b~r~n\nb~:c:DWORD=7\nnone:NONE=\n[k]\n[k\\l<&>]\n:STRING_EXP=\"$HOME\"\nblob:BLOB="
    "FF01\n"
    "bool:BOOL=yes\nfloat:FLOAT=0.1\nqword:QWORD=18446744073709551615\nset:STRING_SET=a~|b||c,\"d\nset0:"
    "STRING_SET=\n"
    "set1:STRING_SET=~e\n",
    "<CConfig>\n<key path=\"\">\n<value name=\"#x\" type=\"STRING\">a~b\r\n</value>\n"
    "<value name=\"b:c\" type=\"DWORD\">7</value>\n<value name=\"none\" type=\"NONE\"></value>\n<key "
    "path=\"k\">\n"
    "<key path=\"k\\l&lt;&amp;&gt;\">\n<value name=\"\" type=\"STRING_EXP\">&quot;$HOME&quot;</value>\n"
    "<value name=\"blob\" type=\"BLOB\">FF01</value>\n<value name=\"bool\" type=\"BOOL\">yes</value>\n"
    "<value name=\"float\" type=\"FLOAT\">0.1</value>\n"
    "<value name=\"qword\" type=\"QWORD\">18446744073709551615</value>\n"
    "<value name=\"set\" "
    "type=\"STRING_SET\"><string>a|b</string><string></string><string>c,&quot;d</string></value>\n"
    "<value name=\"set0\" type=\"STRING_SET\"></value>\n"
    "<value name=\"set1\" "
    "type=\"STRING_SET\"><string></string></value>\n</key>\n</key>\n</key>\n</CConfig>\n",
    "\"\",\"\",KEY,\"\"\n\"\",#x,STRING,\"a~b\r\n\"\n\"\",b:c,DWORD,7\n\"\",none,NONE,\"\"\nk,\"\",KEY,\"\"\n"
    "k\\l<&>,\"\",KEY,\"\"\nk\\l<&>,\"\",STRING_EXP,\"\"\"$HOME\"\"\"\nk\\l<&>,blob,BLOB,FF01\nk\\l<&>,bool,"
    "BOOL,yes\n"
    "k\\l<&>,float,FLOAT,0.1\nk\\l<&>,qword,QWORD,18446744073709551615\n"
    "k\\l<&>,set,STRING_SET,\"a|b,\"\"\"\",\"\"c,\"\"\"\"d\"\"\"\nk\\l<&>,set0,STRING_SET,\"\"\n"
    "k\\l<&>,set1,STRING_SET,\"\"\"\"\"\"\n",
    "[\n[\"\",\"\",\"KEY\",\"\"],\n[\"\",\"#x\",\"STRING\",\"a~b\\r\\n\"],\n[\"\",\"b:c\",\"DWORD\",\"7\"],\n"
    "[\"\",\"none\",\"NONE\",\"\"],\n[\"k\",\"\",\"KEY\",\"\"],\n[\"k\\\\l<&>\",\"\",\"KEY\",\"\"],\n"
    "[\"k\\\\l<&>\",\"\",\"STRING_EXP\",\"\\\"$HOME\\\"\"],\n[\"k\\\\l<&>\",\"blob\",\"BLOB\",\"FF01\"],\n"
    "[\"k\\\\l<&>\",\"bool\",\"BOOL\",\"yes\"],\n[\"k\\\\l<&>\",\"float\",\"FLOAT\",\"0.1\"],\n"
    "[\"k\\\\l<&>\",\"qword\",\"QWORD\",\"18446744073709551615\"],\n"
    "[\"k\\\\l<&>\",\"set\",\"STRING_SET\",\"[\\\"a|b\\\",\\\"\\\",\\\"c,\\\\\\\"d\\\"]\"],\n"
    "[\"k\\\\l<&>\",\"set0\",\"STRING_SET\",\"\"],\n[\"k\\\\l<&>\",\"set1\",\"STRING_SET\",\"[\\\"\\\"]\"]\n]"
    "\n",
};

class Form : public testing::TestWithParam<FORM> {
 protected:
  static CFakeRegistry Taken(const FORM& form, const stringEx& text) {
    CFakeRegistry tree = Fresh();
    form.take(tree, text);
    return tree;
  }
};

TEST_P(Form, LooksLikeThis) {
  for (std::size_t i = 0; i < std::size(forms); ++i)
    if (std::string(forms[i].name) == GetParam().name) {
      EXPECT_EQ(sampleTexts[i], std::string(GetParam().put(Sample())));
      EXPECT_EQ(TreeText(Sample()), TreeText(Taken(GetParam(), stringEx(sampleTexts[i]))));
    }
}

TEST_P(Form, GivesEveryTreeBack) {
  for (std::uint32_t seed = 0; seed < 300; ++seed) {
    const CFakeRegistry tree = RandomTree(seed);
    const stringEx text = GetParam().put(tree);
    ASSERT_EQ(TreeText(tree), TreeText(Taken(GetParam(), text))) << "seed " << seed;
    stringEx bySink;
    {
      CGenericSeekableSink<CByteIO> sink{CByteIO(&bySink)};
      GetParam().putSink(tree, sink);
    }
    ASSERT_EQ(text, bySink);
  }
}

// Names and texts that look like what a form itself writes, and all bytes there are.
TEST_P(Form, KeepsWhatLooksLikeItsOwn) {
  std::string bytes;
  for (int byte = 0; byte < 0x100; ++byte)
    bytes += static_cast<char>(byte);
  std::vector<stringEx> texts{stringEx(std::string_view(bytes))};
  for (const char* const text :
       {"",  "x type=", " name=", "</value>", "<string/>", "&amp;",    "~e",          "e",
        "~", "~~r",     "[k]",    "[\"\"]",   "\"\"",      ":STRING=", "\r",          "\n",
        " ", ",",       "|",      "\\n",      "KEY",       "<!--",     "\xEF\xBB\xBF"})
    texts.emplace_back(text);
  CFakeRegistry tree = Fresh();
  for (const stringEx& text : texts) {
    tree.WriteValue(text, text);
    CFakeRegistry key = tree.GainSubkey(text);
    key.WriteValue("one", std::vector<stringEx>{text});
    key.WriteValue("two", std::vector<stringEx>{text, stringEx()});
  }
  double real = -0.0;
  for (const char* const name : {"negative zero", "least", "infinite", "none"}) {
    tree.WriteValue(name, real);
    real = *name == 'n' ? 5e-324 : *name == 'l' ? -HUGE_VAL : std::nan("");
  }
  EXPECT_EQ(TreeText(tree), TreeText(Taken(GetParam(), GetParam().put(tree))));
}

// Sixteen digits tell these exactly.
TEST_P(Form, KeepsFloats) {
  CFakeRegistry tree = Fresh();
  for (const double real : {3e-25, 3.99e-16, 105.122757, 26.633521, 1e300, -2.5e-308, 5.370370457184646e-162})
    tree.WriteValue(stringEx().format("%g", real), real);
  EXPECT_EQ(TreeText(tree), TreeText(Taken(GetParam(), GetParam().put(tree))));
}

TEST_P(Form, AddsToWhatIsThere) {
  CFakeRegistry tree = Fresh();
  tree.WriteValue("b:c", "old");
  tree.WriteValue("kept", true);
  GetParam().take(tree, GetParam().put(Sample()));
  EXPECT_EQ(T_DWORD, tree.GetValueType("b:c"));
  EXPECT_TRUE(tree.IsValueExist("kept"));
}

// Reads it, or refuses it in its own words; what came before the bad place is there.
TEST_P(Form, BadTextIsReadOrRefused) {
  const std::string good(GetParam().put(Sample()));
  const auto take = [&](const std::string& bad) {
    CFakeRegistry tree = Fresh();
    try {
      GetParam().take(tree, stringEx(std::string_view(bad)));
    } catch (const regExp& failure) {
      ASSERT_EQ(regCode::importText, failure.GetCode());
      ASSERT_TRUE(failure.GetMessage().starts_with(std::string(GetParam().importRefusal) + "\n@ "));
    }
  };
  for (std::size_t size = 0; size < good.size(); ++size)
    take(good.substr(0, size));
  for (std::size_t at = 0; at < good.size(); ++at) {
    for (const char change :
         {'\0', '\n', '"', ',', '[', ']', '<', '>', '~', ':', '=', '\\', 'x', '9', '\xff'}) {
      std::string bad = good;
      bad[at] = change;
      take(bad);
    }
  }
}

class FullSink final : public TDataSink {
 public:
  bool IsValid() const override { return true; }
  std::size_t Write(const void*, std::size_t) override { throw ioExp(stringEx("no room"), 9); }
  void Flush() override {}
};

TEST_P(Form, RefusalsAreTold) {
  const auto put = [](const CFakeRegistry& tree) { return FailureOf<regExp>([&] { GetParam().put(tree); }); };
  const std::string name = GetParam().name;
  EXPECT_EQ("1: CFakeRegistry::Export" + name + " - invalid object", put({}));
  EXPECT_EQ("1: CFakeRegistry::Import" + name + " - invalid object", FailureOf<regExp>([] {
              CFakeRegistry none;
              GetParam().take(none, {});
            }));
  CFakeRegistry tree = Fresh();
  tree.WriteRawValue("v", 9, {});
  EXPECT_EQ("3: CFakeRegistry::Export" + name + " - invalid type : 9", put(tree));
  tree.Clear();
  tree.GainSubkey("a").Insert("again", tree);
  EXPECT_EQ("22: CFakeRegistry::Export" + name + " - circular reference\n  subkey = again", put(tree));
  tree.Clear();
  FullSink sink;
  EXPECT_EQ(std::string("18: ") + GetParam().exportRefusal + "\n@ no room",
            FailureOf<regExp>([&] { GetParam().putSink(tree, sink); }));
}

INSTANTIATE_TEST_SUITE_P(Forms, Form, testing::ValuesIn(forms), rowName);

// Fails behind what it has.
class BrokenSource final : public CMemSource {
 public:
  using CMemSource::CMemSource;
  std::size_t Read(void* out, std::size_t size) override {
    const std::size_t count = CMemSource::Read(out, size);
    if (count == 0) throw ioExp(stringEx("bad sector"), 7);
    return count;
  }
  bool IsEof() const override { return false; }
};

TEST(Text, FailuresOfSourcesAreTold) {
  const auto take = [](void (CFakeRegistry::*form)(TDataSource&)) {
    CFakeRegistry tree = Fresh();
    BrokenSource source(stringEx("\n"));
    return FailureOf<regExp>([&] { (tree.*form)(source); });
  };
  EXPECT_EQ("19: CFakeRegistry::ImportIni - failed import from ini\n\n@ bad sector",
            take(&CFakeRegistry::ImportIni));
  EXPECT_EQ("19: CFakeRegistry::ImportXml - failed import from xml data\n\n@ bad sector",
            take(&CFakeRegistry::ImportXml));
  CFakeRegistry tree = Fresh();
  BrokenSource source(stringEx("k,,KEY,\"\"\n"));
  EXPECT_EQ("19: CFakeRegistry::ImportCsv - failed import from csv\n\n@ bad sector",
            FailureOf<regExp>([&] { tree.ImportCsv(source); }));
  EXPECT_EQ("[]\n[\\k]\n", TreeText(tree));
}

TEST(Text, IsAsItWasBehindAFailedExport) {
  CFakeRegistry tree = Fresh();
  tree.WriteValue("a", "b");
  tree.WriteRawValue("v", 9, {});
  stringEx text("kept");
  EXPECT_THROW(tree.ExportIni(text), regExp);
  EXPECT_EQ("kept", std::string(text));
  tree.RemoveValue("v");
  tree.ExportIni(text);
  EXPECT_EQ("kept[]\na:STRING=b\n", std::string(text));
}

enum : unsigned { ini, xml, csv, json };

struct TAKEN {
  const char* name;
  unsigned form;  // of forms
  std::string text;
  std::string expected;  // the tree, and the failure behind it
};

class ByHand : public testing::TestWithParam<TAKEN> {};

TEST_P(ByHand, TextIsTakenLikeThis) {
  CFakeRegistry tree = Fresh();
  const std::string failure = FailureOf<regExp>(
      [&] { forms[GetParam().form].take(tree, stringEx(std::string_view(GetParam().text))); });
  EXPECT_EQ(GetParam().expected, TreeText(tree) + (failure == "no failure" ? "" : failure));
}

#define REFUSED(OPERATION, FORM, WHAT) \
  "19: CFakeRegistry::" OPERATION " - failed import from " FORM "\n\n@ " WHAT "\n  content = "
const TAKEN takenRows[] = {
    {"IniComments", ini, "# one\r\n;two\r\n\r\n[a]\r\nv:BOOL=Yes\r\n", "[]\n[\\a]\nv (bool) 01\n"},
    {"IniWithoutASection", ini, "v:BOOL=true", "[]\nv (bool) 01\n"},
    {"IniWithoutAType", ini, "v:BOOL=n\nnonsense",
     "[]\nv (bool) 00\n" REFUSED("ImportIni", "ini", "line without a type") "nonsense"},
    {"IniUnknownType", ini, "v:WORD=1", "[]\n" REFUSED("ImportIni", "ini", "unknown type") "v:WORD=1"},
    {"IniNumberTooLarge", ini, "v:DWORD=4294967295\nw:DWORD=4294967296",
     "[]\nv (dword) FFFFFFFF\n" REFUSED("ImportIni", "ini", "no number of its type") "4294967296"},
    {"IniNoNumber", ini, "v:QWORD=-1", "[]\n" REFUSED("ImportIni", "ini", "no number of its type") "-1"},
    {"IniNoFloat", ini, "v:FLOAT=1,5", "[]\n" REFUSED("ImportIni", "ini", "no float") "1,5"},
    {"IniFloatsBeyondAll", ini, "u:FLOAT=1e999\nv:FLOAT=-1e-999",
     "[]\nu (float8) 000000000000F07F\nv (float8) 0000000000000080\n"},
    {"IniFloatWithABlank", ini, "v:FLOAT= 1", "[]\n" REFUSED("ImportIni", "ini", "no float") " 1"},
    {"CsvWithoutAnEmptyLastCell", csv, "a,,KEY,\na,v,STRING,", "[]\n[\\a]\nv (string) \n"},
    {"IniFloatsWithoutEnd", ini, "v:FLOAT=-inf\nw:FLOAT=nan",
     "[]\nv (float8) 000000000000F0FF\nw (float8) 000000000000F87F\n"},
    {"IniHalfAByte", ini, "v:BLOB=ABC", "[]\n" REFUSED("ImportIni", "ini", "no blob") "ABC"},
    {"IniSectionWithoutEnd", ini, "[a", "[]\n" REFUSED("ImportIni", "ini", "section without its end") "[a"},
    {"XmlByAnotherHand", xml,
     "<?xml version='1.0'?><!-- <value> --><CConfig>\n<key\n path='a'><key path=\"a\\b\"/>"
     "<value type='STRING_SET' name='v'>\n <string>x</string>\n <string/></value></key></CConfig>",
     "[]\n[\\a]\nv (string set) 020000000100000078000000000000\n[\\a\\b]\n"},
    {"IniSectionWithMoreBehind", ini, "[a]b",
     "[]\n" REFUSED("ImportIni", "ini", "section without its end") "[a]b"},
    {"IniNoneWithAValue", ini, "v:NONE=x", "[]\n" REFUSED("ImportIni", "ini", "no value of its type") "x"},
    {"XmlCutBehindAnElement", xml, "<CConfig><key path=\"a\"></key>",
     "[]\n[\\a]\n" REFUSED("ImportXml", "xml data",
                           "CConfig without its end") "<CConfig><key path=\"a\"></key>"},
    {"XmlKeyWithoutItsEnd", xml, "<CConfig><key path=\"a\"></CConfig>",
     "[]\n[\\a]\n" REFUSED("ImportXml", "xml data", "end without its element") "/CConfig"},
    {"XmlEndWithoutItsKey", xml, "<CConfig></key></CConfig>",
     "[]\n" REFUSED("ImportXml", "xml data", "end without its element") "/key"},
    {"CsvSetOfTwoRows", csv, ",s,STRING_SET,\"a\nb\"\n",
     "[]\n" REFUSED("ImportCsv", "csv", "set of several rows") "a\nb"},
    {"CsvKeyWithAValue", csv, "a,b,KEY,\"\"\n",
     "[]\n[\\a]\n" REFUSED("ImportCsv", "csv", "key with a value") "a"},
    {"JsonByAnotherHand", json, "[ [\"a\",\"v\",\"BOOL\",true] , [\"\",\"n\",\"DWORD\",7] ]",
     "[]\nn (dword) 07000000\n[\\a]\nv (bool) 01\n"},
    {"JsonUnclosed", json, "[[\"\",\"v\",\"BOOL\",\"yes",
     "[]\n19: CFakeRegistry::ImportJson - failed import from csv\n\n@ CJsonParser::GetNextRow - the last "
     "qouted field is not "
     "closed correctly\n  content = yes"},
    {"XmlWithoutAName", xml, "<value type=\"BOOL\">y</value>",
     "[]\n" REFUSED("ImportXml", "xml data",
                    "element without an attribute that it needs") "value type=\"BOOL\""},
    {"XmlWithoutItsEnd", xml, "<value name=\"v\" type=\"BOOL\">yes",
     "[]\n" REFUSED("ImportXml", "xml data", "element without its end") "yes"},
};
INSTANTIATE_TEST_SUITE_P(Rows, ByHand, testing::ValuesIn(takenRows), rowName);

TEST(Rows, OfFiveCellsAreRefusedAndShortOnesToo) {
  for (const char* const row : {"a,b", "a,b,KEY,c,d"}) {
    CFakeRegistry tree = Fresh();
    EXPECT_EQ(
        "19: CFakeRegistry::ImportCsv - failed import from csv\n\n@ not a row of four cells\n  content = a",
        FailureOf<regExp>([&] { tree.ImportCsv(stringEx(row)); }));
  }
}

// Each path is as long as its key is deep, so the text of a deep tree is long; nothing else stands against depth.
TEST(Rows, OfDeepTreesAreManyAndLong) {
  const CFakeRegistry deep = DeepTree(2'000);
  stringEx text;
  deep.ExportIni(text);
  CFakeRegistry tree = Fresh();
  tree.ImportIni(text);
  EXPECT_EQ(deep.IsValid(), tree.ObtainSubkey("k\\k\\k").IsValid());
  byteEx data;
  EXPECT_EQ(0u, deep._MakeDiff(data, tree));
}

}  // namespace
