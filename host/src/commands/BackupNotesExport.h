// BackupNotesExport: the notes of a backup whole, through VeldrakeBackupGetNotes
// (include/veldrake/BackupNotes.h): folders, dates, pinning, formatting, tables and
// attachments, locked notes opened with --note-password-file, "Recently Deleted" with
// --include-deleted. Into a folder (-o DIR/) the attachments are copied out as the notes
// arrive (NoteFolder); to one document they are only named, and one line says so.
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
  bool stoppedByHost = false;  // --limit reached, or Ctrl-C
  bool cancelled = false;      // Ctrl-C
  size_t count = 0;
  bool outputFailed = false;  // nothing was written
  std::string outputError;    // the line to say about it ("" when said already)
};

// Exports into `output` (already open); `password` is the backup's ("" for none).
NotesRun ExportBackupNotes(const Options& options, const BackupLibrary& backup,
                           const std::string& password, Output* output);

}  // namespace host

#endif  // VELDRAKE_HOST_BACKUPNOTESEXPORT_H_
