// The emulator's backups read back: the notes a backup written by devicesim::backup
// holds (modern stores of two generations, the legacy one) come out as the sync route
// serves the same notes: the same subject, content and whole-second date.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "BackupNotes.h"
#include "NoteFixtures.h"
#include "PListNoteAnalysis.h"
#include "devicesim/AddressBook.h"
#include "devicesim/NoteStore.h"
#include "devicesim/backup/BackupWriter.h"
#include "veldrake/Backup.h"

namespace {

namespace fs = std::filesystem;
using veldrake::backup::DeliverLegacyNotes;
using veldrake::backup::DeliverModernNotes;

// The file a backup's Manifest.db names for `domain` and `relativePath`.
fs::path BackupFile(const fs::path& backup, const std::string& domain, const std::string& path) {
  sqlite3* raw = nullptr;
  EXPECT_EQ(sqlite3_open_v2((backup / "Manifest.db").c_str(), &raw, SQLITE_OPEN_READONLY, nullptr),
            SQLITE_OK);
  notefix::Db manifest(raw);
  sqlite3_stmt* query = nullptr;
  EXPECT_EQ(
      sqlite3_prepare_v2(raw, "SELECT fileID FROM Files WHERE domain = ?1 AND relativePath = ?2",
                         -1, &query, nullptr),
      SQLITE_OK);
  sqlite3_bind_text(query, 1, domain.c_str(), -1, SQLITE_TRANSIENT);
  sqlite3_bind_text(query, 2, path.c_str(), -1, SQLITE_TRANSIENT);
  std::string id;
  if (sqlite3_step(query) == SQLITE_ROW)
    id = reinterpret_cast<const char*>(sqlite3_column_text(query, 0));
  sqlite3_finalize(query);
  EXPECT_EQ(id.size(), 40u) << domain << " " << path;
  return id.size() == 40 ? backup / id.substr(0, 2) / id : fs::path();
}

TEST(NoteWriter, BackupsOfEachGenerationGiveTheSyncRoutesNotes) {
  const devicesim::NoteStore notes = devicesim::GenerateNotes(40, 7);
  const struct {
    const char* version;
    const char* domain;
    const char* path;
    bool legacy;
  } cases[] = {
      {"17.5", "AppDomainGroup-group.com.apple.notes", "NoteStore.sqlite", false},
      {"13.7", "AppDomainGroup-group.com.apple.notes", "NoteStore.sqlite", false},
      {"8.4", "HomeDomain", "Library/Notes/notes.sqlite", true},
  };
  const fs::path dir =
      fs::temp_directory_path() / ("veldrake-note-writer-" + std::to_string(getpid()));
  for (const auto& c : cases) {
    devicesim::backup::BackupOptions options;
    options.productVersion = c.version;
    options.replace = true;
    std::string error;
    ASSERT_TRUE(devicesim::backup::WriteBackup(devicesim::AddressBook{}, notes, dir.string(),
                                               options, &error))
        << error;
    const fs::path store = BackupFile(dir / options.udid, c.domain, c.path);
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open_v2(store.c_str(), &raw, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    notefix::Db db(raw);
    notefix::Collected().clear();
    const int result =
        c.legacy ? DeliverLegacyNotes(raw, notefix::Collect, {})
                 : DeliverModernNotes(raw, veldrake::backup::NoMediaFiles, notefix::Collect, {});
    ASSERT_EQ(result, kVeldrakeBackupOk) << c.version;
    const auto& got = notefix::Collected();
    ASSERT_EQ(got.size(), notes.notes.size()) << c.version;
    for (size_t i = 0; i < got.size(); ++i) {
      EXPECT_EQ(got[i].subject, notes.notes[i].subject) << c.version << " note " << i;
      EXPECT_EQ(got[i].content, notes.notes[i].content) << c.version << " note " << i;
      EXPECT_EQ(got[i].date, PListNoteAnalysis::TruncateDate(notes.notes[i].modified));
    }
  }
  fs::remove_all(dir);
}

}  // namespace
