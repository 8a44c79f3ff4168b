// The image of a registry from any bytes: a tree or regExp; and what was read is saved and read again as the same.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

#include <qorv/error.h>
#include <qorv/registry.h>
#include <qorv/stream.h>

#include "require.h"

namespace {

using namespace Qorv;

// True if the whole was an image. `step` reads one into the registry that it gets.
template <class Step>
bool Read(CFakeRegistry& registry, Step step) {
  try {
    step(registry);
    return true;
  } catch (const regExp& failure) {
    Require(failure.GetCode() == regCode::damaged || failure.GetCode() == regCode::open,
            "the code is one of its own");
    return false;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto exact = std::make_unique<std::uint8_t[]>(size);  // so that a read beyond its end is seen
  std::copy(data, data + size, exact.get());
  CFakeRegistry fromMemory;
  const bool isImage = Read(fromMemory, [&](CFakeRegistry& r) { r.Open(exact.get(), size); });
  if (size > 1) {
    CMemSource source(stringEx(reinterpret_cast<const char*>(data), size));
    CFakeRegistry fromStream;
    Require(Read(fromStream, [&](CFakeRegistry& r) { r.Open(source); }) == isImage,
            "memory and streams are read alike");
    Require(fromStream.Save() == fromMemory.Save(), "and give the same");
  }
  const byteEx image = fromMemory.Save();
  CFakeRegistry again;
  again.Open(image.data(), image.length());
  Require(again.Save() == image, "what is saved is read as the same");
  return 0;
}
