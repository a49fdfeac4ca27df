// Note export end to end: GetData(0, ...) against the device emulator serving a generated
// store over a Unix socket, for stores of 1,000 and 100,000 notes.
//
// Reports the time per note and the peak of heap bytes live that the exporting thread
// allocated during the export (bench/common/HeapCounter.h), so the emulator's store and
// its own work on its thread are left out.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include <benchmark/benchmark.h>

#include "HeapCounter.h"
#include "MobileDevice/mdsim.h"
#include "QX/Notes.h"
#include "devicesim/Device.h"
#include "devicesim/NoteStore.h"
#include "devicesim/Records.h"
#include "veldrake/Session.h"

namespace {

size_t gTextBytes = 0;

// The callback as a host declares it; the record is a QX::Notes.
int Receive(void* record) {
  const QX::Notes* note = static_cast<const QX::Notes*>(record);
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
    const devicesim::Value batch = devicesim::NoteBatch(store, begin, begin + options.batchSize);
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
    heapcount::Begin();
    const int result = GetData(0, nullptr, handle, reinterpret_cast<void*>(&Receive));
    heapcount::End();
    DisContectDeviceAndProtocol();
    if (result != 0) state.SkipWithError("export failed");
    peak = std::max(peak, heapcount::Peak());
  }
  mdsim_device_free(handle);
  state.counters["per_note"] =
      benchmark::Counter(static_cast<double>(notes), benchmark::Counter::kIsIterationInvariantRate |
                                                         benchmark::Counter::kInvert);
  state.counters["peak_heap_B"] = static_cast<double>(peak);
  state.counters["largest_reply_B"] = static_cast<double>(largestReply);
  state.counters["live_after_B"] = static_cast<double>(heapcount::Live());
  benchmark::DoNotOptimize(gTextBytes);
}

BENCHMARK(BM_NoteExport)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
