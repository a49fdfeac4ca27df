// NotesDb: the phone's two note stores, filled from the emulator's notes.
//
// The modern store (NoteStore.sqlite, iOS 9 and later) keeps each note's text as a
// gzip-compressed protobuf document, the title being its first line, and its folders,
// accounts, attachments and their files beside it (docs/notes-store.md); its columns and
// entity numbers follow the OS generation. The legacy store (notes.sqlite) keeps HTML
// bodies.
//
// Thread contract: touches only the file at `path` and files under `stageDir`.
#ifndef DEVICESIM_BACKUP_NOTESDB_H_
#define DEVICESIM_BACKUP_NOTESDB_H_

#include <string>
#include <vector>

#include "devicesim/NoteStore.h"

namespace devicesim::backup {

// A file the notes app keeps in its group folder: where it goes and where to copy it from.
struct NoteFile {
  std::string relativePath, source;
};

// Writes the store at `path`; the files its attachments need are listed in *files (the
// sealed ones of locked notes written under `stageDir`). `faults` adds the hostile
// notes of NoteFaults.h.
bool WriteNoteStoreDb(const NoteStore& notes, int majorVersion, bool faults,
                      const std::string& path, const std::string& stageDir,
                      std::vector<NoteFile>* files, std::string* error);
bool WriteLegacyNotesDb(const NoteStore& notes, const std::string& path, std::string* error);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_NOTESDB_H_
