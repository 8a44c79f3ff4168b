#include "error/message.h"
#include "registry/diff.h"

namespace Qorv {
namespace {

namespace diffCode = IMPL::diffCode;
using IMPL::CDiffReader;
using IMPL::CMessage;

constexpr std::string_view invalidFormat = "CFakeRegistry::ApplyDiff - invalid diff format\n";

// Conversion may make a path of what was a name.
std::string_view RequireName(std::string_view name) {
  if (name.find('\\') != std::string_view::npos)
    CMessage(invalidFormat).Field("  name = ", name).Throw<regExp>(regCode::damaged);
  return name;
}

void PutValue(CDiffReader& diff, const CFakeRegistry& key) {
  const IMPL::CRegName name(diff.GetText());
  const std::uint8_t type = diff.GetType();
  IMPL::CRegValue value = diff.GetPayload(type, "CFakeRegistry::ApplyDiff - invalid type : ");
  IMPL::CRegGuard guard(key, "CFakeRegistry::ApplyDiff - invalid object");
  guard->values.insert_or_assign(name, std::move(value));
  guard->hasChanged = true;
}

void ApplyRecord(CDiffReader& diff, CFakeRegistry& root, CFakeRegistry& key) {
  switch (diff.Code()) {
    case diffCode::updateValue:
    case diffCode::addValue:
      return PutValue(diff, key);
    case diffCode::deleteValue:
      return key.RemoveValue(diff.GetText());
    case diffCode::changeKey:
      key = root.GainSubkey(diff.GetPath(RequireName));
      return;
    case diffCode::deleteKey:
      return key.RemoveSubkey(RequireName(diff.GetText()), true);
    case diffCode::addKey:
      key.GainSubkey(RequireName(diff.GetText()));
      return;
    case diffCode::remarks:
      diff.GetText();
      return;
    default:
      CMessage(invalidFormat).Throw<regExp>(regCode::damaged);
  }
}

}  // namespace

void CFakeRegistry::ApplyDiff(const byteEx& data, bool, std::int32_t) {
  CFakeRegistry root =
      IMPL::CRegHandle::Share(&IMPL::CRegGuard(*this, "CFakeRegistry::ApplyDiff - invalid object").Key());
  CFakeRegistry key = root;
  CDiffReader diff(data, "CFakeRegistry::ApplyDiff - invalid diff data header size",
                   "CFakeRegistry::ApplyDiff - invalid diff data header mark");
  try {
    while (diff.Next())
      ApplyRecord(diff, root, key);
  } catch (const ioExp& failure) {
    CMessage(invalidFormat).Inner(failure).Throw<regExp>(regCode::damaged);
  }
}

}  // namespace Qorv
