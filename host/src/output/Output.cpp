// The export's target: checked first, fed record by record, made visible last.
#include "Output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>

#include "ContactFiles.h"
#include "Messages.h"
#include "NotesDocument.h"
#include "SafeText.h"

namespace host {
namespace {

const char kNullDevice[] = "/dev/null";
// Names of standard output itself: written to the descriptor, never opened anew.
const char* const kStandardOutputNames[] = {"-", "/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"};

bool IsDirectory(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Something that exists and is not a regular file or a folder: a device, a FIFO, a socket.
bool IsSpecial(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && !S_ISREG(st.st_mode) && !S_ISDIR(st.st_mode);
}

bool IsStandardOutput(const std::string& path) {
  if (path.empty()) return true;
  for (const char* name : kStandardOutputNames)
    if (path == name) return true;
  return false;
}

const char* Noun(VeldrakeDataKind kind) {
  return kind == kVeldrakeContacts ? "contacts" : "notes";
}

int Failed(const std::string& line) {
  Say(line);
  return kExitOutput;
}

uint64_t Size(const Text& text) {
  return text ? text->size() : 0;
}

// The bytes of text a contact holds, a floor of what it renders to.
uint64_t TextBytes(const Contact& c) {
  uint64_t bytes = 0;
  for (const Text* text :
       {&c.firstName, &c.firstNameYomi, &c.middleName, &c.lastName, &c.lastNameYomi, &c.suffix,
        &c.nickname, &c.jobTitle, &c.department, &c.companyName, &c.notes, &c.birthday})
    bytes += Size(*text);
  for (const Field& field : c.fields) bytes += Size(field.label) + Size(field.value);
  for (const Address& a : c.addresses)
    for (const Text* text : {&a.type, &a.street, &a.city, &a.state, &a.postalCode, &a.country})
      bytes += Size(*text);
  return bytes;
}

}  // namespace

Output::Output(const Options& options) : options_(options), budget_(options.limits) {}

Output::~Output() {
  if (stdoutFd_ >= 0) ::close(stdoutFd_);
}

int Output::OpenDocument(int fd) {
  buffer_.reset(new BudgetBuffer(fd, &budget_));
  stream_.reset(new std::ostream(buffer_.get()));
  if (options_.kind != kVeldrakeContacts) return kExitOk;
  std::FILE* spool = nullptr;
  if (ContactDocument::NeedsSpool(options_.format)) {
    std::string error;
    if (!spool_.Open(&error)) return Failed(error);
    const int fd2 = ::dup(spool_.fd());
    spool = fd2 < 0 ? nullptr : ::fdopen(fd2, "w+b");
    if (spool == nullptr) {
      if (fd2 >= 0) ::close(fd2);
      return Failed(std::string("a temporary file: ") + std::strerror(errno));
    }
  }
  contacts_.reset(new ContactDocument(*stream_, options_.format, options_.bom, spool));
  return kExitOk;
}

int Output::OpenFolder(const std::string& path) {
  folder_.reset(new OutputFolder);
  std::string error;
  if (!folder_->Open(path, &error)) return Failed(error);
  if (options_.kind == kVeldrakeNotes && WritesNoteFiles(options_.format)) {
    target_ = Target::kFolderNotes;
    noteFolder_.reset(
        new NoteFolder(folder_.get(), options_.format, &budget_, [](const std::string& line) {
          Say("warning: " + SafeText(line, '?', Separators::kKept));
        }));
    return noteFolder_->Open(&error) ? kExitOk : Failed(error);
  }
  if (options_.kind == kVeldrakeContacts && options_.split) {
    target_ = Target::kFolderCards;
    return kExitOk;
  }
  target_ = Target::kFolderDocument;
  document_ = folder_->Reserve({}, Noun(options_.kind),
                               std::string(".") + Describe(options_.format).extension);
  if (!staging_.Open(&error)) return Failed(error);
  return OpenDocument(staging_.fd());
}

int Output::Open() {
  const std::string& output = options_.output;
  std::string error;
  const bool folder = !IsStandardOutput(output) && (output.back() == '/' || IsDirectory(output));
  if (options_.format == Format::kNoteHtml && !folder) {
    Say("--format html writes a folder of pages: give -o DIR/");
    return kExitUsage;
  }
  if (IsStandardOutput(output) || IsSpecial(output)) {
    target_ = IsStandardOutput(output) ? Target::kStandardOutput : Target::kInPlace;
    inPlace_ = output;
    if (!staging_.Open(&error)) return Failed(error);
    return OpenDocument(staging_.fd());
  }
  if (output.back() == '/' || IsDirectory(output)) return OpenFolder(output);
  target_ = Target::kFile;
  file_.reset(new OutputFile);
  if (!file_->Open(output, &error)) return Failed(error);
  return OpenDocument(file_->fd());
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

bool Output::Fail(const std::string& error) {
  if (failedStatus_ != 0) return false;
  failedStatus_ = budget_.exceeded() ? kExitLimitReached : kExitOutput;
  failure_ = budget_.exceeded() ? budget_.error() : error;
  return false;
}

bool Output::Take(Contact&& contact) {
  if (failed()) return false;
  if (!budget_.AddRecord() || !budget_.AddHeld(TextBytes(contact))) return Fail("");
  std::string error;
  if (!WriteContact(contact, &error)) return Fail(error);
  if (stream_ && !*stream_ && !buffer_->Finish(&error)) return Fail(error);
  return true;
}

bool Output::WriteContact(const Contact& contact, std::string* error) {
  if (target_ == Target::kFolderCards)
    return WriteCard(folder_.get(), options_, contact, &budget_, error);
  std::string photoPath;
  const bool photoFile = target_ == Target::kFolderDocument &&
                         options_.format == Format::kContactsJson && contact.photo;
  if (photoFile && !WritePhotoFile(folder_.get(), contact, &budget_, &photoPath, error))
    return false;
  return contacts_->Add(contact, photoFile ? &photoPath : nullptr, error);
}

bool Output::Take(Note&& note) {
  return Take(FromSyncNote(std::move(note)), nullptr);
}

bool Output::Take(NoteRecord&& note, const AttachmentCopier& copy) {
  if (failed()) return false;
  if (!budget_.AddRecord()) return Fail("");
  const size_t index = notes_++;
  std::string error;
  if (target_ == Target::kFolderNotes)
    return noteFolder_->Add(std::move(note), copy, &error) || Fail(error);
  attachmentsLeftOut_ += AttachmentFiles(note);
  WriteNoteInDocument(*stream_, options_.format, std::move(note), index);
  if (!*stream_ && !buffer_->Finish(&error)) return Fail(error);
  return true;
}

// The finished document put where it goes.
bool Output::Deliver(std::string* error) {
  switch (target_) {
    case Target::kFile:
      return file_->Commit(error);
    case Target::kStandardOutput:
      if (staging_.CopyTo(stdoutFd_ >= 0 ? stdoutFd_ : STDOUT_FILENO, error)) return true;
      *error = "standard output: " + *error;
      return false;
    case Target::kInPlace: {
      // Opened only now: a FIFO's reader may come late, and nothing reaches it before
      // the export is whole.
      const int fd = ::open(inPlace_.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
      const bool copied = fd >= 0 && staging_.CopyTo(fd, error);
      if (fd < 0) *error = std::strerror(errno);
      if (fd >= 0 && ::close(fd) != 0 && copied) *error = std::strerror(errno);
      if (!copied) *error = inPlace_ + ": " + *error;
      return copied;
    }
    case Target::kFolderDocument:
      return folder_->Write(
                 document_, [this](int fd, std::string* why) { return staging_.CopyTo(fd, why); },
                 INT64_MIN, error) &&
             folder_->Commit(error);
    case Target::kFolderNotes:
      return noteFolder_->Finish(error);
    case Target::kFolderCards:
      return folder_->Commit(error);
  }
  return false;
}

int Output::Write() {
  std::string error;
  if (!failed() && stream_) {
    if (options_.kind != kVeldrakeContacts)
      EndNotesDocument(*stream_, options_.format, notes_);
    else if (!contacts_->End(&error))
      Fail(error);
    if (!failed() && !buffer_->Finish(&error)) Fail(error);
  }
  if (!failed() && !Deliver(&error)) Fail(error);
  if (!failed()) {
    const std::string leftOut = AttachmentsLeftOutLine(attachmentsLeftOut_);
    if (!leftOut.empty() && !options_.quiet) Say(leftOut);
    return kExitOk;
  }
  Say(failure_);
  return failedStatus_;
}

}  // namespace host
