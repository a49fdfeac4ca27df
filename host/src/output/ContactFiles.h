// ContactFiles: contacts as several files in one folder, through OutputFolder:
// - `--split`: one vCard per person, named after the person ("Ann Lee.vcf"; a clash is
//   numbered, a person with no name is "Contact <id>.vcf"), for importers that read only
//   a file's first card; each file dated by the person's last change when known;
// - JSON with photos: contacts.json, each photo a file of its own (photos/<id>.<ext>)
//   that the document names by its relative path.
//
// Thread contract: one thread.
#ifndef VELDRAKE_HOST_CONTACTFILES_H_
#define VELDRAKE_HOST_CONTACTFILES_H_

#include <string>
#include <vector>

#include "CommandLine.h"
#include "Records.h"

namespace host {

// Whether the export is several files when -o names a folder: --split, or JSON with a
// photo (without one, contacts.json alone, as a file of its own).
bool WritesContactFiles(const Options& options, const std::vector<Contact>& contacts);

// Writes and commits the files into `folder`; false with *error set, nothing of them
// left visible, when one cannot be written.
bool WriteContactFiles(const std::string& folder, const Options& options,
                       const std::vector<Contact>& contacts, std::string* error);

}  // namespace host

#endif  // VELDRAKE_HOST_CONTACTFILES_H_
