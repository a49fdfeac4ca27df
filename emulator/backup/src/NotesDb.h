// NotesDb: the phone's two note stores, filled from the emulator's notes.
//
// The modern store (NoteStore.sqlite, iOS 9 and later) keeps each note's text as a
// gzip-compressed protobuf document, the title being its first line; its columns follow
// the OS generation (creation dates in ZCREATIONDATE1 before iOS 15, ZCREATIONDATE3
// since). The legacy store (notes.sqlite) keeps HTML bodies.
//
// Thread contract: touches only the file at `path`.
#ifndef DEVICESIM_BACKUP_NOTESDB_H_
#define DEVICESIM_BACKUP_NOTESDB_H_

#include <string>

#include "devicesim/NoteStore.h"

namespace devicesim::backup {

bool WriteNoteStoreDb(const NoteStore& notes, int majorVersion, const std::string& path,
                      std::string* error);
bool WriteLegacyNotesDb(const NoteStore& notes, const std::string& path, std::string* error);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_NOTESDB_H_
