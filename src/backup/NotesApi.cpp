// The notes-whole entry points: VeldrakeBackupGetNotes lends each note as a VeldrakeNote
// (NoteWhole.h does the reading) and VeldrakeBackupCopyAttachment streams one of the lent
// note's files to the host. Nothing thrown gets past here; secrets are wiped on every path.
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "ApiSupport.h"
#include "Cancel.h"
#include "Crypto.h"
#include "FileIo.h"
#include "NoteWhole.h"
#include "NotesRoute.h"
#include "OpenedBackup.h"
#include "PrivateFolder.h"
#include "ReadAhead.h"
#include "StaleFolders.h"
#include "Warnings.h"
#include "veldrake/BackupNotes.h"

namespace {

using namespace veldrake::backup;

constexpr const char* kStorePath = "NoteStore.sqlite";
constexpr const char* kLegacyDomain = "HomeDomain";
constexpr const char* kLegacyPath = "Library/Notes/notes.sqlite";
constexpr size_t kCopyPiece = size_t{1} << 20;

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

int OpenNotes(const char* path, const char* password, OpenedBackup* backup, sqlite3** db,
              const Warnings* warnings) {
  std::string& message = LastMessage();
  std::string folder;
  int result = LocateOneBackup(path, &folder, &message);
  if (result == kVeldrakeBackupOk) result = backup->Open(folder, password, &message, warnings);
  if (result != kVeldrakeBackupOk) return result;
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
  SweepStaleFolders(TemporaryBase());  // what an export killed outright left behind
  const uint64_t generation = CancelGeneration();
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
  int result = OpenNotes(path, password, &backup, &raw, &warnings);
  std::unique_ptr<sqlite3, DbCloser> db(raw);
  if (result != kVeldrakeBackupOk) return backup.Explain(result, &LastMessage());
  const MediaFiles files = NotesMediaFiles(backup);
  const WholeCallback lend = [&](WholeNote& note) {
    LentNote lent;
    lent.whole = &note;
    lent.backup = &backup;
    Fill(&lent);
    if (CancelledSince(generation)) return kVeldrakeBackupStopped;
    Lending lending(&lent);
    const int answer = callback(&lent.note, context);
    MarkProgress();
    return answer == -1 ? kVeldrakeBackupStopped : kVeldrakeBackupOk;
  };
  // The store is decoded a few notes ahead on a thread of its own while the host writes.
  const NoteReader read = [&](const WholeCallback& deliver, const Warnings& said) {
    return ReadWholeNotes(db.get(), whole, files, deliver, said);
  };
  std::string failure;
  result = ReadAhead(read, lend, warnings, &failure);
  if (!failure.empty()) {
    LastMessage() = failure;
    return result;
  }
  if (result == kVeldrakeBackupStoreUnreadable)
    LastMessage() = "the notes store NoteStore.sqlite is damaged or no note store";
  result = backup.Explain(result, &LastMessage());
  if (result == kVeldrakeBackupStopped) LastMessage() = "the export was stopped by its callback";
  return result;
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

// A locked note's file: copied (decrypted from the backup) into an unnamed private
// temporary file, since it is still sealed, then opened piece by piece into `fd`.
int CopyLocked(OpenedBackup& backup, const WholeAttachment& attachment, int fd) {
  std::string& message = LastMessage();
  Fd sealed(open(TemporaryBase().c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
  if (sealed.get() < 0) {
    message = "no private temporary file can be made in " + TemporaryBase();
    return kVeldrakeBackupNoTemporaryFolder;
  }
  const int copied =
      backup.CopyPlace(attachment.place, kNotesDomain, attachment.path, sealed.get(), &message);
  if (copied != kVeldrakeBackupOk) return copied;
  GcmStream gcm;
  std::string in(kCopyPiece, '\0'), out(kCopyPiece, '\0');
  bool ok = gcm.Begin(attachment.key, attachment.crypto) && lseek(sealed.get(), 0, SEEK_SET) == 0;
  for (ssize_t got = 1; ok && got > 0;) {
    got = ReadFull(sealed.get(), &in[0], in.size());
    auto* plain = reinterpret_cast<unsigned char*>(&out[0]);
    const auto size = static_cast<size_t>(got > 0 ? got : 0);
    ok = got >= 0 && gcm.Update(reinterpret_cast<unsigned char*>(&in[0]), size, plain) &&
         WriteAll(fd, plain, size);
  }
  Wipe(&out);
  if (ok && gcm.Finish() == Unlock::kOk) return kVeldrakeBackupOk;
  message = "attachment " + attachment.fileName + " cannot be opened or written";
  return kVeldrakeBackupStoreUnreadable;
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
    const Warnings warnings{warn, warnContext};
    const int result = ExportNotes(path, password, options, callback, context, warnings);
    if (result == kVeldrakeBackupOk) LastMessage().clear();
    return result;
  } catch (...) {
    return FailedWith(&LastMessage());
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
    if (whole->locked) return CopyLocked(*tLent->backup, *whole, fd);
    return tLent->backup->CopyPlace(whole->place, kNotesDomain, whole->path, fd, &LastMessage());
  } catch (...) {
    return FailedWith(&LastMessage());
  }
}
