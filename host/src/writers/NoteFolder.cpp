// Notes and their attachments into an output folder.
#include "NoteFolder.h"

#include <sys/stat.h>

#include <sstream>

#include "NoteHtml.h"
#include "NoteJson.h"
#include "NoteLinks.h"
#include "NoteMarkdown.h"
#include "NotesWriter.h"

namespace host {
namespace {

const char kAssetsSuffix[] = ".assets";

const char* NoteExtension(Format format) {
  switch (format) {
    case Format::kMarkdown:
      return ".md";
    case Format::kText:
      return ".txt";
    case Format::kNoteHtml:
      return ".html";
    default:
      return "";
  }
}

// The note's file name before OutputFolder makes it safe and unique: NotesWriter's.
std::string Stem(const NoteRecord& note, size_t index) {
  Note named;
  named.subject = note.title;
  return NotesWriter(NotesWriter::kText).Stem(named, index);
}

// A note's date as a file's modification time; a date before 1970 or after 9999 (the
// record's date is untrusted) leaves the time of writing.
int64_t FileTime(int64_t modified) {
  const int64_t kLatest = 253402300799;  // 9999-12-31T23:59:59Z
  return modified < 0 || modified > kLatest ? INT64_MIN : modified;
}

// The bytes a descriptor holds, for the budget.
uint64_t SizeOf(int fd) {
  struct stat st {};
  return ::fstat(fd, &st) == 0 && st.st_size > 0 ? static_cast<uint64_t>(st.st_size) : 0;
}

// "a/b/Title 2.md" -> "Title 2"
std::string FileStem(const std::string& path, const std::string& extension) {
  const std::string name = path.substr(path.rfind('/') + 1);
  return name.substr(0, name.size() - extension.size());
}

std::pair<std::string, std::string> SplitExtension(const std::string& name) {
  const size_t dot = name.rfind('.');
  if (dot == std::string::npos || dot == 0) return {name, ""};
  return {name.substr(0, dot), name.substr(dot)};
}

}  // namespace

NoteFolder::NoteFolder(OutputFolder* folder, Format format, Budget* budget, WarningSink warn)
    : folder_(folder), format_(format), budget_(budget), warn_(std::move(warn)) {}

NoteFolder::~NoteFolder() = default;

bool NoteFolder::Open(std::string* error) {
  if (format_ == Format::kNoteHtml) topFile_ = folder_->Reserve({}, "index", ".html");
  if (format_ != Format::kNotesJson) return true;
  topFile_ = folder_->Reserve({}, "notes", ".json");
  if (!staging_.Open(error)) return false;
  jsonBuffer_.reset(new BudgetBuffer(staging_.fd(), budget_));
  json_.reset(new std::ostream(jsonBuffer_.get()));
  return true;
}

std::vector<std::string> NoteFolder::Folders(const NoteRecord& note) const {
  std::vector<std::string> folders;
  if (note.account) folders.push_back(*note.account);
  folders.insert(folders.end(), note.folderPath.begin(), note.folderPath.end());
  return folders;
}

bool NoteFolder::WriteAttachments(NoteRecord* note, const std::string& assets,
                                  const AttachmentCopier& copy, std::string* error) {
  std::vector<std::string> folders = Folders(*note);
  folders.push_back(assets);
  for (size_t i = 0; i < note->attachments.size(); ++i) {
    NoteAttachmentRecord& a = note->attachments[i];
    if (!copy || !AttachmentHasFile(a)) continue;
    const auto parts = SplitExtension(a.fileName);
    const std::string relative = folder_->Reserve(folders, parts.first, parts.second);
    int result = 0;
    std::string why;
    const auto fill = [&](int fd, std::string* reason) {
      result = copy(i, fd, &why);
      *reason = result != 0 ? why : budget_->error();
      return result == 0 && budget_->AddWritten(SizeOf(fd));
    };
    if (folder_->Write(relative, fill, FileTime(note->modified), error)) {
      a.path = relative;
    } else if (result != 0) {
      warn_("note \"" + note->title + "\": attachment " + a.fileName + " left out: " + why);
    } else {
      return false;
    }
  }
  return true;
}

bool NoteFolder::Add(NoteRecord&& note, const AttachmentCopier& copy, std::string* error) {
  const char* extension = NoteExtension(format_);
  const std::string stem = Stem(note, count_++);
  Placed placed{std::move(note), ""};
  std::string assets = stem + kAssetsSuffix;
  if (*extension != '\0') {
    placed.path = folder_->Reserve(Folders(placed.note), stem, extension);
    assets = FileStem(placed.path, extension) + kAssetsSuffix;
    if (placed.note.id) noteFiles_.emplace(*placed.note.id, placed.path);
  }
  if (!WriteAttachments(&placed.note, assets, copy, error)) return false;
  if (format_ == Format::kNotesJson) {
    WriteNoteJsonItem(*json_, std::move(placed.note), count_ - 1);
    if (*json_) return true;
    if (jsonBuffer_->Finish(error)) *error = "notes.json: cannot be written";
    return false;
  }
  if (format_ == Format::kNoteHtml)
    index_.push_back(IndexEntryOf(placed.note, PercentEncodePath(placed.path)));
  if (!placed.note.plain &&
      LinksToNotes(format_ == Format::kNoteHtml ? placed.note.html : placed.note.markdown)) {
    waiting_.push_back(std::move(placed));
    return true;
  }
  return WriteNote(placed, error);
}

void NoteFolder::Render(std::ostream& out, Placed& placed) const {
  const NoteRecord& note = placed.note;
  const LinkResolver resolve = [&](LinkKind kind,
                                   const std::string& id) -> std::optional<std::string> {
    std::string target;
    if (kind == LinkKind::kNote) {
      const auto found = noteFiles_.find(id);
      if (found != noteFiles_.end()) target = found->second;
    } else {
      for (const NoteAttachmentRecord& a : note.attachments)
        if (a.id == id) target = a.path;
    }
    if (target.empty()) return std::nullopt;
    return PercentEncodePath(RelativePath(placed.path, target));
  };
  if (format_ == Format::kMarkdown) {
    WriteMarkdownPage(out, note, resolve);
  } else if (format_ == Format::kNoteHtml) {
    WriteHtmlPage(out, note, resolve, PercentEncodePath(RelativePath(placed.path, topFile_)));
  } else {
    // Text as the single-document form has it: NotesWriter's, the text lent, not copied.
    Note text = SyncHeader(note);
    text.content = std::move(placed.note.text);
    NotesWriter(NotesWriter::kText).WriteNote(out, text);
    placed.note.text = std::move(*text.content);
  }
}

bool NoteFolder::WriteNote(Placed& placed, std::string* error) {
  const auto fill = [&](int fd, std::string* why) {
    BudgetBuffer buffer(fd, budget_);
    std::ostream out(&buffer);
    Render(out, placed);
    return buffer.Finish(why);
  };
  return folder_->Write(placed.path, fill, FileTime(placed.note.modified), error);
}

bool NoteFolder::Finish(std::string* error) {
  for (Placed& placed : waiting_)
    if (!WriteNote(placed, error)) return false;
  bool written = true;
  if (format_ == Format::kNoteHtml) {
    written = folder_->Write(topFile_, HtmlIndex(index_), INT64_MIN, error);
  } else if (format_ == Format::kNotesJson) {
    EndNotesJson(*json_, count_);
    written = jsonBuffer_->Finish(error) &&
              folder_->Write(
                  topFile_, [this](int fd, std::string* why) { return staging_.CopyTo(fd, why); },
                  INT64_MIN, error);
  }
  return written && folder_->Commit(error);
}

}  // namespace host
