// ExportCommand: `veldrake contacts` and `veldrake notes` from a device, start to end:
// check the target, load the library, choose the device, export, then write or explain.
//
// Thread contract: the program's main thread; one export per process.
#ifndef VELDRAKE_HOST_EXPORTCOMMAND_H_
#define VELDRAKE_HOST_EXPORTCOMMAND_H_

#include "CommandLine.h"

namespace host {

// The exit status, with every line to the person said.
int RunExport(const Options& options);

}  // namespace host

#endif  // VELDRAKE_HOST_EXPORTCOMMAND_H_
