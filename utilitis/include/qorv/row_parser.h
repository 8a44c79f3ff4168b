// Rows of fields as text: by commas, and as arrays of strings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include <qorv/detail/data_object.h>
#include <qorv/detail/handle.h>
#include <qorv/string.h>

namespace Qorv {

/// The longest row as long as Open does not say otherwise: bytes, 1 GiB.
inline constexpr std::uint64_t rowDefaultQuota = 0x40000000;

namespace IMPL {

/// The texts of a parser's own failures.
struct ROWREFUSALS {
  std::string_view end;
  std::string_view status;
  std::string_view quota;
};

/// What parsers of rows have in common: a source, of which they hold a share, and its bytes through a buffer.
class CRowParser {
 public:
  CRowParser(const CRowParser&) = delete;
  CRowParser& operator=(const CRowParser&) = delete;

 protected:
  explicit CRowParser(const ROWREFUSALS& refusals) noexcept : refusals_(&refusals) {}
  ~CRowParser() = default;

  void Bind(CHandle<TDataSource> source, std::uint64_t quota);
  /// What is in the buffer and not yet taken; empty at the end of the data only. Valid until the next operation.
  std::string_view Ahead() {
    if (ahead_.empty()) ReadOn();
    return ahead_;
  }
  /// True if these bytes come next, wherever the buffer ends.
  bool IsNext(std::string_view bytes);
  /// Takes bytes that Ahead has shown, and counts them.
  void Take(std::size_t count) {
    if (count > left_) RefuseQuota();
    left_ -= count;
    ahead_.remove_prefix(count);
  }
  /// Takes what comes before the next of these two, and appends it to the field.
  void TakeRun(stringEx& field, char end, char otherEnd);
  void BeginRow() noexcept { left_ = quota_; }
  bool HasBegun() const noexcept { return left_ != quota_; }
  [[noreturn]] void RefuseEnd(const stringEx& field) const;
  [[noreturn]] void RefuseStatus(unsigned status) const;

 private:
  bool ReadOn();
  [[noreturn]] void RefuseQuota();

  const ROWREFUSALS* refusals_;
  CHandle<TDataSource> source_;
  std::uint64_t quota_ = rowDefaultQuota;
  std::uint64_t left_ = rowDefaultQuota;  // of the quota, in this row
  byteEx buffer_;
  std::string_view ahead_;  // the rest of the buffer
};

}  // namespace IMPL

/// Reads rows of fields with a delimiter between each two. A field may be quoted: then it holds delimiters and line ends, and
/// a quote where there are two.
///
/// state         | quote        | delimiter        | line end            | other              | end of data
/// --------------|--------------|------------------|---------------------|--------------------|------------------
/// start         | quoted       | an empty field   | the row ends        | bare               | the row ends
/// bare          | is added     | the field ends   | field and row end   | is added           | field and row end
/// quoted        | after quote  | is added         | is added            | is added           | csvExp, code 1
/// after a quote | a quote, on  | the field ends   | field and row end   | csvExp, code 1     | field and row end
///
/// So a delimiter at the end of a row begins no further field: an empty last one is to be quoted. Failures are csvExp with a
/// number of csvCode, code 5 for a row beyond the quota, in which all bytes count, those of the line end too; failures of the
/// source pass on unchanged. What was taken stays taken, and fields that had ended stay with the caller: the next call goes
/// on behind it. One thread uses a parser.
class CCsvParser : private IMPL::CRowParser {
 public:
  CCsvParser() noexcept;

  /// Reads from this source from now on, in place of the one before; what was read ahead of another one is dropped. The two
  /// elements are to differ, and from the line end's first; an empty line end means a line feed. The quota is in bytes.
  void Open(CHandle<TDataSource> source, std::uint64_t quota = rowDefaultQuota, char quote = '"',
            char delimiter = ',', std::string_view lineEnd = "\n");
  /// Appends the fields of the next row; an empty line has none. False at the end of the data.
  bool GetNextRow(std::vector<stringEx>& fields);
  /// Line ends that were read.
  std::uint64_t GetLineCount() const noexcept { return lines_; }

  /// Appends a row that GetNextRow reads as these fields, with the elements of the last Open.
  void PutRow(stringEx& target, std::span<const stringEx> fields) const;

 private:
  unsigned NextInput(unsigned state);
  void TakeInput(unsigned input);
  [[noreturn]] void RefuseElement(char element, const stringEx& field) const;

  char quote_ = '"';
  char delimiter_ = ',';
  stringEx lineEnd_ = stringEx::view("\n");
  std::uint64_t lines_ = 0;
};

/// Reads an array of rows, each an array of strings or bare words: [["a","b"],["c",1]].
///
/// state        | [      | ]                 | ,                    | "     | \    | blanks   | other    | end of data
/// -------------|--------|-------------------|----------------------|-------|------|----------|----------|------------------
/// between      | opens  | a row ends, if it | an empty field, if   | quoted| bare | skipped  | bare     | the row ends
///              |        | is open or has one| the row is open      |       |      |          |          |
/// bare         | added  | field and row end | the field ends       | added | added| added    | is added | field and row end
/// quoted       | added  | is added          | is added             | ends  | next | added    | is added | csvExp, code 1
/// behind \     | r, n and t give a return, a feed and a tab, anything else itself                      | csvExp, code 1
///
/// Blanks are blank, tab, feed and return. The byte behind a closing quote is taken with it: a comma goes on, a bracket ends
/// the row, anything else is lost. What stands around rows passes by, and so need not be there; an array of no rows gives one without fields. All else is as of CCsvParser.
class CJsonParser : private IMPL::CRowParser {
 public:
  CJsonParser() noexcept;

  void Open(CHandle<TDataSource> source, std::uint64_t quota = rowDefaultQuota);
  bool GetNextRow(std::vector<stringEx>& fields);

  /// Appends one row, without what stands around rows: all its fields quoted.
  static void PutRow(stringEx& target, std::span<const stringEx> fields);
};

}  // namespace Qorv
