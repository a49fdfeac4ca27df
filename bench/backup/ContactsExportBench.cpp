// Contacts with photos from a plain backup (PhotoBackup.h: 1,000 and 100,000 people, one in
// five with a 200 KB picture, kept with a crop or, in a second backup, without one)
// exported to vCard 3.0 through the host's own path: the backup library lends each person
// to Exporter::OnContact, the Exporter copies it with its photo, and ContactDocument
// renders the card (base64 photo, crop, folded lines) as it arrives. The cards go to a
// stream buffer that counts and drops them, so the figure is the host's work and not the
// disk's (5.3 GiB of cards at 100,000 people). Beside it in the same run, the floor: the
// same image blobs read straight from the images database with SQLite and base64-encoded
// by the host's own encoder; and that floor with the MD5 of each picture that a card's
// crop rectangle carries (X-ABCROP-RECTANGLE, as the phone writes it), the least work a
// card with its crop needs; a picture without a crop needs no digest. Peak memory: the
// exporting thread's heap (bench/common/HeapCounter.h) and SQLite's own high-water mark.
#include <openssl/evp.h>
#include <sqlite3.h>

#include <time.h>

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <streambuf>
#include <string>

#include <benchmark/benchmark.h>

#include "ContactDocument.h"
#include "Exporter.h"
#include "HeapCounter.h"
#include "PhotoBackup.h"
#include "Photos.h"
#include "veldrake/BackupContacts.h"

namespace {

using namespace photobackup;

// Counts what is written and keeps none of it.
class Discard : public std::streambuf {
 public:
  uint64_t bytes = 0;

 protected:
  std::streamsize xsputn(const char*, std::streamsize n) override {
    bytes += static_cast<uint64_t>(n);
    return n;
  }
  int_type overflow(int_type c) override {
    bytes += c != traits_type::eof();
    return traits_type::not_eof(c);
  }
};

// The export's sink: each person rendered into the document as it comes.
class CardSink : public host::RecordSink {
 public:
  explicit CardSink(std::ostream& out) : document_(out, host::Format::kVCard3, false, nullptr) {}
  bool Take(host::Contact&& contact) override {
    ++people;
    photos += contact.photo.has_value();
    crops += contact.photo && contact.photo->hasCrop;
    std::string error;
    return document_.Add(contact, nullptr, &error);
  }
  bool Take(host::Note&&) override { return false; }
  // The document's end: what the writer still holds goes out.
  bool End() {
    std::string error;
    return document_.End(&error);
  }
  size_t people = 0, photos = 0, crops = 0;

 private:
  host::ContactDocument document_;
};

const char* g_folder = nullptr;

// GetData's shape over the backup library, as the host's backup command gives it.
int GetContacts(int, void*, void*, void*) {
  return VeldrakeBackupGetContacts(g_folder, nullptr, 0, host::Exporter::OnContact, nullptr,
                                   nullptr, nullptr);
}

int Close() {
  return 0;
}

// CPU time of the whole process, both of the export's threads: the CPU column is the
// benchmark thread's alone.
double ProcessCpuMs() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

Kept KeptAs(int64_t cropped) {
  return cropped != 0 ? Kept::kCropped : Kept::kUncropped;
}

void BM_VCardExport(benchmark::State& state) {
  const int people = static_cast<int>(state.range(0));
  g_folder = BackupOf(people, KeptAs(state.range(1))).c_str();
  host::Library library;
  library.getData = GetContacts;
  library.disconnect = Close;
  long long heapPeak = 0, sqlitePeak = 0;
  uint64_t bytes = 0;
  double processCpu = 0;
  for (auto _ : state) {
    Discard cards;
    std::ostream out(&cards);
    CardSink sink(out);
    host::ExportSettings settings;
    settings.platformDevice = false;
    settings.sink = &sink;
    sqlite3_memory_highwater(1);
    heapcount::Begin();
    const double cpuBefore = ProcessCpuMs();
    const host::ExportOutcome outcome = host::Exporter(library, settings).Run(nullptr);
    const bool ended = sink.End();
    processCpu += ProcessCpuMs() - cpuBefore;
    heapcount::End();
    heapPeak = std::max(heapPeak, heapcount::Peak());
    sqlitePeak = std::max<long long>(sqlitePeak, sqlite3_memory_highwater(0));
    bytes = cards.bytes;
    if (outcome.result != 0 || !ended || !out || sink.people != static_cast<size_t>(people) ||
        sink.photos != Photos(people) || sink.crops != (state.range(1) != 0 ? sink.photos : 0))
      state.SkipWithError("the export is incomplete");
  }
  state.counters["peak_heap_MiB"] = static_cast<double>(heapPeak) / (1 << 20);
  state.counters["peak_sqlite_MiB"] = static_cast<double>(sqlitePeak) / (1 << 20);
  state.counters["cards_MiB"] = static_cast<double>(bytes) / (1 << 20);
  state.counters["process_cpu_ms"] =
      benchmark::Counter(processCpu, benchmark::Counter::kAvgIterations);
}

// The floor: the same blobs, straight from SQLite, through the host's encoder; with
// `state.range(1)` also each blob's MD5.
void BM_BlobsFromSqliteBase64(benchmark::State& state) {
  const int people = static_cast<int>(state.range(0));
  const bool digest = state.range(1) != 0;
  const Kept kept = KeptAs(state.range(2));
  const std::string path = ImagesFile(BackupOf(people, kept));
  for (auto _ : state) {
    size_t encoded = 0;
    const auto each = [&](const unsigned char* bytes, size_t size) {
      const char* blob = reinterpret_cast<const char*>(bytes);
      encoded += host::Base64(std::string(blob, size)).size();
      unsigned char md5[EVP_MAX_MD_SIZE];
      unsigned int length = 0;
      if (digest && EVP_Digest(blob, size, md5, &length, EVP_md5(), nullptr) != 1)
        state.SkipWithError("no MD5");
      encoded += length;
    };
    const size_t photos = ForEachPicture(path, each, kept);
    benchmark::DoNotOptimize(encoded);
    if (photos != Photos(people)) state.SkipWithError("photos missing");
  }
}

BENCHMARK(BM_VCardExport)
    ->ArgNames({"people", "crop"})
    ->ArgsProduct({{1000, 100000}, {1, 0}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
// With a crop: the blobs with and without their digests; without: the blobs alone.
BENCHMARK(BM_BlobsFromSqliteBase64)
    ->ArgNames({"people", "md5", "crop"})
    ->Args({1000, 0, 1})
    ->Args({100000, 0, 1})
    ->Args({1000, 1, 1})
    ->Args({100000, 1, 1})
    ->Args({1000, 0, 0})
    ->Args({100000, 0, 0})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
