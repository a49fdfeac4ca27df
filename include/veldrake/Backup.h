/* libVeldrakeBackup: the contacts and notes of a phone's local backup folder (the folder
   a computer's backup tool writes: Info.plist, Manifest.plist, Manifest.db and the files
   in two-hex-digit folders), plain or encrypted, lent to the host as the same records
   libVeldrakeForMac lends: QX::Contact and its companions, QX::Notes.

   Records: each goes to the host's VeldrakeRecordCallback and is destroyed as soon as the
   callback returns (the host copies what it keeps); -1 from the callback stops the export,
   which then returns kVeldrakeBackupStopped. Contacts come in ascending person id, a
   person's items in the phone's order; notes in ascending note id.

   Secrets: the password is used for the key derivation and nothing else; it is never
   copied into a message. Decrypted data stays in memory or in a private temporary folder
   (mode 0700, files 0600) that is removed before the call returns, whatever the outcome.

   Results: 0 or a count on success; a failure is one of VeldrakeBackupResult (negative).
   After any call, VeldrakeBackupLastMessage() says in one line what went wrong (or is
   empty), naming files of the backup but never the password.

   Thread contract: a call runs wholly on the calling thread, the callbacks included, and
   keeps no state between calls but the calling thread's last message; calls on different
   threads are independent, but for VeldrakeBackupCancel and
   VeldrakeBackupRemoveTemporaries, which reach every export running in the process.
   Nothing here throws.

   Hostile backups: every database is read through real tables only, under time and memory
   limits; copies out of the backup are capped by the sizes Manifest.db records and by the
   space left; no link leads out of the backup folder. A private folder left by a process
   that was killed outright is removed by the next export (docs/robustness.md). */
#ifndef VELDRAKE_BACKUP_H_
#define VELDRAKE_BACKUP_H_

#include <stdint.h>

#include "veldrake/RecordCallback.h"

#if defined(VELDRAKE_BUILDING_BACKUP)
#define VELDRAKE_BACKUP_API __attribute__((visibility("default")))
#else
#define VELDRAKE_BACKUP_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* What VeldrakeBackupGetData exports: the same numbers as GetData's dataKind. */
#define VELDRAKE_BACKUP_NOTES 0
#define VELDRAKE_BACKUP_CONTACTS 1

enum VeldrakeBackupResult {
  kVeldrakeBackupOk = 0,
  kVeldrakeBackupStopped = -1,            /* the record callback answered -1 */
  kVeldrakeBackupInvalidArgument = -2,    /* null path or callback, or an unknown data kind */
  kVeldrakeBackupNoMemory = -3,           /* an allocation failed; nothing more was delivered */
  kVeldrakeBackupCancelled = -4,          /* VeldrakeBackupCancel asked the export to stop */
  kVeldrakeBackupNotABackup = -30,        /* no backup at the path, or an incomplete one */
  kVeldrakeBackupSeveral = -31,           /* the folder holds several backups: name one */
  kVeldrakeBackupNeedsPassword = -32,     /* encrypted, and no password was given */
  kVeldrakeBackupWrongPassword = -33,     /* the password does not open the keybag */
  kVeldrakeBackupStoreMissing = -34,      /* the backup holds no address book / notes store */
  kVeldrakeBackupStoreUnreadable = -35,   /* damaged or hostile: a database, a file, the keybag */
  kVeldrakeBackupNoTemporaryFolder = -36, /* TMPDIR (or /tmp) is missing or not writable */
  kVeldrakeBackupNoSpace = -37 /* a decrypted copy needs more room than the disk has left */
};

/* A warning about one record that was skipped (a locked note, a body too large to
   inflate, ...): one line of UTF-8 that names the record. `context` is the caller's. */
typedef void (*VeldrakeBackupWarningCallback)(const char* message, void* context);

typedef struct VeldrakeBackupInfo {
  char path[4096];  /* the backup folder itself, NUL-terminated */
  char udid[64];    /* the phone's UDID, as Info.plist gives it */
  char name[128];   /* the phone's name, UTF-8; cut at a character boundary if longer */
  char version[32]; /* the phone's OS version, e.g. "17.1.2" */
  int64_t date;     /* when the backup was made: seconds since 1970-01-01 UTC; -1 unknown */
  int encrypted;    /* 1 when the backup is encrypted */
  int complete;     /* 1 when the backup finished (Status.plist) and Manifest.db is there */
} VeldrakeBackupInfo;

/* Describes the backups at `path`: the folder itself when it is a backup, otherwise each
   backup folder directly inside it, in name order. Fills up to `capacity` entries of
   `out` (null when capacity is 0) and returns how many there are, which may be more than
   `capacity`; kVeldrakeBackupNotABackup when there is none. After a listing the message
   names each Info.plist that could not be read, and why (its backup is described from
   Manifest.plist); it is empty when there was none. */
VELDRAKE_BACKUP_API int VeldrakeBackupList(const char* path, VeldrakeBackupInfo* out, int capacity);

/* Exports one kind of record (VELDRAKE_BACKUP_CONTACTS or VELDRAKE_BACKUP_NOTES) from the
   backup at `path`: a backup folder, or a folder holding exactly one (with several:
   kVeldrakeBackupSeveral, and VeldrakeBackupList names them). `password` may be null for
   a backup that is not encrypted; it is ignored then. `warn` may be null. Returns 0 when
   every record was delivered (records that had to be skipped are told through `warn`). */
VELDRAKE_BACKUP_API int VeldrakeBackupGetData(const char* path, const char* password, int dataKind,
                                              VeldrakeRecordCallback callback,
                                              VeldrakeBackupWarningCallback warn,
                                              void* warnContext);

/* Asks every export running in this process to stop: between records, and within a
   second inside a database query. The export returns kVeldrakeBackupCancelled. Safe from
   any thread (a host's signal-watching thread), not from a signal handler. */
VELDRAKE_BACKUP_API void VeldrakeBackupCancel(void);

/* Removes at once the decrypted files of every export running in this process (their
   private folders), for a host that is about to end on a signal; those exports then fail.
   Safe from any thread while exports run on others. */
VELDRAKE_BACKUP_API void VeldrakeBackupRemoveTemporaries(void);

/* The calling thread's message about its last call: one line, empty after a success
   (but for VeldrakeBackupList's word on an unreadable Info.plist).
   Valid until that thread's next call into this library. */
VELDRAKE_BACKUP_API const char* VeldrakeBackupLastMessage(void);

#ifdef __cplusplus
}
#endif

#endif /* VELDRAKE_BACKUP_H_ */
