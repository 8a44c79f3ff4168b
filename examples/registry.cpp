// A configuration that changes, what has changed, and all of it as text.
#include <cstdio>

#include <qorv/error.h>
#include <qorv/registry.h>

using namespace Qorv;

int main() {
  CFakeRegistry before;
  CFakeRegistry disk = before.GainSubkey("disks\\sda");
  disk.WriteValue("sector", std::uint32_t{512});
  disk.WriteValue("model", "rotating rust");

  CFakeRegistry after = before;
  after.Unshare(false);
  after.ObtainSubkey("disks\\sda").WriteValue("sector", std::uint32_t{4096});
  after.GainSubkey("disks\\sdb").WriteValue("removable", true);

  byteEx difference;
  before._MakeDiff(difference, after, "a second disk");
  stringEx text;
  CFakeRegistry::ExplainDiff(text, difference);
  std::printf("%s\n\n", text.data());

  before.ApplyDiff(difference);
  text.clear();
  before.ExportIni(text);
  std::printf("%s\n", text.data());
  try {
    before.ObtainSubkey("disks\\sdc");
  } catch (const regExp& failure) {
    std::printf("%s\n", failure.GetMessage().data());
  }
  return before.Save() == after.Save() ? 0 : 1;
}
