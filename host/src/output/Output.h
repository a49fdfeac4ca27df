// Output: where an export goes (standard output, one file, a device or FIFO, or a folder),
// checked before the device is asked for anything, fed one record at a time, and made
// visible only once the export is complete.
//
// Notes (NoteRecord, whichever route they came by) go to NotesDocument or, in a folder,
// NoteFolder; contacts to ContactDocument or, in a folder, their own files (ContactFiles.h).
// Records are rendered as they arrive, straight into the file that will hold them (a
// table's rows into a private temporary until its columns are known), so an export's
// memory does not grow with its size: one note, one person and photo, at a time. Every
// record and byte counts against the export's limits (ExportLimits.h).
//
// Targets: `-o FILE` a temporary beside FILE renamed over it (OutputFile.h); a target that
// is not a regular file (a device such as /dev/null, a FIFO) is never replaced but written
// in place at the end, as is standard output (/dev/stdout too), the export held meanwhile
// in an unnamed temporary (StagingFile.h); `-o DIR/` goes through OutputFolder.
//
// Ownership: owns its temporary files. Thread contract: one thread.
#ifndef VELDRAKE_HOST_OUTPUT_H_
#define VELDRAKE_HOST_OUTPUT_H_

#include <memory>
#include <ostream>
#include <string>

#include "BudgetBuffer.h"
#include "CommandLine.h"
#include "ContactDocument.h"
#include "ExportLimits.h"
#include "Exporter.h"
#include "NoteFolder.h"
#include "OutputFile.h"
#include "OutputFolder.h"
#include "StagingFile.h"

namespace host {

class Output : public RecordSink {
 public:
  explicit Output(const Options& options);
  ~Output() override;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // kExitOk, or kExitOutput with the line said.
  int Open();
  // The library's console lines go to standard output, which the export owns: they go to
  // standard error with -v, else nowhere.
  void SetStandardOutputApart();

  bool Take(Contact&& contact) override;
  bool Take(Note&& note) override;
  // A note whole (the backup's), its attachments copied through `copy` into a folder.
  bool Take(NoteRecord&& note, const AttachmentCopier& copy);

  // Whether a record could not be taken (a limit, a failed write): the export stopped.
  bool failed() const { return failedStatus_ != 0; }
  // Finishes and makes the export visible: kExitOk, or kExitOutput or kExitLimitReached
  // with the line said.
  int Write();

 private:
  enum class Target {
    kStandardOutput,
    kFile,
    kInPlace,
    kFolderDocument,
    kFolderNotes,
    kFolderCards  // --split: one vCard per person
  };

  int OpenFolder(const std::string& path);
  int OpenDocument(int fd);
  bool Fail(const std::string& error);
  bool Deliver(std::string* error);
  // One person into the document or the folder; false with *error.
  bool WriteContact(const Contact& contact, std::string* error);

  const Options& options_;
  Budget budget_;
  Target target_ = Target::kStandardOutput;
  std::unique_ptr<OutputFile> file_;
  std::unique_ptr<OutputFolder> folder_;
  std::unique_ptr<NoteFolder> noteFolder_;  // kFolderNotes
  size_t attachmentsLeftOut_ = 0;           // named in a document, not written
  StagingFile staging_;
  std::string inPlace_;   // kInPlace: the path written at the end
  std::string document_;  // kFolderDocument: its name in the folder
  std::unique_ptr<BudgetBuffer> buffer_;
  std::unique_ptr<std::ostream> stream_;  // the document, for every target but kFolderNotes
  StagingFile spool_;                     // a contacts table's rows until the end
  std::unique_ptr<ContactDocument> contacts_;
  size_t notes_ = 0;
  int failedStatus_ = 0;
  std::string failure_;
  int stdoutFd_ = -1;  // the export's standard output, once set apart
};

}  // namespace host

#endif  // VELDRAKE_HOST_OUTPUT_H_
