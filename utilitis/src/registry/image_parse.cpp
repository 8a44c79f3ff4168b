#include "registry/image.h"

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "error/message.h"

namespace Qorv::IMPL {
namespace {

using MARK = std::uint16_t;

// What the two forms of RegParse say in their own names.
struct REFUSALS {
  std::string_view size;
  std::string_view mark;
  std::string_view io;
};
constexpr REFUSALS streamRefusals{"RegParse - invalid header size", "RegParse - invalid header mark",
                                  "RegParse - io failed when trying parsing fake registry\n"};
constexpr REFUSALS memoryRefusals{"RegParse (MEM) - invalid header size",
                                  "RegParse (MEM) - invalid header mark",
                                  "RegParse (MEM) - io failed when trying parsing fake registry\n"};

void CheckSize(std::int64_t size, const REFUSALS& refusals) {
  if (size < static_cast<std::int64_t>(sizeof(MARK))) CMessage(refusals.size).Throw<regExp>(regCode::damaged);
}

// Reads a tree with a list in place of recursion: images may be nested as deep as they are long. A key comes into its parent
// when it is at its end.
class CImageParser {
 public:
  CImageParser(REGKEY& root, bool isStream) : isStream_(isStream) {
    levels_.push_back({&root, {}, {}, 0, true});
  }

  void Run(const CISXFReader& reader, MARK mark) {
    try {
      BeginImage(reader, mark);
      BeginKey();
      while (!levels_.empty())
        Step();
    } catch (const ioExp& failure) {
      CMessage(Refusals().io).Field("\n@ ", failure.GetMessage()).Throw<regExp>(regCode::open);
    }
  }

 private:
  struct IMAGE {
    CISXFReader reader;
    MARK mark;
  };
  struct LEVEL {
    REGKEY* key;
    CRegShare own;  // none for the root
    std::string name;
    std::uint32_t left;  // subkeys that are still to come
    bool isImage;        // the root of the last one of the images
  };

  // All images within the first one lie in memory.
  bool IsStream() const noexcept { return isStream_ && images_.size() == 1; }
  const REFUSALS& Refusals() const noexcept { return IsStream() ? streamRefusals : memoryRefusals; }
  CISXFReader& Reader() noexcept { return images_.back().reader; }
  bool IsFlat() const noexcept { return images_.back().mark == imageMark::r3; }

  void BeginImage(const CISXFReader& reader, MARK mark) {
    images_.push_back({reader, mark});
    if (mark != imageMark::r1 && mark != imageMark::r2 && mark != imageMark::r3)
      CMessage(Refusals().mark).Throw<regExp>(regCode::damaged);
  }

  void BeginNestedImage(std::string_view image) {
    CheckSize(static_cast<std::int64_t>(image.size()), memoryRefusals);
    MARK mark;
    std::memcpy(&mark, image.data(), sizeof(mark));
    image.remove_prefix(sizeof(mark));
    BeginImage(CISXFReader(image.data(), image.size(), static_cast<std::int64_t>(image.size())), mark);
  }

  // Values, and how many subkeys there are.
  void BeginKey() {
    REGKEY& key = *levels_.back().key;
    if (IsFlat()) {
      RegParseValues_r3(Reader(), key.values, text_);
    } else {
      RegParseValues_r1r2(Reader(), key.values, images_.back().mark == imageMark::r1, text_);
    }
    const bool isAtEnd = Reader().GetCheckBound() == 0 || Reader().IsEof();
    levels_.back().left = isAtEnd ? 0 : Reader().GetSize();
  }

  // One subkey more, or the end of a key.
  void Step() {
    LEVEL& top = levels_.back();
    if (top.left == 0) return EndKey();
    --top.left;
    std::string name(text_.Get(Reader()));
    CRegShare key(new REGKEY);
    REGKEY* const place = key.Get();
    levels_.push_back({place, std::move(key), std::move(name), 0, !IsFlat()});
    if (!IsFlat()) BeginNestedImage(Reader().ViewBlob(blob_));
    BeginKey();
  }

  void EndKey() {
    LEVEL level = std::move(levels_.back());
    levels_.pop_back();
    if (level.isImage) images_.pop_back();
    if (levels_.empty()) return;
    levels_.back().key->subkeys.insert_or_assign(level.name, std::move(level.own));
  }

  bool isStream_;  // what the first image comes from
  CImageText text_;
  stringEx blob_;  // what came from the stream as one nested image; the images within that are parts of it
  std::vector<IMAGE> images_;
  std::vector<LEVEL> levels_;
};

// How many bytes came, of which a source may bring fewer at a time.
std::size_t ReadAll(TDataSource& source, void* out, std::size_t size) {
  std::size_t count = 0;
  for (std::size_t last = 1; count < size && last != 0; count += last)
    last = source.Read(static_cast<unsigned char*>(out) + count, size - count);
  return count;
}

MARK ReadMark(TDataSource& source, std::int64_t size) {
  CheckSize(size, streamRefusals);
  MARK mark = 0;
  std::size_t count = 0;
  try {
    count = ReadAll(source, &mark, sizeof(mark));
  } catch (const ioExp& failure) {
    CMessage(streamRefusals.io).Field("\n@ ", failure.GetMessage()).Throw<regExp>(regCode::open);
  }
  CheckSize(static_cast<std::int64_t>(count), streamRefusals);
  return mark;
}

}  // namespace

void RegParse(TDataSource& source, std::int64_t size, REGKEY& root) {
  const MARK mark = ReadMark(source, size);
  const CISXFReader reader(source, size - static_cast<std::int64_t>(sizeof(mark)));
  CImageParser(root, true).Run(reader, mark);
}

void RegParseAhead(TDataSource& source, std::int64_t size, REGKEY& root) {
  const MARK mark = ReadMark(source, size);
  unsigned char room[imageBufferSize];
  const CISXFReader reader(source, room, sizeof(room), size - static_cast<std::int64_t>(sizeof(mark)));
  CImageParser(root, true).Run(reader, mark);
}

void RegParse(const void* image, std::size_t size, REGKEY& root) {
  CheckSize(static_cast<std::int64_t>(size), memoryRefusals);
  MARK mark;
  std::memcpy(&mark, image, sizeof(mark));
  const std::size_t rest = size - sizeof(mark);
  const CISXFReader reader(static_cast<const unsigned char*>(image) + sizeof(mark), rest,
                           static_cast<std::int64_t>(rest));
  CImageParser(root, false).Run(reader, mark);
}

}  // namespace Qorv::IMPL
