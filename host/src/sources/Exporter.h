// Exporter: one export through the library, in the calling order a host keeps.
//
// GetData runs the whole conversation and lends each record to a callback that copies it;
// afterwards DisContectDeviceAndProtocol closes what GetData left open: after every result
// but kVeldrakeConversationFailed (a failed conversation, or a contact export the host
// stopped, which the library has closed itself). A limit or a cancel makes the callback
// answer kStopDelivery; the library then stops delivering — a note export still returns
// kVeldrakeOk with the session open, a contact export returns kVeldrakeConversationFailed
// with it closed — and the host tells the two apart by kind.
//
// While GetData runs, a monitor thread draws the progress and gets the thread back when
// the person presses Ctrl-C or the device sends nothing for the quiet time: it shuts the
// session's socket down, the cancel the library documents. After GetData the platform is
// asked whether the device ended the conversation early (mdphone_last_error), since a
// contact export cut short returns 0 with the records so far.
//
// Ownership: the copies belong to the Exporter. Thread contract: the library keeps one
// session per process and offers no context pointer to its callback, so one Exporter
// runs at a time in a process.
#ifndef VELDRAKE_HOST_EXPORTER_H_
#define VELDRAKE_HOST_EXPORTER_H_

#include <atomic>
#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "Accounts.h"
#include "ExitCodes.h"
#include "Library.h"
#include "Records.h"

namespace host {

// The record callback's answer that stops the delivery.
constexpr int kStopDelivery = -1;

// Where records go one at a time when they are not to be kept (ExportSettings::sink), so
// that an export's memory does not grow with it. False stops the export; the sink keeps
// its reason.
class RecordSink {
 public:
  virtual ~RecordSink() = default;
  virtual bool Take(Contact&& contact) = 0;
  virtual bool Take(Note&& note) = 0;
};

struct ExportSettings {
  VeldrakeDataKind kind = kVeldrakeContacts;
  size_t limit = 0;  // 0: no limit
  bool progress = false;
  std::chrono::seconds quietLimit{60};  // no byte for this long: the device stopped
  bool platformDevice = true;           // the device handle is the platform's (not a backup's)
  std::string account;                  // contacts: only this account's people ("": all)
  RecordSink* sink = nullptr;           // null: the records are kept (contacts(), notes())
};

struct ExportOutcome {
  int result = kVeldrakeOk;    // GetData's: a VeldrakeResult or a platform code
  int closeResult = 0;         // DisContectDeviceAndProtocol's, when called
  bool closed = false;         // whether the host called it
  bool stoppedByHost = false;  // the limit was reached, or a cancel or time-out came
  bool cancelled = false;      // the person pressed Ctrl-C
  bool timedOut = false;       // the device sent nothing for the quiet time
  bool outOfMemory = false;    // a copy failed; the export was stopped
  bool sinkStopped = false;    // the sink refused a record (it says why)
  int platformError = 0;       // mdphone_last_error after GetData
  double seconds = 0;

  // Whether the export failed; a contact export the host stopped ends in
  // kVeldrakeConversationFailed and is no failure.
  bool Failed(VeldrakeDataKind kind) const;
  // The device closed the conversation before its end and the host did not ask it to.
  bool CutShort() const;
};

class Exporter {
 public:
  Exporter(const Library& library, const ExportSettings& settings);

  ExportOutcome Run(void* device);

  std::vector<Contact>& contacts() { return contacts_; }
  std::vector<Note>& notes() { return notes_; }
  size_t count() const { return count_.load(); }
  const AccountFilter& accounts() const { return accounts_; }

  // The backup library's contact callback (VeldrakeContactCallback): the record with its
  // photo, groups, account and dates, into the export that runs.
  static int OnContact(void* contact, const VeldrakeContactDetails* details, void* context);

  // The exit status and one-line message for a GetData result that is not success.
  static int ExitStatus(int result);
  static std::string Describe(int result);

 private:
  class Monitor;
  static int OnRecord(void* record);
  bool Copy(void* record);

  const Library& library_;
  ExportSettings settings_;
  std::atomic<bool> stopped_{false};
  bool outOfMemory_ = false;
  bool sinkStopped_ = false;
  std::atomic<size_t> count_{0};
  std::atomic<long long> firstRecordNanos_{-1};  // steady clock, when the first came
  std::vector<Contact> contacts_;
  std::vector<Note> notes_;
  AccountFilter accounts_;
  const VeldrakeContactDetails* details_ = nullptr;  // beside the record being copied
  bool skipped_ = false;                             // the last record was filtered out
};

}  // namespace host

#endif  // VELDRAKE_HOST_EXPORTER_H_
