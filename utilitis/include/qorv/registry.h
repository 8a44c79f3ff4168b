// A tree of keys with named, typed values, kept in memory and in a file of its own. docs/registry.md has the layout.
#pragma once

#include <cstdint>
#include <vector>

#include <qorv/detail/data_object.h>
#include <qorv/detail/fast_lock.h>
#include <qorv/detail/reg_text.h>
#include <qorv/detail/sys_file.h>
#include <qorv/string.h>

namespace Qorv {

/// Types of values, in memory and in files. A raw value may carry any other number, which no form of storage takes.
enum REGTYPE : std::uint32_t {
  T_NONE = 0,
  T_STRING = 1,
  T_EXP_STR = 2,  ///< text with variables in it; who reads it expands them
  T_BLOB = 3,
  T_DWORD = 4,
  T_QWORD = 5,
  T_STRING_SET = 6,  ///< a list: in its order, with its doubles
  T_FLOAT8 = 7,
  T_BOOL = 8,
};

/// For the find operations: values of any type.
inline constexpr std::uint32_t regAnyType = 0xFFFFFFFF;

/// What a key's image may take as long as SetQuota does not say otherwise: bytes, 1 GiB.
inline constexpr std::int64_t regDefaultQuota = 0x40000000;

namespace IMPL {
struct REGKEY;
class CRegHandle;
using REGLOCK = CFastLock<CSharedSpin>;
}  // namespace IMPL

/// A handle on a key: a node with an ordered map of values and one of subkeys. Copies of a handle share the key, the last
/// one destroys it; a change through one of them is seen through all. Unshare gives a handle a key of its own.
///
/// A handle is invalid until Open, GainSubkey, Clear or an assignment gives it a key; operations on an invalid one throw
/// code 1. All failures are regExp with a number of regCode unless an operation says otherwise.
///
/// A path is names with one backslash between each two; the empty path is the key itself. Names are bytes, in the process's
/// encoding, case counts, and both maps are ordered by the bytes as unsigned numbers, the shorter first where one begins
/// with the other. Wide names are converted where they come in and go out (tconvExp).
///
/// Any thread may use any handle. Each operation holds the handle's lock, then the key's; a walk holds the locks of all
/// keys from its root down to where it is, and _MakeDiff those of two trees at once, its own first: two threads must not
/// compare the same two trees in opposite directions, nor walk a circle from two of its keys, at once. Operations on several
/// keys are no transaction, and one that fails leaves what it had done.
class CFakeRegistry {
 public:
  CFakeRegistry() noexcept = default;
  CFakeRegistry(const CFakeRegistry& other);
  CFakeRegistry(CFakeRegistry&& other) noexcept;
  CFakeRegistry& operator=(const CFakeRegistry& other);
  CFakeRegistry& operator=(CFakeRegistry&& other);
  ~CFakeRegistry() noexcept;

  bool IsValid() const;
  bool operator!() const { return !IsValid(); }
  /// True for handles on one and the same key, and for two invalid ones.
  bool IsSameKey(const CFakeRegistry& other) const;

  /// The words for a type, "unknown" for a number that is none.
  static const char* GetTypeName(std::uint32_t type) noexcept;

  // --- exclusive access ------------------------------------------------------------------------------------------------

  /// Takes both locks for several operations of the calling thread. False if they could not be had within `timeout`
  /// milliseconds; both are free of this call then. Calls nest.
  bool BeginExclusiveAccess(std::int64_t timeout);
  /// Only after a BeginExclusiveAccess of the same thread that gave true.
  void EndExclusiveAccess();

  // --- values ----------------------------------------------------------------------------------------------------------

  /// A value that is not there is code 20, one of another type code 12. A text takes T_STRING and T_EXP_STR, bytes take
  /// T_BLOB. `out` stays as it is when they throw.
  void ReadValue(const REGTEXT& name, stringEx& out) const;
  void ReadValue(const REGTEXT& name, wstringEx& out) const;
  void ReadValue(const REGTEXT& name, byteEx& out) const;
  void ReadValue(const REGTEXT& name, std::uint32_t& out) const;
  void ReadValue(const REGTEXT& name, std::uint64_t& out) const;
  void ReadValue(const REGTEXT& name, std::vector<stringEx>& out) const;
  void ReadValue(const REGTEXT& name, std::vector<wstringEx>& out) const;
  /// The two types that have no form of ReadValue without a default.
  void ReadValueEx(const REGTEXT& name, double& out) const;
  void ReadValueEx(const REGTEXT& name, bool& out) const;
  /// Give `value` where there is none of that name; nothing is stored.
  void ReadValue(const REGTEXT& name, stringEx& out, const stringEx& value) const;
  void ReadValue(const REGTEXT& name, wstringEx& out, const wstringEx& value) const;
  void ReadValue(const REGTEXT& name, byteEx& out, const byteEx& value) const;
  void ReadValue(const REGTEXT& name, std::uint32_t& out, std::uint32_t value) const;
  void ReadValue(const REGTEXT& name, std::uint64_t& out, std::uint64_t value) const;
  void ReadValue(const REGTEXT& name, double& out, double value) const;
  void ReadValue(const REGTEXT& name, bool& out, bool value) const;
  void ReadValue(const REGTEXT& name, std::vector<stringEx>& out, const std::vector<stringEx>& value) const;
  void ReadValue(const REGTEXT& name, std::vector<wstringEx>& out, const std::vector<wstringEx>& value) const;
  /// A value of any type as its bytes: numbers in the order of the machine, a set in its packed form: a 32-bit count, then
  /// for each string a 32-bit length, its bytes and a zero byte.
  void ReadRawValue(const REGTEXT& name, std::uint32_t& type, byteEx& out) const;
  std::uint32_t GetValueType(const REGTEXT& name) const;
  bool IsValueExist(const REGTEXT& name) const;
  std::uint32_t GetValueCount() const;

  /// Insert a value, or replace it together with its type.
  void WriteValue(const REGTEXT& name, const char* value);
  void WriteValue(const REGTEXT& name, const stringEx& value);
  void WriteValue(const REGTEXT& name, const wchar_t* value);
  void WriteValue(const REGTEXT& name, const wstringEx& value);
  void WriteValue(const REGTEXT& name, const byteEx& value);
  void WriteValue(const REGTEXT& name, std::uint32_t value);
  void WriteValue(const REGTEXT& name, std::uint64_t value);
  void WriteValue(const REGTEXT& name, double value);
  void WriteValue(const REGTEXT& name, bool value);
  void WriteValue(const REGTEXT& name, const std::vector<stringEx>& value);
  void WriteValue(const REGTEXT& name, const std::vector<wstringEx>& value);
  /// A text as T_STRING or T_EXP_STR; any other type is code 2.
  void WriteValueEx(const REGTEXT& name, const stringEx& value, std::uint32_t type);
  void WriteValueEx(const REGTEXT& name, const wstringEx& value, std::uint32_t type);
  /// The counterpart of ReadRawValue. Bytes that cannot be a value of the type are code 2. A type without a name is kept
  /// with its bytes; it can be read raw, and is refused by all forms of storage.
  void WriteRawValue(const REGTEXT& name, std::uint32_t type, const byteEx& value);
  void RemoveValue(const REGTEXT& name);
  void ClearValues();

  // --- names, in the order of the maps ---------------------------------------------------------------------------------

  /// An index at or above the count is code 2. Each call walks to its index: use GetAllValues for all names.
  void EnumValue(std::uint32_t index, const REGTEXTOUT& name) const;
  void ReverseEnumValue(std::uint32_t index, const REGTEXTOUT& name) const;
  stringEx stValueName(std::uint32_t index) const;
  void EnumSubkey(std::uint32_t index, const REGTEXTOUT& name) const;
  void ReverseEnumSubkey(std::uint32_t index, const REGTEXTOUT& name) const;
  std::uint32_t GetSubkeyCount() const;
  /// Code 4 where there is none.
  void GetFirstValueName(const REGTEXTOUT& name) const;
  void GetLastValueName(const REGTEXTOUT& name) const;
  void GetFirstSubkeyName(const REGTEXTOUT& name) const;
  void GetLastSubkeyName(const REGTEXTOUT& name) const;
  /// The next free name in a row of decimal numbers of `width` digits: one above the last name, which is read as a number
  /// as far as it is one, and on to the first that is free. `name` stays as it is where there are no names at all.
  void CalcNextSeqValue(const REGTEXTOUT& name, std::uint32_t width) const;
  void CalcNextSeqSubkey(const REGTEXTOUT& name, std::uint32_t width) const;

  // --- subkeys ---------------------------------------------------------------------------------------------------------

  /// A handle on the key at `path`; code 20 where there is none.
  CFakeRegistry ObtainSubkey(const REGTEXT& path) const;
  /// The same, making what is missing, and a key for an invalid handle first.
  CFakeRegistry GainSubkey(const REGTEXT& path);
  /// Takes the key at `path` out of its parent; handles keep it alive. Without `recursive` a key with content is code 9. A
  /// path that is not there changes nothing.
  void RemoveSubkey(const REGTEXT& path, bool recursive = false);
  void ClearSubkeys();
  /// Append to `out`.
  void GetAllSubkeys(std::vector<stringEx>& out) const;
  void GetAllValues(std::vector<stringEx>& out) const;
  /// Makes the key of `other` the subkey at `path`, in place of what is there, and makes the path to it. A tree with a
  /// circle can come of this: see CheckCircularReferernce.
  void Insert(const REGTEXT& path, const CFakeRegistry& other);

  // --- finding, among the names of this key alone; hits are appended in the order of the maps ---------------------------

  void FindValues(std::vector<stringEx>& out, const REGTEXT& text, std::uint32_t type = regAnyType) const;
  void FindValuesWildCard(std::vector<stringEx>& out, const REGTEXT& pattern,
                          std::uint32_t type = regAnyType) const;
  void FindValuesRegEx(std::vector<stringEx>& out, const REGTEXT& pattern,
                       std::uint32_t type = regAnyType) const;
  void FindSubkeys(std::vector<stringEx>& out, const REGTEXT& text) const;
  void FindSubkeysWildCard(std::vector<stringEx>& out, const REGTEXT& pattern) const;
  void FindSubkeysRegEx(std::vector<stringEx>& out, const REGTEXT& pattern) const;

  // --- state -----------------------------------------------------------------------------------------------------------

  bool HasChanged() const;
  void ResetChangeFlag();
  stringEx GetWorkingFile() const;
  void SetWorkingFile(const REGTEXT& path);
  /// Of the compiled image without its mark, in bytes. It bites in Save and in RegCompile alone.
  std::int64_t GetQuota() const;
  void SetQuota(std::int64_t size);

  // --- whole trees -----------------------------------------------------------------------------------------------------

  void Clear();
  void Unshare(bool keepTop);
  void Update(const CFakeRegistry& other, bool recursive = true);
  void Import(const CFakeRegistry& other, bool overwrite = true, bool recursive = true);
  void Export(CFakeRegistry& other, bool recursive = true) const;
  void Replace(const CFakeRegistry& other, bool recursive = true);
  void CheckCircularReferernce() const;

  // --- the image: docs/registry.md has its layout ------------------------------------------------------------------------

  /// Gives the handle a fresh key with what an image holds; what it had before stays with its other handles. Nothing at all is
  /// an empty tree. Code 3: no image, or a type that is none; code 5: the file, its folder, the source, and items that
  /// are not as they must be. What was read before a failure stays.
  ///
  /// A named file is made where there is none, with the folders above it. `offset`, in bytes, says where the image begins,
  /// below 0 how far before the end; 0 is the whole file, which becomes the key's working file. An open file is read from its
  /// position to its end, as is a source that can seek; one that cannot, up to 1 GiB.
  void Open(const REGTEXT& path, std::int32_t offset = 0);
  void Open(const char* path, std::int32_t offset = 0) { Open(REGTEXT(path), offset); }
  void Open(const wchar_t* path, std::int32_t offset = 0) { Open(REGTEXT(path), offset); }
  void Open(CSysFile& file);
  void Open(TDataSource& source);
  void Open(const void* image, std::size_t size);
  /// Writes the tree as an image of the newest revision, and clears the change flag of the key. Code 6: the file, its folder, the
  /// sink, and a tree beyond the quota; code 3: a type without a name; code 22: a circle.
  ///
  /// A named file is cut first and written as it stands: after a failure it holds a part, and what it held before is lost.
  /// With an `offset` above 0, in bytes, there are zeros before the image, and the key has no working file; one below 0 fails,
  /// as the file is empty by then. An open file is written at its position and flushed; a sink is not. Bytes are appended
  /// to, and are as they were behind a failure.
  void Save(const REGTEXT& path, std::int32_t offset = 0);
  void Save(CSysFile& file);
  void Save(TDataSink& sink);
  void Save(byteEx& image);
  byteEx Save();

  // --- differences: docs/diff.md has their layout --------------------------------------------------------------------------

  /// Fills `data` with what makes this tree the same as `other`, and returns the number of records, those of paths and
  /// `remarks` among them. Code 1: one of the two invalid; 2: a subkey whose name is empty or has a backslash; 3: a type
  /// without a name; 6: a text of 4 GiB; 22: a circle in `other`. Behind a failure `data` is empty.
  std::uint64_t _MakeDiff(byteEx& data, const CFakeRegistry& other, const REGTEXT& remarks = "") const;
  /// Does what the records say, one after the other; those before a failure stay done. `flag` and `number` mean nothing. Code
  /// 3: no such data.
  void ApplyDiff(const byteEx& data, bool flag = false, std::int32_t number = 0);
  /// Appends a line for each record; those before a failure stay. Code 3: no such data.
  static void ExplainDiff(stringEx& text, const byteEx& data);

  // --- text ------------------------------------------------------------------------------------------------------------

  /// The tree in one of four forms of text, each of which the import of its name reads as the same tree; docs/registry.md tells
  /// them. A float is written with 16 digits, so that its last bit may change. A subkey whose name is empty or has a backslash
  /// cannot be told by a path, and is code 18, as are failures of the sink; a value of a type without a name is code 3, a circle
  /// code 22. A string is appended to, and as it was behind a failure.
  ///
  /// An import adds to the tree, in place of values of the same names. What is no text of its form, and failures of the source,
  /// are code 19; what was read before stays. All but rows are read into memory as a whole first.
  ///
  /// Text passes as its bytes; in rows, `asUtf8` converts it between the process's encoding and UTF-8, but for what cannot be
  /// converted, which passes.
  void ExportIni(TDataSink& target) const;
  void ExportIni(stringEx& target) const;
  void ExportXml(TDataSink& target) const;
  void ExportXml(stringEx& target) const;
  void ExportCsv(TDataSink& target, bool asUtf8 = false) const;
  void ExportCsv(stringEx& target, bool asUtf8 = false) const;
  void ExportJson(TDataSink& target, bool asUtf8 = false) const;
  void ExportJson(stringEx& target, bool asUtf8 = false) const;
  void ImportIni(TDataSource& source);
  void ImportIni(const stringEx& source);
  void ImportXml(TDataSource& source);
  void ImportXml(const stringEx& source);
  void ImportCsv(TDataSource& source, bool asUtf8 = false);
  void ImportCsv(const stringEx& source, bool asUtf8 = false);
  void ImportJson(TDataSource& source, bool asUtf8 = false);
  void ImportJson(const stringEx& source, bool asUtf8 = false);

 private:
  friend class IMPL::CRegHandle;

  explicit CFakeRegistry(IMPL::REGKEY* key) noexcept : key_(key) {}  // takes over one count

  IMPL::REGKEY* key_ = nullptr;
  mutable IMPL::REGLOCK lock_;
  std::uint32_t exclusive_ = 0;  // holds of exclusive access; guarded by the lock
};

}  // namespace Qorv
