// Cancel: how a host's signal-watching thread stops every export running in the process.
// A request is a step of one process-wide counter; an export notes the counter when it
// starts and is cancelled once the counter has moved, so a request reaches the exports
// running when it is made and none started after it.
//
// Thread contract: lock-free; any thread (not a signal handler: nothing here is promised
// async-signal-safe, though the atomics are lock-free on the platforms we build for).
#ifndef VELDRAKE_BACKUP_CANCEL_H_
#define VELDRAKE_BACKUP_CANCEL_H_

#include <cstdint>

namespace veldrake::backup {

// What an export notes at its start.
uint64_t CancelGeneration();
// Asks every export running now to stop.
void RequestCancel();
// True when a cancel was requested after `generation` was noted.
bool CancelledSince(uint64_t generation);

// The calling thread's export made progress outside SQLite (a record went to the host, a
// file was copied): SqlGuard's time limit counts from the latest mark.
void MarkProgress();
// How many marks the calling thread has made.
uint64_t ProgressMarks();

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_CANCEL_H_
