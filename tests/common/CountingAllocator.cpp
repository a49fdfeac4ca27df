// The live heap counted through the replaced operator new and delete.
#include "CountingAllocator.h"

#include <malloc.h>

#include <cstdlib>
#include <new>

namespace {

size_t g_live = 0, g_peak = 0;

void Count(void* block) {
  g_live += malloc_usable_size(block);
  if (g_live > g_peak) g_peak = g_live;
}

void* Allocate(std::size_t size) {
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  Count(block);
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
// The library's temporary buffers (std::stable_sort's) come from these and go back
// through the deletes above: every form must be ours, or a block crosses allocators.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block != nullptr) Count(block);
  return block;
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  Free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
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
