// The parser of the command line.
#pragma once

#include <cstdint>
#include <vector>

#include <qorv/string.h>

/// One element of the argument vector.
struct CMDARG {
  Qorv::stringEx raw;    ///< as given
  Qorv::stringEx name;   ///< empty for what is no option
  Qorv::stringEx value;  ///< empty without a separator
};

/// Options with a name and a value, as in "-from:/dev/sda". An option starts with one of the prefix
/// characters; the first separator character behind it divides name and value, so a value may hold more of
/// them. What is no option stays in its place without a name. Not to be shared between threads while it
/// parses.
class CCmdLineArgs {
 public:
  /// `prefixes`, `separators`: the sets of characters. `first`: index of the first argument to parse; those
  /// before it are kept as they are.
  CCmdLineArgs(Qorv::stringEx prefixes, Qorv::stringEx separators, std::size_t first = 1);

  void Parse(int argc, const char* const* argv);

  /// Index of the `nth` record, counted from 0, whose name equals `key` without regard to ASCII case; -1 if
  /// there is none or `key` is empty.
  std::int64_t Find(const Qorv::stringEx& key, std::uint32_t nth = 0) const noexcept;
  /// The same with case regarded.
  std::int64_t FindExact(const Qorv::stringEx& key, std::uint32_t nth = 0) const noexcept;
  bool Has(const Qorv::stringEx& key) const noexcept { return Find(key) >= 0; }
  /// The value of that record; empty if there is none.
  Qorv::stringEx GetValue(const Qorv::stringEx& key, std::uint32_t nth = 0) const;
  /// Appends the parsed options to `out` as one command line, quoted where they need it.
  void Rebuild(Qorv::stringEx& out) const;

  std::uint64_t GetOptionCount() const noexcept { return optionCount_; }

 private:
  void ParseOne(CMDARG& argument);
  template <class Equals>
  std::int64_t FindBy(const Qorv::stringEx& key, std::uint32_t nth, Equals equals) const noexcept;

  std::vector<CMDARG> arguments_;
  Qorv::stringEx prefixes_;
  Qorv::stringEx separators_;
  std::uint64_t optionCount_ = 0;
  std::size_t first_;
};
