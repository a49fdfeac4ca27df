// Doctor: `veldrake doctor [--device usb[:UDID]] [--backup PATH]` walks every condition an
// export from a phone needs, in order, and prints a checklist with what to do for the
// first that fails: daemon, phone attached, trusted, unlocked, contact sync on, the sync
// service (with or without TLS), contacts served (with the iCloud hint when none come),
// the notes store, and a named backup folder (complete, encrypted).
//
// Exit status: 0 only when an export would work; else the status of the failed step.
// Thread contract: the program's main thread.
#ifndef VELDRAKE_HOST_DOCTOR_H_
#define VELDRAKE_HOST_DOCTOR_H_

#include "CommandLine.h"

namespace host {

int RunDoctor(const Options& options);

}  // namespace host

#endif  // VELDRAKE_HOST_DOCTOR_H_
