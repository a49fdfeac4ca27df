// Contacts whole from a plain backup with photos, beside their yardstick in the same run:
// 1,000 and 100,000 generated people (GenerateAddressBook seed 1), one in five with a
// 200 KB photo kept full-size with a crop, exported with VeldrakeBackupGetContacts to a
// callback that base64-encodes each photo as a vCard writer would; beside it, the same
// image blobs read straight from the images database with SQLite and base64-encoded by
// the same encoder. Peak memory of the export: the exporting thread's heap
// (bench/common/HeapCounter.h) and SQLite's own high-water mark.
//
// The backup is the emulator's (WriteBackup), its pictures made one at a time as the
// writer asks for them (AddressBook::photoSource), so 4 GB never sit in memory at once.
#include <sqlite3.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>

#include <benchmark/benchmark.h>

#include "HeapCounter.h"
#include "devicesim/AddressBook.h"
#include "devicesim/backup/BackupWriter.h"
#include "veldrake/BackupContacts.h"
#include "veldrake/Encoders.h"

namespace {

namespace fs = std::filesystem;
constexpr size_t kPhotoBytes = 200 * 1024;
constexpr int kOneIn = 5;  // people with a photo
constexpr const char* kImages = "Library/AddressBook/AddressBookImages.sqlitedb";

const std::string& Scratch() {
  static const std::string path = [] {
    std::string pattern = fs::temp_directory_path().string() + "/veldrake-photos-bench-XXXXXX";
    if (mkdtemp(&pattern[0]) == nullptr) std::abort();
    std::atexit([] { fs::remove_all(Scratch()); });
    return pattern;
  }();
  return path;
}

void Check(int rc, sqlite3* db) {
  if (rc == SQLITE_OK || rc == SQLITE_DONE || rc == SQLITE_ROW) return;
  std::fprintf(stderr, "sqlite: %s\n", sqlite3_errmsg(db));
  std::abort();
}

// A JPEG's frame of 512 x 512 pixels around `size` bytes of coded data that differ by person.
std::string Picture(int person, size_t size) {
  std::string out(
      "\xFF\xD8\xFF\xC0\x00\x11\x08\x02\x00\x02\x00\x03\x01\x11\x00\x02\x11\x01\x03"
      "\x11\x01\xFF\xDA\x00\x0C\x03\x01\x00\x02\x11\x03\x11\x00\x3F\x00",
      35);
  const size_t header = out.size();
  out.resize(size - 2);
  for (size_t i = header; i < out.size(); ++i)
    out[i] = static_cast<char>((static_cast<size_t>(person) * 31 + i * 7) % 0xFF);
  return out + "\xFF\xD9";
}

// The path of the images database's content in the backup at `folder`.
std::string ImagesFile(const std::string& folder) {
  sqlite3* manifest = nullptr;
  Check(
      sqlite3_open_v2((folder + "/Manifest.db").c_str(), &manifest, SQLITE_OPEN_READONLY, nullptr),
      manifest);
  sqlite3_stmt* s = nullptr;
  Check(sqlite3_prepare_v2(manifest, "SELECT fileID FROM Files WHERE relativePath = ?1", -1, &s,
                           nullptr),
        manifest);
  sqlite3_bind_text(s, 1, kImages, -1, SQLITE_STATIC);
  Check(sqlite3_step(s), manifest);
  const std::string id = reinterpret_cast<const char*>(sqlite3_column_text(s, 0));
  sqlite3_finalize(s);
  sqlite3_close(manifest);
  return folder + "/" + id.substr(0, 2) + "/" + id;
}

// The backup of `people`, written once: one person in five with a picture and its crop,
// each picture made as the writer asks for it.
const std::string& BackupOf(int people) {
  static std::map<int, std::string> made;
  auto found = made.find(people);
  if (found != made.end()) return found->second;
  devicesim::AddressBook book = devicesim::GenerateAddressBook(static_cast<size_t>(people), 1);
  for (size_t i = 0; i < book.people.size(); i += kOneIn) {
    book.people[i].hasCrop = true;
    book.people[i].cropWidth = 512;
  }
  book.photoSource = [](const devicesim::Person& p) {
    return p.hasCrop ? Picture(p.id, kPhotoBytes) : std::string();
  };
  const std::string dir = Scratch() + "/book" + std::to_string(people);
  std::string error;
  if (!devicesim::backup::WriteBackup(book, {}, dir, {}, &error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    std::abort();
  }
  return made.emplace(people, dir + "/" + devicesim::backup::BackupOptions().udid).first->second;
}

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
        tally.photos != static_cast<size_t>((people + kOneIn - 1) / kOneIn))
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
    sqlite3* db = nullptr;
    const std::string uri = "file:" + path + "?mode=ro&immutable=1";
    Check(sqlite3_open_v2(uri.c_str(), &db, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr), db);
    sqlite3_stmt* s = nullptr;
    Check(sqlite3_prepare_v2(db, "SELECT data FROM ABFullSizeImage ORDER BY record_id", -1, &s,
                             nullptr),
          db);
    size_t encoded = 0, photos = 0;
    while (sqlite3_step(s) == SQLITE_ROW) {
      ++photos;
      encoded += base64_encode(static_cast<const unsigned char*>(sqlite3_column_blob(s, 0)),
                               static_cast<unsigned int>(sqlite3_column_bytes(s, 0)))
                     .size();
    }
    sqlite3_finalize(s);
    sqlite3_close(db);
    benchmark::DoNotOptimize(encoded);
    if (photos != static_cast<size_t>((people + kOneIn - 1) / kOneIn))
      state.SkipWithError("photos missing");
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
