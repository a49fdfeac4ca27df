// Notes and their attachments into an output folder.
#include "NoteFolder.h"

#include <sstream>

#include "NoteHtml.h"
#include "NoteJson.h"
#include "NoteLinks.h"
#include "NoteMarkdown.h"
#include "NotesWriter.h"

namespace host {
namespace {

const char kAssetsSuffix[] = ".assets";
const char kUntitled[] = "Untitled";
// An unresolved link (a note not exported, a file not written) goes nowhere.
const char kNowhere[] = "#";

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

std::string Stem(const std::string& title) {
  const std::string line = title.substr(0, title.find_first_of("\r\n"));
  return line.empty() ? kUntitled : line;
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

NoteFolder::NoteFolder(OutputFolder* folder, Format format, WarningSink warn)
    : folder_(folder), format_(format), warn_(std::move(warn)) {
  if (format_ == Format::kNoteHtml) topFile_ = folder_->Reserve({}, "index", ".html");
  if (format_ == Format::kNotesJson) topFile_ = folder_->Reserve({}, "notes", ".json");
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
      *reason = why;
      return result == 0;
    };
    if (folder_->Write(relative, fill, note->modified, error)) {
      a.path = relative;
      ++attachmentsWritten_;
    } else if (result != 0) {
      warn_("note \"" + note->title + "\": attachment " + a.fileName + " left out: " + why);
    } else {
      return false;
    }
  }
  return true;
}

bool NoteFolder::Add(NoteRecord note, const AttachmentCopier& copy, std::string* error) {
  const char* extension = NoteExtension(format_);
  std::string path, assets = Stem(note.title) + kAssetsSuffix;
  if (*extension != '\0') {
    path = folder_->Reserve(Folders(note), Stem(note.title), extension);
    assets = FileStem(path, extension) + kAssetsSuffix;
  }
  if (!WriteAttachments(&note, assets, copy, error)) return false;
  if (note.id && !path.empty()) noteFiles_.emplace(*note.id, path);
  notes_.push_back(std::move(note));
  paths_.push_back(path);
  return true;
}

std::string NoteFolder::Body(const NoteRecord& note, const std::string& path) const {
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
    return PercentEncodePath(RelativePath(path, target));
  };
  const std::string& body = format_ == Format::kNoteHtml ? note.html : note.markdown;
  return ResolveLinks(body, resolve, kNowhere);
}

bool NoteFolder::WriteNote(const NoteRecord& note, const std::string& path, std::string* error) {
  std::string content;
  if (format_ == Format::kMarkdown) {
    content = MarkdownPage(note, Body(note, path));
  } else if (format_ == Format::kNoteHtml) {
    content = HtmlPage(note, Body(note, path), PercentEncodePath(RelativePath(path, topFile_)));
  } else {
    std::ostringstream out;
    NotesWriter(NotesWriter::kText).WriteNote(out, ToSyncNote(note, note.text));
    content = out.str();
  }
  return folder_->Write(path, content, note.modified, error);
}

bool NoteFolder::Finish(std::string* error) {
  std::vector<IndexEntry> index;
  for (size_t i = 0; i < notes_.size(); ++i) {
    if (paths_[i].empty()) continue;
    if (!WriteNote(notes_[i], paths_[i], error)) return false;
    index.push_back({&notes_[i], PercentEncodePath(paths_[i])});
  }
  bool written = true;
  if (format_ == Format::kNoteHtml) {
    written = folder_->Write(topFile_, HtmlIndex(index), INT64_MIN, error);
  } else if (format_ == Format::kNotesJson) {
    std::ostringstream out;
    WriteNotesJson(out, notes_);
    written = folder_->Write(topFile_, out.str(), INT64_MIN, error);
  }
  return written && folder_->Commit(error);
}

}  // namespace host
