#include "log/memory.h"

#include <cstdlib>
#include <new>

namespace {

thread_local long allocations = 0;
thread_local bool isOut = false;

bool MayAllocate() {
  ++allocations;
  return !isOut;
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

namespace TestLog {

long Allocations() {
  return allocations;
}

CMemoryIsOut::CMemoryIsOut() {
  isOut = true;
}
CMemoryIsOut::~CMemoryIsOut() {
  isOut = false;
}

}  // namespace TestLog
