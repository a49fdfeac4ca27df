// NoteStore.sqlite as QX::Notes records: the whole-note reader's notes, each lent as its
// title, content text and date, so both interfaces read a store one way.
#include "NoteStoreModern.h"

#include "NoteRecord.h"
#include "PListNoteAnalysis.h"
#include "veldrake/Backup.h"

namespace veldrake::backup {
namespace {

constexpr int64_t kUnixAt2001 = 978307200;

// The record's date: seconds since 2001, the modification date or else the creation date.
int64_t RecordDate(const WholeNote& note) {
  const int64_t date = note.modified != INT64_MIN ? note.modified : note.created;
  return date == INT64_MIN ? PListNoteAnalysis::kNoDate : date - kUnixAt2001;
}

}  // namespace

int ReadModernNotes(sqlite3* db, const MediaFiles& files, VeldrakeRecordCallback callback,
                    const Warnings& warnings, size_t bodyCap) {
  WholeOptions options;
  options.bodyCap = bodyCap;
  return ReadWholeNotes(
      db, options, files,
      [callback](WholeNote& note) {
        return LendNote(callback, note.title, note.text, RecordDate(note));
      },
      warnings);
}

}  // namespace veldrake::backup
