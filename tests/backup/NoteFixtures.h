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
  std::string id = "ATTACHMENT-ID";  // the attachment's identifier
  int weight = 0;                    // font_weight: 1 bold, 2 italic, 3 both
  bool underline = false, strike = false, quote = false;
  int superscript = 0;  // 1 superscript, -1 subscript
  int color = -1;       // 0xRRGGBB; -1 none
};

// A run of `text` with an inline look: "b", "i", "u", "s", "^", "_" (sub) letters.
Run Looks(std::string text, const std::string& looks);

std::string VarintField(uint32_t field, uint64_t value);
std::string Fixed32Field(uint32_t field, float value);
std::string BytesField(uint32_t field, const std::string& bytes);
// UTF-16 code units of well-formed UTF-8 (four-byte sequences count two).
uint64_t Utf16Units(const std::string& utf8);
// A whole NoteStoreProto holding these runs (the text is their concatenation), with a few
// fields the reader must skip.
std::string EncodeNote(const std::vector<Run>& runs);
// The text-with-runs message alone (a table cell's).
std::string EncodeString(const std::vector<Run>& runs);
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
