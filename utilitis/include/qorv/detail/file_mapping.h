// Files as memory.
#pragma once

#include <cstddef>
#include <cstdint>

#include <qorv/detail/sys_file.h>

namespace Qorv {

/// A protection of a view beside the bits of the system (PROT_READ and so on): a private copy, readable and writable, of which
/// nothing reaches the file.
inline constexpr std::uint32_t mapPrivateCopy = 0x40000000;

/// A file that is to be mapped: no more than a descriptor, which the copies share and each view holds as well. So a view
/// outlives the mapping it came from.
///
/// Failures are fmppExp with a number of fileCode. The object has no lock: copies may live in different threads, but one
/// object must not go while another thread uses it.
class CFileMapping {
 public:
  class CView;

  /// Opens the file, for reading alone with a `protection` of PROT_READ, or that and PROT_EXEC, otherwise for reading and
  /// writing. Code 25.
  CFileMapping(const stringEx& path, std::uint32_t protection);
  CFileMapping(const wstringEx& path, std::uint32_t protection);
  /// Takes a descriptor of its own for the open file; the caller keeps his. Code 26. Programs that this one starts inherit it.
  explicit CFileMapping(int descriptor);
  CFileMapping(const CFileMapping&) noexcept = default;
  CFileMapping& operator=(const CFileMapping&) = delete;
  /// The last holder of the descriptor closes it. Code 29 unless another exception is unwinding.
  ~CFileMapping() noexcept(false) = default;

  /// The path of the mapped file, as the system's memory map of the process names it; the system may add a word to that of a
  /// deleted one. Code 31, and code 27 for a file of which the system maps no page for reading.
  stringEx GetFileName() const;

 private:
  // The share in the descriptor. What closing fails with becomes the failure of a mapping.
  struct HOLDER {
    CSysFile file;
    HOLDER() = default;
    HOLDER(const HOLDER&) noexcept = default;
    HOLDER& operator=(const HOLDER&) = delete;
    ~HOLDER() noexcept(false);
  };

  HOLDER holder_;
};

/// A range of a file in memory. What is written to it, unless it is a private copy, goes to the file: when the system
/// likes, or with Flush.
///
/// The range may reach beyond the file's end, and the file may be cut while it is mapped: touching a page that lies wholly
/// behind the end ends the process (SIGBUS). Bytes between the end and the end of its page read as zeros, and are not kept.
///
/// One thread uses a view at a time.
class CFileMapping::CView {
 public:
  /// Maps `size` bytes from `offset` on, any offset; `protection` is bits of the system or mapPrivateCopy, and must be allowed by
  /// how the file was opened. `wanted`, if given, is where the system tries to place the pages. Code 27, for a size of 0 too.
  CView(const CFileMapping& mapping, const std::int64_t& offset, std::uint64_t size, std::uint32_t protection,
        void* wanted = nullptr);
  CView(const CView&) = delete;
  CView& operator=(const CView&) = delete;
  /// Gives the range back; a failure of that is dropped. The last holder of the descriptor closes it: code 29 unless another
  /// exception is unwinding.
  ~CView() noexcept(false);

  /// The byte at the offset; null behind _Release.
  unsigned char* GetAddress() const noexcept { return address_; }
  std::uint64_t GetSize() const noexcept { return size_; }

  /// Brings all that was written to the file, and waits for it. Code 30. Nothing behind _Release.
  void Flush();
  /// Gives the range back now; the descriptor goes with the view. A second time does nothing. Code 28, and the range stays.
  void _Release();

 private:
  void SetupMapView(int descriptor, const std::int64_t& offset, std::uint64_t size, std::uint32_t protection,
                    void* wanted);

  HOLDER holder_;
  unsigned char* address_ = nullptr;
  std::uint64_t size_ = 0;
  std::uint64_t delta_ = 0;  // from the start of the mapped pages to the address
};

}  // namespace Qorv
