/* libVeldrakeBackup, contacts whole: each QX::Contact with what the record cannot hold,
   its photo, groups, account and dates. The same backup, password rules, results and last
   message as Backup.h.

   The contact and its details are lent to the callback and destroyed when it returns:
   every pointer is valid only during that call; the host copies what it keeps and frees
   nothing. -1 from the callback stops the export (kVeldrakeBackupStopped). Contacts come
   in ascending person id, as VeldrakeBackupGetData gives them. Nothing throws. */
#ifndef VELDRAKE_BACKUPCONTACTS_H_
#define VELDRAKE_BACKUPCONTACTS_H_

#include <stdint.h>

#include "veldrake/Backup.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Flags of VeldrakeBackupGetContacts. */
#define VELDRAKE_CONTACTS_NO_PHOTOS 1 /* leave the images database unread */

typedef struct VeldrakeContactPhoto {
  const unsigned char* data; /* the image's bytes, as the phone stores them */
  uint64_t size;
  const char* mimeType; /* "image/jpeg", "image/png" or "image/heic", from the bytes */
  int hasCrop;          /* 1: the phone shows the square cropX, cropY, cropWidth */
  int32_t cropX;        /* pixels from the left */
  int32_t cropY;        /* pixels from the bottom, as the phone keeps it */
  int32_t cropWidth;
} VeldrakeContactPhoto;

typedef struct VeldrakeContactDetails {
  int32_t id;                /* the person's id, the same as QX::Contact::id */
  const char* account;       /* the store's name ("iCloud", "On My iPhone", an Exchange or
                                CardDAV account's name); null when unknown */
  const char* accountType;   /* "local", "icloud", "exchange", "carddav", "google" or
                                "other"; null when unknown */
  const char* const* groups; /* names of the groups the person is in, in name order */
  int groupCount;
  int64_t created;                   /* seconds since 1970-01-01 UTC; INT64_MIN unknown */
  int64_t modified;                  /* likewise */
  const VeldrakeContactPhoto* photo; /* null when none (or VELDRAKE_CONTACTS_NO_PHOTOS) */
} VeldrakeContactDetails;

/* `contact` is a QX::Contact*, as VeldrakeRecordCallback receives it. 0 to go on, -1 to
   stop. `context` is the caller's. */
typedef int (*VeldrakeContactCallback)(void* contact, const VeldrakeContactDetails* details,
                                       void* context);

/* Exports the contacts of the backup at `path` with their details. `flags` is 0 or
   VELDRAKE_CONTACTS_NO_PHOTOS. A photo or group that cannot be read is left out with one
   line through `warn`; the person still comes. */
VELDRAKE_BACKUP_API int VeldrakeBackupGetContacts(const char* path, const char* password, int flags,
                                                  VeldrakeContactCallback callback, void* context,
                                                  VeldrakeBackupWarningCallback warn,
                                                  void* warnContext);

#ifdef __cplusplus
}
#endif

#endif /* VELDRAKE_BACKUPCONTACTS_H_ */
