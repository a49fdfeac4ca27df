// One connection to the sync service on a real phone, as the relay's device side. The
// connection speaks TLS when the phone runs the service under TLS; either way the relay
// reads and writes it through libimobiledevice, so the library sees plain frames.
#ifndef VELDRAKE_MOBILEDEVICE_USB_SERVICE_H_
#define VELDRAKE_MOBILEDEVICE_USB_SERVICE_H_

#include <cstdint>
#include <memory>
#include <string>

#include "../Relay.h"
#include "Phone.h"

namespace mdsim {
namespace usb {

class PhoneStream : public DeviceStream {
 public:
  // Connects to `port` on the phone, with TLS when `tls`: 0 or an MDPHONE_ERR_* code.
  static int Open(const PhonePtr& phone, uint16_t port, bool tls, const std::string& udid,
                  std::unique_ptr<DeviceStream>& out);

  PhoneStream(const PhoneStream&) = delete;
  PhoneStream& operator=(const PhoneStream&) = delete;
  ~PhoneStream() override;

  int fd() const override { return fd_; }
  long Receive(char* buffer, size_t size) override;
  bool Send(const char* data, size_t size) override;
  void Interrupt() override;

 private:
  explicit PhoneStream(const PhonePtr& phone) : phone_(phone) {}

  PhonePtr phone_;  // the connection uses the handle until it is released
  idevice_connection_t connection_ = nullptr;
  int fd_ = -1;
};

}  // namespace usb
}  // namespace mdsim

#endif  // VELDRAKE_MOBILEDEVICE_USB_SERVICE_H_
