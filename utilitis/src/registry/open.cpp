// A tree from its image.
#include <fcntl.h>

#include <algorithm>

#include <qorv/stream.h>

#include "registry/image.h"
#include "registry/image_file.h"

namespace Qorv {
namespace {

using IMPL::CMessage;
using IMPL::REGKEY;
using HANDLEGUARD = IMPL::CSafeScopeLock<IMPL::REGLOCK>;

// What a source that does not know its size may bring.
constexpr std::int64_t unknownSize = 0x40000000;

// In place of all that the handle had. Nobody else has this key until the handle's lock is free.
REGKEY& FreshKey(CFakeRegistry& handle) {
  auto* const key = new REGKEY;
  IMPL::CRegHandle::SetKey(handle, key);
  return *key;
}

CSysFile OpenForReading(const stringEx& path) {
  CSysFile file;
  file.Open(path, O_RDONLY, O_CREAT, fileShare::none, IMPL::imageFileMode, 0);
  return file;
}

// Goes to where the image begins, and returns how long it is.
std::int64_t GoToImage(CSysFile& file, std::int64_t offset) {
  if (offset < 0) {
    file.SeekEnd(offset);
    return -offset;
  }
  if (offset > 0) file.SeekBegin(offset);
  return file.GetSize() - offset;
}

void ReadFile(const CSysFile& file, std::int64_t size, REGKEY& key) {
  if (size < 1) return;
  const auto capacity = std::min<std::int64_t>(size, IMPL::imageBufferSize);
  CBufferedSeekableSource<CSysFile> source(file, static_cast<std::size_t>(capacity));
  IMPL::RegParseAhead(source, size, key);
}

// 0 for a source that is at its end.
std::int64_t SizeOf(TDataSource& source) {
  try {
    if (const auto* const seekable = dynamic_cast<const ISeekableObj*>(&source))
      return seekable->GetSize() - seekable->GetCurrentPos();
    return source.IsEof() ? 0 : unknownSize;
  } catch (const ioExp& failure) {
    CMessage("CFakeRegistry::Open - failed reading data source\n")
        .Inner(failure)
        .Throw<regExp>(regCode::open);
  }
}

}  // namespace

void CFakeRegistry::Open(const REGTEXT& path, std::int32_t offset) {
  const stringEx name{std::string_view(path)};
  HANDLEGUARD guard(lock_);
  REGKEY& key = FreshKey(*this);
  IMPL::WithFile("CFakeRegistry::Open - unable to create the path folder\n", regCode::open, name,
                 [&] { IMPL::MakeFolderOf(name); });
  std::int64_t size = 0;
  CSysFile file = IMPL::WithFile("CFakeRegistry::Open - failed open file\n", regCode::open, name, [&] {
    CSysFile opened = OpenForReading(name);
    size = GoToImage(opened, offset);
    return opened;
  });
  if (offset == 0) key.workingFile = file.GetPath();
  ReadFile(file, size, key);
}

void CFakeRegistry::Open(CSysFile& file) {
  HANDLEGUARD guard(lock_);
  REGKEY& key = FreshKey(*this);
  const std::int64_t size =
      IMPL::WithFile("CFakeRegistry::Open - failed open file\n", regCode::open, file.GetPath(),
                     [&] { return file.GetSize() - file.GetCurrentPos(); });
  ReadFile(file, size, key);
}

void CFakeRegistry::Open(TDataSource& source) {
  HANDLEGUARD guard(lock_);
  REGKEY& key = FreshKey(*this);
  if (const std::int64_t size = SizeOf(source); size > 0) IMPL::RegParse(source, size, key);
}

void CFakeRegistry::Open(const void* image, std::size_t size) {
  HANDLEGUARD guard(lock_);
  IMPL::RegParse(image, size, FreshKey(*this));
}

}  // namespace Qorv
