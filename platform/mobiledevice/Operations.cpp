// The MobileDevice operations on stand-in devices. Each records its name on the device
// first, then answers with a forced result if a test set one, and only then does its
// work, so that every step of a start or close sequence can be made to fail. A "usb"
// device does its work through its link to the phone, outside the registry's lock.
#include <sys/socket.h>

#include <cstring>
#include <string>

#include "CoreFoundation/CoreFoundation.h"
#include "MobileDevice/MobileDevice.h"
#include "MobileDevice/mdphone.h"
#include "MobileDevice/mdsim.h"
#include "Relay.h"
#include "StandIn.h"
#include "usb/Link.h"

using mdsim::Connection;
using mdsim::Device;
using mdsim::Registry;
using mdsim::usb::Link;

namespace {

// Runs `work` on the device under the registry's lock, after recording the call and
// honouring a forced result.
template <typename Work>
int OnDevice(AMDeviceRef handle, const char* operation, Work work) {
  Registry& registry = Registry::Get();
  std::lock_guard<std::mutex> hold(registry.lock);
  Device* device = registry.FindDevice(handle);
  if (device == nullptr) return MDSIM_ERR_INVALID_ARGUMENT;
  device->Record(operation);
  int forced = 0;
  if (device->Forced(operation, forced)) return forced;
  return work(*device);
}

// As OnDevice, but a "usb" device runs `phone` on its link once the lock is released.
template <typename Work, typename PhoneWork>
int OnDeviceOrPhone(AMDeviceRef handle, const char* operation, Work work, PhoneWork phone) {
  std::shared_ptr<Link> link;
  const int checked = OnDevice(handle, operation, [&](Device& device) {
    if (device.link == nullptr) return work(device);
    link = device.link;
    return 0;
  });
  return link == nullptr || checked != 0 ? checked : phone(*link);
}

// Gives the connection a handle, unless the device was freed while it was being made.
int Register(AMDeviceRef handle, std::unique_ptr<mdsim::Relay> relay,
             AMDServiceConnectionRef* connection) {
  Registry& registry = Registry::Get();
  std::unique_lock<std::mutex> hold(registry.lock);
  Device* device = registry.FindDevice(handle);
  if (device == nullptr) {
    hold.unlock();
    relay->Close();
    return MDSIM_ERR_INVALID_ARGUMENT;
  }
  const uintptr_t id = registry.next_handle++;
  registry.connections[id] = Connection{device, std::shared_ptr<mdsim::Relay>(std::move(relay))};
  *connection = reinterpret_cast<AMDServiceConnectionRef>(id);
  return 0;
}

// Connects to the device's service: a phone through its link, an emulator endpoint by a
// new connection (or the fd: endpoint's own socket). 0 or the operation's failure code.
int ConnectService(const std::shared_ptr<Link>& link, const mdsim::Endpoint& endpoint, int fd,
                   std::unique_ptr<mdsim::DeviceStream>& out) {
  if (link != nullptr) return link->StartService(mdsim::kSyncService, out);
  if (fd < 0) fd = mdsim::ConnectEndpoint(endpoint);
  if (fd < 0) return MDSIM_ERR_CONNECTION_FAILED;
  out.reset(new mdsim::PlainStream(fd));
  return 0;
}

bool IsSyncService(CFStringRef service) {
  if (service == nullptr) return false;
  const CFIndex length = CFStringGetLength(service);
  if (length != static_cast<CFIndex>(sizeof mdsim::kSyncService - 1)) return false;
  UInt8 text[sizeof mdsim::kSyncService] = {0};
  CFIndex used = 0;
  CFStringGetBytes(service, CFRange{0, length}, kCFStringEncodingUTF8, '?', 0, text,
                   sizeof text - 1, &used);
  return used == length &&
         std::memcmp(text, mdsim::kSyncService, sizeof mdsim::kSyncService - 1) == 0;
}

}  // namespace

MDSIM_EXPORT int AMDeviceConnect(AMDeviceRef handle) {
  return OnDeviceOrPhone(
      handle, "AMDeviceConnect",
      [](Device& device) {
        device.connected = true;
        device.outcome->last_error = 0;
        return 0;
      },
      [](Link& link) { return link.Connect(); });
}

MDSIM_EXPORT int AMDeviceDisconnect(AMDeviceRef handle) {
  return OnDeviceOrPhone(
      handle, "AMDeviceDisconnect",
      [](Device& device) {
        device.connected = false;
        device.session_open = false;
        return 0;
      },
      [](Link& link) { return link.Disconnect(); });
}

MDSIM_EXPORT int AMDeviceStartSession(AMDeviceRef handle) {
  return OnDeviceOrPhone(
      handle, "AMDeviceStartSession",
      [](Device& device) {
        if (!device.connected) return MDSIM_ERR_NOT_CONNECTED;
        device.session_open = true;
        return 0;
      },
      [](Link& link) { return link.StartSession(); });
}

MDSIM_EXPORT int AMDeviceStopSession(AMDeviceRef handle) {
  return OnDeviceOrPhone(
      handle, "AMDeviceStopSession",
      [](Device& device) {
        device.session_open = false;
        return 0;
      },
      [](Link& link) { return link.StopSession(); });
}

MDSIM_EXPORT int AMDeviceSecureStartService(AMDeviceRef handle, CFStringRef service, void* options,
                                            AMDServiceConnectionRef* connection) {
  mdsim::Endpoint endpoint;
  std::shared_ptr<Link> link;
  std::shared_ptr<mdsim::Outcome> outcome;
  int fd = -1;
  const int checked = OnDevice(handle, "AMDeviceSecureStartService", [&](Device& device) {
    if (connection == nullptr) return MDSIM_ERR_INVALID_ARGUMENT;
    outcome = device.outcome;
    if (device.link != nullptr) {
      link = device.link;
      return IsSyncService(service) ? 0 : MDSIM_ERR_SERVICE_PROHIBITED;
    }
    if (!device.connected) return MDSIM_ERR_NOT_CONNECTED;
    if (!IsSyncService(service)) return MDSIM_ERR_SERVICE_PROHIBITED;
    if (device.endpoint.kind == mdsim::Endpoint::Kind::Fd) {
      if (device.fd_used) return MDSIM_ERR_CONNECTION_FAILED;
      device.fd_used = true;
      fd = device.endpoint.fd;
    }
    endpoint = device.endpoint;
    return 0;
  });
  if (checked != 0) return checked;

  // Connecting may block; it happens outside the lock.
  std::unique_ptr<mdsim::DeviceStream> stream;
  const int connected = ConnectService(link, endpoint, fd, stream);
  if (connected != 0) return connected;
  std::unique_ptr<mdsim::Relay> relay;
  const int failure = link != nullptr ? MDPHONE_ERR_CONNECTION_LOST : MDSIM_ERR_CONNECTION_FAILED;
  const int started = mdsim::Relay::Start(std::move(stream), outcome, failure, relay);
  if (started != 0) {
    if (link != nullptr) link->Fail(started);
    return started;
  }
  return Register(handle, std::move(relay), connection);
}

MDSIM_EXPORT int AMDServiceConnectionGetSocket(AMDServiceConnectionRef handle) {
  Registry& registry = Registry::Get();
  std::lock_guard<std::mutex> hold(registry.lock);
  Connection* connection = registry.FindConnection(handle);
  if (connection == nullptr) return -1;
  connection->device->Record("AMDServiceConnectionGetSocket");
  int forced = 0;
  if (connection->device->Forced("AMDServiceConnectionGetSocket", forced)) return forced;
  return connection->relay->socket();
}

MDSIM_EXPORT int AFCConnectionClose(AMDServiceConnectionRef handle) {
  std::shared_ptr<mdsim::Relay> relay;
  {
    Registry& registry = Registry::Get();
    std::lock_guard<std::mutex> hold(registry.lock);
    Connection* connection = registry.FindConnection(handle);
    if (connection == nullptr) return MDSIM_ERR_INVALID_ARGUMENT;
    connection->device->Record("AFCConnectionClose");
    int forced = 0;
    if (connection->device->Forced("AFCConnectionClose", forced)) return forced;
    relay = connection->relay;
    registry.connections.erase(reinterpret_cast<uintptr_t>(handle));
  }
  relay->Close();  // joins the relay thread: outside the lock
  return 0;
}
