// Contacts whole from a plain backup with photos, beside their yardstick in the same run:
// 1,000 and 100,000 generated people (GenerateAddressBook seed 1), one in five with a
// 200 KB photo kept full-size with a crop, exported with VeldrakeBackupGetContacts to a
// callback that base64-encodes each photo as a vCard writer would; beside it, the same
// image blobs read straight from the images database with SQLite and base64-encoded by
// the same encoder. Peak memory of the export: the exporting thread's heap
// (bench/common/HeapCounter.h) and SQLite's own high-water mark.
//
// The backup is the emulator's (PhotoBackup.h).
#include <sqlite3.h>

#include <algorithm>
#include <string>

#include <benchmark/benchmark.h>

#include "HeapCounter.h"
#include "PhotoBackup.h"
#include "veldrake/BackupContacts.h"
#include "veldrake/Encoders.h"

namespace {

using namespace photobackup;

struct Tally {
  size_t people = 0, photos = 0, encoded = 0;
};

int Encode(void* /*contact*/, const VeldrakeContactDetails* details, void* context) {
  auto* tally = static_cast<Tally*>(context);
  ++tally->people;
  if (details->photo != nullptr) {
    ++tally->photos;
    tally->encoded +=
        base64_encode(details->photo->data, static_cast<unsigned int>(details->photo->size)).size();
  }
  return 0;
}

void BM_ContactsWithPhotos(benchmark::State& state) {
  const int people = static_cast<int>(state.range(0));
  const std::string& folder = BackupOf(people);
  long long heapPeak = 0, sqlitePeak = 0;
  for (auto _ : state) {
    Tally tally;
    sqlite3_memory_highwater(1);
    heapcount::Begin();
    const int result =
        VeldrakeBackupGetContacts(folder.c_str(), nullptr, 0, Encode, &tally, nullptr, nullptr);
    heapcount::End();
    heapPeak = std::max(heapPeak, heapcount::Peak());
    sqlitePeak = std::max<long long>(sqlitePeak, sqlite3_memory_highwater(0));
    if (result != 0 || tally.people != static_cast<size_t>(people) ||
        tally.photos != Photos(people))
      state.SkipWithError("the export is incomplete");
  }
  state.counters["peak_heap_MiB"] = static_cast<double>(heapPeak) / (1 << 20);
  state.counters["peak_sqlite_MiB"] = static_cast<double>(sqlitePeak) / (1 << 20);
}

// The yardstick: the same blobs, straight from SQLite, through the same encoder.
void BM_BlobsFromSqlite(benchmark::State& state) {
  const int people = static_cast<int>(state.range(0));
  const std::string path = ImagesFile(BackupOf(people));
  for (auto _ : state) {
    size_t encoded = 0;
    const size_t photos = ForEachPicture(path, [&](const unsigned char* blob, size_t size) {
      encoded += base64_encode(blob, static_cast<unsigned int>(size)).size();
    });
    benchmark::DoNotOptimize(encoded);
    if (photos != Photos(people)) state.SkipWithError("photos missing");
  }
}

BENCHMARK(BM_ContactsWithPhotos)
    ->Arg(1000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_BlobsFromSqlite)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
