// Conversion between narrow text in an encoding and wide text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include <qorv/detail/handle.h>
#include <qorv/string.h>

namespace Qorv {

/// What is known of an encoding.
struct ENCODINGINFO {
  std::uint32_t codePage = 0;
  stringEx description;
  bool isRightToLeft = false;
};

/// A place in the table of encodings. Copies share it; the caller keeps it.
struct ENCODINGPLACE {
  std::size_t next = 0;
};
using EncodingIterator = CHandle<ENCODINGPLACE>;

/// Converts between narrow text in one encoding and wide text in Unicode. This class is the last resort: each byte becomes
/// an element, and of an element the low byte remains. Its name is "ASCII", its code page 437.
///
/// An object is used by one thread at a time, and each thread has one of its own: GetThreadConv. The static operations may
/// be called from any thread. Failures of this class are tconvExp, those of the engines of classes below it.
class TTextConv {
 public:
  TTextConv() = default;
  TTextConv(const TTextConv&) = delete;
  TTextConv& operator=(const TTextConv&) = delete;
  virtual ~TTextConv() noexcept(false) = default;

  /// New objects of the same kind: for this encoding, for another, for that of a code page.
  virtual std::unique_ptr<TTextConv> Clone() const;
  virtual std::unique_ptr<TTextConv> Clone(const stringEx& encoding) const;
  virtual std::unique_ptr<TTextConv> Clone(std::uint32_t codePage) const;
  /// Append the converted text to `dest`, of which the source is no part.
  virtual void AppendWCtoMB(stringEx& dest, const wstringEx& source);
  virtual void AppendMBtoWC(wstringEx& dest, const stringEx& source);
  virtual stringEx GetEncoding() const;
  /// 0 where the encoding has none.
  virtual std::uint32_t GetCodePage() const;

  /// The same in the place of what `dest` holds.
  void WCtoMB(stringEx& dest, const wstringEx& source);
  void MBtoWC(wstringEx& dest, const stringEx& source);

  /// The code page of an encoding: the number of "CP" and a number, otherwise by the table; case does not count. Throws
  /// where there is none.
  static std::uint32_t EncToCP(const stringEx& name);
  /// The first encoding by name that has the code page; empty where none has.
  static stringEx CPToEnc(std::uint32_t codePage);
  /// Throw where there is no such encoding.
  static void GetEncInfo(const stringEx& name, ENCODINGINFO& info);
  static void GetEncInfo(std::uint32_t codePage, ENCODINGINFO& info);
  /// Give one encoding after the other, in the order of their names, the first of them by FirstEncoding, which makes the
  /// iterator. False behind the last. An iterator and its copies are for one thread at a time.
  static bool FirstEncoding(EncodingIterator& iterator, stringEx& name, ENCODINGINFO& info);
  static bool NextEncoding(const EncodingIterator& iterator, stringEx& name, ENCODINGINFO& info);
  /// Whether two encodings are of one group: those of Europe, of Unicode, and one for each other family of languages. False
  /// for an unknown one.
  static bool IsSameFamily(const stringEx& left, const stringEx& right);
  /// The encoding that stands for the group of this one, not that it had the letters of all of them; empty for an unknown
  /// one.
  static stringEx GetFamilyDefault(const stringEx& name);

  /// The encoding of narrow text in this process: QORV_DEFAULT_MBCS, or what stands behind the "." in LC_CTYPE, LANG or
  /// LC_ALL, in this order, or "ASCII". Asked for once.
  static stringEx GetSysDefEncoding();
  static bool IsSysDefUtf8();
  /// What stands before the "." in LANG, LC_CTYPE or LC_ALL, or "en_US". Asked for once.
  static stringEx GetSysDefLanguage();

  /// The process's own object for the default encoding, from which each thread's is made; it is never destroyed. Its
  /// engine is the first that is to be had and not named in QORV_TEXTCONV_IGNORE_LIST ("ICONV", "ICU", "ISOC", with
  /// any of ;/|, between them): libiconv, ICU, the system's conversion in the process's locale (as the
  /// program has set it: setlocale), this class.
  static TTextConv& GetSysConv();
  /// The calling thread's object. A thread of the library frees it at its end. On a thread's first call tlsExp, and
  /// the failures of making an engine.
  static TTextConv& GetThreadConv();
};

}  // namespace Qorv
