// The notes of a backup whole, one at a time into the Output.
#include "BackupNotesExport.h"

#include "Messages.h"
#include "NotePasswords.h"
#include "Signals.h"

namespace host {
namespace {

// What the note callback works with.
struct Run {
  const BackupLibrary* backup;
  size_t limit;
  Output* output;
  NotesRun outcome;
};

int OnNote(const VeldrakeNote* note, void* context) {
  Run& run = *static_cast<Run*>(context);
  if (CancelRequested()) {
    run.outcome.cancelled = run.outcome.stoppedByHost = true;
    return -1;
  }
  const AttachmentCopier copy = [&](size_t index, int fd, std::string* why) {
    const int result = run.backup->copyAttachment(note, &note->attachments[index], fd);
    if (result != 0) *why = run.backup->lastMessage();
    return result;
  };
  if (!run.output->Take(CopyBackupNote(*note), copy)) {
    run.outcome.outputStopped = run.outcome.stoppedByHost = true;
    return -1;
  }
  if (++run.outcome.count == run.limit) run.outcome.stoppedByHost = true;
  return run.outcome.stoppedByHost ? -1 : 0;
}

}  // namespace

NotesRun ExportBackupNotes(const Options& options, const BackupLibrary& backup,
                           const std::string& password, Output* output) {
  NotePasswords notePasswords;
  NotesRun failed;
  if (!notePasswords.Read(options.notePasswordFile, &failed.error)) return failed;
  Run run{&backup, options.limit, output, {}};
  const VeldrakeNoteOptions noteOptions{notePasswords.data(), notePasswords.count(),
                                        options.includeDeleted ? 1 : 0};
  Cancellable cancellable;
  run.outcome.result =
      backup.getNotes(options.backup.c_str(), password.empty() ? nullptr : password.c_str(),
                      &noteOptions, OnNote, &run, SayBackupWarning, nullptr);
  return run.outcome;
}

}  // namespace host
