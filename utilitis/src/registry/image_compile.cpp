#include "registry/image.h"

#include "error/message.h"

namespace Qorv::IMPL {
namespace {

// The root's values and subkeys, and so on with each of them: a key stands behind its name, within the list of its parent.
void RegCompileTree_r3(CISXFWriter& writer, REGKEY& root) {
  CImageText text;
  CTreeWalk walk(root, "RegCompileSubkeys_r3 - invalid object\n", "RegCompile - circular reference\n");
  while (walk.Next()) {
    if (!walk.IsEnter()) continue;
    if (walk.Depth() != 0) text.Put(writer, walk.Name());
    RegCompileValues_r3(writer, walk.Key().values, text);
    writer.PutSize(static_cast<std::uint32_t>(walk.Key().subkeys.size()));
  }
}

}  // namespace

void RegCompile(TDataSink& sink, REGKEY& root, std::int64_t quota) {
  try {
    if (sink.Write(&imageMark::r3, sizeof(imageMark::r3)) != sizeof(imageMark::r3))
      CMessage("RegCompile - the sink takes no more").Throw<isxfExp>(isxfCode::broken);
    unsigned char room[imageBufferSize];
    CISXFWriter writer(sink, room, sizeof(room), quota);
    RegCompileTree_r3(writer, root);
    writer.FlushBuffer();
  } catch (const ioExp& failure) {
    CMessage("RegCompile - io failed when trying compile fake registry")
        .Field("\n@ ", failure.GetMessage())
        .Throw<regExp>(regCode::save);
  }
}

}  // namespace Qorv::IMPL
