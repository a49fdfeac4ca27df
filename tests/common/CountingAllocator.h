// CountingAllocator: the test program's operator new and delete replaced by ones that count
// the live heap, so a test can show how much an operation holds at its peak. Link
// CountingAllocator.cpp into a test program of its own.
#ifndef VELDRAKE_TESTS_COUNTINGALLOCATOR_H_
#define VELDRAKE_TESTS_COUNTINGALLOCATOR_H_

#include <cstddef>

namespace heaptest {

// Bytes live now (usable sizes, as malloc gave them).
size_t Live();
// The most live since the last ResetPeak.
size_t Peak();
void ResetPeak();

}  // namespace heaptest

#endif  // VELDRAKE_TESTS_COUNTINGALLOCATOR_H_
