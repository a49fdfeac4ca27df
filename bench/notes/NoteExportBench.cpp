// Note export end to end: GetData(0, ...) against the device emulator serving a generated
// store over a Unix socket, for stores of 1,000 and 100,000 notes.
//
// Reports the time per note and the peak of heap bytes live that the library's thread
// allocated during the export. Allocations are counted by replacing the global operator
// new/delete in this program; only blocks allocated while the exporting thread has
// counting switched on are counted, so the emulator's store and its own work on its thread
// are left out, while a block counted here is discounted wherever it is freed.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include <benchmark/benchmark.h>

#include "MobileDevice/mdsim.h"
#include "QX/Notes.h"
#include "devicesim/Device.h"
#include "devicesim/NoteStore.h"
#include "devicesim/Records.h"
#include "veldrake/Session.h"

namespace {

std::atomic<long long> gLive{0};
std::atomic<long long> gPeak{0};
thread_local bool tCounting = false;

// Every block carries its size and whether it was counted, ahead of the caller's bytes.
constexpr size_t kHeader = alignof(std::max_align_t);

void* Allocate(size_t size) {
  auto* block = static_cast<unsigned char*>(std::malloc(size + kHeader));
  if (block == nullptr) throw std::bad_alloc();
  size_t* header = reinterpret_cast<size_t*>(block);
  header[0] = size;
  header[1] = tCounting ? 1 : 0;
  if (tCounting) {
    const long long live = gLive.fetch_add(static_cast<long long>(size)) + size;
    long long peak = gPeak.load();
    while (live > peak && !gPeak.compare_exchange_weak(peak, live)) {
    }
  }
  return block + kHeader;
}

void Release(void* p) {
  if (p == nullptr) return;
  unsigned char* block = static_cast<unsigned char*>(p) - kHeader;
  const size_t* header = reinterpret_cast<const size_t*>(block);
  if (header[1] != 0) gLive.fetch_sub(static_cast<long long>(header[0]));
  std::free(block);
}

size_t gTextBytes = 0;

int Receive(QX::Notes* note) {
  if (note->subject != nullptr) gTextBytes += std::strlen(note->subject);
  if (note->content != nullptr) gTextBytes += std::strlen(note->content);
  return 0;
}

void BM_NoteExport(benchmark::State& state) {
  const size_t notes = static_cast<size_t>(state.range(0));
  const std::string path = "/tmp/veldrake-notes-bench-" + std::to_string(getpid()) + ".sock";
  devicesim::DeviceOptions options;
  options.batchSize = 100;
  devicesim::NoteStore store = devicesim::GenerateNotes(notes, 1);
  // The largest batch reply the device sends, to set the peak against.
  size_t largestReply = 0;
  for (size_t begin = 0; begin < notes; begin += options.batchSize) {
    const prop batch = devicesim::NoteBatch(store, begin, begin + options.batchSize);
    largestReply =
        std::max(largestReply, devicesim::BatchReply("com.apple.Notes", batch, true).size());
  }
  devicesim::Listener device("unix:" + path, {}, std::move(store), options);
  if (!device.ok()) {
    state.SkipWithError(device.error().c_str());
    return;
  }
  void* handle = mdsim_device_new(device.endpoint().c_str());
  long long peak = 0;
  for (auto _ : state) {
    gPeak = gLive.load();
    const long long base = gLive.load();
    tCounting = true;
    const int result = GetData(0, nullptr, handle, reinterpret_cast<void*>(&Receive));
    tCounting = false;
    DisContectDeviceAndProtocol();
    if (result != 0) state.SkipWithError("export failed");
    peak = std::max(peak, gPeak.load() - base);
  }
  mdsim_device_free(handle);
  state.counters["per_note"] =
      benchmark::Counter(static_cast<double>(notes), benchmark::Counter::kIsIterationInvariantRate |
                                                         benchmark::Counter::kInvert);
  state.counters["peak_heap_B"] = static_cast<double>(peak);
  state.counters["largest_reply_B"] = static_cast<double>(largestReply);
  state.counters["live_after_B"] = static_cast<double>(gLive.load());
  benchmark::DoNotOptimize(gTextBytes);
}

BENCHMARK(BM_NoteExport)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

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

BENCHMARK_MAIN();
