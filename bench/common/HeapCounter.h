// Counts the heap bytes that one thread allocates while counting is on. Linking this file
// into a benchmark program replaces its global operator new/delete with plain malloc/free
// plus a per-thread count in usable sizes, so every request reaches malloc unchanged and
// the measured code runs on the default allocator, as in a host. Blocks are assumed to be
// freed on the thread that allocated them (true of an export: its frames, trees and
// records never cross to the emulator's thread).
#ifndef VELDRAKE_BENCH_HEAPCOUNTER_H_
#define VELDRAKE_BENCH_HEAPCOUNTER_H_

namespace heapcount {

// Starts counting on this thread from zero live bytes and a zero peak.
void Begin();
// Stops counting on this thread; Live and Peak keep their values.
void End();
// Bytes counted live on this thread, and the most that were live at once.
long long Live();
long long Peak();

}  // namespace heapcount

#endif  // VELDRAKE_BENCH_HEAPCOUNTER_H_
