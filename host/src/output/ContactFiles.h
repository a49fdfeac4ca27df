// ContactFiles: contacts as several files in the export's folder (OutputFolder):
// - `--split`: one vCard per person, named after the person ("Ann Lee.vcf"; a clash is
//   numbered, a person with no name is "Contact <id>.vcf"), for importers that read only
//   a file's first card; each file dated by the person's last change when known;
// - JSON's photos: each a file of its own (photos/<id>.<ext>) that the document names by
//   its relative path.
//
// Thread contract: one thread.
#ifndef VELDRAKE_HOST_CONTACTFILES_H_
#define VELDRAKE_HOST_CONTACTFILES_H_

#include <string>
#include <vector>

#include "CommandLine.h"
#include "OutputFolder.h"
#include "Records.h"

namespace host {

// One vCard file per person (in options.format's version); false with *error set when
// one cannot be written.
bool WriteCards(OutputFolder* folder, const Options& options, const std::vector<Contact>& contacts,
                std::string* error);

// Writes each photo into photos/ and fills *paths (one per contact, "" for none) with the
// relative paths; false with *error set when one cannot be written.
bool WritePhotoFiles(OutputFolder* folder, const std::vector<Contact>& contacts,
                     std::vector<std::string>* paths, std::string* error);

}  // namespace host

#endif  // VELDRAKE_HOST_CONTACTFILES_H_
