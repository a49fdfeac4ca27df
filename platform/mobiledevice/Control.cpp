// The stand-in's control interface: making and freeing devices, forcing results and
// reading back the calls made.
#include <unistd.h>

#include <memory>
#include <vector>

#include "MobileDevice/mdphone.h"
#include "MobileDevice/mdsim.h"
#include "Relay.h"
#include "StandIn.h"
#include "usb/Link.h"

using mdsim::Device;
using mdsim::Registry;

MDSIM_EXPORT void* mdsim_device_new(const char* endpoint) {
  std::unique_ptr<Device> device(new Device);
  if (!mdsim::ParseEndpoint(endpoint, device->endpoint)) return nullptr;
  device->outcome = std::make_shared<mdsim::Outcome>();
  if (device->endpoint.kind == mdsim::Endpoint::Kind::Usb) {
    device->link = std::make_shared<mdsim::usb::Link>(device->endpoint.udid, device->outcome);
  }
  Registry& registry = Registry::Get();
  std::lock_guard<std::mutex> hold(registry.lock);
  registry.devices.insert(device.get());
  return device.release();
}

MDSIM_EXPORT void mdsim_device_free(void* handle) {
  // Connections are closed after the lock is released: that joins their relays.
  std::vector<std::shared_ptr<mdsim::Relay>> relays;
  std::shared_ptr<mdsim::usb::Link> link;
  Registry& registry = Registry::Get();
  std::unique_lock<std::mutex> hold(registry.lock);
  Device* device = registry.FindDevice(handle);
  if (device == nullptr) return;
  for (auto it = registry.connections.begin(); it != registry.connections.end();) {
    if (it->second.device == device) {
      relays.push_back(it->second.relay);
      it = registry.connections.erase(it);
    } else {
      ++it;
    }
  }
  if (device->endpoint.kind == mdsim::Endpoint::Kind::Fd && !device->fd_used) {
    close(device->endpoint.fd);
  }
  registry.devices.erase(device);
  link = device->link;
  delete device;
  hold.unlock();
  for (const auto& relay : relays) relay->Close();
  if (link != nullptr) link->Disconnect();
}

MDSIM_EXPORT void mdsim_device_set_result(void* handle, const char* operation, int result) {
  if (operation == nullptr) return;
  Registry& registry = Registry::Get();
  std::lock_guard<std::mutex> hold(registry.lock);
  Device* device = registry.FindDevice(handle);
  if (device == nullptr) return;
  if (result == 0) {
    device->forced_results.erase(operation);
  } else {
    device->forced_results[operation] = result;
  }
}

MDSIM_EXPORT const char* mdsim_device_calls(const void* handle) {
  // A copy per calling thread: another thread's calls on the device cannot move the text
  // under a caller that is still reading it.
  thread_local std::string snapshot;
  Registry& registry = Registry::Get();
  std::lock_guard<std::mutex> hold(registry.lock);
  const Device* device = registry.FindDevice(handle);
  snapshot = device == nullptr ? std::string() : device->calls;
  return snapshot.c_str();
}

MDSIM_EXPORT long long mdsim_bytes_received(const void* handle) {
  Registry& registry = Registry::Get();
  std::lock_guard<std::mutex> hold(registry.lock);
  const Device* device = registry.FindDevice(handle);
  return device == nullptr ? -1 : device->outcome->bytes_received.load();
}

MDSIM_EXPORT int mdphone_last_error(const void* handle) {
  // Read under the registry's lock from the device's shared record, which its relays
  // write: a close running at the same time cannot free it underneath.
  Registry& registry = Registry::Get();
  std::lock_guard<std::mutex> hold(registry.lock);
  const Device* device = registry.FindDevice(handle);
  return device == nullptr ? 0 : device->outcome->last_error.load();
}
