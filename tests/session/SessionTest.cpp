// The start and close sequences, seen through the stand-in device's call log and the
// console. A device that goes away mid-conversation is the unplug sweep's subject.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "MobileDevice/MobileDevice.h"
#include "MobileDevice/mdsim.h"
#include "veldrake/Session.h"

namespace {

const char kStart[] =
    "AMDeviceDisconnect,AMDeviceConnect,AMDeviceStopSession,AMDeviceStartSession,"
    "AMDeviceSecureStartService,AMDeviceStopSession,AMDServiceConnectionGetSocket";
const char kClose[] = "AFCConnectionClose,AMDeviceDisconnect";

// Whatever `run` printed to standard output.
std::string Stdout(const std::function<void()>& run) {
  fflush(stdout);
  FILE* sink = tmpfile();
  const int saved = dup(fileno(stdout));
  dup2(fileno(sink), fileno(stdout));
  run();
  fflush(stdout);
  dup2(saved, fileno(stdout));
  close(saved);
  std::string text;
  rewind(sink);
  char chunk[256];
  size_t n;
  while ((n = fread(chunk, 1, sizeof chunk, sink)) > 0) text.append(chunk, n);
  fclose(sink);
  return text;
}

int IgnoreRecord(void*) {
  return 0;
}

// A stand-in device whose service is one end of a socketpair; `device_end` is the other.
class Session : public ::testing::Test {
 protected:
  void SetUp() override {
    pDeviceDev = nullptr;
    iDeviceAFC = nullptr;
    iSocket = 0;
    int fds[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    device_end = fds[1];
    service_end = fds[0];
    device = mdsim_device_new(("fd:" + std::to_string(fds[0])).c_str());
    ASSERT_NE(device, nullptr);
  }
  void TearDown() override {
    mdsim_device_free(device);  // closes whatever the library left open
    close(device_end);
    pDeviceDev = nullptr;
    iDeviceAFC = nullptr;
  }
  std::string Calls() const { return mdsim_device_calls(device); }
  int Run(int dataKind) {
    return GetData(dataKind, nullptr, device, reinterpret_cast<void*>(&IgnoreRecord));
  }
  bool DeviceEndSeesEndOfStream() {
    char byte;
    return recv(device_end, &byte, 1, 0) == 0;
  }

  void* device = nullptr;
  int device_end = -1;
  int service_end = -1;
};

TEST_F(Session, NullDeviceReturnsMinus5WithoutAnyCall) {
  ASSERT_EQ(Run(2), 0);
  ASSERT_EQ(DisContectDeviceAndProtocol(), 0);
  const std::string before = Calls();
  EXPECT_EQ(GetData(1, nullptr, nullptr, reinterpret_cast<void*>(&IgnoreRecord)), -5);
  EXPECT_EQ(pDeviceDev, nullptr);
  EXPECT_EQ(DisContectDeviceAndProtocol(), 0);
  EXPECT_EQ(Calls(), before);
}

TEST_F(Session, OtherDataKindsConnectAndLeaveEverythingOpen) {
  EXPECT_EQ(Run(-1), 0);
  EXPECT_EQ(Calls(), kStart);
  char byte;
  EXPECT_EQ(recv(device_end, &byte, 1, MSG_DONTWAIT), -1) << "nothing may have been sent";
  TearDown();
  SetUp();
  iSocket = -77;
  EXPECT_EQ(Stdout([&] { EXPECT_EQ(Run(2), 0); }), "");
  EXPECT_EQ(Calls(), kStart);
  EXPECT_EQ(pDeviceDev, device);
  ASSERT_NE(iDeviceAFC, nullptr);
  // The platform hands the library its own end of the connection (a relay's, on Linux).
  const int libraryEnd = AMDServiceConnectionGetSocket(iDeviceAFC);
  EXPECT_GE(libraryEnd, 0);
  EXPECT_EQ(iSocket, libraryEnd);

  EXPECT_EQ(DisContectDeviceAndProtocol(), 0);
  EXPECT_EQ(Calls(), std::string(kStart) + ",AMDServiceConnectionGetSocket," + kClose);
  EXPECT_EQ(iDeviceAFC, nullptr);
  EXPECT_EQ(pDeviceDev, device);
  EXPECT_EQ(iSocket, libraryEnd);
  EXPECT_TRUE(DeviceEndSeesEndOfStream());
}

// One platform call forced to fail during the start: what GetData returns, prints and calls.
TEST_F(Session, StartFailuresAreReturnedOrPrintedAsEachCallDemands) {
  const std::string upToService =
      "AMDeviceDisconnect,AMDeviceConnect,AMDeviceStopSession,AMDeviceStartSession,"
      "AMDeviceSecureStartService";
  const std::string prohibited = std::to_string(MDSIM_ERR_SERVICE_PROHIBITED);
  const struct {
    const char* call;
    int forced, kind, result;
    std::string printed, calls;
    bool sessionOpen;
  } cases[] = {
      {"AMDeviceConnect", MDSIM_ERR_NOT_CONNECTED, 1, MDSIM_ERR_NOT_CONNECTED, "",
       "AMDeviceDisconnect,AMDeviceConnect", false},
      {"AMDeviceDisconnect", -3, 2, 0, "", kStart, true},  // the first one is silent
      {"AMDeviceStartSession", -123, 2, 0, "[RET]AMDeviceStartSession() = -123\n", kStart, true},
      {"AMDeviceSecureStartService", MDSIM_ERR_SERVICE_PROHIBITED, 1, -6,
       "Could not start AFC service  [RET]AMDeviceSecureStartService() = " + prohibited + "\n",
       upToService, false},
      // The service connection stays open and the old socket is kept.
      {"AMDeviceStopSession", 9, 1, 9, "[RET]AMDeviceStopSession() = 9\n",
       upToService + ",AMDeviceStopSession", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.call);
    TearDown();
    SetUp();
    iSocket = 4242;
    mdsim_device_set_result(device, c.call, c.forced);
    EXPECT_EQ(Stdout([&] { EXPECT_EQ(Run(c.kind), c.result); }), c.printed);
    EXPECT_EQ(Calls(), c.calls);
    EXPECT_EQ(iDeviceAFC != nullptr, c.sessionOpen);
    EXPECT_EQ(iSocket, c.result == 0 ? AMDServiceConnectionGetSocket(iDeviceAFC) : 4242);
  }
}

TEST_F(Session, SecondDisconnectSkipsTheCloseButDisconnectsAgain) {
  EXPECT_EQ(Stdout([&] { EXPECT_EQ(DisContectDeviceAndProtocol(), 0); }), "");
  EXPECT_EQ(Calls(), "");  // before any start: nothing to close
  ASSERT_EQ(Run(2), 0);
  EXPECT_EQ(DisContectDeviceAndProtocol(), 0);
  EXPECT_EQ(DisContectDeviceAndProtocol(), 0);
  EXPECT_EQ(Calls(), std::string(kStart) + "," + kClose + ",AMDeviceDisconnect");
}

TEST_F(Session, FailedCloseKeepsTheConnectionAndSkipsTheDisconnect) {
  ASSERT_EQ(Run(2), 0);
  void* connection = iDeviceAFC;
  mdsim_device_set_result(device, "AFCConnectionClose", -7);
  EXPECT_EQ(Stdout([&] { EXPECT_EQ(DisContectDeviceAndProtocol(), -7); }),
            "[RET]AFCConnectionClose() = -7\n");
  EXPECT_EQ(iDeviceAFC, connection);
  EXPECT_EQ(Calls(), std::string(kStart) + ",AFCConnectionClose");

  mdsim_device_set_result(device, "AFCConnectionClose", 0);
  EXPECT_EQ(DisContectDeviceAndProtocol(), 0);
  EXPECT_EQ(Calls(), std::string(kStart) + ",AFCConnectionClose," + kClose);
  EXPECT_EQ(iDeviceAFC, nullptr);
}

TEST_F(Session, FailedDisconnectOnCloseIsPrintedAndReturned) {
  ASSERT_EQ(Run(2), 0);
  mdsim_device_set_result(device, "AMDeviceDisconnect", -8);
  EXPECT_EQ(Stdout([&] { EXPECT_EQ(DisContectDeviceAndProtocol(), -8); }),
            "[RET]AMDeviceDisconnect() = -8\n");
  EXPECT_EQ(iDeviceAFC, nullptr);
}

// The device is gone before the first reply; a delivered SIGPIPE would end this program.
TEST_F(Session, FailedConversationClosesTheSessionItselfAndReturnsMinus1) {
  struct sigaction deflt {};
  deflt.sa_handler = SIG_DFL;
  struct sigaction saved {};
  sigaction(SIGPIPE, &deflt, &saved);
  for (int closeResult : {0, -7}) {
    SCOPED_TRACE(closeResult);
    TearDown();
    SetUp();
    close(device_end);
    device_end = -1;
    mdsim_device_set_result(device, "AFCConnectionClose", closeResult);
    EXPECT_EQ(Stdout([&] { EXPECT_EQ(Run(1), -1); }),
              closeResult ? "[RET]AFCConnectionClose() = -7\n" : "");
    EXPECT_EQ(iDeviceAFC != nullptr, closeResult != 0);
    if (closeResult == 0) {
      EXPECT_EQ(Calls(), std::string(kStart) + "," + kClose);
    }
  }
  sigaction(SIGPIPE, &saved, nullptr);
}

}  // namespace
