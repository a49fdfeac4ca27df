// Internal state of the MobileDevice stand-in: the devices made by mdsim_device_new and
// the service connections they have open. Handles given out to callers are only ever
// looked up in the registry, never trusted as pointers, so a stale or foreign handle is
// a failure code instead of a crash.
//
// Every field is guarded by Registry::lock; the lock is never held across a blocking call.
#ifndef VELDRAKE_MOBILEDEVICE_STANDIN_H_
#define VELDRAKE_MOBILEDEVICE_STANDIN_H_

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#define MDSIM_EXPORT extern "C" __attribute__((visibility("default")))

namespace mdsim {

// The one service the stand-in starts.
constexpr char kSyncService[] = "com.apple.mobilesync";

class Relay;
struct Outcome;

namespace usb {
class Link;
}  // namespace usb

struct Endpoint {
  enum class Kind { Unix, Tcp, Fd, Usb };
  Kind kind = Kind::Unix;
  std::string path;  // Unix
  std::string host;  // Tcp
  std::string port;  // Tcp
  int fd = -1;       // Fd: owned until handed to the first service connection
  std::string udid;  // Usb: empty for the only attached phone
};

struct Device {
  Endpoint endpoint;
  bool fd_used = false;
  bool connected = false;
  bool session_open = false;
  std::map<std::string, int> forced_results;
  std::string calls;
  std::shared_ptr<Outcome> outcome;  // the last error and the bytes received
  std::shared_ptr<usb::Link> link;   // Usb: the phone behind the daemon

  void Record(const char* operation) {
    if (!calls.empty()) calls += ',';
    calls += operation;
  }
  // True, with the forced value in `result`, when a test has set this operation's result.
  bool Forced(const char* operation, int& result) const {
    auto it = forced_results.find(operation);
    if (it == forced_results.end()) return false;
    result = it->second;
    return true;
  }
};

// A started service: the relay owns the library's socket and the device's connection.
struct Connection {
  Device* device;
  std::shared_ptr<Relay> relay;
};

struct Registry {
  std::mutex lock;
  std::set<Device*> devices;
  std::map<uintptr_t, Connection> connections;
  uintptr_t next_handle = 0x10000;

  // Never destroyed, so operations stay usable from other objects' static destructors.
  static Registry& Get() {
    static Registry* registry = new Registry;
    return *registry;
  }
  Device* FindDevice(const void* handle) {
    auto it = devices.find(static_cast<Device*>(const_cast<void*>(handle)));
    return it == devices.end() ? nullptr : *it;
  }
  Connection* FindConnection(const void* handle) {
    auto it = connections.find(reinterpret_cast<uintptr_t>(handle));
    return it == connections.end() ? nullptr : &it->second;
  }
};

// Parses "unix:PATH", "tcp:HOST:PORT", "fd:N", "usb" or "usb:UDID"; false for anything else.
bool ParseEndpoint(const char* text, Endpoint& out);

// Opens a new connected stream socket to a Unix or TCP endpoint; -1 when that fails.
int ConnectEndpoint(const Endpoint& endpoint);

}  // namespace mdsim

#endif  // VELDRAKE_MOBILEDEVICE_STANDIN_H_
