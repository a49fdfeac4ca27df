// Exporter: one export through the library, in the calling order a host keeps.
//
// GetData runs the whole conversation and lends each record to a callback that copies it;
// afterwards DisContectDeviceAndProtocol closes what GetData left open: after every result
// but kVeldrakeConversationFailed (a failed conversation, or a contact export the host
// stopped, which the library has closed itself). A limit or an interrupt makes the
// callback answer kStopDelivery; the library then stops delivering — a note export still
// returns kVeldrakeOk with the session open, a contact export returns
// kVeldrakeConversationFailed with it closed — and the host tells the two apart by kind.
//
// Ownership: the copies belong to the Exporter. Thread contract: the library keeps one
// session per process and offers no context pointer to its callback, so one Exporter
// runs at a time in a process.
#ifndef VELDRAKE_HOST_EXPORTER_H_
#define VELDRAKE_HOST_EXPORTER_H_

#include <csignal>
#include <cstddef>
#include <string>
#include <vector>

#include "Library.h"
#include "Records.h"

namespace host {

// Set by a signal handler: the next record is answered with kStopDelivery.
extern volatile std::sig_atomic_t g_interrupted;

// The record callback's answer that stops the delivery.
constexpr int kStopDelivery = -1;

struct ExportOutcome {
  int result = kVeldrakeOk;    // GetData's: a VeldrakeResult or a platform code
  int closeResult = 0;         // DisContectDeviceAndProtocol's, when called
  bool closed = false;         // whether the host called it
  bool stoppedByHost = false;  // the limit was reached or an interrupt came
  bool outOfMemory = false;    // a copy failed; the export was stopped
  double seconds = 0;

  // Whether the export failed; a contact export the host stopped ends in
  // kVeldrakeConversationFailed and is no failure.
  bool Failed(VeldrakeDataKind kind) const;
};

class Exporter {
 public:
  Exporter(const Library& library, VeldrakeDataKind kind, size_t limit, bool progress);

  ExportOutcome Run(void* device);

  std::vector<Contact>& contacts() { return contacts_; }
  std::vector<Note>& notes() { return notes_; }
  size_t count() const { return kind_ == kVeldrakeContacts ? contacts_.size() : notes_.size(); }

  // The exit status and one-line message for a GetData result that is not success.
  static int ExitStatus(int result);
  static std::string Describe(int result);

 private:
  static int OnRecord(void* record);

  const Library& library_;
  VeldrakeDataKind kind_;
  size_t limit_;  // 0: no limit
  bool progress_;
  bool stopped_ = false;
  bool outOfMemory_ = false;
  std::vector<Contact> contacts_;
  std::vector<Note> notes_;
};

// Exit statuses of the command-line host.
enum ExitStatus : int {
  kExitOk = 0,
  kExitOutput = 1,        // the output could not be written
  kExitUsage = 2,         // bad command line
  kExitSetup = 3,         // library or built-in device missing
  kExitConversation = 4,  // kVeldrakeConversationFailed
  kExitNoDevice = 5,      // kVeldrakeNoDevice
  kExitService = 6,       // kVeldrakeServiceNotStarted
  kExitPlatform = 7,      // any other GetData result: the platform's failure code
  kExitInterrupted = 130,
};

}  // namespace host

#endif  // VELDRAKE_HOST_EXPORTER_H_
