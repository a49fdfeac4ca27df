// The process-wide cancel counter.
#include "Cancel.h"

#include <atomic>

namespace veldrake::backup {
namespace {

std::atomic<uint64_t> gRequests{0};
thread_local uint64_t tProgressMarks = 0;

}  // namespace

uint64_t CancelGeneration() {
  return gRequests.load();
}

void RequestCancel() {
  gRequests.fetch_add(1);
}

bool CancelledSince(uint64_t generation) {
  return gRequests.load() != generation;
}

void MarkProgress() {
  ++tProgressMarks;
}

uint64_t ProgressMarks() {
  return tProgressMarks;
}

}  // namespace veldrake::backup
