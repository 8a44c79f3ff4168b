#include "support/memory.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

thread_local long allocations = 0;
thread_local long last = std::numeric_limits<long>::max();  // that is granted

bool MayAllocate() {
  return ++allocations <= last;
}

}  // namespace

// NOLINTBEGIN
extern "C" void* __real_realloc(void* room, std::size_t size);
extern "C" void* __wrap_realloc(void* room, std::size_t size);
extern "C" void* __wrap_realloc(void* room, std::size_t size) {
  return MayAllocate() ? __real_realloc(room, size) : nullptr;
}

void* operator new(std::size_t size) {
  void* const room = MayAllocate() ? std::malloc(size) : nullptr;
  if (room == nullptr) throw std::bad_alloc();
  return room;
}
void operator delete(void* room) noexcept {
  std::free(room);
}
void operator delete(void* room, std::size_t) noexcept {
  std::free(room);
}
// NOLINTEND

namespace TestSupport {

long Allocations() {
  return allocations;
}

CMemoryIsOut::CMemoryIsOut(long times) {
  last = allocations + times;
}
CMemoryIsOut::~CMemoryIsOut() {
  last = std::numeric_limits<long>::max();
}

}  // namespace TestSupport
