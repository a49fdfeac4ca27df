// ContactOptions: what the contact options ask of an export once its records are in:
// `--account NAME` that matched nobody, and the one line that says where the photos and
// groups a sync export cannot carry are to be had.
//
// Thread contract: the program's main thread.
#ifndef VELDRAKE_HOST_CONTACTOPTIONS_H_
#define VELDRAKE_HOST_CONTACTOPTIONS_H_

#include "CommandLine.h"
#include "Exporter.h"

namespace host {

// kExitOk, or kExitUsage with a line listing the accounts and their people when
// --account matched nobody.
int CheckAccount(const Options& options, const Exporter& exporter);

// Once, after a contact export over the sync service (not with -q): the photos and
// groups are in a backup.
void SayWhereThePhotosAre(const Options& options);

}  // namespace host

#endif  // VELDRAKE_HOST_CONTACTOPTIONS_H_
