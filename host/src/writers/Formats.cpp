// The table of output formats behind --format.
#include "Formats.h"

namespace host {
namespace {

// Each kind's default first.
const FormatInfo kFormats[] = {
    {Format::kVCard3, kVeldrakeContacts, "vcf", "vcf"},
    {Format::kVCard4, kVeldrakeContacts, "vcf4", "vcf"},
    {Format::kCsv, kVeldrakeContacts, "csv", "csv"},
    {Format::kContactsJson, kVeldrakeContacts, "json", "json"},
    {Format::kGoogleCsv, kVeldrakeContacts, "google-csv", "csv"},
    {Format::kOutlookCsv, kVeldrakeContacts, "outlook-csv", "csv"},
    {Format::kNotesJson, kVeldrakeNotes, "json", "json"},
    {Format::kMarkdown, kVeldrakeNotes, "md", "md"},
    {Format::kText, kVeldrakeNotes, "txt", "txt"},
    {Format::kNoteHtml, kVeldrakeNotes, "html", "html"},
};

}  // namespace

std::map<std::string, Format> FormatsOf(VeldrakeDataKind kind) {
  std::map<std::string, Format> out;
  for (const FormatInfo& info : kFormats)
    if (info.kind == kind) out.emplace(info.name, info.format);
  return out;
}

Format DefaultFormat(VeldrakeDataKind kind) {
  for (const FormatInfo& info : kFormats)
    if (info.kind == kind) return info.format;
  return Format::kVCard3;
}

const FormatInfo& Describe(Format format) {
  for (const FormatInfo& info : kFormats)
    if (info.format == format) return info;
  return kFormats[0];
}

bool WritesNoteFiles(Format format) {
  return Describe(format).kind == kVeldrakeNotes;
}

}  // namespace host
