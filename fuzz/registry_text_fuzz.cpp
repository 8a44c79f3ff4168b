// The text forms of a registry from any bytes: a tree, or regExp with the part that was read before; and a tree that was read
// is the same behind each of the forms.
#include <cstddef>
#include <cstdint>

#include <qorv/error.h>
#include <qorv/registry.h>

#include "require.h"

namespace {

using namespace Qorv;

constexpr unsigned formCount = 4;

void Take(CFakeRegistry& tree, unsigned form, const stringEx& text) {
  if (form == 0) tree.ImportIni(text);
  if (form == 1) tree.ImportXml(text);
  if (form == 2) tree.ImportCsv(text);
  if (form == 3) tree.ImportJson(text);
}

stringEx Put(const CFakeRegistry& tree, unsigned form) {
  stringEx text;
  if (form == 0) tree.ExportIni(text);
  if (form == 1) tree.ExportXml(text);
  if (form == 2) tree.ExportCsv(text);
  if (form == 3) tree.ExportJson(text);
  return text;
}

CFakeRegistry Fresh() {
  CFakeRegistry tree;
  tree.Clear();
  return tree;
}

}  // namespace

// The first byte chooses the form.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  CFakeRegistry read = Fresh();
  try {
    Take(read, data[0] % formCount, stringEx(reinterpret_cast<const char*>(data + 1), size - 1));
  } catch (const regExp& failure) {
    Require(failure.GetCode() == regCode::importText, "the code is one of its own");
  }
  // A float may lose its last bit on the first way out, and never again.
  CFakeRegistry tree = Fresh();
  Take(tree, 0, Put(read, 0));
  const byteEx image = tree.Save();
  for (unsigned form = 0; form < formCount; ++form) {
    CFakeRegistry again = Fresh();
    Take(again, form, Put(tree, form));
    Require(again.Save() == image, "what is written is read as the same");
  }
  return 0;
}
