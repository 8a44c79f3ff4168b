// What the four text forms of a tree have in common.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include <qorv/detail/data_object.h>

#include "error/message.h"
#include "registry/byte_set.h"
#include "registry/image_text.h"
#include "registry/key.h"

namespace Qorv::IMPL {

/// The words of the types, by number.
inline constexpr std::string_view typeWords[] = {"NONE",  "STRING",     "STRING_EXP", "BLOB", "DWORD",
                                                 "QWORD", "STRING_SET", "FLOAT",      "BOOL"};
inline constexpr std::string_view keyWord = "KEY";

/// What an operation says of its own failures.
struct TEXTREFUSALS {
  std::string_view invalid;
  std::string_view circle;
  std::string_view type;
  std::string_view failed;
};

/// Where text goes: collected, and handed to a sink by pieces, or appended to a string, which is as it was unless Finish has
/// been called.
class CTextOut {
 public:
  explicit CTextOut(TDataSink& sink) noexcept : sink_(&sink), text_(&own_) {}
  explicit CTextOut(stringEx& target) noexcept : text_(&target), good_(target.length()) {}
  CTextOut(const CTextOut&) = delete;
  CTextOut& operator=(const CTextOut&) = delete;
  ~CTextOut() { text_->truncate(good_); }

  stringEx& Text() noexcept { return *text_; }
  /// Between two lines: hands on what has come together. ioExp of the sink.
  void Advance();
  void Finish();

 private:
  TDataSink* sink_ = nullptr;
  stringEx own_;
  stringEx* text_;
  std::uint64_t good_ = 0;
};

/// The failure of a text that is none of its form.
[[noreturn]] void RefuseText(std::string_view what, std::string_view content);

/// Refuses what cannot be a name in a path.
void RequireName(std::string_view name);

/// The word of a value's type; regExp, code 3, for one that has none.
std::string_view WordOf(const CRegValue& value, std::string_view refusal);
/// The type of a word; nothing for what is none.
std::optional<std::uint32_t> TypeOf(std::string_view word) noexcept;

/// The text of a value that is no set, before it is escaped by its form.
void AppendValueText(stringEx& text, const CRegValue& value);
/// The value of a text, for the types other than sets. Throws by RefuseText.
CRegValue ValueOf(std::uint32_t type, std::string_view text);

/// All of a source.
stringEx ReadAll(TDataSource& source);

/// The failure of a whole form, with what caused it.
[[noreturn]] void RefuseForm(const TEXTREFUSALS& refusals, const qvExp& failure, std::uint32_t code);

/// Puts a value into the key, in place of one of that name.
void PutValue(const CFakeRegistry& key, std::string_view name, CRegValue value);

/// Runs `step`. All failures but those of the registry itself become regExp with this code.
template <class Step>
void Telling(const TEXTREFUSALS& refusals, std::uint32_t code, Step step) {
  try {
    step();
  } catch (const regExp&) {
    throw;
  } catch (const qvExp& failure) {
    RefuseForm(refusals, failure, code);
  }
}

/// Code 19.
template <class Step>
void ImportText(const CFakeRegistry& handle, const TEXTREFUSALS& refusals, Step step) {
  if (!handle.IsValid()) throw regExp(stringEx(refusals.invalid), regCode::invalidObject);
  Telling(refusals, regCode::importText, step);
}

/// Runs `step` for each key of the tree where it is entered and where it is left, with its path, under its locks, from the root
/// down. Code 18.
template <class Step>
void ExportKeys(const CFakeRegistry& handle, const TEXTREFUSALS& refusals, CTextOut& out, Step step) {
  const CRegGuard root(handle, refusals.invalid);
  Telling(refusals, regCode::exportText, [&] {
    CTreeWalk walk(root.Key(), refusals.invalid, refusals.circle);
    stringEx path;
    std::vector<std::uint64_t> lengths{0};  // of the paths of the keys above
    while (walk.Next()) {
      if (walk.IsEnter() && walk.Depth() != 0) {
        const std::string_view name = walk.Name();
        RequireName(name);
        lengths.push_back(path.length());
        if (!path.empty()) path += '\\';
        path += name;
      }
      step(walk, path);
      out.Advance();
      if (!walk.IsEnter()) {
        path.truncate(lengths.back());
        lengths.pop_back();
      }
    }
    out.Finish();
  });
}

}  // namespace Qorv::IMPL
