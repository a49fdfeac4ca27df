// One connection to the sync service on a real phone. Without TLS the library gets the
// connection's own descriptor. With TLS it gets one end of a socket pair, and a relay
// thread carries both directions between the other end and the TLS connection until
// the phone goes away, the library's end is shut down (a host cancelling a blocked
// export) or the connection is closed.
#ifndef VELDRAKE_MOBILEDEVICE_USB_SERVICE_H_
#define VELDRAKE_MOBILEDEVICE_USB_SERVICE_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "Phone.h"

namespace mdsim {
namespace usb {

// What last stopped an operation on one device; shared with its service connections,
// which may outlive the device.
struct Outcome {
  std::atomic<int> last_error{0};
};

class Service {
 public:
  // Connects to `port` on the phone, with TLS when `tls`: 0 or an MDPHONE_ERR_* code.
  static int Open(const PhonePtr& phone, uint16_t port, bool tls, const std::string& udid,
                  const std::shared_ptr<Outcome>& outcome, std::shared_ptr<Service>& out);

  Service(const PhonePtr& phone, const std::string& udid, const std::shared_ptr<Outcome>& outcome)
      : phone_(phone), udid_(udid), outcome_(outcome) {}
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;
  ~Service() { Close(); }

  // The library's descriptor: a connected, blocking stream socket.
  int socket() const { return socket_; }

  // Wakes a thread blocked on the library's end, stops the relay and frees everything.
  // Called by one owner at a time.
  void Close();

  // Records MDPHONE_ERR_CONNECTION_LOST when the phone ended the stream and is no longer
  // attached. The relay does this itself; for a direct descriptor it is asked for.
  void NoticeLoss();

 private:
  void Relay();
  bool PhoneToLibrary(char* buffer, size_t size, bool& phone_ended);
  bool LibraryToPhone(char* buffer, size_t size, bool& phone_ended);
  void ReleaseConnection();

  PhonePtr phone_;
  std::string udid_;
  std::shared_ptr<Outcome> outcome_;
  idevice_connection_t connection_ = nullptr;  // guarded by lock_ once the relay runs
  std::mutex lock_;
  int phone_fd_ = -1;
  int socket_ = -1;
  int relay_end_ = -1;
  std::thread relay_;
  std::atomic<bool> closing_{false};
  bool closed_ = false;
};

}  // namespace usb
}  // namespace mdsim

#endif  // VELDRAKE_MOBILEDEVICE_USB_SERVICE_H_
