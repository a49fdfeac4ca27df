// The contact export end to end: GetData(1, ...) through the MobileDevice stand-in against
// the in-process device emulator, checked record by record and message by message.
#include <unistd.h>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ContactTestSupport.h"
#include "ExportSupport.h"
#include "HostileReplies.h"
#include "MobileDevice/mdsim.h"
#include "ValueBuild.h"
#include "devicesim/AddressBook.h"
#include "devicesim/BPListWriter.h"
#include "devicesim/Device.h"
#include "devicesim/Records.h"
#include "veldrake/IOSContact.h"

namespace {

using namespace contacttest;
using namespace exportsupport;
using namespace recordcopy;
using namespace valuebuild;
using devicesim::AddressBook;
using devicesim::DeviceOptions;
using devicesim::Fault;

struct Outcome {
  int result = 0;
  std::string calls;  // the platform operations, in order
  Labels wire;
  Recorder recorder;
};

Outcome ExportContacts(const AddressBook& book, DeviceOptions options,
                       std::vector<int> answers = {}) {
  Outcome out;
  out.recorder.answers = std::move(answers);
  gRecorder = &out.recorder;
  devicesim::InProcessDevice emulator(book, {}, std::move(options));
  void* device = mdsim_device_new(emulator.endpoint().c_str());
  out.result = GetData(1, nullptr, device, Callback());
  // Let the device read all that was sent before the host closes the session (a failed
  // export closed it already): the device stops at M11 or at the end of the stream.
  out.wire = emulator.wait().received;
  if (out.result == 0) {
    EXPECT_EQ(DisContectDeviceAndProtocol(), 0);
  }
  out.calls = mdsim_device_calls(device);
  mdsim_device_free(device);
  gRecorder = nullptr;
  return out;
}

Labels Wire(size_t requests, bool closed = true) {
  Labels labels{"M2", "M4"};
  labels.insert(labels.end(), requests, "M6");
  if (closed) labels.insert(labels.end(), {"M9", "M11"});
  return labels;
}

std::vector<SeenContact> Expected(const AddressBook& book, size_t batch, size_t limit = SIZE_MAX) {
  std::vector<SeenContact> all;
  for (size_t i : DeliveryOrder(
           book.people.size(), batch, [&](size_t k) { return book.people[k].id; }, limit))
    all.push_back(ExpectedContact(book.people[i]));
  return all;
}

void ExpectDelivered(const Recorder& recorder, const std::vector<SeenContact>& expected) {
  ASSERT_EQ(recorder.seen.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    const SeenContact& got = recorder.seen[i];
    EXPECT_EQ(got.id, expected[i].id) << "contact " << i;
    EXPECT_EQ(got.names, expected[i].names) << "contact " << got.id;
    EXPECT_EQ(got.fields, expected[i].fields) << "contact " << got.id;
    EXPECT_EQ(got.addresses, expected[i].addresses) << "contact " << got.id;
  }
}

// The sample address books of the repository: samples/*.vcf and samples/vcards/*.vcf
// (VELDRAKE_SAMPLES_DIR in the environment points elsewhere).
std::vector<std::string> SampleCards() {
  const char* root = std::getenv("VELDRAKE_SAMPLES_DIR");
  const std::filesystem::path base = root ? root : VELDRAKE_SAMPLES_DIR;
  std::vector<std::string> paths;
  for (const auto& dir : {base, base / "vcards"})
    if (std::filesystem::is_directory(dir))
      for (const auto& entry : std::filesystem::directory_iterator(dir))
        if (entry.path().extension() == ".vcf") paths.push_back(entry.path().string());
  std::sort(paths.begin(), paths.end());
  return paths;
}

using ContactExportTest = ::testing::Test;

// --- The export ---

TEST_F(ContactExportTest, SampleBooksArriveCompleteAcrossSeveralReplies) {
  const std::vector<std::string> paths = SampleCards();
  ASSERT_GE(paths.size(), 2u) << "samples missing";
  AddressBook book;
  std::string error;
  ASSERT_TRUE(devicesim::LoadVCardFiles(paths, &book, &error)) << error;
  ASSERT_GE(book.people.size(), 10u);
  const Outcome e = ExportContacts(book, Batches(7));
  EXPECT_EQ(e.result, 0);
  const size_t batches = (book.people.size() + 6) / 7;
  EXPECT_EQ(e.wire, Wire(batches + 1));  // the reply after the last batch ends the loop
  ExpectDelivered(e.recorder, Expected(book, 7));
  // The books exercise every part of a record: each name field, phones to instant
  // messaging, addresses. (Social profiles, kind 7, stand only in the larger sample set.)
  std::vector<bool> nameSeen(12, false), kindSeen(8, false);
  bool addressSeen = false;
  for (const SeenContact& c : e.recorder.seen) {
    for (size_t n = 0; n < c.names.size(); ++n) nameSeen[n] = nameSeen[n] || c.names[n] != "<null>";
    for (const std::string& f : c.fields) kindSeen[std::stoul(f)] = true;
    addressSeen = addressSeen || !c.addresses.empty();
  }
  EXPECT_EQ(nameSeen, std::vector<bool>(12, true));
  EXPECT_EQ(std::vector<bool>(kindSeen.begin() + 1, kindSeen.end() - 1),
            std::vector<bool>(6, true));
  EXPECT_TRUE(addressSeen);
  EXPECT_NE(e.calls.find("AFCConnectionClose"), std::string::npos);  // closed by the host
}

TEST_F(ContactExportTest, SubRecordsOfAnEarlierReplyJoinTheirPerson) {
  AddressBook book = devicesim::GenerateAddressBook(2, 5);
  const devicesim::Person& second = book.people[1];
  std::vector<std::pair<std::string, Value>> items;
  for (size_t k = 0; k < second.items.size(); ++k) {
    items.push_back({std::to_string(second.items[k].property) + "/" + std::to_string(second.id) +
                         "/" + std::to_string(k),
                     devicesim::ItemRecord(second.items[k])});
  }
  const Outcome e = ExportContacts(
      book, ReplyAt(10, "M6", 0, devicesim::BatchReply("com.apple.Contacts", Dict(items), true)));
  EXPECT_EQ(e.result, 0);
  ASSERT_EQ(e.recorder.seen.size(), 2u);
  // The items came twice, early alone and later with their person: the first copy joins.
  const SeenContact expected = ExpectedContact(second);
  std::vector<std::string> twice = expected.fields;
  twice.insert(twice.end(), expected.fields.begin(), expected.fields.end());
  EXPECT_EQ(e.recorder.seen[1].fields, twice);
  EXPECT_EQ(e.recorder.seen[1].addresses.size(), 2 * expected.addresses.size());
}

TEST_F(ContactExportTest, HostStopClosesTheSessionAndFails) {
  const AddressBook book = devicesim::GenerateAddressBook(30, 2);
  for (size_t stopAt : {size_t{0}, size_t{29}}) {
    std::vector<int> answers(30, 1);
    answers[stopAt] = -1;
    const Outcome e = ExportContacts(book, Batches(10), answers);
    EXPECT_EQ(e.result, -1);
    EXPECT_EQ(e.wire, Wire(4));
    ExpectDelivered(e.recorder, Expected(book, 10, stopAt + 1));
    const std::string tail = "AFCConnectionClose,AMDeviceDisconnect";
    ASSERT_GE(e.calls.size(), tail.size());
    EXPECT_EQ(e.calls.substr(e.calls.size() - tail.size()), tail) << e.calls;
  }
}

// --- Faults on the wire ---

TEST_F(ContactExportTest, EmptyFramesCountAsRepliesAndRepeatTheRequest) {
  const AddressBook book = devicesim::GenerateAddressBook(25, 3);
  for (const char* label : {"M2", "M4"}) {
    const Outcome e = ExportContacts(book, ReplyAt(10, label, 0, ""));
    EXPECT_EQ(e.result, 0) << label;
    EXPECT_EQ(e.wire, Wire(4)) << label;
    ExpectDelivered(e.recorder, Expected(book, 10));
  }
  // An empty frame ahead of a batch: a further request goes out, and replies arrive one
  // request late without loss.
  DeviceOptions options = Batches(10);
  options.faults.push_back({"M6", 1, Fault::EmptyFrame, 2});
  const Outcome e = ExportContacts(book, options);
  EXPECT_EQ(e.result, 0);
  EXPECT_EQ(e.wire, Wire(6));
  ExpectDelivered(e.recorder, Expected(book, 10));
}

TEST_F(ContactExportTest, HostileRepliesEndOrSkipButNeverBreak) {
  const AddressBook book = devicesim::GenerateAddressBook(12, 8);
  for (const HostileReply& c : HostileReplies()) {
    const Outcome e = ExportContacts(book, ReplyAt(5, "M6", 1, c.payload));
    EXPECT_EQ(e.result, 0) << c.name;
    if (c.contactsEnd) {
      EXPECT_EQ(e.wire, Wire(2)) << c.name;
      ExpectDelivered(e.recorder, Expected(book, 5, 5));
    } else {
      EXPECT_EQ(e.wire, Wire(5)) << c.name;
      ExpectDelivered(e.recorder, Expected(book, 5));
    }
  }
}

// The older setup that no export uses, then the closing pair, on a bare socket.
TEST_F(ContactExportTest, AlternativeSetupAndClosingSpeakTheirOwnMessages) {
  devicesim::InProcessDevice emulator({}, {});
  const int socket = emulator.peerFd();
  IOSContact conversation;
  EXPECT_EQ(conversation.StartContactProtocol(socket), 0);
  EXPECT_EQ(conversation.CloseContactProtocol(socket), 0);
  EXPECT_EQ(emulator.wait().received, (Labels{"M1", "M3", "M9", "M11"}));
  EXPECT_EQ(conversation.analysis, nullptr);
  // The device has gone: nothing more can be sent.
  EXPECT_EQ(conversation.StartContactProtocol(socket), -1);
  close(socket);
}

}  // namespace
