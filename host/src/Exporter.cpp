#include "Exporter.h"

#include <chrono>
#include <cstdio>
#include <new>

#include "Progress.h"
#include "QX/Contact.h"
#include "QX/Notes.h"

namespace host {

volatile std::sig_atomic_t g_interrupted = 0;

namespace {

// The callback has no context argument; this is the export it feeds.
Exporter* g_current = nullptr;
Progress* g_progress = nullptr;

}  // namespace

bool ExportOutcome::Failed(VeldrakeDataKind kind) const {
  const bool stoppedContacts =
      kind == kVeldrakeContacts && stoppedByHost && result == kVeldrakeConversationFailed;
  return result != kVeldrakeOk && !stoppedContacts;
}

Exporter::Exporter(const Library& library, VeldrakeDataKind kind, size_t limit, bool progress)
    : library_(library), kind_(kind), limit_(limit), progress_(progress) {}

int Exporter::OnRecord(void* record) {
  Exporter& self = *g_current;
  if (g_interrupted || self.stopped_) {
    self.stopped_ = true;
    return kStopDelivery;
  }
  // An exception must not unwind through the library's frames.
  try {
    if (self.kind_ == kVeldrakeContacts) {
      self.contacts_.push_back(CopyContact(*static_cast<const QX::Contact*>(record)));
    } else {
      self.notes_.push_back(CopyNote(*static_cast<const QX::Notes*>(record)));
    }
  } catch (const std::bad_alloc&) {
    self.outOfMemory_ = self.stopped_ = true;
    return kStopDelivery;
  }
  if (g_progress) g_progress->Record(self.count());
  if (self.limit_ != 0 && self.count() >= self.limit_) {
    self.stopped_ = true;
    return kStopDelivery;
  }
  return 0;
}

ExportOutcome Exporter::Run(void* device) {
  Progress progress(kind_ == kVeldrakeContacts ? "contacts" : "notes", progress_);
  g_current = this;
  g_progress = &progress;
  ExportOutcome outcome;
  const auto start = std::chrono::steady_clock::now();
  outcome.result =
      library_.getData(kind_, nullptr, device, reinterpret_cast<void*>(&Exporter::OnRecord));
  outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  progress.Finish();
  g_progress = nullptr;
  g_current = nullptr;
  // Library output goes to standard output with printf; have it out before ours.
  std::fflush(stdout);
  outcome.stoppedByHost = stopped_;
  outcome.outOfMemory = outOfMemory_;
  if (outcome.result != kVeldrakeConversationFailed) {
    outcome.closed = true;
    outcome.closeResult = library_.disconnect();
    std::fflush(stdout);
  }
  return outcome;
}

int Exporter::ExitStatus(int result) {
  switch (result) {
    case kVeldrakeOk:
      return kExitOk;
    case kVeldrakeConversationFailed:
      return kExitConversation;
    case kVeldrakeNoDevice:
      return kExitNoDevice;
    case kVeldrakeServiceNotStarted:
      return kExitService;
    default:
      return kExitPlatform;
  }
}

std::string Exporter::Describe(int result) {
  char code[16];
  std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(result));
  switch (result) {
    case kVeldrakeOk:
      return "done";
    case kVeldrakeConversationFailed:
      return "the sync conversation failed: the device closed the connection or answered "
             "out of turn (GetData -1)";
    case kVeldrakeNoDevice:
      return "no device: the device handle is null, e.g. a malformed --device (GetData -5)";
    case kVeldrakeServiceNotStarted:
      return "the device's sync service did not start: the device is unreachable or "
             "refused it (GetData -6)";
    default:
      return std::string("the device connection failed with platform code ") + code + " (GetData " +
             std::to_string(result) + ")";
  }
}

}  // namespace host
