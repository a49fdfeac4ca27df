// StaleFolders: removes the private folders that processes killed outright (kill -9, a
// crash) left in the temporary folder. A folder is removed only when everything says it
// is ours and abandoned: its name is kPrivatePrefix, a process id and mkdtemp's six
// characters; it is a real folder (not a link), mode exactly 0700, owned by this user;
// and no process of that id exists. Only the regular files directly inside it are
// removed, through the folder's descriptor, never following a link.
//
// Thread contract: any thread; two sweeps at once only race to remove the same files.
#ifndef VELDRAKE_BACKUP_STALEFOLDERS_H_
#define VELDRAKE_BACKUP_STALEFOLDERS_H_

#include <sys/types.h>
#include <string>

namespace veldrake::backup {

// The process id in a private folder's name, or -1 when `name` is no such name.
pid_t OwnerOfPrivateName(const std::string& name);

// Removes the stale private folders directly inside `base`; returns how many went.
int SweepStaleFolders(const std::string& base);

// Removes the regular files directly inside the folder `path`, then the folder; links and
// subfolders are left (and then the folder stays). Not for a signal handler.
void RemoveFolderAndFiles(const std::string& path);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_STALEFOLDERS_H_
