// Notes with attachments from a backup, through the library's surface: VeldrakeBackupGetNotes
// with every attachment copied by VeldrakeBackupCopyAttachment into a file of its own, for
// 1,000 notes of which 200 hold a 320 KiB file (64 MiB in all), from a plain backup (Arg 0)
// and an encrypted one (Arg 1) the emulator writes.
//
// The floor, measured in the same run: the same content files of the backup read, decrypted
// with OpenSSL's AES-256-CBC when the backup is encrypted, and written with plain writes
// (`floor_ms`), the two taking turns; `ratio` is the export's time over the floor's. `peak_heap_B`
// is the most heap live on the exporting thread (bench/common/HeapCounter.h): bounded by a note,
// not by files.
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>

#include <benchmark/benchmark.h>

#include "HeapCounter.h"
#include "NoteFileSet.h"
#include "veldrake/BackupNotes.h"

namespace {

namespace fs = std::filesystem;

constexpr size_t kNotes = 1000, kEvery = 5;  // one note in five has a file
constexpr size_t kFileBytes = 320 * 1024;
const char kPassword[] = "bench password";

struct Fixture {
  fs::path root, backup, out;
};

const notefileset::Shape kShape{kNotes, kEvery, kFileBytes};

Fixture Write(bool encrypted) {
  Fixture f;
  f.root = fs::temp_directory_path() / ("notefiles-bench-" + std::to_string(getpid()));
  f.backup = f.root / "backup";
  f.out = f.root / "out";
  fs::create_directories(f.out);
  std::string error;
  const std::string files = (f.root / "files").string();
  if (!notefileset::WriteFiles(kShape, files) ||
      !notefileset::WriteBackup(kShape, files, f.backup.string(), encrypted ? kPassword : "",
                                &error))
    f.root.clear();
  return f;
}

struct Export {
  fs::path out;
  size_t files = 0, bytes = 0, failed = 0;
  bool copy = true;  // false: the notes only, no file copied
};

int Receive(const VeldrakeNote* note, void* context) {
  auto* e = static_cast<Export*>(context);
  for (int i = 0; i < note->attachmentCount; ++i) {
    const VeldrakeNoteAttachment& a = note->attachments[i];
    if (a.fileName == nullptr || !e->copy) continue;
    const std::string path = (e->out / (std::string(note->id) + "-" + a.fileName)).string();
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    e->failed += VeldrakeBackupCopyAttachment(note, &a, fd) != 0;
    close(fd);
    ++e->files;
    e->bytes += static_cast<size_t>(a.size);
  }
  return 0;
}

double Floor(const Fixture& f, bool encrypted) {
  return notefileset::Floor(f.backup.string(), f.out.string(), kFileBytes, encrypted);
}

// One export of every note and file; its seconds.
double ExportOnce(const Fixture& f, bool encrypted, Export* e, long long* peak) {
  e->files = e->bytes = 0;
  const auto start = std::chrono::steady_clock::now();
  heapcount::Begin();
  const int result = VeldrakeBackupGetNotes(f.backup.c_str(), encrypted ? kPassword : nullptr,
                                            nullptr, Receive, e, nullptr, nullptr);
  heapcount::End();
  *peak = std::max(*peak, heapcount::Peak());
  if (result != 0) ++e->failed;
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void BM_NoteFiles(benchmark::State& state) {
  const bool encrypted = state.range(0) != 0;
  const Fixture f = Write(encrypted);
  if (f.root.empty()) return state.SkipWithError("the emulator could not write the backup");
  Export e;
  e.out = f.out;
  long long peak = 0;
  double exported = 0, floor = 0;
  size_t round = 0;
  for (auto _ : state) {
    // Export and floor in turn, each going first every other round, so neither always
    // finds the other's pages in the cache.
    if (round++ % 2 == 0) {
      exported += ExportOnce(f, encrypted, &e, &peak);
      floor += Floor(f, encrypted);
    } else {
      floor += Floor(f, encrypted);
      exported += ExportOnce(f, encrypted, &e, &peak);
    }
    if (e.failed != 0) state.SkipWithError(VeldrakeBackupLastMessage());
  }
  state.counters["files"] = static_cast<double>(e.files);
  state.counters["file_MiB"] = static_cast<double>(e.bytes) / (1 << 20);
  e.copy = false;
  state.counters["notes_only_ms"] = ExportOnce(f, encrypted, &e, &peak) * 1000;
  state.counters["export_ms"] = exported * 1000 / static_cast<double>(round);
  state.counters["floor_ms"] = floor * 1000 / static_cast<double>(round);
  state.counters["ratio"] = exported / floor;
  state.counters["peak_heap_B"] = static_cast<double>(peak);
  fs::remove_all(f.root);
}

BENCHMARK(BM_NoteFiles)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(10);

}  // namespace
BENCHMARK_MAIN();
