// Records the device's side of one whole export: the library's conversation talks to the
// emulator through a relay that keeps every byte the device sends. The frame boundaries of
// a recording tell where a cut falls, independently of how the library reacts to it.
//
// Ownership: plain values. Thread contract: each call runs its own device and relay
// threads and joins them before it returns; calls must not overlap (the library's
// session state is process-wide).
#ifndef VELDRAKE_TESTS_HARDENING_EXPORTRECORDER_H_
#define VELDRAKE_TESTS_HARDENING_EXPORTRECORDER_H_

#include <cstddef>
#include <string>
#include <vector>

#include "devicesim/Device.h"

namespace hardening {

struct RecordedExport {
  int result = 0;                     // the conversation's result
  std::string deviceSide;             // every byte the device sent, in order
  std::vector<std::string> payloads;  // the device's frames, split from deviceSide
  std::vector<size_t> frameEnds;      // offset just past each frame in deviceSide
  devicesim::Transcript transcript;   // what the device received
};

// Runs IOSContact::GetContact (contacts) or IOSNote::GetNote against the emulator serving
// `book` and `notes` with `options`, with `callback` as the host's record callback.
RecordedExport RecordExport(bool contacts, const devicesim::AddressBook& book,
                            const devicesim::NoteStore& notes,
                            const devicesim::DeviceOptions& options, void* callback);

}  // namespace hardening

#endif  // VELDRAKE_TESTS_HARDENING_EXPORTRECORDER_H_
