// NoteFaults: hostile notes a damaged or crafted store may hold, written on request
// (`--notes-faults`) beside the real ones so a reader's tests can show it survives them:
// tables with indexes out of range, cycles and a million rows, attachment rows pointing
// at each other, media that is a folder, missing or oddly named, a body of a million runs,
// and locked notes with short data, a huge iteration count or a truncated key. Each is a
// note titled "Fault: ..." (docs/notes-store.md lists them).
//
// Thread contract: as StoreWriter's.
#ifndef DEVICESIM_BACKUP_NOTEFAULTS_H_
#define DEVICESIM_BACKUP_NOTEFAULTS_H_

#include <string>

#include "NoteRows.h"

namespace devicesim::backup {

bool WriteFaultNotes(StoreWriter& w, std::string* error);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_NOTEFAULTS_H_
