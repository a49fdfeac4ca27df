// Formats: the output formats, one row each (its name on the command line, the kind of
// record it writes and the file extension it takes in a folder).
#ifndef VELDRAKE_HOST_FORMATS_H_
#define VELDRAKE_HOST_FORMATS_H_

#include <map>
#include <string>

#include "veldrake/Session.h"

namespace host {

enum class Format {
  kVCard3,
  kVCard4,
  kCsv,
  kContactsJson,
  kNotesJson,
  kMarkdown,
  kText,
  kGoogleCsv,
  kOutlookCsv,
  kNoteHtml
};

struct FormatInfo {
  Format format;
  VeldrakeDataKind kind;
  const char* name;       // as --format takes it
  const char* extension;  // of a file made in a folder
};

// The formats of `kind` by name, for the command line; the first row is its default.
std::map<std::string, Format> FormatsOf(VeldrakeDataKind kind);
Format DefaultFormat(VeldrakeDataKind kind);
const FormatInfo& Describe(Format format);
// Notes into a folder as files of their own with their attachments (every notes format:
// JSON as notes.json), rather than as one file.
bool WritesNoteFiles(Format format);

}  // namespace host

#endif  // VELDRAKE_HOST_FORMATS_H_
