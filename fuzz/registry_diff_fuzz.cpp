// Differences of registries: any bytes are applied and shown, or refused; and the difference of any two trees leads from the
// one to the other. The first byte says how much of the data is the first image; the second image, or the diff, is the rest.
#include <cstddef>
#include <cstdint>

#include <qorv/error.h>
#include <qorv/registry.h>

#include "require.h"

namespace {

using namespace Qorv;

CFakeRegistry TreeOf(const std::uint8_t* data, std::size_t size) {
  CFakeRegistry tree;
  try {
    tree.Open(data, size);
  } catch (const regExp&) {
    // What there is of it will do.
  }
  return tree;
}

void ApplyAndShow(CFakeRegistry& tree, const byteEx& data) {
  std::uint32_t applied = 0;
  try {
    tree.ApplyDiff(data);
  } catch (const regExp& failure) {
    applied = failure.GetCode();
    Require(applied == regCode::damaged, "the code is that of damaged data");
  }
  stringEx text;
  try {
    CFakeRegistry::ExplainDiff(text, data);
  } catch (const regExp&) {
    Require(applied == regCode::damaged, "what is applied can be shown");
  }
}

void LeadFromTo(CFakeRegistry& from, const CFakeRegistry& to) {
  byteEx data;
  try {
    from._MakeDiff(data, to);
  } catch (const regExp& failure) {
    Require(failure.GetCode() == regCode::invalidArgument,
            "only a name that is no part of a path is refused");
    return;
  }
  from.ApplyDiff(data);
  stringEx text;
  CFakeRegistry::ExplainDiff(text, data);
  byteEx rest;
  from._MakeDiff(rest, to);
  // A negative zero is stored as zero, and so differs still: nothing else does.
  from.ApplyDiff(rest);
  byteEx last;
  from._MakeDiff(last, to);
  Require(last == rest, "the difference leads there");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const std::size_t first = data[0] < size ? data[0] : size - 1;
  CFakeRegistry from = TreeOf(data + 1, first);
  const std::uint8_t* const rest = data + 1 + first;
  const std::size_t restSize = size - 1 - first;
  LeadFromTo(from, TreeOf(rest, restSize));
  ApplyAndShow(from, byteEx(rest, restSize));
  return 0;
}
