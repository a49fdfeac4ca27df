// Library: libVeldrakeForMac loaded at run time, the way a host loads it.
//
// The library is looked for beside the running executable first, then in ../lib/<arch>
// and ../lib (the install layout: programs in bin/, libraries in lib/), and is opened with
// dlopen. Only the exported surface is used: GetData under its plain name and
// DisContectDeviceAndProtocol under its decorated name, and the session variable iSocket. The
// library stays loaded for the life of the process (its session state is process-wide anyway).
//
// Thread contract: Load once, from one thread; the library's own calls must follow one
// another (the library keeps one session per process).
#ifndef VELDRAKE_HOST_LIBRARY_H_
#define VELDRAKE_HOST_LIBRARY_H_

#include <string>
#include <vector>

#include "veldrake/Backup.h"
#include "veldrake/BackupContacts.h"
#include "veldrake/BackupNotes.h"
#include "veldrake/Session.h"

namespace host {

class Library {
 public:
  // The entry points' signatures, from the library's public header; nothing is linked.
  using GetDataFunction = decltype(&GetData);
  using DisconnectFunction = decltype(&DisContectDeviceAndProtocol);

  // The folder of the running executable (from /proc/self/exe), without a trailing slash.
  static std::string ExecutableDirectory();
  // Where the library is looked for, in order.
  static std::vector<std::string> Candidates();

  // False with *error naming what was tried when the library or a symbol is missing.
  bool Load(std::string* error);

  const std::string& path() const { return path_; }
  GetDataFunction getData = nullptr;
  DisconnectFunction disconnect = nullptr;
  // The session's socket (iSocket), for the cancel a host may make from another thread.
  int* socket = nullptr;

 private:
  std::string path_;
};

// libVeldrakeBackup, the library that reads a phone's backup folder, loaded the same way
// from the folder libVeldrakeForMac was loaded from (include/veldrake/Backup.h).
class BackupLibrary {
 public:
  // False with *error ("backup library not found ...") when it or a symbol is missing.
  bool Load(const Library& main, std::string* error);

  decltype(&VeldrakeBackupList) list = nullptr;
  decltype(&VeldrakeBackupGetData) getData = nullptr;
  decltype(&VeldrakeBackupLastMessage) lastMessage = nullptr;
  // Contacts with their photo, groups, account and dates; null in a library that predates
  // them, whose contacts then come without.
  decltype(&VeldrakeBackupGetContacts) getContacts = nullptr;
  // Null when the library loaded is older than these entry points.
  decltype(&VeldrakeBackupCancel) cancel = nullptr;
  decltype(&VeldrakeBackupRemoveTemporaries) removeTemporaries = nullptr;
  // Notes whole (BackupNotes.h); both null in a library without them.
  decltype(&VeldrakeBackupGetNotes) getNotes = nullptr;
  decltype(&VeldrakeBackupCopyAttachment) copyAttachment = nullptr;
};

}  // namespace host

#endif  // VELDRAKE_HOST_LIBRARY_H_
