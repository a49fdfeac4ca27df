// NoteStore: the device's notes in plain form, loaded from JSON or a folder, or generated.
//
// Thread contract: plain values; loading and generating touch nothing shared.
#ifndef DEVICESIM_NOTESTORE_H_
#define DEVICESIM_NOTESTORE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace devicesim {

// A note from a notes set (LoadNoteSet) also carries what a phone keeps beside its text;
// `markup` is then its body in the set's Markdown dialect (docs/notes-set.md), read by
// the backup writer, and `content` its plain text for the sync route.
struct Note {
  Note() = default;
  // A plain note, as the sync route serves it.
  Note(std::string subjectText, std::string contentText, double modifiedAt)
      : subject(std::move(subjectText)), content(std::move(contentText)), modified(modifiedAt) {}

  std::string subject, content;
  double modified = 0;              // seconds since 2001-01-01 UTC
  double created = 0;               // 0: the modification date
  std::string markup;               // empty: a plain note, `content` is its text
  std::string baseDir;              // the folder the markup's files are named relative to
  std::vector<std::string> folder;  // nested folder names; empty: the account's "Notes"
  std::string account;              // empty: the phone's own account
  bool pinned = false;
  std::string password, hint;   // a password locks the note (test data, never a user's)
  bool passcodeLocked = false;  // locked with the device passcode (iOS 16 and later)
};

struct NoteStore {
  std::vector<Note> notes;
};

// A JSON array of {"subject", "content", "modified"}; "modified" is an ISO 8601 UTC text
// ("2023-04-05T06:07:08Z") or a number of seconds since 2001-01-01 UTC. Appends to
// `store`. On error returns false and sets *error to "FILE:LINE: what is wrong".
bool LoadNotesJson(const std::string& path, NoteStore* store, std::string* error);

// Every regular file of the folder, in name order: subject = the file name without its
// extension, content = the file's text, modified = the file's modification time.
bool LoadNotesDir(const std::string& path, NoteStore* store, std::string* error);

// A notes set: every `*.md` file under `path` is a note, its subfolders the phone's folders;
// a front matter block (between `---` lines) may give title, created, modified, pinned,
// account, password, hint and passcode. Files are taken in path order.
bool LoadNoteSet(const std::string& path, NoteStore* store, std::string* error);
// True when some `*.md` file under the folder opens with a front matter block.
bool IsNoteSet(const std::string& path);

// A synthetic store: the same seed gives the same notes, with non-ASCII text and emoji.
NoteStore GenerateNotes(size_t count, uint32_t seed);

}  // namespace devicesim

#endif  // DEVICESIM_NOTESTORE_H_
