// The memory that the library asks for, counted, and refused where a case wants that.
#pragma once

namespace TestSupport {

/// How often the calling thread has asked so far.
long Allocations();

/// While it lives the calling thread gets memory so many times, and then no more.
class CMemoryIsOut {
 public:
  explicit CMemoryIsOut(long times = 0);
  CMemoryIsOut(const CMemoryIsOut&) = delete;
  CMemoryIsOut& operator=(const CMemoryIsOut&) = delete;
  ~CMemoryIsOut();
};

}  // namespace TestSupport
