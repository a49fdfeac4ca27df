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

#include "CommandLine.h"
#include "ExportLimits.h"
#include "OutputFolder.h"
#include "Records.h"

namespace host {

// Each file's bytes count against `budget` before it is written; a limit passed fails
// with the budget's error.

// The person's vCard file (in options.format's version); false with *error set when it
// cannot be written.
bool WriteCard(OutputFolder* folder, const Options& options, const Contact& contact, Budget* budget,
               std::string* error);

// Writes the person's photo into photos/ and sets *path to its relative path ("" for no
// photo); false with *error set when it cannot be written.
bool WritePhotoFile(OutputFolder* folder, const Contact& contact, Budget* budget, std::string* path,
                    std::string* error);

}  // namespace host

#endif  // VELDRAKE_HOST_CONTACTFILES_H_
