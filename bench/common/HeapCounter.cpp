// The counting global allocator behind HeapCounter.h.
#include "HeapCounter.h"

#include <malloc.h>

#include <cstdlib>
#include <new>

namespace {

thread_local bool tCounting = false;
thread_local long long tLive = 0;
thread_local long long tPeak = 0;

void* Allocate(size_t size) {
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  if (tCounting) {
    tLive += static_cast<long long>(malloc_usable_size(block));
    if (tLive > tPeak) tPeak = tLive;
  }
  return block;
}

void Release(void* p) {
  if (p == nullptr) return;
  if (tCounting) tLive -= static_cast<long long>(malloc_usable_size(p));
  std::free(p);
}

}  // namespace

namespace heapcount {

void Begin() {
  tLive = 0;
  tPeak = 0;
  tCounting = true;
}
void End() {
  tCounting = false;
}
long long Live() {
  return tLive;
}
long long Peak() {
  return tPeak;
}

}  // namespace heapcount

void* operator new(size_t size) {
  return Allocate(size);
}
void* operator new[](size_t size) {
  return Allocate(size);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  try {
    return Allocate(size);
  } catch (...) {
    return nullptr;
  }
}
void* operator new[](size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
void operator delete(void* p) noexcept {
  Release(p);
}
void operator delete[](void* p) noexcept {
  Release(p);
}
void operator delete(void* p, size_t) noexcept {
  Release(p);
}
void operator delete[](void* p, size_t) noexcept {
  Release(p);
}
