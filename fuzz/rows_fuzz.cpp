// The parsers of rows on any bytes: whatever comes, and in whatever pieces, rows or csvExp; and rows that are written are
// read as the same.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <qorv/error.h>
#include <qorv/row_parser.h>
#include <qorv/stream.h>

#include "require.h"

namespace {

using namespace Qorv;
using ROW = std::vector<stringEx>;

// Brings at most so many bytes at a time.
class CParts final : public CMemSource {
 public:
  CParts(const stringEx& bytes, std::size_t atMost) : CMemSource(bytes), atMost_(atMost) {}
  std::size_t Read(void* out, std::size_t size) override {
    return CMemSource::Read(out, std::min(size, atMost_));
  }

 private:
  std::size_t atMost_;
};

struct OUTCOME {
  std::vector<ROW> rows;  // what was read of a row before its failure is one as well
  stringEx failures;
  std::size_t failed = 0;
};

// Goes on behind each failure. Each call takes at least one byte, so that this ends.
template <class Parser, class... More>
OUTCOME Read(Parser& parser, const stringEx& bytes, std::size_t atMost, More... more) {
  OUTCOME outcome;
  parser.Open(MakeHandle<CParts>(bytes, atMost), more...);
  for (std::uint64_t calls = 0;; ++calls) {
    Require(calls <= bytes.length() + 1, "each call takes a byte");
    ROW row;
    try {
      if (!parser.GetNextRow(row)) return outcome;
    } catch (const csvExp& failure) {
      Require(failure.GetCode() == csvCode::brokenField || failure.GetCode() == csvCode::rowQuota,
              "the code is one of its own");
      (outcome.failures += failure.GetMessage()) += '\n';
      ++outcome.failed;
    }
    outcome.rows.push_back(std::move(row));
  }
}

template <class Parser, class... More>
void Try(const stringEx& bytes, More... more) {
  Parser parser;
  const OUTCOME whole = Read(parser, bytes, SIZE_MAX, more...);
  std::uint64_t fields = 0;
  for (const ROW& row : whole.rows)
    fields += row.size();
  Require(fields <= bytes.length() && whole.rows.size() <= bytes.length(), "there is no more than came");
  const OUTCOME parts = Read(parser, bytes, 1, more...);
  Require(parts.rows == whole.rows && parts.failures == whole.failures, "pieces give what the whole gives");
  stringEx written;
  for (const ROW& row : whole.rows)
    parser.PutRow(written, row);
  const OUTCOME again = Read(parser, written, 3, std::uint64_t{rowDefaultQuota});
  Require(again.failed == 0 && again.rows == whole.rows, "what is written is read as the same");
}

}  // namespace

// The first two bytes choose parser and quota.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const stringEx bytes(reinterpret_cast<const char*>(data + 2), size - 2);
  const std::uint64_t quota = data[1] == 0xFF ? rowDefaultQuota : data[1];
  if (data[0] % 2 == 0) {
    Try<CCsvParser>(bytes, quota);
  } else {
    Try<CJsonParser>(bytes, quota);
  }
  return 0;
}
