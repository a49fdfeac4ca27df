// ReadAhead: the notes of a store read on a thread of their own, a few ahead of the host's
// callback, so that decoding the store overlaps what the host does with each note (writing
// it, copying its files). Notes and warnings reach the calling thread in the order the
// reader made them, and at most a few wait at a time, so memory stays that of a few notes.
//
// Thread contract: ReadAhead is called on the export's thread, which runs `consume` and
// says the warnings; `read` runs on the new thread and shares nothing with `consume`
// except through locks (OpenedBackup's Manifest.db lookups take one).
#ifndef VELDRAKE_BACKUP_READAHEAD_H_
#define VELDRAKE_BACKUP_READAHEAD_H_

#include <functional>
#include <string>

#include "NoteWhole.h"
#include "Warnings.h"

namespace veldrake::backup {

// A reader of notes: hands each to `deliver` and each warning to `warnings`; a result code.
using NoteReader = std::function<int(const WholeCallback& deliver, const Warnings& warnings)>;

// Runs `read` on a thread of its own, handing each note to `consume` (and then wiping it)
// and each warning to `warnings` here. The first non-zero answer of `consume` tells the
// reader to stop and is returned; otherwise the reader's result, with *failure set when it
// failed by throwing (out of memory). Where no thread can be started, reads here.
int ReadAhead(const NoteReader& read, const WholeCallback& consume, const Warnings& warnings,
              std::string* failure);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_READAHEAD_H_
