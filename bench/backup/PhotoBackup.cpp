// The photo benchmarks' backup, written by the emulator once per size.
#include "PhotoBackup.h"

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <utility>

#include "devicesim/AddressBook.h"
#include "devicesim/backup/BackupWriter.h"

namespace photobackup {
namespace {

namespace fs = std::filesystem;
constexpr const char* kImages = "Library/AddressBook/AddressBookImages.sqlitedb";

// The scratch folder's path, never destroyed: the removal at exit runs after the
// destructors of the statics made before it was registered, a function's own static
// string among them, which once left every run's 4 to 8 GB of backups behind.
const std::string* g_scratch = nullptr;

void RemoveScratch() {
  fs::remove_all(*g_scratch);
}

const std::string& Scratch() {
  if (g_scratch != nullptr) return *g_scratch;
  std::string pattern = fs::temp_directory_path().string() + "/veldrake-photos-bench-XXXXXX";
  if (mkdtemp(&pattern[0]) == nullptr) std::abort();
  g_scratch = new std::string(pattern);
  std::atexit(RemoveScratch);
  return *g_scratch;
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

// The images database's table that holds the pictures kept so.
const char* PictureTable(Kept kept) {
  return kept == Kept::kCropped ? "ABFullSizeImage" : "ABThumbnailImage";
}

}  // namespace

void Check(int rc, sqlite3* db) {
  if (rc == SQLITE_OK || rc == SQLITE_DONE || rc == SQLITE_ROW) return;
  std::fprintf(stderr, "sqlite: %s\n", sqlite3_errmsg(db));
  std::abort();
}

size_t ForEachPicture(const std::string& imagesFile,
                      const std::function<void(const unsigned char*, size_t)>& each, Kept kept) {
  sqlite3* db = nullptr;
  const std::string uri = "file:" + imagesFile + "?mode=ro&immutable=1";
  Check(sqlite3_open_v2(uri.c_str(), &db, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr), db);
  sqlite3_stmt* s = nullptr;
  const std::string sql =
      std::string("SELECT data FROM ") + PictureTable(kept) + " ORDER BY record_id";
  Check(sqlite3_prepare_v2(db, sql.c_str(), -1, &s, nullptr), db);
  size_t pictures = 0;
  while (sqlite3_step(s) == SQLITE_ROW) {
    ++pictures;
    each(static_cast<const unsigned char*>(sqlite3_column_blob(s, 0)),
         static_cast<size_t>(sqlite3_column_bytes(s, 0)));
  }
  sqlite3_finalize(s);
  sqlite3_close(db);
  return pictures;
}

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

// The backup of `people`, written once: one person in five with a picture, with its crop
// or without, each picture made as the writer asks for it.
const std::string& BackupOf(int people, Kept kept) {
  static std::map<std::pair<int, Kept>, std::string> made;
  auto found = made.find({people, kept});
  if (found != made.end()) return found->second;
  devicesim::AddressBook book = devicesim::GenerateAddressBook(static_cast<size_t>(people), 1);
  for (size_t i = 0; i < book.people.size(); i += kOneIn) {
    book.people[i].hasCrop = kept == Kept::kCropped;
    book.people[i].cropWidth = 512;
  }
  // Generated people are numbered from 1 in the book's order.
  book.photoSource = [](const devicesim::Person& p) {
    return (p.id - 1) % kOneIn == 0 ? Picture(p.id, kPhotoBytes) : std::string();
  };
  const std::string dir =
      Scratch() + "/book" + std::to_string(people) + (kept == Kept::kCropped ? "" : "-uncropped");
  std::string error;
  if (!devicesim::backup::WriteBackup(book, {}, dir, {}, &error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    std::abort();
  }
  return made
      .emplace(std::make_pair(people, kept), dir + "/" + devicesim::backup::BackupOptions().udid)
      .first->second;
}

}  // namespace photobackup
