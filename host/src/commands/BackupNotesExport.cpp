// The notes of a backup whole, into a folder or one document.
#include "BackupNotesExport.h"

#include <memory>

#include "Messages.h"
#include "NoteFolder.h"
#include "NotePasswords.h"
#include "NotesDocument.h"
#include "Signals.h"

namespace host {
namespace {

// What the note callback works with.
struct Run {
  const BackupLibrary* backup;
  size_t limit;
  NoteFolder* folder;              // null: one document
  std::vector<NoteRecord>* notes;  // the document's notes
  NotesRun outcome;
};

void Warn(const char* message, void*) {
  Say(std::string("warning: ") + message);
}

int OnNote(const VeldrakeNote* note, void* context) {
  Run& run = *static_cast<Run*>(context);
  if (CancelRequested()) {
    run.outcome.cancelled = run.outcome.stoppedByHost = true;
    return -1;
  }
  NoteRecord record = CopyBackupNote(*note);
  if (run.folder == nullptr) {
    run.notes->push_back(std::move(record));
  } else {
    const AttachmentCopier copy = [&](size_t index, int fd, std::string* why) {
      const int result = run.backup->copyAttachment(note, &note->attachments[index], fd);
      if (result != 0) *why = run.backup->lastMessage();
      return result;
    };
    if (!run.folder->Add(std::move(record), copy, &run.outcome.outputError)) {
      run.outcome.outputFailed = run.outcome.stoppedByHost = true;
      return -1;
    }
  }
  if (++run.outcome.count == run.limit) run.outcome.stoppedByHost = true;
  return run.outcome.stoppedByHost ? -1 : 0;
}

}  // namespace

NotesRun ExportBackupNotes(const Options& options, const BackupLibrary& backup,
                           const std::string& password, Output* output) {
  NotesRun failed;
  failed.outputFailed = true;
  NotePasswords notePasswords;
  if (!notePasswords.Read(options.notePasswordFile, &failed.outputError)) return failed;
  OutputFolder folder;
  std::unique_ptr<NoteFolder> notes;
  if (!output->noteFolder().empty()) {
    if (!folder.Open(output->noteFolder(), &failed.outputError)) return failed;
    notes.reset(new NoteFolder(&folder, options.format,
                               [](const std::string& line) { Say("warning: " + line); }));
  }
  std::vector<NoteRecord> document;
  Run run{&backup, options.limit, notes.get(), &document, {}};
  const VeldrakeNoteOptions noteOptions{notePasswords.data(), notePasswords.count(),
                                        options.includeDeleted ? 1 : 0};
  Cancellable cancellable;
  run.outcome.result =
      backup.getNotes(options.backup.c_str(), password.empty() ? nullptr : password.c_str(),
                      &noteOptions, OnNote, &run, Warn, nullptr);
  const bool delivered =
      run.outcome.result == kVeldrakeBackupOk ||
      (run.outcome.result == kVeldrakeBackupStopped && run.outcome.stoppedByHost);
  if (!delivered || run.outcome.cancelled || run.outcome.outputFailed) return run.outcome;
  if (notes) {
    run.outcome.outputFailed = !notes->Finish(&run.outcome.outputError);
    if (!run.outcome.outputFailed) output->KeepFolder();
    return run.outcome;
  }
  run.outcome.outputFailed =
      output->WriteDocument(NotesDocument(options.format, document)) != kExitOk;
  const std::string leftOut = AttachmentsLeftOutLine(AttachmentFiles(document));
  if (!leftOut.empty() && !options.quiet) Say(leftOut);
  return run.outcome;
}

}  // namespace host
