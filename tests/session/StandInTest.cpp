// The MobileDevice stand-in as the session and the emulator use it: endpoints, service
// starts over real sockets, forced results, and a close that wakes a blocked reader.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "CoreFoundation/CoreFoundation.h"
#include "Frame.h"
#include "MobileDevice/MobileDevice.h"
#include "MobileDevice/mdsim.h"

namespace {

CFStringRef SyncService() {
  return __CFStringMakeConstantString("com.apple.mobilesync");
}

// A device on one end of a socketpair (`far` is the other end), optionally connected and
// with the sync service started.
struct PairDevice {
  explicit PairDevice(bool start = true) {
    int fds[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    near = fds[0];
    far = fds[1];
    device = mdsim_device_new(("fd:" + std::to_string(near)).c_str());
    if (!start) return;
    EXPECT_EQ(AMDeviceConnect(device), 0);
    EXPECT_EQ(AMDeviceSecureStartService(device, SyncService(), nullptr, &connection), 0);
  }
  ~PairDevice() {
    close(far);
    mdsim_device_free(device);
  }
  bool FarSeesEndOfStream() const {
    char byte;
    return recv(far, &byte, 1, 0) == 0;
  }
  int near, far;
  void* device;
  AMDServiceConnectionRef connection = nullptr;
};

TEST(StandIn, MalformedEndpointsMakeNoDevice) {
  int fds[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
  close(fds[1]);
  const int closed_fd = fds[1];
  const std::string not_open = "fd:" + std::to_string(closed_fd);
  for (const char* bad :
       {"", "unix:", "tcp:localhost", "tcp::80", "tcp:localhost:0", "tcp:localhost:65536",
        "tcp:localhost:x", "fd:", "fd:-1", "fd:3x", "usb:1", not_open.c_str()}) {
    EXPECT_EQ(mdsim_device_new(bad), nullptr) << bad;
  }
  EXPECT_EQ(mdsim_device_new(nullptr), nullptr);
  close(fds[0]);
}

TEST(StandIn, ServiceStartOverLoopbackTcpGivesAConnectedSocket) {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  socklen_t size = sizeof address;
  getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
  void* device =
      mdsim_device_new(("tcp:127.0.0.1:" + std::to_string(ntohs(address.sin_port))).c_str());
  ASSERT_NE(device, nullptr);

  AMDServiceConnectionRef connection = nullptr;
  EXPECT_EQ(AMDeviceSecureStartService(device, SyncService(), nullptr, &connection),
            MDSIM_ERR_NOT_CONNECTED);
  ASSERT_EQ(AMDeviceConnect(device), 0);
  EXPECT_EQ(AMDeviceSecureStartService(device, __CFStringMakeConstantString("com.apple.afc"),
                                       nullptr, &connection),
            MDSIM_ERR_SERVICE_PROHIBITED);
  EXPECT_EQ(connection, nullptr);
  ASSERT_EQ(AMDeviceSecureStartService(device, SyncService(), nullptr, &connection), 0);
  const int served = accept(listener, nullptr, nullptr);
  const int fd = AMDServiceConnectionGetSocket(connection);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(send(fd, "ping", 4, 0), 4);
  char got[4];
  ASSERT_EQ(recv(served, got, 4, MSG_WAITALL), 4);
  EXPECT_EQ(std::string(got, 4), "ping");

  EXPECT_EQ(AFCConnectionClose(connection), 0);
  EXPECT_EQ(recv(served, got, 1, 0), 0);
  EXPECT_EQ(AFCConnectionClose(connection), MDSIM_ERR_INVALID_ARGUMENT);
  EXPECT_EQ(AMDServiceConnectionGetSocket(connection), -1);
  EXPECT_STREQ(mdsim_device_calls(device),
               "AMDeviceSecureStartService,AMDeviceConnect,AMDeviceSecureStartService,"
               "AMDeviceSecureStartService,AMDServiceConnectionGetSocket,AFCConnectionClose");
  close(served);
  close(listener);
  mdsim_device_free(device);
}

TEST(StandIn, RefusedConnectionIsAFailureCode) {
  void* device = mdsim_device_new("unix:/nonexistent/veldrake-device.sock");
  ASSERT_NE(device, nullptr);
  ASSERT_EQ(AMDeviceConnect(device), 0);
  AMDServiceConnectionRef connection = nullptr;
  EXPECT_EQ(AMDeviceSecureStartService(device, SyncService(), nullptr, &connection),
            MDSIM_ERR_CONNECTION_FAILED);
  EXPECT_EQ(connection, nullptr);
  mdsim_device_free(device);
}

TEST(StandIn, ConnectedDescriptorServesOneStartOnly) {
  PairDevice pair;
  EXPECT_EQ(AMDServiceConnectionGetSocket(pair.connection), pair.near);
  EXPECT_EQ(AFCConnectionClose(pair.connection), 0);
  EXPECT_TRUE(pair.FarSeesEndOfStream());
  EXPECT_EQ(AMDeviceSecureStartService(pair.device, SyncService(), nullptr, &pair.connection),
            MDSIM_ERR_CONNECTION_FAILED);
}

TEST(StandIn, ForcedResultsReplaceTheWorkUntilReset) {
  PairDevice pair(false);
  void* device = pair.device;
  mdsim_device_set_result(device, "AMDeviceConnect", -42);
  EXPECT_EQ(AMDeviceConnect(device), -42);
  EXPECT_EQ(AMDeviceStartSession(device), MDSIM_ERR_NOT_CONNECTED) << "still not connected";
  mdsim_device_set_result(device, "AMDeviceConnect", 0);
  EXPECT_EQ(AMDeviceConnect(device), 0);
  EXPECT_EQ(AMDeviceStartSession(device), 0);
  EXPECT_EQ(AMDeviceStopSession(device), 0);
  EXPECT_EQ(AMDeviceStopSession(device), 0) << "harmless with no session open";
  EXPECT_EQ(AMDeviceDisconnect(device), 0);
  EXPECT_EQ(AMDeviceDisconnect(device), 0) << "harmless when not connected";
}

TEST(StandIn, UnknownHandlesFailInsteadOfCrashing) {
  int not_a_device = 0;
  EXPECT_EQ(AMDeviceConnect(&not_a_device), MDSIM_ERR_INVALID_ARGUMENT);
  EXPECT_EQ(AFCConnectionClose(&not_a_device), MDSIM_ERR_INVALID_ARGUMENT);
  EXPECT_EQ(AMDServiceConnectionGetSocket(nullptr), -1);
  EXPECT_STREQ(mdsim_device_calls(&not_a_device), "");
  mdsim_device_set_result(&not_a_device, "AMDeviceConnect", 1);
  mdsim_device_free(&not_a_device);
  mdsim_device_free(nullptr);
}

TEST(StandIn, CloseFromAnotherThreadEndsABlockedRead) {
  PairDevice pair;
  const int fd = AMDServiceConnectionGetSocket(pair.connection);
  FrameResult result = FrameResult::Complete;
  std::thread reader([&] {
    std::vector<char> payload;
    result = RecvFrame(fd, payload);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));  // let it block in recv
  EXPECT_EQ(AFCConnectionClose(pair.connection), 0);
  reader.join();
  EXPECT_EQ(result, FrameResult::LengthNotRead);
}

TEST(StandIn, FreeingADeviceClosesItsOpenConnections) {
  PairDevice pair;
  mdsim_device_free(pair.device);
  pair.device = nullptr;
  EXPECT_TRUE(pair.FarSeesEndOfStream());
  EXPECT_EQ(AFCConnectionClose(pair.connection), MDSIM_ERR_INVALID_ARGUMENT);
}

}  // namespace
