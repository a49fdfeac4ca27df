// The live heap counted through the replaced operator new and delete.
#include "CountingAllocator.h"

#include <malloc.h>

#include <cstdlib>
#include <new>

namespace {

size_t g_live = 0, g_peak = 0;

void* Allocate(std::size_t size) {
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  g_live += malloc_usable_size(block);
  if (g_live > g_peak) g_peak = g_live;
  return block;
}

void Free(void* block) {
  if (block == nullptr) return;
  g_live -= malloc_usable_size(block);
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) {
  return Allocate(size);
}
void* operator new[](std::size_t size) {
  return Allocate(size);
}
void operator delete(void* block) noexcept {
  Free(block);
}
void operator delete[](void* block) noexcept {
  Free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  Free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  Free(block);
}

namespace heaptest {

size_t Live() {
  return g_live;
}

size_t Peak() {
  return g_peak;
}

void ResetPeak() {
  g_peak = g_live;
}

}  // namespace heaptest
