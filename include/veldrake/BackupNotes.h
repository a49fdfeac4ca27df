/* libVeldrakeBackup, notes whole: the richer note record a host gets beside QX::Notes.
   The same backup, password rules, results and last message as Backup.h.

   A note is lent to the callback as a VeldrakeNote and destroyed when the callback
   returns: every pointer in it (and in its attachments and tables) is valid only during
   that call, the host copies what it keeps and frees nothing. -1 from the callback stops
   the export (kVeldrakeBackupStopped). Notes come in ascending note id. Nothing throws.

   Links inside `markdown` and `html` that point at things whose place only the host
   knows are written as URLs of two fixed forms, which a host that writes files replaces
   with relative paths (percent-encoded) before writing:
     "veldrake-attachment:<attachment id>"  an attachment's file (image source or link)
     "veldrake-note:<note id>"              another note of the same backup
   A host that writes no files may leave them or turn them into plain text. */
#ifndef VELDRAKE_BACKUPNOTES_H_
#define VELDRAKE_BACKUPNOTES_H_

#include <stdint.h>

#include "veldrake/Backup.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What an attachment is, as the phone shows it. */
enum VeldrakeNoteAttachmentKind {
  kVeldrakeAttachmentFile = 0,    /* any other file: PDF, audio, video, vCard, event, ... */
  kVeldrakeAttachmentImage = 1,   /* JPEG, PNG, HEIC, GIF: shown as a picture */
  kVeldrakeAttachmentScan = 2,    /* a scanned document: its PDF, or its page images */
  kVeldrakeAttachmentDrawing = 3, /* a drawing or handwriting: its fallback image */
  kVeldrakeAttachmentUrl = 4,     /* a URL card: `url` and `title`, no file */
  kVeldrakeAttachmentTable = 5,   /* a table: in `tables`, no file */
  kVeldrakeAttachmentMissing = 6  /* a media row whose file is not in the backup */
};

typedef struct VeldrakeNoteAttachment {
  const char* id;       /* the attachment's identifier, as in "veldrake-attachment:<id>" */
  int kind;             /* VeldrakeNoteAttachmentKind */
  const char* type;     /* the phone's type identifier, e.g. "public.jpeg"; never null */
  const char* fileName; /* the file's own name (no folder part), safe as a file name and
                           unique within the note; null when there is no file (URL cards,
                           tables, and kVeldrakeAttachmentMissing, told through `warn`) */
  const char* title;    /* a URL card's title or a file's display name; may be null */
  const char* url;      /* a URL card's address; null otherwise */
  int64_t size;         /* the file's size in bytes as the backup records it; -1 unknown */
} VeldrakeNoteAttachment;

/* One table: rows of cells in the phone's order (right-to-left tables keep it), each cell
   its text with inline Markdown; an empty cell is "". cells[row * columns + column]. */
typedef struct VeldrakeNoteTable {
  const char* attachmentId; /* the table's attachment */
  int rows;
  int columns;
  const char* const* cells;
} VeldrakeNoteTable;

typedef struct VeldrakeNote {
  const char* id;                /* the note's identifier (a UUID on modern stores) */
  const char* title;             /* never null; "" when the note has none */
  const char* const* folderPath; /* the folder and its parents, outermost first */
  int folderDepth;               /* entries of folderPath; 0 for none */
  const char* account;           /* the account's name; null when the phone has only one */
  int64_t created;               /* seconds since 1970-01-01 UTC; INT64_MIN unknown */
  int64_t modified;              /* likewise */
  int pinned;                    /* 1 when pinned */
  int wasLocked;                 /* 1 when it was locked and a password opened it */
  int deleted;                   /* 1 when in "Recently Deleted" (only with includeDeleted) */
  const char* text;              /* the QX::Notes content text */
  const char* markdown;          /* CommonMark with GFM tables, strikethrough, task lists */
  const char* html;              /* an HTML fragment (no <html>/<body>), styles inline */
  /* text, markdown and html are the body after its first line, which is the title. */
  const VeldrakeNoteAttachment* attachments; /* in the order the body refers to them */
  int attachmentCount;
  const VeldrakeNoteTable* tables;
  int tableCount;
  const char* const* tags; /* hashtags without the "#", in order, no repeats */
  int tagCount;
} VeldrakeNote;

typedef struct VeldrakeNoteOptions {
  const char* const* notePasswords; /* tried on each locked note; may be null */
  int notePasswordCount;
  int includeDeleted; /* 1: notes in "Recently Deleted" come too */
} VeldrakeNoteOptions;

/* 0 to go on, -1 to stop. `context` is the caller's. */
typedef int (*VeldrakeNoteCallback)(const VeldrakeNote* note, void* context);

/* Exports the notes of the backup at `path` as VeldrakeNote records. `options` may be
   null (no note passwords, no deleted notes). Locked notes that no password opens, and
   objects that cannot be read, are skipped with one line each through `warn`. Only the
   store of iOS 9 and later: a backup holding only the older notes.sqlite gives
   kVeldrakeBackupStoreMissing (VeldrakeBackupGetData reads it). The note passwords are
   used for the key derivation only and wiped before the call returns. */
VELDRAKE_BACKUP_API int VeldrakeBackupGetNotes(const char* path, const char* password,
                                               const VeldrakeNoteOptions* options,
                                               VeldrakeNoteCallback callback, void* context,
                                               VeldrakeBackupWarningCallback warn,
                                               void* warnContext);

/* Copies one attachment's file (decrypted when the backup is encrypted) to the descriptor
   `fd`, which the host opened for writing; only during the callback that lent `note`.
   0, or kVeldrakeBackupStoreMissing when its file is not in the backup, or
   kVeldrakeBackupStoreUnreadable (with the last message set) when it cannot be read or
   written. Streams: memory does not grow with the file's size. */
VELDRAKE_BACKUP_API int VeldrakeBackupCopyAttachment(const VeldrakeNote* note,
                                                     const VeldrakeNoteAttachment* attachment,
                                                     int fd);

#ifdef __cplusplus
}
#endif

#endif /* VELDRAKE_BACKUPNOTES_H_ */
