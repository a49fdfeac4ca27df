// A device that goes silent mid-conversation. The library sets no time-out, so GetData sits
// in recv; another thread of the host gets it back by shutting the connection down, either
// on the socket itself or through DisContectDeviceAndProtocol, whose AFCConnectionClose
// shuts down before it closes.
#include <sys/socket.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "MobileDevice/mdsim.h"
#include "QX/Contact.h"
#include "QX/Notes.h"
#include "devicesim/AddressBook.h"
#include "devicesim/Device.h"
#include "devicesim/NoteStore.h"
#include "veldrake/Session.h"

namespace {

constexpr auto kBound = std::chrono::seconds(5);

std::vector<int> gDelivered;  // contact ids; for notes, one entry per note

int OnNote(void*) {
  gDelivered.push_back(0);
  return 0;
}

int OnContact(void* record) {
  gDelivered.push_back(static_cast<const QX::Contact*>(record)->id);
  return 0;
}

enum class Unblock { ShutdownSocket, Disconnect };

struct Outcome {
  int result = 0;
  bool returned = false;
  std::vector<int> delivered;
};

// Exports with batches of two and a device that never answers the second request for
// records until the test is over. Once it has gone silent, `how` is applied from this
// thread while GetData waits on its own.
Outcome StallAndUnblock(bool contacts, Unblock how) {
  gDelivered.clear();
  std::promise<void> silent;
  std::promise<void> release;
  std::shared_future<void> released = release.get_future().share();
  devicesim::DeviceOptions options;
  options.batchSize = 2;
  const std::string stallOn = contacts ? "M6" : "M8";
  options.scriptedReply = [&, released](const std::string& label,
                                        int occurrence) -> std::optional<std::string> {
    if (label == stallOn && occurrence == 1) {
      silent.set_value();
      released.wait();
    }
    return std::nullopt;
  };
  devicesim::InProcessDevice emulator(
      contacts ? devicesim::GenerateAddressBook(5, 3) : devicesim::AddressBook{},
      contacts ? devicesim::NoteStore{} : devicesim::GenerateNotes(5, 3), options);
  void* device = mdsim_device_new(emulator.endpoint().c_str());

  auto call = std::async(std::launch::async, [&] {
    return GetData(contacts ? 1 : 0, nullptr, device,
                   reinterpret_cast<void*>(contacts ? &OnContact : &OnNote));
  });
  Outcome out;
  if (silent.get_future().wait_for(kBound) == std::future_status::ready) {
    // The library may still be on its way into recv; either way the shutdown reaches it.
    EXPECT_EQ(call.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout)
        << "GetData came back although the device is silent";
    if (how == Unblock::ShutdownSocket) {
      shutdown(iSocket, SHUT_RDWR);
    } else {
      DisContectDeviceAndProtocol();
    }
    out.returned = call.wait_for(kBound) == std::future_status::ready;
  }
  release.set_value();
  if (!out.returned) {
    // Not back in time: free the thread anyway so the test ends with a failure, not a hang.
    shutdown(emulator.peerFd(), SHUT_RDWR);
  }
  out.result = call.get();
  out.delivered = gDelivered;
  emulator.wait();
  if (out.result == 0) DisContectDeviceAndProtocol();
  mdsim_device_free(device);
  return out;
}

using StallTest = ::testing::TestWithParam<Unblock>;

// Notes already delivered stay delivered; the export has failed and no closing message
// went out.
TEST_P(StallTest, SilentDeviceDuringNoteExportFailsPromptly) {
  const Outcome out = StallAndUnblock(false, GetParam());
  EXPECT_TRUE(out.returned);
  EXPECT_EQ(out.result, -1);
  EXPECT_EQ(out.delivered.size(), 2u);
}

// The contact export ends its gathering and delivers what came before the silence.
TEST_P(StallTest, SilentDeviceDuringContactExportDeliversTheGatheredRecords) {
  const Outcome out = StallAndUnblock(true, GetParam());
  EXPECT_TRUE(out.returned);
  EXPECT_EQ(out.result, 0);
  EXPECT_EQ(out.delivered, (std::vector<int>{1, 2}));
}

INSTANTIATE_TEST_SUITE_P(HostThread, StallTest,
                         ::testing::Values(Unblock::ShutdownSocket, Unblock::Disconnect),
                         [](const ::testing::TestParamInfo<Unblock>& p) {
                           return p.param == Unblock::ShutdownSocket ? "ShutdownSocket"
                                                                     : "Disconnect";
                         });

}  // namespace
