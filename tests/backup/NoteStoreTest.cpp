// The two note stores end to end: fixture databases of several OS generations, with
// notes to deliver, to leave out and to skip with a warning.
#include <gtest/gtest.h>

#include "BackupNotes.h"
#include "LegacyNotes.h"
#include "NoteFixtures.h"
#include "NoteStoreModern.h"
#include "veldrake/Backup.h"

using namespace veldrake::backup;
using notefix::Delivered;
using notefix::Generation;
using notefix::LegacyGeneration;

namespace {

class NoteStore : public ::testing::Test {
 protected:
  void SetUp() override {
    notefix::Collected().clear();
    notefix::StopAfter() = 0;
    lines_.clear();
    warnings_.callback = notefix::CollectWarning;
    warnings_.context = &lines_;
  }
  Warnings warnings_;
  std::vector<std::string> lines_;
};

// One row of ZICCLOUDSYNCINGOBJECT and its body, as both generations store it.
struct ModernNote {
  int id;
  const char* title;
  int folder;  // the folder's Z_PK
  int marked, locked;
  const char* modified;  // SQL literal
  const char* created;
  std::string data;  // ZDATA bytes; "" stores NULL
};

constexpr int kNotesFolder = 1, kTrash = 2;
constexpr size_t kTestCap = 4096;

std::string Blob(const std::string& bytes) {
  if (bytes.empty()) return "NULL";
  static const char kHex[] = "0123456789abcdef";
  std::string out = "x'";
  for (const char ch : bytes) {
    const auto c = static_cast<unsigned char>(ch);
    out += {kHex[c >> 4], kHex[c & 15]};
  }
  return out + "'";
}

void InsertModern(sqlite3* db, Generation generation, const ModernNote& note) {
  const std::string created =
      generation == Generation::kIos13 ? "ZCREATIONDATE1" : "ZCREATIONDATE3";
  const std::string id = std::to_string(note.id), dataId = std::to_string(note.id + 100);
  notefix::Exec(db,
                "INSERT INTO ZICCLOUDSYNCINGOBJECT (Z_PK, Z_ENT, ZTITLE1, ZFOLDER, "
                "ZMARKEDFORDELETION, ZISPASSWORDPROTECTED, ZMODIFICATIONDATE1, " +
                    created + ", ZNOTEDATA) VALUES (" + id + ", " +
                    std::to_string(notefix::NoteEntity(generation)) + ", '" + note.title + "', " +
                    std::to_string(note.folder) + ", " + std::to_string(note.marked) + ", " +
                    std::to_string(note.locked) + ", " + note.modified + ", " + note.created +
                    ", " + dataId + ");");
  notefix::Exec(db, "INSERT INTO ZICNOTEDATA (Z_PK, ZNOTE, ZDATA) VALUES (" + dataId + ", " + id +
                        ", " + Blob(note.data) + ");");
}

void FillModern(sqlite3* db, Generation generation) {
  notefix::CreateModernStore(db, generation);
  const std::string folder = std::to_string(notefix::FolderEntity(generation));
  notefix::Exec(db,
                "INSERT INTO ZICCLOUDSYNCINGOBJECT (Z_PK, Z_ENT, ZTITLE2, ZFOLDERTYPE) VALUES "
                "(1, " +
                    folder + ", 'Notes', 0), (2, " + folder + ", 'Recently Deleted', 1);");
  const std::string body = notefix::Gzip(notefix::EncodeNote(
      {{"Groceries\n"}, notefix::Run{"Buy:\n"}, notefix::Run{"milk", 103, 0, 1}}));
  const std::string plain = notefix::Gzip(notefix::EncodeNote({{"Second\nline two"}}));
  // Inserted out of order: delivery is by note id.
  const ModernNote notes[] = {
      {20, "Second", kNotesFolder, 0, 0, "NULL", "700000000.9", plain},
      {11, "Groceries", kNotesFolder, 0, 0, "726000000.75", "1", body},
      {12, "Binned", kTrash, 0, 0, "1", "1", plain},
      {13, "Marked", kNotesFolder, 1, 0, "1", "1", plain},
      {14, "Diary\nsecret", kNotesFolder, 0, 1, "1", "1", "\x01garbage"},
      {15, "Broken", kNotesFolder, 0, 0, "1", "1", "not gzip"},
      {16, "Huge", kNotesFolder, 0, 0, "1", "1", notefix::Gzip(std::string(kTestCap + 1, 'a'))},
      {17, "", kNotesFolder, 0, 0, "NULL", "NULL", ""},
  };
  for (const ModernNote& note : notes) InsertModern(db, generation, note);
}

TEST_F(NoteStore, ModernStoresOfEachGenerationDeliverTheSameNotes) {
  const std::vector<std::string> warned = {
      "note 14 \"Diary secret\" is locked, but its lock is damaged; skipped",
      "note 15 \"Broken\" has a damaged body; skipped",
      "note 16 \"Huge\" is larger than 4096 bytes; skipped"};
  for (Generation generation : {Generation::kIos13, Generation::kIos17}) {
    SetUp();
    notefix::Db db = notefix::OpenMemory();
    FillModern(db.get(), generation);
    ASSERT_EQ(ReadModernNotes(db.get(), NoMediaFiles, notefix::Collect, warnings_, kTestCap),
              kVeldrakeBackupOk);
    const auto& got = notefix::Collected();
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0].subject, "Groceries");
    EXPECT_EQ(got[0].content, "Buy:\n- [x] milk");
    EXPECT_EQ(got[0].date, 726000000);
    EXPECT_EQ(got[1].subject, "");  // a note without a body or dates
    EXPECT_EQ(got[1].content, "");
    EXPECT_EQ(got[1].date, -1);
    EXPECT_EQ(got[2].subject, "Second");  // no modification date: the creation date
    EXPECT_EQ(got[2].content, "line two");
    EXPECT_EQ(got[2].date, 700000000);
    EXPECT_EQ(lines_, warned);
  }
}

TEST_F(NoteStore, StopsWhenTheCallbackSaysSo) {
  notefix::Db db = notefix::OpenMemory();
  FillModern(db.get(), Generation::kIos17);
  notefix::StopAfter() = 1;
  EXPECT_EQ(DeliverModernNotes(db.get(), NoMediaFiles, notefix::Collect, warnings_),
            kVeldrakeBackupStopped);
  EXPECT_EQ(notefix::Collected().size(), 1u);
}

TEST_F(NoteStore, ADatabaseThatIsNoNoteStoreIsUnreadable) {
  const char* schemas[] = {
      "",
      "CREATE TABLE ZICCLOUDSYNCINGOBJECT (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER);",
      "CREATE TABLE ZICCLOUDSYNCINGOBJECT (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, ZNOTEDATA "
      "INTEGER); CREATE TABLE ZICNOTEDATA (Z_PK INTEGER PRIMARY KEY, ZDATA BLOB);",
  };
  for (const char* schema : schemas) {
    notefix::Db db = notefix::OpenMemory();
    notefix::Exec(db.get(), schema);
    EXPECT_EQ(DeliverModernNotes(db.get(), NoMediaFiles, notefix::Collect, warnings_),
              kVeldrakeBackupStoreUnreadable)
        << schema;
    EXPECT_EQ(DeliverLegacyNotes(db.get(), notefix::Collect, warnings_),
              kVeldrakeBackupStoreUnreadable)
        << schema;
  }
  EXPECT_TRUE(notefix::Collected().empty());
}

void InsertLegacy(sqlite3* db, LegacyGeneration generation, int id, const char* title, int deleted,
                  const char* modified, const std::string& html) {
  const std::string ids = std::to_string(id), bodyId = std::to_string(id + 50);
  const bool byBody = generation == LegacyGeneration::kIos8;
  notefix::Exec(db,
                "INSERT INTO ZNOTE (Z_PK, ZTITLE, ZDELETEDFLAG, ZMODIFICATIONDATE, "
                "ZCREATIONDATE" +
                    std::string(byBody ? ", ZBODY" : "") + ") VALUES (" + ids + ", '" + title +
                    "', " + std::to_string(deleted) + ", " + modified + ", 5" +
                    (byBody ? ", " + bodyId : "") + ");");
  notefix::Exec(db, "INSERT INTO ZNOTEBODY (Z_PK, ZOWNER, ZCONTENT) VALUES (" + bodyId + ", " +
                        ids + ", '" + html + "');");
}

TEST_F(NoteStore, LegacyStoresOfEachGenerationDeliverTheSameNotes) {
  for (LegacyGeneration generation : {LegacyGeneration::kIos5, LegacyGeneration::kIos8}) {
    SetUp();
    notefix::Db db = notefix::OpenMemory();
    notefix::CreateLegacyStore(db.get(), generation);
    InsertLegacy(db.get(), generation, 3, "Trip", 0, "300.5",
                 "Trip<div>Pack <b>tent</b></div><ul><li>map</li></ul>");
    InsertLegacy(db.get(), generation, 2, "Gone", 1, "1", "Gone");
    InsertLegacy(db.get(), generation, 1, "Old", 0, "NULL", "Old<br>text");
    InsertLegacy(db.get(), generation, 4, "Long", 0, "1", "Long<br>" + std::string(kTestCap, 'x'));
    ASSERT_EQ(ReadLegacyNotes(db.get(), notefix::Collect, warnings_, kTestCap), kVeldrakeBackupOk);
    const std::vector<Delivered>& got = notefix::Collected();
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].subject, "Old");
    EXPECT_EQ(got[0].content, "text");
    EXPECT_EQ(got[0].date, 5);  // no modification date: the creation date
    EXPECT_EQ(got[1].subject, "Trip");
    EXPECT_EQ(got[1].content, "Pack tent\n- map");
    EXPECT_EQ(got[1].date, 300);
    EXPECT_EQ(lines_,
              std::vector<std::string>{"note 4 \"Long\" is larger than 4096 bytes; skipped"});
  }
}

}  // namespace
