// The memory that the library asks for, counted, and refused where a case wants that.
#pragma once

namespace TestLog {

/// How often the calling thread has asked so far.
long Allocations();

/// While it lives the calling thread gets no memory.
class CMemoryIsOut {
 public:
  CMemoryIsOut();
  CMemoryIsOut(const CMemoryIsOut&) = delete;
  CMemoryIsOut& operator=(const CMemoryIsOut&) = delete;
  ~CMemoryIsOut();
};

}  // namespace TestLog
