// Output: where an export goes (standard output, one file, or one file per note in a
// folder), checked before the device is asked for anything and written only once the
// records are all there.
//
// `-o DIR/` makes the folder DIR when it is missing (its parent must exist); a folder made
// here is removed again when nothing was written into it.
//
// Ownership: owns its temporary files. Thread contract: one thread.
#ifndef VELDRAKE_HOST_OUTPUT_H_
#define VELDRAKE_HOST_OUTPUT_H_

#include <memory>
#include <string>

#include "CommandLine.h"
#include "Exporter.h"
#include "OutputFile.h"

namespace host {

class Output {
 public:
  explicit Output(const Options& options) : options_(options) {}
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // kExitOk, or kExitOutput with the line said.
  int Open();
  // The library's console lines go to standard output, which the export owns: they go to
  // standard error with -v, else nowhere.
  void SetStandardOutputApart();
  // kExitOk, or kExitOutput with the line said.
  int Write(Exporter& exporter);

  // The folder notes go into (`-o DIR/`), "" when they go to one document.
  const std::string& noteFolder() const { return directory_; }
  // Writes one document to the file or standard output: kExitOk, or kExitOutput with the
  // line said.
  int WriteDocument(const std::string& text);
  // The folder made by Open was written into: it stays.
  void KeepFolder();

  // The export's text in the chosen format (not for note files).
  static std::string Render(const Options& options, Exporter& exporter);

 private:
  int OpenFolder(const std::string& folder);
  bool WriteNoteFiles(Exporter& exporter, std::string* error);

  const Options& options_;
  std::unique_ptr<OutputFile> file_;  // null: standard output or the folder
  std::string directory_;             // notes as one file each
  std::string madeFolder_;            // made by Open; removed unless written into
  int stdoutFd_ = -1;                 // the export's standard output, once set apart
};

}  // namespace host

#endif  // VELDRAKE_HOST_OUTPUT_H_
