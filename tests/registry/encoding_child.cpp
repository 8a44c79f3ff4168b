// One task over text in the encoding that the environment gives: "save <hex>" shows the image of a value and a subkey of
// this name, with this text; "open <hex>" what an image with such text in it holds; "rows <hex>" such a value two keys down as
// rows in UTF-8, and whether they are read as the same; "diff <hex>" the same of a difference; "names <hex>" applies records
// that delete and add a key of this name.
#include <cstdio>
#include <string_view>

#include "registry/image_support.h"

using namespace Qorv;

int main(int, char** arguments) {
  const byteEx given = TestSupport::Bytes(arguments[2]);
  const stringEx text(reinterpret_cast<const char*>(given.data()), given.length());
  CFakeRegistry registry;
  if (std::string_view(arguments[1]) == "save") {
    registry.GainSubkey(text);
    registry.WriteValue(text, text);
    registry.WriteValue("\xFFset", std::vector<stringEx>{text});
    std::printf("%s", TestSupport::HexOf(registry.Save()).c_str());
  } else if (std::string_view(arguments[1]) == "rows") {
    registry.GainSubkey(text + "\\" + text).WriteValue(text, text);
    stringEx rows;
    registry.ExportCsv(rows, true);
    CFakeRegistry again;
    again.Clear();
    again.ImportCsv(rows, true);
    std::printf("%s %s", rows.hex().data(), again.Save() == registry.Save() ? "the same" : "another");
  } else if (std::string_view(arguments[1]) == "diff") {
    CFakeRegistry again;
    again.Clear();
    registry.GainSubkey(text + "\\" + text).WriteValue(text, text);
    byteEx data;
    again._MakeDiff(data, registry);
    again.ApplyDiff(data);
    std::printf("%s%s", TestSupport::HexOf(data).c_str(),
                again.Save() == registry.Save() ? "the same" : "another");
  } else if (std::string_view(arguments[1]) == "names") {
    registry.Clear();
    for (const std::uint8_t code : {std::uint8_t{4}, std::uint8_t{5}}) {
      stringEx data;
      {
        CGenericSeekableSink<CByteIO> sink{CByteIO(&data)};
        sink.Write("D1", 2);
        CISXFWriter writer(sink);
        writer.PutCtrlCode(code);
        writer.PutString(text);
      }
      try {
        registry.ApplyDiff(byteEx(reinterpret_cast<const unsigned char*>(data.data()), data.length()));
        std::printf("done ");
      } catch (const regExp& failure) {
        std::printf("%s ", failure.GetCode() == regCode::damaged ? "refused" : "?");
      }
    }
    std::printf("%u", registry.GetSubkeyCount());
  } else {
    stringEx image;
    {
      CGenericSeekableSink<CByteIO> sink{CByteIO(&image)};
      sink.Write("R3", 2);
      CISXFWriter writer(sink);
      writer.PutSize(1);
      writer.PutString(text);
      writer.PutSmallEnum(T_STRING);
      writer.PutString(text);
    }
    registry.Open(static_cast<const void*>(image.data()), image.length());
    stringEx name;
    stringEx value;
    registry.GetFirstValueName(name);
    registry.ReadValue(name, value);
    std::printf("%s %s", name.hex().data(), value.hex().data());
  }
  return 0;
}
