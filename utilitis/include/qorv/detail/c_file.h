// Files by the streams of the C library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

#include <qorv/detail/sys_file.h>

namespace Qorv {

/// Where the bytes of a CCFile wait.
namespace streamBuffer {
inline constexpr int full = _IOFBF;  ///< until the buffer is full
inline constexpr int line = _IOLBF;  ///< until a line ends
inline constexpr int none = _IONBF;
}  // namespace streamBuffer

/// A stream of the C library with one owner, which may be moved. Reading and writing may change places only with a seek or a
/// Flush between them.
///
/// Failures are cfileExp with a number of fileCode; on a closed object each operation fails with the system's EBADF. The
/// stream's own lock makes Read, Write and Flush one step each, all else takes several; one object must not be opened, closed
/// or moved while another thread uses it. A seek, and GetSize, drop a byte that was pushed back. Positions, lengths and sizes are in bytes.
class CCFile {
 public:
  CCFile() noexcept = default;
  CCFile(CCFile&& other) noexcept;
  CCFile& operator=(CCFile&& other);
  /// Closes; a failure is thrown unless another exception is unwinding.
  ~CCFile() noexcept(false);

  /// Opens `path`, made absolute first. `mode` as of CPeriodSysFile: "r", "w", "a", "r+" and so on; `share` is one of
  /// fileShare. What was open before is closed when the new file is open. Code 4.
  void Open(const stringEx& path, const stringEx& mode, std::uint32_t share = fileShare::none,
            std::uint32_t permissions = 0666);
  void Open(const wstringEx& path, const stringEx& mode, std::uint32_t share = fileShare::none,
            std::uint32_t permissions = 0666);
  /// A stream on a descriptor of its own for the same open file, whose position they share. `mode` must be allowed by how
  /// that was opened. Code 4.
  void Open(const CSysFile& file, const stringEx& mode);
  /// Writes what the buffer has, and closes. Code 6, for a broken pipe 34, and it counts as closed all the same.
  void Close();
  bool IsOpen() const noexcept { return stream_ != nullptr; }

  /// Up to `size` bytes; fewer at the end, or where reading failed behind the first byte: the next call tells of that.
  /// Code 7.
  std::size_t Read(void* buffer, std::size_t size);
  /// A line without its line feed. False, and an empty line, at the end. Code 7, and what came before that is in the line.
  bool ReadLine(stringEx& line);
  /// The next byte, or EOF. Code 7.
  int ReadByte();
  /// Makes a byte the next one to be read. One always has room behind a byte that was read. Code 12.
  void PushBack(unsigned char byte);
  /// True if no byte is left to be read; looks for one. Code 7.
  bool IsEof();

  /// All of `size` bytes. Code 9, for a broken pipe 34; a part may have been written.
  void Write(const void* data, std::size_t size);
  void Write(const stringEx& text) { Write(text.data(), text.length()); }
  /// Formatted text, with the rules and the limit of stringEx::format.
  void Print(const char* format, ...) __attribute__((format(printf, 2, 3)));
  /// Hands what the buffer has to the system; what that does not take is lost. Code 15, for a broken pipe 34.
  void Flush();

  /// Only before anything else is done with the stream. `mode` is one of streamBuffer; a `size` of 0 leaves it to the system.
  /// Code 16.
  void SetBuffer(int mode, std::size_t size);

  /// Code 13.
  void SeekBegin(const std::int64_t& position);
  void SeekCurrent(const std::int64_t& offset);
  void SeekEnd(const std::int64_t& offset);
  /// Code 14.
  std::int64_t GetCurrentPos() const;
  /// Bytes that wait in the buffer count. Code 17.
  std::int64_t GetSize();

  const stringEx& GetPath() const noexcept { return path_; }
  std::int64_t GetSysHandle() const noexcept { return descriptor_; }

 private:
  void Adopt(CSysFile& file, const stringEx& mode);
  std::FILE* Stream(const char* heading, std::uint32_t code) const;
  void Seek(const char* heading, std::int64_t offset, int whence);
  [[noreturn]] void Refuse(const char* heading, int error, std::uint32_t code) const;

  std::FILE* stream_ = nullptr;  // on calls of its own, which a signal does not break off
  int descriptor_ = -1;
  std::unique_ptr<char[]> buffer_;  // of SetBuffer
  stringEx path_;
};

}  // namespace Qorv
