// The note export end to end: GetData(0, ...) through the MobileDevice stand-in against the
// in-process device emulator, with the messages on the wire checked in its transcript.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ExportSupport.h"
#include "HostileReplies.h"
#include "MobileDevice/mdsim.h"
#include "QX/Notes.h"
#include "RecordCopy.h"
#include "ValueBuild.h"
#include "devicesim/BPListWriter.h"
#include "devicesim/Device.h"
#include "devicesim/NoteStore.h"
#include "veldrake/Session.h"

namespace {

using devicesim::DeviceOptions;
using devicesim::Fault;
using devicesim::NoteStore;
using namespace exportsupport;

using recordcopy::SeenNote;

std::vector<SeenNote> gSeen;
int gStopAt = -1;  // 0-based call that returns -1

// The callback as a host declares it; the record is a QX::Notes.
int Record(void* record) {
  gSeen.push_back(recordcopy::CopyNote(*static_cast<const QX::Notes*>(record)));
  return static_cast<int>(gSeen.size()) - 1 == gStopAt ? -1 : 0;
}

struct Outcome {
  int result = 0;
  bool sessionLeftOpen = false;
  Labels wire;
};

Outcome ExportNotes(NoteStore store, DeviceOptions options) {
  gSeen.clear();
  devicesim::InProcessDevice emulator({}, std::move(store), std::move(options));
  void* device = mdsim_device_new(emulator.endpoint().c_str());
  Outcome out;
  out.result = GetData(0, nullptr, device, reinterpret_cast<void*>(&Record));
  out.sessionLeftOpen = iDeviceAFC != nullptr;
  // The device stops at M11 or at the end of the stream: let it read everything the
  // library sent before the host closes the session (a failed export closed it already).
  out.wire = emulator.wait().received;
  if (out.result == 0) {
    EXPECT_EQ(DisContectDeviceAndProtocol(), 0);
  }
  mdsim_device_free(device);
  return out;
}

// The notes of `store` as the host must see them (the device files notes under their numbers).
std::vector<SeenNote> Expected(const NoteStore& store, size_t batchSize, size_t limit = SIZE_MAX) {
  std::vector<SeenNote> all;
  for (size_t i : DeliveryOrder(
           store.notes.size(), batchSize, [](size_t k) { return k; }, limit))
    all.push_back(recordcopy::ExpectedNote(store.notes[i]));
  return all;
}

void ExpectSeen(const std::vector<SeenNote>& expected) {
  ASSERT_EQ(gSeen.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(gSeen[i], expected[i]) << "note " << i;
}

Labels Wire(std::initializer_list<const char*> head, size_t acks, bool closed) {
  Labels labels(head.begin(), head.end());
  labels.insert(labels.end(), acks, "M8");
  if (closed) labels.insert(labels.end(), {"M10", "M11"});
  return labels;
}

class NoteExportTest : public ::testing::Test {
 protected:
  void SetUp() override { gStopAt = -1; }
};

TEST_F(NoteExportTest, ExportsEveryNoteBatchByBatch) {
  const NoteStore store = devicesim::GenerateNotes(450, 7);
  const Outcome e = ExportNotes(store, Batches(100));
  EXPECT_EQ(e.result, 0);
  EXPECT_TRUE(e.sessionLeftOpen);
  // Five batches, then the reply without records that ends the loop.
  EXPECT_EQ(e.wire, Wire({"M1", "M5", "M7"}, 6, true));
  ExpectSeen(Expected(store, 100));
}

TEST_F(NoteExportTest, HostStopStillClosesAndLeavesTheSessionOpen) {
  const NoteStore store = devicesim::GenerateNotes(3, 11);
  gStopAt = 1;
  const Outcome e = ExportNotes(store, Batches(100));
  EXPECT_EQ(e.result, 0);
  EXPECT_TRUE(e.sessionLeftOpen);
  EXPECT_EQ(e.wire, Wire({"M1", "M5", "M7"}, 1, true));
  ExpectSeen(Expected(store, 100, 2));
  // A store without notes: the first reply has no records and ends the loop.
  gStopAt = -1;
  const Outcome none = ExportNotes(NoteStore{}, Batches(100));
  EXPECT_EQ(none.result, 0);
  EXPECT_EQ(none.wire, Wire({"M1", "M5", "M7"}, 1, true));
  EXPECT_TRUE(gSeen.empty());
}

TEST_F(NoteExportTest, EmptyFramesAreRepliesInEveryState) {
  const NoteStore store = devicesim::GenerateNotes(25, 3);
  for (const char* label : {"M1", "M5", "M7"}) {
    const Outcome e = ExportNotes(store, ReplyAt(10, label, 0, ""));
    EXPECT_EQ(e.result, 0) << label;
    EXPECT_EQ(e.wire, Wire({"M1", "M5", "M7"}, 4, true)) << label;
    ExpectSeen(Expected(store, 10));
  }
  // An empty frame in the loop is answered with another acknowledgement; the replies then
  // arrive one acknowledgement late and none is lost.
  DeviceOptions options = Batches(10);
  options.faults.push_back({"M8", 0, Fault::EmptyFrame, 1});
  const Outcome e = ExportNotes(store, options);
  EXPECT_EQ(e.result, 0);
  EXPECT_EQ(e.wire, Wire({"M1", "M5", "M7"}, 5, true));
  ExpectSeen(Expected(store, 10));
}

TEST_F(NoteExportTest, OnlyEmptyFramesKeepAcknowledgingUntilTheStreamFails) {
  DeviceOptions options = ReplyAt(10, "M8", -1, "");
  options.faults.push_back({"M8", 5, Fault::CloseBeforeLength, 0});
  const Outcome e = ExportNotes(devicesim::GenerateNotes(25, 3), options);
  EXPECT_EQ(e.result, -1);
  EXPECT_FALSE(e.sessionLeftOpen);
  EXPECT_EQ(e.wire, Wire({"M1", "M5", "M7"}, 6, false));
  EXPECT_TRUE(gSeen.empty());
}

// Replies to the acknowledgement that are no usable note batch: the export never breaks,
// and a reply the analysis cannot read is simply followed by the next acknowledgement.
TEST_F(NoteExportTest, HostileRepliesEndOrSkipButNeverBreak) {
  const NoteStore store = devicesim::GenerateNotes(5, 9);
  for (const HostileReply& c : HostileReplies()) {
    const Outcome e = ExportNotes(store, ReplyAt(10, "M8", 0, c.payload));
    EXPECT_EQ(e.result, 0) << c.name;
    EXPECT_TRUE(e.sessionLeftOpen) << c.name;
    if (c.notesEnd) {
      EXPECT_EQ(e.wire, Wire({"M1", "M5", "M7"}, 1, true)) << c.name;
      EXPECT_TRUE(gSeen.empty()) << c.name;
    } else {
      // The device holds the batch back until the next acknowledgement.
      EXPECT_EQ(e.wire, Wire({"M1", "M5", "M7"}, 3, true)) << c.name;
      ExpectSeen(Expected(store, 10));
    }
  }
  // Whatever stands in the replies that are dropped unseen does not matter.
  for (const char* label : {"M1", "M5", "M7"}) {
    DeviceOptions options = Batches(10);
    options.faults.push_back({label, 0, Fault::Garbage, 0});
    const Outcome e = ExportNotes(store, options);
    EXPECT_EQ(e.result, 0) << label;
    ExpectSeen(Expected(store, 10));
  }
}

}  // namespace
