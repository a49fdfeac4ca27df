// NoteStore: the device's notes in plain form, loaded from JSON or a folder, or generated.
//
// Thread contract: plain values; loading and generating touch nothing shared.
#ifndef DEVICESIM_NOTESTORE_H_
#define DEVICESIM_NOTESTORE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace devicesim {

struct Note {
  std::string subject, content;
  double modified = 0;  // seconds since 2001-01-01 UTC
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

// A synthetic store: the same seed gives the same notes, with non-ASCII text and emoji.
NoteStore GenerateNotes(size_t count, uint32_t seed);

}  // namespace devicesim

#endif  // DEVICESIM_NOTESTORE_H_
