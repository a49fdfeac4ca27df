// NoteKinds: what the phone's type identifiers of attachments mean to us: which are
// pictures, which files we know (so an unknown one is warned about once), which are
// drawings and scans (shown by their fallback files), URL cards, tables and inline text.
#ifndef VELDRAKE_BACKUP_NOTEKINDS_H_
#define VELDRAKE_BACKUP_NOTEKINDS_H_

#include <string>

namespace veldrake::backup {

enum class TypeClass {
  kImage,    // a picture with its own media file
  kFile,     // a known kind of file with its own media file
  kUnknown,  // a type we do not know: exported as a file all the same
  kDrawing,  // its fallback image
  kScan,     // its fallback PDF
  kUrl,
  kTable,
  kHashtag,
  kNoteLink,
  kInline,  // a mention or another inline text
};

TypeClass ClassOf(const std::string& type);

// The fallback file's folder and extension for a drawing or a scan.
const char* FallbackFolder(TypeClass kind);
const char* FallbackExtension(TypeClass kind);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_NOTEKINDS_H_
