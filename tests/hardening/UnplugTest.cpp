// A cable pulled at every byte: complete contact and note exports through GetData, with the
// emulator closing the connection after N bytes of its side, for every N of a small session
// and a fixed sample of a larger one. What the host must see for each cut is worked out from
// the frame boundaries of the uncut session, recorded once through a relay.
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ExportRecorder.h"
#include "MobileDevice/mdsim.h"
#include "QX/Contact.h"
#include "QX/Notes.h"
#include "RecordCopy.h"
#include "devicesim/AddressBook.h"
#include "devicesim/Device.h"
#include "devicesim/NoteStore.h"
#include "veldrake/Session.h"

namespace {

using devicesim::AddressBook;
using devicesim::DeviceOptions;
using devicesim::NoteStore;

// Generous for one export of a few kilobytes even under AddressSanitizer on a loaded
// machine; a run that needs it has hung.
constexpr int kBoundSeconds = 5;

using recordcopy::SeenContact;
using recordcopy::SeenNote;

std::vector<SeenNote> gNotes;
std::vector<SeenContact> gContacts;

int OnNote(void* record) {
  gNotes.push_back(recordcopy::CopyNote(*static_cast<const QX::Notes*>(record)));
  return 0;
}

int OnContact(void* record) {
  gContacts.push_back(recordcopy::CopyContact(*static_cast<const QX::Contact*>(record)));
  return 0;
}

SeenNote Expect(const devicesim::Note& n) {
  return recordcopy::ExpectedNote(n);
}
SeenContact Expect(const devicesim::Person& p) {
  return recordcopy::ExpectedContact(p);
}

// Records in the order the host receives them: batch by batch, and within a batch by the
// record keys as text (the numbers of this test's records are all single digits or
// compare alike as text and as numbers, so index order is key order).
template <typename Seen, typename Records>
std::vector<Seen> FirstBatches(const Records& records, size_t batchSize, size_t batches) {
  std::vector<Seen> out;
  const size_t n = std::min(records.size(), batches * batchSize);
  for (size_t i = 0; i < n; ++i) out.push_back(Expect(records[i]));
  return out;
}

struct Run {
  int result = 0;
  double seconds = 0;
  std::vector<std::string> received;
};

// One export through GetData and the stand-in device, bounded: a host can put its own
// time-outs on the socket (the library sets none), and a run that reaches them is a hang.
Run Export(bool contacts, const AddressBook& book, const NoteStore& notes, DeviceOptions options) {
  gNotes.clear();
  gContacts.clear();
  devicesim::InProcessDevice emulator(book, notes, std::move(options));
  const timeval bound{kBoundSeconds, 0};
  setsockopt(emulator.peerFd(), SOL_SOCKET, SO_RCVTIMEO, &bound, sizeof bound);
  setsockopt(emulator.peerFd(), SOL_SOCKET, SO_SNDTIMEO, &bound, sizeof bound);
  void* device = mdsim_device_new(emulator.endpoint().c_str());
  Run run;
  const auto start = std::chrono::steady_clock::now();
  run.result = GetData(contacts ? 1 : 0, nullptr, device,
                       reinterpret_cast<void*>(contacts ? &OnContact : &OnNote));
  run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  run.received = emulator.wait().received;
  if (run.result == 0) DisContectDeviceAndProtocol();
  mdsim_device_free(device);
  return run;
}

// The uncut session's frames: where each of the device's replies ends.
struct Session {
  std::vector<size_t> ends;
  std::vector<std::string> received;
  size_t total() const { return ends.back(); }
  // How many of the device's replies the cut leaves whole.
  size_t whole(size_t cut) const {
    return static_cast<size_t>(std::upper_bound(ends.begin(), ends.end(), cut) - ends.begin());
  }
  // How many messages the device had received when it went: one per reply begun.
  size_t begun(size_t cut) const {
    size_t n = 0;
    for (size_t i = 0; i < ends.size(); ++i) n += (i == 0 ? 0 : ends[i - 1]) < cut;
    return n;
  }
};

Session Record(bool contacts, const AddressBook& book, const NoteStore& notes,
               const DeviceOptions& options) {
  const hardening::RecordedExport r = hardening::RecordExport(
      contacts, book, notes, options, reinterpret_cast<void*>(contacts ? &OnContact : &OnNote));
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(r.frameEnds.empty() ? 0 : r.frameEnds.back(), r.deviceSide.size());
  return {r.frameEnds, r.transcript.received};
}

std::vector<size_t> EveryOffset(const Session& s) {
  std::vector<size_t> cuts;
  for (size_t n = 0; n < s.total(); ++n) cuts.push_back(n);
  return cuts;
}

// Around every frame boundary (inside the length field, at it, just past it) and a stride
// through the payloads.
std::vector<size_t> SampleOffsets(const Session& s, size_t stride) {
  std::set<size_t> cuts = {0};
  size_t start = 0;
  for (size_t end : s.ends) {
    for (size_t d : {size_t{1}, size_t{3}, size_t{4}, size_t{5}}) cuts.insert(start + d);
    cuts.insert(end - 1);
    start = end;
  }
  for (size_t n = 0; n < s.total(); n += stride) cuts.insert(n);
  std::vector<size_t> out;
  for (size_t c : cuts)
    if (c < s.total()) out.push_back(c);
  return out;
}

DeviceOptions CutAt(DeviceOptions options, size_t cut) {
  options.closeAfterBytes = static_cast<int64_t>(cut);
  return options;
}

std::vector<std::string> Prefix(const std::vector<std::string>& labels, size_t n) {
  return std::vector<std::string>(
      labels.begin(), labels.begin() + static_cast<std::ptrdiff_t>(std::min(n, labels.size())));
}

// Notes: frames are the version reply, the sync reply, the reply to the request, the
// batches and the reply without records. Any cut fails the export; the notes of every
// batch that arrived whole have been delivered, in order, and no closing message went out.
void CheckNoteCuts(const NoteStore& store, size_t batchSize, bool everyOffset) {
  DeviceOptions options;
  options.batchSize = batchSize;
  const Session s = Record(false, {}, store, options);
  const size_t batches = (store.notes.size() + batchSize - 1) / batchSize;
  ASSERT_EQ(s.ends.size(), 3 + batches + 1);

  const Run whole = Export(false, {}, store, options);
  EXPECT_EQ(whole.result, 0);
  EXPECT_EQ(whole.received, s.received);
  EXPECT_EQ(s.received.back(), "M11");
  EXPECT_EQ(gNotes, (FirstBatches<SeenNote>(store.notes, batchSize, batches)));

  for (size_t cut : everyOffset ? EveryOffset(s) : SampleOffsets(s, 97)) {
    SCOPED_TRACE("device gone after " + std::to_string(cut) + " of " + std::to_string(s.total()) +
                 " bytes");
    const Run run = Export(false, {}, store, CutAt(options, cut));
    ASSERT_LT(run.seconds, kBoundSeconds);
    EXPECT_EQ(run.result, -1);
    EXPECT_EQ(run.received, Prefix(s.received, s.begun(cut)));
    const size_t wholeBatches = s.whole(cut) > 3 ? s.whole(cut) - 3 : 0;
    EXPECT_EQ(gNotes, (FirstBatches<SeenNote>(store.notes, batchSize, wholeBatches)));
  }
}

// Contacts: frames are the version reply, the sync reply, the batches and the reply
// without records. A cut in the first two exchanges fails the export with nothing
// delivered; a later one ends the gathering, and every person of a batch that arrived
// whole is delivered with exactly its items.
void CheckContactCuts(const AddressBook& book, size_t batchSize, bool everyOffset) {
  DeviceOptions options;
  options.batchSize = batchSize;
  const Session s = Record(true, book, {}, options);
  const size_t batches = (book.people.size() + batchSize - 1) / batchSize;
  ASSERT_EQ(s.ends.size(), 2 + batches + 1);

  const Run whole = Export(true, book, {}, options);
  EXPECT_EQ(whole.result, 0);
  EXPECT_EQ(whole.received, s.received);
  EXPECT_EQ(Prefix(s.received, 2), (std::vector<std::string>{"M2", "M4"}));
  EXPECT_EQ(s.received.back(), "M11");
  EXPECT_EQ(gContacts, (FirstBatches<SeenContact>(book.people, batchSize, batches)));

  for (size_t cut : everyOffset ? EveryOffset(s) : SampleOffsets(s, 97)) {
    SCOPED_TRACE("device gone after " + std::to_string(cut) + " of " + std::to_string(s.total()) +
                 " bytes");
    const Run run = Export(true, book, {}, CutAt(options, cut));
    ASSERT_LT(run.seconds, kBoundSeconds);
    EXPECT_EQ(run.received, Prefix(s.received, s.begun(cut)));
    if (cut < s.ends[1]) {
      EXPECT_EQ(run.result, -1);
      EXPECT_TRUE(gContacts.empty());
    } else {
      EXPECT_EQ(run.result, 0);
      const size_t wholeBatches = s.whole(cut) - 2;
      EXPECT_EQ(gContacts, (FirstBatches<SeenContact>(book.people, batchSize, wholeBatches)));
    }
  }
}

// Four short notes, one of them with text beyond ASCII.
NoteStore SmallNotes() {
  const auto note = [](const char* subject, const char* content, double modified) {
    devicesim::Note made;
    made.subject = subject;
    made.content = content;
    made.modified = modified;
    return made;
  };
  NoteStore store;
  store.notes = {note("One", "first", 1.5), note("Two", "caf\xC3\xA9", 700000000),
                 note("Three", "", -3), note("", "fourth", 0)};
  return store;
}

// Three people with a few items of each shape, small enough to cut at every byte.
AddressBook SmallBook() {
  AddressBook book;
  devicesim::Person ann;
  ann.id = 1;
  ann.firstName = "Ann";
  ann.lastName = "Lee";
  devicesim::Item phone;
  phone.property = devicesim::kPhone;
  phone.label = "_$!<Mobile>!$_";
  phone.value = "555 0101";
  devicesim::Item home;
  home.property = devicesim::kAddress;
  home.label = "_$!<Home>!$_";
  home.street = "1 Main St";
  home.city = "Oslo";
  ann.items = {phone, home};
  devicesim::Person bo;
  bo.id = 2;
  bo.firstName = "B\xC3\xB8";
  devicesim::Item mail;
  mail.property = devicesim::kEmail;
  mail.value = "bo@example.org";
  bo.items = {mail};
  devicesim::Person cy;
  cy.id = 3;
  cy.lastName = "Ng";
  cy.companyName = "Cy & Co";
  devicesim::Item url;
  url.property = devicesim::kUrl;
  url.value = "https://example.org";
  cy.items = {url, phone, home};
  book.people = {ann, bo, cy};
  return book;
}

using UnplugTest = ::testing::Test;

TEST_F(UnplugTest, NoteExportCutAtEveryByte) {
  CheckNoteCuts(SmallNotes(), 2, true);
}

TEST_F(UnplugTest, ContactExportCutAtEveryByte) {
  CheckContactCuts(SmallBook(), 2, true);
}

TEST_F(UnplugTest, LargerNoteExportCutAtSampledBytes) {
  CheckNoteCuts(devicesim::GenerateNotes(9, 22), 4, false);
}

TEST_F(UnplugTest, LargerContactExportCutAtSampledBytes) {
  CheckContactCuts(devicesim::GenerateAddressBook(9, 22), 4, false);
}

}  // namespace
