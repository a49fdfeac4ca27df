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

#include "ContactFiles.h"
#include "CsvWriter.h"
#include "GoogleCsvWriter.h"
#include "JsonWriter.h"
#include "Messages.h"
#include "NotesWriter.h"
#include "OutlookCsvWriter.h"
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

NotesWriter::Style NotesStyle(Format format) {
  return format == Format::kMarkdown ? NotesWriter::kMarkdown : NotesWriter::kText;
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
  if (output.empty() || output == "-") return kExitOk;
  const bool wantsFolder = output.back() == '/' || IsDirectory(output);
  std::string path = output;
  if (wantsFolder) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    const int status = OpenFolder(path);
    if (status != kExitOk) return status;
    if (options_.kind == kVeldrakeNotes && WritesNoteFiles(options_.format)) {
      directory_ = path;
      return kExitOk;
    }
    contactFolder_ = path;
    if (options_.split) return kExitOk;
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
      JsonWriter::WriteNotes(out, exporter.notes());
      break;
    case Format::kMarkdown:
    case Format::kText:
      NotesWriter(NotesStyle(options.format)).WriteAll(out, exporter.notes());
      break;
    case Format::kCsv:
      CsvWriter::Write(out, exporter.contacts(), options.bom);
      break;
    case Format::kContactsJson:
      JsonWriter::WriteContacts(out, exporter.contacts());
      break;
    case Format::kGoogleCsv:
      GoogleCsvWriter::Write(out, exporter.contacts(), options.bom);
      break;
    case Format::kOutlookCsv:
      OutlookCsvWriter::Write(out, exporter.contacts(), options.bom);
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
  const NotesWriter writer(NotesStyle(options_.format));
  std::set<std::string> used;
  std::vector<std::pair<std::string, std::string>> files;
  for (size_t i = 0; i < exporter.notes().size(); ++i) {
    std::ostringstream out;
    writer.WriteNote(out, exporter.notes()[i]);
    files.emplace_back(writer.FileName(exporter.notes()[i], i, &used), out.str());
  }
  return OutputFile::CommitAll(directory_, files, error);
}

int Output::Write(Exporter& exporter) {
  std::string error;
  bool written;
  if (!directory_.empty()) {
    written = WriteNoteFiles(exporter, &error);
  } else if (!contactFolder_.empty() && WritesContactFiles(options_, exporter.contacts())) {
    file_.reset();  // the files go through the folder instead
    written = WriteContactFiles(contactFolder_, options_, exporter.contacts(), &error);
  } else if (file_) {
    written = file_->Commit(Render(options_, exporter), &error);
  } else {
    written = OutputFile::WriteAll(stdoutFd_ >= 0 ? stdoutFd_ : STDOUT_FILENO,
                                   Render(options_, exporter), &error);
    if (!written) error = "standard output: " + error;
  }
  if (!written) return Failed(error);
  if (!madeFolder_.empty()) UnregisterTemporary(madeFolder_);
  madeFolder_.clear();
  return kExitOk;
}

}  // namespace host
