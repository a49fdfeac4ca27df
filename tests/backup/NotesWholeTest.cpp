// Notes whole through the shared library: the emulator's backups of samples/noteset (with
// its hostile notes) for several OS generations, plain and encrypted, read back with
// VeldrakeBackupGetNotes. The oracle is the notes set itself: each note's folder, account,
// pinned state, tags, attachments and tables as the set describes them, and every copied
// attachment byte for byte the file beside the set's Markdown.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BackupTestSupport.h"
#include "devicesim/backup/BackupWriter.h"
#include "veldrake/Backup.h"
#include "veldrake/BackupNotes.h"

namespace {

using backuptest::TempDir;

const std::string kSet = std::string(VELDRAKE_SOURCE_DIR_DEFAULT) + "/samples/noteset/";
const char kNotePassword[] = "hunter2 \xE2\x9A\xBF";

struct File {
  int kind;
  std::string name, sample;  // sample: the set's file it must equal; "" none to compare
};

struct Expected {
  std::string title, folders, account;
  bool pinned;
  std::vector<std::string> tags;
  std::vector<File> files;
  std::vector<std::pair<int, int>> tables;  // rows, columns
};

const std::vector<Expected>& Sample() {
  static const std::vector<Expected> notes = {
      {"Welcome to Veldrake", "Notes", "On My iPhone", true, {}, {}, {}},
      {"Lists and checklists", "Notes", "On My iPhone", false, {}, {}, {}},
      {"Files and cards",
       "Notes",
       "On My iPhone",
       false,
       {},
       {{kVeldrakeAttachmentImage, "spinner.gif", "spinner.gif"},
        {kVeldrakeAttachmentFile, "Ana Lima.vcf", "Ana Lima.vcf"},
        {kVeldrakeAttachmentFile, "meeting.ics", "meeting.ics"},
        {kVeldrakeAttachmentUrl, "", ""}},
       {}},
      {"Trip plan",
       "Travel",
       "On My iPhone",
       false,
       {"travel"},
       {{kVeldrakeAttachmentImage, "sunrise.jpg", "Travel/sunrise.jpg"},
        {kVeldrakeAttachmentTable, "", ""}},
       {{5, 3}}},
      {"Tokyo",
       "Travel/Japan",
       "On My iPhone",
       false,
       {"travel", "japan"},
       {{kVeldrakeAttachmentDrawing, "Drawing.jpg", ""},
        {kVeldrakeAttachmentScan, "Scan.pdf", ""},
        {kVeldrakeAttachmentTable, "", ""}},
       {{2, 2}}},
      {"Meeting notes",
       "Work",
       "iCloud",
       true,
       {},
       {{kVeldrakeAttachmentImage, "chart.png", "Work/chart.png"},
        {kVeldrakeAttachmentFile, "agenda.pdf", "Work/agenda.pdf"}},
       {}},
      {"Diary",
       "Locked",
       "On My iPhone",
       false,
       {},
       {{kVeldrakeAttachmentImage, "secret photo.jpg", "Locked/secret photo.jpg"},
        {kVeldrakeAttachmentTable, "", ""}},
       {{2, 2}}},
  };
  return notes;
}

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

std::string CopyOut(const VeldrakeNote* note, const VeldrakeNoteAttachment* attachment) {
  FILE* file = std::tmpfile();  // on a disk, whose free room the library checks
  const int fd = fileno(file);
  EXPECT_EQ(VeldrakeBackupCopyAttachment(note, attachment, fd), kVeldrakeBackupOk)
      << VeldrakeBackupLastMessage();
  std::string bytes(static_cast<size_t>(lseek(fd, 0, SEEK_END)), '\0');
  EXPECT_EQ(pread(fd, &bytes[0], bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
  std::fclose(file);
  return bytes;
}

// What a test keeps of each note; attachments are copied and checked while lent.
struct Seen {
  std::string id, folders, account, markdown, html, text;
  int pinned = 0, wasLocked = 0, deleted = 0;
  std::vector<std::string> tags;
  std::vector<File> files;
  std::vector<std::pair<int, int>> tables;
  std::vector<std::string> copies;  // each file attachment's bytes
};

struct Export {
  std::map<std::string, Seen> notes;
  std::vector<std::string> warnings;
  const VeldrakeNote* lastNote = nullptr;
};

int Receive(const VeldrakeNote* note, void* context) {
  auto* out = static_cast<Export*>(context);
  Seen& seen = out->notes[note->title];
  seen.id = note->id;
  for (int i = 0; i < note->folderDepth; ++i)
    seen.folders += (i ? "/" : "") + std::string(note->folderPath[i]);
  seen.account = note->account ? note->account : "";
  seen.pinned = note->pinned;
  seen.wasLocked = note->wasLocked;
  seen.deleted = note->deleted;
  seen.markdown = note->markdown;
  seen.html = note->html;
  seen.text = note->text;
  for (int i = 0; i < note->tagCount; ++i) seen.tags.push_back(note->tags[i]);
  for (int i = 0; i < note->attachmentCount; ++i) {
    const VeldrakeNoteAttachment& a = note->attachments[i];
    seen.files.push_back({a.kind, a.fileName ? a.fileName : "", ""});
    if (a.fileName != nullptr) seen.copies.push_back(CopyOut(note, &a));
  }
  for (int i = 0; i < note->tableCount; ++i)
    seen.tables.emplace_back(note->tables[i].rows, note->tables[i].columns);
  out->lastNote = note;
  return 0;
}

void Warn(const char* line, void* context) {
  static_cast<Export*>(context)->warnings.push_back(line);
}

Export Read(const std::string& dir, const char* password, std::vector<const char*> notePasswords) {
  Export out;
  const VeldrakeNoteOptions options{notePasswords.data(), static_cast<int>(notePasswords.size()),
                                    0};
  EXPECT_EQ(VeldrakeBackupGetNotes(dir.c_str(), password, &options, Receive, &out, Warn, &out),
            kVeldrakeBackupOk)
      << VeldrakeBackupLastMessage();
  return out;
}

void WriteSample(const std::string& dir, const std::string& os, const char* password, bool faults) {
  devicesim::NoteStore notes;
  std::string error;
  ASSERT_TRUE(devicesim::LoadNoteSet(kSet, &notes, &error)) << error;
  devicesim::backup::BackupOptions options;
  options.password = password;
  options.productVersion = os;
  options.sha256Iterations = 1000;
  options.sha1Iterations = 100;
  options.notesFaults = faults;
  ASSERT_TRUE(devicesim::backup::WriteBackup({}, notes, dir, options, &error)) << error;
}

// Runs tests/backup/edit_backup.py on the backup folder with `arguments`.
bool EditBackup(const std::string& backup, const std::string& arguments) {
  const std::string script =
      std::string(VELDRAKE_SOURCE_DIR_DEFAULT) + "/tests/backup/edit_backup.py";
  return std::system(("python3 '" + script + "' '" + backup + "' " + arguments).c_str()) == 0;
}

void ExpectNote(const Expected& want, const Seen& got, int major) {
  SCOPED_TRACE(want.title);
  EXPECT_EQ(got.folders, want.folders);
  EXPECT_EQ(got.account, want.account);
  EXPECT_EQ(got.pinned, want.pinned ? 1 : 0);
  EXPECT_EQ(got.wasLocked, want.title == "Diary" ? 1 : 0);
  if (major >= 15) {
    EXPECT_EQ(got.tags, want.tags);  // older phones keep hashtags as text
  }
  ASSERT_EQ(got.files.size(), want.files.size());
  std::vector<const File*> copied;
  for (size_t i = 0; i < want.files.size(); ++i) {
    EXPECT_EQ(got.files[i].kind, want.files[i].kind) << i;
    EXPECT_EQ(got.files[i].name, want.files[i].name) << i;
    if (!want.files[i].name.empty()) copied.push_back(&want.files[i]);
  }
  ASSERT_EQ(got.copies.size(), copied.size());
  for (size_t i = 0; i < copied.size(); ++i) {
    EXPECT_FALSE(got.copies[i].empty()) << copied[i]->name;
    if (!copied[i]->sample.empty()) {
      EXPECT_EQ(got.copies[i], ReadAll(kSet + copied[i]->sample)) << copied[i]->name;
    }
  }
  EXPECT_EQ(got.tables, want.tables);
}

TEST(NotesWhole, EachGenerationGivesTheSetsNotesWhole) {
  const struct {
    const char* os;
    const char* password;
  } backups[] = {{"12.5", ""}, {"14.8", ""}, {"16.7", ""}, {"17.5", ""}, {"17.5", "sesame"}};
  for (const auto& backup : backups) {
    SCOPED_TRACE(std::string(backup.os) + (*backup.password ? " encrypted" : " plain"));
    TempDir dir;
    WriteSample(dir.path(), backup.os, backup.password, false);
    const char* password = *backup.password ? backup.password : nullptr;
    const Export got = Read(dir.path(), password, {"not it", kNotePassword});
    const int major = std::stoi(backup.os);
    for (const Expected& want : Sample()) {
      const auto seen = got.notes.find(want.title);
      ASSERT_NE(seen, got.notes.end()) << want.title;
      ExpectNote(want, seen->second, major);
    }
    const Seen& trip = got.notes.at("Trip plan");
    EXPECT_NE(trip.text.find("[attachment: sunrise.jpg]"), std::string::npos) << trip.text;
    EXPECT_NE(trip.markdown.find("| 3 | Osaka | a \\| pipe |"), std::string::npos) << trip.markdown;
    if (major >= 17) {
      EXPECT_NE(trip.markdown.find("(veldrake-note:" + got.notes.at("Tokyo").id + ")"),
                std::string::npos);
    }
    EXPECT_NE(got.notes.at("Diary").html.find("<b>secret</b>"), std::string::npos);
    EXPECT_EQ(got.notes.count("Passcode note"), major >= 16 ? 0u : 1u);  // iOS 16's lock
  }
}

TEST(NotesWhole, ALockedNoteNoPasswordOpensIsSkippedWithItsHint) {
  TempDir dir;
  WriteSample(dir.path(), "17.5", "", false);
  for (const std::vector<const char*>& passwords :
       {std::vector<const char*>{}, std::vector<const char*>{"hunter2", "HUNTER2 \xE2\x9A\xBF"}}) {
    const Export got = Read(dir.path(), nullptr, passwords);
    EXPECT_EQ(got.notes.count("Diary"), 0u);
    EXPECT_EQ(got.notes.size(), Sample().size() - 1);
    size_t hinted = 0;
    for (const std::string& line : got.warnings) {
      hinted += line.find("\"Diary\" is locked") != std::string::npos &&
                line.find("(its hint: \"the usual, with a key\")") != std::string::npos;
      EXPECT_EQ(line.find("hunter2"), std::string::npos) << line;  // never a password
    }
    EXPECT_EQ(hinted, 1u);
  }
}

TEST(NotesWhole, HostileNotesAreWarnedAboutAndSkipped) {
  const std::map<std::string, std::string> faults = {
      {"Fault: table indexes out of range", "is a table that cannot be read"},
      {"Fault: table cycle", "is a table that cannot be read"},
      {"Fault: attachments pointing at each other", "has no media row"},
      {"Fault: media is a folder", "is a folder or a link in the backup"},
      {"Fault: media file missing", "is not in the backup"},
      {"Fault: media name climbs out", "is not in the backup"},
      {"Fault: GCM data shorter than its tag", "no note password given opens it"},
      {"Fault: huge iteration count", "its lock is damaged"},
      {"Fault: wrapped key cut short", "its lock is damaged"},
      {"Passcode note", "is locked with the device passcode"},
      {"Fault: a million empty rows", "is a table that cannot be read (it is too large)"},
  };
  TempDir dir;
  WriteSample(dir.path(), "17.5", "", true);
  const Export got = Read(dir.path(), nullptr, {kNotePassword});
  for (const auto& fault : faults) {
    size_t told = 0;
    for (const std::string& line : got.warnings)
      told += line.find("\"" + fault.first + "\"") != std::string::npos &&
              line.find(fault.second) != std::string::npos;
    EXPECT_EQ(told, 1u) << fault.first;
  }
  EXPECT_EQ(got.warnings.size(), faults.size()) << ::testing::PrintToString(got.warnings);
  EXPECT_TRUE(got.notes.at("Fault: a million empty rows").tables.empty());
  EXPECT_EQ(got.notes.count("Fault: a million runs"), 1u);
  for (const Expected& want : Sample()) EXPECT_EQ(got.notes.count(want.title), 1u) << want.title;
}

TEST(NotesWhole, AFileWhoseRecordClaimsASizeItDoesNotHaveIsAPlaceholder) {
  TempDir dir;
  WriteSample(dir.path(), "17.5", "", false);
  const std::string backup = dir.path() + "/00008110-000A1B2C3D4E5F60";
  for (const char* claim : {"size sunrise.jpg 10737418240", "size chart.png 100"})
    ASSERT_TRUE(EditBackup(backup, claim));
  const Export got = Read(dir.path(), nullptr, {kNotePassword});
  for (const char* title : {"Trip plan", "Meeting notes"}) {
    const Seen& note = got.notes.at(title);
    EXPECT_EQ(note.files[0].kind, kVeldrakeAttachmentMissing) << title;
    EXPECT_EQ(note.files[0].name, "") << title;
    size_t told = 0;
    for (const std::string& line : got.warnings)
      told += line.find(std::string("\"") + title + "\"") != std::string::npos &&
              line.find("a size its file does not have") != std::string::npos;
    EXPECT_EQ(told, 1u) << title;
  }
  EXPECT_EQ(got.notes.at("Meeting notes").files[1].name, "agenda.pdf");  // its neighbour stays
}

TEST(NotesWhole, FilesOfAnUnknownTypeAreFilesWithOneWarningForTheType) {
  TempDir dir;
  WriteSample(dir.path(), "17.5", "", false);
  ASSERT_TRUE(EditBackup(dir.path() + "/00008110-000A1B2C3D4E5F60",
                         "notes \"UPDATE ZICCLOUDSYNCINGOBJECT SET ZTYPEUTI = 'com.example.thing' "
                         "WHERE ZTYPEUTI IN ('public.vcard', 'com.apple.ical.ics')\""));
  const Export got = Read(dir.path(), nullptr, {kNotePassword});
  const Seen& files = got.notes.at("Files and cards");
  ASSERT_EQ(files.files.size(), 4u);
  for (size_t i : {size_t{1}, size_t{2}}) EXPECT_EQ(files.files[i].kind, kVeldrakeAttachmentFile);
  EXPECT_EQ(files.files[1].name, "Ana Lima.vcf");
  EXPECT_EQ(files.copies[1], ReadAll(kSet + "Ana Lima.vcf"));
  EXPECT_EQ(got.warnings,
            std::vector<std::string>(
                {"attachments of type \"com.example.thing\" are exported as plain files",
                 "note 14 \"Passcode note\" is locked with the device passcode, which "
                 "only the phone can open; skipped"}));
}

TEST(NotesWhole, RecentlyDeletedComesOnlyWhenAskedFor) {
  TempDir dir;
  WriteSample(dir.path(), "17.5", "", false);
  // A "Recently Deleted" folder beside the account's others, holding one note, and a
  // folder that is its own parent holding another.
  ASSERT_TRUE(EditBackup(
      dir.path() + "/00008110-000A1B2C3D4E5F60",
      "notes \"INSERT INTO ZICCLOUDSYNCINGOBJECT (Z_PK, Z_ENT, ZTITLE2, ZFOLDERTYPE, ZOWNER, "
      "ZPARENT) SELECT 900, Z_ENT, 'Recently Deleted', 1, ZOWNER, NULL FROM "
      "ZICCLOUDSYNCINGOBJECT WHERE ZTITLE2 = 'Work'; INSERT INTO ZICCLOUDSYNCINGOBJECT (Z_PK, "
      "Z_ENT, ZTITLE2, ZFOLDERTYPE, ZOWNER, ZPARENT) SELECT 901, Z_ENT, 'Loop', 0, ZOWNER, 901 "
      "FROM ZICCLOUDSYNCINGOBJECT WHERE ZTITLE2 = 'Work'; UPDATE ZICCLOUDSYNCINGOBJECT SET "
      "ZFOLDER = 900 WHERE ZTITLE1 = 'Lists and checklists'; UPDATE ZICCLOUDSYNCINGOBJECT SET "
      "ZFOLDER = 901 WHERE ZTITLE1 = 'Welcome to Veldrake';\""));
  for (const int include : {0, 1}) {
    Export got;
    const VeldrakeNoteOptions options{nullptr, 0, include};
    ASSERT_EQ(VeldrakeBackupGetNotes(dir.path().c_str(), nullptr, &options, Receive, &got, nullptr,
                                     nullptr),
              kVeldrakeBackupOk);
    EXPECT_EQ(got.notes.count("Lists and checklists"), static_cast<size_t>(include));
    if (include == 1) {
      EXPECT_EQ(got.notes.at("Lists and checklists").folders, "Recently Deleted");
      EXPECT_EQ(got.notes.at("Lists and checklists").deleted, 1);
    }
    EXPECT_EQ(got.notes.at("Welcome to Veldrake").folders, "Loop");
    EXPECT_EQ(got.notes.at("Welcome to Veldrake").deleted, 0);
  }
}

int CopyMisuse(const VeldrakeNote* note, void* context) {
  auto* results = static_cast<std::vector<int>*>(context);
  if (note->attachmentCount == 0 || note->attachments[0].fileName == nullptr) return 0;
  VeldrakeNoteAttachment copy = note->attachments[0];  // not one of the lent ones
  results->push_back(VeldrakeBackupCopyAttachment(note, &copy, 1));
  results->push_back(VeldrakeBackupCopyAttachment(note, &note->attachments[0], -1));
  results->push_back(VeldrakeBackupCopyAttachment(nullptr, &note->attachments[0], 1));
  return -1;
}

TEST(NotesWhole, CopyingIsForTheLentNotesOwnAttachmentsOnly) {
  TempDir dir;
  WriteSample(dir.path(), "17.5", "", false);
  std::vector<int> results;
  EXPECT_EQ(VeldrakeBackupGetNotes(dir.path().c_str(), nullptr, nullptr, CopyMisuse, &results,
                                   nullptr, nullptr),
            kVeldrakeBackupStopped);
  EXPECT_EQ(results, std::vector<int>(3, kVeldrakeBackupInvalidArgument));
  VeldrakeNote none{};
  EXPECT_EQ(VeldrakeBackupCopyAttachment(&none, nullptr, 1), kVeldrakeBackupInvalidArgument);
  EXPECT_EQ(
      VeldrakeBackupGetNotes(nullptr, nullptr, nullptr, CopyMisuse, &results, nullptr, nullptr),
      kVeldrakeBackupInvalidArgument);
}

}  // namespace
