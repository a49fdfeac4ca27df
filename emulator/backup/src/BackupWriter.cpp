// WriteBackup: the stores a phone keeps the book and the notes in, built and put into a
// backup folder.
#include "devicesim/backup/BackupWriter.h"

#include <exception>

#include "AddressBookDb.h"
#include "AddressBookImagesDb.h"
#include "Assembler.h"
#include "NotesDb.h"

namespace devicesim::backup {
namespace {

const char kHomeDomain[] = "HomeDomain";
const char kNotesDomain[] = "AppDomainGroup-group.com.apple.notes";
const char kBookPath[] = "Library/AddressBook/AddressBook.sqlitedb";
const char kImagesPath[] = "Library/AddressBook/AddressBookImages.sqlitedb";
const char kLegacyNotesPath[] = "Library/Notes/notes.sqlite";
const char kNoteStorePath[] = "NoteStore.sqlite";
const int kFirstModernNotesVersion = 9;

// The database and its write-ahead log and shared-memory index, as a live database is
// found on the phone.
bool AddBook(Assembler& backup, const AddressBook& book, size_t walPeople, std::string* error) {
  const std::string staged = backup.StagePath("AddressBook.sqlitedb");
  if (!WriteAddressBookDb(book, walPeople, staged, error)) return false;
  const std::string images = backup.StagePath("AddressBookImages.sqlitedb");
  if (!WriteAddressBookImagesDb(book, walPeople, images, error)) return false;
  for (const char* suffix : {"", "-wal", "-shm"})
    if (!backup.AddFile(kHomeDomain, std::string(kBookPath) + suffix, staged + suffix, error) ||
        !backup.AddFile(kHomeDomain, std::string(kImagesPath) + suffix, images + suffix, error))
      return false;
  return true;
}

bool AddNotes(Assembler& backup, const NoteStore& notes, const BackupOptions& options,
              std::string* error) {
  const int major = MajorVersion(options.productVersion);
  if (major < kFirstModernNotesVersion) {
    const std::string staged = backup.StagePath("notes.sqlite");
    return WriteLegacyNotesDb(notes, staged, error) &&
           backup.AddFile(kHomeDomain, kLegacyNotesPath, staged, error);
  }
  const std::string staged = backup.StagePath("NoteStore.sqlite");
  std::vector<NoteFile> files;
  if (!WriteNoteStoreDb(notes, major, options.notesFaults, staged, backup.StagePath(""), &files,
                        error) ||
      !backup.AddFile(kNotesDomain, kNoteStorePath, staged, error))
    return false;
  for (const NoteFile& file : files)
    if (!backup.AddFile(kNotesDomain, file.relativePath, file.source, error)) return false;
  return true;
}

bool ValidOptions(const BackupOptions& options, std::string* error) {
  if (options.udid.empty() || options.udid.find('/') != std::string::npos ||
      options.udid[0] == '.') {
    *error = "not a device identifier: " + options.udid;
    return false;
  }
  if (MajorVersion(options.productVersion) <= 0) {
    *error = "not a product version: " + options.productVersion;
    return false;
  }
  return true;
}

}  // namespace

bool WriteBackup(const AddressBook& book, const NoteStore& notes, const std::string& dir,
                 const BackupOptions& options, std::string* error) {
  if (!ValidOptions(options, error)) return false;
  try {
    Assembler backup(options);
    return backup.Begin(dir, error) && AddBook(backup, book, options.walPeople, error) &&
           AddNotes(backup, notes, options, error) && backup.Finish(error);
  } catch (const std::exception& e) {
    *error = e.what();
    return false;
  }
}

}  // namespace devicesim::backup
