// NoteFolder: notes written into an output folder (`-o DIR/`) as files a person opens:
// Markdown (md), web pages with an index (html), text (txt) or one notes.json (json), with
// every attachment's file beside its note.
//
// Layout: DIR/[account/]folder[/subfolder]/Title.md (or .html, .txt), its attachments in
// DIR/.../Title.assets/, index.html or notes.json at the top. Every name goes through
// OutputFolder (safe, unique, nothing outside DIR); each file's modification time is its
// note's. Attachments are written as the notes arrive (the backup lends a file only while
// its note is lent); the note files last, once every note's place is known, so a link to
// another note becomes the relative path of that note's file. Nothing is visible until
// Finish commits.
//
// An attachment that cannot be copied is a warning (through `warn`) and a note that says
// what is missing; a failure of the output folder itself fails the export.
//
// Ownership: holds the notes until Finish; borrows the folder. Thread contract: one thread.
#ifndef VELDRAKE_HOST_NOTEFOLDER_H_
#define VELDRAKE_HOST_NOTEFOLDER_H_

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Formats.h"
#include "NoteRecord.h"
#include "OutputFolder.h"

namespace host {

// Copies attachment `index` of the note being added to `fd`: 0, or a negative library
// result (kVeldrakeBackupStoreMissing: not in the backup) with *why set.
using AttachmentCopier = std::function<int(size_t index, int fd, std::string* why)>;
using WarningSink = std::function<void(const std::string& line)>;

class NoteFolder {
 public:
  // `folder` is open; `format` one of the notes formats.
  NoteFolder(OutputFolder* folder, Format format, WarningSink warn);

  // Places the note and writes its attachments through `copy` (null: none can be copied,
  // as on the sync route). False with *error when the folder fails.
  bool Add(NoteRecord note, const AttachmentCopier& copy, std::string* error);
  // Writes the note files (or notes.json), index.html for html, and commits.
  bool Finish(std::string* error);

  size_t attachmentsWritten() const { return attachmentsWritten_; }

 private:
  std::vector<std::string> Folders(const NoteRecord& note) const;
  bool WriteAttachments(NoteRecord* note, const std::string& assets, const AttachmentCopier& copy,
                        std::string* error);
  std::string Body(const NoteRecord& note, const std::string& path) const;
  bool WriteNote(const NoteRecord& note, const std::string& path, std::string* error);

  OutputFolder* folder_;
  Format format_;
  WarningSink warn_;
  std::string topFile_;  // index.html or notes.json; "" for none
  std::vector<NoteRecord> notes_;
  std::vector<std::string> paths_;                // each note's file, relative to the folder
  std::map<std::string, std::string> noteFiles_;  // note id -> its file
  size_t attachmentsWritten_ = 0;
};

}  // namespace host

#endif  // VELDRAKE_HOST_NOTEFOLDER_H_
