// The export's target: checked first, written last, whole or not at all.
#include "Output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>
#include <sstream>

#include "CsvWriter.h"
#include "JsonWriter.h"
#include "Messages.h"
#include "NoteFolder.h"
#include "NotesDocument.h"
#include "OutputFolder.h"
#include "Signals.h"
#include "VCardWriter.h"

namespace host {
namespace {

const char kNullDevice[] = "/dev/null";

bool IsDirectory(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

const char* Noun(VeldrakeDataKind kind) {
  return kind == kVeldrakeContacts ? "contacts" : "notes";
}

std::vector<NoteRecord> NoteRecords(const std::vector<Note>& notes) {
  std::vector<NoteRecord> records;
  records.reserve(notes.size());
  for (const Note& note : notes) records.push_back(FromSyncNote(note));
  return records;
}

int Failed(const std::string& line) {
  Say(line);
  return kExitOutput;
}

}  // namespace

Output::~Output() {
  file_.reset();  // its temporary goes first, so that a folder made here is empty again
  if (madeFolder_.empty()) return;
  ::rmdir(madeFolder_.c_str());  // only when still empty
  UnregisterTemporary(madeFolder_);
}

int Output::OpenFolder(const std::string& folder) {
  if (!IsDirectory(folder)) {
    if (::mkdir(folder.c_str(), 0777) != 0) return Failed(folder + ": " + std::strerror(errno));
    madeFolder_ = folder;
    RegisterTemporary(folder);
  }
  if (::access(folder.c_str(), W_OK) != 0) return Failed(folder + ": " + std::strerror(errno));
  return kExitOk;
}

int Output::Open() {
  const std::string& output = options_.output;
  const bool wantsFolder =
      !output.empty() && output != "-" && (output.back() == '/' || IsDirectory(output));
  if (options_.format == Format::kNoteHtml && !wantsFolder) {
    Say("--format html writes a folder of pages: give -o DIR/");
    return kExitUsage;
  }
  if (output.empty() || output == "-") return kExitOk;
  std::string path = output;
  if (wantsFolder) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    const int status = OpenFolder(path);
    if (status != kExitOk) return status;
    if (options_.kind == kVeldrakeNotes && WritesNoteFiles(options_.format)) {
      directory_ = path;
      return kExitOk;
    }
    path += "/" + std::string(Noun(options_.kind)) + "." + Describe(options_.format).extension;
  }
  file_.reset(new OutputFile);
  std::string error;
  if (!file_->Open(path, &error)) return Failed(error);
  return kExitOk;
}

void Output::SetStandardOutputApart() {
  std::fflush(stdout);
  stdoutFd_ = ::dup(STDOUT_FILENO);
  if (options_.verbose) {
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    return;
  }
  const int null = ::open(kNullDevice, O_WRONLY | O_CLOEXEC);
  if (null < 0) return;
  ::dup2(null, STDOUT_FILENO);
  ::close(null);
}

std::string Output::Render(const Options& options, Exporter& exporter) {
  std::ostringstream out;
  switch (options.format) {
    case Format::kNotesJson:
    case Format::kMarkdown:
    case Format::kText:
    case Format::kNoteHtml:
      out << NotesDocument(options.format, NoteRecords(exporter.notes()));
      break;
    case Format::kCsv:
      CsvWriter::Write(out, exporter.contacts(), options.bom);
      break;
    case Format::kContactsJson:
      JsonWriter::WriteContacts(out, exporter.contacts());
      break;
    case Format::kVCard3:
    case Format::kVCard4: {
      VCardWriter writer(
          out, options.format == Format::kVCard4 ? VCardWriter::kVCard4 : VCardWriter::kVCard3);
      for (const Contact& contact : exporter.contacts()) writer.Write(contact);
      break;
    }
  }
  return out.str();
}

bool Output::WriteNoteFiles(Exporter& exporter, std::string* error) {
  OutputFolder folder;
  if (!folder.Open(directory_, error)) return false;
  NoteFolder notes(&folder, options_.format,
                   [](const std::string& line) { Say("warning: " + line); });
  for (const Note& note : exporter.notes())
    if (!notes.Add(FromSyncNote(note), nullptr, error)) return false;
  return notes.Finish(error);
}

void Output::KeepFolder() {
  if (!madeFolder_.empty()) UnregisterTemporary(madeFolder_);
  madeFolder_.clear();
}

int Output::WriteDocument(const std::string& text) {
  std::string error;
  bool written;
  if (file_) {
    written = file_->Commit(text, &error);
  } else {
    written = OutputFile::WriteAll(stdoutFd_ >= 0 ? stdoutFd_ : STDOUT_FILENO, text, &error);
    if (!written) error = "standard output: " + error;
  }
  if (!written) return Failed(error);
  KeepFolder();
  return kExitOk;
}

int Output::Write(Exporter& exporter) {
  if (directory_.empty()) return WriteDocument(Render(options_, exporter));
  std::string error;
  if (!WriteNoteFiles(exporter, &error)) return Failed(error);
  KeepFolder();
  return kExitOk;
}

}  // namespace host
