// NoteWhole: the notes of a modern note store whole, for VeldrakeBackupGetNotes: each
// note's identifier, folder path, account, dates, pinned state, its body as content text,
// Markdown and HTML, its attachments resolved to their files, its tables and hashtags;
// locked notes opened with the passwords given.
//
// The store is read through the caller's open connection; the backup's files (media,
// fallback images and PDFs) only through `MediaFiles`, which the caller implements over
// the backup, so this layer never touches the folder. Each skipped object is one warning
// line through `warnings`; notes come in ascending row id, one alive at a time.
//
// Thread contract: the caller's thread.
#ifndef VELDRAKE_BACKUP_NOTEWHOLE_H_
#define VELDRAKE_BACKUP_NOTEWHOLE_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "FileRecord.h"
#include "NoteCrypto.h"
#include "NoteInflate.h"
#include "Warnings.h"

struct sqlite3;

namespace veldrake::backup {

// The notes group's backup domain, where the store and its files are.
constexpr const char* kNotesDomain = "AppDomainGroup-group.com.apple.notes";

// What the backup says of one file of the notes domain.
struct MediaFile {
  enum State { kFound, kAbsent, kNotAFile, kDamaged } state = kAbsent;
  int64_t size = -1;   // as Manifest.db records it
  ContentPlace place;  // where a found one is
};
using MediaFiles = std::function<MediaFile(const std::string& relativePath)>;

struct WholeAttachment {
  std::string id;
  int kind = 0;  // VeldrakeNoteAttachmentKind
  std::string type, fileName, title, url;
  int64_t size = -1;
  std::string path;     // its file in the notes domain; "" when it has none
  ContentPlace place;   // where that file is in the backup
  bool locked = false;  // the file is sealed with the note's password: `crypto`, `key`
  LockedObject crypto;
  std::string key;  // the file's key, unwrapped (wiped by the reader after the callback)
};

struct WholeTable {
  std::string attachmentId;
  int rows = 0, columns = 0;
  std::vector<std::string> cells;  // inline Markdown
};

struct WholeNote {
  std::string id, title;
  std::vector<std::string> folderPath;
  std::string account;  // "" when the phone has one account
  int64_t created = INT64_MIN, modified = INT64_MIN;
  bool pinned = false, wasLocked = false, deleted = false;
  std::string text, markdown, html;
  std::vector<WholeAttachment> attachments;
  std::vector<WholeTable> tables;
  std::vector<std::string> tags;
};

struct WholeOptions {
  std::vector<std::string> passwords;
  bool includeDeleted = false;
  size_t bodyCap = kNoteBodyCap;  // a body's inflated size and each rendering's
};

// No files at all: a store read without its backup (every file is absent).
MediaFile NoMediaFiles(const std::string& relativePath);

// Wipes what of `note` is secret: its files' keys, and its text when it was locked.
void WipeNote(WholeNote* note);

// kVeldrakeBackupOk, or the callback's non-zero answer, or a store failure.
using WholeCallback = std::function<int(WholeNote& note)>;

int ReadWholeNotes(sqlite3* db, const WholeOptions& options, const MediaFiles& files,
                   const WholeCallback& callback, const Warnings& warnings);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_NOTEWHOLE_H_
