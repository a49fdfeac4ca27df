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
#include <openssl/evp.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "HeapCounter.h"
#include "devicesim/AddressBook.h"
#include "devicesim/NoteStore.h"
#include "devicesim/backup/BackupWriter.h"
#include "veldrake/BackupNotes.h"

namespace {

namespace fs = std::filesystem;

constexpr size_t kNotes = 1000, kEvery = 5;  // one note in five has a file
constexpr size_t kFileBytes = 320 * 1024;
const char kPassword[] = "bench password";

struct Fixture {
  fs::path root, backup, out;
};

// Bytes that do not compress, from a small generator.
std::string Noise(size_t bytes, uint32_t seed) {
  std::string out(bytes, '\0');
  for (char& c : out) {
    seed = seed * 1664525u + 1013904223u;
    c = static_cast<char>(seed >> 24);
  }
  return out;
}

Fixture Write(bool encrypted) {
  Fixture f;
  f.root = fs::temp_directory_path() / ("notefiles-bench-" + std::to_string(getpid()));
  f.backup = f.root / "backup";
  f.out = f.root / "out";
  fs::create_directories(f.root / "files");
  fs::create_directories(f.out);
  devicesim::NoteStore notes;
  for (size_t i = 0; i < kNotes; ++i) {
    devicesim::Note note;
    note.subject = "Note " + std::to_string(i);
    note.content = "Some text of note " + std::to_string(i);
    if (i % kEvery == 0) {
      const std::string name = "file" + std::to_string(i) + ".pdf";
      std::ofstream(f.root / "files" / name, std::ios::binary)
          << Noise(kFileBytes, static_cast<uint32_t>(i));
      note.markup = note.subject + "\nA file: ![](" + name + ")\n";
      note.baseDir = (f.root / "files").string();
    }
    notes.notes.push_back(note);
  }
  devicesim::backup::BackupOptions options;
  options.password = encrypted ? kPassword : "";
  options.sha256Iterations = 1000;
  options.sha1Iterations = 100;
  std::string error;
  if (!devicesim::backup::WriteBackup({}, notes, f.backup.string(), options, &error))
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

// The floor: every content file of at least a file's size read, decrypted when the backup
// is, and written.
double Floor(const Fixture& f, bool encrypted) {
  const auto start = std::chrono::steady_clock::now();
  std::vector<unsigned char> in(1 << 20), plain((1 << 20) + 32);
  const unsigned char key[32] = {1}, iv[16] = {};
  size_t n = 0;
  for (const auto& entry : fs::recursive_directory_iterator(f.backup)) {
    if (!entry.is_regular_file() || entry.file_size() < kFileBytes) continue;
    const int src = open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
    const std::string to = (f.out / ("floor" + std::to_string(n++))).string();
    const int dst = open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    EVP_DecryptInit_ex(ctx, EVP_aes_256_cbc(), nullptr, key, iv);
    EVP_CIPHER_CTX_set_padding(ctx, 0);
    for (ssize_t got; (got = read(src, in.data(), in.size())) > 0;) {
      int produced = static_cast<int>(got);
      if (encrypted)
        EVP_DecryptUpdate(ctx, plain.data(), &produced, in.data(), static_cast<int>(got));
      benchmark::DoNotOptimize(
          write(dst, encrypted ? plain.data() : in.data(), static_cast<size_t>(produced)));
    }
    EVP_CIPHER_CTX_free(ctx);
    close(src);
    close(dst);
  }
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  return seconds.count();
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
