// A million mixed small items to a file and back, through the buffered streams, against what a user would take instead:
// a packer that writes to a buffered C stream, and an unpacker that is fed from one by blocks. Each takes its own natural
// form for each item.
#include <fcntl.h>
#include <unistd.h>

#ifdef BENCH_MSGPACK
#include <msgpack/fbuffer.h>
#include <msgpack/pack.h>
#include <msgpack/unpack.h>
#endif

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <qorv/file.h>
#include <qorv/isxf.h>
#include <qorv/stream.h>

namespace {

using Clock = std::chrono::steady_clock;
using namespace Qorv;

constexpr std::size_t bufferSize = 8192;
constexpr int itemCount = 1000000;

enum class KIND { small, number, big, real, flag, text };

struct ITEM {
  KIND kind;
  std::int64_t number;
  double real;
  std::string text;
};

std::vector<ITEM> MakeItems() {
  std::mt19937_64 random(1);
  std::vector<ITEM> items(itemCount);
  for (ITEM& item : items) {
    item.kind = static_cast<KIND>(random() % 6);
    item.number = static_cast<std::int64_t>(random());
    item.real = static_cast<double>(item.number) / 3;
    item.text.assign(1 + random() % 24, 'x');
  }
  return items;
}

// What both sides add up to prove that they have read the same.
std::uint64_t SumOf(const std::vector<ITEM>& items) {
  std::uint64_t sum = 0;
  for (const ITEM& item : items) {
    switch (item.kind) {
      case KIND::small:
        sum += static_cast<std::uint64_t>(item.number & 0x7F);
        break;
      case KIND::number:
        sum += static_cast<std::uint64_t>(item.number & 0x7FFFFFFF);
        break;
      case KIND::big:
        sum += static_cast<std::uint64_t>(item.number & INT64_MAX);
        break;
      case KIND::real:
        sum += item.real > 0 ? 1 : 0;
        break;
      case KIND::flag:
        sum += item.number > 0 ? 1 : 0;
        break;
      case KIND::text:
        sum += item.text.size();
        break;
    }
  }
  return sum;
}

void WriteOurs(const std::string& path, const std::vector<ITEM>& items) {
  CSysFile file;
  file.Open(stringEx(path), O_WRONLY, O_CREAT | O_TRUNC, fileShare::none, 0600, 0);
  CBufferedSeekableSink<CSysFile> sink(file, bufferSize);
  CISXFWriter writer(sink);
  for (const ITEM& item : items) {
    switch (item.kind) {
      case KIND::small:
        writer.PutInt8(static_cast<std::int8_t>(item.number & 0x7F));
        break;
      case KIND::number:
        writer.PutInt32(static_cast<std::int32_t>(item.number & 0x7FFFFFFF));
        break;
      case KIND::big:
        writer.PutInt64(item.number & INT64_MAX);
        break;
      case KIND::real:
        writer.PutDouble(item.real);
        break;
      case KIND::flag:
        writer.PutBool(item.number > 0);
        break;
      case KIND::text:
        writer.PutString(item.text.data(), item.text.size());
        break;
    }
  }
  sink.FlushBuffer();
}

std::uint64_t ReadOurs(const std::string& path, const std::vector<ITEM>& items) {
  CSysFile file;
  file.Open(stringEx(path), O_RDONLY, 0, fileShare::none, 0, 0);
  const std::int64_t size = file.GetSize();
  CBufferedSeekableSource<CSysFile> source(file, bufferSize);
  CISXFReader reader(source, size);
  std::uint64_t sum = 0;
  stringEx text;
  for (const ITEM& item : items) {
    switch (item.kind) {
      case KIND::small:
        sum += static_cast<std::uint64_t>(reader.GetInt8());
        break;
      case KIND::number:
        sum += static_cast<std::uint64_t>(reader.GetInt32());
        break;
      case KIND::big:
        sum += static_cast<std::uint64_t>(reader.GetInt64());
        break;
      case KIND::real:
        sum += reader.GetDouble() > 0 ? 1 : 0;
        break;
      case KIND::flag:
        sum += reader.GetBool() ? 1 : 0;
        break;
      case KIND::text:
        reader.GetString(text);
        sum += text.length();
        break;
    }
  }
  return sum;
}

#ifdef BENCH_MSGPACK
void WriteTheirs(const std::string& path, const std::vector<ITEM>& items) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) throw std::runtime_error("fopen " + path);
  std::setvbuf(file, nullptr, _IOFBF, bufferSize);
  msgpack_packer packer;
  msgpack_packer_init(&packer, file, msgpack_fbuffer_write);
  for (const ITEM& item : items) {
    switch (item.kind) {
      case KIND::small:
        msgpack_pack_int8(&packer, static_cast<std::int8_t>(item.number & 0x7F));
        break;
      case KIND::number:
        msgpack_pack_int32(&packer, static_cast<std::int32_t>(item.number & 0x7FFFFFFF));
        break;
      case KIND::big:
        msgpack_pack_int64(&packer, item.number & INT64_MAX);
        break;
      case KIND::real:
        msgpack_pack_double(&packer, item.real);
        break;
      case KIND::flag:
        item.number > 0 ? msgpack_pack_true(&packer) : msgpack_pack_false(&packer);
        break;
      case KIND::text:
        msgpack_pack_str(&packer, item.text.size());
        msgpack_pack_str_body(&packer, item.text.data(), item.text.size());
        break;
    }
  }
  std::fclose(file);
}

std::uint64_t ValueOf(const msgpack_object& object, std::string& text) {
  switch (object.type) {
    case MSGPACK_OBJECT_POSITIVE_INTEGER:
      return object.via.u64;
    case MSGPACK_OBJECT_FLOAT64:
      return object.via.f64 > 0 ? 1 : 0;
    case MSGPACK_OBJECT_BOOLEAN:
      return object.via.boolean ? 1 : 0;
    case MSGPACK_OBJECT_STR:
      text.assign(object.via.str.ptr, object.via.str.size);
      return text.size();
    default:
      throw std::runtime_error("an item of another type");
  }
}

std::uint64_t ReadTheirs(const std::string& path, const std::vector<ITEM>&) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) throw std::runtime_error("open " + path);
  msgpack_unpacker unpacker;
  msgpack_unpacker_init(&unpacker, 2 * bufferSize);
  msgpack_unpacked result;
  msgpack_unpacked_init(&result);
  std::uint64_t sum = 0;
  std::string text;
  for (;;) {
    msgpack_unpacker_reserve_buffer(&unpacker, bufferSize);
    const ssize_t count = read(file, msgpack_unpacker_buffer(&unpacker), bufferSize);
    if (count <= 0) break;
    msgpack_unpacker_buffer_consumed(&unpacker, static_cast<std::size_t>(count));
    while (msgpack_unpacker_next(&unpacker, &result) == MSGPACK_UNPACK_SUCCESS)
      sum += ValueOf(result.data, text);
  }
  msgpack_unpacked_destroy(&result);
  msgpack_unpacker_destroy(&unpacker);
  close(file);
  return sum;
}
#endif

double SecondsOf(const std::function<void()>& step) {
  const Clock::time_point start = Clock::now();
  step();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

struct TIMES {
  double write = 1e9;
  double read = 1e9;
};

template <class Write, class Read>
void Run(TIMES& times, const std::string& path, const std::vector<ITEM>& items, std::uint64_t expected,
         Write write, Read read) {
  std::uint64_t sum = 0;
  times.write = std::min(times.write, SecondsOf([&] { write(path, items); }));
  times.read = std::min(times.read, SecondsOf([&] { sum = read(path, items); }));
  if (sum != expected) throw std::runtime_error("what was read is not what was written");
}

}  // namespace

int main() {
  const std::vector<ITEM> items = MakeItems();
  const std::uint64_t expected = SumOf(items);
  const std::string path =
      std::filesystem::temp_directory_path() / ("stream_bench." + std::to_string(getpid()));
  TIMES ours;
#ifdef BENCH_MSGPACK
  TIMES theirs;
#endif
  for (int round = 0; round < 20; ++round) {
    Run(ours, path, items, expected, WriteOurs, ReadOurs);
#ifdef BENCH_MSGPACK
    Run(theirs, path, items, expected, WriteTheirs, ReadTheirs);
#endif
  }
  std::filesystem::remove(path);
  std::printf("%d items, least of 20 rounds, ms\n", itemCount);
  std::printf("isxf      write %6.2f  read %6.2f\n", ours.write * 1e3, ours.read * 1e3);
#ifdef BENCH_MSGPACK
  std::printf("msgpack   write %6.2f  read %6.2f\n", theirs.write * 1e3, theirs.read * 1e3);
  std::printf("isxf's part of msgpack's time: write %.2f  read %.2f\n", ours.write / theirs.write,
              ours.read / theirs.read);
#endif
  return 0;
}
