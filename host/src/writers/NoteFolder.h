// NoteFolder: notes written into an output folder (`-o DIR/`) as files a person opens:
// Markdown (md), web pages with an index (html), text (txt), or one notes.json (json), with
// every attachment's file beside its note.
//
// Layout: DIR/[account/]folder[/subfolder]/Title.md (or .html, .txt), its attachments in
// DIR/.../Title.assets/, index.html or notes.json at the top. Every name goes through
// OutputFolder (safe, unique, nothing outside DIR); each file's modification time is its
// note's; every byte counts against the export's Budget. Notes stream: each is written as
// it arrives (the backup lends a note's files only while it lends the note), and only a
// note that links to other notes is kept until Finish, when every note's file is known.
// Nothing is visible until Finish commits.
//
// An attachment that cannot be copied is a warning (through `warn`) and a link that goes
// nowhere; a failure of the output folder, or a limit passed, fails the export.
//
// Ownership: borrows the folder and the budget. Thread contract: one thread.
#ifndef VELDRAKE_HOST_NOTEFOLDER_H_
#define VELDRAKE_HOST_NOTEFOLDER_H_

#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "BudgetBuffer.h"
#include "ExportLimits.h"
#include "Formats.h"
#include "NoteHtml.h"
#include "NoteRecord.h"
#include "OutputFolder.h"
#include "StagingFile.h"

namespace host {

// Copies attachment `index` of the note being added to `fd`: 0, or a negative library
// result (kVeldrakeBackupStoreMissing: not in the backup) with *why set.
using AttachmentCopier = std::function<int(size_t index, int fd, std::string* why)>;
using WarningSink = std::function<void(const std::string& line)>;

class NoteFolder {
 public:
  // `folder` is open; `format` one of the notes formats.
  NoteFolder(OutputFolder* folder, Format format, Budget* budget, WarningSink warn);
  ~NoteFolder();

  // False with *error when notes.json's holder cannot be made.
  bool Open(std::string* error);
  // Places the note, writes its attachments through `copy` (null: none can be copied, as
  // on the sync route) and, unless it links to other notes, its file. False with *error
  // when the folder fails or a limit is passed.
  bool Add(NoteRecord&& note, const AttachmentCopier& copy, std::string* error);
  // Writes the notes kept back, index.html or notes.json, and commits.
  bool Finish(std::string* error);

 private:
  struct Placed {
    NoteRecord note;
    std::string path;  // its file, relative to the folder
  };

  std::vector<std::string> Folders(const NoteRecord& note) const;
  bool WriteAttachments(NoteRecord* note, const std::string& assets, const AttachmentCopier& copy,
                        std::string* error);
  bool WriteNote(Placed& placed, std::string* error);
  // Lends the note's text to the text writer and takes it back: not const.
  void Render(std::ostream& out, Placed& placed) const;

  OutputFolder* folder_;
  Format format_;
  Budget* budget_;
  WarningSink warn_;
  size_t count_ = 0;
  std::string topFile_;                           // index.html or notes.json; "" for none
  std::vector<IndexEntry> index_;                 // html: what the index shows
  std::vector<Placed> waiting_;                   // notes that link to other notes
  std::map<std::string, std::string> noteFiles_;  // note id -> its file
  StagingFile staging_;                           // json: the array so far
  std::unique_ptr<BudgetBuffer> jsonBuffer_;
  std::unique_ptr<std::ostream> json_;
};

}  // namespace host

#endif  // VELDRAKE_HOST_NOTEFOLDER_H_
