// A tree to its image.
#include <fcntl.h>

#include <qorv/stream.h>

#include "registry/image.h"
#include "registry/image_file.h"

namespace Qorv {
namespace {

using IMPL::CMessage;
using IMPL::CRegGuard;
using IMPL::REGKEY;

constexpr std::string_view invalidObject = "CFakeRegistry::Save - invalid object";

[[noreturn]] void RefuseWriting(const qvExp& failure) {
  CMessage("CFakeRegistry::Save - failed writing data sink\n")
      .Field("\n@ ", failure.GetMessage())
      .Throw<regExp>(regCode::save);
}

template <class Step>
void Writing(Step step) {
  try {
    step();
  } catch (const ioExp& failure) {
    RefuseWriting(failure);
  }
}

CSysFile OpenForWriting(const stringEx& path) {
  CSysFile file;
  file.Open(path, O_WRONLY, O_CREAT | O_TRUNC, fileShare::none, IMPL::imageFileMode, 0);
  return file;
}

void GoToImage(CSysFile& file, std::int64_t offset) {
  if (offset > 0) file.SeekBegin(offset);
  if (offset < 0) file.SeekEnd(offset);
}

void WriteFile(const CSysFile& file, REGKEY& key) {
  CBufferedSeekableSink<CSysFile> sink(file, IMPL::imageBufferSize);
  IMPL::RegCompile(sink, key, key.quota);
  Writing([&] { sink.Flush(); });
}

}  // namespace

void CFakeRegistry::Save(const REGTEXT& path, std::int32_t offset) {
  const stringEx name{std::string_view(path)};
  CRegGuard key(*this, invalidObject);
  try {
    IMPL::MakeFolderOf(name);
  } catch (const ioExp&) {
    CMessage("CFakeRegistry::Save - failed manipulate file path\n")
        .Field("  file name = ", name)
        .Throw<regExp>(regCode::save);
  }
  CSysFile file = IMPL::WithFile("CFakeRegistry::Save - failed open file\n", regCode::save, name,
                                 [&] { return OpenForWriting(name); });
  const stringEx fullPath = file.GetPath();
  Writing([&] { GoToImage(file, offset); });
  WriteFile(file, key.Key());
  Writing([&] { file.Close(); });
  key->hasChanged = false;
  key->workingFile = offset == 0 ? fullPath : stringEx();
}

void CFakeRegistry::Save(CSysFile& file) {
  CRegGuard key(*this, invalidObject);
  WriteFile(file, key.Key());
  key->hasChanged = false;
}

void CFakeRegistry::Save(TDataSink& sink) {
  CRegGuard key(*this, invalidObject);
  try {
    IMPL::RegCompile(sink, key.Key(), key->quota);
  } catch (const regExp& failure) {
    if (failure.GetCode() != regCode::save) throw;
    RefuseWriting(failure);
  }
  key->hasChanged = false;
}

void CFakeRegistry::Save(byteEx& image) {
  CRegGuard key(*this, invalidObject);
  const std::uint64_t before = image.length();
  try {
    IMPL::CAppendingSink sink(image);
    IMPL::RegCompile(sink, key.Key(), key->quota);
  } catch (...) {
    image.truncate(before);
    throw;
  }
  key->hasChanged = false;
}

byteEx CFakeRegistry::Save() {
  byteEx image;
  Save(image);
  return image;
}

}  // namespace Qorv
