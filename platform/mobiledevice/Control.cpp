// The stand-in's control interface: making and freeing devices, forcing results and
// reading back the calls made.
#include <unistd.h>

#include <memory>
#include <vector>

#include "MobileDevice/mdsim.h"
#include "StandIn.h"
#include "usb/Link.h"

using mdsim::Device;
using mdsim::Registry;

MDSIM_EXPORT void* mdsim_device_new(const char* endpoint) {
  std::unique_ptr<Device> device(new Device);
  if (!mdsim::ParseEndpoint(endpoint, device->endpoint)) return nullptr;
  if (device->endpoint.kind == mdsim::Endpoint::Kind::Usb) {
    device->link = std::make_shared<mdsim::usb::Link>(device->endpoint.udid);
  }
  Registry& registry = Registry::Get();
  std::lock_guard<std::mutex> hold(registry.lock);
  registry.devices.insert(device.get());
  return device.release();
}

MDSIM_EXPORT void mdsim_device_free(void* handle) {
  // A phone's connections are closed after the lock is released: that joins relays.
  std::vector<std::shared_ptr<mdsim::usb::Service>> services;
  std::shared_ptr<mdsim::usb::Link> link;
  Registry& registry = Registry::Get();
  std::unique_lock<std::mutex> hold(registry.lock);
  Device* device = registry.FindDevice(handle);
  if (device == nullptr) return;
  for (auto it = registry.connections.begin(); it != registry.connections.end();) {
    if (it->second.device == device) {
      if (it->second.service != nullptr) {
        services.push_back(it->second.service);
      } else {
        mdsim::ShutDownAndClose(it->second.fd);
      }
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
  for (const auto& service : services) service->Close();
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
