// The notes-whole entry points: VeldrakeBackupGetNotes lends each note as a VeldrakeNote
// (NoteWhole.h does the reading) and VeldrakeBackupCopyAttachment streams one of the lent
// note's files to the host. Nothing thrown gets past here; secrets are wiped on every path.
#include <sqlite3.h>

#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "BackupFolder.h"
#include "Crypto.h"
#include "FileIo.h"
#include "LastMessage.h"
#include "NoteWhole.h"
#include "NotesRoute.h"
#include "OpenedBackup.h"
#include "Warnings.h"
#include "veldrake/BackupNotes.h"

namespace {

using namespace veldrake::backup;

constexpr const char* kStorePath = "NoteStore.sqlite";
constexpr const char* kLegacyDomain = "HomeDomain";
constexpr const char* kLegacyPath = "Library/Notes/notes.sqlite";

// A WholeNote as the C record, pointing into it.
struct LentNote {
  VeldrakeNote note{};
  std::vector<const char*> folders, tags;
  std::vector<VeldrakeNoteAttachment> attachments;
  std::vector<VeldrakeNoteTable> tables;
  std::vector<std::vector<const char*>> cells;
  WholeNote* whole = nullptr;
  OpenedBackup* backup = nullptr;
};

// The note being lent on this thread, for VeldrakeBackupCopyAttachment.
thread_local LentNote* tLent = nullptr;

const char* OrNull(const std::string& text) {
  return text.empty() ? nullptr : text.c_str();
}

void FillAttachments(LentNote* lent) {
  for (const WholeAttachment& a : lent->whole->attachments) {
    VeldrakeNoteAttachment out{};
    out.id = a.id.c_str();
    out.kind = a.kind;
    out.type = a.type.c_str();
    out.fileName = a.path.empty() ? nullptr : a.fileName.c_str();
    out.title = OrNull(a.title);
    out.url = a.kind == kVeldrakeAttachmentUrl ? a.url.c_str() : nullptr;
    out.size = a.size;
    lent->attachments.push_back(out);
  }
  for (const WholeTable& t : lent->whole->tables) {
    lent->cells.emplace_back();
    for (const std::string& cell : t.cells) lent->cells.back().push_back(cell.c_str());
  }
  for (size_t i = 0; i < lent->whole->tables.size(); ++i) {
    const WholeTable& t = lent->whole->tables[i];
    lent->tables.push_back({t.attachmentId.c_str(), t.rows, t.columns, lent->cells[i].data()});
  }
}

void Fill(LentNote* lent) {
  const WholeNote& w = *lent->whole;
  VeldrakeNote& n = lent->note;
  for (const std::string& folder : w.folderPath) lent->folders.push_back(folder.c_str());
  for (const std::string& tag : w.tags) lent->tags.push_back(tag.c_str());
  FillAttachments(lent);
  n.id = w.id.c_str();
  n.title = w.title.c_str();
  n.folderPath = lent->folders.data();
  n.folderDepth = static_cast<int>(lent->folders.size());
  n.account = OrNull(w.account);
  n.created = w.created;
  n.modified = w.modified;
  n.pinned = w.pinned ? 1 : 0;
  n.wasLocked = w.wasLocked ? 1 : 0;
  n.deleted = w.deleted ? 1 : 0;
  n.text = w.text.c_str();
  n.markdown = w.markdown.c_str();
  n.html = w.html.c_str();
  n.attachments = lent->attachments.data();
  n.attachmentCount = static_cast<int>(lent->attachments.size());
  n.tables = lent->tables.data();
  n.tableCount = static_cast<int>(lent->tables.size());
  n.tags = lent->tags.data();
  n.tagCount = static_cast<int>(lent->tags.size());
}

// Clears the lent note on every path out of the host's callback.
struct Lending {
  explicit Lending(LentNote* lent) { tLent = lent; }
  ~Lending() { tLent = nullptr; }
};

struct Passwords {
  std::vector<std::string>* list;
  ~Passwords() {
    for (std::string& password : *list) Wipe(&password);
  }
};

struct DbCloser {
  void operator()(sqlite3* db) const { sqlite3_close(db); }
};

int OpenNotes(const char* path, const char* password, OpenedBackup* backup, sqlite3** db) {
  std::string& message = LastMessage();
  const std::vector<std::string> found = FindBackups(path);
  if (found.size() != 1) {
    message = found.empty() ? std::string("no backup at ") + path
                            : std::string(path) + " holds " + std::to_string(found.size()) +
                                  " backups; VeldrakeBackupList names them";
    return found.empty() ? kVeldrakeBackupNotABackup : kVeldrakeBackupSeveral;
  }
  const int opened = backup->Open(found.front(), password, &message);
  if (opened != kVeldrakeBackupOk) return opened;
  if (!backup->Has(kNotesDomain, kStorePath)) {
    message = backup->Has(kLegacyDomain, kLegacyPath)
                  ? "the backup holds only the notes store of phones before iOS 9; "
                    "VeldrakeBackupGetData reads it"
                  : "the backup holds no notes store (NoteStore.sqlite)";
    return kVeldrakeBackupStoreMissing;
  }
  return backup->OpenStore(kNotesDomain, kStorePath, db, &message);
}

int ExportNotes(const char* path, const char* password, const VeldrakeNoteOptions* options,
                VeldrakeNoteCallback callback, void* context, const Warnings& warnings) {
  WholeOptions whole;
  Passwords wiper{&whole.passwords};
  if (options != nullptr) {
    for (int i = 0; i < options->notePasswordCount && options->notePasswords != nullptr; ++i)
      if (options->notePasswords[i] != nullptr)
        whole.passwords.emplace_back(options->notePasswords[i]);
    whole.includeDeleted = options->includeDeleted != 0;
  }
  OpenedBackup backup;
  sqlite3* raw = nullptr;
  int result = OpenNotes(path, password, &backup, &raw);
  std::unique_ptr<sqlite3, DbCloser> db(raw);
  if (result != kVeldrakeBackupOk) return result;
  const MediaFiles files = NotesMediaFiles(backup);
  const WholeCallback lend = [&](WholeNote& note) {
    LentNote lent;
    lent.whole = &note;
    lent.backup = &backup;
    Fill(&lent);
    Lending lending(&lent);
    return callback(&lent.note, context) == -1 ? kVeldrakeBackupStopped : kVeldrakeBackupOk;
  };
  result = ReadWholeNotes(db.get(), whole, files, lend, warnings);
  if (result == kVeldrakeBackupStopped) LastMessage() = "the export was stopped by its callback";
  if (result == kVeldrakeBackupStoreUnreadable)
    LastMessage() = "the notes store NoteStore.sqlite is damaged or no note store";
  return result;
}

int Failed() {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    LastMessage() = "out of memory";
    return kVeldrakeBackupNoMemory;
  } catch (...) {
    LastMessage() = "the backup cannot be read";
    return kVeldrakeBackupStoreUnreadable;
  }
}

// The lent attachment `attachment` points at, or null when it is none of them.
const WholeAttachment* LentAttachment(const VeldrakeNote* note,
                                      const VeldrakeNoteAttachment* attachment) {
  const LentNote* lent = tLent;
  if (lent == nullptr || note != &lent->note || attachment == nullptr) return nullptr;
  const auto base = reinterpret_cast<uintptr_t>(lent->attachments.data());
  const auto at = reinterpret_cast<uintptr_t>(attachment);
  const uintptr_t size = sizeof(VeldrakeNoteAttachment);
  if (at < base || (at - base) % size != 0 || (at - base) / size >= lent->attachments.size())
    return nullptr;
  return &lent->whole->attachments[(at - base) / size];
}

int Copy(const WholeAttachment& attachment, int fd) {
  GcmStream gcm;
  std::string plain;
  if (attachment.locked && !gcm.Begin(attachment.key, attachment.crypto)) {
    LastMessage() = "attachment " + attachment.fileName + ": its lock is damaged";
    return kVeldrakeBackupStoreUnreadable;
  }
  const ChunkSink sink = [&](const unsigned char* data, size_t size) {
    if (!attachment.locked) return WriteAll(fd, data, size);
    plain.resize(size);
    auto* out = reinterpret_cast<unsigned char*>(&plain[0]);
    return gcm.Update(data, size, out) && WriteAll(fd, out, size);
  };
  const Streamed streamed = tLent->backup->StreamFile(kNotesDomain, attachment.path, sink);
  Wipe(&plain);
  if (streamed == Streamed::kSinkFailed) {
    LastMessage() = "attachment " + attachment.fileName + " cannot be written";
    return kVeldrakeBackupStoreUnreadable;
  }
  if (streamed != Streamed::kOk || (attachment.locked && gcm.Finish() != Unlock::kOk)) {
    LastMessage() = "attachment " + attachment.fileName + " cannot be read or decrypted";
    return kVeldrakeBackupStoreUnreadable;
  }
  return kVeldrakeBackupOk;
}

}  // namespace

extern "C" VELDRAKE_BACKUP_API int VeldrakeBackupGetNotes(const char* path, const char* password,
                                                          const VeldrakeNoteOptions* options,
                                                          VeldrakeNoteCallback callback,
                                                          void* context,
                                                          VeldrakeBackupWarningCallback warn,
                                                          void* warnContext) {
  LastMessage().clear();
  if (path == nullptr || callback == nullptr) {
    LastMessage() = "a null path or callback";
    return kVeldrakeBackupInvalidArgument;
  }
  try {
    Warnings warnings;
    warnings.callback = warn;
    warnings.context = warnContext;
    const int result = ExportNotes(path, password, options, callback, context, warnings);
    if (result == kVeldrakeBackupOk) LastMessage().clear();
    return result;
  } catch (...) {
    return Failed();
  }
}

extern "C" VELDRAKE_BACKUP_API int VeldrakeBackupCopyAttachment(
    const VeldrakeNote* note, const VeldrakeNoteAttachment* attachment, int fd) {
  LastMessage().clear();
  const WholeAttachment* whole = LentAttachment(note, attachment);
  if (whole == nullptr || fd < 0) {
    LastMessage() = "no attachment of the note being lent, or no descriptor";
    return kVeldrakeBackupInvalidArgument;
  }
  if (whole->path.empty()) {
    LastMessage() = "attachment " + whole->id + " has no file in the backup";
    return kVeldrakeBackupStoreMissing;
  }
  try {
    return Copy(*whole, fd);
  } catch (...) {
    return Failed();
  }
}
