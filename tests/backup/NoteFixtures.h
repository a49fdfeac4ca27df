// Fixtures for the note-store tests: a tiny protocol-buffer encoder of our own (written
// from the message layout, independent of the reader under test), gzip through zlib, the
// record collector, and note stores of several OS generations built with SQLite.
#ifndef VELDRAKE_TESTS_BACKUP_NOTEFIXTURES_H_
#define VELDRAKE_TESTS_BACKUP_NOTEFIXTURES_H_

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace notefix {

// One attribute run as a test writes it: its text and its look.
struct Run {
  Run(std::string t = "", int s = -1, int i = 0, int c = -1)  // NOLINT: {"text"} reads well
      : text(std::move(t)), style(s), indent(i), checked(c) {}
  std::string text;
  int style = -1;  // paragraph style_type; -1: no paragraph style
  int indent = 0;
  int checked = -1;  // -1: no checklist; 0 open; 1 ticked
  std::string link;  // "": none
  std::string uti;   // an attachment's type; "" with attachment false: none
  bool attachment = false;
};

std::string VarintField(uint32_t field, uint64_t value);
std::string BytesField(uint32_t field, const std::string& bytes);
// UTF-16 code units of well-formed UTF-8 (four-byte sequences count two).
uint64_t Utf16Units(const std::string& utf8);
// A whole NoteStoreProto holding these runs (the text is their concatenation), with a few
// fields the reader must skip.
std::string EncodeNote(const std::vector<Run>& runs);
std::string Gzip(const std::string& bytes);

// What the callback received.
struct Delivered {
  std::string subject, content;
  int64_t date;
};
// The record callback of the tests: copies each note into Collected(); answers -1 once
// StopAfter() records arrived (0: never).
int Collect(void* record);
std::vector<Delivered>& Collected();
size_t& StopAfter();
// A warning callback appending to the std::vector<std::string> at `context`.
void CollectWarning(const char* line, void* context);

struct DbCloser {
  void operator()(sqlite3* db) const { sqlite3_close(db); }
};
using Db = std::unique_ptr<sqlite3, DbCloser>;
Db OpenMemory();
void Exec(sqlite3* db, const std::string& sql);

// A modern store's schema as one OS generation creates it.
enum class Generation { kIos13, kIos17 };
void CreateModernStore(sqlite3* db, Generation generation);
// ICNote/ICFolder entity numbers of that generation.
int NoteEntity(Generation generation);
int FolderEntity(Generation generation);

enum class LegacyGeneration { kIos5, kIos8 };  // kIos5: bodies found by ZOWNER only
void CreateLegacyStore(sqlite3* db, LegacyGeneration generation);

}  // namespace notefix

#endif  // VELDRAKE_TESTS_BACKUP_NOTEFIXTURES_H_
