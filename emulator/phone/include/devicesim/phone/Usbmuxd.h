// Usbmuxd: an emulated usbmux daemon with emulated phones behind it, for tests of the
// real-device platform layer and for `veldrake-devicesim --usbmuxd`.
//
// The daemon answers libusbmuxd's property-list protocol on a Unix socket (device list,
// attach/detach events, connect to a phone's port, pair records, system BUID). Each phone
// plays lockdown on port 62078 (query type, values, pairing, session with TLS, service
// start) and, on the port a service start hands out, the device side of the sync
// conversation (devicesim::ServeConnection), with or without TLS. Its TLS is a current
// phone's (TLS 1.2 or later, SHA-2 signatures) unless PhoneConfig::oldTls. Certificates
// and pair records are generated at start (or read, for tests) and kept in memory only.
//
// Ownership: Usbmuxd owns its threads, sockets and the socket file (removed at stop while
// it is still the file it bound).
// Thread contract: start, stop, detach and the accessors are called from one thread; the
// daemon serves any number of clients at once on its own threads.
#ifndef DEVICESIM_PHONE_USBMUXD_H_
#define DEVICESIM_PHONE_USBMUXD_H_

#include <memory>
#include <string>
#include <vector>

#include "devicesim/AddressBook.h"
#include "devicesim/Device.h"
#include "devicesim/NoteStore.h"
#include "devicesim/phone/PhoneConfig.h"

namespace devicesim {
namespace phone {

struct UsbmuxdConfig {
  std::string endpoint = "unix:/tmp/veldrake-usbmuxd.sock";  // only unix:PATH
  // A PEM file of fixed credentials every phone uses (tests: no key generation, see
  // tests/phone_emulator/data); empty: fresh keys for each phone, as a real phone has.
  std::string credentialsFile;
  std::vector<PhoneConfig> phones{PhoneConfig{}};
};

class Usbmuxd {
 public:
  Usbmuxd(UsbmuxdConfig config, AddressBook book, NoteStore notes, DeviceOptions options = {});
  ~Usbmuxd();  // stops
  Usbmuxd(const Usbmuxd&) = delete;
  Usbmuxd& operator=(const Usbmuxd&) = delete;

  // Binds the socket, makes the certificates and starts serving. False with a message
  // when another daemon answers on the path, the socket cannot be bound or a certificate
  // cannot be made or read.
  bool start(std::string* error);
  // Closes every connection, joins every thread and removes the socket file if still ours.
  void stop();

  std::string endpoint() const;       // "unix:PATH"
  std::string socketAddress() const;  // "UNIX:PATH", the form USBMUXD_SOCKET_ADDRESS takes
  // Unplugs a phone: listeners get a Detached event, its tunnels close, it leaves the list.
  void detach(const std::string& udid);
  // Whether the daemon holds a pair record for the phone (after pairing, before unpairing).
  bool hasPairRecord(const std::string& udid) const;
  // How many connections clients have made to the phone's lockdown service so far.
  int lockdownConnections(const std::string& udid) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace phone
}  // namespace devicesim

#endif  // DEVICESIM_PHONE_USBMUXD_H_
