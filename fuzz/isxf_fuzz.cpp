// The reader of the serial format on any bytes: what it takes it takes from the data, within its bound, into memory that
// follows what has come; and what it has read comes back when it is written.
#include <cstddef>
#include <cstdint>
#include <utility>

#include <qorv/error.h>
#include <qorv/isxf.h>
#include <qorv/stream.h>

#include "require.h"
#include "stream/isxf_items.h"

namespace {

using namespace Qorv;

// Reads in parts, so that short counts come to pass, and counts what went out.
class CParts : public CGenericSeekableSource<CByteIO> {
 public:
  CParts(stringEx* bytes, std::size_t atMost)
      : CGenericSeekableSource<CByteIO>(CByteIO(bytes)), atMost_(atMost) {}
  std::size_t Read(void* out, std::size_t size) override {
    return CGenericSeekableSource<CByteIO>::Read(out, size < atMost_ ? size : atMost_);
  }

 private:
  std::size_t atMost_;
};

struct OUTCOME {
  stringEx copy;
  std::uint32_t code = 0;  // of the failure; 0 for none
};

// Copies item by item: by its own type or, where `skip` has a bit for it, past it.
OUTCOME Copy(stringEx bytes, std::size_t atMost, std::int64_t bound, std::uint8_t skip) {
  OUTCOME outcome;
  CParts source(&bytes, atMost);
  CGenericSeekableSink<CByteIO> sink{CByteIO(&outcome.copy)};
  CISXFReader reader(source, bound);
  CISXFWriter writer(sink);
  unsigned turn = 0;
  try {
    while (!source.IsEof()) {
      const bool isSkipped = ((skip >> (turn++ % 8)) & 1) != 0;
      if (isSkipped || !TestSupport::CopyItem(reader.GetNextType(), reader, writer)) reader.IgnoreNext();
    }
  } catch (const isxfExp& failure) {
    outcome.code = failure.GetCode();
    Require(failure.GetCode() >= isxfCode::bound && failure.GetCode() <= isxfCode::broken,
            "the code is one of its own");
    Require(failure.GetCode() != isxfCode::bound || reader.GetCheckBound() == 0,
            "a bound that failed stays at 0");
  }
  if (bound != isxfNoBound && outcome.code != isxfCode::bound) {
    Require(bound - reader.GetCheckBound() >= source.GetCurrentPos(), "the bound covers what was taken");
  }
  return outcome;
}

}  // namespace

// The first two bytes choose parts, bound and what is skipped.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const stringEx bytes(reinterpret_cast<const char*>(data + 2), size - 2);
  const std::size_t atMost = data[0] % 4 == 0 ? 1 : SIZE_MAX;
  const std::int64_t bound = data[0] % 3 == 0 ? isxfNoBound : static_cast<std::int64_t>(data[0]) * 4;

  const OUTCOME whole = Copy(bytes, atMost, bound, 0);
  Require(whole.copy.length() <= bytes.length(), "what is read is no more than there was");
  const OUTCOME again = Copy(whole.copy, SIZE_MAX, isxfNoBound, 0);
  Require(again.code == 0 && again.copy == whole.copy, "what is written is read as the same");
  Copy(bytes, atMost, bound, data[1]);
  return 0;
}
