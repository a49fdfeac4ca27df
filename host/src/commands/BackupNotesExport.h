// BackupNotesExport: the notes of a backup whole, through VeldrakeBackupGetNotes
// (include/veldrake/BackupNotes.h): folders, dates, pinning, formatting, tables and
// attachments, locked notes opened with --note-password-file, "Recently Deleted" with
// --include-deleted. Each note goes to the Output as it comes, with a way to copy its
// attachments out while the library still lends them.
//
// Thread contract: the program's main thread.
#ifndef VELDRAKE_HOST_BACKUPNOTESEXPORT_H_
#define VELDRAKE_HOST_BACKUPNOTESEXPORT_H_

#include <string>

#include "CommandLine.h"
#include "Library.h"
#include "Output.h"

namespace host {

// What the run ended with: the library's result, and whether the host stopped it.
struct NotesRun {
  int result = 0;
  bool stoppedByHost = false;  // --limit reached, Ctrl-C, or the output failed
  bool cancelled = false;      // Ctrl-C
  bool outputStopped = false;  // the output failed (it says why when written)
  size_t count = 0;
  std::string error;  // the note passwords could not be read
};

// Exports into `output` (open, not yet written); `password` is the backup's ("" for none).
NotesRun ExportBackupNotes(const Options& options, const BackupLibrary& backup,
                           const std::string& password, Output* output);

}  // namespace host

#endif  // VELDRAKE_HOST_BACKUPNOTESEXPORT_H_
