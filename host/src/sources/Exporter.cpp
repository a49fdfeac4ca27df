// One export through the library: the record callback, the monitor beside GetData, and
// what the result means.
#include "Exporter.h"

#include <sys/socket.h>

#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

#include "MobileDevice/mdphone.h"
#include "MobileDevice/mdsim.h"
#include "Progress.h"
#include "QX/Contact.h"
#include "QX/Notes.h"
#include "Signals.h"
#include "veldrake/BackupContacts.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;

// How often the monitor looks: a Ctrl-C is honoured well within a second.
const std::chrono::milliseconds kTick(100);

// The callback has no context argument; this is the export it feeds.
Exporter* g_current = nullptr;

long long Nanos(Clock::time_point at) {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(at.time_since_epoch()).count();
}

double SecondsSince(Clock::time_point start, Clock::time_point now) {
  return std::chrono::duration<double>(now - start).count();
}

}  // namespace

// Beside GetData: draws the progress, and shuts the session's socket down on a cancel or
// when the device has sent nothing for the quiet time.
class Exporter::Monitor {
 public:
  Monitor(Exporter& exporter, void* device)
      : exporter_(exporter),
        device_(device),
        progress_(exporter.settings_.kind == kVeldrakeContacts ? "contacts" : "notes",
                  exporter.settings_.progress),
        start_(Clock::now()),
        lastByte_(start_),
        thread_(&Monitor::Watch, this) {}

  // Stops the thread; the outcome's cancel and time-out as seen.
  void Stop(ExportOutcome* outcome) {
    {
      std::lock_guard<std::mutex> hold(lock_);
      done_ = true;
    }
    wake_.notify_all();
    thread_.join();
    progress_.Finish();
    outcome->cancelled = cancelled_;
    outcome->timedOut = timedOut_;
  }

 private:
  void Watch() {
    std::unique_lock<std::mutex> hold(lock_);
    while (!wake_.wait_for(hold, kTick, [this] { return done_; })) Look(Clock::now());
  }

  void Look(Clock::time_point now) {
    const long long bytes =
        device_ && exporter_.settings_.platformDevice ? mdsim_bytes_received(device_) : -1;
    if (bytes != bytes_) lastByte_ = now;
    bytes_ = bytes;
    if (CancelRequested()) cancelled_ = true;
    if (bytes >= 0 && now - lastByte_ >= exporter_.settings_.quietLimit) timedOut_ = true;
    if (cancelled_ || timedOut_) ShutDown();
    ProgressFigures figures;
    figures.seconds = SecondsSince(start_, now);
    figures.bytes = bytes;
    figures.records = exporter_.count();
    const long long first = exporter_.firstRecordNanos_.load();
    if (first >= 0) figures.recordSeconds = static_cast<double>(Nanos(now) - first) / 1e9;
    progress_.Draw(figures);
  }

  // Again on every tick until GetData returns: the socket may not be open yet.
  void ShutDown() {
    exporter_.stopped_ = true;
    const int socket = exporter_.library_.socket ? *exporter_.library_.socket : 0;
    if (socket > 0) ::shutdown(socket, SHUT_RDWR);
  }

  Exporter& exporter_;
  void* device_;
  Progress progress_;
  const Clock::time_point start_;
  Clock::time_point lastByte_;
  long long bytes_ = -1;
  bool cancelled_ = false, timedOut_ = false, done_ = false;
  std::mutex lock_;
  std::condition_variable wake_;
  std::thread thread_;  // last: starts once the rest is set
};

bool ExportOutcome::Failed(VeldrakeDataKind kind) const {
  const bool stoppedContacts =
      kind == kVeldrakeContacts && stoppedByHost && result == kVeldrakeConversationFailed;
  return result != kVeldrakeOk && !stoppedContacts;
}

bool ExportOutcome::CutShort() const {
  return platformError == MDPHONE_ERR_CONNECTION_LOST && !cancelled && !timedOut;
}

Exporter::Exporter(const Library& library, const ExportSettings& settings)
    : library_(library), settings_(settings), accounts_(settings.account) {}

bool Exporter::Copy(void* record) {
  // An exception must not unwind through the library's frames.
  try {
    RecordSink* sink = settings_.sink;
    bool taken = true;
    skipped_ = false;
    if (settings_.kind == kVeldrakeContacts) {
      Contact contact = CopyContact(*static_cast<const QX::Contact*>(record));
      if (details_ != nullptr) CopyDetails(*details_, &contact);
      skipped_ = !accounts_.Admit(contact);
      if (!skipped_ && sink != nullptr)
        taken = sink->Take(std::move(contact));
      else if (!skipped_)  // else another account's person
        contacts_.push_back(std::move(contact));
    } else {
      Note note = CopyNote(*static_cast<const QX::Notes*>(record));
      if (sink != nullptr)
        taken = sink->Take(std::move(note));
      else
        notes_.push_back(std::move(note));
    }
    if (!taken) {
      sinkStopped_ = stopped_ = true;
      return false;
    }
  } catch (const std::bad_alloc&) {
    outOfMemory_ = stopped_ = true;
    return false;
  }
  return true;
}

int Exporter::OnRecord(void* record) {
  Exporter& self = *g_current;
  if (CancelRequested() || self.stopped_ || !self.Copy(record)) {
    self.stopped_ = true;
    return kStopDelivery;
  }
  if (self.skipped_) return 0;
  long long none = -1;
  self.firstRecordNanos_.compare_exchange_strong(none, Nanos(Clock::now()));
  const size_t count = ++self.count_;
  if (self.settings_.limit != 0 && count >= self.settings_.limit) {
    self.stopped_ = true;
    return kStopDelivery;
  }
  return 0;
}

int Exporter::OnContact(void* contact, const VeldrakeContactDetails* details, void*) {
  Exporter& self = *g_current;
  self.details_ = details;
  const int answer = OnRecord(contact);
  self.details_ = nullptr;
  return answer;
}

ExportOutcome Exporter::Run(void* device) {
  const Cancellable cancellable;
  g_current = this;
  ExportOutcome outcome;
  const auto start = Clock::now();
  Monitor monitor(*this, device);
  outcome.result =
      library_.getData(settings_.kind, nullptr, device, reinterpret_cast<void*>(&OnRecord));
  monitor.Stop(&outcome);
  outcome.seconds = SecondsSince(start, Clock::now());
  outcome.platformError = device && settings_.platformDevice ? mdphone_last_error(device) : 0;
  g_current = nullptr;
  // Library output goes to standard output with printf; have it out before ours.
  std::fflush(stdout);
  outcome.stoppedByHost = stopped_;
  outcome.outOfMemory = outOfMemory_;
  outcome.sinkStopped = sinkStopped_;
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
