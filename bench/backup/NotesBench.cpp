// Notes from a backup: DeliverModernNotes over the NoteStore.sqlite of a backup the
// emulator writes (devicesim::backup::WriteBackup), for 10,000 notes of which 1,000 hold
// 200 KB of text, and for a tenth of that store, to show memory bounded by the largest
// note rather than by the store.
//
// Reports the store's bytes read per second (`store_MiBps`) beside a plain sequential read
// of the same file (`read_MiBps`, the disk or page-cache floor) and the time to only read
// and inflate every body (`inflate_only_ms`, zlib's floor), the peak of heap bytes
// live on the exporting thread (bench/common/HeapCounter.h), SQLite's own high-water mark
// and the largest note's text.
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "BackupNotes.h"
#include "HeapCounter.h"
#include "NoteInflate.h"
#include "QX/Notes.h"
#include "devicesim/AddressBook.h"
#include "devicesim/NoteStore.h"
#include "devicesim/backup/BackupWriter.h"

namespace {

namespace fs = std::filesystem;

constexpr size_t kLargeNoteBytes = 200 * 1024;
constexpr size_t kSmallNoteBytes = 400;
constexpr size_t kLargeEvery = 10;  // one note in ten is large
const char kUdid[] = "00008110-000A1B2C3D4E5F60";

size_t gTextBytes = 0;

int Receive(void* record) {
  const auto* note = static_cast<const QX::Notes*>(record);
  if (note->content != nullptr) gTextBytes += std::strlen(note->content);
  return 0;
}

// Text that compresses about as well as prose does: words from a fixed list, picked by a
// small generator, lines of about sixty characters.
std::string Prose(size_t bytes, uint32_t seed) {
  static const char* const kWords[] = {"the",  "phone", "backup",  "notes",    "über", "café",
                                       "東京", "list",  "meeting", "tomorrow", "milk", "😀"};
  std::string text;
  size_t column = 0;
  while (text.size() < bytes) {
    seed = seed * 1664525u + 1013904223u;
    const char* word = kWords[(seed >> 16) % (sizeof kWords / sizeof *kWords)];
    text += word;
    column += std::strlen(word) + 1;
    text += column > 60 ? '\n' : ' ';
    if (column > 60) column = 0;
  }
  return text;
}

// Writes the backup once per size and answers the path of its NoteStore.sqlite.
std::string NoteStorePath(size_t notes, std::string* error) {
  const fs::path dir =
      fs::temp_directory_path() /
      ("veldrake-notes-bench-" + std::to_string(getpid()) + "-" + std::to_string(notes));
  devicesim::NoteStore store;
  for (size_t i = 0; i < notes; ++i) {
    const size_t bytes = i % kLargeEvery == 0 ? kLargeNoteBytes : kSmallNoteBytes;
    store.notes.push_back({"Note " + std::to_string(i), Prose(bytes, static_cast<uint32_t>(i)),
                           7.0e8 + static_cast<double>(i)});
  }
  devicesim::backup::BackupOptions options;
  options.replace = true;
  fs::create_directories(dir);
  if (!devicesim::backup::WriteBackup(devicesim::AddressBook{}, store, dir.string(), options,
                                      error))
    return "";
  sqlite3* manifest = nullptr;
  std::string found;
  sqlite3_stmt* query = nullptr;
  const fs::path backup = dir / kUdid;
  if (sqlite3_open_v2((backup / "Manifest.db").c_str(), &manifest, SQLITE_OPEN_READONLY, nullptr) ==
          SQLITE_OK &&
      sqlite3_prepare_v2(manifest,
                         "SELECT fileID FROM Files WHERE domain = "
                         "'AppDomainGroup-group.com.apple.notes' AND relativePath = "
                         "'NoteStore.sqlite'",
                         -1, &query, nullptr) == SQLITE_OK &&
      sqlite3_step(query) == SQLITE_ROW) {
    const std::string id = reinterpret_cast<const char*>(sqlite3_column_text(query, 0));
    found = (backup / id.substr(0, 2) / id).string();
  }
  sqlite3_finalize(query);
  sqlite3_close(manifest);
  if (found.empty()) *error = "no NoteStore.sqlite in the written backup";
  return found;
}

// Seconds to read every body of the store and inflate it, nothing more: the floor our
// export has, since a note's text is several times its gzip.
double InflateOnly(const std::string& path) {
  sqlite3* db = nullptr;
  sqlite3_stmt* query = nullptr;
  const auto start = std::chrono::steady_clock::now();
  sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  sqlite3_prepare_v2(db, "SELECT ZDATA FROM ZICNOTEDATA ORDER BY Z_PK", -1, &query, nullptr);
  std::string text;
  while (sqlite3_step(query) == SQLITE_ROW) {
    veldrake::backup::InflateNoteBody(static_cast<const uint8_t*>(sqlite3_column_blob(query, 0)),
                                      static_cast<size_t>(sqlite3_column_bytes(query, 0)),
                                      veldrake::backup::kNoteBodyCap, &text);
    gTextBytes += text.size();
  }
  sqlite3_finalize(query);
  sqlite3_close(db);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  return seconds.count();
}

// MiB/s of a plain sequential read of `path`, the floor any reader of the file has.
double ReadSpeed(const std::string& path) {
  std::vector<char> buffer(1 << 20);
  const auto start = std::chrono::steady_clock::now();
  const int fd = open(path.c_str(), O_RDONLY);
  size_t total = 0;
  ssize_t got = 0;
  while (fd >= 0 && (got = read(fd, buffer.data(), buffer.size())) > 0)
    total += static_cast<size_t>(got);
  if (fd >= 0) close(fd);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  return static_cast<double>(total) / (1 << 20) / seconds.count();
}

void BM_BackupNotes(benchmark::State& state) {
  const size_t notes = static_cast<size_t>(state.range(0));
  std::string error;
  const std::string path = NoteStorePath(notes, &error);
  if (path.empty()) {
    state.SkipWithError(error.c_str());
    return;
  }
  const double storeBytes = static_cast<double>(fs::file_size(path));
  long long peak = 0;
  sqlite3_int64 sqlitePeak = 0;
  for (auto _ : state) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_memory_highwater(1);
    heapcount::Begin();
    const int result =
        veldrake::backup::DeliverModernNotes(db, veldrake::backup::NoMediaFiles, Receive, {});
    heapcount::End();
    sqlitePeak = std::max(sqlitePeak, sqlite3_memory_highwater(0));
    sqlite3_close(db);
    if (result != 0) state.SkipWithError("export failed");
    peak = std::max(peak, heapcount::Peak());
  }
  state.counters["store_MiBps"] =
      benchmark::Counter(storeBytes / (1 << 20), benchmark::Counter::kIsIterationInvariantRate);
  state.counters["read_MiBps"] = ReadSpeed(path);
  state.counters["inflate_only_ms"] = InflateOnly(path) * 1000;
  state.counters["store_B"] = storeBytes;
  state.counters["peak_heap_B"] = static_cast<double>(peak);
  state.counters["sqlite_peak_B"] = static_cast<double>(sqlitePeak);
  state.counters["largest_note_B"] = static_cast<double>(kLargeNoteBytes);
  fs::remove_all(fs::path(path).parent_path().parent_path().parent_path());
  benchmark::DoNotOptimize(gTextBytes);
}

BENCHMARK(BM_BackupNotes)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

// A host sets its locale; record texts are made for it (UTF-8 here, as the tests use).
int main(int argc, char** argv) {
  std::setlocale(LC_ALL, "C.UTF-8");
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
